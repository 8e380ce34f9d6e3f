// The platformsim tool as a person or a script runs it: ports file, FIFO commands, quit.
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

void Command(const std::string& fifo, const std::string& line) {
    int fd = open(fifo.c_str(), O_WRONLY);
    ASSERT_GE(fd, 0);
    std::string text = line + "\n";
    EXPECT_EQ(write(fd, text.data(), text.size()), ssize_t(text.size()));
    close(fd);
}

TEST(SimTool, PortsFileFifoCommandsAndQuit) {
    testsupport::TempDir dir;
    std::string fifo = dir.File("ctl");
    std::string out = dir.File("sim.out");
    testsupport::Child sim({PLATFORMSIM_PATH, "--interval", "30", "--reg-mode", "silent", "--fifo",
                            fifo, "--ports-file", dir.File("ports"), "--no-stdin"},
                           {}, out);
    ASSERT_TRUE(
        testsupport::WaitUntil([&] { return !testsupport::ReadFile(dir.File("ports")).empty(); }));
    std::string ports = testsupport::ReadFile(dir.File("ports"));
    EXPECT_EQ(ports.rfind("reg=", 0), 0u) << ports;
    EXPECT_NE(ports.find("\nlogin="), std::string::npos) << ports;
    for (const char* line : {"set interval 5", "call 2", "bogus", "quit"})
        Command(fifo, line);
    int status = -1;
    ASSERT_TRUE(sim.Wait(std::chrono::seconds(10), &status));
    EXPECT_EQ(status, 0);
    std::string text = testsupport::ReadFile(out);
    for (const char* want : {"LISTEN reg=127.0.0.1:", "OK set interval",
                             "ERR no connection for call", "ERR unknown command bogus", "OK quit"})
        EXPECT_NE(text.find(want), std::string::npos) << want << "\n" << text;
}

}  // namespace
