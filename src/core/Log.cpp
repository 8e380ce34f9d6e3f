#include "core/Log.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "core/Clock.h"

const char* const kLogYellow = "\033[1;33m";
const char* const kLogGreen = "\033[1;32m";

namespace {

std::atomic<unsigned> gLogMask{1};
std::atomic<LogSink> gSink{nullptr};

// One call to the sink, or one write(2) to standard error (repeated only for the rest of a
// partial write).
void Write(const std::string& text) {
    LogSink sink = gSink.load(std::memory_order_acquire);
    if (sink) {
        sink(text.data(), text.size());
        return;
    }
    const char* p = text.data();
    size_t left = text.size();
    while (left > 0) {
        ssize_t n = write(STDERR_FILENO, p, left);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        p += n;
        left -= static_cast<size_t>(n);
    }
}

void AppendV(std::string& out, const char* fmt, va_list ap) {
    char stackBuf[512];
    va_list copy;
    va_copy(copy, ap);
    int n = vsnprintf(stackBuf, sizeof stackBuf, fmt, ap);
    if (n >= 0 && static_cast<size_t>(n) < sizeof stackBuf) {
        out.append(stackBuf, static_cast<size_t>(n));
    } else if (n >= 0) {  // long lines (hex dumps, JSON texts) are kept whole
        size_t at = out.size();
        out.resize(at + static_cast<size_t>(n) + 1);
        vsnprintf(&out[at], static_cast<size_t>(n) + 1, fmt, copy);
        out.resize(at + static_cast<size_t>(n));
    }
    va_end(copy);
}

void Append(std::string& out, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
void Append(std::string& out, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    AppendV(out, fmt, ap);
    va_end(ap);
}

const char* LevelName(int level) {
    switch (level) {
        case LOG_LEVEL_ERR:
            return "ERR";
        case LOG_LEVEL_WARN:
            return "WARN";
        case LOG_LEVEL_NOTICE:
            return "NOTICE";
        case LOG_LEVEL_INFO:
            return "INFO";
        case LOG_LEVEL_DEBUG:
            return "DEBUG";
        default:
            return "TRACE";
    }
}

const char* PlaceColor(int level) {
    switch (level) {
        case LOG_LEVEL_ERR:
            return "\033[1;31m";
        case LOG_LEVEL_INFO:
            return "\033[1;32m";
        default:
            return "\033[1;33m";
    }
}

}  // namespace

void SetLogMask(unsigned mask) {
    gLogMask.store(mask, std::memory_order_relaxed);
}
unsigned GetLogMask() {
    return gLogMask.load(std::memory_order_relaxed);
}
void SetLogSink(LogSink sink) {
    gSink.store(sink, std::memory_order_release);
}

int LogEnabled(int level) {
    switch (level) {
        case 1:
        case 2:
        case 4:
        case 8:
        case 16:
        case 32:
            break;
        default:
            return 0;
    }
    return (GetLogMask() & static_cast<unsigned>(level)) != 0 ? 1 : 0;
}

void LogLine(int level, const char* file, const char* func, int line, const char* color,
             const char* fmt, ...) {
    time_t now = static_cast<time_t>(NowSec());
    struct tm tmv;
    localtime_r(&now, &tmv);
    const char* base = strrchr(file, '/');
    std::string out;
    out.reserve(256);
    Append(out, "%d-%d-%d %02d:%02d:%02d [%s]%s [%s->%s->%d]-> \033[0m%s", tmv.tm_year + 1900,
           tmv.tm_mon + 1, tmv.tm_mday, tmv.tm_hour, tmv.tm_min, tmv.tm_sec, LevelName(level),
           PlaceColor(level), base ? base + 1 : file, func, line, color);
    va_list ap;
    va_start(ap, fmt);
    AppendV(out, fmt, ap);
    va_end(ap);
    out.append("\033[0m\n\n");
    Write(out);
}

void LogHexBytes(const char* heading, const unsigned char* data, size_t len) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out(heading);
    out.reserve(out.size() + len * 3 + 1);
    for (size_t i = 0; i < len; ++i) {
        out.push_back(kHex[data[i] >> 4]);
        out.push_back(kHex[data[i] & 0x0F]);
        out.push_back(' ');
    }
    out.push_back('\n');
    Write(out);
}
