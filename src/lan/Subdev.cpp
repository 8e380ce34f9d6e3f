#include "lan/Subdev.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <thread>

#include "core/Globals.h"
#include "core/Log.h"
#include "core/Thread.h"
#include "lan/LanLimits.h"
#include "lan/RunGate.h"
#include "lan/SubdevScan.h"
#include "platform/Protool.h"

using namespace lanlimits;

SubdevRequest nQuerySubdev;

namespace {

RunGate subdevRun;
std::thread pidsub;
uint16_t reportSeq = 0;  // the monitor thread's own

void SendtoServer(const SubdevTable& t) {
    std::vector<uint8_t> msg = BuildSubdevMessage(t, reportSeq);
    if (msg.empty()) {
        LOGE("Send subdevice list failed: %d devices.", static_cast<int>(t.total));
        return;
    }
    uint8_t mac[6];
    GetRouteMac(mac);
    SendIpUpData(msg.data(), msg.size(), kSubdevFunc, 1, mac);
    if (l_debug.load() == 1) printHexBuf(msg.data(), msg.size());
    ++reportSeq;
}

// Steps 2 to 8 of one scan. false when the scan has to start again.
bool ScanAndSend(SubdevTable* t) {
    SubdevStep step = GetSdkDevices(t);
    if (step == kScanRetryNow) return false;
    if (step == kScanRetryLater) {
        subdevRun.Sleep(kSubdevRetryMs);
        return false;
    }
    subdevRun.Sleep(kSubdevStepMs);
    GetFlowStatisData(t);
    char seg[kInNetSegSize];
    if (!GetInNetSeg(*t, seg)) {
        subdevRun.Sleep(kSubdevRetryMs);
        return false;
    }
    GetOffLineInfo(t, seg);
    GetBlackInfo(t);
    SendtoServer(*t);
    return true;
}

}  // namespace

SubdevRequest& SubdevRequest::operator=(int v) {
    subdevRun.Notify([&] { value_.store(v); });
    return *this;
}

void SubdevThread() {
    std::unique_ptr<SubdevTable> table(new (std::nothrow) SubdevTable());
    if (!table) {
        LOGE("Malloc subdevice table failed.");
        return;
    }
    while (subdevRun.load() == 1) {
        if (!subdevRun.WaitUntil(kSubdevIdleWaitMs, [] { return nQuerySubdev.load() != 0; }))
            return;
        if (nQuerySubdev.load() == 0) continue;
        if (!ScanAndSend(table.get())) continue;
        // Requests raised during the scan and this pause are absorbed by the clearing below.
        if (!subdevRun.Sleep(kSubdevSettleMs)) return;
        nQuerySubdev = 0;
    }
}

int StartSubdev() {
    reportSeq = 0;
    ResetInNetSeg();
    subdevRun.Start();
    nQuerySubdev = 0;
    LOGD("Start Subdevice task.");
    if (!StartNamedThread(&pidsub, "Subdev", SubdevThread)) {
        subdevRun.Stop();
        return errno != 0 ? errno : -1;
    }
    return 0;
}

void StopSubdev() {
    subdevRun.Stop();
    if (pidsub.joinable()) pidsub.join();
}
