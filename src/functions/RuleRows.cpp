#include "functions/RuleRows.h"

#include "core/Limits.h"
#include "functions/FnRequest.h"
#include "rules/RouteFunc.h"
#include "rules/SurfRules.h"

namespace {

// The rule text runs from request byte 10 to its NUL, which must lie within the received bytes.
int RuleTextRow(FnCall& call, int (*parse)(const char*)) {
    const char* text = FnParamText(call, limits::kFnParamOffset, limits::kRespDataBufSize);
    if (text == nullptr) return 0;
    FnAnswerStatus(call, static_cast<uint16_t>(parse(text)));
    return 0;
}

}  // namespace

int Fn66SetTcRules(FnCall& call) {
    return RuleTextRow(call, ParseTcParam);
}

int Fn69SetSurfRules(FnCall& call) {
    return RuleTextRow(call, ParseSurfRulesParam);
}
