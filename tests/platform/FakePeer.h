// A minimal platform peer for in-process tests: a loopback listener, one accepted connection,
// frames read with the codec and raw bytes written.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Frame.h"

namespace testplatform {

using Bytes = std::vector<uint8_t>;

class FakePeer {
public:
    FakePeer();  // listens on 127.0.0.1, an ephemeral port
    ~FakePeer();
    FakePeer(const FakePeer&) = delete;
    FakePeer& operator=(const FakePeer&) = delete;
    int port() const { return port_; }
    // Accepts one connection (waits up to timeoutMs). True when connected.
    bool Accept(int timeoutMs = 5000);
    // Reads bytes until one whole frame is held; returns its raw bytes (empty on time-out).
    Bytes ReadRaw(int timeoutMs = 5000);
    // Reads and decodes one frame with `key`. False on time-out.
    bool Read(const char* key, DecodedFrame* f, int timeoutMs = 5000);
    bool Send(const Bytes& bytes);
    // Shrinks the receive buffer of the connections accepted from now on.
    void SetRecvBuf(int bytes);
    // Reads every byte until the agent closes (true) or nothing comes for timeoutMs (false).
    bool ReadToEnd(Bytes* out, int timeoutMs = 5000);
    void CloseConn();
    void CloseListener();

private:
    int listenFd_ = -1;
    int connFd_ = -1;
    int port_ = 0;
    Bytes pending_;
    // Adds what one recv() brings to pending_: the byte count, 0 on close, -1 on time-out.
    ssize_t Fill(int timeoutMs);
};

// Builds a platform -> agent frame; aborts the test on failure.
Bytes MakeFrame(const char* key, uint8_t msgType, const Bytes& opt, const Bytes& plain,
                uint8_t reqFlag = 0);

}  // namespace testplatform
