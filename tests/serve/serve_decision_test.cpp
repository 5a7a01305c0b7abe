// The settings page's "why?": the controller's latest scheme decision, its
// explanation in sentences and the latest switch, through GET /api/decision.
#include <string>

#include "serve/ServeFixture.h"

namespace serve_test {
namespace {

class ServeDecisionTest : public ServeTest {};

TEST_F(ServeDecisionTest, WhyExplainsTheLatestDecisionAndNamesTheLatestSwitch) {
    startServer("box");
    // Scheme 1 keeps the whole-day window; scheme 0 gets 12:00 to 24:00 and
    // the time plan. At 07:00 only scheme 1's window holds the time.
    ASSERT_EQ(200, post("/api/mode", "{\"mode\":0}").status);
    ASSERT_EQ(200, post("/api/scheme", "{\"scheme\":0}").status);
    ASSERT_EQ(200, postText("(8001,12)(8000,1)").status);
    ASSERT_EQ(200, post("/api/mode", "{\"mode\":1}").status);
    ASSERT_EQ(200, post("/api/clock", "{\"clock\":\"07:00\"}").status);
    ASSERT_TRUE(waitForScheme(1));

    Reply why = get("/api/decision");
    ASSERT_EQ(200, why.status) << why.text;
    const json& latest = why.body["latest"];
    EXPECT_EQ("pass", latest["source"]);
    EXPECT_EQ(1, latest["to"]);
    EXPECT_EQ("time plan", latest["policy"]);
    EXPECT_EQ(1, latest["matched_window"]);
    ASSERT_GE(why.body["explanation"].size(), 5u);
    EXPECT_EQ("explain: channel 1 at 07:00: scheme 1 is in force", why.body["explanation"][0]);
    bool bWindowLine = false;
    for (const json& line : why.body["explanation"]) {
        bWindowLine = bWindowLine || line == "  scheme 1: 00:00-24:00 holds 07:00";
    }
    EXPECT_TRUE(bWindowLine) << why.body["explanation"].dump();
    const json& lastSwitch = why.body["lastSwitch"];
    EXPECT_EQ("pass", lastSwitch["source"]);
    EXPECT_EQ("switched", lastSwitch["outcome"]);
    EXPECT_EQ(0, lastSwitch["from"]);
    EXPECT_EQ(1, lastSwitch["to"]);
    EXPECT_EQ("time plan: the window 00:00-24:00 of scheme 1 holds 07:00", lastSwitch["reason"]);

    // Read-only: another method is refused.
    Reply refused = post("/api/decision", "{}");
    EXPECT_EQ(405, refused.status);
}

} // namespace
} // namespace serve_test
