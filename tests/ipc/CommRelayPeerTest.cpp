// Reports from the companion reach the platform: companion socket -> frame handler -> relay ->
// SendIpUpData -> a loopback fake platform peer.
#include "FakePeer.h"
#include "LinkFixture.h"
#include "RawCompanion.h"
#include "ipc/AutoReport.h"
#include "ipc/CommServer.h"

namespace {

using testplatform::Bytes;

class RelayPeerTest : public testplatform::LinkFixture {
protected:
    void SetUp() override {
        LinkFixture::SetUp();
        Connect();
        ASSERT_EQ(CommServerStart(), 0);
        ASSERT_TRUE(testsupport::WaitUntil([&] { return c.Connect(Paths().commServer); }));
        ASSERT_TRUE(testsupport::WaitUntil([] { return InstanceSocket.load() >= 0; }));
    }
    void TearDown() override {
        c.Close();
        CommServerStop();
        LinkFixture::TearDown();
    }
    RawCompanion c;
};

// A JSON report goes up with the router MAC and its prefix; a firmware result as function 17.
TEST_F(RelayPeerTest, JsonReportWithItsPrefixAndFirmwareResultAsFunction17) {
    AutoReportSeq.store(0x0102);
    ASSERT_TRUE(c.Send(CompanionFrame(84, 1, {0xAA, 0xBB, 0xCC})));
    DecodedFrame f;
    ASSERT_TRUE(peer.Read(testplatform::kKey, &f));
    EXPECT_EQ(f.header.msgType, 19);  // upload with the router MAC
    ASSERT_TRUE(f.bodyOk);
    EXPECT_TRUE(f.checksumOk);
    // Body: 2 bytes, data type 84, MAC, length 11, then the prefix (report sequence, ID, 0, payload
    // length, all little-endian) and the payload.
    EXPECT_EQ(f.body, testsupport::Hex("00 00 54 00 11 22 33 44 55 0B 00 "
                                       "02 01 54 00 00 00 03 00 AA BB CC"));
    EXPECT_EQ(AutoReportSeq.load(), 0x0103);
    ASSERT_TRUE(c.Send(CompanionFrame(999, 2, {7})));
    ASSERT_TRUE(peer.Read(testplatform::kKey, &f));
    EXPECT_EQ(f.header.msgType, 17);  // upload without MAC
    std::string text = "{\"result\":7,\"resultDesc\":\"check sum error.\"}";
    EXPECT_EQ(f.body, testsupport::Cat({0x00, 0x00, 0x11, uint8_t(text.size()), 0x00}, text));
}

}  // namespace
