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

// Session steps called by the supervision loop: 0 success, -1 failure, kPlugFatal (core/Plug.h)
// when the process must end (no PIN, KEY or serial number; the platform forced a disconnect).
void ResetServerContext();
int RegisterStart(const char* address);
int LoginStart();
int ReLogin();
int HeartbeatStart();
void DeleteHeartbear();

// How the current session stands, for the supervision loop: 0 running, 1 over (the loop tears
// down and logs in again), kPlugFatal when the platform forced a disconnect.
int SessionEnded();

// Asks the platform for the rules of this router (DataType 13, frame type 17). 0 or -1.
int RulesRequest();
