// Platform frames: the senders every subsystem uses, and the frame's AES encryption.
#pragma once

#include <cstddef>
#include <cstdint>

// Message types (bits 0-4 of the header's Type byte).
enum PlatformMsgType : uint8_t {
    kMsgHeartbeat = 1,
    kMsgHeartbeatAck = 2,
    kMsgForceDisconnect = 3,
    kMsgRegister = 9,
    kMsgLogin = 10,
    kMsgRegisterOrLoginAck = 11,
    kMsgUpload = 17,
    kMsgPlugData = 18,
    kMsgUploadWithMac = 19,
    kMsgFunctionCall = 20,
    kMsgReply = 25,
    kMsgReplyWithMac = 26,
};

// The one frame writer: header, option block, data block, through the connection's send.
// 0 or -1.
int SendRouteUpData(const uint8_t* opt, const uint8_t* data, uint8_t msgType, uint8_t reqFlag,
                    size_t optLen, size_t dataLen, uint8_t checksum);
// Upload of `len` bytes (1..8100) under `dataType`; type 19 with `mac` when withMac is non-zero,
// else type 17. Only while logged in. 0 or -1.
int SendIpUpData(const uint8_t* data, size_t len, uint8_t dataType, int withMac,
                 const uint8_t* mac);
// Reply to a platform request with a 16-bit result code; type 26 with `mac` when withMac is
// non-zero, else 25. len 0 sends no data block. Only while logged in and len <= 8100. 0 or -1.
int SendReplyData(uint16_t code, const uint8_t* data, size_t len, uint8_t dataType, int withMac,
                  const uint8_t* mac);

// The router MAC used in frames (set at registration).
void GetRouteMac(uint8_t mac[6]);
void SetRouteMac(const uint8_t mac[6]);

// Session frames, 0 or -1. RegistSendMsg returns kPlugFatal (core/Plug.h) when PIN or KEY is
// empty: the agent cannot work without them. LoginServer returns -1 at once while logged in.
int RegistSendMsg();
int LoginServer();
// Heartbeat: the current time in seconds as the option block, no data block.
int SendHeartbeat();
