// The runtime files of the agent, with their literal defaults. PLUG_RUNTIME_DIR=DIR in the
// environment (applied once by PathsInitFromEnv) moves every "/tmp/..." file into DIR, so tests
// run in parallel and without root.
#pragma once

#include <string>

struct RuntimePaths {
    std::string plugConf = "/tmp/plug.conf";          // second choice of NewProgramProfile
    std::string localConf = "./plug.conf";            // last choice, relative to the cwd
    std::string plugStatus = "/tmp/plugstatus";       // status file
    std::string commServer = "/tmp/CommServer";       // companion socket
    std::string macConfig = "/tmp/macconfig";         // reported-device list
    std::string tmpSubdev = "/tmp/tmpSubdev";         // ARP scan output
    std::string plugDownload = "/tmp/plug_download";  // downloaded plug-in
    std::string tracerouteFile = "/tmp/tracerouteFile";
    std::string rateFile = "/tmp/rate";
    // The kernel's ARP table read by the sub-device monitor; not moved by PLUG_RUNTIME_DIR.
    // PLUG_ARP_TABLE=FILE in the environment (or PathsSetArpTable) points it elsewhere.
    std::string arpTable = "/proc/net/arp";
};

const RuntimePaths& Paths();
// Moves every "/tmp/..." path into `dir` (empty: back to the defaults).
void PathsRelocate(const std::string& dir);
void PathsInitFromEnv();
void PathsSetArpTable(const std::string& path);
