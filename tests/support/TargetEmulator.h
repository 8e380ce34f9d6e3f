#pragma once

#include <string>
#include <vector>

namespace testsupport {

// In a cross build the tests themselves run under qemu-user, and a binary of the target that a
// test starts (the agent, a simulator) needs the same emulator: the build machine cannot execute
// it directly. The build records the emulator command (words separated by spaces); the
// environment variable PLUG_TARGET_EMULATOR overrides it. Returns argv with the emulator put in
// front when argv[0] is an ELF file for the same machine as the running test; otherwise (native
// build, shell scripts, host tools) argv as is.
std::vector<std::string> WithTargetEmulator(const std::vector<std::string>& argv);

// The e_machine field of an ELF file, or -1 when the file is not ELF or cannot be read.
int ElfMachine(const std::string& path);

}  // namespace testsupport
