// Process entry and supervision loop. The loop reaches the session and the services through
// AgentOps, which the executable fills with the real modules and tests with fakes.
#pragma once

// Result of a session step (or of SessionEnded) after which the process must end: the loop
// returns it to the entry at once. Any other negative result is a plain failure.
constexpr int kPlugFatal = -255;

struct AgentOps {
    // Start-up.
    void (*ResetRecvQueue)();  // the receive queue's fill offset back to 0
    int (*InitProtool)();      // 0 both servers, 1 only server 1, 2 only server 2, -1 failure
    int (*StartEaccess)();
    int (*CommServerStart)();
    int (*Fn39Init)();
    int (*Fn40Init)();
    int (*StartSubdev)();
    // Session.
    void (*ResetServerContext)();
    int (*RegisterStart)(const char* address);
    int (*LoginStart)();
    int (*ReLogin)();
    int (*HeartbeatStart)();
    void (*DeleteHeartbear)();
    void (*DeleteServer)();
    int (*SessionEnded)();  // 0 running, 1 over, kPlugFatal
    // Scheduled one-off actions.
    unsigned (*ComF_send_pluginstate)();
    unsigned (*ComF_get_autoreport_conf)();
    int (*dev_fwversion_report)();
    void (*ComF_send_calibration)();
};

// Start-up and the supervision loop. Returns only to end the process: the value is the status
// to exit with (-1, status 255), also after a fatal session result.
int PlugMain(int argc, char** argv, const AgentOps& ops);

// The supervision loop alone, given the resolve result of InitProtool. Returns -1 when the
// process must end.
int RunSupervisionLoop(const AgentOps& ops, int resolveResult);
