#include "lan/Function39.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <thread>

#include "RouterSdk.h"
#include "core/Globals.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/SubdevMutex.h"
#include "core/Thread.h"
#include "ipc/CommServer.h"
#include "lan/DevReport.h"
#include "platform/Session.h"

using namespace lanlimits;

uint8_t OnlineMac[kMaxDevs][8];
int f39Num = 0;
RunGate Fn39Run;
int Fn39Started = 0;

namespace {

std::unique_ptr<DevCfg[]> pF39Dev;  // table of the last successful query
size_t f39DevNum = 0;               // its records
std::thread Fn39PID;

bool Reported(const uint8_t* mac) {
    for (int i = 0; i < f39Num; ++i)
        if (memcmp(OnlineMac[i], mac, 6) == 0) return true;
    return false;
}

// One query of the router's devices; false (logged) when get_devs_cfg fails.
bool QueryDevices() {
    LOGD("Func39 query...");
    uint16_t num = 0;
    int ret = -1;
    {
        SubdevLock lock;
        if (lock.owns()) ret = get_devs_cfg(pF39Dev.get(), &num);
    }
    if (ret != 0) {
        LOGE("Func39 get_devs_cfg failed.");
        return false;
    }
    // The SDK fills at most ROUTER_MAX_DEVS records and may count more.
    f39DevNum = num < ROUTER_MAX_DEVS ? num : ROUTER_MAX_DEVS;
    return true;
}

void ReportNewDevices() {
    for (size_t i = 0; i < f39DevNum; ++i) {
        const uint8_t* rec = reinterpret_cast<const uint8_t*>(&pF39Dev[i]);
        if (Reported(rec)) continue;
        uint8_t msg[kDevReportSize];
        BuildDevReport(msg, rec, kRelayedRecordBytes);
        SendDevReport(msg);
        if (f39Num < static_cast<int>(kMaxDevs)) memcpy(OnlineMac[f39Num++], rec, 6);
    }
}

// The reported list becomes the devices of the last successful query.
void RenewList() {
    memset(OnlineMac, 0, sizeof OnlineMac);
    f39Num = 0;
    for (size_t i = 0; i < f39DevNum && i < kMaxDevs; ++i)
        memcpy(OnlineMac[f39Num++], pF39Dev[i].mac, 6);
}

}  // namespace

int Fn39LoadMac() {
    FILE* f = fopen(Paths().macConfig.c_str(), "r");
    if (f == nullptr) {
        f39Num = 0;
        LOGD("open MacConf file failed");
        return -1;
    }
    LOGD("LOAD macconfig");
    char line[kMacLineSize];
    while (f39Num < static_cast<int>(kMaxDevs) && fgets(line, sizeof line, f) != nullptr) {
        // One entry per line: the rest of a longer line is skipped, not read as a new line.
        if (strchr(line, '\n') == nullptr) {
            int c;
            while ((c = fgetc(f)) != EOF && c != '\n') {
            }
        }
        unsigned b[6];
        uint8_t* e = OnlineMac[f39Num++];
        memset(e, 0, 8);
        if (sscanf(line, "%02x%02x%02x%02x%02x%02x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5]) ==
            6) {
            for (int i = 0; i < 6; ++i)
                e[i] = static_cast<uint8_t>(b[i]);
        }
    }
    fclose(f);
    return 0;
}

int Fn39UpdateMac() {
    if (mLogin.load() != 1) return -2;
    LOGD("UpdateMacProfile");
    FILE* f = fopen(Paths().macConfig.c_str(), "w");
    if (f == nullptr) {
        LOGE("file open error");
        return -1;
    }
    for (int i = 0; i < f39Num; ++i) {
        const uint8_t* m = OnlineMac[i];
        fprintf(f, "%02x%02x%02x%02x%02x%02x\r\n", m[0], m[1], m[2], m[3], m[4], m[5]);
    }
    return fclose(f) == 0 ? 0 : -1;
}

void Fn39ReportProc() {
    int k = 1;
    while (Fn39Run.load() == 1) {
        if (CommClientReg.load() == 1) {
            LOGD("Use function 40");
            return;
        }
        if (AutoReportDevinfo.load() == 0 || mLogin.load() != 1) {
            Fn39Run.Sleep(kFn39RoundMs);
            continue;
        }
        if (!Fn39Run.Sleep(kFn39RoundMs)) return;
        if (k % kFn39QueryEvery == 0) {
            if (!QueryDevices()) {
                Fn39Run.Sleep(kFn39QueryFailMs);
                continue;
            }
            ReportNewDevices();
        }
        if (k >= Fn40Interval.load()) {
            RenewList();
            k = 1;
            Fn39UpdateMac();
        } else {
            ++k;
        }
    }
}

int Fn39Init() {
    memset(OnlineMac, 0, sizeof OnlineMac);
    f39Num = 0;
    Fn39Started = 0;
    if (CommClientReg.load() == 1) {
        LOGD("Use function 40");
        return 0;
    }
    pF39Dev.reset(new (std::nothrow) DevCfg[kDevTableSize]());
    if (!pF39Dev) {
        LOGE("Malloc func39 devices failed.");
        return -1;
    }
    f39DevNum = 0;
    Fn39LoadMac();
    Fn39Run.Start();
    if (!StartNamedThread(&Fn39PID, "Fn39Report", Fn39ReportProc)) {
        Fn39Run.Stop();
        pF39Dev.reset();
        LOGE("Create FnReportProc failed.");
        return -1;
    }
    Fn39Started = 1;
    return 0;
}

void Fn39Stop() {
    Fn39Run.Stop();
    if (Fn39Started == 1) {
        if (Fn39PID.joinable()) Fn39PID.join();
        pF39Dev.reset();
        Fn39Started = 0;
    }
}
