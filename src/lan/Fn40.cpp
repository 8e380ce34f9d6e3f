#include "lan/Fn40.h"

#include <cstring>
#include <thread>

#include "core/ByteOrder.h"
#include "core/Log.h"
#include "core/Thread.h"
#include "ipc/CommServer.h"
#include "lan/DevReport.h"
#include "platform/Session.h"

using namespace lanlimits;

std::mutex Fn40Mutex;
RunGate Fn40Run;
int Fn40Started = 0;

namespace {

Fn40Slot fn40Dev[kMaxDevs];
std::thread Fn40PID;

bool AllBytes(const uint8_t* p, size_t n, uint8_t v) {
    for (size_t i = 0; i < n; ++i)
        if (p[i] != v) return false;
    return true;
}

bool SlotFree(const Fn40Slot& s) {
    return AllBytes(s.mac, 6, 0);
}

void ClearSlots() {
    memset(fn40Dev, 0, sizeof fn40Dev);
}

}  // namespace

int Fn40AddDev(const uint8_t* entry) {
    if (AllBytes(entry, 6, 0) || AllBytes(entry, 6, 0xFF)) return -1;
    std::lock_guard<std::mutex> g(Fn40Mutex);
    Fn40Slot* free = nullptr;
    for (Fn40Slot& s : fn40Dev) {
        if (memcmp(s.mac, entry, 6) == 0) return 0;  // known: not reported again before a wipe
        if (free == nullptr && SlotFree(s)) free = &s;
    }
    if (free == nullptr) return 0;  // every slot taken: dropped
    memcpy(free->mac, entry, 6);
    memcpy(free->data, entry + 6, kFn40DataSize);
    free->pending = 1;
    return 0;
}

void Fn40Handle(const uint8_t* payload, size_t len) {
    if (len >= 2) {
        unsigned num = GetLe16(payload);
        if (num == 0 || num > kMaxDevs) {
            LOGE("Subdev number error.");
            return;
        }
    }
    if (len < kFn40MinLen || len > kFn40MaxLen) {
        LOGE("Subdev length error.");
        return;
    }
    LOGD("Have subdev data.");
    unsigned num = GetLe16(payload);
    size_t off = 2;
    // The count is the companion's; entries are read only as far as the received bytes go. An
    // offline entry does not advance the walk, so every entry after it counts as offline too.
    for (unsigned i = 0; i < num && off + kFn40EntrySize <= len; ++i) {
        const uint8_t* entry = payload + off;
        if (entry[kFn40EntrySize - 1] == 1) {
            Fn40AddDev(entry);
            off += kFn40EntrySize;
        } else {
            LOGD("Subdev offline.");
        }
    }
}

void Fn40OnlineReport() {
    for (Fn40Slot& s : fn40Dev) {
        if (s.pending != 1) continue;
        s.pending = 0;
        uint8_t body[kDevReportBody];
        memcpy(body, s.mac, 6);
        memcpy(body + 6, s.data, kFn40DataSize);
        uint8_t msg[kDevReportSize];
        BuildDevReport(msg, body, sizeof body);
        SendDevReport(msg);
    }
}

void Fn40FilterProc() {
    int k = 0;
    while (Fn40Run.load() == 1) {
        // Until a companion has connected there is nothing to filter.
        while (CommClientReg.load() != 1)
            if (!Fn40Run.Sleep(kFn40WaitCompanionMs)) return;
        if (!Fn40Run.Sleep(kFn40RoundMs)) return;
        std::lock_guard<std::mutex> g(Fn40Mutex);
        Fn40OnlineReport();
        if (k >= Fn40Interval.load()) {
            ClearSlots();
            LOGD("Clean 40 subdev.");
            k = 1;
        } else {
            ++k;
        }
    }
}

int Fn40Init() {
    {
        std::lock_guard<std::mutex> g(Fn40Mutex);
        ClearSlots();
    }
    Fn40Started = 0;
    Fn40Run.Start();
    if (!StartNamedThread(&Fn40PID, "Fn40Filter", Fn40FilterProc)) {
        Fn40Run.Stop();
        LOGE("Create Fn40FilterProc failed.");
        return -1;
    }
    Fn40Started = 1;
    return 0;
}

void Fn40Stop() {
    Fn40Run.Stop();
    if (Fn40PID.joinable()) Fn40PID.join();
    Fn40Started = 0;
}

std::vector<Fn40Slot> Fn40Slots() {
    std::lock_guard<std::mutex> g(Fn40Mutex);
    std::vector<Fn40Slot> used;
    for (const Fn40Slot& s : fn40Dev)
        if (!SlotFree(s)) used.push_back(s);
    return used;
}
