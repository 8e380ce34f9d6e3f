#include "platform/TcpServer.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
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
#include "core/Thread.h"
#include "core/Status.h"
#include "platform/Dispatch.h"
#include "platform/FrameQueue.h"
#include "platform/SessionState.h"
#include "platform/TcpQueue.h"

using namespace limits;

namespace {

// The connection: its socket (0 when none) and run flag, the lock around every send, recv and
// close, and the two threads of the session context with their state (0 none, 1 response
// thread running, 2 response and receive threads running). The threads and their state are
// touched by the supervision loop only.
std::atomic<int> ServerSock{0};
std::atomic<int> ServerRun{0};
std::mutex gConnMu;
struct ConnThreads {
    std::thread resp;
    std::thread recv;
    int state = 0;
} gThreads;
FrameQueue gFrames;  // cut by the receive thread, handled by the response thread

void CloseSocketLocked() {
    std::lock_guard<std::mutex> g(gConnMu);
    int fd = ServerSock.exchange(0);
    if (fd > 0) close(fd);
}

void RespProc() {
    std::unique_ptr<QueuedFrame> frame(new QueuedFrame);
    int16_t first16 = 0;
    while (ServerRun == 1) {
        if (gFrames.Pop(frame.get(), &first16, kRespIdleMs, ServerRun) != 0) continue;
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
    if (PlatformSession().LinkLost()) WritePlugStatus(kStatusSessionEnded);
    CloseSocketLocked();
}

enum class Wait { kReadable, kTimeout, kFailed, kOther };

Wait PollReadable(int fd) {
    struct pollfd p;
    p.fd = fd;
    p.events = POLLIN;
    p.revents = 0;
    int n = poll(&p, 1, static_cast<int>(GetClock().RealTimeoutMs(kRecvSelectMs)));
    if (n < 0) return errno == EINTR ? Wait::kTimeout : Wait::kFailed;
    if (n == 0) return Wait::kTimeout;
    // As select does, a pending error or hang-up counts as readable: recv reports it.
    if (p.revents & (POLLIN | POLLERR | POLLHUP)) return Wait::kReadable;
    if (p.revents & POLLNVAL) return Wait::kFailed;
    return Wait::kOther;
}

// One recv under the connection lock.
ssize_t RecvLocked(uint8_t* buf, size_t size, int* err) {
    std::lock_guard<std::mutex> g(gConnMu);
    int fd = ServerSock;
    if (fd <= 0) {
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
    while (ServerRun == 1) {
        int fd = ServerSock;
        if (fd <= 0) break;
        Wait w = PollReadable(fd);
        if (ServerRun != 1) break;
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
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    bool ok = fd >= 0;
    if (!ok) LOGE("Create socket failed!");
    int one = 1;
    if (ok && setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0) {
        LOGE("setsockopt(SO_REUSEADDR) Failed!");
        ok = false;
    }
    int sndbuf = static_cast<int>(kSockSndBuf);
    if (ok && setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &sndbuf, sizeof sndbuf) != 0) {
        LOGE("setsockopt(SO_SNDBUF) Failed!");
        ok = false;
    }
    if (ok && connect(fd, reinterpret_cast<struct sockaddr*>(&sa), sizeof sa) != 0) {
        LOGE("connect failed!......");
        ok = false;
    }
    if (!ok) {
        if (fd >= 0) close(fd);
        ServerSock = 0;
        LOGE("SocketInit error");
        return -1;
    }
    {
        std::lock_guard<std::mutex> g(gConnMu);
        ServerSock = fd;
    }
    LOGD("connected.");
    // Every frame is written whole in one send; without this a reply that follows another
    // (an answer, then "parser error") waits for the peer's delayed acknowledgement.
    if (setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one) != 0)
        LOGE("setsockopt(TCP_NODELAY) Failed!");
    int nonBlocking = 1;
    ioctl(fd, FIONBIO, &nonBlocking);
    return 0;
}

// Joins whatever threads the last connection left (they end once ServerRun is 0).
void JoinLogged(std::thread& t, const char* failText) {
    try {
        if (t.joinable()) t.join();
    } catch (const std::system_error&) {
        LOGE("%s", failText);
    }
}

void JoinConnThreads() {
    if (gThreads.state >= 1) JoinLogged(gThreads.resp, "Stop response thread error...");
    if (gThreads.state == 2) JoinLogged(gThreads.recv, "Stop rtsp client stream error...");
    gThreads.state = 0;
}

}  // namespace

int ServerInit(const char* address, int port) {
    if (ServerRun == 1) {
        LOGE("Client running.");
        return -1;
    }
    JoinConnThreads();
    ServerRun = 1;
    GetRecvQueue().Reset();
    gFrames.Clear();
    if (SocketInit(address, port) != 0) return -1;
    if (!StartNamedThread(&gThreads.resp, "plug-resp", RespProc)) {
        LOGE("Create response thread failed");
        return -1;
    }
    gThreads.state = 1;
    if (!StartNamedThread(&gThreads.recv, "plug-recv", ServerRecv)) {
        LOGE("Create receive thread error.");
        return -1;
    }
    gThreads.state = 2;
    return 0;
}

int SendFrame(const uint8_t* frame, size_t len) {
    if (!frame || len < 1 || len > kFrameBufSize) return -1;
    std::lock_guard<std::mutex> g(gConnMu);
    int fd = ServerSock;
    if (fd < 1) return -1;
    ssize_t n = send(fd, frame, len, MSG_NOSIGNAL);
    return n == static_cast<ssize_t>(len) ? 0 : -1;
}

void DeleteServer() {
    ServerRun = 0;
    gFrames.Wake();
    SleepMs(kDeleteServerSettleMs);
    JoinConnThreads();
    CloseSocketLocked();
}

void ResetRecvQueue() {
    GetRecvQueue().Reset();
    gFrames.Clear();
}

void ResetServerRun() {
    ServerRun = 0;
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
