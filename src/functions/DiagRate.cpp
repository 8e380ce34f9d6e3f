#include "functions/DiagRate.h"

#include <cjson/cJSON.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>

#include "core/ByteOrder.h"
#include "core/Clock.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/Thread.h"
#include "platform/Protool.h"
#include "update/Download.h"

namespace {

// The rate-test job: the flags are shared by the dispatcher and the worker.
struct RateJob {
    std::atomic<int> running{0};   // set by the starter, cleared by the worker at its end
    std::atomic<int> joinable{0};  // set by the starter, cleared by whoever joins
    std::thread rateThreadId;      // started and joined by the dispatcher only
};

// Never destroyed: a worker may still be joinable when the process exits.
RateJob& Job() {
    static RateJob* job = new RateJob;
    return *job;
}

using JsonPtr = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

// One transfer through the HTTP client, then the result pushed as function 62.
void MeasureAndPush(const std::string& server, int port, const std::string& path) {
    int ret = DownTestRateFIle(server.c_str(), port, path.c_str(), Paths().rateFile.c_str());
    int rate = gDownRate;
    LOGD("route rate --------------- %d", rate);
    uint8_t record[limits::kRateRecordSize];
    RateBuildRecord(rate, record);
    uint8_t mac[limits::kMacSize];
    GetRouteMac(mac);
    SendReplyData(0, record, sizeof record, 0, 1, mac);
    LOGD("route rate up ret %d", ret);
}

void RateTestThread() {
    MeasureAndPush(limits::kRateTestServer, limits::kRateTestPort, limits::kRateTestPath);
    Job().running = 0;
}

void RateTestProc(const std::string& address) {
    RateAddress a;
    if (RateSplitAddress(address.c_str(), &a) == 0) MeasureAndPush(a.server, a.port, a.path);
    Job().running = 0;
}

void JoinPrevious(RateJob& job) {
    if (!job.joinable) return;
    job.joinable = 0;
    job.rateThreadId.join();
    SleepMs(limits::kRateJoinPauseMs);
}

template <typename F>
int StartRateThread(F body) {
    RateJob& job = Job();
    JoinPrevious(job);
    job.running = 1;
    if (!StartNamedThread(&job.rateThreadId, "ratetest", body)) {
        LOGE("Create RateTestThread Failed.");
        job.running = 0;
        return 1;
    }
    job.joinable = 1;
    return 0;
}

// Decimal port text of 1 to 5 digits, 1 to 65535; -1 otherwise.
int ParsePort(const char* p, size_t n) {
    if (n == 0 || n > 5) return -1;
    int port = 0;
    for (size_t i = 0; i < n; ++i) {
        if (p[i] < '0' || p[i] > '9') return -1;
        port = port * 10 + (p[i] - '0');
    }
    return port >= 1 && port <= 65535 ? port : -1;
}

}  // namespace

int RateSplitAddress(const char* address, RateAddress* out) {
    const char* scheme = strstr(address, "://");
    if (scheme == nullptr) return -1;
    const char* server = scheme + 3;
    const char* colon = strchr(server, ':');
    const char* slash = strchr(colon != nullptr ? colon : server, '/');
    if (slash == nullptr) return -1;
    const char* serverEnd = colon != nullptr ? colon : slash;
    int port = limits::kRateDefaultPort;
    if (colon != nullptr) {
        size_t portLen = static_cast<size_t>(slash - colon - 1);
        LOGD("port length: %d", static_cast<int>(portLen));
        port = ParsePort(colon + 1, portLen);
        if (port < 0) {
            LOGE("rate test port invalid: %.*s", static_cast<int>(portLen), colon + 1);
            return -1;
        }
    }
    size_t serverLen = static_cast<size_t>(serverEnd - server);
    LOGD("server len  %d", static_cast<int>(serverLen));
    if (serverLen < limits::kRateServerMinLen || serverLen > limits::kRateServerMaxLen) return -1;
    out->server.assign(server, serverLen);
    out->port = port;
    out->path = slash;
    LOGD("serverName: %s, port: %d, url: %s", out->server.c_str(), port, slash);
    return 0;
}

void RateBuildRecord(int rate, uint8_t out[10]) {
    PutLe16(out, 0);
    PutLe16(out + 2, limits::kRateFuncId);
    PutLe16(out + 4, rate == -1 ? 1 : 0);
    PutLe32(out + 6, static_cast<uint32_t>(rate));
}

int RateTestStart() {
    if (Job().running) return 0;
    return StartRateThread(RateTestThread);
}

int ParseConfigData(const char* json, size_t length) {
    char text[limits::kMaxConfigJsonLen + 1] = {};
    size_t n = length < sizeof text - 1 ? length : sizeof text - 1;
    memcpy(text, json, n);
    LOGD("ConfigData: %s", text);
    JsonPtr root(cJSON_Parse(text), cJSON_Delete);
    if (!root) return 1;
    const cJSON* value = cJSON_GetObjectItem(root.get(), "value_func61");
    if (!cJSON_IsString(value) || value->valuestring == nullptr) return 1;
    LOGD("func61 address: %s", value->valuestring);
    char address[limits::kRateAddressSize] = {};
    strncpy(address, value->valuestring, sizeof address - 1);
    if (Job().running) {
        LOGE("Please wait last finish.");
        return 0;
    }
    std::string a = address;
    return StartRateThread([a] { RateTestProc(a); });
}

void RateReset() {
    RateJob& job = Job();
    if (!job.joinable) return;
    job.joinable = 0;
    job.rateThreadId.join();
}
