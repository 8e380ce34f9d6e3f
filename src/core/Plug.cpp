#include "core/Plug.h"

#include <cstring>

#include "core/Clock.h"
#include "core/Config.h"
#include "core/Globals.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "core/Options.h"
#include "core/Paths.h"
#include "core/Status.h"

namespace {

using namespace limits;

// One registration attempt: 1 registered, 0 failed, -1 fatal.
int Attempt(const AgentOps& ops, const char* address) {
    ops.ResetServerContext();
    int r = ops.RegisterStart(address);
    return r == 0 ? 1 : r == kPlugFatal ? -1 : 0;
}

// One registration cycle's choice of servers. 1 registered, 0 failed, -1 fatal.
int RegisterCycle(const AgentOps& ops, int resolveResult) {
    if (runMode == 0) {
        LOGD("Test Mode!!!");
        return Attempt(ops, RegisterIpAddr1);
    }
    LOGD("Run Mode!!!");
    switch (resolveResult) {
        case 0:
            for (int i = 0; i < kServer1Attempts; ++i) {
                LOGD("Register server1...");
                int r = Attempt(ops, RegisterIpAddr1);
                if (r != 0) return r;
                SleepMs(kRetrySleepMs);
            }
            LOGD("Register server2...");
            return Attempt(ops, RegisterIpAddr2);
        case 1:
            LOGD("Only server1...");
            return Attempt(ops, RegisterIpAddr1);
        case 2:
            LOGD("Only server2...");
            return Attempt(ops, RegisterIpAddr2);
        default:
            LOGE("Dns parse failed, exit!!!");
            WritePlugStatus(kStatusFatal);
            return -1;
    }
}

void RunScheduledAction(const AgentOps& ops, unsigned pass) {
    switch (pass) {
        case kPassPluginState:
            ops.ComF_send_pluginstate();
            break;
        case kPassAutoReportConf:
            ops.ComF_get_autoreport_conf();
            break;
        case kPassFwVersion:
            ops.dev_fwversion_report();
            break;
        case kPassCalibration:
            LOGD("Send calibration info.");
            ops.ComF_send_calibration();
            break;
        default:
            break;
    }
}

enum class LoopNext { kReRegister, kExit };

// Polls a logged-in session every 2 s, re-logging in after each end while the registration is
// younger than 20 hours. Returns when a new registration cycle (or the process end) is due.
LoopNext PollSession(const AgentOps& ops, int& failedCycles) {
    const int64_t t0 = NowSec();
    unsigned n = 0;
    for (;;) {
        int ended = ops.SessionEnded();
        if (ended == kPlugFatal) return LoopNext::kExit;
        if (ended != 0) {
            failedCycles = 0;
            ops.ComF_send_pluginstate();
            if (n > kWeekPasses) {
                LOGD("After a week exit, restart ...");
                return LoopNext::kExit;
            }
            ops.DeleteHeartbear();
            ops.DeleteServer();
            WritePlugStatus(kStatusSessionEnded);
            SleepMs(kReloginPauseMs);
            if (NowSec() - t0 > kReRegisterAfterSec) {
                LOGE("Ready to Register ...");
                return LoopNext::kReRegister;
            }
            LOGD("ReLogin...");
            int r = ops.ReLogin();
            if (r == kPlugFatal) return LoopNext::kExit;
            if (r != 0) {
                LOGE("LoginStart error.");
                return LoopNext::kReRegister;
            }
            ops.ComF_send_pluginstate();
            if (ops.HeartbeatStart() != 0) {
                LOGE("LoginStart error.");
                ops.DeleteHeartbear();
                ops.DeleteServer();
                return LoopNext::kReRegister;
            }
        }
        RunScheduledAction(ops, n);
        n += 1;
        SleepMs(kPollPeriodMs);
    }
}

}  // namespace

int RunSupervisionLoop(const AgentOps& ops, int resolveResult) {
    int failedCycles = 0;
    for (;;) {
        WritePlugStatus(kStatusRegistering);
        int registered = RegisterCycle(ops, resolveResult);
        if (registered < 0) return -1;
        if (registered == 0) {
            if (failedCycles > kMaxFailedCycles) {
                LOGE("Register retry more than 10 times, exit !!!");
                WritePlugStatus(kStatusFatal);
                return -1;
            }
            failedCycles += 1;
            LOGE("RegisterStart error.");
            continue;
        }
        int login = ops.LoginStart();
        if (login == kPlugFatal) return -1;
        if (login != 0) {
            LOGE("LoginStart error.");
            continue;
        }
        if (ops.HeartbeatStart() != 0) {
            LOGE("LoginStart error.");
            ops.DeleteHeartbear();
            ops.DeleteServer();
            WritePlugStatus(kStatusFatal);
            continue;
        }
        if (PollSession(ops, failedCycles) == LoopNext::kExit) return -1;
    }
}

int PlugMain(int argc, char** argv, const AgentOps& ops) {
    memset(l_mac, 0, sizeof l_mac);
    memset(gSN, 0, sizeof gSN);
    if (config_line_proc(argc, argv) != 0) {
        LOGE("Error wrong param(s).");
        return -1;
    }
    SetLogMask(l_debug == 1 ? kLogMaskAll : 0);
    LOGD("Log system [debug] working.");
    LOGI_OK(">>>>>>>>>>>>>>>>> Plugin Version = %d.%d.%d.%d-%s", kVersionMajor, kVersionMinor,
            kVersionPatch, kVersionBuild, kBuildDate);
    SleepMs(kStartupSettleMs);

    ops.ResetRecvQueue();
    NewProgramProfile(Paths().plugConf.c_str());
    int resolveResult = ops.InitProtool();
    if (resolveResult == -1) {
        LOGE("Dns parse failed, exit!!!");
        WritePlugStatus(kStatusFatal);
        return -1;
    }

    ops.StartEaccess();
    if (ops.CommServerStart() != 0) {
        LOGE("Comm server start error.");
        return -1;
    }
    SleepMs(kServiceGapMs);
    ops.Fn39Init();
    SleepMs(kServiceGapMs);
    ops.Fn40Init();
    if (ops.StartSubdev() != 0) {
        LOGD("StartSubdev failed.");
        return -1;
    }
    return RunSupervisionLoop(ops, resolveResult);
}
