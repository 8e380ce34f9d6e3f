// A minimal platform peer for in-process tests: a loopback listener, one accepted connection,
// frames read with the codec and raw bytes written. Every wait ends after 5 s at most.
#pragma once

#include <cstdint>
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
    bool Accept();
    // One whole frame's raw bytes, empty when none came in time.
    Bytes ReadRaw(int timeoutMs = 5000);
    bool Read(const char* key, DecodedFrame* f);  // one frame, decoded whole with `key`
    bool Send(const Bytes& bytes);
    // Shrinks the receive buffer of the connections accepted from now on.
    void SetRecvBuf(int bytes);
    // Every byte until the agent closes (true) or nothing comes in time (false).
    bool ReadToEnd(Bytes* out);
    void CloseConn();
    void CloseListener();

private:
    int listenFd_ = -1;
    int connFd_ = -1;
    int port_ = 0;
    Bytes pending_;
    // Adds what one read brings to pending_: the byte count, 0 on close, -1 on time-out.
    long Fill(int timeoutMs);
};

// A platform -> agent frame; aborts on failure.
Bytes MakeFrame(const char* key, uint8_t msgType, const Bytes& opt, const Bytes& plain,
                uint8_t reqFlag = 0);

}  // namespace testplatform
