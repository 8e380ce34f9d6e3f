// Reports relayed from the companion to the platform (81, 84, 86, 89), the auto-report
// configuration (88 set by the platform, 997 read back from the companion), the spreading of
// report times over the day by the router MAC, and the firmware result (999).
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

// Auto-report configuration, -1 when unknown (intervalFlag1..3 are also read by the firmware
// version report).
extern std::atomic<int> intervalFlag1;
extern std::atomic<int> intervalFlag2;
extern std::atomic<int> intervalFlag3;
extern std::atomic<int> referNum;
extern std::atomic<int> serverErr;
extern std::atomic<uint16_t> AutoReportSeq;

// Resets the configuration and the function-89 bookkeeping (CommServerStart does this).
void CommAutoReportReset();

// Frame handler steps for companion reports.
void CommAutoReport(const uint8_t* payload, size_t len);
void CommAutoJsonReport(const uint8_t* payload, size_t len, int funcId);
void CommAutoReport89(const uint8_t* payload, size_t len);
void Comm_get_88Conf(const uint8_t* payload, size_t len);
void CommFwUpdateResult(const uint8_t* payload, size_t len);

// Relay prefix plus payload into `out` (capacity `cap`): the function-81 fields converted, no
// length field for 81. Returns the total length, or 0 when it does not fit.
size_t CommBuildRelay(uint8_t* out, size_t cap, uint16_t seq, int funcId, const uint8_t* payload,
                      size_t len);
// The function-89 rules at time `now`; updates their bookkeeping. 0 relay, -1 drop.
int CommCheck89(const uint8_t* payload, size_t len, long now);
// The JSON text sent to platform function 17 for a firmware result byte.
std::string CommFwResultText(int result);

// "H:MM-H:MM" .. "HH:MM-HH:MM" split in place: `second` receives the second part's seconds,
// `first` the first part's. 0, or -1 with its log line.
int jumpTimeToSec(long* second, long* first, char* text);

// All times in seconds and computed in 64 bits: `long` is 32 bits on the router CPUs, and the
// configuration values come from the platform and the companion unchecked.
struct SpreadInput {
    int64_t referNum;    // R
    int64_t serverDiff;  // S
    int interval2;       // 1440 switches the daily report on
    int interval3;       // cycle in minutes
    char* jumpTime;      // empty or the jump period, cut in place when parsed
    int64_t now;         // N
    int64_t midnight;    // M
    int64_t macVal;      // last three bytes of the router MAC
};
struct ReportTimes {
    double dayReportTime = 0;
    double cycleReportStart = 0;
};
// 0, or -1 with its log line: the jump time cannot be parsed ("jump time is error!") or interval3
// is longer than limits::kMaxCycleMinutes.
int CommSpreadReportTimes(const SpreadInput& in, ReportTimes* out);
int64_t CommMacVal(const uint8_t mac[6]);
// Local midnight of the day of `now` (seconds).
int64_t CommLocalMidnight(int64_t now);
// The stored jump time (for tests and diagnostics).
std::string CommJumpTimeText();
