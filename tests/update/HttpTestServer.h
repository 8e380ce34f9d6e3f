// A scripted HTTP server on loopback for the download tests: it accepts connections one after
// the other, keeps each request's text, answers with fixed bytes and closes.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
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
        thread_ = std::thread([this] { Run(); });
    }
    ~HttpTestServer() {
        shutdown(listenFd_, SHUT_RDWR);  // ends the blocked accept()
        thread_.join();
        close(listenFd_);
    }
    int port() const { return port_; }
    std::string LastRequest() const {
        std::lock_guard<std::mutex> g(mu_);
        return lastRequest_;
    }

private:
    // One connection after the other: the request up to its blank line (or the client's
    // close), then the whole response, then close.
    void Run() {
        for (int fd; (fd = accept(listenFd_, nullptr, nullptr)) >= 0; close(fd)) {
            std::string req;
            char buf[512];
            ssize_t n = 0;
            while (req.find("\r\n\r\n") == std::string::npos &&
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
        }
    }

    std::string response_;
    int port_ = 0;
    int listenFd_;
    mutable std::mutex mu_;
    std::string lastRequest_;
    std::thread thread_;
};

}  // namespace testupdate
