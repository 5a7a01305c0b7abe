// sensorctl timeline and explain end to end on the sample trees: the changes
// of a replayed day match the scheme windows and the day/night profile as
// worked out by hand from the scheme files, the chart and the JSON report
// are well-formed, explain says why at times inside, between and outside the
// windows, and the device root is left as it was.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <tinyxml.h>

#include "tools/SensorctlFixture.h"

using namespace sensorctl_test;

namespace {

class SensorctlTimelineTest : public SensorctlBoxTest {
protected:

    // Windows of the box camera's four schemes, stored through the shell:
    //   scheme 0 06:00-12:00, scheme mode 1 (time plan), brightness 50 and saturation 50 (factory)
    //   scheme 1 13:00-18:00, brightness 40
    //   scheme 2 18:00-22:00, brightness 30, saturation 20
    //   scheme 3 00:00-05:00, brightness 45
    // So 05:00-06:00, 12:00-13:00 and 22:00-24:00 lie outside every window.
    void storeTimePlan() {
        RunResult r = onCam({"shell"}, "mode 0\n"
                                       "scheme 0\nset (8000,1)(8001,6)(8002,0)(8003,12)(8004,0)\n"
                                       "scheme 1\nset (8001,13)(8002,0)(8003,18)(8004,0)(34,40)\n"
                                       "scheme 2\nset (8001,18)(8002,0)(8003,22)(8004,0)(34,30)(2337,20)\n"
                                       "scheme 3\nset (8001,0)(8002,0)(8003,5)(8004,0)(34,45)\n");
        ASSERT_EQ(0, r.code) << r.out << r.err;
    }

    // The day/night policy: scheme 0 by day (factory values), scheme 1 by night.
    void storeDayNight() {
        RunResult r = onCam({"shell"}, "mode 0\nscheme 1\nset (34,35)(2337,30)\nscheme 0\nset (8000,2)\n");
        ASSERT_EQ(0, r.code) << r.out << r.err;
    }

    // The lines of a run after its first (the header) and before the library's log line.
    std::vector<std::string> body(const RunResult& p_stRun) const {
        std::vector<std::string> vecLines = lines(p_stRun.out);
        std::vector<std::string> vecOut;
        for (size_t i = 1; i < vecLines.size(); ++i) {
            if (vecLines[i] != logLine()) {
                vecOut.push_back(vecLines[i]);
            }
        }
        return vecOut;
    }

    // Every file of the device root's scheme directory and ISP directory, with its bytes.
    std::vector<std::pair<std::string, std::string>> rootFiles() const {
        std::vector<std::pair<std::string, std::string>> vecFiles;
        for (const char* szFile : {"/mnt/mtd/code/config_file/sensor1_0.cfg", "/mnt/mtd/code/config_file/sensor1_1.cfg",
                                   "/mnt/mtd/code/config_file/sensor1_2.cfg", "/mnt/mtd/code/config_file/sensor1_3.cfg",
                                   "/isp/state.conf", "/isp/profile.conf", "/isp/daynight.txt"}) {
            vecFiles.emplace_back(szFile, camFileExists(szFile) ? slurp(camPath(szFile)) : std::string("(none)"));
        }
        return vecFiles;
    }
};

const char* const kKeysWindowAndBrightness = "keys 8001 KEY_SCHEME_START_HOUR, 8003 KEY_SCHEME_END_HOUR, 34 KEY_BRIGHTNESS";
const char* const kKeysWindowAndBoth =
    "keys 8001 KEY_SCHEME_START_HOUR, 8003 KEY_SCHEME_END_HOUR, 34 KEY_BRIGHTNESS, 2337 KEY_SATURATION";

} // namespace

TEST_F(SensorctlTimelineTest, DayOfTheTimePlanSwitchesExactlyAtTheWindows) {
    storeTimePlan();
    const auto before = rootFiles();
    const auto t0 = std::chrono::steady_clock::now();
    RunResult r = onCam({"timeline"});
    const auto elapsed = std::chrono::steady_clock::now() - t0;
    ASSERT_EQ(0, r.code) << r.out << r.err;
    EXPECT_EQ("", r.err);
    // A whole day at one-minute steps, init and shut-down included.
    EXPECT_LT(elapsed, std::chrono::seconds(10));
    const std::vector<std::string> expected = {
        "sensorctl: start 00:00 scheme 3: time plan: the window 00:00-05:00 of scheme 3 holds 00:00",
        std::string("sensorctl: 05:00 scheme 3 -> 0 (differential, 1 ISP calls): time plan: no window holds 05:00, "
                    "so scheme 0 applies by default; ") + kKeysWindowAndBrightness,
        std::string("sensorctl: 13:00 scheme 0 -> 1 (differential, 1 ISP calls): time plan: the window 13:00-18:00 "
                    "of scheme 1 holds 13:00; ") + kKeysWindowAndBrightness,
        std::string("sensorctl: 18:00 scheme 1 -> 2 (differential, 2 ISP calls): time plan: the window 18:00-22:00 "
                    "of scheme 2 holds 18:00; ") + kKeysWindowAndBoth,
        std::string("sensorctl: 22:00 scheme 2 -> 0 (differential, 2 ISP calls): time plan: no window holds 22:00, "
                    "so scheme 0 applies by default; ") + kKeysWindowAndBoth,
        "sensorctl: summary: 4 switches, 0 flips within 5 minutes of the switch before",
        "sensorctl:   scheme 0: 10h00m (41.7%)",
        "sensorctl:   scheme 1: 5h00m (20.8%)",
        "sensorctl:   scheme 2: 4h00m (16.7%)",
        "sensorctl:   scheme 3: 5h00m (20.8%)",
    };
    EXPECT_EQ(expected, body(r));
    EXPECT_EQ("sensorctl: timeline: channel 1, 00:00 to 24:00 in steps of 1 min, 1 day; policy time plan; day/night "
              "as the ISP reports it",
              lines(r.out).front());
    // Nothing of the root changed: no scheme file, no kept ISP state.
    EXPECT_EQ(before, rootFiles());
}

TEST_F(SensorctlTimelineTest, DayNightProfileWithDawnAndDuskFlicker) {
    storeDayNight();
    const std::string strChart = root() + "/dn.svg";
    const std::string strJson = root() + "/dn.json";
    RunResult r = onCam({"timeline", "--daynight", "/isp/daynight.txt", "--svg", strChart, "--json", strJson});
    ASSERT_EQ(0, r.code) << r.out << r.err;
    // isp/daynight.txt: night, 06:10 day, 06:12 night, 06:15 day, 18:20 night, 18:22 day, 18:23 night.
    const std::string strToDay = "0 (differential, 2 ISP calls): day/night policy: the ISP reports day, which selects "
                                 "scheme 0; keys 34 KEY_BRIGHTNESS, 2337 KEY_SATURATION";
    const std::string strToNight = "1 (differential, 2 ISP calls): day/night policy: the ISP reports night, which "
                                   "selects scheme 1; keys 34 KEY_BRIGHTNESS, 2337 KEY_SATURATION";
    const std::vector<std::string> expected = {
        "sensorctl: start 00:00 scheme 1: day/night policy: the ISP reports night, which selects scheme 1",
        "sensorctl: 06:10 scheme 1 -> " + strToDay,
        "sensorctl: 06:12 scheme 0 -> " + strToNight,
        "sensorctl: 06:15 scheme 1 -> " + strToDay,
        "sensorctl: 18:20 scheme 0 -> " + strToNight,
        "sensorctl: 18:22 scheme 1 -> " + strToDay,
        "sensorctl: 18:23 scheme 0 -> " + strToNight,
        "sensorctl: summary: 6 switches, 4 flips within 5 minutes of the switch before (06:12, 06:15, 18:22, 18:23)",
        "sensorctl:   scheme 0: 12h08m (50.6%)",
        "sensorctl:   scheme 1: 11h52m (49.4%)",
        "sensorctl: timeline: JSON report written to " + strJson,
        "sensorctl: timeline: chart written to " + strChart,
    };
    EXPECT_EQ(expected, body(r));

    // The chart: well-formed, one mark per switch, the night shaded in four
    // bands (00:00-06:10, 06:12-06:15, 18:20-18:22 and 18:23-24:00).
    TiXmlDocument objChart;
    ASSERT_TRUE(objChart.LoadFile(strChart.c_str())) << objChart.ErrorDesc();
    size_t nMarks = 0;
    size_t nNights = 0;
    std::vector<const TiXmlElement*> vecStack = {objChart.RootElement()};
    while (!vecStack.empty()) {
        const TiXmlElement* pElement = vecStack.back();
        vecStack.pop_back();
        const char* szClass = pElement->Attribute("class");
        nMarks += (szClass != nullptr && std::string(szClass) == "switch" && pElement->ValueStr() == "circle") ? 1 : 0;
        nNights += (szClass != nullptr && std::string(szClass) == "night") ? 1 : 0;
        for (const TiXmlElement* pChild = pElement->FirstChildElement(); pChild != nullptr;
             pChild = pChild->NextSiblingElement()) {
            vecStack.push_back(pChild);
        }
    }
    EXPECT_EQ(std::string("svg"), objChart.RootElement()->ValueStr());
    EXPECT_EQ(6u, nMarks);
    EXPECT_EQ(4u, nNights);

    // The JSON report: the same changes and summary.
    const nlohmann::json j = nlohmann::json::parse(slurp(strJson));
    ASSERT_EQ(6u, j.at("changes").size());
    const nlohmann::json& first = j.at("changes").at(0);
    EXPECT_EQ(0, first.at("day").get<int>());
    EXPECT_EQ("06:10", first.at("time").get<std::string>());
    EXPECT_EQ(1, first.at("from").get<int>());
    EXPECT_EQ(0, first.at("to").get<int>());
    EXPECT_FALSE(first.at("forced").get<bool>());
    EXPECT_EQ(2, first.at("isp_calls").get<int>());
    EXPECT_EQ((std::vector<int>{34, 2337}), first.at("keys").get<std::vector<int>>());
    EXPECT_EQ("day/night policy: the ISP reports day, which selects scheme 0", first.at("reason").get<std::string>());
    EXPECT_TRUE(j.at("changes").at(1).at("flip").get<bool>());
    const nlohmann::json& summary = j.at("summary");
    EXPECT_EQ(6, summary.at("switches").get<int>());
    EXPECT_EQ(4, summary.at("flips").get<int>());
    EXPECT_EQ(728, summary.at("minutes_in_scheme").at("0").get<int>());
    EXPECT_EQ(712, summary.at("minutes_in_scheme").at("1").get<int>());
    EXPECT_EQ("day/night", summary.at("policy").get<std::string>());
}

TEST_F(SensorctlTimelineTest, StepsDaysAndAPartOfTheDay) {
    storeTimePlan();
    RunResult r = onCam({"timeline", "--from", "12:00", "--to", "19:00", "--step", "30", "--days", "2"});
    ASSERT_EQ(0, r.code) << r.out << r.err;
    // Each day replays 12:00 to 19:00 again: the second day starts in scheme 2
    // (from 18:30 the day before) and its 12:00 falls outside every window.
    const std::vector<std::string> expected = {
        "sensorctl: start 12:00 scheme 0: time plan: no window holds 12:00, so scheme 0 applies by default",
        std::string("sensorctl: day 0 13:00 scheme 0 -> 1 (differential, 1 ISP calls): time plan: the window "
                    "13:00-18:00 of scheme 1 holds 13:00; ") + kKeysWindowAndBrightness,
        std::string("sensorctl: day 0 18:00 scheme 1 -> 2 (differential, 2 ISP calls): time plan: the window "
                    "18:00-22:00 of scheme 2 holds 18:00; ") + kKeysWindowAndBoth,
        std::string("sensorctl: day 1 12:00 scheme 2 -> 0 (differential, 2 ISP calls): time plan: no window holds "
                    "12:00, so scheme 0 applies by default; ") + kKeysWindowAndBoth,
        std::string("sensorctl: day 1 13:00 scheme 0 -> 1 (differential, 1 ISP calls): time plan: the window "
                    "13:00-18:00 of scheme 1 holds 13:00; ") + kKeysWindowAndBrightness,
        std::string("sensorctl: day 1 18:00 scheme 1 -> 2 (differential, 2 ISP calls): time plan: the window "
                    "18:00-22:00 of scheme 2 holds 18:00; ") + kKeysWindowAndBoth,
        "sensorctl: summary: 5 switches, 0 flips within 5 minutes of the switch before",
        "sensorctl:   scheme 0: 2h00m (14.3%)",
        "sensorctl:   scheme 1: 10h00m (71.4%)",
        "sensorctl:   scheme 2: 2h00m (14.3%)",
    };
    EXPECT_EQ(expected, body(r));
}

TEST_F(SensorctlTimelineTest, PlateRecognitionWindowHidesTheDawnFlicker) {
    m_strCam = root() + "/lpr";
    initCam("lpr");
    // Started at 12:00, inside the window: the replay's first moment leaves it.
    RunResult r = onCam(
        {"--clock", "12:00", "timeline", "--daynight", "/isp/daynight.txt", "--from", "05:00", "--to", "19:00"});
    ASSERT_EQ(0, r.code) << r.out << r.err;
    std::vector<std::string> vecBody = body(r);
    ASSERT_EQ(9u, vecBody.size()) << r.out;
    // The lpr tree's time plan: scheme 0 from 06:00 to 18:00 (every scheme
    // carries that window); outside it the night selects scheme 1.
    EXPECT_EQ("sensorctl: start 05:00 scheme 1: time plan: no window holds 05:00; outside every window the ISP "
              "reports night, which selects scheme 1, applied in full with day/night mode 0 (plate recognition)",
              vecBody[0]);
    EXPECT_EQ(0u, vecBody[1].find("sensorctl: 06:00 scheme 1 -> 0 (forced, ")) << vecBody[1];
    EXPECT_NE(std::string::npos, vecBody[1].find("the window has just begun, so it is applied in full"));
    // Leaving the window: a full apply of the day scheme 0 with day/night mode 0.
    EXPECT_EQ(0u, vecBody[2].find("sensorctl: 18:00 scheme 0 -> 0 (forced, ")) << vecBody[2];
    EXPECT_NE(std::string::npos, vecBody[2].find("applied in full with day/night mode 0 (plate recognition); no key "
                                                  "differs"));
    EXPECT_EQ(0u, vecBody[3].find("sensorctl: 18:20 scheme 0 -> 1 (forced, ")) << vecBody[3];
    EXPECT_EQ(0u, vecBody[4].find("sensorctl: 18:22 scheme 1 -> 0 (forced, ")) << vecBody[4];
    EXPECT_EQ(0u, vecBody[5].find("sensorctl: 18:23 scheme 0 -> 1 (forced, ")) << vecBody[5];
    EXPECT_EQ("sensorctl: summary: 5 switches, 2 flips within 5 minutes of the switch before (18:22, 18:23)",
              vecBody[6]);
}

TEST_F(SensorctlTimelineTest, ExplainInsideBetweenAndOutsideTheWindows) {
    storeTimePlan();
    RunResult r = onCam({"explain", "--at", "10:00"});
    ASSERT_EQ(0, r.code) << r.out << r.err;
    std::vector<std::string> vecInside = {
        "sensorctl: explain: channel 1 at 10:00: scheme 0 is in force",
        "sensorctl: policy: time plan: the first scheme whose window holds the clock, scheme 0 when none does "
        "(scheme mode, key 8000, of scheme 0); automatic switching is on (mode 1)",
        "sensorctl: day/night: not read; the time plan alone decides on this device",
        "sensorctl: windows compared with 10:00, in scheme order (the first that holds it wins):",
        "sensorctl:   scheme 0: 06:00-12:00 holds 10:00",
        "sensorctl:   scheme 1: 13:00-18:00 as stored, not compared: scheme 0 came first (it does not hold 10:00)",
        "sensorctl:   scheme 2: 18:00-22:00 as stored, not compared: scheme 0 came first (it does not hold 10:00)",
        "sensorctl:   scheme 3: 00:00-05:00 as stored, not compared: scheme 0 came first (it does not hold 10:00)",
        "sensorctl: plate recognition: no, an ordinary device",
        "sensorctl: result: scheme 0: time plan: the window 06:00-12:00 of scheme 0 holds 10:00",
    };
    std::vector<std::string> vecLines = lines(r.out);
    ASSERT_GE(vecLines.size(), vecInside.size() + 1);
    EXPECT_EQ(vecInside, std::vector<std::string>(vecLines.begin(), vecLines.begin() + vecInside.size()));
    EXPECT_EQ(0u, vecLines[vecInside.size()].find("sensorctl: record: sequence ")) << vecLines[vecInside.size()];

    // 12:30 lies between the windows of schemes 0 and 1: every window is
    // compared and none holds it.
    r = onCam({"explain", "--at", "12:30"});
    ASSERT_EQ(0, r.code) << r.out << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: explain: channel 1 at 12:30: scheme 0 is in force")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   scheme 0: 06:00-12:00 does not hold 12:30")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   scheme 1: 13:00-18:00 does not hold 12:30")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   scheme 3: 00:00-05:00 does not hold 12:30")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   no window holds 12:30: scheme 0 applies by default")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: result: scheme 0: time plan: no window holds 12:30, so scheme 0 applies "
                               "by default"))
        << r.out;

    // 23:00 lies after the last window of the day; 02:00 in scheme 3's.
    r = onCam({"explain", "--at", "23:00"});
    ASSERT_EQ(0, r.code) << r.out << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   scheme 2: 18:00-22:00 does not hold 23:00")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: result: scheme 0: time plan: no window holds 23:00, so scheme 0 applies "
                               "by default"))
        << r.out;
    const std::string strJson = root() + "/explain.json";
    r = onCam({"explain", "--at", "02:00", "--json", strJson});
    ASSERT_EQ(0, r.code) << r.out << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: explain: channel 1 at 02:00: scheme 3 is in force")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   scheme 3: 00:00-05:00 holds 02:00")) << r.out;
    const nlohmann::json j = nlohmann::json::parse(slurp(strJson));
    EXPECT_EQ(3, j.at("record").at("to").get<int>());
    EXPECT_EQ(3, j.at("record").at("matched_window").get<int>());
    EXPECT_EQ(4, j.at("record").at("window_count").get<int>());
    EXPECT_EQ("time plan", j.at("record").at("policy").get<std::string>());
    EXPECT_EQ("pass", j.at("record").at("source").get<std::string>());
    EXPECT_EQ(lines(r.out).size() - 2, j.at("explanation").size());
}

TEST_F(SensorctlTimelineTest, ExplainOnAPlateRecognitionDevice) {
    m_strCam = root() + "/lpr";
    initCam("lpr");
    // Started at 12:00, inside the window; at 20:00 the window has ended.
    RunResult r = onCam({"--clock", "12:00", "explain", "--at", "20:00"});
    ASSERT_EQ(0, r.code) << r.out << r.err;
    // The lpr profile reports day: outside the window, day selects scheme 0,
    // applied in full again since the window was in force before.
    EXPECT_TRUE(hasLine(r.out, "sensorctl: day/night: the ISP reports day (command 153 reads 0)")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   scheme 0: 06:00-18:00 does not hold 20:00")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: plate recognition: yes; windows come first, outside them the day/night "
                               "state picks scheme 0 or 1 and applies it in full with day/night mode 0; the last "
                               "schedule (m_nLastSchedule) was 1 and is 0"))
        << r.out;
}

TEST_F(SensorctlTimelineTest, ShellReplaysAndPutsTheClockBack) {
    storeDayNight();
    RunResult r = onCam({"shell"}, "clock 12:00\ntimeline --from 18:00 --to 18:30 --daynight /isp/daynight.txt\n"
                                   "explain\nscheme\n");
    ASSERT_EQ(0, r.code) << r.out << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: summary: 3 switches, 2 flips within 5 minutes of the switch before (18:22, "
                               "18:23)"))
        << r.out;
    // The shell's clock and the ISP's day state are back: scheme 0 at 12:00.
    EXPECT_TRUE(hasLine(r.out, "sensorctl: explain: channel 1 at 12:00: scheme 0 is in force")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: scheme 0 (user schemes 0-3, factory scheme 4)")) << r.out;
}

TEST_F(SensorctlTimelineTest, BadArgumentsAreUsageErrors) {
    expectError(onCam({"timeline", "--from", "18:00", "--to", "06:00"}), 2, "--from 18:00 must come before --to 06:00");
    expectError(onCam({"timeline", "--from", "24:00"}), 2, "--from needs HH:MM");
    expectError(onCam({"timeline", "--step", "0"}), 2, "--step");
    expectError(onCam({"timeline", "--days", "32"}), 2, "--days");
    expectError(onCam({"explain", "--from", "10:00"}), 2, "option --from does not apply to 'explain'");
    expectError(onCam({"timeline", "--daynight", root() + "/none.txt"}), 2, "cannot read the day/night profile");
    const std::string strProfile = root() + "/bad.txt";
    writeFile("/bad.txt", "06:00 day\n# dusk\n18:00 dusk\n");
    expectError(onCam({"timeline", "--daynight", strProfile}), 2, "line 3: expected 'HH:MM day' or 'HH:MM night'");
    writeFile("/twice.txt", "06:00 day\n06:00 night\n");
    expectError(onCam({"timeline", "--daynight", root() + "/twice.txt"}), 2, "line 2: 06:00 is given twice");
}
