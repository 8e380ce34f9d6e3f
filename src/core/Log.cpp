#include "core/Log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/Clock.h"

const char* const kLogYellow = "\033[1;33m";
const char* const kLogGreen = "\033[1;32m";

namespace {

std::atomic<unsigned> gLogMask{1};
std::atomic<LogSink> gSink{nullptr};

void Write(const char* text, size_t len) {
    LogSink sink = gSink.load(std::memory_order_acquire);
    if (sink) {
        sink(text, len);
    } else {
        fwrite(text, 1, len, stderr);
    }
}

void VWrite(const char* fmt, va_list ap) {
    char stackBuf[1024];
    va_list copy;
    va_copy(copy, ap);
    int n = vsnprintf(stackBuf, sizeof stackBuf, fmt, ap);
    if (n < 0) {
        va_end(copy);
        return;
    }
    if (static_cast<size_t>(n) < sizeof stackBuf) {
        Write(stackBuf, static_cast<size_t>(n));
    } else {
        // Long lines (hex dumps, JSON texts) are written whole.
        char* big = new char[static_cast<size_t>(n) + 1];
        vsnprintf(big, static_cast<size_t>(n) + 1, fmt, copy);
        Write(big, static_cast<size_t>(n));
        delete[] big;
    }
    va_end(copy);
}

void Format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
void Format(const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    VWrite(fmt, ap);
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
    if ((GetLogMask() & static_cast<unsigned>(level)) == 0) return 0;
    time_t now = static_cast<time_t>(NowSec());
    struct tm tmv;
    localtime_r(&now, &tmv);
    Format("%d-%d-%d %02d:%02d:%02d [%s]", tmv.tm_year + 1900, tmv.tm_mon + 1, tmv.tm_mday,
           tmv.tm_hour, tmv.tm_min, tmv.tm_sec, LevelName(level));
    return 1;
}

void LogPlace(int level, const char* file, const char* func, int line) {
    const char* base = strrchr(file, '/');
    Format("%s [%s->%s->%d]-> \033[0m", PlaceColor(level), base ? base + 1 : file, func, line);
}

void LogText(const char* color, const char* fmt, ...) {
    Write(color, strlen(color));
    va_list ap;
    va_start(ap, fmt);
    VWrite(fmt, ap);
    va_end(ap);
    static const char kEnd[] = "\033[0m\n\n";
    Write(kEnd, sizeof kEnd - 1);
}

void LogRaw(const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    VWrite(fmt, ap);
    va_end(ap);
}

void LogHexBytes(const unsigned char* data, size_t len) {
    for (size_t i = 0; i < len; ++i)
        Format("%02X ", data[i]);
    Write("\n", 1);
}
