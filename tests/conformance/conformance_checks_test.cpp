// The check library in-process: the facts it reads from the library, guarded
// probes, patterns, the report lines, and ISP checks against ISPs that fall
// short in ways no simulator profile expresses.
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "conformance/Check.h"
#include "conformance/IspChecks.h"
#include "conformance/IspProbe.h"
#include "conformance/LibraryFacts.h"
#include "conformance/PlatformPort.h"
#include "conformance/tool/Report.h"
#include "platform/ia_ioctrl.h"
#include "support/TestEnv.h"

namespace {

using namespace conformance;

class ConformanceChecksTest : public tarnix_test::TarnixTest {
protected:
    Result runOne(const std::string& p_strId, IspCall p_fnIsp = deviceIsp()) {
        Context context{m_objPort, std::move(p_fnIsp), Options()};
        std::vector<CheckRun> runs = runChecks(context, p_strId, nullptr);
        EXPECT_EQ(1u, runs.size()) << p_strId;
        return runs.empty() ? Result() : runs.front().result;
    }
    PlatformPort m_objPort;
};

TEST(LibraryFacts, TableCommandsFollowTheKeyTable) {
    ASSERT_EQ(166u, keyRows().size());
    EXPECT_EQ("KEY__DDE_MANUAL_STRG", keyRows().front().name);
    // Each ISP command once, with every key that drives it.
    const TableCommand* pIris = tableCommand(85);
    ASSERT_NE(nullptr, pIris);
    EXPECT_EQ("KEY_IRIS_SIZE (83)", keysOf(85));
    EXPECT_EQ("KEY_WHITE_SWITCH (170)", keysOf(168));
    EXPECT_EQ(RowKind::Momentary, tableCommand(83)->kind);     // KEY_IRIS_UP
    EXPECT_EQ(RowKind::Momentary, tableCommand(8211)->kind);   // KEY_SHUTTER_ADJUST
    EXPECT_EQ(RowKind::Momentary, tableCommand(2464)->kind);   // KEY_SENSOR_FPS
    EXPECT_EQ(RowKind::DayNightThresholds, tableCommand(154)->kind);
    EXPECT_EQ(3u, tableCommand(145)->words);
    EXPECT_EQ(RowKind::DayNightTimes, tableCommand(152)->kind);
    EXPECT_EQ(4u, tableCommand(149)->words);
    EXPECT_EQ(RowKind::Value, tableCommand(2384)->kind);       // doMirror
    // Handled without the ISP or only stored: no command.
    for (uint32_t cmd : {8104u, 8100u, 9101u, 190u, 2386u, 0u}) {
        EXPECT_EQ(nullptr, tableCommand(cmd)) << cmd;
    }
    EXPECT_EQ("", keysOf(168 + 1000));
    EXPECT_EQ(113u, tableCommands().size());
}

TEST(LibraryFacts, LimitsAndRecordsComeFromTheLibrary) {
    EXPECT_EQ(16u, maxDynamicCommands());
    EXPECT_EQ(64u, maxRangeItems());
    EXPECT_EQ(30u, shutterListMax());
    EXPECT_EQ(128u, valueBufferWords());
    EXPECT_EQ(17u, commandListWords());
    EXPECT_EQ(69u, rangeRecordWords());
    EXPECT_TRUE(isRangeQueryable(1537));
    EXPECT_FALSE(isRangeQueryable(52));
    EXPECT_EQ(1u, valueWordOf(146));
    EXPECT_EQ(2u, valueWordOf(154));
    EXPECT_EQ(3u, valueWordOf(152));
    EXPECT_EQ(0u, valueWordOf(34));
    EXPECT_TRUE(isMotorPosition(1552));
    EXPECT_TRUE(isMotorPosition(1568));
    EXPECT_TRUE(isMotorPosition(82));
    EXPECT_FALSE(isMotorPosition(1536));
    EXPECT_STREQ("/mnt/mtd/code/config_file", schemeDirectory());
}

TEST(Probe, MeasuresHowFarACallWritesPastItsRecord) {
    Probe probe(3);
    auto writer = [](size_t p_nWords) {
        return [p_nWords](int, uint32_t, unsigned int, void* p_pData) {
            std::memset(p_pData, 0x11, p_nWords * sizeof(uint32_t));
            return 0;
        };
    };
    EXPECT_EQ(0, probe.call(writer(3), 0, 17, 1));
    EXPECT_EQ(0u, probe.overrun());
    EXPECT_EQ(0x11111111u, probe[2]);
    probe.clear();
    EXPECT_EQ(0u, probe[2]);
    probe.call(writer(5), 0, 17, 1);
    EXPECT_EQ(2u, probe.overrun());
    probe.clear();
    probe.call(writer(3 + Probe::kGuardWords), 0, 17, 1);
    EXPECT_EQ(Probe::kGuardWords, probe.overrun());
}

TEST(Patterns, CommaSeparatedShellPatterns) {
    EXPECT_TRUE(matchesPattern("isp.read", ""));
    EXPECT_TRUE(matchesPattern("isp.read", "isp.*"));
    EXPECT_TRUE(matchesPattern("platform.file.lines", "isp.read,platform.file.*"));
    EXPECT_FALSE(matchesPattern("platform.mutex", "isp.read,platform.file.*"));
    EXPECT_FALSE(matchesPattern("isp.read", "isp"));
    EXPECT_TRUE(matchesPattern("isp.range.bounds", ",,isp.range.b*,"));
}

TEST(Report, OneLinePerCheckAndASummary) {
    CheckDef def{"isp.read", "title", nullptr};
    CheckRun run{&def, ok("113 commands answer a read"), 1.0};
    EXPECT_EQ("isp.read                ok (113 commands answer a read)", checkLine(run));
    run.result = ok();
    EXPECT_EQ("isp.read                ok", checkLine(run));
    run.result = fail("a", "b", "c");
    EXPECT_EQ("isp.read                FAIL: expected a, got b; affects c", checkLine(run));
    run.result = skip("why");
    EXPECT_EQ("isp.read                skip: why", checkLine(run));
    run.result = warn("what");
    run.result.details = {"one", "two"};
    EXPECT_EQ("isp.read                warn: what", checkLine(run));
    EXPECT_EQ((std::vector<std::string>{"    - one", "    - two"}), detailLines(run));
    CheckDef longDef{"platform.time.fakeclock.x", "title", nullptr};
    CheckRun longRun{&longDef, ok(), 1.0};
    EXPECT_EQ("platform.time.fakeclock.x ok", checkLine(longRun));
    std::vector<CheckRun> runs = {run, longRun, CheckRun{&def, fail("a", "b", "c"), 1.0}};
    Summary summary = summarise(runs);
    EXPECT_EQ("3 checks: 1 ok, 1 FAIL, 1 warn, 0 skip (2.5 s)", summaryLine(summary, 2468.0));
    EXPECT_EQ("1 check: 1 ok, 0 FAIL, 0 warn, 0 skip (0.0 s)", summaryLine(summarise({longRun}), 12.0));
}

TEST_F(ConformanceChecksTest, AnIspWithoutDynamicParametersHasNoRangesToCheck) {
    // The simulated ISP with nothing registered: an empty command list.
    Result list = runOne("isp.cmdlist");
    EXPECT_EQ(Status::Ok, list.status);
    EXPECT_EQ("0 dynamic commands", list.message);
    Result bounds = runOne("isp.range.bounds");
    EXPECT_EQ(Status::Skip, bounds.status);
    EXPECT_EQ("no listed command has a usable range record (see isp.range.layout)", bounds.message);
    Result shutter = runOne("isp.shutter");
    EXPECT_EQ(Status::Warn, shutter.status);
    EXPECT_EQ("KEY_MAX_SHUTTER (49) is not a listed dynamic command: shutter stepping "
              "(getShutterValue, setShutterValue, shutterUp, shutterDown) reports failure on this channel",
              shutter.message);
}

TEST_F(ConformanceChecksTest, AFailingCommandListFailsItsCheckAndSkipsTheRangeChecks) {
    ispsim::setDynamicParam(0, 49, 6, {2, 6, 9});
    ispsim::setFailure(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, -7);
    Result list = runOne("isp.cmdlist");
    EXPECT_EQ(Status::Fail, list.status);
    EXPECT_EQ("expected result 0 from the dynamic command list (command 4112, option 1), got -7; affects the "
              "settings page narrowed to the ISP's ranges (getUIStyleFile), the factory values read from it and "
              "value correction (getAllParameters): no item is narrowed to the ISP's ranges",
              list.message);
    for (const char* id : {"isp.range.layout", "isp.range.bounds", "isp.range.default", "isp.range.unique",
                           "isp.correct", "isp.shutter"}) {
        Result result = runOne(id);
        EXPECT_EQ(Status::Skip, result.status) << id;
        EXPECT_EQ("the dynamic command list does not read (see isp.cmdlist)", result.message) << id;
    }
}

TEST_F(ConformanceChecksTest, ASingleValueReadThatWritesTwoWordsIsCaught) {
    // An ISP that answers every read of KEY_BRIGHTNESS with two words.
    IspCall isp = [](int p_nChannel, uint32_t p_nCmd, unsigned int p_nOpt, void* p_pData) {
        int nResult = deviceIsp()(p_nChannel, p_nCmd, p_nOpt, p_pData);
        if (p_nCmd == 34 && p_nOpt == 1) {
            static_cast<uint32_t*>(p_pData)[1] = 0;
        }
        return nResult;
    };
    Result result = runOne("isp.records", isp);
    EXPECT_EQ(Status::Fail, result.status);
    EXPECT_EQ("expected every record the library exchanges written no further than its size, got command 34 "
              "(option 1) writing 1 words past its 1-word one value; affects KEY_BRIGHTNESS (34): the library's "
              "buffer ends with the record, so the ISP overwrites the caller's memory",
              result.message);
}

TEST_F(ConformanceChecksTest, TheShutterMustBeAmongItsListedValues) {
    ispsim::setDynamicParam(0, 49, 6, {2, 6, 9});
    EXPECT_EQ(Status::Ok, runOne("isp.shutter").status);
    ispsim::setValue(0, 49, 7);
    Result result = runOne("isp.shutter");
    EXPECT_EQ(Status::Fail, result.status);
    EXPECT_EQ("expected the current shutter among the listed values 2 6 9, got 7; affects shutter stepping "
              "(getShutterValue, setShutterValue, shutterUp, shutterDown): the current value is not found in the list",
              result.message);
}

TEST_F(ConformanceChecksTest, RoundTripsRestoreTheOriginalValues) {
    ispsim::setValue(0, 34, 60);
    ispsim::setValue(0, 145, 30);
    ispsim::setValue(0, 152, 45);
    EXPECT_EQ(Status::Ok, runOne("isp.roundtrip").status);
    uint32_t value = 0;
    ASSERT_TRUE(ispsim::getValue(0, 34, value));
    EXPECT_EQ(60u, value);
    ASSERT_TRUE(ispsim::getValue(0, 145, value));
    EXPECT_EQ(30u, value);
    ASSERT_TRUE(ispsim::getValue(0, 152, value));
    EXPECT_EQ(45u, value);
    // Momentary commands are never set.
    for (const ispsim::Call& call : ispsim::calls()) {
        if (call.opt == 0) {
            EXPECT_NE(1569u, call.cmd);
            EXPECT_NE(83u, call.cmd);
        }
    }
}

TEST_F(ConformanceChecksTest, ARoundTripThatReadsBackAnotherValueNamesTheKey) {
    // An ISP that rounds KEY_SATURATION down to even values.
    IspCall isp = [](int p_nChannel, uint32_t p_nCmd, unsigned int p_nOpt, void* p_pData) {
        if (p_nCmd == 2337 && p_nOpt == 0) {
            uint32_t nEven = *static_cast<uint32_t*>(p_pData) & ~1u;
            return deviceIsp()(p_nChannel, p_nCmd, p_nOpt, &nEven);
        }
        return deviceIsp()(p_nChannel, p_nCmd, p_nOpt, p_pData);
    };
    ispsim::setValue(0, 2337, 50);
    Result result = runOne("isp.roundtrip", isp);
    EXPECT_EQ(Status::Fail, result.status);
    EXPECT_EQ("expected command 2337 to read back 49 after a set of it, got 48; affects KEY_SATURATION (2337): the "
              "ISP does not keep the value the library applies, caches and saves in the scheme files",
              result.message);
}

TEST_F(ConformanceChecksTest, ASecondChannelThatDoesNotAnswerIsSkipped) {
    IspCall isp = [](int p_nChannel, uint32_t p_nCmd, unsigned int p_nOpt, void* p_pData) {
        return p_nChannel == 0 ? deviceIsp()(p_nChannel, p_nCmd, p_nOpt, p_pData) : -1;
    };
    Result result = runOne("isp.channels", isp);
    EXPECT_EQ(Status::Skip, result.status);
    EXPECT_EQ("ISP channel 1 does not answer command 8240 (a camera with one channel?)", result.message);
}

} // namespace
