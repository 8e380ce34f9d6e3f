// The test support starts target binaries the same way in a native build and in a cross build
// whose tests run under qemu-user.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "TargetEmulator.h"
#include "TestSupport.h"

using testsupport::ElfMachine;
using testsupport::WithTargetEmulator;

namespace {

std::string WriteFile(const testsupport::TempDir& dir, const std::string& name,
                      const std::string& bytes) {
    std::string path = dir.path() + "/" + name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
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
    EXPECT_EQ(ElfMachine(WriteFile(dir, "little", little)), 22);
    EXPECT_EQ(ElfMachine(WriteFile(dir, "big", big)), 40);
    EXPECT_EQ(ElfMachine(WriteFile(dir, "script", "#!/bin/sh\nexit 0\n")), -1);
    EXPECT_EQ(ElfMachine(WriteFile(dir, "short",
                                   "\x7f"
                                   "ELF")),
              -1);
    EXPECT_EQ(ElfMachine(dir.path() + "/missing"), -1);
}

TEST(ElfMachine, TheRunningTestIsAnElfFile) {
    EXPECT_GT(ElfMachine("/proc/self/exe"), 0);
    EXPECT_EQ(ElfMachine(testsupport::AgentBinary()), ElfMachine("/proc/self/exe"));
}

TEST(WithTargetEmulator, LeavesScriptsAndHostToolsAlone) {
    testsupport::TempDir dir;
    std::string script = WriteFile(dir, "fake-iptables", "#!/bin/sh\nexit 0\n");
    setenv("PLUG_TARGET_EMULATOR", "/usr/bin/qemu-x -L /usr/x", 1);
    std::vector<std::string> argv{script, "-L"};
    EXPECT_EQ(WithTargetEmulator(argv), argv);
    std::vector<std::string> agent{testsupport::AgentBinary(), "-d"};
    std::vector<std::string> wrapped{"/usr/bin/qemu-x", "-L", "/usr/x", agent[0], "-d"};
    EXPECT_EQ(WithTargetEmulator(agent), wrapped);
    setenv("PLUG_TARGET_EMULATOR", "", 1);
    EXPECT_EQ(WithTargetEmulator(agent), agent);
}

// Starts the real agent binary (under the emulator in a cross build): a 10-digit -m value is a
// wrong parameter, main returns -1 and the process ends with status 255. A binary that could not
// be started would end with 127 instead.
TEST(Child, StartsTheAgentBinaryOfTheBuild) {
    testsupport::TempDir dir;
    std::string err = dir.path() + "/stderr";
    testsupport::Child child({testsupport::AgentBinary(), "-d", "-m", "0123456789"}, {}, err);
    int status = -1;
    ASSERT_TRUE(child.Wait(std::chrono::seconds(60), &status));
    std::ifstream in(err);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(status, 255) << text;
}

}  // namespace
