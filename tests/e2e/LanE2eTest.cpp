// The full device list (function 64 asks, function 63 answers) from the simulated router and
// the kernel's own ARP table of a private network namespace, through the agent binary. Merging
// and filtering rules are proven by the LAN tests over fixture tables.
#include <unistd.h>

#include "AgentHarness.h"
#include "SimCommand.h"
#include "core/Process.h"

namespace e2e {
namespace {

constexpr double kScale = 10;
constexpr int kWaitMs = 20000;

bool Ip(const std::vector<std::string>& args) {
    std::vector<std::string> argv{"ip"};
    argv.insert(argv.end(), args.begin(), args.end());
    return RunProcess(argv) == 0;
}

std::string IpPath() {
    for (const char* p : {"/usr/sbin/ip", "/sbin/ip", "/usr/bin/ip", "/bin/ip"})
        if (access(p, X_OK) == 0) return p;
    return "ip";
}

// A network namespace with a veth pair on 192.168.1.1/24 and permanent neighbour entries, and a
// process living in it whose /proc/PID/net/arp is the namespace's ARP table.
class ArpNamespace {
public:
    bool Create() {
        ns_ = "plugtest" + std::to_string(getpid());
        Ip({"netns", "del", ns_});
        if (!Ip({"netns", "add", ns_})) return false;
        const std::vector<std::vector<std::string>> steps = {
            {"link", "add", "veth0", "type", "veth", "peer", "name", "veth1"},
            {"addr", "add", "192.168.1.1/24", "dev", "veth0"},
            {"link", "set", "veth0", "up"},
            {"link", "set", "veth1", "up"},
            Neigh("192.168.1.100", "3c:22:fb:91:0a:11"),  // also listed by the router
            Neigh("192.168.1.50", "b8:27:eb:12:34:56"),   // a name known to the router
            Neigh("192.168.1.60", "02:00:00:00:00:60"),   // unknown to the router
            Neigh("192.168.1.61", "00:00:00:00:00:00"),
            Neigh("10.9.9.9", "02:00:00:00:09:09"),  // another subnet
        };
        for (std::vector<std::string> s : steps) {
            s.insert(s.begin(), {"-n", ns_});
            if (!Ip(s)) return false;
        }
        holder_ = std::make_unique<testsupport::Child>(
            std::vector<std::string>{IpPath(), "netns", "exec", ns_, "sleep", "3600"},
            std::map<std::string, std::string>(), "/dev/null");
        arp_ = "/proc/" + std::to_string(holder_->pid()) + "/net/arp";
        return testsupport::WaitUntil([&] {
            return testsupport::ReadFile(arp_).find("02:00:00:00:09:09") != std::string::npos;
        });
    }
    ~ArpNamespace() {
        holder_.reset();
        if (!ns_.empty()) Ip({"netns", "del", ns_});
    }
    const std::string& arpTable() const { return arp_; }

private:
    static std::vector<std::string> Neigh(const std::string& ip, const std::string& mac) {
        return {"neigh", "add", ip, "lladdr", mac, "dev", "veth0", "nud", "permanent"};
    }
    std::string ns_;
    std::string arp_;
    std::unique_ptr<testsupport::Child> holder_;
};

TEST(LanE2e, FullDeviceListFromRouterAndNamespaceArpTable) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to create a network namespace";
    ArpNamespace ns;
    if (!ns.Create()) GTEST_SKIP() << "cannot create a network namespace with a veth pair here";
    psim::SimSettings s;
    s.decode = 1;
    auto sim = StartSim(s);
    AgentRun agent;
    AgentConfig cfg = ConfigFor(*sim, kScale);
    cfg.debug = false;  // outside debug mode every device is reported as allowed
    cfg.env["PLUG_ARP_TABLE"] = ns.arpTable();
    agent.Start(cfg);
    ASSERT_TRUE(WaitLoggedIn(*sim, kWaitMs));
    ASSERT_TRUE(psim::RunCommand(*sim, "fn 64", [] {}));
    ASSERT_TRUE(sim->WaitForLine("  device list: seq=0 function=63 count=7", 1, kWaitMs));
    const char* devices[] = {
        // The router's devices first, its black-listed kids-tablet included.
        "  device 0: ip=192.168.1.100 mac=3C:22:FB:91:0A:11 name=Annas-iPhone up=12000 "
        "down=350000 attached=1 allowed=1 attr=1",
        "  device 4: ip=192.168.1.104 mac=DC:A6:32:01:66:05 name=kids-tablet up=0 down=0 "
        "attached=1 allowed=1 attr=1",
        // Hosts of the subnet found only in the ARP table, in the kernel's order.
        ": ip=192.168.1.50 mac=B8:27:EB:12:34:56 name=printer up=0 down=0 attached=0 "
        "allowed=1 attr=1",
        ": ip=192.168.1.60 mac=02:00:00:00:00:60 name=unknown-device up=0 down=0 "
        "attached=0 allowed=1 attr=1",
    };
    ASSERT_TRUE(sim->WaitForLine("  device 6: ", 1, kWaitMs));
    std::string printed;
    for (const psim::SimEvent& e : sim->Events())
        if (e.line.find("  device") == 0) printed += e.line + "\n";
    for (const char* d : devices)
        EXPECT_NE(std::string::npos, printed.find(std::string(d) + "\n")) << printed;
    EXPECT_EQ(0u, sim->Count("mac=00:00:00:00:00:00"));
    EXPECT_EQ(0u, sim->Count("10.9.9.9"));
    EXPECT_EQ(0u, sim->Count("does not match the count"));
}

}  // namespace
}  // namespace e2e
