// Helpers shared by the tests: private runtime directories, captured log output, waiting for a
// condition with a deadline, and running the agent binary as a child process.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace testsupport {

// "12 34 2D 00" -> bytes; blanks and line breaks are ignored. Wire vectors in the tests are
// written this way by hand from the frame and record layouts.
inline std::vector<uint8_t> Hex(const std::string& hex) {
    std::vector<uint8_t> out;
    std::string digits;
    for (char c : hex)
        if (c != ' ' && c != '\n') digits += c;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16)));
    return out;
}

// Adds the bytes of `part` to the end of `out` (two overloads, so that text literals convert).
inline void Append(std::vector<uint8_t>* out, const std::vector<uint8_t>& part) {
    out->insert(out->end(), part.begin(), part.end());
}
inline void Append(std::vector<uint8_t>* out, const std::string& part) {
    out->insert(out->end(), part.begin(), part.end());
}
// `head` followed by the bytes of each part (strings or byte vectors), in order.
template <typename... Parts>
std::vector<uint8_t> Cat(std::vector<uint8_t> head, const Parts&... parts) {
    (Append(&head, parts), ...);
    return head;
}

// How many times `needle` occurs in `text` without overlapping.
inline size_t CountOf(const std::string& text, const std::string& needle) {
    size_t n = 0;
    for (size_t pos = text.find(needle); pos != std::string::npos;
         pos = text.find(needle, pos + needle.size()))
        ++n;
    return n;
}

// Pointers into `strings`, ended by nullptr: an argv for main() or execve, valid while `strings`
// is alive and unchanged.
inline std::vector<char*> CStrings(std::vector<std::string>& strings) {
    std::vector<char*> out;
    for (auto& s : strings)
        out.push_back(&s[0]);
    out.push_back(nullptr);
    return out;
}

// A fresh directory under $TMPDIR (or /tmp), removed with its content on destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

void WriteFile(const std::string& path, const std::string& content);
std::string ReadFile(const std::string& path);  // empty when missing

// Captures every log line written while alive (and sets the log mask for its life).
class LogCapture {
public:
    explicit LogCapture(unsigned mask = 31);
    ~LogCapture();
    std::string Text() const;
    bool Contains(const std::string& needle) const;
    size_t Count(const std::string& needle) const;
    void Clear();

private:
    unsigned oldMask_;
};

// A TCP socket bound to an ephemeral port on 127.0.0.1 (stored in *port), listening unless
// `listening` is false (then connections to the port are refused). Aborts on failure.
int BindLoopback(int* port, bool listening = true);

// Waits up to `timeoutMs` for `fd` to be readable, then appends what one read of at most `max`
// bytes brings: the byte count, 0 when the peer closed, -1 when nothing came in time.
long ReadWithin(int fd, int timeoutMs, std::vector<uint8_t>* out, size_t max = 4096);

// Polls `pred` every `step` until it holds or `timeout` passes. Returns pred().
bool WaitUntil(const std::function<bool()>& pred,
               std::chrono::milliseconds timeout = std::chrono::seconds(10),
               std::chrono::microseconds step = std::chrono::milliseconds(5));

// The agent binary built beside the tests (PLUG_AGENT from ctest, else the build tree path).
std::string AgentBinary();

// A child process with its standard error collected to a file.
class Child {
public:
    Child(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
          const std::string& stderrFile, const std::string& cwd = "");
    ~Child();  // kills the child if still running
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    // Waits up to `timeout` for the child to end; true with its exit status when it did.
    bool Wait(std::chrono::milliseconds timeout, int* exitStatus);
    void Kill();
    pid_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
    bool reaped_ = false;
};

}  // namespace testsupport
