#include "FakePeer.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

#include "TestSupport.h"

namespace testplatform {

FakePeer::FakePeer() {
    listenFd_ = testsupport::BindLoopback(&port_);
}

FakePeer::~FakePeer() {
    CloseConn();
    CloseListener();
}

bool FakePeer::Accept() {
    struct pollfd p = {listenFd_, POLLIN, 0};
    if (poll(&p, 1, 5000) != 1) return false;
    CloseConn();
    pending_.clear();
    connFd_ = accept(listenFd_, nullptr, nullptr);
    return connFd_ >= 0;
}

long FakePeer::Fill(int timeoutMs) {
    return connFd_ < 0 ? -1 : testsupport::ReadWithin(connFd_, timeoutMs, &pending_);
}

Bytes FakePeer::ReadRaw(int timeoutMs) {
    for (;;) {
        FrameHeader h;
        if (pending_.size() >= kFrameHeaderLen) {
            if (ParseFrameHeader(pending_.data(), pending_.size(), &h) != 0) abort();
            auto end = pending_.begin() + static_cast<long>(kFrameHeaderLen + h.optLen + h.dataLen);
            if (end <= pending_.end()) {
                Bytes frame(pending_.begin(), end);
                pending_.erase(pending_.begin(), end);
                return frame;
            }
        }
        if (Fill(timeoutMs) <= 0) return {};
    }
}

bool FakePeer::Read(const char* key, DecodedFrame* f) {
    Bytes raw = ReadRaw();
    return !raw.empty() &&
           DecodeFrame(key, raw.data(), raw.size(), f) == static_cast<long>(raw.size());
}

bool FakePeer::Send(const Bytes& bytes) {
    return connFd_ >= 0 && send(connFd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
                               static_cast<ssize_t>(bytes.size());
}

void FakePeer::SetRecvBuf(int bytes) {
    setsockopt(listenFd_, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

bool FakePeer::ReadToEnd(Bytes* out) {
    long n;
    while ((n = Fill(5000)) > 0) {
    }
    out->swap(pending_);
    pending_.clear();
    return n == 0;
}

void FakePeer::CloseConn() {
    if (connFd_ >= 0) close(connFd_);
    connFd_ = -1;
}

void FakePeer::CloseListener() {
    if (listenFd_ >= 0) close(listenFd_);
    listenFd_ = -1;
}

Bytes MakeFrame(const char* key, uint8_t msgType, const Bytes& opt, const Bytes& plain,
                uint8_t reqFlag) {
    Bytes out;
    if (BuildFrame(key, msgType, reqFlag, opt.data(), opt.size(), plain.data(), plain.size(),
                   &out) != 0)
        abort();
    return out;
}

}  // namespace testplatform
