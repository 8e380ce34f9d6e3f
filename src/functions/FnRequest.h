// Bounded access to a function call's parameters and the answer shapes every row uses. A row
// never reads past the received bytes: a parameter block that is too short, or a text without
// its terminator, is answered with result code 1 and a log line.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/Limits.h"
#include "functions/FunctionCall.h"

// The function ID of the call (request bytes 2-3).
uint16_t FnId(const FnCall& call);

// True when the request holds `n` parameter bytes from byte 10. Otherwise logs
// "ERROR: function %d parameters too short! len=%zu" and answers code 1.
bool FnHasParams(FnCall& call, size_t n);

// The parameter bytes from request offset `off` (call FnHasParams first).
inline const uint8_t* FnParam(const FnCall& call, size_t off) {
    return call.req + off;
}

// The NUL-terminated text at request offset `off`: its terminator must lie within the received
// bytes and the text must have at most `maxLen` characters. Otherwise logs
// "ERROR: function %d text parameter invalid!" and answers code 1, and returns nullptr.
const char* FnParamText(FnCall& call, size_t off, size_t maxLen);

// Copies a fixed text field of `size` bytes from a request record into the SDK record's field
// of the same size and puts a NUL in its last byte: a text that fills the field is cut by one
// character, so the router SDK reading it as a C string stops inside the field.
void FnFixedText(char* field, size_t size, const uint8_t* p);

// Starts an answer of `len` bytes (header echoed, result code 0, data zeroed) and returns the
// answer buffer; data is written from byte 6.
uint8_t* FnAnswerBegin(FnCall& call, size_t len);

// A failing SDK call: logs "ERROR: %s failed! ret=%d" with the SDK function's name and answers
// status-only with the status truncated to 16 bits.
int FnAnswerSdkError(FnCall& call, const char* sdkName, int status);

// A setting: status-only answer with the SDK call's status (logged when it is not 0).
int FnAnswerSdkStatus(FnCall& call, const char* sdkName, int status);

// A list the SDK reports longer than the working array: logs it and returns the cut count.
size_t FnCutCount(const char* sdkName, size_t reported, size_t capacity);
