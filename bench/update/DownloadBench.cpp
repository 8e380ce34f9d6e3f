// Download throughput of the HTTP client against busybox httpd on loopback: MB/s and the
// client's CPU time per MB (user + system of this process; the server is another process).
// Usage: download_bench [megabytes] [runs]
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>

#include "TestSupport.h"
#include "core/Log.h"
#include "core/Process.h"
#include "update/Download.h"

namespace {

double CpuSec() {
    struct rusage ru;
    getrusage(RUSAGE_SELF, &ru);
    return static_cast<double>(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) +
           static_cast<double>(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) / 1e6;
}

int FreePort() {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in a {};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
    getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
    close(fd);
    return ntohs(a.sin_port);
}

}  // namespace

int main(int argc, char** argv) {
    SetLogMask(0);
    long mb = argc > 1 ? atol(argv[1]) : 64;
    int runs = argc > 2 ? atoi(argv[2]) : 5;
    testsupport::TempDir www, out;
    std::string data(static_cast<size_t>(mb) << 20, '\0');
    std::mt19937 rng(1);
    for (char& c : data)
        c = static_cast<char>(rng());
    testsupport::WriteFile(www.File("plug.bin"), data);
    int port = FreePort();
    Process httpd;
    if (httpd.Start({"busybox", "httpd", "-f", "-p", "127.0.0.1:" + std::to_string(port), "-h",
                     www.path()}) != 0)
        return 1;
    std::string file = out.File("plug_download");
    if (!testsupport::WaitUntil(
            [&] { return DownLoadFIle("127.0.0.1", port, "/plug.bin", file.c_str()) == 0; }))
        return 1;
    printf("file %ld MB, %d runs\n", mb, runs);
    printf("run  MB/s  cpu-ms/MB\n");
    for (int i = 1; i <= runs; ++i) {
        double cpu0 = CpuSec();
        auto t0 = std::chrono::steady_clock::now();
        if (DownLoadFIle("127.0.0.1", port, "/plug.bin", file.c_str()) != 0) return 1;
        double sec = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        double cpu = CpuSec() - cpu0;
        printf("%3d %6.1f %8.2f\n", i, static_cast<double>(mb) / sec,
               cpu * 1000.0 / static_cast<double>(mb));
    }
    return 0;
}
