// A scripted HTTP server on loopback for the download tests: it accepts connections one after
// the other, keeps each request's text, answers with fixed bytes and closes.
#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <mutex>
#include <string>
#include <thread>

#include "TestSupport.h"

namespace testupdate {

// A TCP port on loopback that nothing listens on at the moment of the call.
inline int FreeLoopbackPort() {
    int port = 0;
    close(testsupport::BindLoopback(&port));
    return port;
}

class HttpTestServer {
public:
    explicit HttpTestServer(std::string response)
        : response_(std::move(response)), listenFd_(testsupport::BindLoopback(&port_)) {
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
