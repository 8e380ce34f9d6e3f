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
constexpr long kRecvSelectMs = 500;
constexpr int kMaxSelectErrors = 4;
constexpr int kMaxRecvErrors = 4;
constexpr int kMaxZeroReads = 300;
constexpr long kZeroReadSleepMs = 10;
constexpr long kRespIdleMs = 1000;  // RespProc waits at most this long for a frame
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

// CommServer.
constexpr size_t kCommRxBufSize = 8200;
constexpr size_t kCommReadMax = 8192;
constexpr size_t kCommTxBufSize = 1500;
constexpr size_t kCommRxDataSize = 4096;
constexpr int kCommQueueSlots = 10;
constexpr int kCommQueueSlotSize = 8200;
constexpr long kCommTickMs = 50;
constexpr int kCommMaxTicks = 1200;

}  // namespace limits
