// Rows 26-29: FTP, Samba and Telnet switches and accounts.
#include <cstring>

#include "RouterSdk.h"
#include "core/Log.h"
#include "functions/FnRequest.h"
#include "functions/SdkRows.h"

namespace {

constexpr int kServices = 3;  // FTP, Samba, Telnet
constexpr int kAccountTexts = 2 * kServices;

struct SwitchGet {
    const char* name;
    int (*get)(uint8_t*);
};
const SwitchGet kSwitchGets[kServices] = {
    {"get_ftp_switch", get_ftp_switch},
    {"get_sambaenable_switch", get_sambaenable_switch},
    {"get_telnetenable_switch", get_telnetenable_switch},
};

struct SwitchSet {
    const char* name;
    int (*set)(uint8_t);
};
const SwitchSet kSwitchSets[kServices] = {
    {"set_ftp_switch", set_ftp_switch},
    {"set_sambaenable_switch", set_sambaenable_switch},
    {"set_telnetenable_switch", set_telnetenable_switch},
};

struct TextGet {
    const char* name;
    int (*get)(char*);
};
const TextGet kAccountGets[kAccountTexts] = {
    {"get_ftp_user", get_ftp_user},       {"get_ftp_password", get_ftp_password},
    {"get_samba_user", get_samba_user},   {"get_samba_password", get_samba_password},
    {"get_telnet_user", get_telnet_user}, {"get_telnet_password", get_telnet_password},
};

struct TextSet {
    const char* name;
    int (*set)(const char*);
};
const TextSet kAccountSets[kAccountTexts] = {
    {"set_ftp_user", set_ftp_user},       {"set_ftp_password", set_ftp_password},
    {"set_samba_user", set_samba_user},   {"set_samba_password", set_samba_password},
    {"set_telnet_user", set_telnet_user}, {"set_telnet_password", set_telnet_password},
};

// Every setting of a group is applied; the answer carries the first failing status.
void KeepFirstFailure(int* first, int status, const char* name) {
    if (status == 0) return;
    LOGE("ERROR: %s failed! ret=%d", name, status);
    if (*first == 0) *first = status;
}

}  // namespace

int Fn26GetServiceSwitches(FnCall& call) {
    uint8_t on[kServices] = {};
    for (int i = 0; i < kServices; ++i) {
        int ret = kSwitchGets[i].get(&on[i]);
        if (ret != 0) return FnAnswerSdkError(call, kSwitchGets[i].name, ret);
    }
    memcpy(FnAnswerBegin(call, 6 + kServices) + 6, on, sizeof on);
    return 0;
}

int Fn27SetServiceSwitches(FnCall& call) {
    if (!FnHasParams(call, kServices)) return 0;
    int first = 0;
    for (int i = 0; i < kServices; ++i)
        KeepFirstFailure(&first, kSwitchSets[i].set(FnParam(call, 10 + i)[0]), kSwitchSets[i].name);
    FnAnswerStatus(call, static_cast<uint16_t>(first));
    return 0;
}

int Fn28GetServiceAccounts(FnCall& call) {
    char text[kAccountTexts][ROUTER_ACCOUNT_SIZE] = {};
    for (int i = 0; i < kAccountTexts; ++i) {
        int ret = kAccountGets[i].get(text[i]);
        if (ret != 0) return FnAnswerSdkError(call, kAccountGets[i].name, ret);
    }
    uint8_t* a = FnAnswerBegin(call, 6 + kAccountTexts * ROUTER_ACCOUNT_SIZE);
    for (int i = 0; i < kAccountTexts; ++i)
        memcpy(a + 6 + i * ROUTER_ACCOUNT_SIZE, text[i], ROUTER_ACCOUNT_SIZE);
    return 0;
}

// Six NUL-terminated texts in 32-byte fields at 10, 42, 74, 106, 138 and 170: all are checked
// before any is set.
int Fn29SetServiceAccounts(FnCall& call) {
    if (!FnHasParams(call, kAccountTexts * ROUTER_ACCOUNT_SIZE)) return 0;
    const char* text[kAccountTexts] = {};
    for (int i = 0; i < kAccountTexts; ++i) {
        text[i] = FnParamText(call, 10 + i * ROUTER_ACCOUNT_SIZE, ROUTER_ACCOUNT_SIZE - 1);
        if (text[i] == nullptr) return 0;
    }
    int first = 0;
    for (int i = 0; i < kAccountTexts; ++i)
        KeepFirstFailure(&first, kAccountSets[i].set(text[i]), kAccountSets[i].name);
    FnAnswerStatus(call, static_cast<uint16_t>(first));
    return 0;
}
