// Writes a whole buffer to a non-blocking stream socket: the remaining bytes are sent each
// time the socket becomes writable, within one time-out of agent time.
#pragma once

#include <cstddef>
#include <cstdint>

// 0 when all `len` bytes were written; -1 when the socket failed or `timeoutMs` (agent time,
// through the clock seam) passed first. After -1 the peer may hold a cut prefix: the caller
// closes the socket, so those bytes are the last the peer ever reads.
int SendAll(int fd, const uint8_t* buf, size_t len, int64_t timeoutMs);
