#include "AgentHarness.h"

namespace e2e {

AgentRun::~AgentRun() {
    if (child_) child_->Kill();
}

void AgentRun::Start(int port, double scale, std::map<std::string, std::string> env, bool debug) {
    testsupport::WriteFile(
        dir_.File("plug.conf"),
        std::string("[Dev]\nPIN=") + kPin + "\n[Protool]\nKEY=" + kKey +
            "\nSERVER1=127.0.0.1\nSERVER2=127.0.0.1\nPORT=" + std::to_string(port) + "\n");
    env["PLUG_RUNTIME_DIR"] = dir_.path();
    env["PLUG_TIME_SCALE"] = std::to_string(scale);
#ifdef PLUG_SDK_DEFAULT_STATE_FILE
    testsupport::WriteFile(dir_.File("router.json"),
                           testsupport::ReadFile(PLUG_SDK_DEFAULT_STATE_FILE));
    env["PLUG_SDK_STATE"] = dir_.File("router.json");
    env["PLUG_SDK_CALL_LOG"] = dir_.File("sdk-calls.log");
#endif
    std::vector<std::string> argv{testsupport::AgentBinary(), "-f", dir_.File("plug.conf"), "-m",
                                  "A1B2C3D4E5F6"};
    if (debug) argv.insert(argv.begin() + 1, "-d");
    child_ = std::make_unique<testsupport::Child>(argv, env, dir_.File("agent.log"), dir_.path());
}

bool AgentRun::WaitLog(const std::string& needle, int timeoutMs) const {
    return testsupport::WaitUntil([&] { return Log().find(needle) != std::string::npos; },
                                  std::chrono::milliseconds(timeoutMs));
}

bool AgentRun::WaitExit(int timeoutMs, int* status) {
    if (!child_ || exited_) return false;
    exited_ = child_->Wait(std::chrono::milliseconds(timeoutMs), status);
    return exited_;
}

bool AgentRun::Running() {
    int status = 0;
    return !exited_ && !(exited_ = child_->Wait(std::chrono::milliseconds(0), &status));
}

std::unique_ptr<psim::PlatformSim> StartSim(psim::SimSettings s) {
    s.key = kKey;
    auto sim = std::make_unique<psim::PlatformSim>(s);
    if (sim->Start() != 0) ADD_FAILURE() << "platform simulator did not start";
    return sim;
}

bool WaitLoggedIn(const psim::PlatformSim& sim, int timeoutMs) {
    return sim.WaitFor(
        [](const std::vector<psim::SimEvent>& ev) {
            bool answered = false;
            for (const auto& e : ev) {
                if (e.line.find("login-answer type=11") != std::string::npos) answered = true;
                if (answered && e.isRxFrame && e.frame.raw.MsgType() == 1) return true;
            }
            return false;
        },
        timeoutMs);
}

}  // namespace e2e
