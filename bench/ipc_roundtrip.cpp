// Round trip of function 73 through the companion: the function row asks ComF_get_mesh_switch,
// the companion simulator answers at once over the Unix socket, the row builds its answer.
//   ipc_roundtrip [iterations]
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "CompanionSim.h"
#include "core/Globals.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "functions/CompanionRows.h"
#include "ipc/CommServer.h"

namespace {

double Percentile(std::vector<double> v, double p) {
    std::sort(v.begin(), v.end());
    size_t i = static_cast<size_t>(p * static_cast<double>(v.size() - 1));
    return v[i];
}

}  // namespace

int main(int argc, char** argv) {
    int iterations = argc > 1 ? std::atoi(argv[1]) : 2000;
    char dir[] = "/tmp/ipc_roundtrip.XXXXXX";
    if (!mkdtemp(dir)) return 1;
    SetLogMask(0);
    PathsRelocate(dir);
    mLogin.store(1);
    if (CommServerStart() != 0) return 1;
    FILE* sink = fopen("/dev/null", "w");
    companionsim::CompanionSim sim(sink);
    sim.Control("set mesh 1");
    while (sim.Connect(Paths().commServer) != 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    while (InstanceSocket.load() < 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::atomic<int> run{1};
    std::thread companion([&] { sim.Run(run); });

    const uint8_t req[10] = {0x01, 0x00, 73, 0, 0, 0, 0, 0, 0, 0};
    std::vector<uint8_t> ans(8192);
    std::vector<double> us;
    int failures = 0;
    for (int i = 0; i < iterations; ++i) {
        FnCall call{req, sizeof req, ans.data(), 0};
        auto t0 = std::chrono::steady_clock::now();
        Fn73GetMeshSwitch(call);
        auto t1 = std::chrono::steady_clock::now();
        if (call.ansLen != 7 || ans[4] != 0 || ans[6] != 1) ++failures;
        us.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    }
    run.store(0);
    companion.join();
    sim.Close();
    CommServerStop();
    fclose(sink);
    rmdir(dir);
    printf("function 73 round trip via companion, %d calls, %d failed\n", iterations, failures);
    printf("p50 %.1f us  p90 %.1f us  p99 %.1f us  max %.1f us\n", Percentile(us, 0.5),
           Percentile(us, 0.9), Percentile(us, 0.99), Percentile(us, 1.0));
    return failures == 0 ? 0 : 1;
}
