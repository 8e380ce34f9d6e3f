// A bare companion for tests: connects to the agent's socket and moves raw bytes.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"

class RawCompanion {
public:
    RawCompanion() = default;
    ~RawCompanion() { Close(); }
    RawCompanion(const RawCompanion&) = delete;
    RawCompanion& operator=(const RawCompanion&) = delete;

    // Creates the socket ahead of Connect (which otherwise creates it).
    void Open() { fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); }
    bool Connect(const std::string& path) {
        if (fd_ < 0) Open();
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        memcpy(addr.sun_path, path.data(), path.size());
        if (connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) return true;
        Close();
        return false;
    }
    void Close() {
        if (fd_ >= 0) close(fd_);
        fd_ = -1;
    }
    bool Send(const std::vector<uint8_t>& bytes) {
        return send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    // Reads exactly n bytes within timeoutMs; fewer when the peer closes or time runs out.
    std::vector<uint8_t> Read(size_t n, int timeoutMs = 5000) {
        std::vector<uint8_t> out;
        while (out.size() < n &&
               testsupport::ReadWithin(fd_, timeoutMs, &out, n - out.size()) > 0) {
        }
        return out;
    }
    // True when the agent closed the connection within timeoutMs.
    bool ClosedByPeer(int timeoutMs = 5000) {
        std::vector<uint8_t> byte;
        return testsupport::ReadWithin(fd_, timeoutMs, &byte, 1) == 0;
    }

private:
    int fd_ = -1;
};

// A companion frame laid out by hand: 5A 5A, ID (2), sequence (4), length field (4), sum (2),
// all little-endian, then the payload. Length and sum are the payload's own unless given.
inline std::vector<uint8_t> CompanionFrame(uint16_t id, uint32_t seq,
                                           const std::vector<uint8_t>& payload,
                                           int64_t lenField = -1, int sum = -1) {
    unsigned s = 0;
    for (uint8_t b : payload)
        s += b;
    std::vector<uint8_t> f = {0x5A, 0x5A};
    auto put = [&f](uint64_t v, int n) {
        for (int i = 0; i < n; ++i)
            f.push_back(static_cast<uint8_t>(v >> (8 * i)));
    };
    put(id, 2);
    put(seq, 4);
    put(lenField < 0 ? payload.size() : static_cast<uint64_t>(lenField), 4);
    put(sum < 0 ? s : static_cast<uint64_t>(sum), 2);  // the low 16 bits of the byte sum
    f.insert(f.end(), payload.begin(), payload.end());
    return f;
}
