// Inputs that once left the link deaf, against the real binary: a header declaring OptLen 255
// and DataLen 65535 with no body, a full queue's worth of bytes without magic, and a platform
// that stops reading. What the queue and the senders do with each is proven by the platform
// unit tests; this run proves the binary as built answers right after them.
#include <sys/socket.h>
#include <unistd.h>

#include "AgentHarness.h"
#include "SimMessages.h"
#include "core/ByteOrder.h"

namespace e2e {
namespace {

using psim::Bytes;

TEST(BadInputE2e, DeafLinkInputsThenASlowReader) {
    psim::SimSettings s;
    s.interval = 20;
    auto sim = StartSim(s);
    AgentRun agent;
    agent.Start(sim->RegPort());
    ASSERT_TRUE(WaitLoggedIn(*sim, 20000)) << agent.Log();
    uint8_t mac[6];
    sim->AgentMac(mac);
    auto call = [&](uint16_t tag) {  // function 2: a 301-byte answer starting with the tag
        Bytes body = psim::FunctionCallBody(0, mac, psim::FunctionCallPayload(tag, 2, {}));
        return psim::BuildFrame(kKey, 20, 0, {}, body);
    };
    auto tagOf = [](const psim::DecodedFrame& f) {  // of a function answer, -1 for other frames
        return f.raw.MsgType() == 26 && f.plain.size() >= 13 ? GetLe16(&f.plain[11]) : -1;
    };
    auto answered = [&](size_t from, uint16_t tag) {
        return sim->WaitFor(
            [&](const std::vector<psim::SimEvent>& ev) {
                for (size_t i = from; i < ev.size(); ++i)
                    if (ev[i].isRxFrame && tagOf(ev[i].frame) == tag) return true;
                return false;
            },
            5000);
    };
    const Bytes inputs[] = {{0xCC, 0xDD, 0x14, 0xFF, 0x00, 0xFF, 0xFF}, Bytes(204800, 0x5A)};
    uint16_t tag = 600;
    for (const Bytes& in : inputs) {
        size_t mark = sim->Events().size();
        sim->SendRaw(in);
        sim->SendRaw(call(++tag));
        EXPECT_TRUE(answered(mark, tag)) << in.size() << " bytes left the link deaf";
    }
    const int conn = sim->RxFrames(10).back().conn;
    EXPECT_EQ(0u, sim->Count("CLOSE conn=" + std::to_string(conn))) << "not on the same link";

    // The platform stops reading with a 2 KB window while 300 answers are due: what it then
    // reads up to the agent's close is whole frames in order, a cut one only as the last bytes.
    int fd = sim->Detach();
    ASSERT_GE(fd, 0);
    int window = 2048;
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
    Bytes calls;
    for (uint16_t t = 1000; t < 1300; ++t)
        testsupport::Append(&calls, call(t));
    ASSERT_EQ(static_cast<ssize_t>(calls.size()), send(fd, calls.data(), calls.size(), 0));
    ASSERT_TRUE(testsupport::WaitUntil(
        [&] { return agent.CountLog("Recv MsgType=[20]") >= 302 || agent.CountLog("link closed"); },
        std::chrono::seconds(30)))
        << agent.Log();
    psim::FrameCutter cutter;
    uint8_t buf[4096];
    for (ssize_t n; (n = recv(fd, buf, sizeof buf, 0)) > 0;)
        cutter.Append(buf, static_cast<size_t>(n));
    close(fd);
    psim::RawFrame raw;
    int lastTag = 999;
    size_t answers = 0;
    while (cutter.Next(&raw)) {
        psim::DecodedFrame f = psim::DecodeFrame(kKey, raw);
        if (raw.MsgType() != 26) continue;
        ASSERT_TRUE(f.checksumOk) << "answer " << answers << " was cut";
        EXPECT_EQ(lastTag + 1, tagOf(f));
        lastTag = tagOf(f);
        ++answers;
    }
    EXPECT_EQ(0u, cutter.TakeSkipped());
    EXPECT_GT(answers, 0u);
    EXPECT_TRUE(sim->WaitForLine("login-answer type=11", 2, RealMs(60, 10) + 5000)) << agent.Log();
    EXPECT_TRUE(agent.Running());
}

}  // namespace
}  // namespace e2e
