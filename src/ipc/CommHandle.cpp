// The frame-handling thread: takes queue elements, applies the receive rules and dispatches each
// accepted frame by its function ID. Answers go to the request that awaits them (CommRequest.h).
#include <atomic>
#include <cstring>

#include "core/ByteOrder.h"
#include "core/Globals.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "ipc/AutoReport.h"
#include "ipc/ComF.h"
#include "ipc/CommFrame.h"
#include "ipc/CommInternal.h"
#include "ipc/CommRequest.h"
#include "ipc/CommServer.h"

namespace {

std::atomic<unsigned long> gHandled{0};

void DropFn40List(const uint8_t*, size_t len) {
    LOGE("function-40 list dropped: no sub-device filter installed (length %d)",
         static_cast<int>(len));
}
std::atomic<Fn40ListHandler> gFn40Handler{DropFn40List};

const char* const kQueryNames[] = {"comm_get_version", "comm_get_base_info", "comm_get_wan_cfg",
                                   "comm_get_wans_cfg", "comm_get_wan_tcp_con_num"};

bool IsResponse(int id) {
    return (id >= 70 && id <= 80) || id == 82 || id == 83 || id == 85 || id == 88;
}

void PluginStateRequest(const uint8_t* payload) {
    if (payload[0] != 'i') {
        LOGD("Old plugin no plugin state notice.");
        return;
    }
    if (CommSendCmd(998, nullptr, 0) == 0)
        LOGD("send plugin state ok, no need ack.");
    else
        LOGE("ERROR: send plugin state failed!");
}

void Dispatch(const CommFrameView& f) {
    int id = f.funcId;
    if (id >= 1 && id <= 5) {
        LOGD("%s", kQueryNames[id - 1]);
    } else if (id == 40) {
        gFn40Handler.load()(f.payload, f.payloadLen);
    } else if (IsResponse(id)) {
        // An answer nobody waits for (late, or to a calibration) must not change rxData under
        // the next request.
        if (!CommAnswerArrived(id, f.payload, f.payloadLen, CommFuncRecv))
            LOGD("Answer %d without a request, dropped.", id);
    } else if (id == 81) {
        CommAutoReport(f.payload, f.payloadLen);
    } else if (id == 84 || id == 86) {
        CommAutoJsonReport(f.payload, f.payloadLen, id);
    } else if (id == 89) {
        CommAutoReport89(f.payload, f.payloadLen);
    } else if (id == 997) {
        Comm_get_88Conf(f.payload, f.payloadLen);
        CommAnswerArrived(id, f.payload, f.payloadLen, nullptr);
    } else if (id == 998) {
        PluginStateRequest(f.payload);
    } else if (id == 999) {
        CommFwUpdateResult(f.payload, f.payloadLen);
    } else {
        LOGE("Error funcID");
    }
}

}  // namespace

void CommHandleElement(const uint8_t* slot) {
    if (mLogin.load() != 1) return;  // not logged in: dropped without a message
    int32_t n = CommRQElementLength(slot);
    size_t count = n < 0 ? 0 : static_cast<size_t>(n);
    size_t avail = limits::kCommQueueSlotSize - sizeof(int32_t);
    CommFrameView f;
    if (CommAcceptFrame(CommRQElementData(slot), count, avail, CommRxSeq, &f) != kCommAccepted)
        return;
    Dispatch(f);
}

unsigned long CommHandledElements() {
    return gHandled.load();
}

void CommRecvHandle() {
    while (CommRun.load() == 1) {
        const uint8_t* slot = CommRQPop(&CommRequestQueue);
        if (slot) {
            CommHandleElement(slot);
            gHandled.fetch_add(1);
        } else
            CommWaitQueue();
    }
}

void SetFn40ListHandler(Fn40ListHandler handler) {
    gFn40Handler = handler ? handler : DropFn40List;
}
