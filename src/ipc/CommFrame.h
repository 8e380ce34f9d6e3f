// The companion frame: a packed 14-byte little-endian header (marker 0x5A5A, function ID,
// sequence, payload length, checksum) followed by the payload. Pure functions over bytes.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

constexpr uint16_t kCommMarker = 0x5A5A;

// Sum of the bytes truncated to 16 bits; 0 for an empty payload.
uint16_t CommChecksum(const uint8_t* p, size_t n);
// Writes the 14-byte header at `out`.
void CommPutHeader(uint8_t* out, uint16_t funcId, uint32_t seq, uint32_t len, uint16_t sum);

struct CommFrameView {
    uint16_t funcId = 0;
    uint32_t seq = 0;
    uint32_t length = 0;  // the frame's own length field
    uint16_t checksum = 0;
    const uint8_t* payload = nullptr;
    size_t payloadLen = 0;  // the length field, bounded by the bytes the slot holds
};

enum CommAcceptResult {
    kCommAccepted = 0,
    kCommBadLength,
    kCommBadHead,
    kCommBadSequence,
    kCommBadChecksum,
};

// Applies the receive rules in order (byte count, marker, sequence, checksum) to one queue
// element of `count` bytes at `elem`; `avail` is how many bytes from `elem` lie inside its slot.
// The sequence is stored in `rxSeq` as soon as it differs from it. Logs the refusal.
CommAcceptResult CommAcceptFrame(const uint8_t* elem, size_t count, size_t avail,
                                 std::atomic<uint32_t>& rxSeq, CommFrameView* out);
