// Answer text: the 6-byte header, then the data fields of the function's answer layout.
#include "DecodeLayouts.h"
#include "FuncDecode.h"

namespace funcdecode {

namespace {

constexpr size_t kHeader = 6;
constexpr uint16_t kUnsupportedCode = 7;

std::string ResultMeaning(uint16_t code) {
    switch (code) {
        case 0:
            return "success";
        case 1:
            return "failure";
        case kUnsupportedCode:
            return "function not supported";
        default:
            break;
    }
    std::string s = "status from the router";
    if (code >= 0x8000) s += ", " + std::to_string(static_cast<int16_t>(code)) + " as signed";
    return s;
}

void Header(AnswerText& a, uint16_t* id, uint16_t* code) {
    *id = a.U16(2);
    *code = a.U16(4);
    a.Line(0, "answer", std::to_string(a.len()) + " bytes");
    a.Line(0, "tag", a.Hex(0, 2));
    const char* title = FunctionTitle(*id);
    a.Line(0, "function", std::to_string(*id) + (*title ? std::string(" (") + title + ")" : ""));
    a.Line(0, "result", std::to_string(*code) + " (" + ResultMeaning(*code) + ")");
}

}  // namespace

}  // namespace funcdecode

using namespace funcdecode;

std::string DecodeFunctionAnswer(const uint8_t* ans, size_t len) {
    AnswerText a(ans, len);
    if (ans == nullptr || len < kHeader) {
        a.Line(0, "short answer",
               std::to_string(ans ? len : 0) + " bytes, a header needs 6" +
                   (ans && len ? ": " + a.Hex(0, len) : std::string()));
        return a.Take();
    }
    uint16_t id = 0;
    uint16_t code = 0;
    Header(a, &id, &code);
    // A failing call answers status-only (function 44 keeps its 14 bytes).
    if (len == kHeader && code != 0) return a.Take();
    if (!DecodeFixedAnswer(id, a) && !DecodeListAnswer(id, a)) a.Extra(kHeader);
    return a.Take();
}
