// Online-device report (function 39): while no companion is connected, polls the router's
// device list once a minute and reports each device not reported before. The reported MACs
// survive restarts in Paths().macConfig ("/tmp/macconfig").
#pragma once

#include <cstdint>

#include "lan/LanLimits.h"
#include "lan/RunGate.h"

extern uint8_t OnlineMac[lanlimits::kMaxDevs][8];  // reported MACs (6 bytes, 2 unused)
extern int f39Num;                                 // valid entries of OnlineMac
extern RunGate Fn39Run;
extern int Fn39Started;

// 0 started, or not needed because a companion is connected; -1 on failure.
int Fn39Init();
// Reads the MAC file into OnlineMac; -1 (with f39Num 0) when it cannot be opened.
int Fn39LoadMac();
// Writes OnlineMac to the MAC file: 0, -1 when it cannot be written, -2 when not logged in.
int Fn39UpdateMac();
void Fn39ReportProc();
// Stops the thread (within a second) and frees the device table.
void Fn39Stop();
