// The agent executable: wires the real modules into the entry and the supervision loop.
#include <malloc.h>

#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Paths.h"
#include "core/Plug.h"
#include "eaccess/Eaccess.h"
#include "functions/FwVersion.h"
#include "functions/ProtoolSdk.h"
#include "ipc/ComF.h"
#include "ipc/CommServer.h"
#include "lan/Fn40.h"
#include "lan/Lan.h"
#include "platform/Crypto.h"
#include "platform/Dispatch.h"
#include "platform/Session.h"
#include "platform/PlatformLink.h"
#include "update/PlugUpdate.h"

int main(int argc, char** argv) {
#ifdef M_ARENA_MAX
    // One malloc arena for all threads: the agent's threads allocate little and rarely, and a
    // per-thread arena would keep its own private heap pages resident.
    mallopt(M_ARENA_MAX, 1);
#endif
    CryptoInit();
    ClockInitFromEnv();
    PathsInitFromEnv();
    SetFunctionCallHandler(ParserProtoolData);
    SetFn40ListHandler(Fn40Handle);
    SetPlugDataHandler(ParserPlugData);
    SetUpdateExit(PlugExit);
    AgentOps ops{};
    ops.ResetRecvQueue = ResetRecvQueue;
    ops.InitProtool = InitProtool;
    ops.StartEaccess = StartEaccess;
    ops.CommServerStart = CommServerStart;
    ops.Fn39Init = Fn39Init;
    ops.Fn40Init = Fn40Init;
    ops.StartSubdev = StartSubdev;
    ops.ResetServerContext = ResetServerContext;
    ops.RegisterStart = RegisterStart;
    ops.LoginStart = LoginStart;
    ops.ReLogin = ReLogin;
    ops.HeartbeatStart = HeartbeatStart;
    ops.DeleteHeartbear = DeleteHeartbear;
    ops.DeleteServer = DeleteServer;
    ops.SessionEnded = SessionEnded;
    ops.ComF_send_pluginstate = ComF_send_pluginstate;
    ops.ComF_get_autoreport_conf = ComF_get_autoreport_conf;
    ops.dev_fwversion_report = dev_fwversion_report;
    ops.ComF_send_calibration = ComF_send_calibration;
    int result = PlugMain(argc, argv, ops);
    // The session's threads are joined before the exit, whichever of them has already ended.
    DeleteHeartbear();
    DeleteServer();
    PlugExit(result);
}
