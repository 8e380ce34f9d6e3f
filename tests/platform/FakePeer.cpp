#include "FakePeer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

namespace testplatform {

FakePeer::FakePeer() {
    listenFd_ = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in sa {};
    sa.sin_family = AF_INET;
    sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listenFd_, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0 ||
        listen(listenFd_, 4) != 0)
        abort();
    socklen_t len = sizeof sa;
    getsockname(listenFd_, reinterpret_cast<sockaddr*>(&sa), &len);
    port_ = ntohs(sa.sin_port);
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

ssize_t FakePeer::Fill(int timeoutMs) {
    struct pollfd p = {connFd_, POLLIN, 0};
    if (connFd_ < 0 || poll(&p, 1, timeoutMs) != 1) return -1;
    uint8_t buf[4096];
    ssize_t n = recv(connFd_, buf, sizeof buf, 0);
    if (n > 0) pending_.insert(pending_.end(), buf, buf + n);
    return n;
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
    ssize_t n;
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
