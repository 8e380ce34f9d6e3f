// Port mappings: the iptables argument vectors (recorded by a fake iptables first on PATH), the
// refusal of bad payloads before anything runs, and, as root, the real nat table.
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "RulesTestSupport.h"
#include "core/Process.h"
#include "rules/RouteFunc.h"

namespace {

using rulestest::Lines;
using rulestest::Obj;

const std::string kMapping = " PRE_IP=10.0.0.1 PRE_PORT=8080 POST_IP=192.168.1.5 POST_PORT=80";
const std::string kPre =
    "|PREROUTING|-d|10.0.0.1|-p|tcp|-m|tcp|--dport|8080|-j|DNAT|--to-destination|192.168.1.5:80|";
const std::string kPost =
    "|POSTROUTING|-d|192.168.1.5|-p|tcp|-m|tcp|--dport|80|-j|SNAT|--to-source|10.0.0.1:8080|";
const Lines kAdd = {"-t|nat|-D" + kPre, "-t|nat|-D" + kPost, "-t|nat|-A" + kPre,
                    "-t|nat|-A" + kPost};

struct RouteCase {
    std::string payload;  // "(none)": no payload
    int result;
    const char* log;
    Lines runs;  // the fake's argument vectors, '|' after each argument
};

TEST(PortMapping, ArgumentVectorsResultsAndRefusals) {
    fntest::FakeTools fake({"iptables"},
                           "#!/bin/sh\nprintf '%s|' \"$@\" >> \"$0.argv\"; echo >> \"$0.argv\"\n");
    const std::string argv = fake.dir().File("iptables.argv");
    const std::string p = " PRE_PORT=80 POST_IP=1.2.3.4 POST_PORT=80";
    const std::string pre = "FLAG=1 PRE_IP=10.0.0.1 PRE_PORT=";
    // clang-format off
    const RouteCase cases[] = {
        {Obj("FLAG=1" + kMapping), 0, " route_cmd1: \niptables -t nat -A PREROUTING -d 10.0.0.1 "
         "-p tcp -m tcp --dport 8080 -j DNAT --to-destination 192.168.1.5:80", kAdd},
        {Obj("FLAG=10" + kMapping), 0, " FLAG = [1]", kAdd},
        {Obj("FLAG=0" + kMapping), 0, " route_cmd2: \niptables -t nat -D POSTROUTING -d "
         "192.168.1.5 -p tcp -m tcp --dport 80 -j SNAT --to-source 10.0.0.1:8080",
         {kAdd[0], kAdd[1]}},
        {"(none)", -1, " ParseRouteParam ", {}},
        {"{", -2, ": error = [-2]", {}},
        {Obj(kMapping), -3, ": error = [-3]", {}},
        {Obj(pre + "8080 POST_IP=192.168.1.5"), -7, "error = [-7]", {}},
        {Obj(pre + "#8080 POST_IP=1.2.3.4 POST_PORT=80"), -5, "[-5]", {}},
        {Obj("FLAG=2" + kMapping), -8, ": error = [-8]", {}},
        {Obj("FLAG=1 PRE_IP=10.0.0.1;reboot" + p), -9, "Wrong route param", {}},
        {Obj("FLAG=1 PRE_IP=" + std::string(40, '1') + p), -9, "error = [-9]", {}},
        {Obj("FLAG=0 PRE_IP=10.0.0.1 PRE_PORT=0 POST_IP=1.2.3.4 POST_PORT=80"), -9, "[-9]", {}},
        {Obj(pre + "80 POST_IP=1.2.3.4 POST_PORT=65536"), -9, "[-9]", {}},
        {Obj(pre + "80 POST_IP=1.2.3.256 POST_PORT=80"), -9, "[-9]", {}},
    };
    // clang-format on
    for (const RouteCase& c : cases) {
        SCOPED_TRACE(c.payload);
        unlink(argv.c_str());
        testsupport::LogCapture log;
        EXPECT_EQ(c.result, ParseRouteParam(c.payload == "(none)" ? nullptr : c.payload.c_str()));
        EXPECT_TRUE(log.Contains(c.log)) << log.Text();
        EXPECT_EQ(c.runs, rulestest::LinesOf(testsupport::ReadFile(argv)));
    }
}

// As root, the same add, repeated add and delete on the real nat table of a private network
// namespace (a child process unshares one); the table is listed after each step.
TEST(PortMapping, RealNatTableInAPrivateNetworkNamespace) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root for a network namespace";
    testsupport::TempDir dir;
    pid_t pid = fork();
    if (pid == 0) {
        int failed = unshare(CLONE_NEWNET);
        for (const char* step : {"1", "1", "0"})
            failed |= ParseRouteParam(Obj(std::string("FLAG=") + step + kMapping).c_str()) |
                      RunProcess({"iptables", "-t", "nat", "-S"},
                                 {ProcessOutput::kFile, dir.File(std::string("nat") + step)});
        _exit(failed == 0 ? 0 : 1);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    ASSERT_EQ(0, status);
    const Lines mapped = {
        "-A PREROUTING -d 10.0.0.1/32 -p tcp -m tcp --dport 8080 -j DNAT --to-destination "
        "192.168.1.5:80",
        "-A POSTROUTING -d 192.168.1.5/32 -p tcp -m tcp --dport 80 -j SNAT --to-source "
        "10.0.0.1:8080"};
    EXPECT_EQ(mapped, rulestest::LinesOf(testsupport::ReadFile(dir.File("nat1")), "-A "))
        << "a second add leaves one copy";
    EXPECT_EQ(Lines{}, rulestest::LinesOf(testsupport::ReadFile(dir.File("nat0")), "-A "));
}

}  // namespace
