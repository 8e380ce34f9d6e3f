// What the simulated platform listens on and how it answers. Every setting has a name used both
// on the command line (--name value) and in the control command "set name value".
#pragma once

#include <string>

namespace psim {

// How the simulator answers a register or login frame.
enum class AnswerMode {
    kAnswer,  // the answer frame, after `delayMs`
    kSilent,  // nothing
    kClose,   // close the connection at once
    kNoData,  // an answer frame with the error code but without data block
};

struct AnswerPlan {
    AnswerMode mode = AnswerMode::kAnswer;
    int delayMs = 0;  // real milliseconds
    int error = 0;    // 16-bit error code in the option block
};

struct SimSettings {
    std::string key = "0123456789abcdef";  // KEY text shared with the agent's plug.conf
    std::string regAddr = "127.0.0.1";
    int regPort = 0;  // 0: ephemeral
    std::string loginAddr = "127.0.0.1";
    int loginPort = 0;
    AnswerPlan reg;
    AnswerPlan login;
    std::string token = "TOKEN-0123456789-ABCDEFGHIJKLMN";  // 32 bytes on the wire, zero-filled
    std::string answerIp;  // login address named in the register answer; empty: loginAddr
    int answerPort = -1;   // login port named in the register answer; -1: the real one
    std::string pluginId = "PLUGIN-0001";
    int interval = 60;     // heartbeat interval in the login answer (seconds)
    int heartbeats = -1;   // heartbeat answers left; -1 unlimited, 0 none
    int callDataType = 0;  // DataType of function calls sent with "call"
    // 1: acknowledge every received segment at once (TCP_QUICKACK) instead of the kernel's
    // delayed ACK, so that an agent writing two small frames in a row is not held back by
    // Nagle's algorithm waiting for that ACK.
    int quickAck = 0;
    // 1: print every function answer decoded field by field after its RX line.
    int decode = 0;
};

// Applies one named setting. Returns an empty string, or the reason it was refused.
std::string ApplySetting(SimSettings* s, const std::string& name, const std::string& value);
// The names ApplySetting knows, for help texts.
const char* SettingNames();

}  // namespace psim
