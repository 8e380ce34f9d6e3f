#include "TestSupport.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>

#include "core/Log.h"

extern char** environ;

namespace testsupport {

TempDir::TempDir() {
    const char* base = getenv("TMPDIR");
    std::string tmpl = std::string(base && *base ? base : "/tmp") + "/plugtest.XXXXXX";
    if (!mkdtemp(&tmpl[0])) abort();
    path_ = tmpl;
}

TempDir::~TempDir() {
    std::error_code ignored;  // nothing useful to do on failure; it is under the temp root
    std::filesystem::remove_all(path_, ignored);
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

namespace {

std::mutex gCaptureMu;
std::string gCaptured;

void CaptureSink(const char* text, size_t len) {
    std::lock_guard<std::mutex> g(gCaptureMu);
    gCaptured.append(text, len);
}

}  // namespace

LogCapture::LogCapture(unsigned mask) : oldMask_(GetLogMask()) {
    Clear();
    SetLogSink(CaptureSink);
    SetLogMask(mask);
}

LogCapture::~LogCapture() {
    SetLogSink(nullptr);
    SetLogMask(oldMask_);
}

std::string LogCapture::Text() const {
    std::lock_guard<std::mutex> g(gCaptureMu);
    return gCaptured;
}

bool LogCapture::Contains(const std::string& needle) const {
    return Text().find(needle) != std::string::npos;
}

size_t LogCapture::Count(const std::string& needle) const {
    return CountOf(Text(), needle);
}

void LogCapture::Clear() {
    std::lock_guard<std::mutex> g(gCaptureMu);
    gCaptured.clear();
}

int BindLoopback(int* port, bool listening) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in sa {};
    sa.sin_family = AF_INET;
    sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof sa;
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0 ||
        (listening && listen(fd, 4) != 0) ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len) != 0)
        abort();
    *port = ntohs(sa.sin_port);
    return fd;
}

long ReadWithin(int fd, int timeoutMs, std::vector<uint8_t>* out, size_t max) {
    struct pollfd p = {fd, POLLIN, 0};
    if (poll(&p, 1, timeoutMs) != 1) return -1;
    uint8_t buf[4096];
    ssize_t n = read(fd, buf, max < sizeof buf ? max : sizeof buf);
    if (n > 0) out->insert(out->end(), buf, buf + n);
    return n;
}

bool WaitUntil(const std::function<bool()>& pred, std::chrono::milliseconds timeout,
               std::chrono::microseconds step) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        if (pred()) return true;
        std::this_thread::sleep_for(step);
    }
    return pred();
}

std::string AgentBinary() {
    const char* env = getenv("PLUG_AGENT");
    return env ? env : "plugagent";
}

namespace {

// The e_machine field of an ELF file, or -1 when the file is not ELF or cannot be read.
int ElfMachine(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    unsigned char h[20] = {};
    if (!in.read(reinterpret_cast<char*>(h), sizeof h)) return -1;
    if (h[0] != 0x7f || h[1] != 'E' || h[2] != 'L' || h[3] != 'F') return -1;
    // EI_DATA (byte 5) says how the header's own fields are ordered: 1 little, 2 big endian.
    if (h[5] == 1) return h[18] | (h[19] << 8);
    if (h[5] == 2) return (h[18] << 8) | h[19];
    return -1;
}

// In a cross build the tests run under qemu-user, and a target binary a test starts needs the
// same emulator (the build's, or PLUG_TARGET_EMULATOR): it goes in front of argv when argv[0] is
// an ELF file for the running test's machine; native builds, scripts and host tools run as is.
std::vector<std::string> WithTargetEmulator(const std::vector<std::string>& argv) {
    const char* emulator = getenv("PLUG_TARGET_EMULATOR");
    if (!emulator) emulator = PLUG_TARGET_EMULATOR;
    if (!*emulator || argv.empty()) return argv;
    int target = ElfMachine("/proc/self/exe");
    if (target < 0 || ElfMachine(argv[0]) != target) return argv;
    std::vector<std::string> out;
    std::istringstream words(emulator);
    for (std::string w; words >> w;)
        out.push_back(w);
    out.insert(out.end(), argv.begin(), argv.end());
    return out;
}

}  // namespace

Child::Child(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
             const std::string& stderrFile, const std::string& cwd) {
    std::vector<std::string> envStrings;
    for (char** e = environ; *e; ++e) {
        std::string kv = *e;
        if (env.count(kv.substr(0, kv.find('='))) == 0) envStrings.push_back(kv);
    }
    for (const auto& kv : env)
        envStrings.push_back(kv.first + "=" + kv.second);
    std::vector<std::string> args = WithTargetEmulator(argv);
    std::vector<char*> cargv = CStrings(args), cenv = CStrings(envStrings);
    pid_ = fork();
    if (pid_ == 0) {
        int fd = open(stderrFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) dup2(fd, 2), dup2(fd, 1), close(fd);
        if (!cwd.empty() && chdir(cwd.c_str()) != 0) _exit(127);
        execve(cargv[0], cargv.data(), cenv.data());
        _exit(127);
    }
}

Child::~Child() {
    Kill();
}

bool Child::Wait(std::chrono::milliseconds timeout, int* exitStatus) {
    if (pid_ <= 0 || reaped_) return false;
    auto deadline = std::chrono::steady_clock::now() + timeout;
    for (int status = 0;; std::this_thread::sleep_for(std::chrono::milliseconds(5))) {
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            reaped_ = true;
            if (exitStatus) *exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) return false;
    }
}

void Child::Kill() {
    if (pid_ <= 0 || reaped_) return;
    kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
    reaped_ = true;
}

}  // namespace testsupport
