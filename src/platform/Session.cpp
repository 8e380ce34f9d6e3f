#include "platform/Session.h"

#include <cjson/cJSON.h>
#include <pthread.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "RouterSdk.h"
#include "core/ByteOrder.h"
#include "core/Clock.h"
#include "core/Config.h"
#include "core/Globals.h"
#include "core/Log.h"
#include "core/Plug.h"
#include "core/Thread.h"
#include "core/Status.h"
#include "platform/Protool.h"
#include "platform/SessionState.h"
#include "platform/PlatformLink.h"

using namespace limits;

char g_pin_code[kPinSize];
char gKeyText[kKeySize];
int regist_port;
std::atomic<int> Fn40Interval{30};
std::atomic<int> AutoReportDevinfo{1};

namespace {

constexpr const char* kDefaultServer1 = "reg1.plugcloud.com";
constexpr const char* kDefaultServer2 = "reg2.plugcloud.com";

// The login-side threads of the session context, each with its own stop flag. The threads and
// their marks are touched by the supervision loop only.
struct SessionThreads {
    std::thread check;
    std::thread heartbeat;
    std::atomic<int> checkStop{0};
    std::atomic<int> heartStop{0};
    bool checkStarted = false;
    bool heartStarted = false;
} gSession;

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

void ResetServerContext() {
    ResetServerRun();
    // The context's threads are stopped by the time a new attempt starts; should one still be
    // there, it is stopped rather than dropped.
    if (gSession.checkStarted || gSession.heartStarted) DeleteHeartbear();
    PlatformSession().Reset();
}

int SessionEnded() {
    switch (PlatformSession().End()) {
        case SessionEnd::kRunning:
            return 0;
        case SessionEnd::kOver:
            return 1;
        case SessionEnd::kForcedOff:
            break;
    }
    return kPlugFatal;
}

namespace {

bool AllZero(const void* p, size_t n) {
    const auto* b = static_cast<const uint8_t*>(p);
    for (size_t i = 0; i < n; ++i)
        if (b[i]) return false;
    return true;
}

// The router MAC: the -m value, else asked of the SDK once per process.
void LoadRouterMac() {
    if (AllZero(l_mac, kMacSize)) {
        uint8_t mac[kMacSize] = {0};
        int ret = get_router_mac(mac);
        if (ret == 0)
            memcpy(l_mac, mac, kMacSize);
        else
            LOGE("ERROR: get router mac failed! ret=%d", ret);
    }
    LOGD("ROUTER MAC: %02X %02X %02X %02X %02X %02X", l_mac[0], l_mac[1], l_mac[2], l_mac[3],
         l_mac[4], l_mac[5]);
    SetRouteMac(l_mac);
}

// The serial number, asked of the SDK while gSN is empty; without one the agent cannot work.
// 0, or kPlugFatal.
int LoadRouterSn() {
    if (!AllZero(gSN, sizeof gSN)) return 0;
    char sn[ROUTER_TEXT_SIZE] = {0};
    if (get_router_sn(sn) != 0) {
        LOGE("ERROR: get sn failed!");
        return kPlugFatal;
    }
    size_t len = strnlen(sn, sizeof sn);
    if (len == 0 || len > kSnSize - 1) {
        LOGE("ERROR: SN is invalid!");
        return kPlugFatal;
    }
    LOGD("SN: %s LEN: %d", sn, static_cast<int>(len));
    memcpy(gSN, sn, len);
    gSN[kSnSize - 1] = '\0';
    return 0;
}

// Connects to the login server of the last register answer, sends the login frame and waits
// up to `waitSec` for the answer. Shared by LoginStart and ReLogin.
int LoginTo(const LoginTarget& target, int64_t waitSec) {
    if (target.server[0] == '\0') {
        LOGE("Login Server wrong !");
        return -1;
    }
    if (ServerInit(target.server, target.port) != 0) {
        DeleteServer();
        LOGE("Login ServerInit error");
        return -1;
    }
    SessionState& state = PlatformSession();
    state.BeginLogin();
    LoginServer();
    state.WaitLoggedIn(waitSec * 1000);
    if (mLogin == 1) {
        LOGI_OK("Login done");
        return 0;
    }
    LOGE("login failed !");
    DeleteServer();
    return state.End() == SessionEnd::kForcedOff ? kPlugFatal : -1;
}

void HeartbeatProc() {
    SessionState& state = PlatformSession();
    while (gSession.heartStop == 0 && state.End() == SessionEnd::kRunning) {
        SendHeartbeat();
        state.HeartbeatSent();
        int interval = state.HeartInterval();
        if (interval >= 1) state.WaitOverOrStop(interval * 1000LL, gSession.heartStop);
    }
}

// Each test comes at the end of a 10-s period: after a re-login the last heartbeat answer is
// still the lost session's, and the new session's first answer must be in before the first look.
void CheckProc() {
    SessionState& state = PlatformSession();
    while (gSession.checkStop == 0 && state.End() == SessionEnd::kRunning) {
        if (state.WaitOverOrStop(kCheckPeriodMs, gSession.checkStop)) break;
        if (state.CheckHeartbeat(NowSec())) {
            LOGE("heart beep error");
            break;
        }
    }
}

void JoinSessionThread(std::thread& t, const char* failText) {
    try {
        if (t.joinable()) t.join();
    } catch (const std::system_error&) {
        LOGE("%s", failText);
    }
}

struct JsonFree {
    void operator()(cJSON* j) const { cJSON_Delete(j); }
};
struct TextFree {
    void operator()(char* p) const { cJSON_free(p); }
};

constexpr uint8_t kDataTypeRules = 13;

}  // namespace

int RegisterStart(const char* address) {
    SessionState& state = PlatformSession();
    state.BeginRegistration();
    LoadRouterMac();
    if (LoadRouterSn() != 0) return kPlugFatal;
    if (ServerInit(address, regist_port) != 0) {
        DeleteServer();
        return -1;
    }
    WritePlugStatus(kStatusRegistering);
    if (RegistSendMsg() == kPlugFatal) {
        DeleteServer();
        return kPlugFatal;
    }
    state.WaitRegistered(kRegisterWaitSec * 1000);
    DeleteServer();  // the registration connection is always closed after the answer
    SessionEnd end = state.End();
    if (end == SessionEnd::kForcedOff) return kPlugFatal;
    if (end == SessionEnd::kRunning && state.Registered()) {
        LOGD("Register server1 success.");
        return 0;
    }
    WritePlugStatus(kStatusRegisterFailed);
    LOGE("Register failed.");
    return -1;
}

int LoginStart() {
    LoginTarget target = PlatformSession().Target();
    LOGI("quit regist,start login %s:%d", target.server, target.port);
    return LoginTo(target, kLoginWaitSec);
}

int ReLogin() {
    LoginTarget target = PlatformSession().Target();
    LOGI("Re-login %s:%d", target.server, target.port);
    return LoginTo(target, kReLoginWaitSec);
}

int HeartbeatStart() {
    gSession.checkStop = 0;
    gSession.heartStop = 0;
    if (!StartNamedThread(&gSession.check, "plug-check", CheckProc)) {
        LOGE("Created check thread failed errno=%d", errno);
        WritePlugStatus(kStatusFatal);
        LOGE("exit");
        return -1;
    }
    gSession.checkStarted = true;
    SleepMs(kServiceGapMs);
    RulesRequest();
    SleepMs(kServiceGapMs);
    if (!StartNamedThread(&gSession.heartbeat, "plug-heartbeat", HeartbeatProc)) {
        LOGE("Created heartbeat thread failed errno=%d", errno);
        WritePlugStatus(kStatusFatal);
        return -1;
    }
    gSession.heartStarted = true;
    return 0;
}

void DeleteHeartbear() {
    gSession.checkStop = 1;
    gSession.heartStop = 1;
    PlatformSession().Wake();
    if (gSession.checkStarted) JoinSessionThread(gSession.check, "Stop check thread error...");
    if (gSession.heartStarted)
        JoinSessionThread(gSession.heartbeat, "Stop heartbeat thread error...");
    gSession.checkStarted = false;
    gSession.heartStarted = false;
}

int RulesRequest() {
    char mac[13];
    snprintf(mac, sizeof mac, "%02X%02X%02X%02X%02X%02X", l_mac[0], l_mac[1], l_mac[2], l_mac[3],
             l_mac[4], l_mac[5]);
    std::unique_ptr<cJSON, JsonFree> root(cJSON_CreateObject());
    if (!root || !cJSON_AddStringToObject(root.get(), "MAC", mac)) return -1;
    std::unique_ptr<char, TextFree> text(cJSON_PrintUnformatted(root.get()));
    if (!text) return -1;
    LOGD("Send to platform: \n%s", text.get());
    return SendIpUpData(reinterpret_cast<const uint8_t*>(text.get()), strlen(text.get()),
                        kDataTypeRules, 0, nullptr);
}
