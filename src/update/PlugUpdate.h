// The plug-in data handler: update commands, the plug-in update (download, MD5 check, status
// 004 or 104, exit), the firmware update handed to the companion, and the configuration
// payloads. Installed by the executable for message types 18 and 25; runs on the response thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Crypto.h"

// `payload` is the NUL-terminated data text of `len` bytes. The result is the reply code of
// message type 18: ParserPlug's value, 0, or the firmware-update result of types 15 and 16.
int ParserPlugData(uint8_t dataType, const char* payload, size_t len);

// Download into the plug-in download file and MD5 check as one step: the download's failure as
// it is, else the MD5 computation's result (a mismatch deletes the file, a match writes status
// 004; both return 0).
int DownLoadProc(const char* expectedMd5, const char* host, int port, const char* path);
// MD5 of the whole file as 32 lower-case hex digits and a NUL. 0, or -1 when the file cannot be
// opened or read.
int Compute_file_md5(const char* path, char out[kMd5HexSize]);
// Removes the plug-in download file (unlink, no shell). 0, or -1 when it exists and stays.
int DeleteDownloadFile();

// What ends the process after a verified update: the executable installs PlugExit, tests their
// own; nullptr (the default) logs and lets the agent run on.
using UpdateExitFn = void (*)(int status);
void SetUpdateExit(UpdateExitFn fn);
