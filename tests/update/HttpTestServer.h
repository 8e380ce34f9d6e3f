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
            send(fd, response_.data(), response_.size(), MSG_NOSIGNAL);  // blocks until all sent
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
