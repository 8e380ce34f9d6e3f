// A file descriptor with one owner: closed when the owner goes, -1 when there is none (0 is a
// valid descriptor: a daemon started with standard input closed gets it from socket()).
#pragma once

#include <unistd.h>

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : mFd(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& other) noexcept : mFd(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return mFd; }
    bool valid() const { return mFd >= 0; }
    // Closes the descriptor held (if any) and takes `fd` instead.
    void reset(int fd = -1) {
        if (mFd >= 0) close(mFd);
        mFd = fd;
    }
    // Gives up ownership without closing; the object holds -1 afterwards.
    int release() {
        int fd = mFd;
        mFd = -1;
        return fd;
    }

private:
    int mFd = -1;
};
