// Dispatch of received platform frames (CBHandle) and the handlers it hands data to.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Frame.h"

// A function call (message type 20): `req` holds `reqLen` received bytes of the call body
// (request tag, function ID, ..., parameters from byte 10); the answer goes into `ans`
// (8192 zeroed bytes) and its length into *ansLen (0: no answer frame). Returns 0 when handled,
// non-zero otherwise.
using FunctionCallHandler = int (*)(const uint8_t* req, size_t reqLen, uint8_t* ans,
                                    size_t* ansLen);
// Plug-in data (message types 18 and 25): DataType and the NUL-terminated data text.
using PlugDataHandler = int (*)(uint8_t dataType, const char* data, size_t len);

// Installed once by the executable before the first session; until then function calls are
// answered as unknown function IDs and plug-in data as unknown data types.
void SetFunctionCallHandler(FunctionCallHandler handler);
void SetPlugDataHandler(PlugDataHandler handler);

// Handles one frame taken from the receive queue, on the response thread: `opt` holds OptLen
// bytes, `data` DataLen bytes (the ciphertext), `first16` the first two data bytes as pop left
// them (0 before any data block). Always 0.
int CBHandle(const FrameHeader& h, const uint8_t* opt, const uint8_t* data, int16_t first16);
// Called by the receive thread for every complete frame before it is queued for CBHandle:
// handles the frames that must not wait behind a function call (the heartbeat answer) and
// returns true for them; false for every frame CBHandle is to handle in order.
bool HandleOnReceipt(const FrameHeader& h, int16_t first16);
