// Helpers of the rule and access-time tests: a private simulated router (the SDK simulator's
// bundled state and its call log in a temporary directory) and compact JSON payloads.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "../functions/FnTestSupport.h"

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

// The SDK simulator's bundled state; Calls("set_") gives the setter calls in order.
struct SimRouter : fntest::SimRouter {
    SimRouter() : fntest::SimRouter(testsupport::ReadFile(PLUG_SDK_DEFAULT_STATE_FILE)) {}
    Lines Calls(const std::string& prefix) const { return LinesOf(CallLog(), prefix); }
};

}  // namespace rulestest
