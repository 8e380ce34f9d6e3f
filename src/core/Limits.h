// Every size, count and time-out of the agent in one place, named after what it bounds.
#pragma once

#include <cstddef>

namespace limits {

// Agent identity.
constexpr int kVersionMajor = 2;
constexpr int kVersionMinor = 0;
constexpr int kVersionPatch = 0;
constexpr int kVersionBuild = 7;
constexpr const char* kBuildDate = "20221227";

// Command line and configuration.
constexpr size_t kConfigPathSize = 256;  // l_config_file
constexpr size_t kConfigLineSize = 512;  // plug.conf is read in pieces of 511 characters
constexpr size_t kMacSize = 6;
constexpr size_t kSnSize = 64;          // gSN
constexpr size_t kPinSize = 64;         // g_pin_code
constexpr size_t kKeySize = 32;         // KEY text buffer (first 16 bytes are the AES key)
constexpr size_t kServerNameSize = 32;  // SERVER1 / SERVER2 values keep 31 characters
constexpr size_t kPortTextSize = 8;     // PORT keeps 7 characters
constexpr size_t kIpTextSize = 16;      // dotted IPv4 text with its terminator
constexpr int kRegPortMin = 2048;
constexpr int kRegPortMax = 65530;
constexpr const char* kDefaultPort = "6039";

// Status file codes.
constexpr int kStatusRegistering = 1;
constexpr int kStatusRegistered = 2;
constexpr int kStatusLoggedIn = 3;
constexpr int kStatusUpdate = 4;
constexpr int kStatusForcedOff = 5;
constexpr int kStatusRegisterFailed = 101;
constexpr int kStatusFatal = 102;
constexpr int kStatusSessionEnded = 103;
constexpr int kStatusUpdateFailed = 104;

// Supervision loop schedule.
constexpr int kServer1Attempts = 3;
constexpr long kRetrySleepMs = 5000;         // after each failed attempt on server 1
constexpr long kPollPeriodMs = 2000;         // one pass of the poll loop
constexpr long kReloginPauseMs = 20000;      // pause between session end and re-login
constexpr long kReRegisterAfterSec = 71999;  // older sessions register again
constexpr unsigned kWeekPasses = 302400;     // 7 days of 2-second passes
constexpr int kMaxFailedCycles = 10;         // the 12th failed cycle is fatal (counter > 10)
constexpr unsigned kPassPluginState = 8;
constexpr unsigned kPassAutoReportConf = 9;
constexpr unsigned kPassFwVersion = 11;
constexpr unsigned kPassCalibration = 100;
constexpr long kStartupSettleMs = 50;
constexpr long kServiceGapMs = 10;

// Platform frames and connection.
constexpr size_t kFrameBufSize = 8192;  // one frame's working buffers
constexpr size_t kFrameHeaderSize = 7;
constexpr size_t kMaxUploadLen = 8100;     // SendIpUpData / SendReplyData data limit
constexpr size_t kRecvQueueSize = 204800;  // mData
constexpr size_t kRecvChunk = 1500;        // one recv of the receive thread
constexpr size_t kOptBufSize = 1024;       // RespProc option buffer
// RespProc data buffer: the largest data block accepted from the platform. Frames the agent
// sends are at most 8192 bytes in all, and the platform's are no larger; a frame whose DataLen
// exceeds this is dropped whole (logged) and the session goes on.
constexpr size_t kRespDataBufSize = 8192;
constexpr size_t kSockSndBuf = 16384;
// A frame to the platform or the companion is written whole within this time (agent time);
// a peer that takes no bytes for longer ends the link.
constexpr long kSendWholeTimeoutMs = 5000;
constexpr int kMaxSelectErrors = 4;
constexpr int kMaxRecvErrors = 4;
constexpr int kMaxZeroReads = 300;
constexpr long kZeroReadSleepMs = 10;
// Longest wait for work or a stop that always comes with a notify (frames, companion requests,
// a finished companion thread): such a wait only needs a bound in case a notify were ever lost.
constexpr long kEventWaitBoundMs = 600000;
constexpr long kDeleteServerSettleMs = 1000;
constexpr long kRegisterWaitSec = 10;
constexpr long kLoginWaitSec = 10;
constexpr long kReLoginWaitSec = 5;
constexpr int kDefaultHeartInterval = 50;
constexpr int kMinHeartInterval = 20;
constexpr long kCheckPeriodMs = 10000;
constexpr size_t kMaxPlugDataLen = 1018;  // type 25 length field limit

// Function calls.
constexpr size_t kAnswerBufSize = 8192;
constexpr int kFunctionTableSize = 88;
constexpr size_t kFnParamOffset = 10;  // parameters start at request byte 10
constexpr size_t kFnHeaderSize = 6;    // request tag, function ID, result code
constexpr size_t kMaxLanPorts = 64;    // ports listed by functions 12 and 49
constexpr size_t kMaxWanStates = 16;   // WANs listed by function 49
constexpr int kWifiModules = 4;        // module states of function 49
constexpr int kLinkSpeeds = 3;         // speeds of function 41
constexpr size_t kMaxUrlText = 1023;   // URL texts of functions 56, 57, 59
constexpr size_t kMd5TextField = 33;   // function 57: 32 hex digits and a NUL
constexpr int kMinConfigJsonLen = 2;   // function 87 JSON length range
constexpr int kMaxConfigJsonLen = 1023;

// Network diagnostics (functions 8, 9, 51, 52, 61, 87).
constexpr size_t kDiagResultSize = 4000;   // gPingResult, gTracertResult (text and its NUL)
constexpr size_t kPingLineMax = 255;       // one line of ping output
constexpr long kPingReadPauseMs = 50;      // before each line is read
constexpr int kPingMaxCount = 50;          // larger counts run 50 pings
constexpr long kTraceWatchdogMs = 500000;  // a traceroute is killed after 500 s (2500 x 200 ms)
constexpr long kRateJoinPauseMs = 20;      // after joining the previous rate-test thread
// The operator's speed-test server of function 61. No public server is known to this agent, so
// the default is an address of the documentation range (TEST-NET-2) that answers nobody: a
// product build sets its operator's server here (docs/functions.md, "Rate test").
constexpr const char* kRateTestServer = "198.51.100.61";
constexpr int kRateTestPort = 8199;
constexpr const char* kRateTestPath = "/download/300.data";
constexpr size_t kRateAddressSize = 1024;  // function-87 address text with its NUL
constexpr size_t kRateServerMinLen = 3;    // server names of 3 to 64 characters are tested
constexpr size_t kRateServerMaxLen = 64;
constexpr int kRateDefaultPort = 80;
constexpr int kRateFuncId = 62;  // function ID of the pushed rate-test record
constexpr size_t kRateRecordSize = 10;
constexpr int kFwVersionDataType = 14;  // upload subject of the firmware version report

// CommServer.
constexpr size_t kCommRxBufSize = 8200;
constexpr size_t kCommReadMax = 8192;
constexpr size_t kCommTxBufSize = 1500;
constexpr size_t kCommRxDataSize = 4096;
constexpr int kCommQueueSlots = 10;
constexpr int kCommQueueSlotSize = 8200;
constexpr long kCommTickMs = 50;
constexpr int kCommMaxTicks = 1200;
constexpr size_t kCommHeaderSize = 14;
constexpr size_t kCommMaxPayload = kCommTxBufSize - kCommHeaderSize;  // 1486
constexpr int kCommMinFuncId = 1;
constexpr int kCommMaxFuncId = 1000;
constexpr size_t kCommMinElement = 15;    // header plus one payload byte
constexpr size_t kCommMaxElement = 8100;  // largest queue element examined
constexpr size_t kCommRespMaxLen = 4000;  // largest response kept in rxData
constexpr int kCommWaitTicks = 200;       // 10 s answer wait
constexpr int kCommLongWaitTicks = 1200;  // 60 s for the neighbouring Wi-Fi list
constexpr int kCommListenBacklog = 3;
constexpr int kCommMaxWaitErrors = 5;      // consecutive failed waits tolerated
constexpr int kCommMaxReadErrors = 5;      // consecutive failed reads tolerated
constexpr long kCommRefusePauseMs = 5000;  // accept pause after a refused second companion
constexpr int kCommRQMinSlots = 3;
constexpr int kCommRQMaxSlots = 50;
constexpr int kCommRQMaxSlotSize = 9000;
constexpr long kCommRQMaxBytes = 102420;
constexpr size_t kPluginStateSize = 500;
constexpr size_t kPluginVersionSize = 31;

// Relayed reports and the auto-report configuration.
constexpr size_t kRelayBufSize = 8192;
constexpr size_t kRelayPrefixSize = 8;  // 6 for function 81
constexpr size_t kWanRecordSize = 228;
constexpr size_t kAutoConfMinLen = 5;  // 997 answer length range
constexpr size_t kAutoConfMaxLen = 1023;
constexpr size_t kAutoJsonMinLen = 2;  // function-88 JSON length range
constexpr size_t kAutoJsonMaxLen = 1023;
constexpr size_t kJumpTimeSize = 20;
constexpr size_t kJumpTimeMinLen = 9;
constexpr size_t kJumpTimeMaxLen = 11;
constexpr int kReferNumMin = 5;
constexpr int kReferNumMax = 20000000;
constexpr long kMaxServerDiffSec = 90;
constexpr long kMinJumpSpanSec = 3600;
constexpr int kDailyInterval = 1440;
// Longest report cycle (interval3, minutes) whose length in seconds still fits a signed 32-bit
// int, as the companion computes with it; a longer one is refused.
constexpr int kMaxCycleMinutes = 2147483647 / 60;  // 35791394
constexpr long kType1MinGapSec = 5;
constexpr long kType1SumWindowSec = 120;
constexpr long kType2MinGapSec = 1170;
constexpr long kType3MinGapSec = 50;
constexpr size_t kAutoReportTextSize = 500;
constexpr size_t kFwResultTextSize = 255;

// Port mappings, bandwidth limits and the surf-rule table.
constexpr size_t kRouteFlagSize = 2;  // s_flag
constexpr size_t kRouteIpSize = 32;   // s_pre_ip, s_post_ip
constexpr size_t kRoutePortSize = 8;  // s_pre_port, s_post_port
constexpr long kRoutePortMax = 65535;
constexpr size_t kSurfBuckets = 512;     // hashTable bucket heads (hash & 0x1FF)
constexpr int kSurfMaxInsertions = 512;  // hash_table_size at which insertions stop
constexpr size_t kSurfKeySize = 256;     // "MAC|day" key buffer

// Access-time service.
constexpr int kEaccessParamA = 1;  // no_feeling_daemon(1, 99, 6100)
constexpr int kEaccessParamB = 99;
constexpr int kEaccessParamC = 6100;
constexpr long kEaccessPassPeriodMs = 30000;  // one enforcement pass every 30 s
constexpr long kEaccessStopSettleMs = 2000;   // the stop step's pause before the join
constexpr size_t kEaccessDevRecords = 128;    // 4352-byte record buffer of 34-byte records
// HTTP download client and updates.
constexpr size_t kHttpBufSize = 1024;                // request header, response header, body piece
constexpr size_t kHttpLengthLineSize = 64;           // the Content-Length line is scanned from here
constexpr long long kHttpMinBodyLen = 1024;          // a declared length up to this is refused
constexpr long long kHttpMaxBodyLen = 2147483647LL;  // declared lengths above are refused
constexpr long kHttpSilenceMs = 30000;               // connect and every read give up after this
constexpr size_t kHttpIpAddrSize = 256;              // m_ipaddr
constexpr size_t kHttpHostBufSize = 2048;            // name resolution scratch
constexpr size_t kPluginIdSize = 128;
constexpr size_t kFromVersionSize = 16;
constexpr size_t kToVersionSize = 128;
constexpr size_t kDownloadServerSize = 32;
constexpr size_t kDownloadUrlSize = 256;
constexpr size_t kFileMd5Size = 64;
constexpr size_t kTokenSize = 64;
constexpr size_t kMaxPortTextLen = 7;
constexpr size_t kMaxServerLen = 31;
constexpr size_t kMacTextSize = 32;
constexpr int kMaxFn40Interval = 19;  // minutes
constexpr int kFn40RoundsPerMinute = 6;
constexpr size_t kUpParmSize = 432;
constexpr long kUpdateExitPauseMs = 3000;  // lets the update result go out before the exit
constexpr size_t kMd5PieceSize = 1024;

}  // namespace limits
