#include "ipc/ComF.h"

#include <cstdio>
#include <cstring>

#include "core/ByteOrder.h"
#include "core/Globals.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "ipc/CommFrame.h"
#include "ipc/CommInternal.h"
#include "ipc/CommServer.h"

std::mutex CommRxDataMutex;
uint8_t rxData[limits::kCommRxDataSize];

namespace {

enum class Payload { None, TwoBytes, Caller, Query, PluginState, Refused };

struct CmdRow {
    int id;
    const char* name;
    Payload payload;
};

const CmdRow kCmdTable[] = {
    {1, "comm_get_version", Payload::None},
    {2, "comm_get_base_info", Payload::None},
    {3, "comm_get_wan_cfg", Payload::None},
    {4, "comm_get_wans_cfg", Payload::None},
    {5, "comm_get_wan_tcp_con_num", Payload::TwoBytes},
    {40, "Error comm_subdev_report", Payload::Refused},
    {70, "get freqband", Payload::Caller},
    {71, "get mesh support", Payload::Query},
    {72, "set mesh switch", Payload::Caller},
    {73, "get mesh switch", Payload::Query},
    {74, "set mesh roaming switch", Payload::Caller},
    {75, "get mesh roaming switch", Payload::Query},
    {76, "set mesh roaming threshold", Payload::Caller},
    {77, "get mesh roaming threshold", Payload::Query},
    {78, "get mesh topology", Payload::Query},
    {79, "get adj wifi info", Payload::Query},
    {80, "get bssid", Payload::Query},
    {82, "set wan configure", Payload::Caller},
    {83, "trigger one key optimize", Payload::Query},
    {85, "trigger fault diagnosis", Payload::Query},
    {88, "set auto report", Payload::Caller},
    {997, "get autoreport conf", Payload::Query},
    {998, "send plugin state", Payload::PluginState},
    {999, "Firmware update", Payload::Caller},
};

const CmdRow* FindCmd(int id) {
    for (const CmdRow& r : kCmdTable)
        if (r.id == id) return &r;
    return nullptr;
}

constexpr uint8_t kQueryByte = 'i';

// The payload bytes of a command into `out` (room `cap`); -1 when refused.
int FillPayload(const CmdRow& row, const uint8_t* payload, size_t len, uint8_t* out, size_t cap) {
    switch (row.payload) {
        case Payload::None:
            return 0;
        case Payload::Query:
            out[0] = kQueryByte;
            return 1;
        case Payload::TwoBytes:
            if (!payload) return -1;
            memcpy(out, payload, 2);  // the length argument is not used for this command
            return 2;
        case Payload::Caller:
            if (len > cap || (len > 0 && !payload)) {
                LOGE("Command payload too long or missing: %d", static_cast<int>(len));
                return -1;
            }
            if (len > 0) memcpy(out, payload, len);
            return static_cast<int>(len);
        case Payload::PluginState: {
            std::string text = CommPluginStateText(mLogin.load());
            memcpy(out, text.data(), text.size());
            return static_cast<int>(text.size());
        }
        case Payload::Refused:
            return -1;
    }
    return -1;
}

}  // namespace

std::string CommPluginStateText(int loggedIn) {
    char version[limits::kPluginVersionSize];
    snprintf(version, sizeof version, "%d.%d.%d.%d-%s", limits::kVersionMajor,
             limits::kVersionMinor, limits::kVersionPatch, limits::kVersionBuild,
             limits::kBuildDate);
    char text[limits::kPluginStateSize];
    if (loggedIn == 1)
        snprintf(text, sizeof text, "{\"pluginState\":\"online\",\"pluginVersion\":\"%s\"}",
                 version);
    else
        snprintf(text, sizeof text, "{\"pluginState\":\"offline\",\"pluginVersion\":\"%s\"}",
                 version);
    return text;
}

int CommBuildCmd(int funcId, uint32_t seq, const uint8_t* payload, size_t len, uint8_t* out,
                 size_t cap) {
    if (funcId < limits::kCommMinFuncId || funcId > limits::kCommMaxFuncId) {
        LOGE("Function CMD error.");
        return -1;
    }
    const CmdRow* row = FindCmd(funcId);
    if (!row) {
        LOGE("funcCMD error");
        return -1;
    }
    if (row->payload == Payload::Refused) {
        LOGE("%s", row->name);
        return -1;
    }
    LOGD("%s", row->name);
    uint8_t* body = out + limits::kCommHeaderSize;
    int n = FillPayload(*row, payload, len, body, cap - limits::kCommHeaderSize);
    if (n < 0) return -1;
    auto plen = static_cast<size_t>(n);
    CommPutHeader(out, static_cast<uint16_t>(funcId), seq, static_cast<uint32_t>(plen),
                  CommChecksum(body, plen));
    return static_cast<int>(limits::kCommHeaderSize + plen);
}

int CommSendCmd(int funcId, const uint8_t* payload, size_t len) {
    std::lock_guard<std::mutex> g(CommSendMutex);
    // The header (and so the sequence) is filled before the payload table is consulted: every
    // function ID in range uses up a sequence number, even one that is then refused.
    bool inRange = funcId >= limits::kCommMinFuncId && funcId <= limits::kCommMaxFuncId;
    uint32_t seq = inRange ? CommTxSeq.load() + 1 : CommTxSeq.load();
    if (inRange) CommTxSeq.store(seq);
    int n = CommBuildCmd(funcId, seq, payload, len, txbuf, sizeof txbuf);
    if (n < 0) return -1;
    return CommServerSend(txbuf, static_cast<size_t>(n)) > 0 ? 0 : -1;
}

void CommFuncRecv(const uint8_t* payload, size_t len) {
    if (len < 1) return;
    uint8_t s = payload[0];
    std::lock_guard<std::mutex> g(CommRxDataMutex);
    if (s != 0) {
        rxData[0] = s;  // the data area keeps its previous content
        return;
    }
    if (len > limits::kCommRespMaxLen) {
        LOGE("ERROR: receive data too large!");
        rxData[0] = 1;
        return;
    }
    rxData[0] = 0;
    PutLe16(rxData + 1, static_cast<uint16_t>(len));
    memcpy(rxData + 3, payload + 1, len - 1);
    rxData[len + 2] = 0;
    LOGD("Recv length: %d", static_cast<int>(len));
}

void CommRxDataCopy(uint8_t* out, size_t n) {
    if (n > sizeof rxData) n = sizeof rxData;
    std::lock_guard<std::mutex> g(CommRxDataMutex);
    memcpy(out, rxData, n);
}

CommResponse CommResponseView(const uint8_t* rxCopy) {
    return CommResponse{rxCopy[0], GetLe16(rxCopy + 1), rxCopy + 3};
}
