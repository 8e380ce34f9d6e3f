#include "core/Process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "core/Log.h"

namespace {

// Descriptors above this are not looked at in the child; the agent never holds that many.
constexpr int kMaxChildFd = 4096;
constexpr int kExecFailedStatus = 127;

int HighestFd() {
    struct rlimit rl {};
    if (getrlimit(RLIMIT_NOFILE, &rl) != 0 || rl.rlim_cur == RLIM_INFINITY ||
        rl.rlim_cur > static_cast<rlim_t>(kMaxChildFd))
        return kMaxChildFd;
    return static_cast<int>(rl.rlim_cur);
}

// In the child between fork and exec: only async-signal-safe calls.
[[noreturn]] void ExecChild(char* const* argv, int outFd, int highestFd) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    int devNull = open("/dev/null", O_RDONLY);
    if (devNull < 0 || dup2(devNull, STDIN_FILENO) < 0) _exit(kExecFailedStatus);
    if (outFd >= 0 && dup2(outFd, STDOUT_FILENO) < 0) _exit(kExecFailedStatus);
    for (int fd = STDERR_FILENO + 1; fd < highestFd; ++fd)
        close(fd);
    execvp(argv[0], argv);
    _exit(kExecFailedStatus);
}

}  // namespace

Process::~Process() {
    Kill();
    CloseOutput();
}

int Process::Start(const std::vector<std::string>& argv, const ProcessOutput& out) {
    if (pid_ > 0 || argv.empty()) return -1;
    std::vector<char*> args;
    args.reserve(argv.size() + 1);
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);

    int childOut = -1;
    if (out.kind == ProcessOutput::kPipe) {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) != 0) {
            LOGE("%s: pipe failed: %s", argv[0].c_str(), strerror(errno));
            return -1;
        }
        outFd_ = fds[0];
        childOut = fds[1];
    } else if (out.kind == ProcessOutput::kFile) {
        childOut = open(out.file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (childOut < 0) {
            LOGE("%s: cannot open %s: %s", argv[0].c_str(), out.file.c_str(), strerror(errno));
            return -1;
        }
    }
    int highestFd = HighestFd();
    pid_t pid = fork();
    if (pid == 0) ExecChild(args.data(), childOut, highestFd);
    int forkErrno = errno;
    if (childOut >= 0) close(childOut);
    if (pid < 0) {
        LOGE("%s: fork failed: %s", argv[0].c_str(), strerror(forkErrno));
        CloseOutput();
        return -1;
    }
    pid_ = pid;
    pending_.clear();
    eof_ = false;
    return 0;
}

bool Process::FillBuffer() {
    char buf[512];
    for (;;) {
        ssize_t n = read(outFd_, buf, sizeof buf);
        if (n > 0) {
            pending_.append(buf, static_cast<size_t>(n));
            return true;
        }
        if (n < 0 && errno == EINTR) continue;
        eof_ = true;
        return false;
    }
}

bool Process::ReadLine(std::string* line, size_t maxLen) {
    if (outFd_ < 0 || maxLen == 0) return false;
    for (;;) {
        size_t nl = pending_.find('\n');
        if (nl != std::string::npos && nl <= maxLen) {
            line->assign(pending_, 0, nl);
            pending_.erase(0, nl + 1);
            return true;
        }
        if (pending_.size() >= maxLen) {
            line->assign(pending_, 0, maxLen);
            pending_.erase(0, maxLen);
            return true;
        }
        if (eof_ || !FillBuffer()) {
            if (pending_.empty()) return false;
            line->swap(pending_);
            pending_.clear();
            return true;
        }
    }
}

void Process::CloseOutput() {
    if (outFd_ >= 0) close(outFd_);
    outFd_ = -1;
}

int Process::Wait() {
    pid_t pid = pid_.load();
    if (pid <= 0) return -1;
    // Wait for the end without reaping: the ID stays the child's until it is reaped below.
    siginfo_t info{};
    int r;
    do {
        r = waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
    } while (r < 0 && errno == EINTR);
    std::lock_guard<std::mutex> g(reapMu_);
    int status = 0;
    pid_t done;
    do {
        done = waitpid(pid, &status, 0);
    } while (done < 0 && errno == EINTR);
    pid_ = -1;
    if (done < 0) return -1;
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

void Process::Kill() {
    if (pid_ <= 0) return;
    Signal(SIGKILL);
    Wait();
}

void Process::Signal(int sig) {
    std::lock_guard<std::mutex> g(reapMu_);
    pid_t pid = pid_.load();
    if (pid > 0) kill(pid, sig);
}

int RunProcess(const std::vector<std::string>& argv, const ProcessOutput& out) {
    Process p;
    if (p.Start(argv, out) != 0) return -1;
    return p.Wait();
}

std::string CommandText(const std::vector<std::string>& argv) {
    std::string text;
    for (const std::string& a : argv) {
        if (!text.empty()) text += ' ';
        text += a;
    }
    return text;
}
