#include "SimSettings.h"

#include <arpa/inet.h>

#include <cstdlib>
#include <functional>
#include <map>

namespace psim {

namespace {

bool ToInt(const std::string& v, long lo, long hi, int* out) {
    if (v.empty()) return false;
    char* end = nullptr;
    long n = strtol(v.c_str(), &end, 0);
    if (*end != '\0' || n < lo || n > hi) return false;
    *out = static_cast<int>(n);
    return true;
}

bool ToMode(const std::string& v, AnswerMode* m) {
    static const std::map<std::string, AnswerMode> kModes = {{"answer", AnswerMode::kAnswer},
                                                             {"silent", AnswerMode::kSilent},
                                                             {"close", AnswerMode::kClose},
                                                             {"nodata", AnswerMode::kNoData}};
    auto it = kModes.find(v);
    if (it == kModes.end()) return false;
    *m = it->second;
    return true;
}

bool IsIpv4(const std::string& v) {
    in_addr a{};
    return inet_pton(AF_INET, v.c_str(), &a) == 1;
}

using Setter = std::function<bool(SimSettings*, const std::string&)>;

Setter IntSetter(int SimSettings::*field, long lo, long hi) {
    return [=](SimSettings* s, const std::string& v) { return ToInt(v, lo, hi, &(s->*field)); };
}

Setter PlanInt(AnswerPlan SimSettings::*plan, int AnswerPlan::*field, long lo, long hi) {
    return [=](SimSettings* s, const std::string& v) {
        return ToInt(v, lo, hi, &((s->*plan).*field));
    };
}

Setter PlanMode(AnswerPlan SimSettings::*plan) {
    return [=](SimSettings* s, const std::string& v) { return ToMode(v, &(s->*plan).mode); };
}

Setter TextSetter(std::string SimSettings::*field, size_t maxLen) {
    return [=](SimSettings* s, const std::string& v) {
        if (v.size() > maxLen) return false;
        s->*field = v;
        return true;
    };
}

Setter AddrSetter(std::string SimSettings::*field, bool allowEmpty) {
    return [=](SimSettings* s, const std::string& v) {
        if (!(IsIpv4(v) || (allowEmpty && v.empty()))) return false;
        s->*field = v;
        return true;
    };
}

const std::map<std::string, Setter>& Table() {
    static const std::map<std::string, Setter> kTable = {
        {"key", TextSetter(&SimSettings::key, 31)},
        {"reg-addr", AddrSetter(&SimSettings::regAddr, false)},
        {"reg-port", IntSetter(&SimSettings::regPort, 0, 65535)},
        {"login-addr", AddrSetter(&SimSettings::loginAddr, false)},
        {"login-port", IntSetter(&SimSettings::loginPort, 0, 65535)},
        {"reg-mode", PlanMode(&SimSettings::reg)},
        {"reg-delay-ms", PlanInt(&SimSettings::reg, &AnswerPlan::delayMs, 0, 3600000)},
        {"reg-error", PlanInt(&SimSettings::reg, &AnswerPlan::error, 0, 65535)},
        {"login-mode", PlanMode(&SimSettings::login)},
        {"login-delay-ms", PlanInt(&SimSettings::login, &AnswerPlan::delayMs, 0, 3600000)},
        {"login-error", PlanInt(&SimSettings::login, &AnswerPlan::error, 0, 65535)},
        {"token", TextSetter(&SimSettings::token, 32)},
        {"answer-ip", AddrSetter(&SimSettings::answerIp, true)},
        {"answer-port", IntSetter(&SimSettings::answerPort, -1, 65535)},
        {"plugin-id", TextSetter(&SimSettings::pluginId, 32)},
        {"interval", IntSetter(&SimSettings::interval, 0, 65535)},
        {"heartbeats", IntSetter(&SimSettings::heartbeats, -1, 1000000000)},
        {"call-dt", IntSetter(&SimSettings::callDataType, 0, 255)},
        {"quick-ack", IntSetter(&SimSettings::quickAck, 0, 1)},
        {"decode", IntSetter(&SimSettings::decode, 0, 1)},
    };
    return kTable;
}

}  // namespace

std::string ApplySetting(SimSettings* s, const std::string& name, const std::string& value) {
    auto it = Table().find(name);
    if (it == Table().end()) return "unknown setting " + name;
    if (!it->second(s, value)) return "bad value for " + name + ": " + value;
    return "";
}

const char* SettingNames() {
    return "key reg-addr reg-port login-addr login-port reg-mode reg-delay-ms reg-error "
           "login-mode login-delay-ms login-error token answer-ip answer-port plugin-id interval "
           "heartbeats call-dt quick-ack decode";
}

}  // namespace psim
