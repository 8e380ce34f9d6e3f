// The process runner: argument vectors reach the tool untouched (no shell), output goes where it
// is asked to, statuses come back, and a killed child is reaped.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "core/Process.h"
#include "TestSupport.h"

namespace {

using testsupport::ReadFile;
using testsupport::TempDir;

TEST(ProcessTest, ArgumentsAreNeverParsedByAShell) {
    TempDir dir;
    std::string out = dir.File("out");
    // A shell would run the second command and expand the variable; the runner passes both on.
    int rc = RunProcess({"printf", "%s|", "a; touch " + dir.path() + "/pwned", "$HOME"},
                        {ProcessOutput::kFile, out});
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(ReadFile(out), "a; touch " + dir.path() + "/pwned|$HOME|");
    EXPECT_NE(access((dir.path() + "/pwned").c_str(), F_OK), 0);
}

TEST(ProcessTest, PipeLinesAreCutAtTheLimitAndEndWithTheOutput) {
    Process p;
    ASSERT_EQ(p.Start({"printf", "one\n0123456789\nlast"}, {ProcessOutput::kPipe, ""}), 0);
    std::string line;
    std::vector<std::string> lines;
    while (p.ReadLine(&line, 4))
        lines.push_back(line);
    EXPECT_EQ(lines, (std::vector<std::string>{"one", "0123", "4567", "89", "last"}));
    EXPECT_EQ(p.Wait(), 0);
}

TEST(ProcessTest, StatusesOfExitSignalMissingToolAndKill) {
    EXPECT_EQ(RunProcess({"sh", "-c", "exit 3"}), 3);
    EXPECT_EQ(RunProcess({"no-such-tool-anywhere"}), 127);
    EXPECT_EQ(RunProcess({}), -1);
    Process k;
    ASSERT_EQ(k.Start({"sleep", "600"}), 0);
    k.Kill();
    EXPECT_FALSE(k.Started());
    // A signal from another thread ends a child its owner waits for.
    Process p;
    ASSERT_EQ(p.Start({"sleep", "600"}), 0);
    std::atomic<int> status{-2};
    std::thread owner([&] { status = p.Wait(); });
    p.Signal(SIGKILL);
    owner.join();
    EXPECT_EQ(status.load(), 128 + SIGKILL);
    p.Signal(SIGKILL);  // reaped: nothing to signal
    EXPECT_FALSE(p.Started());
}

TEST(ProcessTest, ChildInheritsNoDescriptorOfTheAgent) {
    // Not close-on-exec, as a careless module might leave it; high, so ls's own one is elsewhere.
    int fd = dup2(STDERR_FILENO, 100);
    ASSERT_EQ(fd, 100);
    Process p;
    ASSERT_EQ(p.Start({"ls", "/proc/self/fd"}, {ProcessOutput::kPipe, ""}), 0);
    std::string line, fds;
    while (p.ReadLine(&line, 64))
        fds += line + " ";
    p.Wait();
    close(fd);
    EXPECT_EQ(fds.find("100 "), std::string::npos) << fds;
    EXPECT_EQ(fds.rfind("0 1 2 ", 0), 0u) << fds;
}

}  // namespace
