#include "platform/PlatformLink.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

#include "core/Clock.h"
#include "core/Log.h"
#include "core/SendAll.h"
#include "core/Thread.h"
#include "core/UniqueFd.h"
#include "core/Status.h"
#include "platform/Dispatch.h"
#include "platform/FrameQueue.h"
#include "platform/SessionState.h"
#include "platform/TcpQueue.h"

using namespace limits;

namespace {

// The connection: its socket (-1 when none; 0 is a valid descriptor) and the lock around every
// send, recv and close of it; whether it is in use (ServerInit ran, DeleteServer or the context
// reset did not yet); one run flag per thread; the two threads with their state (0 none,
// 1 response thread running, 2 response and receive threads running). The threads and their
// state are touched by the supervision loop only.
struct Link {
    std::mutex mu;
    UniqueFd sock;
    std::atomic<int> inUse{0};
    std::atomic<int> respRun{0};
    std::atomic<int> recvRun{0};
    std::thread resp;
    std::thread recv;
    int state = 0;
} gLink;
FrameQueue gFrames;  // cut by the receive thread, handled by the response thread
// eventfd written by DeleteServer to end the receive thread's wait. Created once and never closed,
// so that no static destructor at exit closes it under a running receive thread.
std::atomic<int> gRecvStop{-1};

void CloseSocketLocked() {
    std::lock_guard<std::mutex> g(gLink.mu);
    gLink.sock.reset();
}

void RespProc() {
    std::unique_ptr<QueuedFrame> frame(new QueuedFrame);
    int16_t first16 = 0;
    while (gLink.respRun == 1) {
        if (gFrames.Pop(frame.get(), &first16, kEventWaitBoundMs, gLink.respRun) != 0) continue;
        const FrameHeader& h = frame->header;
        if (h.msgType == 11) LOGD("regist or connnect ack len = %d,%d", h.optLen, h.dataLen);
        CBHandle(h, frame->opt, frame->data, first16);
    }
}

// Cuts every complete frame out of the receive queue: heartbeat answers are handled here at
// once, every other frame goes to the response thread in arrival order.
void CutFrames(QueuedFrame* frame, int16_t* first16) {
    RecvQueue& queue = GetRecvQueue();
    int r;
    while ((r = queue.pop(frame, first16)) != -1) {
        if (r != 0 || HandleOnReceipt(frame->header, *first16)) continue;
        gFrames.Push(*frame, *first16);
    }
}

// The connection is lost: the session is over, the supervision loop sees it and tears down.
void EndSession() {
    PlatformSession().LinkLost([] { WritePlugStatus(kStatusSessionEnded); });
    CloseSocketLocked();
}

enum class Wait { kReadable, kTimeout, kFailed, kOther };

// Waits for the socket or the stop descriptor. A time-out would only wait again, so the wait has
// none: DeleteServer writes the stop descriptor, and an idle session costs no wake-ups.
Wait PollReadable(int fd) {
    struct pollfd s[2] = {{fd, POLLIN, 0}, {gRecvStop.load(), POLLIN, 0}};
    int n = poll(s, 2, -1);
    if (n < 0) return errno == EINTR ? Wait::kTimeout : Wait::kFailed;
    if (n == 0 || (s[1].revents & POLLIN)) return Wait::kTimeout;  // the caller checks its flag
    struct pollfd& p = s[0];
    // As select does, a pending error or hang-up counts as readable: recv reports it.
    if (p.revents & (POLLIN | POLLERR | POLLHUP)) return Wait::kReadable;
    if (p.revents & POLLNVAL) return Wait::kFailed;
    return Wait::kOther;
}

int SocketFd() {
    std::lock_guard<std::mutex> g(gLink.mu);
    return gLink.sock.get();
}

// One recv under the connection lock.
ssize_t RecvLocked(uint8_t* buf, size_t size, int* err) {
    std::lock_guard<std::mutex> g(gLink.mu);
    int fd = gLink.sock.get();
    if (fd < 0) {
        *err = EBADF;
        return -1;
    }
    ssize_t n = recv(fd, buf, size, 0);
    *err = errno;
    return n;
}

void ServerRecv() {
    uint8_t buf[kRecvChunk];
    std::unique_ptr<QueuedFrame> frame(new QueuedFrame);
    int16_t first16 = 0;  // pop leaves it alone for a frame without data block
    int pollErrors = 0;
    int zeroReads = 0;
    int recvErrors = 0;
    RecvQueue& queue = GetRecvQueue();
    while (gLink.recvRun == 1) {
        // DeleteServer joins this thread before closing; SendFrame may close it after a failed
        // send, then the next pass sees -1 (recv re-reads the socket under the lock).
        int fd = SocketFd();
        if (fd < 0) break;
        Wait w = PollReadable(fd);
        if (gLink.recvRun != 1) break;
        if (w == Wait::kTimeout) continue;
        if (w == Wait::kFailed) {
            if (++pollErrors > kMaxSelectErrors) return EndSession();
            LOGE("Net error.");
            continue;
        }
        if (w == Wait::kOther) {
            LOGE("unknow err.");
            continue;
        }
        int err = 0;
        ssize_t n = RecvLocked(buf, sizeof buf, &err);
        if (n > 0) {
            queue.push(buf, static_cast<size_t>(n));
            CutFrames(frame.get(), &first16);
            pollErrors = zeroReads = recvErrors = 0;
        } else if (n == 0) {
            if (++zeroReads >= kMaxZeroReads) {
                LOGE("Close link.");
                return EndSession();
            }
            SleepMs(kZeroReadSleepMs);
        } else if (err != EAGAIN && err != EWOULDBLOCK && err != EINTR) {
            if (++recvErrors > kMaxRecvErrors) {
                LOGE("receive error.");
                return EndSession();
            }
        }
    }
    CloseSocketLocked();
}

// SocketInit: socket, options, blocking connect, then non-blocking. 0 or -1.
int SocketInit(const char* address, int port) {
    struct sockaddr_in sa;
    memset(&sa, 0, sizeof sa);
    sa.sin_family = AF_INET;
    sa.sin_addr.s_addr = inet_addr(address);
    sa.sin_port = htons(static_cast<uint16_t>(port));
    UniqueFd fd(socket(AF_INET, SOCK_STREAM, 0));
    bool ok = fd.valid();
    if (!ok) LOGE("Create socket failed!");
    int one = 1;
    if (ok && setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0) {
        LOGE("setsockopt(SO_REUSEADDR) Failed!");
        ok = false;
    }
    int sndbuf = static_cast<int>(kSockSndBuf);
    if (ok && setsockopt(fd.get(), SOL_SOCKET, SO_SNDBUF, &sndbuf, sizeof sndbuf) != 0) {
        LOGE("setsockopt(SO_SNDBUF) Failed!");
        ok = false;
    }
    if (ok && connect(fd.get(), reinterpret_cast<struct sockaddr*>(&sa), sizeof sa) != 0) {
        LOGE("connect failed!......");
        ok = false;
    }
    if (!ok) {
        LOGE("SocketInit error");
        return -1;  // fd closes itself
    }
    LOGD("connected.");
    // Frames are written with no delay; without this a reply that follows another
    // (an answer, then "parser error") waits for the peer's delayed acknowledgement.
    if (setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one) != 0)
        LOGE("setsockopt(TCP_NODELAY) Failed!");
    int nonBlocking = 1;
    ioctl(fd.get(), FIONBIO, &nonBlocking);
    std::lock_guard<std::mutex> g(gLink.mu);
    gLink.sock = std::move(fd);
    return 0;
}

// Joins whatever threads the last connection left (they end once their run flags are 0).
void JoinLogged(std::thread& t, const char* failText) {
    try {
        if (t.joinable()) t.join();
    } catch (const std::system_error&) {
        LOGE("%s", failText);
    }
}

void JoinConnThreads() {
    if (gLink.state >= 1) JoinLogged(gLink.resp, "Stop response thread error...");
    if (gLink.state == 2) JoinLogged(gLink.recv, "Stop rtsp client stream error...");
    gLink.state = 0;
}

}  // namespace

int ServerInit(const char* address, int port) {
    if (gLink.inUse == 1) {
        LOGE("Client running.");
        return -1;
    }
    JoinConnThreads();
    gLink.inUse = 1;
    GetRecvQueue().Reset();
    gFrames.Clear();
    if (SocketInit(address, port) != 0) return -1;
    gLink.respRun = 1;
    if (!StartNamedThread(&gLink.resp, "plug-resp", RespProc)) {
        LOGE("Create response thread failed");
        return -1;
    }
    gLink.state = 1;
    if (gRecvStop.load() < 0) gRecvStop.store(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    uint64_t pending = 0;  // drop a stop written for the previous connection
    while (gRecvStop.load() >= 0 && read(gRecvStop.load(), &pending, sizeof pending) > 0)
        pending = 0;
    gLink.recvRun = 1;
    if (gRecvStop.load() < 0 || !StartNamedThread(&gLink.recv, "plug-recv", ServerRecv)) {
        LOGE("Create receive thread error.");
        return -1;
    }
    gLink.state = 2;
    return 0;
}

int SendFrame(const uint8_t* frame, size_t len) {
    if (!frame || len < 1 || len > kFrameBufSize) return -1;
    {
        // The lock is held for the whole frame, so frames of different threads never mix.
        std::lock_guard<std::mutex> g(gLink.mu);
        if (!gLink.sock.valid()) return -1;
        if (SendAll(gLink.sock.get(), frame, len, kSendWholeTimeoutMs) == 0) return 0;
        // A cut frame may only be the last bytes the platform reads: close at once.
        LOGE("send of a %zu-byte frame failed or timed out: link closed", len);
        // shutdown first: the receive thread may be in poll() on this socket, and a close alone
        // neither wakes it nor ends the connection while poll still holds the file.
        shutdown(gLink.sock.get(), SHUT_RDWR);
        gLink.sock.reset();
    }
    PlatformSession().LinkLost([] { WritePlugStatus(kStatusSessionEnded); });
    return -1;
}

void DeleteServer() {
    gLink.inUse = 0;
    gLink.respRun = 0;
    gLink.recvRun = 0;
    gFrames.Wake();
    uint64_t one = 1;
    if (gRecvStop.load() >= 0 && write(gRecvStop.load(), &one, sizeof one) != sizeof one)
        LOGE("wake receive thread failed");
    SleepMs(kDeleteServerSettleMs);
    JoinConnThreads();
    CloseSocketLocked();
}

void ResetRecvQueue() {
    GetRecvQueue().Reset();
    gFrames.Clear();
}

void ResetServerRun() {
    gLink.inUse = 0;
}

int GetServerIp(const char* host, char* ip, size_t ipSize) {
    if (!host || host[0] == '\0') {
        LOGE("server_ip is empty.");
        return -1;
    }
    // getaddrinfo is the thread-safe form of gethostbyname; only IPv4 is asked for.
    struct addrinfo hints;
    memset(&hints, 0, sizeof hints);
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    struct addrinfo* res = nullptr;
    if (getaddrinfo(host, nullptr, &hints, &res) != 0 || !res) {
        LOGE("gethostbyname error for host:%s", host);
        return -1;
    }
    const auto* sin = reinterpret_cast<const struct sockaddr_in*>(res->ai_addr);
    char text[INET_ADDRSTRLEN] = {0};
    inet_ntop(AF_INET, &sin->sin_addr, text, sizeof text);
    freeaddrinfo(res);
    snprintf(ip, ipSize, "%s", text);
    LOGD("hostname: %s", host);
    LOGD("ip: %s", ip);
    return 0;
}
