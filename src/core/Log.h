// Levelled, coloured log lines on standard error. A line is printed only when its level bit is in
// the mask; nothing is formatted otherwise. Layout: time prefix, place prefix (file, function,
// line) and the message in its colour, ending in two line feeds.
#pragma once

#include <cstddef>

enum LogLevel : int {
    LOG_LEVEL_ERR = 1,
    LOG_LEVEL_WARN = 2,
    LOG_LEVEL_NOTICE = 4,
    LOG_LEVEL_INFO = 8,
    LOG_LEVEL_DEBUG = 16,
    LOG_LEVEL_TRACE = 32,
};

constexpr unsigned kLogMaskAll = 31;

extern const char* const kLogYellow;  // the usual message colour
extern const char* const kLogGreen;   // a few success messages

void SetLogMask(unsigned mask);
unsigned GetLogMask();
// 1 when `level` is exactly one level bit and that bit is in the mask; the time prefix has then
// been printed. 0 otherwise.
int LogEnabled(int level);
void LogPlace(int level, const char* file, const char* func, int line);
void LogText(const char* color, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
// Unframed output (hex dumps printed in debug mode).
void LogRaw(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
// Prints `len` bytes as "%02X " followed by a line feed.
void LogHexBytes(const unsigned char* data, size_t len);

// Where the pieces of a line go: standard error unless a test installs its own sink.
using LogSink = void (*)(const char* text, size_t len);
void SetLogSink(LogSink sink);

#define PLUG_LOG(level, color, ...)                        \
    do {                                                   \
        if (LogEnabled(level)) {                           \
            LogPlace(level, __FILE__, __func__, __LINE__); \
            LogText(color, __VA_ARGS__);                   \
        }                                                  \
    } while (0)

#define LOGE(...) PLUG_LOG(LOG_LEVEL_ERR, kLogYellow, __VA_ARGS__)
#define LOGI(...) PLUG_LOG(LOG_LEVEL_INFO, kLogYellow, __VA_ARGS__)
#define LOGI_OK(...) PLUG_LOG(LOG_LEVEL_INFO, kLogGreen, __VA_ARGS__)
#define LOGD(...) PLUG_LOG(LOG_LEVEL_DEBUG, kLogYellow, __VA_ARGS__)
// A line at a raw level mask (lines documented as "level mask 8" and the like).
#define LOGM(level, ...) PLUG_LOG(level, kLogYellow, __VA_ARGS__)
