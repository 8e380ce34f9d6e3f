#include "core/Paths.h"

#include <cstdlib>

namespace {

RuntimePaths gPaths;

void Move(std::string& path, const std::string& dir) {
    const std::string tmp = "/tmp/";
    if (path.compare(0, tmp.size(), tmp) == 0) path = dir + "/" + path.substr(tmp.size());
}

}  // namespace

const RuntimePaths& Paths() {
    return gPaths;
}

void PathsRelocate(const std::string& dir) {
    gPaths = RuntimePaths();
    if (dir.empty()) return;
    for (std::string* p :
         {&gPaths.plugConf, &gPaths.plugStatus, &gPaths.commServer, &gPaths.macConfig,
          &gPaths.tmpSubdev, &gPaths.plugDownload, &gPaths.tracerouteFile, &gPaths.rateFile})
        Move(*p, dir);
}

void PathsInitFromEnv() {
    const char* dir = std::getenv("PLUG_RUNTIME_DIR");
    if (dir && *dir) PathsRelocate(dir);
    const char* arp = std::getenv("PLUG_ARP_TABLE");
    if (arp && *arp) PathsSetArpTable(arp);
}

void PathsSetArpTable(const std::string& path) {
    gPaths.arpTable = path.empty() ? RuntimePaths().arpTable : path;
}
