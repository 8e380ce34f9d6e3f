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
#include <exception>
#include <string>
#include <thread>

#include "core/Clock.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "core/Thread.h"
#include "core/Paths.h"
#include "ipc/AutoReport.h"
#include "ipc/CommInternal.h"

std::atomic<int> CommRun{0};
std::atomic<int> InstanceState{0};
std::atomic<int> InstanceSocket{0};
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
std::thread CommServerPID;
std::thread CommReleasePID;
std::thread CommHandlePID;
std::thread InsPID;
std::mutex gInstanceMu;  // InsPID and the release thread's wake-up
std::condition_variable gInstanceCv;
std::mutex gQueueMu;
std::condition_variable gQueueCv;
std::mutex gStopMu;  // the accept pause after a refused companion
std::condition_variable gStopCv;
std::atomic<int> gStopFd{-1};    // readable once CommServerStop has begun
std::atomic<int> gListenFd{-1};  // closed by CommServerStop only

// Waits `ms` on the clock seam unless the server is stopped first.
void PauseUnlessStopped(long ms) {
    std::unique_lock<std::mutex> lk(gStopMu);
    GetClock().WaitFor(gStopCv, lk, ms, [] { return CommRun.load() == 0; });
}

bool StopRequested(const pollfd& stopPfd) {
    return (stopPfd.revents & POLLIN) != 0 || CommRun.load() == 0;
}

int BindListener() {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        LOGE("Create socket failed");
        return -1;
    }
    const std::string& path = Paths().commServer;
    unlink(path.c_str());
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.size() >= sizeof addr.sun_path) {
        LOGE("bind failed");
        close(fd);
        return -1;
    }
    memcpy(addr.sun_path, path.data(), path.size());
    // Family plus the path characters, without the terminating NUL.
    auto len = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), len) < 0) {
        LOGE("bind failed");
        close(fd);
        return -1;
    }
    chmod(path.c_str(), S_IRUSR | S_IWUSR);  // only the agent's user may connect
    if (listen(fd, limits::kCommListenBacklog) < 0) {
        LOGE("listen failed");
        close(fd);
        return -1;
    }
    return fd;
}

// Blocks until a connection is pending or the server stops. -1 when stopped.
int AcceptOne(int lfd) {
    pollfd p[2] = {{lfd, POLLIN, 0}, {gStopFd.load(), POLLIN, 0}};
    while (CommRun.load() == 1) {
        int r = poll(p, 2, -1);
        if (r < 0 && errno == EINTR) continue;
        if (StopRequested(p[1])) return -1;
        int c = accept4(lfd, nullptr, nullptr, SOCK_CLOEXEC);
        if (c < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) continue;
        if (c < 0) LOGE("accept err");
        return c;
    }
    return -1;
}

void ServerThread(int fd);

void StartInstance(int c) {
    std::lock_guard<std::mutex> g(gInstanceMu);
    // Marked served before the thread runs, so that nobody sees the companion's socket while
    // the server still counts no companion.
    InstanceState.store(1);
    try {
        InsPID = std::thread(ServerThread, c);
    } catch (const std::exception&) {
        InstanceState.store(0);
        LOGE("create instance err.");
        close(c);
        return;
    }
    CommClientReg.store(1);
    gInstanceCv.notify_all();
}

void CommServerProc() {
    int lfd = BindListener();
    if (lfd < 0) return;
    gListenFd.store(lfd);
    InstanceState.store(0);
    while (CommRun.load() == 1) {
        int c = AcceptOne(lfd);
        if (c < 0) continue;  // a failed accept is skipped; the loop condition ends a stop
        if (InstanceState.load() == 1) {
            close(c);
            LOGE("link quntity is large.");
            if (CommRun.load() == 0) break;
            PauseUnlessStopped(limits::kCommRefusePauseMs);
            continue;
        }
        StartInstance(c);
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
    pollfd p[2] = {{fd, POLLIN, 0}, {gStopFd.load(), POLLIN, 0}};
    while (CommRun.load() == 1) {
        int r = poll(p, 2, static_cast<int>(GetClock().RealTimeoutMs(limits::kCommReadyWaitMs)));
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

void ServerThread(int fd) {
    RunNamedThread("CommInstance", [fd] {
        LOGD("create a instance...");
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
        InstanceSocket.store(fd);
        ClientLoop(fd);
        {
            // Under the send lock, so that no send can use the descriptor once it is closed.
            std::lock_guard<std::mutex> g(CommSendMutex);
            InstanceSocket.store(0);
            close(fd);
        }
        LOGD("Close instance.");
    });
}

void CommReleaseProc() {
    while (CommRun.load() == 1) {
        std::thread client;
        {
            std::unique_lock<std::mutex> lk(gInstanceMu);
            GetClock().WaitFor(gInstanceCv, lk, limits::kCommIdleWaitMs, [] {
                return CommRun.load() == 0 || (InstanceState.load() == 1 && InsPID.joinable());
            });
            if (CommRun.load() == 0 || InstanceState.load() != 1 || !InsPID.joinable()) continue;
            client = std::move(InsPID);
        }
        client.join();
        InstanceState.store(0);
        LOGD("release ok");
    }
}

void ResetState() {
    InstanceState.store(0);
    InstanceSocket.store(0);
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
    GetClock().WaitFor(gQueueCv, lk, limits::kCommIdleWaitMs,
                       [] { return CommRun.load() == 0 || CommRQIsEmpty(&CommRequestQueue) == 0; });
}

int CommServerStart() {
    if (CommServerPID.joinable() || CommHandlePID.joinable() || CommReleasePID.joinable()) {
        LOGE("Comm server already running.");
        return -1;
    }
    ResetState();
    if (CommRQInit(&CommRequestQueue, limits::kCommQueueSlots, limits::kCommQueueSlotSize) != 0) {
        LOGE("Queue Init error");
        return -1;
    }
    int sfd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (sfd < 0) {
        LOGE("Create CommServerProc failed.");
        return -1;
    }
    gStopFd.store(sfd);
    if (!StartNamedThread(&CommHandlePID, "CommRecvHandle", CommRecvHandle) ||
        !StartNamedThread(&CommServerPID, "CommServerProc", CommServerProc)) {
        LOGE("Create CommServerProc failed.");
        return -1;
    }
    if (!StartNamedThread(&CommReleasePID, "CommRelease", CommReleaseProc)) {
        LOGE("Create CommReleaseProc failed.");
        return -1;
    }
    return 0;
}

void CommServerStop() {
    CommRun.store(0);
    int sfd = gStopFd.load();
    if (sfd >= 0) {
        uint64_t one = 1;
        ssize_t w = write(sfd, &one, sizeof one);
        (void)w;
    }
    for (auto* m : {&gStopMu, &gInstanceMu, &gQueueMu}) {
        std::lock_guard<std::mutex> g(*m);
    }
    gStopCv.notify_all();
    gInstanceCv.notify_all();
    gQueueCv.notify_all();
    JoinIfRunning(CommServerPID);
    JoinIfRunning(CommReleasePID);
    {
        std::lock_guard<std::mutex> g(gInstanceMu);
        JoinIfRunning(InsPID);
    }
    JoinIfRunning(CommHandlePID);
    int lfd = gListenFd.exchange(-1);
    if (lfd >= 0) {
        close(lfd);
        unlink(Paths().commServer.c_str());
    }
    if (sfd >= 0) close(gStopFd.exchange(-1));
    InstanceState.store(0);
    InstanceSocket.store(0);
    CommRQDestroy(&CommRequestQueue);
}

int CommServerSend(const uint8_t* buf, size_t len) {
    int fd = InstanceSocket.load();
    if (fd < 1) return -1;
    ssize_t n = send(fd, buf, len, MSG_NOSIGNAL);
    if (n < 0) {
        LOGE("please reconnect server");
        return -1;
    }
    if (n == 0) {
        LOGE("send count is 0");
        return 0;
    }
    LOGD("send success");
    return static_cast<int>(n);
}
