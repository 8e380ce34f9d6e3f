// The ComF_ request family: one exchange each through CommRequest, which matches the answer to
// the request's function ID.
#include "core/Limits.h"
#include "core/Log.h"
#include "ipc/ComF.h"
#include "ipc/CommRequest.h"

namespace {

// The status a ComF_ request hands back: the answer's status byte, or 1 when not sent or not
// answered in time.
unsigned Request(int id, const uint8_t* payload, size_t len, int ticks, const char* failText,
                 uint8_t* out = nullptr, size_t outN = 0) {
    int rc = CommRequest(id, payload, len, ticks, failText, out, outN);
    return rc < 0 ? 1u : static_cast<unsigned>(rc);
}

constexpr int kWait = limits::kCommWaitTicks;

}  // namespace

unsigned ComF_get_wifi_freqband(uint8_t index, uint8_t* band) {
    return Request(70, &index, 1, kWait, "ERROR: send command failed!", band, 1);
}

unsigned ComF_get_mesh_support(uint8_t* support) {
    return Request(71, nullptr, 0, kWait, "ERROR: send get mesh support command failed!", support,
                   1);
}

unsigned ComF_set_mesh_switch(uint8_t value) {
    return Request(72, &value, 1, kWait, "ERROR: send set mesh switch command failed!");
}

unsigned ComF_get_mesh_switch(uint8_t* value) {
    return Request(73, nullptr, 0, kWait, "ERROR: send get mesh switch command failed!", value, 1);
}

unsigned ComF_set_mesh_roaming_switch(uint8_t value) {
    return Request(74, &value, 1, kWait, "ERROR: send set mesh roaming switch command failed!");
}

unsigned ComF_get_mesh_roaming_switch(uint8_t* value) {
    return Request(75, nullptr, 0, kWait, "ERROR: send get mesh roaming switch command failed!",
                   value, 1);
}

unsigned ComF_set_mesh_roaming_threshold(uint8_t index, uint8_t threshold) {
    const uint8_t pair[2] = {index, threshold};
    return Request(76, pair, 2, kWait, "ERROR: send set mesh roaming threshold command failed!");
}

unsigned ComF_get_mesh_roaming_threshold(uint8_t out[2]) {
    return Request(77, nullptr, 0, kWait, "ERROR: send get mesh roaming threshold command failed!",
                   out, 2);
}

unsigned ComF_get_mesh_topology() {
    return Request(78, nullptr, 0, kWait, "ERROR: send get mesh topology command failed!");
}

unsigned ComF_get_adj_wifi_info() {
    return Request(79, nullptr, 0, limits::kCommLongWaitTicks,
                   "ERROR: send get adj wifi info command failed!");
}

unsigned ComF_get_bssid() {
    return Request(80, nullptr, 0, kWait, "ERROR: send get bssid command failed!");
}

unsigned ComF_set_wan_cfg(const uint8_t* record, size_t len) {
    if (!record || len != limits::kWanRecordSize) {
        LOGE("ERROR: WAN record length error! len=%d", static_cast<int>(len));
        return 1;
    }
    return Request(82, record, len, kWait, "ERROR: send set wan cfg command failed!");
}

unsigned ComF_trig_onekey_optimize() {
    return Request(83, nullptr, 0, kWait, "ERROR: send trigger onekey optimize command failed!");
}

unsigned ComF_trig_fault_diagnosis() {
    return Request(85, nullptr, 0, kWait, "ERROR: send trigger fault diagnosis command failed!");
}

unsigned ComF_get_autoreport_conf() {
    // The frame handler stores the 997 answer itself; its first byte is the status.
    int rc = CommRequest(997, nullptr, 0, kWait, "ERROR: get auto report config info failed!");
    if (rc < 0) return 1;
    LOGD("DEBUG: get auto report config info success.");
    return static_cast<unsigned>(rc);
}

unsigned ComF_send_pluginstate() {
    if (CommSendCmd(998, nullptr, 0) != 0) {
        LOGE("ERROR: send plugin state failed!");
        return 1;
    }
    LOGD("send plugin state ok, no need ack.");
    return 0;
}
