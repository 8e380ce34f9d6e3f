// Firmware updates: the agent does not download firmware. It checks the command, answers the
// platform with fixed texts (DataType 17) and hands the parameter block to the companion.
#include <cstdio>
#include <cstring>

#include "core/Limits.h"
#include "core/Log.h"
#include "functions/ParseJson.h"
#include "ipc/ComF.h"
#include "platform/Protool.h"
#include "update/UpdateInternal.h"

namespace {

constexpr uint8_t kFirmwareReplyType = 17;
constexpr int kCompanionFirmwareFn = 999;

void Reply(const char* text) {
    SendIpUpData(reinterpret_cast<const uint8_t*>(text), strlen(text), kFirmwareReplyType, 0,
                 nullptr);
}

// These texts are the platform's, letter for letter (type 15 and type 16 differ on purpose).
const char* FileErrorText(int r) {
    switch (r) {
        case 1:
            return "fromVersion not match.";
        case 2:
            return "toVersion not support.";
        case 3:
            return "url address error.";
        case 4:
            return "check method not match.";
        case 5:
            return "fileLength error.";
        case 6:
            return "file download failed.";
        case 7:
            return "check sum error.";
        case 8:
            return "firmware update faiiled.";
        default:
            return "unKnown error.";
    }
}

}  // namespace

int FirmwareUpdateCmd(const char* payload) {
    int r = ParserPlug(15, payload);
    switch (r) {
        case 0:
            LOGD("update firmware cmd ok");
            Reply("{\"result\":0,\"resultDesc\":\"success\"}");
            return 0;
        case 1:
            LOGD("update firmware cmd error.");
            Reply("{\"result\":1,\"resultDesc\":\"fromVersion not match\"}");
            return 1;
        case 2:
            LOGD("update firmware cmd error.");
            Reply("{\"result\":2,\"resultDesc\":\"toVersion not support.\"}");
            return 2;
        default:
            Reply("{\"result\":9,\"resultDesc\":\"unknown error.\"}");
            return -1;
    }
}

int FirmwareUpdateFile(const char* payload) {
    int r = ParserPlug(16, payload);
    if (r == 0) {
        if (CommSendCmd(kCompanionFirmwareFn, upParm, sizeof upParm) == 0) {
            LOGD("send update firmware command success.");
            return 0;
        }
        LOGE("send update firmware command failed.");
        Reply("{\"result\":9,\"resultDesc\":\"unKnown error.\"}");
        return -1;
    }
    LOGD("update firmware file error.");
    char text[limits::kFwResultTextSize];
    snprintf(text, sizeof text, "{\"result\":%d,\"resultDesc\":\"%s\"}", r, FileErrorText(r));
    Reply(text);
    return -1;
}
