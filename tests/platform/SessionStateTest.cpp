// The session state on its own: events and check ticks with "now" in, the session's end out.
// No socket, no thread, no clock.
#include <gtest/gtest.h>

#include <vector>

#include "core/Globals.h"
#include "platform/SessionState.h"

namespace {

// One step of a heartbeat history: at `t` seconds the heartbeat thread sent (S), an answer
// came (A), another frame came (F) or the check thread looked (C).
struct Step {
    char what;
    int64_t t;
};

struct CheckCase {
    const char* name;
    int interval;  // from the login answer
    std::vector<Step> steps;
    int64_t lostAt;  // time of the check that declares the session lost, -1 never
};

int64_t Replay(SessionState& s, const CheckCase& c) {
    s.Reset();
    s.LoginAnswer(c.interval);
    for (const Step& st : c.steps) {
        if (st.what == 'S') s.HeartbeatSent();
        if (st.what == 'A') s.HeartbeatAnswer(st.t);
        if (st.what == 'F') s.PlatformActivity();
        if (st.what == 'C' && s.CheckHeartbeat(st.t)) return st.t;
    }
    return -1;
}

TEST(SessionState, HeartbeatCheck) {
    const CheckCase cases[] = {
        {"never before the first answer", 20, {{'S', 0}, {'C', 10}, {'C', 500}}, -1},
        // Answered once at 1 s, then silence: lost at the first check more than 60 s later.
        {"silent after one answer", 20,
         {{'S', 0}, {'A', 1}, {'S', 20}, {'C', 30}, {'S', 40}, {'C', 60}, {'S', 60}, {'C', 61}, {'C', 62}},
         62},
        {"any frame since the last heartbeat keeps it",
         20,
         {{'A', 1}, {'S', 60}, {'F', 61}, {'C', 70}},
         -1},
        {"answers every period",
         20,
         {{'A', 1}, {'S', 20}, {'A', 21}, {'S', 40}, {'A', 41}, {'C', 90}},
         -1},
        {"a period of 5 is raised to 20", 5, {{'A', 1}, {'S', 20}, {'C', 61}, {'C', 62}}, 62},
        {"a period of 60 allows 180 s", 60, {{'A', 1}, {'S', 60}, {'C', 181}, {'C', 182}}, 182},
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
