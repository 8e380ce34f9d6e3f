#include "PlatformSim.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <sstream>

#include "SimConn.h"
#include "SimDescribe.h"
#include "SimMessages.h"
#include "core/ByteOrder.h"

namespace psim {

namespace {

void SetNonBlocking(int fd) {
    int flags = fcntl(fd, F_GETFL, 0);
    fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

}  // namespace

PlatformSim::PlatformSim(const SimSettings& settings) : settings_(settings) {}

PlatformSim::~PlatformSim() {
    Stop();
}

void PlatformSim::SetOutput(std::function<void(const std::string&)> out) {
    out_ = std::move(out);
}

void PlatformSim::AddLineSource(int fd, std::function<void(const std::string&)> onLine,
                                std::function<void()> onEof) {
    sources_.push_back(LineSource{fd, std::move(onLine), std::move(onEof), std::string()});
}

void PlatformSim::SetFrameHook(std::function<bool(const DecodedFrame&)> hook) {
    hook_ = std::move(hook);
}

int64_t PlatformSim::NowMs() const {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

int PlatformSim::OpenListener(const std::string& addr, int port, int* boundPort) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return -1;
    int one = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_port = htons(static_cast<uint16_t>(port));
    if (inet_pton(AF_INET, addr.c_str(), &sa.sin_addr) != 1 ||
        bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0 || listen(fd, 16) != 0) {
        Print("ERR cannot listen on " + addr + ":" + std::to_string(port) + ": " + strerror(errno));
        close(fd);
        return -1;
    }
    socklen_t len = sizeof sa;
    getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len);
    *boundPort = ntohs(sa.sin_port);
    SetNonBlocking(fd);
    return fd;
}

int PlatformSim::Start() {
    startMs_ = NowMs();
    regFd_ = OpenListener(settings_.regAddr, settings_.regPort, &regPort_);
    if (regFd_ < 0) return -1;
    loginFd_ = OpenListener(settings_.loginAddr, settings_.loginPort, &loginPort_);
    wakeFd_ = eventfd(0, EFD_NONBLOCK);
    if (loginFd_ < 0 || wakeFd_ < 0) {
        Stop();
        return -1;
    }
    Print("LISTEN reg=" + settings_.regAddr + ":" + std::to_string(regPort_) +
          " login=" + settings_.loginAddr + ":" + std::to_string(loginPort_));
    running_ = 1;
    io_ = std::thread([this] {
        pthread_setname_np(pthread_self(), "platformsim-io");
        try {
            Loop();
        } catch (const std::exception& e) {
            Print(std::string("ERR I/O thread ended: ") + e.what());
        }
    });
    return 0;
}

void PlatformSim::Stop() {
    if (running_.exchange(0) == 1) {
        uint64_t one = 1;
        if (write(wakeFd_, &one, sizeof one) < 0) {
            // The eventfd cannot be full; the loop also wakes within its poll time-out.
        }
        io_.join();
    }
    for (auto& kv : conns_)
        close(kv.second->fd);
    conns_.clear();
    for (int* fd : {&regFd_, &loginFd_, &wakeFd_}) {
        if (*fd >= 0) close(*fd);
        *fd = -1;
    }
}

void PlatformSim::Post(std::function<void()> task) {
    {
        std::lock_guard<std::mutex> g(taskMu_);
        tasks_.push_back(std::move(task));
    }
    uint64_t one = 1;
    if (wakeFd_ >= 0 && write(wakeFd_, &one, sizeof one) < 0) {
        // See Stop.
    }
}

void PlatformSim::Emit(const std::string& line, int conn, Listener server,
                       const DecodedFrame* frame) {
    {
        std::lock_guard<std::mutex> g(eventMu_);
        SimEvent e;
        e.realMs = NowMs() - startMs_;
        e.line = line;
        e.conn = conn;
        e.server = server;
        if (frame) {
            e.isRxFrame = true;
            e.frame = *frame;
        }
        events_.push_back(std::move(e));
    }
    eventCv_.notify_all();
    std::lock_guard<std::mutex> g(outMu_);
    if (out_) out_(line);
}

void PlatformSim::Print(const std::string& line) {
    Emit(line, 0, Listener::kReg, nullptr);
}

std::string PlatformSim::Set(const std::string& name, const std::string& value) {
    SimSettings probe;
    std::string err = ApplySetting(&probe, name, value);
    if (!err.empty()) return err;
    Post([this, name, value] {
        ApplySetting(&settings_, name, value);
        Print("SET " + name + "=" + value);
    });
    return "";
}

void PlatformSim::Loop() {
    while (running_ == 1)
        RunOnce();
    // Actions asked for before the stop (a command just before "quit") are still carried out.
    std::deque<std::function<void()>> tasks;
    {
        std::lock_guard<std::mutex> g(taskMu_);
        tasks.swap(tasks_);
    }
    for (auto& t : tasks)
        t();
}

void PlatformSim::RunOnce() {
    std::vector<pollfd> fds;
    fds.push_back({wakeFd_, POLLIN, 0});
    fds.push_back({regFd_, POLLIN, 0});
    fds.push_back({loginFd_, POLLIN, 0});
    std::vector<int> ids;
    for (auto& kv : conns_) {
        short ev = POLLIN;
        if (!kv.second->out.empty()) ev |= POLLOUT;
        fds.push_back({kv.second->fd, ev, 0});
        ids.push_back(kv.first);
    }
    size_t firstSource = fds.size();
    for (auto& s : sources_)
        fds.push_back({s.fd, POLLIN, 0});
    int timeout = -1;
    int64_t now = NowMs();
    for (auto& t : timers_) {
        int64_t left = t.dueMs > now ? t.dueMs - now : 0;
        if (timeout < 0 || left < timeout) timeout = static_cast<int>(left);
    }
    if (poll(fds.data(), fds.size(), timeout) < 0 && errno != EINTR) return;

    if (fds[0].revents & POLLIN) {
        uint64_t n;
        while (read(wakeFd_, &n, sizeof n) > 0) {
        }
    }
    std::deque<std::function<void()>> tasks;
    {
        std::lock_guard<std::mutex> g(taskMu_);
        tasks.swap(tasks_);
    }
    for (auto& t : tasks)
        t();
    now = NowMs();
    std::vector<Timer> due;
    for (auto it = timers_.begin(); it != timers_.end();) {
        if (it->dueMs <= now) {
            due.push_back(std::move(*it));
            it = timers_.erase(it);
        } else {
            ++it;
        }
    }
    for (auto& t : due)
        t.run();
    if (fds[1].revents & POLLIN) Accept(regFd_, Listener::kReg);
    if (fds[2].revents & POLLIN) Accept(loginFd_, Listener::kLogin);
    for (size_t i = 0; i < ids.size(); ++i) {
        short re = fds[3 + i].revents;
        if (re & POLLOUT && conns_.count(ids[i])) FlushConn(*conns_[ids[i]]);
        if (re & (POLLIN | POLLHUP | POLLERR) && conns_.count(ids[i])) ReadConn(*conns_[ids[i]]);
    }
    for (size_t i = sources_.size(); i-- > 0;)
        if (fds[firstSource + i].revents & (POLLIN | POLLHUP | POLLERR)) ReadLineSource(i);
}

void PlatformSim::Accept(int lfd, Listener which) {
    sockaddr_in peer{};
    socklen_t len = sizeof peer;
    int fd = accept(lfd, reinterpret_cast<sockaddr*>(&peer), &len);
    if (fd < 0) return;
    SetNonBlocking(fd);
    auto c = std::make_unique<Conn>();
    c->id = nextConnId_++;
    c->fd = fd;
    c->server = which;
    char ip[INET_ADDRSTRLEN] = {0};
    inet_ntop(AF_INET, &peer.sin_addr, ip, sizeof ip);
    std::ostringstream o;
    o << "ACCEPT conn=" << c->id << " srv=" << ServerName(which) << " peer=" << ip << ":"
      << ntohs(peer.sin_port);
    Emit(o.str(), c->id, which, nullptr);
    conns_[c->id] = std::move(c);
}

void PlatformSim::ReadConn(Conn& c) {
    uint8_t buf[65536];
    ssize_t n = recv(c.fd, buf, sizeof buf, 0);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
        CloseConn(c.id, "peer");
        return;
    }
    if (n < 0) return;
    if (settings_.quickAck) {
        int one = 1;
        setsockopt(c.fd, IPPROTO_TCP, TCP_QUICKACK, &one, sizeof one);
    }
    c.cutter.Append(buf, static_cast<size_t>(n));
    int id = c.id;
    RawFrame raw;
    while (conns_.count(id) && c.cutter.Next(&raw)) {
        size_t junk = c.cutter.TakeSkipped();
        if (junk > 0)
            Emit("JUNK conn=" + std::to_string(id) + " bytes=" + std::to_string(junk), id, c.server,
                 nullptr);
        HandleFrame(c, raw);
    }
}

void PlatformSim::FlushConn(Conn& c) {
    while (!c.out.empty()) {
        ssize_t n = send(c.fd, c.out.data(), c.out.size(), MSG_NOSIGNAL);
        if (n > 0) {
            c.out.erase(c.out.begin(), c.out.begin() + n);
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
        CloseConn(c.id, "error");
        return;
    }
}

void PlatformSim::CloseConn(int id, const char* by) {
    auto it = conns_.find(id);
    if (it == conns_.end()) return;
    Listener srv = it->second->server;
    close(it->second->fd);
    conns_.erase(it);
    Emit("CLOSE conn=" + std::to_string(id) + " srv=" + ServerName(srv) + " by=" + by, id, srv,
         nullptr);
}

void PlatformSim::SendOn(int connId, const Bytes& bytes, const char* what) {
    auto it = conns_.find(connId);
    if (it == conns_.end()) {
        Print(std::string("ERR no connection ") + std::to_string(connId) + " for " + what);
        return;
    }
    Conn& c = *it->second;
    c.out.insert(c.out.end(), bytes.begin(), bytes.end());
    FlushConn(c);
}

PlatformSim::Conn* PlatformSim::Current() {
    Conn* best = nullptr;
    for (auto& kv : conns_) {
        Conn* c = kv.second.get();
        if (!best || (c->server == Listener::kLogin && best->server != Listener::kLogin) ||
            (c->server == best->server && c->id > best->id))
            best = c;
    }
    return best;
}

void PlatformSim::AgentMac(uint8_t mac[6]) const {
    std::lock_guard<std::mutex> g(eventMu_);
    memcpy(mac, agentMac_, 6);
}

std::vector<SimEvent> PlatformSim::Events() const {
    std::lock_guard<std::mutex> g(eventMu_);
    return events_;
}

std::vector<SimEvent> PlatformSim::RxFrames(uint8_t msgType) const {
    std::lock_guard<std::mutex> g(eventMu_);
    std::vector<SimEvent> out;
    for (const auto& e : events_)
        if (e.isRxFrame && e.frame.raw.MsgType() == msgType) out.push_back(e);
    return out;
}

size_t PlatformSim::Count(const std::string& needle) const {
    std::lock_guard<std::mutex> g(eventMu_);
    size_t n = 0;
    for (const auto& e : events_)
        if (e.line.find(needle) != std::string::npos) ++n;
    return n;
}

bool PlatformSim::WaitFor(const std::function<bool(const std::vector<SimEvent>&)>& pred,
                          int timeoutMs) const {
    std::unique_lock<std::mutex> lock(eventMu_);
    return eventCv_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                             [&] { return pred(events_); });
}

bool PlatformSim::WaitForLine(const std::string& needle, size_t count, int timeoutMs) const {
    return WaitFor(
        [&](const std::vector<SimEvent>& ev) {
            size_t n = 0;
            for (const auto& e : ev)
                if (e.line.find(needle) != std::string::npos) ++n;
            return n >= count;
        },
        timeoutMs);
}

void PlatformSim::ReadLineSource(size_t index) {
    LineSource& s = sources_[index];
    char buf[4096];
    ssize_t n = read(s.fd, buf, sizeof buf);
    if (n <= 0) {
        if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
        auto onEof = s.onEof;
        sources_.erase(sources_.begin() + static_cast<long>(index));
        if (onEof) onEof();
        return;
    }
    s.pending.append(buf, static_cast<size_t>(n));
    size_t pos;
    while ((pos = s.pending.find('\n')) != std::string::npos) {
        std::string line = s.pending.substr(0, pos);
        s.pending.erase(0, pos + 1);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        sources_[index].onLine(line);
    }
}

}  // namespace psim
