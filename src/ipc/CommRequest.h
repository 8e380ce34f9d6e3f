// One request/answer exchange with the companion at a time.
//
// Requests come from the supervision loop (997) and from the platform response thread (the ComF_
// rows and function 88). CommRequest holds the exchange lock from the send to the end of the
// wait and records the function ID it awaits; the frame handler ends the wait only with a frame
// of that ID. A report, or an answer to another ID, that arrives meanwhile is handled as what it
// is and leaves the wait and rxData alone.
#pragma once

#include <cstddef>
#include <cstdint>

// Sends `funcId` with `payload`, waits up to `ticks` x 50 ms for its answer and, when the answer's
// status is 0, copies `outN` of its data bytes (rxData from byte 3) to `out`. Returns the
// answer's status byte, 1 when no answer came in time, or -1 when the command could not be sent
// (`failText` is then logged).
int CommRequest(int funcId, const uint8_t* payload, size_t len, int ticks, const char* failText,
                uint8_t* out = nullptr, size_t outN = 0);

// The frame handler's side, for every accepted answer frame: when a request awaits `funcId`,
// `store` (when given) files the payload, the status is recorded (rxData byte 0 after `store`,
// else the first payload byte) and the request wakes. false when no request awaits this ID.
using CommAnswerStore = void (*)(const uint8_t* payload, size_t len);
bool CommAnswerArrived(int funcId, const uint8_t* payload, size_t len, CommAnswerStore store);

// Waits up to `ticks` x 50 ms (at most 1200 ticks, 60 s) on the clock seam for the awaited
// answer: 0 when it came (at once for ticks below 1), -1 with "ERROR: request timeout!"
// otherwise. Wakes as soon as the frame handler files the answer.
int Route_Wait(int ticks);
