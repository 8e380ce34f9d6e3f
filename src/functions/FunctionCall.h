// One platform function call as the dispatcher and its handlers see it.
#pragma once

#include <cstddef>
#include <cstdint>

struct FnCall {
    const uint8_t* req;  // call body: request tag (0-1), function ID (2-3), parameters from 10
    size_t reqLen;       // bytes received; a handler never reads past them
    uint8_t* ans;        // zeroed answer buffer of limits::kAnswerBufSize bytes
    size_t ansLen;       // answer length; 0 means no answer frame
};

// A row of the function table: fills the answer and returns 0 (whatever its result code).
using FnHandler = int (*)(FnCall& call);

// The 6-byte status-only answer: request tag and function ID echoed, then `code`.
void FnAnswerStatus(FnCall& call, uint16_t code);
