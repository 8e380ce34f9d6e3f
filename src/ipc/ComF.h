// Requests to the companion process. Each returns the companion's status byte (0 success) or 1
// when the command could not be sent or its answer did not come in time. One request is in
// flight at a time and only the answer to its function ID ends its wait (CommRequest.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Builds one frame for `funcId` in the send buffer and sends it: 0 when sent, -1 otherwise.
int CommSendCmd(int funcId, const uint8_t* payload, size_t len);
// The frame CommSendCmd would send for `funcId` with sequence `seq`, written into `out`
// (capacity `cap`). Returns the frame length, or -1 when the command is refused.
int CommBuildCmd(int funcId, uint32_t seq, const uint8_t* payload, size_t len, uint8_t* out,
                 size_t cap);
// The plug-in state text (998): online while logged in to the platform, offline otherwise.
std::string CommPluginStateText(int loggedIn);

// Stores a response frame's payload in rxData.
void CommFuncRecv(const uint8_t* payload, size_t len);
// Copies rxData bytes [0, n) under its lock (n at most 4096).
void CommRxDataCopy(uint8_t* out, size_t n);
// rxData as the requesting side reads it: status, length (bytes 1-2) and the data bytes.
struct CommResponse {
    uint8_t status;
    uint16_t length;      // payload length including the status byte
    const uint8_t* data;  // rxData byte 3 onwards, inside the caller's copy
};
CommResponse CommResponseView(const uint8_t* rxCopy);

unsigned ComF_get_wifi_freqband(uint8_t index, uint8_t* band);
unsigned ComF_get_mesh_support(uint8_t* support);
unsigned ComF_set_mesh_switch(uint8_t value);
unsigned ComF_get_mesh_switch(uint8_t* value);
unsigned ComF_set_mesh_roaming_switch(uint8_t value);
unsigned ComF_get_mesh_roaming_switch(uint8_t* value);
unsigned ComF_set_mesh_roaming_threshold(uint8_t index, uint8_t threshold);
unsigned ComF_get_mesh_roaming_threshold(uint8_t out[2]);
// The next three leave the companion's data in rxData from byte 3, until the next answer that a
// request awaits.
unsigned ComF_get_mesh_topology();
unsigned ComF_get_adj_wifi_info();
unsigned ComF_get_bssid();
unsigned ComF_set_wan_cfg(const uint8_t* record, size_t len);
unsigned ComF_trig_onekey_optimize();
unsigned ComF_trig_fault_diagnosis();
unsigned ComF_get_autoreport_conf();
unsigned ComF_send_pluginstate();
// Sets the auto-report configuration from the platform's JSON text (function 88).
unsigned ComF_set_auto_report(const char* json, size_t len);
// Sends the report-time calibration built from the stored configuration; no answer awaited.
void ComF_send_calibration();
