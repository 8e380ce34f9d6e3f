#include "platform/Protool.h"

#include <cstring>
#include <mutex>

#include "core/Log.h"

namespace {

std::mutex gMacMu;
uint8_t gRoutemac[6];

}  // namespace

void GetRouteMac(uint8_t mac[6]) {
    std::lock_guard<std::mutex> g(gMacMu);
    memcpy(mac, gRoutemac, 6);
}

void SetRouteMac(const uint8_t mac[6]) {
    std::lock_guard<std::mutex> g(gMacMu);
    memcpy(gRoutemac, mac, 6);
}

// Frames cannot be sent yet: the platform connection is not built.
int SendRouteUpData(const uint8_t*, const uint8_t*, uint8_t, uint8_t, size_t, size_t, uint8_t) {
    LOGE("mTcpConnectServer->sendData error");
    return -1;
}

int SendIpUpData(const uint8_t*, size_t, uint8_t, int, const uint8_t*) {
    return -1;
}

int SendReplyData(uint16_t, const uint8_t*, size_t, uint8_t, int, const uint8_t*) {
    return -1;
}
