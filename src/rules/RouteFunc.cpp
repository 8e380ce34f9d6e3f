// Port mappings: a TCP port on one address forwarded to a port on another, as a PREROUTING DNAT
// rule and its mirror POSTROUTING SNAT rule in iptables' nat table.
#include "rules/RouteFunc.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/Limits.h"
#include "core/Log.h"
#include "core/Process.h"
#include "rules/RuleJson.h"

namespace {

// The mapping being installed or removed, cleared at the start of every ParseRouteParam.
char s_flag[limits::kRouteFlagSize];
char s_pre_ip[limits::kRouteIpSize];
char s_pre_port[limits::kRoutePortSize];
char s_post_ip[limits::kRouteIpSize];
char s_post_port[limits::kRoutePortSize];

constexpr int kRouteBadValue = -9;

using Argv = std::vector<std::string>;

// "iptables -t nat <op> PREROUTING -d <pre_ip> -p tcp -m tcp --dport <pre_port> -j DNAT
// --to-destination <post_ip>:<post_port>"
Argv PreroutingCmd(const char* op) {
    return {"iptables",
            "-t",
            "nat",
            op,
            "PREROUTING",
            "-d",
            s_pre_ip,
            "-p",
            "tcp",
            "-m",
            "tcp",
            "--dport",
            s_pre_port,
            "-j",
            "DNAT",
            "--to-destination",
            std::string(s_post_ip) + ":" + s_post_port};
}

// The mirror: matches the forwarded address and port, rewrites the source to the public ones.
Argv PostroutingCmd(const char* op) {
    return {"iptables",
            "-t",
            "nat",
            op,
            "POSTROUTING",
            "-d",
            s_post_ip,
            "-p",
            "tcp",
            "-m",
            "tcp",
            "--dport",
            s_post_port,
            "-j",
            "SNAT",
            "--to-source",
            std::string(s_pre_ip) + ":" + s_pre_port};
}

// Logs the pair as the product spells it, then runs both; their exit statuses are not examined.
void RunPair(const char* op) {
    Argv cmd1 = PreroutingCmd(op);
    Argv cmd2 = PostroutingCmd(op);
    LOGM(LOG_LEVEL_DEBUG, " route_cmd1: \n%s", CommandText(cmd1).c_str());
    LOGM(LOG_LEVEL_DEBUG, " route_cmd2: \n%s", CommandText(cmd2).c_str());
    RunProcess(cmd1);
    RunProcess(cmd2);
}

int RouteError(int line, int code) {
    LOGM(LOG_LEVEL_DEBUG, " %s %d : error = [%d]", "ParseRouteParam", line, code);
    return code;
}

bool IsDigits(const char* s, size_t maxLen) {
    size_t n = strlen(s);
    if (n == 0 || n > maxLen) return false;
    for (size_t i = 0; i < n; ++i)
        if (!isdigit(static_cast<unsigned char>(s[i]))) return false;
    return true;
}

// Four decimal parts of 0-255 separated by dots, nothing else.
bool IsDottedIpv4(const char* s) {
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && *s++ != '.') return false;
        size_t n = 0;
        while (n < 3 && isdigit(static_cast<unsigned char>(s[n])))
            ++n;
        if (n == 0 || atoi(std::string(s, n).c_str()) > 255) return false;
        s += n;
    }
    return *s == '\0';
}

// Decimal 1 to 65535.
bool IsPort(const char* s) {
    return IsDigits(s, 5) && atol(s) >= 1 && atol(s) <= limits::kRoutePortMax;
}

// The values go into command arguments: each must fit its variable and be what the rule needs.
bool RouteValuesValid(const char* preIp, const char* prePort, const char* postIp,
                      const char* postPort) {
    return strlen(preIp) < limits::kRouteIpSize && IsDottedIpv4(preIp) &&
           strlen(postIp) < limits::kRouteIpSize && IsDottedIpv4(postIp) && IsPort(prePort) &&
           IsPort(postPort);
}

void CopyValue(char* dst, size_t size, const char* src) {
    snprintf(dst, size, "%s", src);
}

}  // namespace

int AddRoute() {
    RunPair("-D");
    RunPair("-A");
    return 0;
}

int DeleteRoute() {
    RunPair("-D");
    return 0;
}

int ParseRouteParam(const char* json) {
    if (json == nullptr) return RouteError(__LINE__, -1);
    LOGM(LOG_LEVEL_INFO, "pMsg: \n%s", json);
    s_flag[0] = s_pre_ip[0] = s_pre_port[0] = s_post_ip[0] = s_post_port[0] = '\0';
    JsonTree root(cJSON_Parse(json));
    if (!root) return RouteError(__LINE__, -2);

    struct Field {
        const char* name;
        char* var;
        size_t size;
        const char* value;
    } fields[] = {
        {"FLAG", s_flag, sizeof s_flag, nullptr},
        {"PRE_IP", s_pre_ip, sizeof s_pre_ip, nullptr},
        {"PRE_PORT", s_pre_port, sizeof s_pre_port, nullptr},
        {"POST_IP", s_post_ip, sizeof s_post_ip, nullptr},
        {"POST_PORT", s_post_port, sizeof s_post_port, nullptr},
    };
    int missingCode = -3;
    for (Field& f : fields) {
        f.value = JsonMemberText(root.get(), f.name).text;
        if (f.value == nullptr) return RouteError(__LINE__, missingCode);
        CopyValue(f.var, f.size, f.value);
        LOGM(LOG_LEVEL_DEBUG, " %s = [%s]", f.name, f.var);
        --missingCode;
    }
    if (s_flag[0] != '1' && s_flag[0] != '0') return RouteError(__LINE__, -8);
    if (!RouteValuesValid(fields[1].value, fields[2].value, fields[3].value, fields[4].value)) {
        LOGE("Wrong route param, nothing done");
        return RouteError(__LINE__, kRouteBadValue);
    }
    if (s_flag[0] == '1') {
        AddRoute();
    } else {
        DeleteRoute();
    }
    return 0;
}
