#include "platform/Session.h"

#include <cstdlib>
#include <cstring>

#include "core/ByteOrder.h"
#include "core/Config.h"
#include "core/Globals.h"
#include "core/Log.h"
#include "platform/TcpServer.h"

using namespace limits;

char g_pin_code[kPinSize];
char gKeyText[kKeySize];
int regist_port;
std::atomic<int> Fn40Interval{30};
std::atomic<int> AutoReportDevinfo{1};

namespace {

constexpr const char* kDefaultServer1 = "reg1.plugcloud.com";
constexpr const char* kDefaultServer2 = "reg2.plugcloud.com";

}  // namespace

int InitProtool() {
    Fn40Interval = 30;
    AutoReportDevinfo = 1;

    char server1[kServerNameSize] = {0};
    char server2[kServerNameSize] = {0};
    char port[kPortTextSize] = {0};
    memset(g_pin_code, 0, sizeof g_pin_code);
    memset(gKeyText, 0, sizeof gKeyText);
    getKeyValueStr("Dev", "PIN", "", g_pin_code, sizeof g_pin_code);
    getKeyValueStr("Protool", "KEY", "", gKeyText, sizeof gKeyText);
    getKeyValueStr("Protool", "SERVER1", kDefaultServer1, server1, sizeof server1);
    getKeyValueStr("Protool", "SERVER2", kDefaultServer2, server2, sizeof server2);
    getKeyValueStr("Protool", "PORT", kDefaultPort, port, sizeof port);

    regist_port = atoi(port);
    if (regist_port < kRegPortMin || regist_port > kRegPortMax) {
        LOGE("RegPort error.");
        return -1;
    }
    LOGD("PIN:\t%s", g_pin_code);
    LOGD("KEY:\t%s", gKeyText);
    LOGD("SERVER1:\t%s", server1);
    LOGD("SERVER2:\t%s", server2);
    LOGD("PORT:\t%s", port);
    GetEndType();

    if (!strstr(server1, "com")) {
        runMode = 0;
        // Test mode: the configured text is used as a literal dotted address.
        snprintf(RegisterIpAddr1, sizeof RegisterIpAddr1, "%s", server1);
        snprintf(RegisterIpAddr2, sizeof RegisterIpAddr2, "%s", server1);
        return 0;
    }
    runMode = 1;
    bool ok1 = GetServerIp(server1, RegisterIpAddr1, sizeof RegisterIpAddr1) == 0;
    if (!ok1) LOGE("DNS resolve addres1 error !!!");
    bool ok2 = GetServerIp(server2, RegisterIpAddr2, sizeof RegisterIpAddr2) == 0;
    if (!ok2) LOGE("DNS resolve addres2 error !!!");
    if (ok1 && ok2) return 0;
    if (ok1) {
        LOGD("Only access server1.");
        return 1;
    }
    if (ok2) {
        LOGD("Only access server2.");
        return 2;
    }
    return -1;
}

// The session proper (connection, register and login frames, heartbeat) is not built yet:
// every attempt fails honestly so the supervision loop's failure paths run for real.
void ResetServerContext() {}

int RegisterStart(const char* address) {
    LOGE("platform session not built yet: cannot register with %s", address);
    return -1;
}

int LoginStart() {
    return -1;
}
int ReLogin() {
    return -1;
}
int HeartbeatStart() {
    return -1;
}
void DeleteHeartbear() {}
