// Network diagnostics through the function table, with fake ping, traceroute and killall first on
// PATH: each logs its arguments and prints canned output; while the file "hold" exists it keeps
// running (killall never holds), so a job can be caught in the middle.
#include <string>

#include <gtest/gtest.h>

#include "FnTestSupport.h"
#include "core/Clock.h"
#include "core/Paths.h"
#include "functions/DiagPing.h"
#include "functions/DiagRate.h"
#include "functions/DiagTrace.h"

namespace {

using fntest::Bytes;
using fntest::Call;
using fntest::Hex;
using fntest::Request;
using testsupport::LogCapture;
using testsupport::ReadFile;
using testsupport::WaitUntil;
using testsupport::WriteFile;

const char* const kFakeTool = R"SH(#!/bin/sh
echo "$*" >> "$FAKE_DIR/${0##*/}.args"
case "${0##*/}" in
ping)
  echo "PING $5 ($5) $2(84) bytes of data."
  echo "64 bytes from $5: icmp_seq=1 ttl=64 time=0.05 ms"
  echo "64 bytes from $5: icmp_seq=2 TTL=64 time=0.06 ms"
  echo ""
  echo "--- $5 ping statistics ---"
  echo "2 packets transmitted, 2 received, 0% packet loss, time 1001ms" ;;
traceroute)
  echo "traceroute to $2 ($2), 30 hops max, 60 byte packets"
  echo " 1  $2  0.051 ms  0.020 ms  0.018 ms" ;;
killall) exit 0 ;;
esac
while [ -f "$FAKE_DIR/hold" ]; do sleep 0.05; done
)SH";

const char* const kPingText =
    "PING 10.1.2.3 (10.1.2.3) 1400(84) bytes of data.\n\n--- 10.1.2.3 ping statistics ---\n"
    "2 packets transmitted, 2 received, 0% packet loss, time 1001ms\n";

// The fake tools first on PATH and the runtime files moved into their directory.
class DiagTest : public ::testing::Test {
protected:
    void SetUp() override { PathsRelocate(fake_.dir().path()); }
    void TearDown() override {
        Release();
        PingReset();
        TraceReset();
        SetClock(nullptr);
        PathsRelocate("");
    }
    std::string File(const std::string& name) const { return fake_.dir().File(name); }
    void Hold() { WriteFile(File("hold"), ""); }
    void Release() { unlink(File("hold").c_str()); }
    std::string Args(const char* tool) const { return ReadFile(File(std::string(tool) + ".args")); }

    fntest::FakeTools fake_{{"ping", "traceroute", "killall"}, kFakeTool};
};

// Function 8: w10 target (network order), bytes 14-29 zero, h30 size, h32 count.
Bytes PingRequest(const char* target, const char* sizeAndCount) {
    return Request(8, fntest::Image(24).At(0, Hex(target)).At(20, Hex(sizeAndCount)).bytes);
}
const Bytes kPing = PingRequest("0A 01 02 03", "78 05 02 00");  // 10.1.2.3, 1400 bytes, 2 times

uint16_t Code(const fntest::Answer& a) {
    return a.bytes.size() >= 6 ? static_cast<uint16_t>(a.bytes[4] | (a.bytes[5] << 8)) : 0xFFFF;
}

// Function 9 until the ping has finished (code 0).
fntest::Answer FetchPingWhenDone() {
    fntest::Answer a;
    EXPECT_TRUE(WaitUntil([&] { return Code(a = Call(Request(9))) == 0; }));
    return a;
}

// A text answer: 16-bit length at 6, the text from 8.
Bytes TextAnswer(uint8_t id, const std::string& text) {
    const auto len = static_cast<uint16_t>(text.size());
    return testsupport::Cat({0xAB, 0xCD, id, 0, 0, 0, uint8_t(len), uint8_t(len >> 8)}, text);
}

TEST_F(DiagTest, JobLifecycle) {
    LogCapture log;
    // Ping: one at a time; a fetch while it runs answers its status 1 and does not wait; the
    // answer leaves the reply lines out.
    Hold();
    EXPECT_EQ(Code(Call(kPing)), 0);
    EXPECT_EQ(Code(Call(kPing)), 1);
    EXPECT_EQ(Call(Request(9)).bytes, Hex("AB CD 09 00 01 00"));
    Release();
    EXPECT_EQ(FetchPingWhenDone().bytes, TextAnswer(9, kPingText));
    // A finished job restarts (until its worker has reaped the tool, a start answers 1); the
    // fields reach the tool, a count above 50 runs 50.
    for (const Bytes& request :
         {PingRequest("0A 01 02 03", "78 05 50 00"), PingRequest("7F 00 00 01", "00 00 32 00"),
          PingRequest("FF FF FF FF", "FF FF 01 00")}) {
        EXPECT_TRUE(WaitUntil([&] { return Call(request).bytes == Hex("AB CD 08 00 00 00"); }));
        FetchPingWhenDone();
    }
    EXPECT_EQ(Args("ping"),
              "-s 1400 -c 2 10.1.2.3\n-s 1400 -c 50 10.1.2.3\n-s 0 -c 50 127.0.0.1\n"
              "-s 65535 -c 1 255.255.255.255\n");

    // Traceroute: one at a time; a fetch while it runs kills it and answers what it wrote.
    Hold();
    EXPECT_EQ(Call(Request(51, Hex("0A 01 02 03"))).bytes, Hex("AB CD 33 00 00 00"));
    EXPECT_EQ(Code(Call(Request(51, Hex("0A 01 02 04")))), 1);
    const std::string trace = "traceroute to 10.1.2.3 (10.1.2.3), 30 hops max, 60 byte packets\n"
                              " 1  10.1.2.3  0.051 ms  0.020 ms  0.018 ms\n";
    ASSERT_TRUE(WaitUntil([&] { return ReadFile(File("tracerouteFile")) == trace; }));
    const Bytes expected = TextAnswer(52, trace);
    EXPECT_EQ(Call(Request(52)).bytes, expected);
    EXPECT_EQ(Args("killall"), "-9 traceroute\n");
    EXPECT_EQ(Args("traceroute"), "-n 10.1.2.3\n");
    // After the job: the file is read again, the next job starts, the watchdog never fired.
    EXPECT_EQ(Call(Request(52)).bytes, expected);
    EXPECT_TRUE(WaitUntil([&] { return Code(Call(Request(51, Hex("0A 01 02 03")))) == 0; }));
    EXPECT_FALSE(log.Contains("kill traceroute"));

    // No traceroute file: failure code.
    TraceReset();
    unlink(File("tracerouteFile").c_str());
    EXPECT_EQ(Call(Request(52)).bytes, Hex("AB CD 34 00 01 00"));

    // A traceroute still running after 500 s is killed by the watchdog, which ends the job: a new
    // one starts although the tool would still hold.
    ManualClock clock;
    SetClock(&clock);
    ASSERT_EQ(Code(Call(Request(51, Hex("0A 01 02 03")))), 0);
    ASSERT_TRUE(WaitUntil([&] { return log.Contains("kill traceroute"); }));
    EXPECT_EQ(500000, clock.SleptMs());
    EXPECT_EQ(Args("killall"), "-9 traceroute\n-9 traceroute\n");
    EXPECT_TRUE(WaitUntil([&] { return Code(Call(Request(51, Hex("0A 01 02 03")))) == 0; }));
    TraceReset();  // its watchdog waits on `clock`
    SetClock(nullptr);
}

TEST(DiagRateTest, AddressSplit) {
    const std::string s64(64, 'a'), a64 = "http://" + s64 + "/x", a65 = "http://a" + s64 + "/x";
    const struct {
        const char* address;
        const char* server;  // nullptr: refused
        int port;
        const char* path;
    } cases[] = {
        {"http://10.0.0.2/t", "10.0.0.2", 80, "/t"},  // no port: 80
        {"http://speed.example:8199/dl/300.data", "speed.example", 8199, "/dl/300.data"},
        {"ftp://abc/", "abc", 80, "/"},             // only the text after "://" is used
        {"http://host/a:1/b", "host/a", 1, "/b"},  // the ":" is looked for in the path too
        {a64.c_str(), s64.c_str(), 80, "/x"},
        {a65.c_str(), nullptr, 0, ""},  // 65-character server
        {"http://ab/x", nullptr, 0, ""},  // 2-character server
        {"http://host.example", nullptr, 0, ""},  // no "/"
        {"host.example/x", nullptr, 0, ""},       // no "://"
        {"http://host:99999/x", nullptr, 0, ""},
        {"http://host:8a/x", nullptr, 0, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.address);
        RateAddress a;
        ASSERT_EQ(RateSplitAddress(c.address, &a), c.server ? 0 : -1);
        if (c.server == nullptr) continue;
        EXPECT_EQ(a.server, c.server);
        EXPECT_EQ(a.port, c.port);
        EXPECT_EQ(a.path, c.path);
    }
}

TEST(DiagRateTest, PushRecordBytes) {
    uint8_t rec[10];
    RateBuildRecord(1234567, rec);
    EXPECT_EQ(Bytes(rec, rec + 10), Hex("00 00 3E 00 00 00 87 D6 12 00"));
    RateBuildRecord(-1, rec);
    EXPECT_EQ(Bytes(rec, rec + 10), Hex("00 00 3E 00 01 00 FF FF FF FF"));
}

}  // namespace
