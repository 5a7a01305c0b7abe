// The key-command table: row order, commands, handlers and names.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "controller/ISensorController.h"
#include "controller/KeyCmdRows.h"
#include "handlers/ParamRange.h"
#include "support/ControllerPeer.h"
#include "support/TestEnv.h"

using Peer = ISensorControllerTestPeer;

namespace {

class KeyCmdTableTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        controller.reset(new ISensorController());
        Peer::buildKeyCmdMap(*controller);
    }
    void TearDown() override {
        // The table was built without init, so no uinit releases it.
        std::free(Peer::keyCmdMap(*controller));
        Peer::keyCmdMap(*controller) = nullptr;
        controller.reset();
        TarnixTest::TearDown();
    }
    int find(unsigned int key, keycmd& row) {
        return controller->findFromKeyCmdMap(Peer::keyCmdMap(*controller), key, row);
    }
    std::unique_ptr<ISensorController> controller;
};

std::string boundedName(const keycmd& row) { return std::string(row.szKeyName, strnlen(row.szKeyName, KEYCMD_NAME_LEN)); }

} // namespace

TEST_F(KeyCmdTableTest, ConstructedControllerHas170RowsAndNoTable) {
    ISensorController fresh;
    EXPECT_EQ(170u, Peer::keyCmdSum(fresh));
    EXPECT_EQ(nullptr, Peer::keyCmdMap(fresh));
    keycmd row;
    EXPECT_EQ(-1, fresh.findFromKeyCmdMap(Peer::keyCmdMap(fresh), 34, row));
}

TEST_F(KeyCmdTableTest, Holds166RowsAndFourZeroedSpares) {
    EXPECT_EQ(166u, Peer::keyCmdSum(*controller));
    keycmd* table = Peer::keyCmdMap(*controller);
    std::set<u32> keys;
    for (int i = 0; i < 166; ++i) {
        keys.insert(table[i].key);
    }
    EXPECT_EQ(166u, keys.size());
    keycmd zero;
    std::memset(&zero, 0, sizeof(zero));
    for (int i = 166; i < 170; ++i) {
        EXPECT_EQ(0, std::memcmp(&zero, &table[i], sizeof(keycmd))) << "row " << i;
    }
}

TEST_F(KeyCmdTableTest, FirstAndLastRows) {
    keycmd row;
    EXPECT_EQ(0, find(8240, row));
    EXPECT_EQ("KEY__DDE_MANUAL_STRG", boundedName(row));
    EXPECT_STREQ("&ISensorController::doIaCmd", row.szFuncName);
    EXPECT_EQ(165, find(773, row));
    EXPECT_EQ("KEY_WB_BG", boundedName(row));
}

TEST_F(KeyCmdTableTest, UnknownKeysReturnMinusOne) {
    keycmd row;
    EXPECT_EQ(-1, find(12, row));
    EXPECT_EQ(-1, find(0, row));
    EXPECT_EQ(-1, find(201, row));
}

TEST_F(KeyCmdTableTest, UnknownKeyTraceAboveLevelFive) {
    keycmd row;
    captureStdout();
    find(12, row);
    EXPECT_EQ("", capturedStdout());
    setDebugMarker("6");
    captureStdout();
    find(12, row);
    EXPECT_EQ("\033[0m\033[0mcand not find key-cmd while key=12\n\033[0m", capturedStdout());
}

TEST_F(KeyCmdTableTest, SyncFovRowGoesToDoIoCrtl) {
    keycmd row;
    EXPECT_EQ(86, find(8104, row));
    EXPECT_EQ(8104u, row.ia_cmd);
    EXPECT_TRUE(row.fun == &ISensorController::doIoCrtl);
    EXPECT_STREQ("&ISensorController::doIoCrtl", row.szFuncName);
}

TEST_F(KeyCmdTableTest, RowsWhoseCommandDiffersFromTheKey) {
    keycmd row;
    find(2497, row);
    EXPECT_EQ(2464u, row.ia_cmd);
    EXPECT_TRUE(row.fun == &ISensorController::doIaCmd_User);
    find(83, row);
    EXPECT_EQ(85u, row.ia_cmd);
    find(17, row);
    EXPECT_EQ(83u, row.ia_cmd);
    find(18, row);
    EXPECT_EQ(84u, row.ia_cmd);
    find(170, row);
    EXPECT_EQ(168u, row.ia_cmd);
    find(174, row);
    EXPECT_EQ(172u, row.ia_cmd);
}

TEST_F(KeyCmdTableTest, SchemeKeyHasNoHandler) {
    keycmd row;
    EXPECT_EQ(92, find(8000, row));
    EXPECT_TRUE(row.fun == nullptr);
    EXPECT_EQ(0u, row.ia_cmd);
    EXPECT_STREQ("NULL", row.szFuncName);
    EXPECT_EQ(157, find(168, row));
    EXPECT_TRUE(row.fun == nullptr);
    EXPECT_EQ(160, find(203, row));
}

TEST_F(KeyCmdTableTest, GroupsStartAtTheirRows) {
    keycmd row;
    EXPECT_EQ(20, find(17, row));
    EXPECT_EQ(49, find(2368, row));
    EXPECT_TRUE(row.fun == &ISensorController::doHwdr);
    EXPECT_EQ(56, find(2416, row));
    EXPECT_TRUE(row.fun == &ISensorController::doDIS);
    EXPECT_EQ(61, find(190, row));
    EXPECT_TRUE(row.fun == &ISensorController::test_debugParam);
    EXPECT_EQ(65, find(2384, row));
    EXPECT_TRUE(row.fun == &ISensorController::doMirror);
    EXPECT_EQ(66, find(2385, row));
    EXPECT_TRUE(row.fun == &ISensorController::doBeaway);
    EXPECT_EQ(67, find(2386, row));
    EXPECT_TRUE(row.fun == &ISensorController::doFisheyeRotate);
    EXPECT_EQ(68, find(145, row));
    EXPECT_TRUE(row.fun == &ISensorController::doDNThr);
    EXPECT_EQ(71, find(149, row));
    EXPECT_TRUE(row.fun == &ISensorController::doDNTime);
    EXPECT_EQ(87, find(8100, row));
    EXPECT_TRUE(row.fun == &ISensorController::doIaCmd_PanoTuning);
    EXPECT_EQ(102, find(2432, row));
    EXPECT_TRUE(row.fun == &ISensorController::doImageAdjust);
    EXPECT_EQ(123, find(8211, row));
    EXPECT_TRUE(row.fun == &ISensorController::doIaCmdShutter);
    EXPECT_STREQ("&ISensorController::doIaCmdShutter", row.szFuncName);
}

TEST_F(KeyCmdTableTest, HandlerCountsPerGroup) {
    keycmd* table = Peer::keyCmdMap(*controller);
    int nIaCmd = 0, nUser = 0, nPano = 0, nNone = 0, nImage = 0;
    for (int i = 0; i < 166; ++i) {
        if (table[i].fun == &ISensorController::doIaCmd) ++nIaCmd;
        if (table[i].fun == &ISensorController::doIaCmd_User) ++nUser;
        if (table[i].fun == &ISensorController::doIaCmd_PanoTuning) ++nPano;
        if (table[i].fun == nullptr) ++nNone;
        if (table[i].fun == &ISensorController::doImageAdjust) ++nImage;
    }
    EXPECT_EQ(87, nIaCmd);
    EXPECT_EQ(11, nUser);
    EXPECT_EQ(35, nPano);
    EXPECT_EQ(12, nNone);
    EXPECT_EQ(3, nImage);
}

TEST_F(KeyCmdTableTest, PanoramaKeysForFourCameras) {
    keycmd row;
    for (int cam = 1; cam <= 4; ++cam) {
        for (int j = 1; j <= 6; ++j) {
            ASSERT_GE(find(9000 + cam * 100 + j, row), 0) << cam << "/" << j;
            EXPECT_TRUE(row.fun == &ISensorController::doIaCmd_PanoTuning);
        }
    }
    find(9203, row);
    EXPECT_EQ("KEY_PANO_PITCH_2", boundedName(row));
}

TEST_F(KeyCmdTableTest, LongNamesAreCutTo32CharactersWithoutTerminator) {
    keycmd row;
    find(8104, row);
    EXPECT_EQ("KEY_MIXSTREAM_THERMAL_TO_VISION_", boundedName(row));
    // Read as a C string, the cut name runs on into the handler name; traces
    // of this key print exactly that.
    EXPECT_STREQ("KEY_MIXSTREAM_THERMAL_TO_VISION_&ISensorController::doIoCrtl", row.szKeyName);
    find(8102, row);
    EXPECT_EQ("KEY_MIXSTREAM_DISTANCE_WIDTH_OFF", boundedName(row));
    find(8103, row);
    EXPECT_EQ("KEY_MIXSTREAM_DISTANCE_HEIGHT_OF", boundedName(row));
    find(8101, row);
    EXPECT_STREQ("KEY_MIXSTREAM_DISTANCE_Y_OFFSET", row.szKeyName);
}

TEST_F(KeyCmdTableTest, ShutterResetRowKeepsItsCommandName) {
    keycmd row;
    find(8231, row);
    EXPECT_EQ("IA_CMD_UI_SHUTTER_RESET", boundedName(row));
    EXPECT_TRUE(row.fun == &ISensorController::doIaCmd_User);
}

TEST_F(KeyCmdTableTest, FirstMatchingRowWins) {
    keycmd* table = Peer::keyCmdMap(*controller);
    table[5].key = 773; // the last row's key now also stands at row 5
    keycmd row;
    EXPECT_EQ(5, find(773, row));
}

// The rows as tools read them without a running controller.
TEST_F(KeyCmdTableTest, RowsReadWithoutAControllerMatchTheBuiltTable) {
    ASSERT_EQ(static_cast<u32>(KEYCMD_ROWS), tarnix::keyCmdRowCount());
    const keycmd* table = Peer::keyCmdMap(*controller);
    for (u32 i = 0; i < tarnix::keyCmdRowCount(); ++i) {
        keycmd row;
        std::memset(&row, 0x7F, sizeof(row));
        ASSERT_TRUE(tarnix::keyCmdRowAt(i, row)) << i;
        EXPECT_EQ(table[i].key, row.key) << i;
        EXPECT_EQ(table[i].ia_cmd, row.ia_cmd) << i;
        EXPECT_TRUE(table[i].fun == row.fun) << i;
        EXPECT_EQ(0, std::memcmp(table[i].szKeyName, row.szKeyName, KEYCMD_NAME_LEN)) << i;
        EXPECT_EQ(0, std::memcmp(table[i].szFuncName, row.szFuncName, KEYCMD_FUNC_LEN)) << i;
    }
    keycmd past;
    EXPECT_FALSE(tarnix::keyCmdRowAt(tarnix::keyCmdRowCount(), past));
}

TEST_F(KeyCmdTableTest, RowsReadWithoutAControllerKeepTheCutNames) {
    keycmd row;
    ASSERT_TRUE(tarnix::keyCmdRowAt(86, row));
    EXPECT_EQ(8104u, row.key);
    EXPECT_EQ(std::string("KEY_MIXSTREAM_THERMAL_TO_VISION_"), boundedName(row));
    // No terminator inside the field: the name runs on into the handler name.
    EXPECT_EQ(KEYCMD_NAME_LEN, strnlen(row.szKeyName, KEYCMD_NAME_LEN));
    EXPECT_STREQ("&ISensorController::doIoCrtl", row.szFuncName);
}

TEST(RangeQueryable, ExactlyTheRangeQueryCommands) {
    std::set<int> queryable;
    for (int cmd = -1; cmd < 10000; ++cmd) {
        if (tarnix::isRangeQueryable(cmd)) {
            queryable.insert(cmd);
        }
    }
    EXPECT_EQ((std::set<int>{49, 50, 51, 55, 56, 82, 1537}), queryable);
}
