// The session state on its own: events and check ticks with "now" in, the session's end out.
// No socket, no thread, no clock.
#include <gtest/gtest.h>

#include <sstream>

#include "core/Globals.h"
#include "platform/SessionState.h"

namespace {

struct CheckCase {
    const char* name;
    int interval;  // from the login answer
    // At each "<what><t>", t in seconds: the heartbeat thread sent (S), an answer came (A),
    // another frame came (F) or the check thread looked (C).
    const char* steps;
    int64_t lostAt;  // time of the check that declares the session lost, -1 never
};

int64_t Replay(SessionState& s, const CheckCase& c) {
    s.Reset();
    s.LoginAnswer(c.interval);
    std::istringstream in(c.steps);
    char what;
    int64_t t;
    while (in >> what >> t) {
        if (what == 'S') s.HeartbeatSent();
        if (what == 'A') s.HeartbeatAnswer(t);
        if (what == 'F') s.PlatformActivity();
        if (what == 'C' && s.CheckHeartbeat(t)) return t;
    }
    return -1;
}

TEST(SessionState, HeartbeatCheck) {
    const CheckCase cases[] = {
        {"never before the first answer", 20, "S0 C10 C500", -1},
        // Answered once at 1 s, then silence: lost at the first check more than 60 s later.
        {"silent after one answer", 20, "S0 A1 S20 C30 S40 C60 S60 C61 C62", 62},
        {"any frame since the last heartbeat keeps it", 20, "A1 S60 F61 C70", -1},
        {"answers every period", 20, "A1 S20 A21 S40 A41 C90", -1},
        {"a period of 5 is raised to 20", 5, "A1 S20 C61 C62", 62},
        {"a period of 60 allows 180 s", 60, "A1 S60 C181 C182", 182},
    };
    SessionState s;
    for (const auto& c : cases) {
        EXPECT_EQ(c.lostAt, Replay(s, c)) << c.name;
        EXPECT_EQ(c.lostAt == -1 ? SessionEnd::kRunning : SessionEnd::kOver, s.End()) << c.name;
        EXPECT_EQ(c.lostAt == -1 ? 1 : 0, mLogin.load()) << c.name;
    }
}

TEST(SessionState, EndsOfASession) {
    SessionState s;
    // Register answer, login answer, link lost: over, logged out.
    s.BeginRegistration();
    LoginTarget t;
    t.port = 5945;
    s.RegisterAnswer(t);
    EXPECT_TRUE(s.Registered());
    s.BeginLogin();
    s.LoginAnswer(30);
    EXPECT_EQ(1, mLogin.load());
    EXPECT_TRUE(s.LinkLost());
    EXPECT_EQ(SessionEnd::kOver, s.End());
    EXPECT_EQ(0, mLogin.load());
    // A re-login keeps the target and runs again.
    s.BeginLogin();
    EXPECT_EQ(SessionEnd::kRunning, s.End());
    EXPECT_EQ(5945, s.Target().port);
    // A login answer without data ends the attempt.
    s.LoginRefused();
    EXPECT_EQ(SessionEnd::kOver, s.End());
    // A forced disconnect is for good: a later lost link reports nothing.
    s.BeginLogin();
    s.LoginAnswer(30);
    s.ForcedDisconnect();
    EXPECT_EQ(0, mLogin.load());
    EXPECT_FALSE(s.LinkLost());
    s.LoginRefused();
    EXPECT_EQ(SessionEnd::kForcedOff, s.End());
    // A new registration clears the target.
    s.BeginRegistration();
    EXPECT_FALSE(s.Registered());
    EXPECT_EQ(0, s.Target().port);
    EXPECT_EQ(SessionEnd::kRunning, s.End());
}

}  // namespace
