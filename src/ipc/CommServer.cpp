#include "ipc/CommServer.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "core/Clock.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "core/SendAll.h"
#include "core/Paths.h"
#include "core/Thread.h"
#include "core/UniqueFd.h"
#include "ipc/AutoReport.h"
#include "ipc/CommInternal.h"

std::atomic<int> CommRun{0};
std::atomic<int> InstanceState{0};
std::atomic<int> InstanceSocket{-1};
std::atomic<int> CommClientReg{0};
std::atomic<uint32_t> CommTxSeq{0};
std::atomic<uint32_t> CommRxSeq{0};

CommRQ CommRequestQueue;
std::mutex CommSendMutex;
std::mutex CommRecvMutex;
uint8_t txbuf[limits::kCommTxBufSize];

namespace {

uint8_t rxbuf[limits::kCommRxBufSize];

// Threads and the events that wake them.
std::thread CommAcceptThread;
std::thread CommReleaseThread;
std::thread CommHandleThread;
std::thread CommClientThread;
std::mutex gInstanceMu;  // CommClientThread and the release thread's wake-up
std::condition_variable gInstanceCv;
std::mutex gQueueMu;
std::condition_variable gQueueCv;
std::mutex gStopMu;  // the accept pause after a refused companion
std::condition_variable gStopCv;
// Readable once CommServerStop has begun. Opened by CommServerStart before any server thread
// starts and closed by CommServerStop after every one is joined.
UniqueFd gStopFd;
std::atomic<int> gBound{0};  // 1 once the socket path exists, so that stop removes it

// Waits `ms` on the clock seam unless the server is stopped first.
void PauseUnlessStopped(long ms) {
    std::unique_lock<std::mutex> lk(gStopMu);
    GetClock().WaitFor(gStopCv, lk, ms, [] { return CommRun.load() == 0; });
}

bool StopRequested(const pollfd& stopPfd) {
    return (stopPfd.revents & POLLIN) != 0 || CommRun.load() == 0;
}

UniqueFd BindListener() {
    UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd.valid()) {
        LOGE("Create socket failed");
        return fd;
    }
    const std::string& path = Paths().commServer;
    unlink(path.c_str());
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.size() >= sizeof addr.sun_path) {
        LOGE("bind failed");
        return UniqueFd();
    }
    memcpy(addr.sun_path, path.data(), path.size());
    // Family plus the path characters, without the terminating NUL.
    auto len = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    if (bind(fd.get(), reinterpret_cast<sockaddr*>(&addr), len) < 0) {
        LOGE("bind failed");
        return UniqueFd();
    }
    gBound.store(1);
    chmod(path.c_str(), S_IRUSR | S_IWUSR);  // only the agent's user may connect
    if (listen(fd.get(), limits::kCommListenBacklog) < 0) {
        LOGE("listen failed");
        return UniqueFd();
    }
    return fd;
}

// Blocks until a connection is pending or the server stops. No descriptor when stopped.
UniqueFd AcceptOne(int lfd) {
    pollfd p[2] = {{lfd, POLLIN, 0}, {gStopFd.get(), POLLIN, 0}};
    while (CommRun.load() == 1) {
        int r = poll(p, 2, -1);
        if (r < 0 && errno == EINTR) continue;
        if (StopRequested(p[1])) break;
        int c = accept4(lfd, nullptr, nullptr, SOCK_CLOEXEC);
        if (c < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) continue;
        if (c < 0) LOGE("accept err");
        return UniqueFd(c);
    }
    return UniqueFd();
}

void ServerThread(UniqueFd fd);

void StartInstance(UniqueFd c) {
    std::lock_guard<std::mutex> g(gInstanceMu);
    // Marked served before the thread runs, so that nobody sees the companion's socket while
    // the server still counts no companion.
    InstanceState.store(1);
    if (!StartNamedThread(
            &CommClientThread, "CommInstance",
            [fd = std::make_shared<UniqueFd>(std::move(c))] { ServerThread(std::move(*fd)); })) {
        InstanceState.store(0);
        LOGE("create instance err.");  // the descriptor closes with the lambda
        return;
    }
    CommClientReg.store(1);
    gInstanceCv.notify_all();
}

void CommServerProc() {
    UniqueFd lfd = BindListener();
    if (!lfd.valid()) return;
    InstanceState.store(0);
    while (CommRun.load() == 1) {
        UniqueFd c = AcceptOne(lfd.get());
        if (!c.valid()) continue;  // a failed accept is skipped; the loop condition ends a stop
        if (InstanceState.load() == 1) {
            c.reset();
            LOGE("link quntity is large.");
            if (CommRun.load() == 0) break;
            PauseUnlessStopped(limits::kCommRefusePauseMs);
            continue;
        }
        StartInstance(std::move(c));
    }
}

// One read under the receive lock; returns the read's result.
ssize_t ReadIntoQueue(int fd) {
    std::lock_guard<std::mutex> g(CommRecvMutex);
    ssize_t n = read(fd, rxbuf, limits::kCommReadMax);
    if (n <= 0) return n;
    if (static_cast<size_t>(n) > limits::kCommReadMax) {
        LOGE("reveive data package too large, length: %d", static_cast<int>(n));
        return n;
    }
    int rc = CommRQPush(&CommRequestQueue, rxbuf, static_cast<int>(n));
    if (rc != 0)
        LOGE("reveive data err=%d", rc);
    else
        CommNotifyQueue();
    return n;
}

void ClientLoop(int fd) {
    int waitErrors = 0;
    int readErrors = 0;
    pollfd p[2] = {{fd, POLLIN, 0}, {gStopFd.get(), POLLIN, 0}};
    while (CommRun.load() == 1) {
        // No time-out: a stop writes the stop descriptor, so an idle companion costs no wake-ups.
        int r = poll(p, 2, -1);
        if (r < 0) {
            if (++waitErrors > limits::kCommMaxWaitErrors) {
                LOGD("Error. socket err.");
                return;
            }
            continue;
        }
        if (r == 0 || StopRequested(p[1])) continue;  // idle: wait again (the loop ends a stop)
        if ((p[0].revents & POLLIN) == 0) {
            LOGE("net err.");
            return;
        }
        ssize_t n = ReadIntoQueue(fd);
        if (n > 0) {
            waitErrors = readErrors = 0;
        } else if (n == 0) {
            LOGE("Close link.");
            return;
        } else if (++readErrors > limits::kCommMaxReadErrors) {
            LOGE("Close link err.");
            return;
        }
    }
}

void ServerThread(UniqueFd fd) {
    LOGD("create a instance...");
    fcntl(fd.get(), F_SETFL, fcntl(fd.get(), F_GETFL) | O_NONBLOCK);
    InstanceSocket.store(fd.get());
    ClientLoop(fd.get());
    {
        // Under the send lock, so that no send can use the descriptor once it is closed.
        std::lock_guard<std::mutex> g(CommSendMutex);
        InstanceSocket.store(-1);
        fd.reset();
    }
    LOGD("Close instance.");
}

void CommReleaseProc() {
    while (CommRun.load() == 1) {
        std::thread client;
        {
            std::unique_lock<std::mutex> lk(gInstanceMu);
            GetClock().WaitFor(gInstanceCv, lk, limits::kEventWaitBoundMs, [] {
                return CommRun.load() == 0 ||
                       (InstanceState.load() == 1 && CommClientThread.joinable());
            });
            if (CommRun.load() == 0 || InstanceState.load() != 1 || !CommClientThread.joinable())
                continue;
            client = std::move(CommClientThread);
        }
        client.join();
        InstanceState.store(0);
        LOGD("release ok");
    }
}

void ResetState() {
    InstanceState.store(0);
    InstanceSocket.store(-1);
    CommTxSeq.store(0);
    CommRxSeq.store(0);
    CommRun.store(1);
    CommClientReg.store(0);
    CommAutoReportReset();
}

void JoinIfRunning(std::thread& t) {
    if (t.joinable()) t.join();
}

}  // namespace

void CommNotifyQueue() {
    { std::lock_guard<std::mutex> g(gQueueMu); }
    gQueueCv.notify_all();
}

void CommWaitQueue() {
    std::unique_lock<std::mutex> lk(gQueueMu);
    GetClock().WaitFor(gQueueCv, lk, limits::kEventWaitBoundMs,
                       [] { return CommRun.load() == 0 || CommRQIsEmpty(&CommRequestQueue) == 0; });
}

int CommServerStart() {
    if (CommAcceptThread.joinable() || CommHandleThread.joinable() ||
        CommReleaseThread.joinable()) {
        LOGE("Comm server already running.");
        return -1;
    }
    ResetState();
    if (CommRQInit(&CommRequestQueue, limits::kCommQueueSlots, limits::kCommQueueSlotSize) != 0) {
        LOGE("Queue Init error");
        return -1;
    }
    gStopFd.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!gStopFd.valid()) {
        LOGE("Create CommServerProc failed.");
        return -1;
    }
    gBound.store(0);
    if (!StartNamedThread(&CommHandleThread, "CommRecvHandle", CommRecvHandle) ||
        !StartNamedThread(&CommAcceptThread, "CommServerProc", CommServerProc)) {
        LOGE("Create CommServerProc failed.");
        return -1;
    }
    if (!StartNamedThread(&CommReleaseThread, "CommRelease", CommReleaseProc)) {
        LOGE("Create CommReleaseProc failed.");
        return -1;
    }
    return 0;
}

void CommServerStop() {
    CommRun.store(0);
    if (gStopFd.valid()) {
        uint64_t one = 1;
        ssize_t w = write(gStopFd.get(), &one, sizeof one);
        (void)w;
    }
    for (auto* m : {&gStopMu, &gInstanceMu, &gQueueMu}) {
        std::lock_guard<std::mutex> g(*m);
    }
    gStopCv.notify_all();
    gInstanceCv.notify_all();
    gQueueCv.notify_all();
    JoinIfRunning(CommAcceptThread);  // closes the listening socket as it ends
    JoinIfRunning(CommReleaseThread);
    {
        std::lock_guard<std::mutex> g(gInstanceMu);
        JoinIfRunning(CommClientThread);
    }
    JoinIfRunning(CommHandleThread);
    if (gBound.exchange(0) == 1) unlink(Paths().commServer.c_str());
    gStopFd.reset();
    InstanceState.store(0);
    InstanceSocket.store(-1);
    CommRQDestroy(&CommRequestQueue);
}

int CommServerSend(const uint8_t* buf, size_t len) {
    int fd = InstanceSocket.load();
    if (fd < 0) return -1;  // descriptor 0 is a companion too (standard input may be closed)
    if (!buf || len == 0) {
        LOGE("send count is 0");
        return 0;
    }
    if (SendAll(fd, buf, len, limits::kSendWholeTimeoutMs) != 0) {
        // A cut frame may only be the last bytes the companion reads: the connection is shut
        // down at once, its client thread sees the end and closes it.
        LOGE("please reconnect server");
        shutdown(fd, SHUT_RDWR);
        InstanceSocket.store(-1);
        return -1;
    }
    LOGD("send success");
    return static_cast<int>(len);
}
