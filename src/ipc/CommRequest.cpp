#include "ipc/CommRequest.h"

#include <condition_variable>
#include <cstring>
#include <mutex>

#include "core/Clock.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "ipc/ComF.h"

namespace {

std::mutex gExchangeMu;  // one exchange, send to end of wait, at a time
// The exchange in flight, under gAwaitMu: the awaited function ID (0 none), whether its answer
// has been filed (CommReceived) and that answer's status byte.
std::mutex gAwaitMu;
std::condition_variable gAwaitCv;
int gAwaitedId = 0;
int CommReceived = 0;
uint8_t gAnswerStatus = 1;

void Await(int funcId) {
    std::lock_guard<std::mutex> g(gAwaitMu);
    gAwaitedId = funcId;
    CommReceived = 0;
    gAnswerStatus = 1;
}

}  // namespace

int CommRequest(int funcId, const uint8_t* payload, size_t len, int ticks, const char* failText,
                uint8_t* out, size_t outN) {
    std::lock_guard<std::mutex> exchange(gExchangeMu);
    Await(funcId);  // before the send, so that no answer can come first
    if (CommSendCmd(funcId, payload, len) != 0) {
        Await(0);
        LOGE("%s", failText);
        return -1;
    }
    Route_Wait(ticks);
    std::lock_guard<std::mutex> g(gAwaitMu);
    int rc = CommReceived == 1 ? gAnswerStatus : 1;
    if (rc == 0 && out && outN > 0) {
        uint8_t rx[3 + 2];
        if (outN > sizeof rx - 3) outN = sizeof rx - 3;
        CommRxDataCopy(rx, 3 + outN);
        memcpy(out, rx + 3, outN);
    }
    gAwaitedId = 0;
    return rc;
}

bool CommAnswerArrived(int funcId, const uint8_t* payload, size_t len, CommAnswerStore store) {
    {
        std::lock_guard<std::mutex> g(gAwaitMu);
        if (funcId != gAwaitedId || CommReceived == 1) return false;
        uint8_t status = len > 0 ? payload[0] : 1;
        if (store && len > 0) {
            store(payload, len);
            CommRxDataCopy(&status, 1);
        }
        gAnswerStatus = status;
        CommReceived = 1;
    }
    gAwaitCv.notify_all();
    return true;
}

int Route_Wait(int ticks) {
    if (ticks < 1) return 0;
    if (ticks > limits::kCommMaxTicks) ticks = limits::kCommMaxTicks;
    std::unique_lock<std::mutex> lk(gAwaitMu);
    GetClock().WaitFor(gAwaitCv, lk, ticks * limits::kCommTickMs, [] { return CommReceived == 1; });
    if (CommReceived == 1) return 0;
    LOGE("ERROR: request timeout!");
    return -1;
}
