// A loopback server answers the rate-test download (DownTestRateFIle) with the input and
// closes; then the header line reader and the status code run over what was kept.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "FuzzCommon.h"
#include "update/Download.h"

namespace {

int gListen = -1;
int gPort = 0;

void Listen() {
    gListen = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    if (gListen < 0 || bind(gListen, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
        listen(gListen, 4) != 0 || getsockname(gListen, reinterpret_cast<sockaddr*>(&a), &len) != 0)
        abort();
    gPort = ntohs(a.sin_port);
}

// Accepts one connection, reads the request, answers with `size` bytes and closes.
void Serve(const uint8_t* bytes, size_t size) {
    int c;
    while ((c = accept(gListen, nullptr, nullptr)) < 0 && errno == EINTR) {
    }
    if (c < 0) return;
    char req[2048];
    while (recv(c, req, sizeof req, 0) < 0 && errno == EINTR) {
    }
    for (size_t sent = 0; sent < size;) {
        ssize_t w = send(c, bytes + sent, size - sent, MSG_NOSIGNAL);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) break;
        sent += static_cast<size_t>(w);
    }
    close(c);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::Run(data, size, 0, Listen, [](const uint8_t* in, size_t n) {
        HttpInitState();
        std::thread server(Serve, in, n);
        DownTestRateFIle("127.0.0.1", gPort, "/rate", nullptr);
        server.join();
        char line[64];
        while (HttpGetResponseLine(line, sizeof line) >= 0) {
        }
        (void)HttpGetServerState();
        HttpCloseSocket();
    });
}
