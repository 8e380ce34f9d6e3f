// A router for the function-call and rule tests: the SDK simulator over a private state file and
// call log, fake tools first on PATH, and one function call with a request buffer of exactly the
// received size.
#pragma once

#include <cjson/cJSON.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../support/TestSupport.h"
#include "core/Limits.h"
#include "functions/ProtoolSdk.h"

namespace fntest {

using Bytes = std::vector<uint8_t>;
using testsupport::Hex;

// An expected answer of `len` zero bytes that is filled at documented offsets.
struct Image {
    explicit Image(size_t len) : bytes(len, 0) {}
    Image& At(size_t off, const Bytes& b) {
        std::copy(b.begin(), b.end(), bytes.begin() + static_cast<long>(off));
        return *this;
    }
    Image& Text(size_t off, const std::string& t) { return At(off, Bytes(t.begin(), t.end())); }
    Bytes bytes;
};

// A request: tag AB CD, the function ID, bytes 4-9 zero, then `params`.
inline Bytes Request(uint16_t id, const Bytes& params = {}) {
    return testsupport::Cat({0xAB, 0xCD, uint8_t(id), uint8_t(id >> 8), 0, 0, 0, 0, 0, 0}, params);
}

struct Answer {
    int ret = 0;
    Bytes bytes;
};

// Runs ParserProtoolData on a heap copy of exactly `req` (so over-reads are caught by ASan).
inline Answer Call(const Bytes& req) {
    std::unique_ptr<uint8_t[]> in(new uint8_t[req.size()]);
    if (!req.empty()) memcpy(in.get(), req.data(), req.size());
    std::unique_ptr<uint8_t[]> ans(new uint8_t[limits::kAnswerBufSize]());
    size_t len = 0;
    Answer a;
    a.ret = ParserProtoolData(in.get(), req.size(), ans.get(), &len);
    a.bytes.assign(ans.get(), ans.get() + len);
    return a;
}

// The router every function-call test starts from. Members left out read as 0, empty or 0.0.0.0;
// an entry's index is its position.
inline const char* const kTestState = R"({
  "identity": {"version": "V1.2", "version_date": [22, 12, 27, 5], "sn": "SN42", "vendor": "Acme",
   "model": "R1", "pin": "12345678", "is_plug": 1, "ipv6": 1, "cpu": {"model": "A53",
   "freq_mhz": 1300, "cores": 4}, "mem": {"size_kb": 262144, "type": "DDR3"}, "name": "home"},
  "wans": [{"enable": 1, "vlan_id": 258, "mtu": 1492, "conn_type": 2, "name": "INTERNET",
   "pppoe_user": "u", "pppoe_password": "p", "mac": "00:1A:2B:3C:4D:5F", "ip": "100.64.23.7",
   "mask": "255.255.255.255", "gateway": "100.64.0.1", "dns1": "8.8.8.8", "dns2": "8.8.4.4",
   "link_speed": 1000, "nat": 1, "tcp_con": 57, "udp_con": 16909060,
   "rx_bytes": "72623859790382856", "status": 1}, {"vlan_id": 45, "mtu": 1500, "name": "IPTV",
   "mac": "00:1A:2B:3C:4D:60", "ip": "10.20.30.40", "mask": "255.255.0.0",
   "gateway": "10.20.0.1", "link_speed": 100}],
  "lan": {"ip": "192.168.1.1", "mask": "255.255.255.0", "dhcp": 1, "lease_sec": 86400},
  "lan_ports": [{"up_flow": 258, "down_flow": "72623859790382856", "status": 1},
   {"down_flow": 1}],
  "link_speeds": [1000, 100, 10],
  "wlans": [{"enable": 1, "channel": 6, "bandwidth": 1, "tx_power": 100, "ssid_num": 2},
   {"band": 1, "enable": 1, "channel": 149, "bandwidth": 2, "tx_power": 80, "ssid_num": 1}],
  "ssids": [{"ssid": "Home", "password": "secret", "encrypt": 2, "auth": 1, "enable": 1,
   "channel": 6, "max_clients": 32, "beacon_interval": 100, "guest_ip": "192.168.100.1",
   "guest_mask": "255.255.255.0"}, {"ssid": "Guest", "password": "guest", "encrypt": 1,
   "auth": 1, "isolate": 1, "channel": 6, "max_clients": 8, "beacon_interval": 100}],
  "wifi": {"radio": 1, "wps": 1, "modules": [1, 0, 1, 1]},
  "adj_wifi": [{"bssid": "C8:3A:35:10:22:01", "ssid": "Tenda", "rssi": -61, "channel": 1,
   "encrypt": 1}],
  "services": {"ftp": {"user": "ftpuser", "password": "ftp-pass"}, "samba": {"enable": 1,
   "user": "share", "password": "smb"}, "telnet": {"enable": 1, "user": "admin",
   "password": "tel"}},
  "dns": {"dns1": "202.96.128.86", "dns2": "202.96.134.133"},
  "devices": [{"mac": "3C:22:FB:91:0A:11", "name": "phone", "conn_type": 2, "band": 1,
   "access_control": 1, "attribute": 1, "rssi": -48, "link_rate": 866, "ip": "192.168.1.100",
   "us_bw": 12000, "ds_bw": 350000, "us_max_bw": 51200, "ds_max_bw": 1048576}],
  "black_list": ["DC:A6:32:01:66:05"],
  "load": {"cpu_use": 17, "mem_use": 43}, "time": {"duration": 183045},
  "flows": {"down_rate": 2870120, "up_rate": 60080}, "fail": {}
})";

// A private simulated router over `state` and its own call log; Edit() rewrites the state.
class SimRouter {
public:
    explicit SimRouter(const std::string& state = kTestState) {
        SetState(state);
        setenv("PLUG_SDK_STATE", dir_.File("state.json").c_str(), 1);
        setenv("PLUG_SDK_CALL_LOG", dir_.File("calls.log").c_str(), 1);
    }
    ~SimRouter() {
        unsetenv("PLUG_SDK_STATE");
        unsetenv("PLUG_SDK_CALL_LOG");
    }
    void Edit(const std::function<void(cJSON* root)>& edit) {
        cJSON* root = cJSON_Parse(testsupport::ReadFile(dir_.File("state.json")).c_str());
        edit(root);
        char* text = cJSON_Print(root);
        testsupport::WriteFile(dir_.File("state.json"), text);
        free(text);
        cJSON_Delete(root);
    }
    void Fail(const std::string& sdkName, int status) {
        Edit([&](cJSON* root) {
            cJSON_AddNumberToObject(cJSON_GetObjectItem(root, "fail"), sdkName.c_str(), status);
        });
    }
    void SetState(const std::string& state) const {
        testsupport::WriteFile(dir_.File("state.json"), state);
    }
    std::string CallLog() const { return testsupport::ReadFile(dir_.File("calls.log")); }
    void ClearCalls() const { testsupport::WriteFile(dir_.File("calls.log"), ""); }
    const testsupport::TempDir& dir() const { return dir_; }

private:
    testsupport::TempDir dir_;
};

// Executable scripts `text` named after each tool, in a directory put first on PATH until the
// object goes; FAKE_DIR names that directory for the scripts.
class FakeTools {
public:
    FakeTools(std::initializer_list<const char*> tools, const std::string& text)
        : path_(getenv("PATH")) {
        for (const char* tool : tools) {
            testsupport::WriteFile(dir_.File(tool), text);
            chmod(dir_.File(tool).c_str(), 0755);
        }
        setenv("FAKE_DIR", dir_.path().c_str(), 1);
        setenv("PATH", (dir_.path() + ":" + path_).c_str(), 1);
    }
    ~FakeTools() {
        setenv("PATH", path_.c_str(), 1);
        unsetenv("FAKE_DIR");
    }
    const testsupport::TempDir& dir() const { return dir_; }

private:
    testsupport::TempDir dir_;
    std::string path_;
};

}  // namespace fntest
