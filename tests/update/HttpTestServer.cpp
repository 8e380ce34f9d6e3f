#include "HttpTestServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace testupdate {

namespace {

int ListenLoopback(int* port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    int one = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    struct sockaddr_in a;
    memset(&a, 0, sizeof a);
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    if (bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || listen(fd, 4) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) != 0) {
        close(fd);
        throw std::runtime_error("cannot listen on loopback");
    }
    *port = ntohs(a.sin_port);
    return fd;
}

// Waits for fd or the stop pipe; true when fd is readable and no stop was asked.
bool WaitReadable(int fd, int stopFd) {
    struct pollfd p[2] = {{fd, POLLIN, 0}, {stopFd, POLLIN, 0}};
    while (poll(p, 2, -1) < 0) {
    }
    return (p[1].revents == 0) && (p[0].revents != 0);
}

}  // namespace

HttpTestServer::HttpTestServer(std::string response, bool silent)
    : response_(std::move(response)), silent_(silent) {
    listenFd_ = ListenLoopback(&port_);
    if (pipe(stopPipe_) != 0) throw std::runtime_error("pipe");
    thread_ = std::thread([this] { Run(); });
}

HttpTestServer::~HttpTestServer() {
    char c = 1;
    (void)!write(stopPipe_[1], &c, 1);
    thread_.join();
    close(listenFd_);
    close(stopPipe_[0]);
    close(stopPipe_[1]);
}

std::string HttpTestServer::LastRequest() const {
    std::lock_guard<std::mutex> g(mu_);
    return lastRequest_;
}

void HttpTestServer::Run() {
    while (WaitReadable(listenFd_, stopPipe_[0])) {
        int fd = accept(listenFd_, nullptr, nullptr);
        if (fd < 0) continue;
        Serve(fd);
        close(fd);
    }
}

void HttpTestServer::Serve(int fd) {
    std::string req;
    char buf[512];
    while (req.find("\r\n\r\n") == std::string::npos && WaitReadable(fd, stopPipe_[0])) {
        ssize_t n = recv(fd, buf, sizeof buf, 0);
        if (n <= 0) break;
        req.append(buf, static_cast<size_t>(n));
    }
    {
        std::lock_guard<std::mutex> g(mu_);
        lastRequest_ = req;
    }
    if (silent_) {
        WaitReadable(stopPipe_[0], -1);
        return;
    }
    size_t off = 0;
    while (off < response_.size()) {
        ssize_t n = send(fd, response_.data() + off, response_.size() - off, MSG_NOSIGNAL);
        if (n <= 0) break;
        off += static_cast<size_t>(n);
    }
}

int FreeLoopbackPort() {
    int port = 0;
    int fd = ListenLoopback(&port);
    close(fd);
    return port;
}

}  // namespace testupdate
