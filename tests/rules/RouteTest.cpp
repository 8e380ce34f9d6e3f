// Port mappings: the iptables argument vectors (a fake iptables first on PATH records them), the
// refusal of bad payloads before anything runs, and, as root, the real nat table of a private
// network namespace.
#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../support/TestSupport.h"
#include "core/Process.h"
#include "rules/RouteFunc.h"

namespace {

using Lines = std::vector<std::string>;

Lines SplitLines(const std::string& text) {
    std::istringstream in(text);
    Lines out;
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

// Puts a fake iptables first on PATH for its life; each run appends its arguments, separated by
// '|', as one line of the record.
class FakeIptables {
public:
    FakeIptables() : oldPath_(getenv("PATH") ? getenv("PATH") : "") {
        std::string tool = dir_.File("iptables");
        testsupport::WriteFile(tool, "#!/bin/sh\nfor a in \"$@\"; do printf '%s|' \"$a\" >> \"" +
                                         dir_.File("argv") + "\"; done\necho >> \"" +
                                         dir_.File("argv") + "\"\n");
        chmod(tool.c_str(), 0755);
        setenv("PATH", (dir_.path() + ":" + oldPath_).c_str(), 1);
    }
    ~FakeIptables() { setenv("PATH", oldPath_.c_str(), 1); }
    Lines Runs() const { return SplitLines(testsupport::ReadFile(dir_.File("argv"))); }

private:
    testsupport::TempDir dir_;
    std::string oldPath_;
};

std::string Mapping(const std::string& flag, const std::string& preIp = "\"10.0.0.1\"",
                    const std::string& prePort = "\"8080\"",
                    const std::string& postIp = "\"192.168.1.5\"",
                    const std::string& postPort = "\"80\"") {
    std::string e;
    auto add = [&e](const char* name, const std::string& v) {
        if (v != "~") e += std::string(e.empty() ? "" : ",") + "\"" + name + "\":" + v;
    };
    add("FLAG", flag);
    add("PRE_IP", preIp);
    add("PRE_PORT", prePort);
    add("POST_IP", postIp);
    add("POST_PORT", postPort);
    return "{" + e + "}";
}

const char* const kDelPre =
    "-t|nat|-D|PREROUTING|-d|10.0.0.1|-p|tcp|-m|tcp|--dport|8080|-j|DNAT|--to-destination|"
    "192.168.1.5:80|";
const char* const kDelPost =
    "-t|nat|-D|POSTROUTING|-d|192.168.1.5|-p|tcp|-m|tcp|--dport|80|-j|SNAT|--to-source|"
    "10.0.0.1:8080|";
const char* const kAddPre =
    "-t|nat|-A|PREROUTING|-d|10.0.0.1|-p|tcp|-m|tcp|--dport|8080|-j|DNAT|--to-destination|"
    "192.168.1.5:80|";
const char* const kAddPost =
    "-t|nat|-A|POSTROUTING|-d|192.168.1.5|-p|tcp|-m|tcp|--dport|80|-j|SNAT|--to-source|"
    "10.0.0.1:8080|";

struct RouteCase {
    const char* name;
    std::string payload;  // "(none)": no payload
    int result;
    const char* log;
    Lines runs;
};

TEST(PortMapping, ArgumentVectorsResultsAndRefusals) {
    const std::string longIp = "\"" + std::string(40, '1') + "\"";
    const RouteCase cases[] = {
        {"add: deletions first, then additions",
         Mapping("\"1\""),
         0,
         " route_cmd1: \niptables -t nat -A PREROUTING -d 10.0.0.1 -p tcp -m tcp --dport 8080 -j "
         "DNAT --to-destination 192.168.1.5:80",
         {kDelPre, kDelPost, kAddPre, kAddPost}},
        {"only the first character of FLAG counts",
         Mapping("\"10\""),
         0,
         " FLAG = [1]",
         {kDelPre, kDelPost, kAddPre, kAddPost}},
        {"delete",
         Mapping("\"0\""),
         0,
         " route_cmd2: \niptables -t nat -D POSTROUTING -d 192.168.1.5 -p tcp -m tcp --dport 80 "
         "-j SNAT --to-source 10.0.0.1:8080",
         {kDelPre, kDelPost}},
        {"no payload", "(none)", -1, ": error = [-1]", {}},
        {"not JSON", "{", -2, ": error = [-2]", {}},
        {"FLAG missing", Mapping("~"), -3, ": error = [-3]", {}},
        {"POST_PORT missing",
         Mapping("\"1\"", "\"10.0.0.1\"", "\"8080\"", "\"192.168.1.5\"", "~"),
         -7,
         ": error = [-7]",
         {}},
        {"PRE_PORT not a string", Mapping("\"1\"", "\"10.0.0.1\"", "8080"), -5, "error = [-5]", {}},
        {"unknown FLAG", Mapping("\"2\""), -8, ": error = [-8]", {}},
        {"shell text in an address",
         Mapping("\"1\"", "\"10.0.0.1;reboot\""),
         -9,
         "Wrong route param",
         {}},
        {"address longer than its variable", Mapping("\"1\"", longIp), -9, "error = [-9]", {}},
        {"port 0", Mapping("\"0\"", "\"10.0.0.1\"", "\"0\""), -9, "error = [-9]", {}},
        {"port 65536",
         Mapping("\"1\"", "\"10.0.0.1\"", "\"80\"", "\"192.168.1.5\"", "\"65536\""),
         -9,
         "error = [-9]",
         {}},
        {"address part above 255",
         Mapping("\"1\"", "\"10.0.0.1\"", "\"80\"", "\"192.168.1.256\""),
         -9,
         "error = [-9]",
         {}},
    };
    for (const RouteCase& c : cases) {
        SCOPED_TRACE(c.name);
        FakeIptables iptables;
        testsupport::LogCapture log;
        EXPECT_EQ(c.result, ParseRouteParam(c.payload == "(none)" ? nullptr : c.payload.c_str()));
        EXPECT_TRUE(log.Contains(c.log)) << log.Text();
        EXPECT_EQ(c.runs, iptables.Runs());
    }
}

// The nat table of a network namespace made for the test, with the real iptables.
class NatNamespace {
public:
    NatNamespace() : name_("plugrules" + std::to_string(getpid())) {
        ok_ = RunProcess({"ip", "netns", "add", name_}) == 0;
    }
    ~NatNamespace() {
        if (ok_) RunProcess({"ip", "netns", "del", name_});
    }
    bool ok() const { return ok_; }

    // Runs ParseRouteParam(payload) in a child process that has joined the namespace.
    int ParseInside(const std::string& payload) const {
        pid_t pid = fork();
        if (pid == 0) {
            int fd = open(("/run/netns/" + name_).c_str(), O_RDONLY | O_CLOEXEC);
            if (fd < 0 || setns(fd, CLONE_NEWNET) != 0) _exit(100);
            _exit(ParseRouteParam(payload.c_str()) == 0 ? 0 : 101);
        }
        int status = -1;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // The rules of the nat table ("-A ..." lines of `iptables -t nat -S`).
    Lines Rules() const {
        testsupport::TempDir dir;
        RunProcess({"ip", "netns", "exec", name_, "iptables", "-t", "nat", "-S"},
                   {ProcessOutput::kFile, dir.File("nat")});
        Lines out;
        for (const std::string& line : SplitLines(testsupport::ReadFile(dir.File("nat"))))
            if (line.rfind("-A ", 0) == 0) out.push_back(line);
        return out;
    }

private:
    std::string name_;
    bool ok_ = false;
};

TEST(PortMapping, RealNatTableInANetworkNamespace) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root for a network namespace";
    if (RunProcess({"iptables", "--version"}, {ProcessOutput::kFile, "/dev/null"}) != 0)
        GTEST_SKIP() << "iptables is not installed (scripts/install-deps.sh)";
    NatNamespace ns;
    ASSERT_TRUE(ns.ok()) << "ip netns add failed";
    const Lines mapped = {
        "-A PREROUTING -d 10.0.0.1/32 -p tcp -m tcp --dport 8080 -j DNAT --to-destination "
        "192.168.1.5:80",
        "-A POSTROUTING -d 192.168.1.5/32 -p tcp -m tcp --dport 80 -j SNAT --to-source "
        "10.0.0.1:8080"};
    ASSERT_EQ(0, ns.ParseInside(Mapping("\"1\"")));
    EXPECT_EQ(mapped, ns.Rules());
    ASSERT_EQ(0, ns.ParseInside(Mapping("\"1\"")));
    EXPECT_EQ(mapped, ns.Rules()) << "a second add leaves one copy";
    ASSERT_EQ(0, ns.ParseInside(Mapping("\"0\"")));
    EXPECT_EQ(Lines{}, ns.Rules());
}

}  // namespace
