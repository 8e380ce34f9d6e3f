#include "functions/FunctionCall.h"

#include <cstring>

#include "core/ByteOrder.h"

void FnAnswerStatus(FnCall& call, uint16_t code) {
    memcpy(call.ans, call.req, 4);
    PutLe16(call.ans + 4, code);
    call.ansLen = 6;
}
