#include "platform/Session.h"

#include <cjson/cJSON.h>
#include <pthread.h>

#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
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
#include "core/Thread.h"
#include "core/Status.h"
#include "platform/Protool.h"
#include "platform/TcpServer.h"

using namespace limits;

char g_pin_code[kPinSize];
char gKeyText[kKeySize];
int regist_port;
std::atomic<int> Fn40Interval{30};
std::atomic<int> AutoReportDevinfo{1};

std::atomic<int> mRegist{0};
std::atomic<int> beepAck{0};
std::atomic<int> mHeartTime{0};
std::atomic<int> mHeartInterval{kDefaultHeartInterval};
std::atomic<int> mLoginPort{0};
char mLoginServer[kIpTextSize];
uint8_t mLoginTocken[32];
uint8_t mLoginPluginId[32];

namespace {

constexpr const char* kDefaultServer1 = "reg1.plugcloud.com";
constexpr const char* kDefaultServer2 = "reg2.plugcloud.com";

// The session waits (register and login answers, heartbeat period, check period) wake on
// SessionWake instead of polling; each keeps its time-out as the upper bound.
std::mutex gSessMu;
std::condition_variable gSessCv;

bool SessionWait(int64_t ms, const std::function<bool()>& done) {
    std::unique_lock<std::mutex> lock(gSessMu);
    return GetClock().WaitFor(gSessCv, lock, ms, done);
}

// The login-side threads of the session context. Touched by the supervision loop only.
struct SessionThreads {
    std::thread check;
    std::thread heartbeat;
    bool checkStarted = false;
    bool heartStarted = false;
} gSession;

void ClearLoginTarget() {
    memset(mLoginPluginId, 0, sizeof mLoginPluginId);
    memset(mLoginServer, 0, sizeof mLoginServer);
    memset(mLoginTocken, 0, sizeof mLoginTocken);
    mLoginPort = 0;
}

}  // namespace

int InitProtool() {
    ClearLoginTarget();
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

void SessionWake() {
    { std::lock_guard<std::mutex> g(gSessMu); }
    gSessCv.notify_all();
}

void ResetProtoolState() {
    mRegist = 0;
    mLogin = 0;
    mQuitPro = 0;
    mHeartTime = 0;
    beepAck = 0;
    mHeartInterval = kDefaultHeartInterval;
    memset(mLoginServer, 0, sizeof mLoginServer);
    memset(mLoginTocken, 0, sizeof mLoginTocken);
    memset(mLoginPluginId, 0, sizeof mLoginPluginId);
}

void ResetServerContext() {
    ResetServerRun();
    // The context's threads are stopped by the time a new attempt starts; should one still be
    // there, it is stopped rather than dropped.
    if (gSession.checkStarted || gSession.heartStarted) DeleteHeartbear();
    ResetProtoolState();
    mQuitPro = 0;
    mLogin = 0;
    mHeartTime = 0;
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
void LoadRouterSn() {
    if (!AllZero(gSN, sizeof gSN)) return;
    char sn[ROUTER_TEXT_SIZE] = {0};
    if (get_router_sn(sn) != 0) {
        LOGE("ERROR: get sn failed!");
        PlugExit(-1);
    }
    size_t len = strnlen(sn, sizeof sn);
    if (len == 0 || len > kSnSize - 1) {
        LOGE("ERROR: SN is invalid!");
        PlugExit(-1);
    }
    LOGD("SN: %s LEN: %d", sn, static_cast<int>(len));
    memcpy(gSN, sn, len);
    gSN[kSnSize - 1] = '\0';
}

// Connects to the login server of the last register answer, sends the login frame and waits
// up to `waitSec` for the answer. Shared by LoginStart and ReLogin.
int LoginTo(long waitSec) {
    if (mLoginServer[0] == '\0') {
        LOGE("Login Server wrong !");
        return -1;
    }
    if (ServerInit(mLoginServer, mLoginPort) != 0) {
        DeleteServer();
        LOGE("Login ServerInit error");
        return -1;
    }
    mQuitPro = 0;
    mLogin = 0;
    LoginServer();
    SessionWait(waitSec * 1000, [] { return mQuitPro == 1 || mLogin == 1; });
    if (mLogin == 1) {
        mQuitPro = 0;
        LOGI_OK("Login done");
        return 0;
    }
    LOGE("login failed !");
    DeleteServer();
    return -1;
}

void HeartbeatProc() {
    while (mQuitPro == 0) {
        SendHeartbeat();
        beepAck = 0;
        int interval = mHeartInterval;
        if (interval >= 1) SessionWait(interval * 1000LL, [] { return mQuitPro == 1; });
    }
}

// Declares the session lost when nothing at all arrived since the last heartbeat and the last
// heartbeat answer is older than three periods; never before the first answer. Each test comes
// at the end of a 10-s period: after a re-login mHeartTime and beepAck still hold the lost
// session's values, and the new session's first heartbeat answer must be in before the first look.
void CheckProc() {
    while (mQuitPro == 0) {
        if (SessionWait(kCheckPeriodMs, [] { return mQuitPro == 1; })) break;
        int64_t now = NowSec();
        int last = mHeartTime;
        if (beepAck != 1 && last != 0 && now - last > 3 * mHeartInterval) {
            mQuitPro = 1;
            LOGE("heart beep error");
            SessionWake();
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
    ClearLoginTarget();
    mRegist = 0;
    mLogin = 0;
    mQuitPro = 0;
    LoadRouterMac();
    LoadRouterSn();
    if (ServerInit(address, regist_port) != 0) {
        DeleteServer();
        return -1;
    }
    WritePlugStatus(kStatusRegistering);
    RegistSendMsg();
    SessionWait(kRegisterWaitSec * 1000, [] { return mRegist == 1 || mQuitPro == 1; });
    DeleteServer();  // the registration connection is always closed after the answer
    if (mQuitPro != 1 && mRegist == 1) {
        LOGD("Register server1 success.");
        return 0;
    }
    WritePlugStatus(kStatusRegisterFailed);
    LOGE("Register failed.");
    return -1;
}

int LoginStart() {
    LOGI("quit regist,start login %s:%d", mLoginServer, mLoginPort.load());
    return LoginTo(kLoginWaitSec);
}

int ReLogin() {
    LOGI("Re-login %s:%d", mLoginServer, mLoginPort.load());
    return LoginTo(kReLoginWaitSec);
}

int HeartbeatStart() {
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
    mQuitPro = 1;
    SessionWake();
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
