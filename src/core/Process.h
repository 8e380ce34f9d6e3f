// The one process runner for every external tool the agent starts (ping, traceroute, killall,
// iptables): fork and exec on an argument vector, never a shell, so no text that came from the
// platform is ever parsed as a command line. The child gets /dev/null as standard input, its
// standard output goes to a pipe the caller reads or to a file the runner opens, its standard
// error is the agent's, and it inherits no other descriptor. The tool is looked up on PATH.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

struct ProcessOutput {
    enum Kind { kInherit, kPipe, kFile } kind = kInherit;
    std::string file;  // kFile: created or truncated (mode 0644), as a shell's "> file" would
};

class Process {
public:
    Process() = default;
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    // A child still running when its owner goes is killed and reaped.
    ~Process();

    // Starts argv[0] with the arguments argv. 0, or -1 (logged) when nothing could be started.
    int Start(const std::vector<std::string>& argv, const ProcessOutput& out = {});
    // kPipe only: one line of the output without its line feed; a line longer than maxLen is
    // returned in pieces of maxLen. false at the end of the output or on a read error.
    bool ReadLine(std::string* line, size_t maxLen);
    // Stops reading the output (the child gets SIGPIPE if it writes on).
    void CloseOutput();
    // Waits for the child: its exit status (0-255), 128 + the signal that ended it, or -1.
    int Wait();
    // SIGKILL to a running child, then reaps it. No effect when none runs.
    void Kill();
    // Sends `sig` to the running child; may be called from another thread while the owner is
    // in Wait(), which reaps. Wait keeps the ended child unreaped until it holds the same lock,
    // so the signal never reaches a recycled process ID. No effect when none runs.
    void Signal(int sig);
    bool Started() const { return pid_ > 0; }

private:
    bool FillBuffer();

    std::atomic<pid_t> pid_{-1};
    std::mutex reapMu_;  // orders Signal against the reaping in Wait
    int outFd_ = -1;
    std::string pending_;  // pipe bytes read but not yet returned as a line
    bool eof_ = false;
};

// Runs argv to its end: the exit status as Process::Wait, or -1 when it could not be started.
int RunProcess(const std::vector<std::string>& argv, const ProcessOutput& out = {});
// The argument vector as one line of text, arguments separated by a space (for log lines).
std::string CommandText(const std::vector<std::string>& argv);
