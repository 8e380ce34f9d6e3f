// A private simulated router for the rule and access-time tests: the SDK simulator's bundled
// state copied into a temporary directory, with its call log beside it.
#pragma once

#include <cjson/cJSON.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "../support/TestSupport.h"

namespace rulestest {

class SimRouter {
public:
    SimRouter() {
        testsupport::WriteFile(dir_.File("state.json"),
                               testsupport::ReadFile(PLUG_SDK_DEFAULT_STATE_FILE));
        setenv("PLUG_SDK_STATE", dir_.File("state.json").c_str(), 1);
        setenv("PLUG_SDK_CALL_LOG", dir_.File("calls.log").c_str(), 1);
    }
    ~SimRouter() {
        unsetenv("PLUG_SDK_STATE");
        unsetenv("PLUG_SDK_CALL_LOG");
    }
    SimRouter(const SimRouter&) = delete;
    SimRouter& operator=(const SimRouter&) = delete;

    // The call-log lines that start with `prefix` ("set_" for the setters), in order.
    std::vector<std::string> Calls(const std::string& prefix = "") const {
        std::istringstream in(testsupport::ReadFile(dir_.File("calls.log")));
        std::vector<std::string> out;
        for (std::string line; std::getline(in, line);)
            if (line.rfind(prefix, 0) == 0) out.push_back(line);
        return out;
    }
    void ClearCalls() const { testsupport::WriteFile(dir_.File("calls.log"), ""); }

    // An integer member of the attached device `mac` in the state file; -1 when absent.
    int DeviceValue(const std::string& mac, const char* member) const {
        cJSON* root = cJSON_Parse(testsupport::ReadFile(dir_.File("state.json")).c_str());
        int value = -1;
        const cJSON* dev = nullptr;
        cJSON_ArrayForEach(dev, cJSON_GetObjectItem(root, "devices")) {
            const cJSON* m = cJSON_GetObjectItem(dev, "mac");
            const cJSON* v = cJSON_GetObjectItem(dev, member);
            if (cJSON_IsString(m) && mac == m->valuestring && cJSON_IsNumber(v))
                value = v->valueint;
        }
        cJSON_Delete(root);
        return value;
    }

private:
    testsupport::TempDir dir_;
};

}  // namespace rulestest
