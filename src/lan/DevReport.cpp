#include "lan/DevReport.h"

#include <cstring>

#include "core/ByteOrder.h"
#include "core/Globals.h"
#include "core/Log.h"
#include "platform/Protool.h"
#include "platform/Session.h"

using namespace lanlimits;

void BuildDevReport(uint8_t msg[kDevReportSize], const uint8_t* body, size_t bodyLen) {
    memset(msg, 0, kDevReportSize);
    PutLe16(msg + 2, kDevReportFunc);
    PutLe16(msg + 6, 1);
    if (bodyLen > kDevReportBody) bodyLen = kDevReportBody;
    memcpy(msg + 8, body, bodyLen);
    msg[46] = 1;
}

void SendDevReport(const uint8_t msg[kDevReportSize]) {
    if (AutoReportDevinfo.load() != 0) {
        uint8_t mac[6];
        GetRouteMac(mac);
        SendIpUpData(msg, kDevReportSize, kDevReportFunc, 1, mac);
    }
    if (l_debug.load() == 1) {
        LOGD("Online subdev:");
        LogHexBytes("", msg, kDevReportSize);
    }
}
