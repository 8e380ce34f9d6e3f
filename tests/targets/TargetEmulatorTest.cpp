// The test support starts target binaries the same way in a native build and in a cross build
// whose tests run under qemu-user.
#include <gtest/gtest.h>

#include <cstdlib>

#include "TargetEmulator.h"
#include "TestSupport.h"

using testsupport::ElfMachine;
using testsupport::WithTargetEmulator;

namespace {

// Writes `bytes` to `name` in `dir`; returns the path.
std::string Put(const testsupport::TempDir& dir, const std::string& name,
                const std::string& bytes) {
    testsupport::WriteFile(dir.File(name), bytes);
    return dir.File(name);
}

TEST(ElfMachine, ReadsTheHeaderInEitherByteOrder) {
    testsupport::TempDir dir;
    // e_machine sits at offset 18; EI_DATA at offset 5 says how it is stored.
    std::string little(
        "\x7f"
        "ELF\x01\x01\x01",
        7);
    little.resize(18, '\0');
    little += std::string("\x16\x00", 2);  // 22, IBM S/390, little-endian header
    std::string big(
        "\x7f"
        "ELF\x02\x02\x01",
        7);
    big.resize(18, '\0');
    big += std::string("\x00\x28", 2);  // 40, ARM, big-endian header
    EXPECT_EQ(ElfMachine(Put(dir, "little", little)), 22);
    EXPECT_EQ(ElfMachine(Put(dir, "big", big)), 40);
    EXPECT_EQ(ElfMachine(Put(dir, "script", "#!/bin/sh\nexit 0\n")), -1);
    EXPECT_EQ(ElfMachine(Put(dir, "short",
                             "\x7f"
                             "ELF")),
              -1);
    EXPECT_EQ(ElfMachine(dir.path() + "/missing"), -1);
}

TEST(WithTargetEmulator, LeavesScriptsAndHostToolsAlone) {
    testsupport::TempDir dir;
    std::string script = Put(dir, "fake-iptables", "#!/bin/sh\nexit 0\n");
    setenv("PLUG_TARGET_EMULATOR", "/usr/bin/qemu-x -L /usr/x", 1);
    std::vector<std::string> argv{script, "-L"};
    EXPECT_EQ(WithTargetEmulator(argv), argv);
    std::vector<std::string> agent{testsupport::AgentBinary(), "-d"};
    std::vector<std::string> wrapped{"/usr/bin/qemu-x", "-L", "/usr/x", agent[0], "-d"};
    EXPECT_EQ(WithTargetEmulator(agent), wrapped);
    setenv("PLUG_TARGET_EMULATOR", "", 1);
    EXPECT_EQ(WithTargetEmulator(agent), agent);
}

}  // namespace
