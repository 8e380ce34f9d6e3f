#include "EchoBaseline.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace {

bool ReadAll(int fd, char* p, size_t n) {
    while (n > 0) {
        ssize_t r = recv(fd, p, n, 0);
        if (r <= 0) return false;
        p += r;
        n -= static_cast<size_t>(r);
    }
    return true;
}

void NoDelay(int fd) {
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

}  // namespace

std::vector<double> EchoRoundTrips(size_t count, size_t size) {
    std::vector<double> out;
    int lfd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof sa;
    if (lfd < 0 || bind(lfd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0 ||
        listen(lfd, 1) != 0 || getsockname(lfd, reinterpret_cast<sockaddr*>(&sa), &len) != 0) {
        if (lfd >= 0) close(lfd);
        return out;
    }
    std::thread echo([lfd, size] {
        pthread_setname_np(pthread_self(), "bench-echo");
        int fd = accept(lfd, nullptr, nullptr);
        if (fd < 0) return;
        NoDelay(fd);
        std::vector<char> buf(size);
        while (ReadAll(fd, buf.data(), size))
            if (send(fd, buf.data(), size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) break;
        close(fd);
    });
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) == 0) {
        NoDelay(fd);
        std::vector<char> buf(size, 'x');
        for (size_t i = 0; i < count; ++i) {
            auto t0 = std::chrono::steady_clock::now();
            if (send(fd, buf.data(), size, MSG_NOSIGNAL) != static_cast<ssize_t>(size) ||
                !ReadAll(fd, buf.data(), size))
                break;
            auto us =
                std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t0)
                    .count();
            out.push_back(us);
        }
    }
    if (fd >= 0) close(fd);
    shutdown(lfd, SHUT_RDWR);
    close(lfd);
    echo.join();
    return out;
}
