#include "core/Globals.h"

#include <unistd.h>

#include <cstdio>

std::atomic<int> l_debug{0};
char l_config_file[limits::kConfigPathSize];
uint8_t l_mac[limits::kMacSize];
char gSN[limits::kSnSize];
std::atomic<int> runMode{1};
char RegisterIpAddr1[limits::kServerNameSize];
char RegisterIpAddr2[limits::kServerNameSize];
std::atomic<int> mLogin{0};

void PlugExit(int status) {
    fflush(stdout);
    fflush(stderr);
    _exit(status & 0xFF);
}
