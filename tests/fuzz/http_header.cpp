// A loopback server answers the rate-test download (DownTestRateFIle) with the input and
// closes; then the header line reader and the status code run over what was kept.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "FuzzCommon.h"
#include "update/Download.h"

namespace {

int gListen = -1;
int gPort = 0;

// The current input, handed to the server thread. One server thread for the whole run: a thread
// per input makes the sanitizer runtime's bookkeeping grow by about 80 bytes per thread, which
// over ten million inputs passes the fuzzer's memory limit.
std::mutex gMutex;
std::condition_variable gServed;
const uint8_t* gBytes = nullptr;
size_t gSize = 0;
bool gDone = true;

// Accepts one connection at a time, reads the request, answers with the current input and
// closes; then tells the harness that this input was served.
void Serve() {
    for (;;) {
        int c = accept(gListen, nullptr, nullptr);
        if (c < 0) {
            if (errno == EINTR) continue;
            abort();
        }
        std::unique_lock<std::mutex> lock(gMutex);
        char req[2048];
        while (recv(c, req, sizeof req, 0) < 0 && errno == EINTR) {
        }
        for (size_t sent = 0; sent < gSize;) {
            ssize_t w = send(c, gBytes + sent, gSize - sent, MSG_NOSIGNAL);
            if (w < 0 && errno == EINTR) continue;
            if (w <= 0) break;
            sent += static_cast<size_t>(w);
        }
        close(c);
        gDone = true;
        gServed.notify_all();
    }
}

// The loopback listener and its server thread, for the whole run.
void Start() {
    gListen = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    if (gListen < 0 || bind(gListen, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
        listen(gListen, 4) != 0 || getsockname(gListen, reinterpret_cast<sockaddr*>(&a), &len) != 0)
        abort();
    gPort = ntohs(a.sin_port);
    std::thread(Serve).detach();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::Run(data, size, 0, Start, [](const uint8_t* in, size_t n) {
        HttpInitState();
        {
            std::lock_guard<std::mutex> lock(gMutex);
            gBytes = in;
            gSize = n;
            gDone = false;
        }
        DownTestRateFIle("127.0.0.1", gPort, "/rate", nullptr);
        {
            // The download returns once the server closed; wait for the server to be done with
            // the input before it is freed.
            std::unique_lock<std::mutex> lock(gMutex);
            gServed.wait(lock, [] { return gDone; });
        }
        char line[64];
        while (HttpGetResponseLine(line, sizeof line) >= 0) {
        }
        (void)HttpGetServerState();
        HttpCloseSocket();
    });
}
