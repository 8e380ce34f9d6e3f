// Platform session: settings and server resolution, registration, login, heartbeat.
#pragma once

#include <atomic>
#include <cstdint>

#include "core/Limits.h"

extern char g_pin_code[limits::kPinSize];   // PIN from plug.conf
extern char gKeyText[limits::kKeySize];     // KEY from plug.conf (AES key text)
extern int regist_port;                     // registration port from PORT
extern std::atomic<int> Fn40Interval;       // rounds of 10 s between device-list renewals
extern std::atomic<int> AutoReportDevinfo;  // platform switch for device reports

// Reads the platform keys of plug.conf and resolves the registration servers.
// 0 both servers usable, 1 only server 1, 2 only server 2, -1 failure.
int InitProtool();

// Session steps called by the supervision loop; 0 success, -1 failure.
void ResetServerContext();
int RegisterStart(const char* address);
int LoginStart();
int ReLogin();
int HeartbeatStart();
void DeleteHeartbear();

// Session state, written by the frame handler (response thread) and read by the supervision
// loop and the session threads. The texts are written before the flag that announces them
// (mRegist) is set, and read after it was seen: the atomic store/load orders them.
extern std::atomic<int> mRegist;                // 1 once a register answer was accepted
extern std::atomic<int> beepAck;                // 1 when a frame arrived since the last heartbeat
extern std::atomic<int> mHeartTime;             // seconds of the last heartbeat answer; 0 none yet
extern std::atomic<int> mHeartInterval;         // heartbeat period in seconds (16-bit signed)
extern std::atomic<int> mLoginPort;             // login port from the register answer
extern char mLoginServer[limits::kIpTextSize];  // "%d.%d.%d.%d" from the register answer
extern uint8_t mLoginTocken[32];
extern uint8_t mLoginPluginId[32];

// mRegist, mLogin, mQuitPro, mHeartTime, beepAck to 0, mHeartInterval to 50, login server,
// token and plug-in id cleared.
void ResetProtoolState();
// Wakes the session waits after mRegist, mLogin or mQuitPro changed.
void SessionWake();

// Asks the platform for the rules of this router (DataType 13, frame type 17). 0 or -1.
int RulesRequest();
