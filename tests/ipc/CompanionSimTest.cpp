// The companion simulator against the real server: answers, control lines and its frame log.
#include <unistd.h>

#include <cstdio>

#include "CommServerFixture.h"
#include "CompanionSim.h"
#include "ipc/AutoReport.h"
#include "ipc/ComF.h"

namespace {

class CompanionSimTest : public CommServerTest {
protected:
    void SetUp() override {
        CommServerTest::SetUp();
        out = tmpfile();
        sim = std::make_unique<companionsim::CompanionSim>(out);
        ASSERT_TRUE(SpinUntil([&] { return sim->Connect(Paths().commServer) == 0; }));
        ASSERT_TRUE(SpinUntil([] { return InstanceSocket.load() >= 0; }));
        runner = std::thread([this] { sim->Run(run); });
    }
    void TearDown() override {
        run.store(0);
        runner.join();
        sim.reset();
        fclose(out);
        CommServerTest::TearDown();
    }
    // Reads what the simulator printed without moving the stream it still writes to (a rewind
    // would make its next line overwrite the first ones).
    std::string Printed() {
        fflush(out);
        std::string text;
        char buf[512];
        off_t at = 0;
        for (ssize_t n; (n = pread(fileno(out), buf, sizeof buf, at)) > 0; at += n)
            text.append(buf, static_cast<size_t>(n));
        return text;
    }
    FILE* out = nullptr;
    std::unique_ptr<companionsim::CompanionSim> sim;
    std::atomic<int> run{1};
    std::thread runner;
};

TEST_F(CompanionSimTest, AnswersWithItsStateAndPrintsEachFrame) {
    uint8_t mesh = 9;
    EXPECT_EQ(ComF_set_mesh_switch(1), 0u);
    EXPECT_EQ(ComF_get_mesh_switch(&mesh), 0u);
    EXPECT_EQ(mesh, 1);
    sim->Control("status 4");
    EXPECT_EQ(ComF_get_mesh_switch(&mesh), 4u);
    sim->Control("status 0");
    EXPECT_EQ(ComF_get_autoreport_conf(), 0u);  // the 997 answer's own status
    EXPECT_EQ(referNum.load(), 1000);
    EXPECT_EQ(CommJumpTimeText(), "22:00-06:00");
    std::string printed = Printed();
    EXPECT_NE(printed.find("RX func=72 seq=1 len=1 sum=0x0001 data=01\n"), std::string::npos);
    EXPECT_NE(printed.find("RX func=73 seq=2 len=1 sum=0x0069 data=69 text=i\n"),
              std::string::npos);
    EXPECT_NE(printed.find("TX func=73 seq=2 len=2 sum=0x0001 data=0001\n"), std::string::npos);
}

TEST_F(CompanionSimTest, PushedReportsReachTheFrameHandler) {
    testsupport::LogCapture log;
    ASSERT_EQ(sim->Control("push 999 09"), 0);
    EXPECT_TRUE(SpinUntil([&] { return log.Contains("update firmware file error."); }));
    ASSERT_EQ(sim->Control("push 89 07"), 0);
    EXPECT_TRUE(SpinUntil([&] { return log.Contains("ERROR: type error!"); }));
    EXPECT_EQ(sim->Control("set nothing 1"), -1);
    ASSERT_EQ(sim->Control("status 6 83"), 0);  // one function only
    EXPECT_EQ(ComF_trig_onekey_optimize(), 6u);
    EXPECT_EQ(ComF_trig_fault_diagnosis(), 0u);
}

}  // namespace
