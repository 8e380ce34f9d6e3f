// A scripted HTTP server on loopback for the download tests: it accepts connections one after
// the other, keeps each request's text, and answers with fixed bytes, then closes, or stays
// silent until stopped.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

namespace testupdate {

class HttpTestServer {
public:
    // `response` is sent whole after the request header; `silent` sends nothing and holds the
    // connection open until the server stops.
    explicit HttpTestServer(std::string response, bool silent = false);
    ~HttpTestServer();
    HttpTestServer(const HttpTestServer&) = delete;
    HttpTestServer& operator=(const HttpTestServer&) = delete;
    int port() const { return port_; }
    std::string LastRequest() const;

private:
    void Run();
    void Serve(int fd);

    std::string response_;
    bool silent_;
    int listenFd_ = -1;
    int stopPipe_[2] = {-1, -1};
    int port_ = 0;
    mutable std::mutex mu_;
    std::string lastRequest_;
    std::thread thread_;
};

// A TCP port on loopback that nothing listens on at the moment of the call.
int FreeLoopbackPort();

}  // namespace testupdate
