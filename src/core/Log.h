// Levelled, coloured log lines on standard error. A line is printed only when its level bit is in
// the mask; nothing is formatted otherwise. Layout: time prefix, place prefix (file, function,
// line) and the message in its colour, ending in two line feeds. Each line is formatted whole and
// written in one call, so lines from different threads never mix.
#pragma once

#include <cstddef>

// Level bits of the mask; the line's name in the time prefix is the one after LOG_LEVEL_.
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
// 1 when `level` is exactly one level bit and that bit is in the mask, 0 otherwise. Prints
// nothing: the whole line, time prefix included, is written by LogLine.
int LogEnabled(int level);
// Formats one whole line (time prefix, place prefix, message in `color`) and writes it at once.
void LogLine(int level, const char* file, const char* func, int line, const char* color,
             const char* fmt, ...) __attribute__((format(printf, 6, 7)));
// `heading`, then `len` bytes as "%02X " and a line feed, written in one call (the hex dumps
// printed in debug mode).
void LogHexBytes(const char* heading, const unsigned char* data, size_t len);

// Where the lines go: standard error unless a test installs its own sink. The sink receives one
// call per line or dump.
using LogSink = void (*)(const char* text, size_t len);
void SetLogSink(LogSink sink);

#define PLUG_LOG(level, color, ...)                                                              \
    do {                                                                                         \
        if (LogEnabled(level)) LogLine(level, __FILE__, __func__, __LINE__, color, __VA_ARGS__); \
    } while (0)

#define LOGE(...) PLUG_LOG(LOG_LEVEL_ERR, kLogYellow, __VA_ARGS__)
#define LOGI(...) PLUG_LOG(LOG_LEVEL_INFO, kLogYellow, __VA_ARGS__)
#define LOGI_OK(...) PLUG_LOG(LOG_LEVEL_INFO, kLogGreen, __VA_ARGS__)
#define LOGD(...) PLUG_LOG(LOG_LEVEL_DEBUG, kLogYellow, __VA_ARGS__)
// A line at an explicit level bit of the mask (one of the LogLevel values, e.g. 8 for an INFO
// line): printed when that bit is in the mask, with the level's name and place colour and the
// usual yellow message.
#define LOGM(level, ...) PLUG_LOG(level, kLogYellow, __VA_ARGS__)
