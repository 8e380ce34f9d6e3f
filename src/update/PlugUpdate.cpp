// ParserPlugData and the plug-in update: download into the plug-in download file, MD5 check,
// result to the platform (DataType 3) and to the status file, and the exit after a verified file
// so that the service manager can install it.
#include "update/PlugUpdate.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/Status.h"
#include "functions/ParseJson.h"
#include "platform/Protool.h"
#include "rules/RouteFunc.h"
#include "update/Download.h"
#include "update/UpdateInternal.h"

namespace {

constexpr uint8_t kUpdateResultType = 3;
constexpr size_t kResultJsonSize = 2048;

// Ending the process is the executable's decision: it installs PlugExit. Without it the verified
// file stays and the agent runs on until its next restart.
void NoExitInstalled(int) {
    LOGE("update verified; no process exit installed, the new file waits for the next start");
}

std::atomic<UpdateExitFn> gUpdateExit{NoExitInstalled};

// The update-result JSON (BuildJson kind 4) sent to the platform as DataType 3.
void SendUpdateResult(int result) {
    char json[kResultJsonSize];
    if (BuildJson(4, result, "", nullptr, json, sizeof json) != 0) {
        LOGE("update result %d: json not built", result);
        return;
    }
    SendIpUpData(reinterpret_cast<const uint8_t*>(json), strlen(json), kUpdateResultType, 0,
                 nullptr);
}

// Data type 2.
int PluginUpdate(const char* payload) {
    const char* file = Paths().plugDownload.c_str();
    int r = ParserPlug(2, payload);
    LOGD("md5: down :%s", mFileMD5);
    if (r == 0) {
        LOGD("plug update url :%s", mDownloadUrl);
        r = DownLoadFIle(mDownloadServer, mDownloadPort, mDownloadUrl, file);
    }
    if (r != 0) {
        SendUpdateResult(-1);
        WritePlugStatus(limits::kStatusUpdateFailed);
        return 0;
    }
    LOGD("1-----------md5: down :%s", mFileMD5);
    char self[kMd5HexSize] = {0};
    int m = Compute_file_md5(file, self);
    LOGD("md5: self:%s===down :%s", self, mFileMD5);
    if (m != 0 || strcmp(self, mFileMD5) != 0) {
        DeleteDownloadFile();
        SendUpdateResult(-1);
        WritePlugStatus(limits::kStatusUpdateFailed);
        return 0;
    }
    WritePlugStatus(limits::kStatusUpdate);
    mProcess = 1;
    SendUpdateResult(0);
    SleepMs(limits::kUpdateExitPauseMs);
    LOGE("exit at [%s] %d", "ParserPlugData", __LINE__);
    gUpdateExit.load()(-1);
    return 0;
}

}  // namespace

void SetUpdateExit(UpdateExitFn fn) {
    gUpdateExit = fn ? fn : NoExitInstalled;
}

int ParserPlugData(uint8_t dataType, const char* payload, size_t /*len*/) {
    int r = 0;
    switch (dataType) {
        case 1:
            r = ParserPlug(1, payload);
            LOGD("ParserPlug datatype_update_cmd ret %d", r);
            LOGD("update cmd ok");
            return 0;
        case 2:
            return PluginUpdate(payload);
        case 4:
            LOGD("datatype_online");
            return ParserPlug(4, payload);
        case 5:
            LOGD("datatype_vip");
            return ParserPlug(5, payload);
        case 6:
            LOGD("datatype_recog");
            return ParserPlug(6, payload);
        case 7:
            LOGD("datatype_rerecog");
            return ParserPlug(7, payload);
        case 9:
            LOGD("datatype_route_set");
            return ParseRouteParam(payload);
        case 15:
            return FirmwareUpdateCmd(payload);
        case 16:
            return FirmwareUpdateFile(payload);
        case 18:
            LOGD("datatype_fn40_interval.");
            return ParserPlug(18, payload);
        default:
            return 0;
    }
}

int DeleteDownloadFile() {
    const char* file = Paths().plugDownload.c_str();
    LOGD("DeleteDownloadFile");
    LOGD("rm -f %s", file);
    if (unlink(file) != 0 && errno != ENOENT) {
        LOGE("removing %s failed: %s", file, strerror(errno));
        return -1;
    }
    return 0;
}

int DownLoadProc(const char* expectedMd5, const char* host, int port, const char* path) {
    const char* file = Paths().plugDownload.c_str();
    int r = DownLoadFIle(host, port, path, file);
    if (r != 0) return r;
    LOGD("1-----------md5: down :%s", expectedMd5);
    char self[kMd5HexSize] = {0};
    int m = Compute_file_md5(file, self);
    LOGD("md5: self:%s===down :%s", self, expectedMd5);
    if (m != 0 || !expectedMd5 || strcmp(self, expectedMd5) != 0) {
        DeleteDownloadFile();
    } else {
        WritePlugStatus(limits::kStatusUpdate);
    }
    return m;
}
