// The download client's response reading: a loopback server answers the rate-test download
// (DownTestRateFIle) with the input bytes and closes, so the response header reader, the
// Content-Length parser and the body reader all see them; the header line reader and the status
// code run over what was kept.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include "core/Log.h"
#include "update/Download.h"

namespace {

int gListen = -1;
int gPort = 0;

void Init() {
    SetLogMask(0);
    gListen = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in a;
    memset(&a, 0, sizeof a);
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
    do {
        c = accept(gListen, nullptr, nullptr);
    } while (c < 0 && errno == EINTR);
    if (c < 0) return;
    char req[2048];
    ssize_t n;
    do {
        n = recv(c, req, sizeof req, 0);
    } while (n < 0 && errno == EINTR);
    size_t sent = 0;
    while (sent < size) {
        ssize_t w = send(c, bytes + sent, size - sent, MSG_NOSIGNAL);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) break;
        sent += static_cast<size_t>(w);
    }
    close(c);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool once = (Init(), true);
    (void)once;
    std::unique_ptr<uint8_t[]> in(new uint8_t[size ? size : 1]);
    memcpy(in.get(), data, size);
    HttpInitState();
    std::thread server(Serve, in.get(), size);
    DownTestRateFIle("127.0.0.1", gPort, "/rate", nullptr);
    server.join();
    char line[64];
    while (HttpGetResponseLine(line, sizeof line) >= 0) {
    }
    (void)HttpGetServerState();
    HttpCloseSocket();
    return 0;
}
