#include "SimCommand.h"

#include <cstdlib>
#include <map>
#include <sstream>
#include <vector>

#include "FuncDecode.h"
#include "SimPlugData.h"

namespace psim {

namespace {

using Args = std::vector<std::string>;

bool ToNum(const std::string& s, long lo, long hi, long* out) {
    if (s.empty()) return false;
    char* end = nullptr;
    long v = strtol(s.c_str(), &end, 0);
    if (*end != '\0' || v < lo || v > hi) return false;
    *out = v;
    return true;
}

// Hex argument, "-" for none.
bool HexArg(const std::string& s, Bytes* out) {
    if (s == "-") {
        out->clear();
        return true;
    }
    return ParseHex(s, out);
}

// The text after the first `skip` words of the line.
std::string Rest(const std::string& line, size_t skip) {
    size_t pos = 0;
    for (size_t i = 0; i < skip; ++i) {
        pos = line.find_first_not_of(' ', pos);
        pos = line.find(' ', pos);
        if (pos == std::string::npos) return "";
    }
    return line.substr(pos + 1);
}

std::string CmdCall(PlatformSim& sim, const Args& a, const std::string&) {
    long fid;
    if (a.size() < 2 || !ToNum(a[1], 0, 65535, &fid)) return "ERR usage: call <fid> [hex...]";
    Bytes params;
    for (size_t i = 2; i < a.size(); ++i) {
        Bytes part;
        if (!ParseHex(a[i], &part)) return "ERR bad hex " + a[i];
        params.insert(params.end(), part.begin(), part.end());
    }
    int tag = sim.Call(static_cast<uint16_t>(fid), params);
    return "OK call tag=" + std::to_string(tag);
}

// A function call from readable arguments, e.g. "fn 45 dns1=8.8.8.8 dns2=8.8.4.4".
std::string CmdFn(PlatformSim& sim, const Args& a, const std::string& line) {
    if (a.size() < 2) return "ERR usage: fn <fid> [name=value...]";
    uint16_t fid = 0;
    Bytes params;
    std::string error;
    if (EncodeCallLine(Rest(line, 1), &fid, &params, &error) != 0) return "ERR " + error;
    int tag = sim.Call(fid, params);
    return "OK call tag=" + std::to_string(tag);
}

std::string CmdPlug(PlatformSim& sim, const Args& a, const std::string& line) {
    long type, dt;
    if (a.size() < 3 || !ToNum(a[1], 0, 31, &type) || !ToNum(a[2], 0, 255, &dt))
        return "ERR usage: plug <18|25> <datatype> <text>";
    sim.Plug(static_cast<uint8_t>(type), static_cast<uint8_t>(dt), Rest(line, 3));
    return "OK plug";
}

// Plug-in data by name, e.g. "plugdata plugin-update url=http://127.0.0.1:8080/p file=p".
std::string CmdPlugData(PlatformSim& sim, const Args& a, const std::string&) {
    if (a.size() < 2)
        return std::string(
                   "ERR usage: plugdata <kind> [via=18|25] [name=value|-name...]; kinds: ") +
               PlugDataKinds();
    long via = 18;
    Args rest;
    for (size_t i = 2; i < a.size(); ++i) {
        if (a[i].rfind("via=", 0) == 0) {
            if (!ToNum(a[i].substr(4), 18, 25, &via) || (via != 18 && via != 25))
                return "ERR via must be 18 or 25";
        } else {
            rest.push_back(a[i]);
        }
    }
    int dt = 0;
    std::string json, error;
    if (!BuildPlugData(a[1], rest, &dt, &json, &error)) return "ERR " + error;
    sim.Plug(static_cast<uint8_t>(via), static_cast<uint8_t>(dt), json);
    return "OK plugdata dt=" + std::to_string(dt) + " " + json;
}

std::string CmdFrame(PlatformSim& sim, const Args& a, const std::string&) {
    long type, flag, sum = -1;
    Bytes opt, plain;
    if (a.size() < 5 || !ToNum(a[1], 0, 31, &type) || !ToNum(a[2], 0, 7, &flag) ||
        !HexArg(a[3], &opt) || !HexArg(a[4], &plain) ||
        (a.size() > 5 && !ToNum(a[5], 0, 255, &sum)))
        return "ERR usage: frame <type> <flag> <opthex|-> <plainhex|-> [checksum]";
    if (opt.size() > 255) return "ERR option block longer than 255 bytes";
    sim.SendFrame(static_cast<uint8_t>(type), static_cast<uint8_t>(flag), opt, plain,
                  static_cast<int>(sum));
    return "OK frame";
}

std::string CmdRaw(PlatformSim& sim, const Args& a, const std::string& line) {
    Bytes b;
    if (a.size() < 2 || !ParseHex(Rest(line, 1), &b)) return "ERR usage: raw <hex>";
    sim.SendRaw(b);
    return "OK raw";
}

std::string CmdJunk(PlatformSim& sim, const Args& a, const std::string&) {
    long n;
    if (a.size() != 2 || !ToNum(a[1], 1, 64L << 20, &n)) return "ERR usage: junk <bytes>";
    sim.SendJunk(static_cast<size_t>(n));
    return "OK junk";
}

std::string CmdHeartbeat(PlatformSim& sim, const Args& a, const std::string&) {
    if (a.size() != 2) return "ERR usage: heartbeat on|off|<answers left>";
    std::string v = a[1] == "off" ? "0" : a[1] == "on" ? "-1" : a[1];
    std::string err = sim.Set("heartbeats", v);
    return err.empty() ? "OK heartbeat " + a[1] : "ERR " + err;
}

std::string CmdSet(PlatformSim& sim, const Args& a, const std::string& line) {
    if (a.size() < 2) return std::string("ERR usage: set <name> <value>; names: ") + SettingNames();
    std::string err = sim.Set(a[1], a.size() > 2 ? Rest(line, 2) : "");
    return err.empty() ? "OK set " + a[1] : "ERR " + err;
}

std::string CmdSimple(PlatformSim& sim, const Args& a, const std::string&) {
    if (a[0] == "disconnect") sim.Disconnect();
    if (a[0] == "drop") sim.Drop();
    if (a[0] == "ports")
        return "OK ports reg=" + std::to_string(sim.RegPort()) +
               " login=" + std::to_string(sim.LoginPort());
    return "OK " + a[0];
}

using Handler = std::string (*)(PlatformSim&, const Args&, const std::string&);

const std::map<std::string, Handler>& Commands() {
    static const std::map<std::string, Handler> kCommands = {
        {"call", CmdCall},   {"fn", CmdFn},
        {"plug", CmdPlug},   {"plugdata", CmdPlugData},
        {"frame", CmdFrame}, {"raw", CmdRaw},
        {"junk", CmdJunk},   {"heartbeat", CmdHeartbeat},
        {"set", CmdSet},     {"disconnect", CmdSimple},
        {"drop", CmdSimple}, {"ports", CmdSimple},
    };
    return kCommands;
}

}  // namespace

const char* CommandHelp() {
    return "commands:\n"
           "  call <fid> [hex...]            function call (type 20), parameters from byte 10\n"
           "  fn <fid> [name=value...]       function call from named parameters "
           "(docs/funcdecode.md)\n"
           "  plug <18|25> <datatype> <text> plug-in data\n"
           "  plugdata <kind> [via=18|25] [name=value|-name...]  plug-in data by name\n"
           "  disconnect                     forced disconnect (type 3)\n"
           "  drop                           close the connection\n"
           "  heartbeat on|off|<n>           answer heartbeats always, never, n more times\n"
           "  set <name> <value>             change a setting (see --help)\n"
           "  frame <type> <flag> <opthex|-> <plainhex|-> [checksum]  any frame\n"
           "  raw <hex>                      raw bytes\n"
           "  junk <n>                       n random bytes (never a forced disconnect)\n"
           "  ports                          print the listening ports\n"
           "  quit                           stop the simulator\n";
}

bool RunCommand(PlatformSim& sim, const std::string& line, const std::function<void()>& onQuit) {
    std::istringstream in(line);
    Args a;
    for (std::string w; in >> w;)
        a.push_back(w);
    if (a.empty() || a[0][0] == '#') return true;
    if (a[0] == "quit") {
        sim.Print("OK quit");
        onQuit();
        return true;
    }
    if (a[0] == "help") {
        sim.Print(CommandHelp());
        return true;
    }
    auto it = Commands().find(a[0]);
    if (it == Commands().end()) {
        sim.Print("ERR unknown command " + a[0] + " (help lists them)");
        return false;
    }
    std::string result = it->second(sim, a, line);
    sim.Print(result);
    return result.rfind("OK", 0) == 0;
}

}  // namespace psim
