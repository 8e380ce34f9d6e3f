// Sizes, counts and time-outs of the LAN device services (online-device report, sub-device
// filter, sub-device monitor), named after what they bound.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lanlimits {

constexpr size_t kMaxDevs = 128;         // devices kept, reported or scanned at most
constexpr size_t kDevTableSize = 129;    // SDK device table records (room for one more)
constexpr size_t kDevReportSize = 47;    // platform message for one device (functions 39/40)
constexpr size_t kDevReportBody = 38;    // its bytes 8..45: MAC and device data
constexpr uint16_t kDevReportFunc = 40;  // function ID of the one-device message

// Online-device report (function 39).
constexpr size_t kMacLineSize = 32;         // macconfig lines are read up to 31 characters
constexpr size_t kRelayedRecordBytes = 22;  // first bytes of the SDK record sent as they stand
constexpr int64_t kFn39RoundMs = 10000;
constexpr int64_t kFn39QueryFailMs = 60000;
constexpr int kFn39QueryEvery = 6;  // query on rounds that are multiples of this

// Sub-device filter (function 40).
constexpr size_t kFn40EntrySize = 39;  // MAC, 32 data bytes, status
constexpr size_t kFn40DataSize = 32;
constexpr size_t kFn40MinLen = 39;
constexpr size_t kFn40MaxLen = 5128;
constexpr int64_t kFn40WaitCompanionMs = 15000;
constexpr int64_t kFn40RoundMs = 10000;

// Sub-device monitor (function 63 upload).
constexpr uint16_t kSubdevFunc = 63;
constexpr size_t kSubdevRecordSize = 45;
constexpr size_t kSubdevHeaderSize = 8;
constexpr size_t kInNetSegSize = 20;     // subnet prefix text buffer
constexpr size_t kInNetSegMax = 12;      // the third dot lies within this many characters
constexpr size_t kInNetSegReuseMin = 6;  // a previous prefix shorter than this is not reused
constexpr size_t kArpLineMax = 157;      // characters of an ARP line that are looked at
constexpr size_t kArpMacTextLen = 17;    // "aa:bb:cc:dd:ee:ff"
constexpr size_t kDevNameField = 16;
constexpr size_t kHexDumpLineMax = 333;  // characters per line of the debug dump
constexpr int64_t kSubdevRetryMs = 1000;
constexpr int64_t kSubdevStepMs = 20;
constexpr int64_t kSubdevSettleMs = 3000;  // pause after a sent list; requests in it are absorbed
constexpr int64_t kSubdevIdleWaitMs = 3600000;  // upper bound of one wait for a request

}  // namespace lanlimits
