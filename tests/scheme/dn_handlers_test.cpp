// The day/night threshold and time handlers: ISP records completed from the
// current scheme's cache.
#include "scheme/SchemeFixture.h"

namespace scheme_test {
namespace {

class DnHandlersTest : public SchemeTest {
protected:
    void SetUp() override {
        SchemeTest::SetUp();
        buildCache(3);
        ispsim::clearCalls();
    }

    // The one ISP call made; fails the test when there is not exactly one.
    ispsim::Call onlyCall() {
        auto calls = ispsim::calls();
        EXPECT_EQ(1u, calls.size());
        return calls.empty() ? ispsim::Call{} : calls.back();
    }
};

// ---- doDNThr ----

TEST_F(DnHandlersTest, DayToNightThresholdTakesTheOtherFromTheCache) {
    u32 v = 30;
    EXPECT_EQ(0, ctl().doDNThr(145, 0, &v));
    ispsim::Call call = onlyCall();
    EXPECT_EQ(0, call.channel);
    EXPECT_EQ(145u, call.cmd);
    EXPECT_EQ(0u, call.opt);
    // The sensitivity is not taken from the cache (3 there).
    EXPECT_EQ((std::vector<uint32_t>{30, 60, 0}), call.data);
}

TEST_F(DnHandlersTest, NightToDayThresholdTakesTheOtherFromTheCache) {
    u32 v = 80;
    EXPECT_EQ(0, ctl().doDNThr(146, 0, &v));
    ispsim::Call call = onlyCall();
    EXPECT_EQ(146u, call.cmd);
    EXPECT_EQ((std::vector<uint32_t>{20, 80, 0}), call.data);
}

TEST_F(DnHandlersTest, SensitivityIsSentWithUnfilledThresholds) {
    u32 v = 7;
    EXPECT_EQ(0, ctl().doDNThr(154, 0, &v));
    ispsim::Call call = onlyCall();
    EXPECT_EQ(154u, call.cmd);
    // The thresholds (20 and 60 in the cache) are deliberately not filled in.
    EXPECT_EQ((std::vector<uint32_t>{0, 0, 7}), call.data);
}

TEST_F(DnHandlersTest, ThresholdUsesTheCurrentSchemesCache) {
    put(2, K_NTD_THR, 66);
    Peer::curScheme(ctl()) = 2;
    u32 v = 31;
    EXPECT_EQ(0, ctl().doDNThr(145, 0, &v));
    EXPECT_EQ((std::vector<uint32_t>{31, 66, 0}), onlyCall().data);
}

TEST_F(DnHandlersTest, ThresholdOptionIsPassedThrough) {
    u32 v = 30;
    EXPECT_EQ(0, ctl().doDNThr(145, 1, &v));
    EXPECT_EQ(1u, onlyCall().opt);
}

TEST_F(DnHandlersTest, ThresholdFailureIsIgnoredOnlyWhileRestoring) {
    ispsim::setFailure(0, 145, 0, -4);
    u32 v = 30;
    EXPECT_EQ(-4, ctl().doDNThr(145, 0, &v));
    Peer::setFlag(ctl(), ISensorController::FLAG_RESTORING, true);
    EXPECT_EQ(0, ctl().doDNThr(145, 0, &v));
    // The record was still sent.
    EXPECT_EQ(2u, ispsim::calls().size());
}

TEST_F(DnHandlersTest, ThresholdTraceAtDebugLevelAboveFive) {
    setDebugMarker("6");
    captureStdout();
    u32 v = 30;
    ctl().doDNThr(145, 0, &v);
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("[sensor dbg]"));
    EXPECT_NE(std::string::npos, out.find("m_nCurScheme(0) dn_thr_st.d2n_thr(30) dn_thr_st.n2d_thr(60)  "
                                          "dn_thr_st.dn_sensitivity(0)\n"));
}

TEST_F(DnHandlersTest, ThresholdTraceSilentAtDefaultLevel) {
    captureStdout();
    u32 v = 30;
    ctl().doDNThr(145, 0, &v);
    EXPECT_EQ(std::string::npos, capturedStdout().find("dn_thr_st"));
}

TEST_F(DnHandlersTest, ThresholdThroughTheApplyPath) {
    KeyVal rec = {K_DTN_THR, 25};
    EXPECT_EQ(0, ctl().setParameters(&rec, 1, true));
    ispsim::Call call = onlyCall();
    EXPECT_EQ(145u, call.cmd);
    EXPECT_EQ((std::vector<uint32_t>{25, 60, 0}), call.data);
    EXPECT_EQ(25u, get(0, K_DTN_THR));

    ispsim::clearCalls();
    KeyVal sens = {K_DN_SENS, 9};
    EXPECT_EQ(0, ctl().setParameters(&sens, 1, true));
    EXPECT_EQ((std::vector<uint32_t>{0, 0, 9}), onlyCall().data);
}

// ---- doDNTime ----

TEST_F(DnHandlersTest, TimeRecordTakesTheOtherFieldsFromTheCache) {
    put(0, K_DTN_M, 30);
    put(0, K_NTD_M, 15);
    u32 v = 19;
    EXPECT_EQ(0, ctl().doDNTime(149, 0, &v));
    ispsim::Call call = onlyCall();
    EXPECT_EQ(149u, call.cmd);
    EXPECT_EQ(0u, call.opt);
    EXPECT_EQ((std::vector<uint32_t>{19, 30, 6, 15}), call.data);
}

TEST_F(DnHandlersTest, TimeRecordFieldOfEachCommand) {
    u32 v = 41;
    ctl().doDNTime(150, 0, &v);
    ctl().doDNTime(151, 0, &v);
    ctl().doDNTime(152, 0, &v);
    // Any other command is sent with its own number.
    ctl().doDNTime(999, 0, &v);
    auto calls = ispsim::calls();
    ASSERT_EQ(4u, calls.size());
    EXPECT_EQ((std::vector<uint32_t>{18, 41, 6, 0}), calls[0].data);
    EXPECT_EQ((std::vector<uint32_t>{18, 0, 41, 0}), calls[1].data);
    EXPECT_EQ((std::vector<uint32_t>{18, 0, 6, 41}), calls[2].data);
    EXPECT_EQ(152u, calls[2].cmd);
    // The simulated ISP logs one word of a command it does not know.
    EXPECT_EQ(999u, calls[3].cmd);
    EXPECT_EQ(18u, calls[3].data.at(0));
}

TEST_F(DnHandlersTest, TimeRecordUsesTheCurrentSchemesCache) {
    put(1, K_DTN_H, 20);
    Peer::curScheme(ctl()) = 1;
    u32 v = 7;
    ctl().doDNTime(151, 0, &v);
    EXPECT_EQ((std::vector<uint32_t>{20, 0, 7, 0}), onlyCall().data);
}

TEST_F(DnHandlersTest, TimeFailureIsReturnedEvenWhileRestoring) {
    ispsim::setFailure(0, 149, 0, -4);
    Peer::setFlag(ctl(), ISensorController::FLAG_RESTORING, true);
    u32 v = 19;
    EXPECT_EQ(-4, ctl().doDNTime(149, 0, &v));
}

TEST_F(DnHandlersTest, TimeTraceAtDebugLevelAboveFive) {
    setDebugMarker("6");
    captureStdout();
    u32 v = 19;
    ctl().doDNTime(149, 0, &v);
    std::string out = capturedStdout();
    EXPECT_NE(std::string::npos, out.find("[sensor dbg]"));
    EXPECT_NE(std::string::npos, out.find("m_nCurScheme(0) dn_time_st.d2n_hour(19) dn_time_st.d2n_min(0) "
                                          "dn_time_st.n2d_hour(6) dn_time_st.n2d_min(0) \n"));
}

} // namespace
} // namespace scheme_test
