// Field-of-view sync from the device's sync table.
#include <gtest/gtest.h>

#include "support/BareController.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::BareController;

class SyncFovTest : public tarnix_test::TarnixTest {
protected:
    void writeTable(const std::string& text) { writeFile("/mnt/mtd/hd1/program/config/sync_fov.ini", text); }
};

// Zoom positions sent to the ISP.
std::vector<uint32_t> zoomSets() {
    std::vector<uint32_t> out;
    for (const auto& call : tarnix_test::callsWithOpt(0)) {
        EXPECT_EQ(1568u, call.cmd) << "only the zoom is sent";
        out.push_back(call.data.at(0));
    }
    return out;
}

TEST_F(SyncFovTest, MissingFilePrintsAndSetsNothing) {
    BareController bare({{34, 50}}, 2);
    captureStdout();
    EXPECT_TRUE(bare->sync_fov());
    EXPECT_EQ("", capturedStdout());
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(SyncFovTest, ZoomIsAppliedAndFocusOnlyRead) {
    BareController bare({{34, 50}}, 2);
    writeTable("zoom1=20000,\nfocus1=350,\nzoom2=1,\n");
    captureStdout();
    EXPECT_TRUE(bare->sync_fov());
    // Reading stops once both values are positive.
    EXPECT_EQ("zoom= 20000,focus= -1 \nzoom= 20000,focus= 350 \n", capturedStdout());
    EXPECT_EQ((std::vector<uint32_t>{20000}), zoomSets());
    EXPECT_EQ(0, ispsim::calls()[0].channel);
}

TEST_F(SyncFovTest, BothEntriesOnOneLine) {
    BareController bare({{34, 50}}, 2);
    writeTable("zoom1=18000, focus1=200,\n");
    captureStdout();
    EXPECT_TRUE(bare->sync_fov());
    EXPECT_EQ("zoom= 18000,focus= 200 \n", capturedStdout());
    EXPECT_EQ((std::vector<uint32_t>{18000}), zoomSets());
}

TEST_F(SyncFovTest, EntryWithoutACommaIsIgnored) {
    BareController bare({{34, 50}}, 2);
    writeTable("zoom1=20000\n");
    captureStdout();
    EXPECT_TRUE(bare->sync_fov());
    EXPECT_EQ("zoom= -1,focus= -1 \n", capturedStdout());
    EXPECT_TRUE(ispsim::calls().empty());
}

TEST_F(SyncFovTest, LongerEntryNamesMatchAsSubstrings) {
    BareController bare({{34, 50}}, 2);
    // zoom10 contains zoom1: it gives the value first, a later line overwrites it.
    writeTable("zoom10=100,\nzoom1=200,\nfocus1=5,\nzoom1=300,\n");
    captureStdout();
    EXPECT_TRUE(bare->sync_fov());
    EXPECT_EQ("zoom= 100,focus= -1 \nzoom= 200,focus= -1 \nzoom= 200,focus= 5 \n", capturedStdout());
    EXPECT_EQ((std::vector<uint32_t>{200}), zoomSets());
}

TEST_F(SyncFovTest, ZoomWithoutFocusIsAppliedAfterAllLines) {
    BareController bare({{34, 50}}, 2);
    writeTable("# field of view\nzoom1=15000,\nother=1,\n");
    captureStdout();
    EXPECT_TRUE(bare->sync_fov());
    EXPECT_EQ("zoom= -1,focus= -1 \nzoom= 15000,focus= -1 \nzoom= 15000,focus= -1 \n", capturedStdout());
    EXPECT_EQ((std::vector<uint32_t>{15000}), zoomSets());
}

TEST_F(SyncFovTest, ZeroOrNegativeZoomSetsNothing) {
    for (const char* table : {"zoom1=0,\nfocus1=3,\n", "zoom1=-20,\nfocus1=3,\n"}) {
        BareController bare({{34, 50}}, 2);
        ispsim::clearCalls();
        writeTable(table);
        EXPECT_TRUE(bare->sync_fov());
        EXPECT_TRUE(ispsim::calls().empty()) << table;
    }
}

TEST_F(SyncFovTest, EntriesAreLookedUpForTheOwnChannel) {
    BareController bare({{34, 50}}, 2, 2);
    writeTable("zoom1=100,\nfocus1=1,\nzoom2=222,\nfocus2=2,\n");
    captureStdout();
    EXPECT_TRUE(bare->sync_fov());
    EXPECT_EQ("zoom= -1,focus= -1 \nzoom= -1,focus= -1 \nzoom= 222,focus= -1 \nzoom= 222,focus= 2 \n",
              capturedStdout());
    EXPECT_EQ((std::vector<uint32_t>{222}), zoomSets());
    EXPECT_EQ(1, ispsim::calls()[0].channel);
}

TEST_F(SyncFovTest, WithoutALensNothingIsSent) {
    BareController bare({{34, 50}}, 2);
    bare.setHasLens(false);
    writeTable("zoom1=20000,\nfocus1=350,\n");
    EXPECT_TRUE(bare->sync_fov());
    EXPECT_TRUE(ispsim::calls().empty());
}

} // namespace
