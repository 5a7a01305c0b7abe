// Scheme switches seen through the settings page's API: the sensor thread's
// switches by time plan and by day/night are logged as its own and the
// values follow; the scheme mode is known whatever scheme is current.
#include <string>
#include <vector>

#include "serve/ServeFixture.h"

namespace serve_test {
namespace {

class ServeSchemeTest : public ServeTest {
protected:
    // Scheme 1 brightness 20; scheme 0 brightness 80 and the window 12:00 to
    // 24:00; then the time plan. At 07:00 only scheme 1's window (the whole
    // day) holds the time; at 12:00 scheme 0's does.
    void setUpTimePlan() {
        ASSERT_EQ(200, post("/api/mode", "{\"mode\":0}").status);
        ASSERT_EQ(200, post("/api/scheme", "{\"scheme\":1}").status);
        ASSERT_EQ(200, postText("(34,20)").status);
        ASSERT_EQ(200, post("/api/scheme", "{\"scheme\":0}").status);
        ASSERT_EQ(200, postText("(34,80)(8001,12)(8000,1)").status);
        ASSERT_EQ(200, post("/api/mode", "{\"mode\":1}").status);
    }

    std::vector<json> switchesBy(const std::string& p_strBy) const {
        std::vector<json> out;
        for (const json& entry : logEntries("switch")) {
            if (entry["by"] == p_strBy) {
                out.push_back(entry);
            }
        }
        return out;
    }
};

TEST_F(ServeSchemeTest, TimePlanSwitchOfTheSensorThreadIsLoggedAndTheValuesFollow) {
    startServer("box");
    setUpTimePlan();
    Reply state = get("/api/state");
    EXPECT_EQ(0, state.body["scheme"]);
    EXPECT_EQ("time plan", state.body["schemeModeName"]);
    uint64_t generation = state.body["generation"];
    EXPECT_EQ(80, reportedValue(34));
    EXPECT_TRUE(switchesBy("sensor thread").empty());

    ASSERT_EQ(200, post("/api/clock", "{\"clock\":\"07:00\"}").status);
    ASSERT_TRUE(waitForScheme(1));
    EXPECT_EQ(20, reportedValue(34));
    EXPECT_EQ(20, ispValue(34));
    std::vector<json> bySensor = switchesBy("sensor thread");
    ASSERT_EQ(1u, bySensor.size());
    EXPECT_EQ(0, bySensor[0]["from"]);
    EXPECT_EQ(1, bySensor[0]["to"]);
    EXPECT_EQ("07:00", bySensor[0]["clock"]);
    state = get("/api/state");
    EXPECT_GT(state.body["generation"].get<uint64_t>(), generation);
    EXPECT_EQ("time plan", state.body["schemeModeName"]);
    // The switch's ISP calls are the sensor thread's own.
    bool bSet34 = false;
    for (const json& entry : logEntries("isp")) {
        bSet34 = bSet34 || (entry["by"] == "sensor thread" && entry["call"]["opt"] == "set" &&
                            entry["call"]["cmd"] == 34 && entry["call"]["values"][0] == 20);
    }
    EXPECT_TRUE(bSet34);

    ASSERT_EQ(200, post("/api/clock", "{\"clock\":\"12:00\"}").status);
    ASSERT_TRUE(waitForScheme(0));
    EXPECT_EQ(80, reportedValue(34));
    EXPECT_EQ(2u, switchesBy("sensor thread").size());
}

TEST_F(ServeSchemeTest, SchemeModeIsKnownWhateverSchemeIsCurrent) {
    startServer("box");
    setUpTimePlan();
    ASSERT_EQ(200, post("/api/clock", "{\"clock\":\"07:00\"}").status);
    ASSERT_TRUE(waitForScheme(1));
    // Scheme 1's own copy of the mode is not the one in force: setting it
    // while scheme 1 is current changes no policy.
    ASSERT_EQ(200, postText("(8000,2)").status);
    EXPECT_EQ("time plan", get("/api/state").body["schemeModeName"]);
    EXPECT_EQ(1, get("/api/state").body["mode"]);
    // In scheme 0 it does: off, and the thread no longer follows the clock.
    ASSERT_EQ(200, post("/api/clock", "{\"clock\":\"12:00\"}").status);
    ASSERT_TRUE(waitForScheme(0));
    ASSERT_EQ(200, postText("(8000,0)").status);
    Reply state = get("/api/state");
    EXPECT_EQ("off", state.body["schemeModeName"]);
    EXPECT_EQ(0, state.body["schemeMode"]);
    EXPECT_EQ(1, state.body["mode"]);
    ASSERT_EQ(200, post("/api/clock", "{\"clock\":\"07:00\"}").status);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(0, get("/api/state").body["scheme"]);
}

TEST_F(ServeSchemeTest, SchemeModeIsReadFromSchemeZerosFileAtStart) {
    startServer("box");
    setUpTimePlan();
    ASSERT_EQ(200, post("/api/flush", "{}").status);
    stopServer();
    // Scheme 1's own copy of the mode says "off"; only scheme 0's counts.
    std::vector<KeyVal> scheme1 = schemeRecords("/mnt/mtd/code/config_file/sensor1_1.cfg");
    for (KeyVal& kv : scheme1) {
        kv.value = kv.key == 8000 ? 0 : kv.value;
    }
    tarnix_test::writeKeyValFile(hostPath("/mnt/mtd/code/config_file/sensor1_1.cfg"), scheme1);
    ASSERT_EQ(0, valueOf(schemeRecords("/mnt/mtd/code/config_file/sensor1_1.cfg"), 8000));

    platform::setClock(7, 0);
    startServer("box");
    // init's first pass put scheme 1 in force by the time plan.
    EXPECT_EQ(1, get("/api/state").body["scheme"]);
    EXPECT_EQ(0, valueOf(schemeRecords("/mnt/mtd/code/config_file/sensor1_1.cfg"), 8000));
    EXPECT_EQ("time plan", get("/api/state").body["schemeModeName"]);
}

TEST_F(ServeSchemeTest, DayNightSwitchOfTheSensorThread) {
    startServer("box");
    ASSERT_EQ(200, post("/api/scheme", "{\"scheme\":1}").status);
    ASSERT_EQ(200, postText("(2337,10)").status);
    ASSERT_EQ(200, post("/api/scheme", "{\"scheme\":0}").status);
    ASSERT_EQ(200, postText("(2337,90)(8000,2)").status);
    EXPECT_EQ("day/night", get("/api/state").body["schemeModeName"]);
    ASSERT_EQ(200, post("/api/daynight", "{\"state\":\"night\"}").status);
    ASSERT_TRUE(waitForScheme(1));
    EXPECT_EQ(10, reportedValue(2337));
    ASSERT_EQ(1u, switchesBy("sensor thread").size()) << json(logEntries("switch")).dump();
    // The thread reads the day/night state every pass; the log shows a read
    // once, and again only when its answer changes.
    size_t nReads = 0;
    for (const json& entry : logEntries("isp")) {
        nReads += entry["call"]["cmd"] == IA_CMD_DN_STATE && entry["call"]["opt"] == "get" ? 1 : 0;
    }
    EXPECT_GE(nReads, 1u);
    EXPECT_LE(nReads, 2u);
    ASSERT_EQ(200, post("/api/daynight", "{\"state\":\"day\"}").status);
    ASSERT_TRUE(waitForScheme(0));
    EXPECT_EQ(90, reportedValue(2337));
}

TEST_F(ServeSchemeTest, SuspendedSwitchingHoldsTheScheme) {
    startServer("box");
    setUpTimePlan();
    ASSERT_EQ(200, post("/api/mode", "{\"mode\":0}").status);
    ASSERT_EQ(200, post("/api/clock", "{\"clock\":\"07:00\"}").status);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(0, get("/api/state").body["scheme"]);
    ASSERT_EQ(200, post("/api/mode", "{\"mode\":1}").status);
    EXPECT_TRUE(waitForScheme(1));
}

} // namespace
} // namespace serve_test
