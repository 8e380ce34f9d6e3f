// Helpers of the rule and access-time tests: a private simulated router (the SDK simulator's
// bundled state and its call log in a temporary directory) and compact JSON payloads.
#pragma once

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "../support/TestSupport.h"

namespace rulestest {

using Lines = std::vector<std::string>;

// The lines of `text` that start with `prefix`.
inline Lines LinesOf(const std::string& text, const std::string& prefix = "") {
    std::istringstream in(text);
    Lines out;
    for (std::string line; std::getline(in, line);)
        if (line.rfind(prefix, 0) == 0) out.push_back(line);
    return out;
}

// "FLAG=1 UP=#5" gives {"FLAG":"1","UP":5}: string members, '#' marks a value written as it is.
inline std::string Obj(const std::string& spec) {
    std::istringstream in(spec);
    std::string out;
    for (std::string w; in >> w;) {
        std::string v = w.substr(w.find('=') + 1);
        out += (out.empty() ? "{\"" : ",\"") + w.substr(0, w.find('=')) +
               "\":" + (!v.empty() && v[0] == '#' ? v.substr(1) : "\"" + v + "\"");
    }
    return out + "}";
}

inline std::string List(const std::vector<std::string>& specs) {
    std::string out;
    for (const std::string& s : specs)
        out += (out.empty() ? "" : ",") + Obj(s);
    return "{\"LIST\":[" + out + "]}";
}

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
    // The call-log lines starting with `prefix` ("set_" for the setters), in order.
    Lines Calls(const std::string& prefix) const {
        return LinesOf(testsupport::ReadFile(dir_.File("calls.log")), prefix);
    }
    void ClearCalls() const { testsupport::WriteFile(dir_.File("calls.log"), ""); }

private:
    testsupport::TempDir dir_;
};

}  // namespace rulestest
