#include "platform/TcpServer.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>

#include "core/Log.h"

int GetServerIp(const char* host, char* ip, size_t ipSize) {
    if (!host || host[0] == '\0') {
        LOGE("server_ip is empty.");
        return -1;
    }
    // getaddrinfo is the thread-safe form of gethostbyname; only IPv4 is asked for.
    struct addrinfo hints;
    memset(&hints, 0, sizeof hints);
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    struct addrinfo* res = nullptr;
    if (getaddrinfo(host, nullptr, &hints, &res) != 0 || !res) {
        LOGE("gethostbyname error for host:%s", host);
        return -1;
    }
    const auto* sin = reinterpret_cast<const struct sockaddr_in*>(res->ai_addr);
    char text[INET_ADDRSTRLEN] = {0};
    inet_ntop(AF_INET, &sin->sin_addr, text, sizeof text);
    freeaddrinfo(res);
    snprintf(ip, ipSize, "%s", text);
    LOGD("hostname: %s", host);
    LOGD("ip: %s", ip);
    return 0;
}

void DeleteServer() {}
void ResetRecvQueue() {}
