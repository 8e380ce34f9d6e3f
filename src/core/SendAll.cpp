#include "core/SendAll.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#include "core/Clock.h"

int SendAll(int fd, const uint8_t* buf, size_t len, int64_t timeoutMs) {
    const int64_t deadline = GetClock().NowMs() + timeoutMs;
    size_t done = 0;
    while (done < len) {
        ssize_t n = send(fd, buf + done, len - done, MSG_NOSIGNAL);
        if (n > 0) {
            done += static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) return -1;
        int64_t left = deadline - GetClock().NowMs();
        if (left <= 0) return -1;
        struct pollfd p;
        p.fd = fd;
        p.events = POLLOUT;
        p.revents = 0;
        int r = poll(&p, 1, static_cast<int>(GetClock().RealTimeoutMs(left)));
        if (r < 0 && errno == EINTR) continue;
        // No progress within the whole remaining time, or an error on the socket.
        if (r <= 0 || (p.revents & (POLLERR | POLLHUP | POLLNVAL))) return -1;
    }
    return 0;
}
