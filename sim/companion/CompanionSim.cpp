#include "CompanionSim.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <sstream>

namespace companionsim {

namespace {

constexpr size_t kHeader = 14;

void Put16(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
void Put32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(v >> (8 * i));
}
uint32_t Get16(const uint8_t* p) {
    return static_cast<uint32_t>(p[0] | (p[1] << 8));
}
uint32_t Get32(const uint8_t* p) {
    return Get16(p) | (Get16(p + 2) << 16);
}

long NowMs() {
    using namespace std::chrono;
    return static_cast<long>(
        duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

std::string Rest(std::istringstream& in) {
    std::string rest;
    std::getline(in, rest);
    size_t start = rest.find_first_not_of(' ');
    return start == std::string::npos ? "" : rest.substr(start);
}

}  // namespace

Bytes EncodeFrame(uint16_t funcId, uint32_t seq, const Bytes& payload) {
    Bytes f(kHeader + payload.size());
    uint32_t sum = 0;
    for (uint8_t b : payload)
        sum += b;
    Put16(f.data(), 0x5A5A);
    Put16(f.data() + 2, funcId);
    Put32(f.data() + 4, seq);
    Put32(f.data() + 8, static_cast<uint32_t>(payload.size()));
    Put16(f.data() + 12, sum & 0xFFFF);
    if (!payload.empty()) memcpy(f.data() + kHeader, payload.data(), payload.size());
    return f;
}

std::string DescribeFrame(const char* dir, const uint8_t* frame, size_t len) {
    char head[96];
    if (len < kHeader) {
        snprintf(head, sizeof head, "%s short=%zu", dir, len);
        return head;
    }
    uint32_t plen = Get32(frame + 8);
    size_t have = len - kHeader < plen ? len - kHeader : plen;
    snprintf(head, sizeof head, "%s func=%u seq=%u len=%u sum=0x%04x data=", dir, Get16(frame + 2),
             Get32(frame + 4), plen, Get16(frame + 12));
    std::string line = head;
    char hex[4];
    bool printable = have > 0;
    for (size_t i = 0; i < have; ++i) {
        snprintf(hex, sizeof hex, "%02X", frame[kHeader + i]);
        line += hex;
        uint8_t c = frame[kHeader + i];
        printable = printable && c >= 0x20 && c < 0x7F;
    }
    if (printable) line += " text=" + std::string(frame + kHeader, frame + kHeader + have);
    return line;
}

Bytes FromHex(const std::string& hex) {
    Bytes out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return out;
}

CompanionSim::CompanionSim(FILE* out) : out_(out) {}

CompanionSim::~CompanionSim() {
    Close();
}

int CompanionSim::Connect(const std::string& socketPath) {
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd_ < 0) return -1;
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof addr.sun_path) return -1;
    memcpy(addr.sun_path, socketPath.data(), socketPath.size());
    if (connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        Close();
        return -1;
    }
    return 0;
}

void CompanionSim::Close() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
}

int CompanionSim::Push(uint16_t funcId, const Bytes& payload) {
    std::lock_guard<std::mutex> g(sendMu_);
    Bytes f = EncodeFrame(funcId, ++seq_, payload);
    if (fd_ < 0 || send(fd_, f.data(), f.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(f.size()))
        return -1;
    fprintf(out_, "%s\n", DescribeFrame("TX", f.data(), f.size()).c_str());
    fflush(out_);
    return 0;
}

Bytes CompanionSim::AnswerFor(uint16_t funcId, const uint8_t* p, size_t len) {
    std::lock_guard<std::mutex> g(stateMu_);
    auto special = statusFor_.find(funcId);
    uint8_t status = special != statusFor_.end() ? special->second : status_;
    Bytes a{status};
    bool ok = status == 0;
    switch (funcId) {
        case 3:
        case 4:
            if (ok) a.insert(a.end(), wan_.begin(), wan_.end());
            break;
        case 70:
            if (ok) a.push_back(band_);
            break;
        case 71:
            if (ok) a.push_back(support_);
            break;
        case 72:
            if (len >= 1) mesh_ = p[0];
            break;
        case 73:
            if (ok) a.push_back(mesh_);
            break;
        case 74:
            if (len >= 1) roaming_ = p[0];
            break;
        case 75:
            if (ok) a.push_back(roaming_);
            break;
        case 76:
            if (len >= 2) memcpy(threshold_, p, 2);
            break;
        case 77:
            if (ok) a.insert(a.end(), threshold_, threshold_ + 2);
            break;
        case 78:
            if (ok) a.insert(a.end(), topology_.begin(), topology_.end());
            break;
        case 79:
            if (ok) a.insert(a.end(), adj_.begin(), adj_.end());
            break;
        case 80:
            if (ok) a.insert(a.end(), bssid_.begin(), bssid_.end());
            break;
        case 82:
            if (len >= 1) wan_.assign(p, p + len);
            break;
        case 83:
        case 85:
        case 88:
            break;
        case 997:
            a = {0};
            a.insert(a.end(), conf_.begin(), conf_.end());
            break;
        default:
            return {};  // 998 state notices and 999 updates are not answered
    }
    return a;
}

void CompanionSim::HandleFrame(const uint8_t* f, size_t len) {
    received_.fetch_add(1);
    fprintf(out_, "%s\n", DescribeFrame("RX", f, len).c_str());
    fflush(out_);
    auto funcId = static_cast<uint16_t>(Get16(f + 2));
    Bytes answer = AnswerFor(funcId, f + kHeader, len - kHeader);
    if (!answer.empty()) Push(funcId, answer);
}

void CompanionSim::DrainInput() {
    while (in_.size() >= kHeader) {
        if (Get16(in_.data()) != 0x5A5A) {
            fprintf(out_, "RX garbage=%zu\n", in_.size());
            in_.clear();
            return;
        }
        size_t total = kHeader + Get32(in_.data() + 8);
        if (in_.size() < total) return;
        HandleFrame(in_.data(), total);
        in_.erase(in_.begin(), in_.begin() + static_cast<long>(total));
    }
}

int CompanionSim::NextDueMs() {
    std::lock_guard<std::mutex> g(stateMu_);
    if (schedule_.empty()) return 100;  // looks at the run flag now and then
    long now = NowMs(), wait = schedule_[0].nextMs - now;
    for (const Scheduled& s : schedule_)
        wait = std::min(wait, s.nextMs - now);
    return static_cast<int>(std::max(0L, wait));
}

void CompanionSim::RunSchedule() {
    std::vector<Scheduled> due;
    {
        std::lock_guard<std::mutex> g(stateMu_);
        long now = NowMs();
        for (Scheduled& s : schedule_) {
            if (now < s.nextMs) continue;
            s.nextMs = now + s.periodMs;
            due.push_back(s);
        }
    }
    for (const Scheduled& s : due)
        Push(s.funcId, s.payload);
}

void CompanionSim::Run(const std::atomic<int>& run, int controlFd) {
    std::string line;
    while (run.load() == 1 && fd_ >= 0) {
        pollfd p[2] = {{fd_, POLLIN, 0}, {controlFd, POLLIN, 0}};
        int r = poll(p, controlFd >= 0 ? 2 : 1, NextDueMs());
        RunSchedule();
        if (r <= 0) continue;
        if (p[0].revents & (POLLIN | POLLHUP | POLLERR)) {
            uint8_t buf[8192];
            ssize_t n = read(fd_, buf, sizeof buf);
            if (n <= 0) {
                fprintf(out_, "CLOSED by agent\n");
                fflush(out_);
                return;
            }
            in_.insert(in_.end(), buf, buf + n);
            DrainInput();
        }
        if (controlFd >= 0 && (p[1].revents & (POLLIN | POLLHUP))) {
            char c;
            ssize_t n = read(controlFd, &c, 1);
            if (n <= 0) {
                controlFd = -1;
                continue;
            }
            if (c != '\n') {
                line += c;
                continue;
            }
            if (Control(line) == 1) return;
            line.clear();
        }
    }
}

int CompanionSim::Control(const std::string& line) {
    std::istringstream in(line);
    std::string cmd;
    in >> cmd;
    if (cmd == "quit") return 1;
    if (cmd == "pushconf") {  // the 997 configuration, unasked
        Bytes payload{0};
        {
            std::lock_guard<std::mutex> g(stateMu_);
            payload.insert(payload.end(), conf_.begin(), conf_.end());
        }
        return Push(997, payload);
    }
    if (cmd == "devlist") {  // a function-40 device list
        Bytes payload;
        return DevListPayload(Rest(in), &payload) ? Push(40, payload) : -1;
    }
    if (cmd == "push" || cmd == "pushtext" || cmd == "every") {
        long period = 0;
        unsigned id = 0;
        if (cmd == "every") in >> period;
        in >> id;
        std::string rest = Rest(in);
        Bytes payload = cmd == "pushtext" ? Bytes(rest.begin(), rest.end()) : FromHex(rest);
        if (cmd != "every") return Push(static_cast<uint16_t>(id), payload);
        std::lock_guard<std::mutex> g(stateMu_);
        schedule_.push_back({period * 1000, NowMs(), static_cast<uint16_t>(id), payload});
        return 0;
    }
    std::lock_guard<std::mutex> g(stateMu_);
    return cmd == "status" ? SetStatus(in) : cmd == "set" ? SetValue(in) : -1;
}

int CompanionSim::SetStatus(std::istringstream& in) {
    int v = -1, id = -1;
    in >> v;
    if (v < 0 || v > 255) return -1;
    if (in >> id) {  // this function only
        statusFor_[static_cast<uint16_t>(id)] = static_cast<uint8_t>(v);
        return 0;
    }
    status_ = static_cast<uint8_t>(v);
    return 0;
}

int CompanionSim::SetValue(std::istringstream& in) {
    std::string what;
    in >> what;
    unsigned a = 0, b = 0;
    if (what == "mesh" && (in >> a))
        mesh_ = static_cast<uint8_t>(a);
    else if (what == "roaming" && (in >> a))
        roaming_ = static_cast<uint8_t>(a);
    else if (what == "band" && (in >> a))
        band_ = static_cast<uint8_t>(a);
    else if (what == "support" && (in >> a))
        support_ = static_cast<uint8_t>(a);
    else if (what == "threshold" && (in >> a >> b)) {
        threshold_[0] = static_cast<uint8_t>(a);
        threshold_[1] = static_cast<uint8_t>(b);
    } else if (what == "topology")
        topology_ = Rest(in);
    else if (what == "bssid")
        bssid_ = FromHex(Rest(in));
    else if (what == "wan")
        wan_ = FromHex(Rest(in));
    else if (what == "adj")
        adj_ = FromHex(Rest(in));
    else if (what == "conf")
        conf_ = Rest(in);
    else
        return -1;
    return 0;
}

}  // namespace companionsim
