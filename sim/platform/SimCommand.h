// The text commands that drive the simulator from stdin, a FIFO or a test.
#pragma once

#include <functional>
#include <string>

#include "PlatformSim.h"

namespace psim {

// Runs one command line. Prints "OK ..." or "ERR ..." through the simulator and returns true
// when the command was understood. "quit" calls `onQuit`.
bool RunCommand(PlatformSim& sim, const std::string& line, const std::function<void()>& onQuit);

const char* CommandHelp();

}  // namespace psim
