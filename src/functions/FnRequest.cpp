#include "functions/FnRequest.h"

#include <cstring>

#include "core/ByteOrder.h"
#include "core/Log.h"

uint16_t FnId(const FnCall& call) {
    return GetLe16(call.req + 2);
}

bool FnHasParams(FnCall& call, size_t n) {
    if (call.reqLen >= limits::kFnParamOffset + n) return true;
    LOGE("ERROR: function %d parameters too short! len=%zu", FnId(call), call.reqLen);
    FnAnswerStatus(call, 1);
    return false;
}

const char* FnParamText(FnCall& call, size_t off, size_t maxLen) {
    if (off < call.reqLen) {
        const char* text = reinterpret_cast<const char*>(call.req + off);
        size_t room = call.reqLen - off;
        const void* nul = memchr(text, '\0', room < maxLen + 1 ? room : maxLen + 1);
        if (nul != nullptr) return text;
    }
    LOGE("ERROR: function %d text parameter invalid!", FnId(call));
    FnAnswerStatus(call, 1);
    return nullptr;
}

uint8_t* FnAnswerBegin(FnCall& call, size_t len) {
    memset(call.ans, 0, len);
    FnAnswerStatus(call, 0);
    call.ansLen = len;
    return call.ans;
}

int FnAnswerSdkError(FnCall& call, const char* sdkName, int status) {
    LOGE("ERROR: %s failed! ret=%d", sdkName, status);
    FnAnswerStatus(call, static_cast<uint16_t>(status));
    return 0;
}

int FnAnswerSdkStatus(FnCall& call, const char* sdkName, int status) {
    if (status != 0) return FnAnswerSdkError(call, sdkName, status);
    FnAnswerStatus(call, 0);
    return 0;
}

size_t FnCutCount(const char* sdkName, size_t reported, size_t capacity) {
    if (reported <= capacity) return reported;
    LOGE("%s reported %zu records, keeping %zu", sdkName, reported, capacity);
    return capacity;
}

void FnFixedText(char* field, size_t size, const uint8_t* p) {
    if (size == 0) return;
    memcpy(field, p, size - 1);
    field[size - 1] = '\0';
}
