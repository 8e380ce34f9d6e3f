// The server over its real socket: one companion at a time, the receive rules, stop and start.
#include <random>

#include "CommServerFixture.h"
#include "ipc/ComF.h"
#include "ipc/CommInternal.h"

using testsupport::LogCapture;

namespace {

// A joined thread may linger in /proc for a moment after its exit (long under qemu-user), also
// when a count is taken; a leaked thread per cycle stays and shows many times over.
void ExpectNothingLeft(size_t threads, size_t fds) {
    EXPECT_TRUE(SpinUntil([&] { return CountEntries("/proc/self/task") <= threads; }))
        << CountEntries("/proc/self/task") << " threads, " << threads << " before";
    EXPECT_EQ(CountEntries("/proc/self/fd"), fds);
}

TEST_F(CommServerTest, SocketIsPrivateToTheAgentUser) {
    ASSERT_TRUE(SpinUntil([] { return access(Paths().commServer.c_str(), F_OK) == 0; }));
    RawCompanion c;
    ASSERT_TRUE(Attach(c));
    struct stat st {};
    ASSERT_EQ(stat(Paths().commServer.c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(CommServerTest, SecondCompanionClosedAtOnceNextAcceptAfterFiveSeconds) {
    Accelerate(100);  // 5 s pass in 50 ms
    LogCapture log;
    RawCompanion first, second, third;
    ASSERT_TRUE(Attach(first));
    // Timed from before the second connection: the pause that follows its refusal lies wholly
    // inside, so the third companion is refused no sooner than 5 s (50 ms here) later.
    auto connecting = std::chrono::steady_clock::now();
    ASSERT_TRUE(second.Connect(Paths().commServer));
    EXPECT_TRUE(second.ClosedByPeer());
    ASSERT_TRUE(third.Connect(Paths().commServer));  // waits in the backlog during the pause
    EXPECT_TRUE(third.ClosedByPeer());
    auto waited = std::chrono::steady_clock::now() - connecting;
    EXPECT_GE(waited, std::chrono::milliseconds(50));
    EXPECT_TRUE(SpinUntil([&] { return log.Count("link quntity is large.") == 2; }));
    // Once the first companion is gone and its thread joined, a new one is served.
    ASSERT_TRUE(Detach(first));
    EXPECT_TRUE(SpinUntil([&] { return log.Contains("release ok"); }));  // logged after the reset
    RawCompanion fourth;
    EXPECT_TRUE(Attach(fourth));
}

// Sends one frame and waits until the frame handler has dealt with it (accepted or refused).
class RulesTest : public CommServerTest {
protected:
    void SetUp() override {
        CommServerTest::SetUp();
        ASSERT_TRUE(Attach(c));
    }
    bool SendAndWaitLog(const Bytes& f, const std::string& line) {
        size_t before = log.Count(line);
        return c.Send(f) && SpinUntil([&] { return log.Count(line) > before; });
    }
    // Sends one frame, waits until it has been handled and tells whether it was accepted (no
    // receive rule logged a refusal).
    bool SendAndWaitAccepted(const Bytes& f) {
        unsigned long handled = CommHandledElements();
        size_t refused = log.Count("Receive ");
        return c.Send(f) && SpinUntil([&] { return CommHandledElements() > handled; }) &&
               log.Count("Receive ") == refused;
    }
    RawCompanion c;
    LogCapture log;
};

TEST_F(RulesTest, NotLoggedInDropsSilently) {
    mLogin.store(0);
    unsigned long handled = CommHandledElements();
    ASSERT_TRUE(c.Send(CompanionFrame(73, 1, {0, 1})));
    ASSERT_TRUE(SpinUntil([&] { return CommHandledElements() > handled; }));
    mLogin.store(1);
    ASSERT_TRUE(SendAndWaitLog(CompanionFrame(87, 2, {1}), "Error funcID"));
    EXPECT_FALSE(log.Contains("Receive"));
    EXPECT_FALSE(log.Contains("Recv length"));
    EXPECT_EQ(CommRxSeq.load(), 2u);  // the dropped frame never reached the sequence rule
}

TEST_F(RulesTest, TwoFramesInOneReadAreOneElement) {
    Bytes both = CompanionFrame(88, 20, {0});
    Bytes second = CompanionFrame(87, 21, {1});
    both.insert(both.end(), second.begin(), second.end());
    unsigned long handled = CommHandledElements();
    ASSERT_TRUE(SendAndWaitAccepted(both));
    ASSERT_TRUE(SpinUntil([&] { return CommHandledElements() > handled; }));
    EXPECT_EQ(CommRxSeq.load(), 20u);  // the second frame was never looked at
    EXPECT_FALSE(log.Contains("Error funcID"));
}

TEST_F(RulesTest, CompanionRequestsAndReports) {
    ASSERT_TRUE(SendAndWaitAccepted(CompanionFrame(998, 1, {'i'})));
    std::string online = "{\"pluginState\":\"online\",\"pluginVersion\":\"2.0.0.7-20221227\"}";
    Bytes state = c.Read(14 + online.size());
    ASSERT_EQ(state.size(), 14 + online.size());
    EXPECT_EQ(state[2], 0xE6);
    EXPECT_EQ(state[3], 0x03);
    EXPECT_EQ(std::string(state.begin() + 14, state.end()), online);
    ASSERT_TRUE(SendAndWaitLog(CompanionFrame(998, 2, {'x'}), "Old plugin no plugin state"));
    ASSERT_TRUE(SendAndWaitLog(CompanionFrame(999, 3, {8}), "update firmware file error."));
    ASSERT_TRUE(SendAndWaitLog(CompanionFrame(40, 4, Bytes(41, 0)), "function-40 list dropped"));
    ASSERT_TRUE(SendAndWaitLog(CompanionFrame(2, 5, {1}), "comm_get_base_info"));
    ASSERT_TRUE(SendAndWaitAccepted(CompanionFrame(87, 6, {1})));
    EXPECT_TRUE(log.Contains("Error funcID"));
}

// A mesh switch request answered 1 by the companion `c`: returns the bytes the agent sent.
size_t MeshSwitchExchange(RawCompanion& c) {
    uint8_t value = 0;
    unsigned ret = 1;
    std::thread req([&] { ret = ComF_get_mesh_switch(&value); });
    size_t sent = c.Read(15).size();
    c.Send(CompanionFrame(73, 1000, {0, 1}));
    req.join();
    EXPECT_EQ(ret, 0u);
    EXPECT_EQ(value, 1);
    return sent;
}

TEST_F(CommServerTest, RandomBytesLeaveTheServerServing) {
    std::mt19937 rng(12345);
    {
        RawCompanion noisy;
        ASSERT_TRUE(Attach(noisy));
        for (int i = 0; i < 300; ++i) {
            Bytes junk(1 + rng() % 9000);
            for (uint8_t& b : junk)
                b = static_cast<uint8_t>(rng());
            if (i % 3 == 0 && junk.size() >= 14) junk[0] = junk[1] = 0x5A;
            ASSERT_TRUE(noisy.Send(junk));
        }
        ASSERT_TRUE(Detach(noisy));
    }
    RawCompanion c;
    ASSERT_TRUE(Attach(c));
    EXPECT_EQ(MeshSwitchExchange(c), 15u);
}

// A daemon started with standard input closed gets descriptor 0 for its companion: it is served.
TEST_F(CommServerTest, CompanionOnDescriptorZeroIsServed) {
    ASSERT_TRUE(SpinUntil([] { return access(Paths().commServer.c_str(), F_OK) == 0; }));
    RawCompanion c;
    c.Open();  // before 0 is freed, so that the agent's accept takes it
    int savedStdin = dup(0);
    ASSERT_GE(savedStdin, 0);
    close(0);
    bool connected =
        c.Connect(Paths().commServer) && SpinUntil([] { return InstanceSocket.load() >= 0; });
    int served = InstanceSocket.load();
    size_t sent = connected ? MeshSwitchExchange(c) : 0;
    Detach(c);
    dup2(savedStdin, 0);
    close(savedStdin);
    ASSERT_TRUE(connected);
    EXPECT_EQ(served, 0);
    EXPECT_EQ(sent, 15u);
}

// A companion that stops reading: a frame is sent whole or the connection is shut down right
// after its cut prefix, never followed by more bytes.
TEST_F(CommServerTest, FrameToACompanionThatStopsReadingIsWholeOrTheLast) {
    Accelerate(20.0);
    RawCompanion c;
    ASSERT_TRUE(Attach(c));
    Bytes big(4 << 20, 0x5A);  // far more than any socket buffer
    {
        std::lock_guard<std::mutex> g(CommSendMutex);  // as every sender holds it
        EXPECT_EQ(-1, CommServerSend(big.data(), big.size()));
        EXPECT_EQ(-1, CommServerSend(big.data(), 1));  // the connection is gone: nothing goes
    }
    Bytes got = c.Read(big.size());
    EXPECT_LT(got.size(), big.size());
    EXPECT_TRUE(c.ClosedByPeer());
}

TEST_F(CommServerTest, ThousandConnectionsLeaveNothingBehind) {
    size_t threads = CountEntries("/proc/self/task");  // the server's own, no client yet
    RawCompanion warm;
    ASSERT_TRUE(Attach(warm));
    ASSERT_TRUE(Detach(warm));
    size_t fds = CountEntries("/proc/self/fd");
    for (int i = 0; i < 1000; ++i) {
        RawCompanion c;
        ASSERT_TRUE(Attach(c)) << i;
        ASSERT_TRUE(Detach(c)) << i;
    }
    ExpectNothingLeft(threads, fds);
    RawCompanion last;
    EXPECT_TRUE(Attach(last));
}

TEST(CommServerLifecycleTest, StopEndsEveryThreadAndStartWorksAgain) {
    testsupport::TempDir dir;
    PathsRelocate(dir.path());
    ASSERT_EQ(CommServerStart(), 0);  // a first cycle, so that runtime helper threads exist
    CommServerStop();
    size_t threads = CountEntries("/proc/self/task");
    size_t fds = CountEntries("/proc/self/fd");
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(CommServerStart(), 0);
        RawCompanion c;  // stopped while a companion is connected
        ASSERT_TRUE(SpinUntil([&] { return c.Connect(Paths().commServer); }));
        ASSERT_TRUE(SpinUntil([] { return InstanceSocket.load() >= 0; }));
        CommServerStop();
        EXPECT_TRUE(c.ClosedByPeer());
    }
    ExpectNothingLeft(threads, fds);
    EXPECT_NE(access(Paths().commServer.c_str(), F_OK), 0);
    PathsRelocate("");
}

TEST(CommServerLifecycleTest, BindFailureEndsOnlyTheAcceptThread) {
    PathsRelocate("/nonexistent-dir-for-comm-test");
    LogCapture log;
    ASSERT_EQ(CommServerStart(), 0);
    EXPECT_TRUE(SpinUntil([&] { return log.Contains("bind failed"); }));
    EXPECT_EQ(CommServerStart(), -1);  // still running
    CommServerStop();
    PathsRelocate("");
}

}  // namespace
