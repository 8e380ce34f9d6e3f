#include "functions/RuleRows.h"

#include "core/Log.h"

// The rule modules are not built yet: these rows answer result code 1 (not done).
namespace {

int NotBuilt(FnCall& call) {
    LOGE("rule tables not built yet");
    FnAnswerStatus(call, 1);
    return 0;
}

}  // namespace

int Fn66SetTcRules(FnCall& call) {
    return NotBuilt(call);
}
int Fn69SetSurfRules(FnCall& call) {
    return NotBuilt(call);
}
