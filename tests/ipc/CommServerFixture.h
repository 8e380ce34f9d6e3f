// A running companion server in a private directory, logged in, with helpers to reach it.
#pragma once

#include <gtest/gtest.h>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "RawCompanion.h"
#include "TestSupport.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Paths.h"
#include "ipc/CommServer.h"

using Bytes = std::vector<uint8_t>;

// Waits for `pred` with a fine step (the 5 ms step of WaitUntil is too coarse for loops).
template <typename Pred>
bool SpinUntil(Pred pred, int timeoutMs = 10000) {
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < end) {
        if (pred()) return true;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return pred();
}

class CommServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        PathsRelocate(dir.path());
        mLogin.store(1);
        ASSERT_EQ(CommServerStart(), 0);
    }
    void TearDown() override {
        CommServerStop();
        SetClock(nullptr);
        mLogin.store(0);
        PathsRelocate("");
    }
    // Connects (retrying until the server listens) and waits until the agent serves it.
    bool Attach(RawCompanion& c) {
        bool connected = SpinUntil([&] { return c.Connect(Paths().commServer); });
        return connected && SpinUntil([] { return InstanceSocket.load() >= 0; });
    }
    bool Detach(RawCompanion& c) {
        c.Close();
        return SpinUntil([] { return InstanceState.load() == 0; });
    }
    // Runs the process clock `scale` times faster until the server is stopped (the clock must
    // outlive the server's threads, so the fixture owns it).
    void Accelerate(double scale) {
        clock_ = std::make_unique<ScaledClock>(scale);
        SetClock(clock_.get());
    }
    // A frame from the companion with its next sequence number.
    Bytes Answer(uint16_t id, const Bytes& payload) { return CompanionFrame(id, ++seq, payload); }

    std::unique_ptr<ScaledClock> clock_;
    testsupport::TempDir dir;
    uint32_t seq = 100;
};

// Entries of a /proc directory (threads in /proc/self/task, descriptors in /proc/self/fd).
inline size_t CountEntries(const char* path) {
    size_t n = 0;
    if (DIR* d = opendir(path)) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') ++n;
        closedir(d);
    }
    return n;
}
