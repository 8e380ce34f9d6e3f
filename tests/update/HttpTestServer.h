// A scripted HTTP server on loopback for the download tests: it accepts connections one after
// the other, keeps each request's text, answers with fixed bytes and closes.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

namespace testupdate {

inline int ListenLoopback(int* port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in a = {};
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

// A TCP port on loopback that nothing listens on at the moment of the call.
inline int FreeLoopbackPort() {
    int port = 0;
    close(ListenLoopback(&port));
    return port;
}

class HttpTestServer {
public:
    explicit HttpTestServer(std::string response)
        : response_(std::move(response)), listenFd_(ListenLoopback(&port_)) {
        if (pipe(stop_) != 0) throw std::runtime_error("pipe");
        thread_ = std::thread([this] { Run(); });
    }
    ~HttpTestServer() {
        (void)!write(stop_[1], "x", 1);
        thread_.join();
        for (int fd : {listenFd_, stop_[0], stop_[1]})
            close(fd);
    }
    int port() const { return port_; }
    std::string LastRequest() const {
        std::lock_guard<std::mutex> g(mu_);
        return lastRequest_;
    }

private:
    // Waits for fd or the stop pipe; true when fd is readable and no stop was asked.
    bool Readable(int fd) const {
        struct pollfd p[2] = {{fd, POLLIN, 0}, {stop_[0], POLLIN, 0}};
        while (poll(p, 2, -1) < 0) {
        }
        return p[1].revents == 0 && p[0].revents != 0;
    }
    void Run() {
        while (Readable(listenFd_)) {
            int fd = accept(listenFd_, nullptr, nullptr);
            if (fd < 0) continue;
            std::string req;
            char buf[512];
            ssize_t n = 0;
            while (req.find("\r\n\r\n") == std::string::npos && Readable(fd) &&
                   (n = recv(fd, buf, sizeof buf, 0)) > 0)
                req.append(buf, static_cast<size_t>(n));
            {
                std::lock_guard<std::mutex> g(mu_);
                lastRequest_ = req;
            }
            for (size_t off = 0; off < response_.size(); off += static_cast<size_t>(n))
                if ((n = send(fd, response_.data() + off, response_.size() - off, MSG_NOSIGNAL)) <=
                    0)
                    break;
            close(fd);
        }
    }

    std::string response_;
    int port_ = 0;
    int listenFd_;
    int stop_[2] = {-1, -1};
    mutable std::mutex mu_;
    std::string lastRequest_;
    std::thread thread_;
};

}  // namespace testupdate
