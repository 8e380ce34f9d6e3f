// The function-call dispatcher: decodes the function ID of a call and runs its one handler.
#pragma once

#include <cstddef>
#include <cstdint>

#include "functions/FunctionCall.h"

// `req` holds the `reqLen` received bytes of the call (request tag 0-1, function ID 2-3,
// parameters from 10); `ans` is a zeroed buffer of limits::kAnswerBufSize bytes. *ansLen receives
// the answer length (0: no answer frame). Returns 0 when the call was handled, whatever its
// result code; -1 for an unsupported or invalid function ID.
int ParserProtoolData(const uint8_t* req, size_t reqLen, uint8_t* ans, size_t* ansLen);

// The handler of function `id` (1..88), for tests and readers; nullptr outside the table.
FnHandler FnTableHandler(uint16_t id);
