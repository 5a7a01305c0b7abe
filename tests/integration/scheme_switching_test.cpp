// The sensor thread at work on the sample trees: time windows as the clock
// moves, day/night by the ISP's state, the plate-recognition windows, and
// the field-of-view request carried out by channel 1.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "integration/integration_fixture.h"

namespace integration_test {
namespace {

class SchemeSwitchingTest : public IntegrationTest {
protected:
    // Polls the current scheme until it is p_nScheme.
    bool waitForScheme(ISensorController& c, int p_nScheme) {
        return waitFor([&] { return scheme(c) == p_nScheme; });
    }
    // Makes p_nScheme current and applies the text to it.
    void editScheme(ISensorController& c, int p_nScheme, const std::string& p_strText) {
        ASSERT_TRUE(c.setParamScheme(p_nScheme));
        ASSERT_EQ(0, c.setParameters(p_strText, true));
    }
};

TEST_F(SchemeSwitchingTest, TimeWindowsSwitchAsTheClockMoves) {
    installDeviceTree("box");
    platform::setClock(6, 0);
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    ASSERT_FALSE(Peer::timeScheme(c).load());

    // Windows: scheme 0 00:00-08:00, scheme 1 08:00-18:00, scheme 2
    // 18:00-24:00; automatic switching suspended while they are written.
    ASSERT_TRUE(c.setParamMode(0));
    editScheme(c, 0, "(8000,1)(8001,0)(8002,0)(8003,8)(8004,0)(34,10)");
    EXPECT_EQ(0, c.flush());
    EXPECT_TRUE(Peer::timeScheme(c).load());
    editScheme(c, 1, "(8001,8)(8002,0)(8003,18)(8004,0)(34,20)");
    EXPECT_EQ(0, c.flush());
    editScheme(c, 2, "(8001,18)(8002,0)(8003,24)(8004,0)(34,30)");
    EXPECT_EQ(0, c.flush());
    EXPECT_EQ(1800, c.getParamSchemeTime(8001) * 100 + c.getParamSchemeTime(8002));

    // 06:00 lies in scheme 0's window.
    ASSERT_TRUE(c.setParamMode(1));
    ASSERT_TRUE(waitForScheme(c, 0));

    // 09:30: scheme 1. Only the keys that differ are sent, and the window
    // keys never reach the ISP.
    ispsim::clearCalls();
    platform::setClock(9, 30);
    ASSERT_TRUE(waitForScheme(c, 1));
    std::vector<SetCall> expected = {{0, 34, 20}};
    EXPECT_EQ(expected, setCalls());

    // 18:00 is the start of scheme 2's window (and the end of scheme 1's).
    ispsim::clearCalls();
    platform::setClock(18, 0);
    ASSERT_TRUE(waitForScheme(c, 2));
    expected = {{0, 34, 30}};
    EXPECT_EQ(expected, setCalls());

    // 07:59: back to scheme 0.
    ispsim::clearCalls();
    platform::setClock(7, 59);
    ASSERT_TRUE(waitForScheme(c, 0));
    expected = {{0, 34, 10}};
    EXPECT_EQ(expected, setCalls());

    // Suspended switching keeps the scheme whatever the clock says.
    ASSERT_TRUE(c.setParamMode(0));
    platform::setClock(12, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(0, scheme(c));
    c.uinit();

    // The windows were saved: a new controller picks the scheme at once.
    platform::setClock(12, 0);
    ISensorController c2;
    c2.setChannelID(1);
    c2.init(firstModule());
    EXPECT_TRUE(Peer::timeScheme(c2).load());
    EXPECT_EQ(1, scheme(c2));
    c2.uinit();
}

TEST_F(SchemeSwitchingTest, DayNightFollowsIspCommand153) {
    installDeviceTree("box");
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    ASSERT_TRUE(c.setParamMode(0));
    editScheme(c, 1, "(34,20)(2337,40)");
    editScheme(c, 0, "(8000,2)");
    EXPECT_TRUE(Peer::dnScheme(c).load());
    ASSERT_TRUE(c.setParamMode(1));

    ispsim::clearCalls();
    ispsim::setValue(0, 153, 1); // night
    ASSERT_TRUE(waitForScheme(c, 1));
    EXPECT_TRUE(hasSetCall(0, 34, 20));
    EXPECT_TRUE(hasSetCall(0, 2337, 40));

    ispsim::clearCalls();
    ispsim::setValue(0, 153, 0); // day
    ASSERT_TRUE(waitForScheme(c, 0));
    std::vector<SetCall> expected = {{0, 34, 50}, {0, 2337, 50}};
    EXPECT_EQ(expected, setCalls());

    // The day/night policy wins over the time schedule.
    Peer::timeScheme(c) = true;
    ispsim::setValue(0, 153, 1);
    ASSERT_TRUE(waitForScheme(c, 1));
    c.uinit();
}

TEST_F(SchemeSwitchingTest, PlateRecognitionWindowEntryAndExit) {
    installDeviceTree("lpr");
    platform::setClock(7, 0);
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    ASSERT_TRUE(Peer::lprMode(c));
    ASSERT_TRUE(c.setParamMode(0));

    // Scheme 0: time policy with a window 08:00-12:00; the other schemes get
    // empty windows; scheme 1 (the night scheme) holds day/night mode 2.
    editScheme(c, 1, "(8001,0)(8002,0)(8003,0)(8004,0)(144,2)(34,20)");
    editScheme(c, 2, "(8001,0)(8002,0)(8003,0)(8004,0)");
    editScheme(c, 3, "(8001,0)(8002,0)(8003,0)(8004,0)(34,33)");
    editScheme(c, 0, "(8000,1)(8001,8)(8002,0)(8003,12)(8004,0)(34,10)");
    ASSERT_TRUE(Peer::timeScheme(c).load());

    // 07:00, day, outside every window: the day scheme 0 is applied in full
    // (its brightness is sent although the ISP holds it already).
    ispsim::clearCalls();
    ASSERT_TRUE(c.setParamMode(1));
    ASSERT_TRUE(waitFor([] { return hasSetCall(0, 34, 10); }));
    EXPECT_EQ(0, scheme(c));

    // 10:00: the window of scheme 0 begins: every record of scheme 0 is
    // sent again, also those equal to what the ISP holds.
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ispsim::clearCalls();
    platform::setClock(10, 0);
    ASSERT_TRUE(waitFor([] { return hasSetCall(0, 34, 10); }));
    EXPECT_EQ(0, scheme(c));
    int nSaturation = -1;
    int nContrast = -1;
    ASSERT_TRUE(c.getParameter(2337, nSaturation));
    ASSERT_TRUE(c.getParameter(2353, nContrast));
    EXPECT_TRUE(hasSetCall(0, 2337, static_cast<uint32_t>(nSaturation)));
    EXPECT_TRUE(hasSetCall(0, 2353, static_cast<uint32_t>(nContrast)));
    EXPECT_GT(setCalls().size(), 20u);

    // Staying in the window: nothing more.
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ispsim::clearCalls();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(setCalls().empty());

    // A user choice inside the window is switched back in the next pass,
    // sending only what differs.
    ASSERT_TRUE(c.setParamMode(0));
    ASSERT_TRUE(c.setParamScheme(3));
    ispsim::clearCalls();
    ASSERT_TRUE(c.setParamMode(1));
    ASSERT_TRUE(waitForScheme(c, 0));
    std::vector<SetCall> expected = {{0, 34, 10}};
    EXPECT_EQ(expected, setCalls());

    // 13:00: outside every window at night: scheme 1 is applied in full with
    // day/night mode 0; the stored scheme keeps its 2.
    ispsim::setValue(0, 153, 1);
    ispsim::clearCalls();
    platform::setClock(13, 0);
    ASSERT_TRUE(waitForScheme(c, 1));
    EXPECT_TRUE(hasSetCall(0, 144, 0));
    EXPECT_FALSE(hasSetCall(0, 144, 2));
    EXPECT_TRUE(hasSetCall(0, 34, 20));
    EXPECT_TRUE(hasSetCall(0, 2337, static_cast<uint32_t>(nSaturation)));
    int nDnMode = -1;
    EXPECT_TRUE(c.getParameter(144, nDnMode));
    EXPECT_EQ(2, nDnMode);

    // Morning, still outside the windows: the day scheme 0, again in full.
    ispsim::clearCalls();
    ispsim::setValue(0, 153, 0);
    platform::setClock(7, 30);
    ASSERT_TRUE(waitForScheme(c, 0));
    EXPECT_TRUE(hasSetCall(0, 144, 0));
    EXPECT_TRUE(hasSetCall(0, 2353, static_cast<uint32_t>(nContrast)));
    c.uinit();
}

TEST_F(SchemeSwitchingTest, FieldOfViewRequestOnChannelTwoIsCarriedOutByChannelOne) {
    installDeviceTree("box");
    writeFile("/mnt/mtd/hd1/program/config/sync_fov.ini", "zoom1=20000,\nfocus1=350,\nzoom2=9000,\n");
    ISensorController c1;
    c1.setChannelID(1);
    ISensorController c2;
    c2.setChannelID(2);
    ASSERT_TRUE(c1.init(firstModule()));
    ASSERT_TRUE(c2.init(firstModule()));
    ispsim::clearCalls();
    captureStdout();

    // The request reaches channel 2; it only posts the action.
    EXPECT_EQ(0, c2.setParameters(std::string("(8104,1)"), true));
    // Channel 1's thread moves its own lens (ISP channel 0) to zoom1.
    bool bDone = waitFor([] { return hasSetCall(0, 1568, 20000); });
    std::string out = capturedStdout();
    EXPECT_TRUE(bDone);
    EXPECT_TRUE(waitFor([] { return ISensorController::m_nChanneldDosomething.load() == -1; }));
    EXPECT_EQ(-1, ISensorController::m_nPassKeycmd.load());
    EXPECT_NE(std::string::npos, out.find("zoom= 20000,focus= 350 \n"));
    // Channel 2's lens is not moved.
    for (const SetCall& call : setCalls()) {
        EXPECT_NE(1, call.channel) << call;
    }
    c2.uinit();
    c1.uinit();
}

TEST_F(SchemeSwitchingTest, FieldOfViewRequestRunsWhileSwitchingIsSuspended) {
    installDeviceTree("box");
    writeFile("/mnt/mtd/hd1/program/config/sync_fov.ini", "zoom1=12345,focus1=10,\n");
    ISensorController c1;
    c1.setChannelID(1);
    ASSERT_TRUE(c1.init(firstModule()));
    ASSERT_TRUE(c1.setParamMode(0));
    ispsim::clearCalls();
    captureStdout();
    EXPECT_EQ(0, c1.setParameters(std::string("(8104,1)"), false));
    bool bDone = waitFor([] { return hasSetCall(0, 1568, 12345); });
    capturedStdout();
    EXPECT_TRUE(bDone);
    c1.uinit();
}

} // namespace
} // namespace integration_test
