// The simulated ISP's command space, profile includes, explicit range bounds
// and the seeded defects ("defect" profile lines) that the porting kit's
// checks must catch.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/ispsim/ProfileDirTest.h"
#include "ispsim/ispsim.h"
#include "platform/ia_ioctrl.h"

namespace {

class IspSimDefectsTest : public ProfileDirTest {
protected:
    std::string write(const std::string& p_strName, const std::string& p_strContent) {
        return writeFile(p_strName, p_strContent);
    }
    bool load(const std::string& p_strContent) { return ispsim::loadProfile(write("p.conf", p_strContent)); }
};

int ioctl(int channel, unsigned int cmd, unsigned int opt, void* data) {
    return ia_ioctrl_v2(channel, static_cast<ia_cmd_e>(cmd), opt, data);
}

// A range record read into a buffer with guard words behind it.
struct Guarded {
    uint32_t words[69 + 8];
    Guarded() {
        for (uint32_t& word : words) {
            word = 0x5A5A5A5Au;
        }
    }
};

TEST_F(IspSimDefectsTest, CommandIdsAbove65535AreUnknownAndFailWithoutEffect) {
    for (unsigned int opt = 0; opt <= 4; ++opt) {
        Guarded buffer;
        EXPECT_EQ(-1, ioctl(0, 0x10000u, opt, buffer.words)) << "opt " << opt;
        EXPECT_EQ(-1, ioctl(0, 0xFFFFFFFFu, opt, buffer.words)) << "opt " << opt;
        EXPECT_EQ(0x5A5A5A5Au, buffer.words[0]);
    }
    uint32_t value = 0;
    EXPECT_FALSE(ispsim::getValue(0, 0x10000u, value));
    // The highest id is still a command.
    EXPECT_EQ(0, ioctl(0, 0xFFFFu, 1, &value));
    EXPECT_EQ(0u, value);
}

TEST_F(IspSimDefectsTest, AcceptUnknownMakesLargeIdsOrdinaryCommands) {
    ASSERT_TRUE(load("defect accept-unknown\n"));
    uint32_t value = 7;
    EXPECT_EQ(0, ioctl(0, 0x7FFFFFF0u, 0, &value));
    value = 0;
    EXPECT_EQ(0, ioctl(0, 0x7FFFFFF0u, 1, &value));
    EXPECT_EQ(7u, value);
    ispsim::reset();
    EXPECT_EQ(-1, ioctl(0, 0x7FFFFFF0u, 1, &value));
}

TEST_F(IspSimDefectsTest, IncludeReadsAFileRelativeToTheIncludingOne) {
    write("sub/base.conf", "value 34 50\nchannel 1\nvalue 34 60\n");
    ASSERT_TRUE(load("include sub/base.conf\nvalue 35 5\n"));
    uint32_t value = 0;
    ASSERT_TRUE(ispsim::getValue(0, 34, value));
    EXPECT_EQ(50u, value);
    ASSERT_TRUE(ispsim::getValue(1, 34, value));
    EXPECT_EQ(60u, value);
    // The included file's channel lines do not carry over.
    ASSERT_TRUE(ispsim::getValue(0, 35, value));
    EXPECT_EQ(5u, value);
}

TEST_F(IspSimDefectsTest, IncludeOfAMissingFileOrACycleFails) {
    EXPECT_FALSE(load("include nowhere.conf\n"));
    EXPECT_FALSE(load("include\n"));
    write("a.conf", "include b.conf\n");
    write("b.conf", "include a.conf\n");
    EXPECT_FALSE(ispsim::loadProfile(m_strDir + "/a.conf"));
    // An absolute path works as well.
    write("abs.conf", "value 36 9\n");
    EXPECT_TRUE(load("include " + m_strDir + "/abs.conf\n"));
    uint32_t value = 0;
    ASSERT_TRUE(ispsim::getValue(0, 36, value));
    EXPECT_EQ(9u, value);
}

TEST_F(IspSimDefectsTest, DynamicLinesMayGiveExplicitBoundsAndTypeInAnyOrder) {
    ASSERT_TRUE(load("dynamic 82 default 716 items 409 716 4096 max 409 min 4096\n"
                     "dynamic 51 default 2 items 1 2 3 type 1 min -5\n"));
    ia_dynamic_params_attr_st record = {};
    ASSERT_EQ(0, ioctl(0, 82, IA_CMD_OPT_GET_PARAM_RNAGE, &record));
    EXPECT_EQ(4096, record.min_val);
    EXPECT_EQ(409, record.max_val);
    EXPECT_EQ(3, record.items_cnt);
    ASSERT_EQ(0, ioctl(0, 51, IA_CMD_OPT_GET_PARAM_RNAGE, &record));
    EXPECT_EQ(1, record.attr);
    EXPECT_EQ(-5, record.min_val);
    EXPECT_EQ(3, record.max_val);   // from the items
}

TEST_F(IspSimDefectsTest, MalformedDynamicClausesAndDefectsAreRejected) {
    const char* bad[] = {
        "dynamic 82 default 1 items 1 min",      "dynamic 82 default 1 items 1 min 1 min 2",
        "dynamic 82 default 1 items 1 min x",    "dynamic 82 default 1 items 1 type 0 3",
        "defect",                                "defect no-such-defect",
        "defect accept-unknown 1",               "defect ignore-set",
        "defect overrun 17 1 0",                 "defect overrun 17 1 65",
        "defect overrun 17 1",                   "defect delay 34",
        "defect delay 34 0",                     "defect busy 0",
        "defect busy 10000001",                  "defect correct-to 65",
        "defect items-count 56 x",               "defect uncapped-list 3",
        "defect shared-channels yes",
    };
    for (const char* line : bad) {
        ispsim::reset();
        EXPECT_FALSE(load(std::string(line) + "\n")) << line;
    }
}

TEST_F(IspSimDefectsTest, IgnoreSetAcceptsSetsAndKeepsNothing) {
    ASSERT_TRUE(load("value 2321 40\ndefect ignore-set 2321\n"));
    uint32_t value = 50;
    EXPECT_EQ(0, ioctl(0, 2321, 0, &value));
    ASSERT_EQ(0, ioctl(0, 2321, 1, &value));
    EXPECT_EQ(40u, value);
    // Other commands and other channels are unaffected.
    value = 50;
    EXPECT_EQ(0, ioctl(1, 2321, 0, &value));
    value = 0;
    ASSERT_EQ(0, ioctl(1, 2321, 1, &value));
    EXPECT_EQ(50u, value);
}

TEST_F(IspSimDefectsTest, OverrunWritesPastTheRecordOnlyForItsCommandAndOption) {
    ASSERT_TRUE(load("exposure 1 2 3\ndefect overrun 17 1 2\n"));
    uint32_t words[8];
    for (uint32_t& word : words) {
        word = 0x5A5A5A5Au;
    }
    ASSERT_EQ(0, ioctl(0, 17, 1, words));
    EXPECT_EQ(1u, words[0]);
    EXPECT_EQ(3u, words[2]);
    EXPECT_EQ(0x0BAD0000u, words[3]);
    EXPECT_EQ(0x0BAD0001u, words[4]);
    EXPECT_EQ(0x5A5A5A5Au, words[5]);
    // A set writes nothing, so nothing overruns.
    for (uint32_t& word : words) {
        word = 0x5A5A5A5Au;
    }
    EXPECT_EQ(0, ioctl(0, 17, 0, words));
    EXPECT_EQ(0x5A5A5A5Au, words[1]);
}

TEST_F(IspSimDefectsTest, DelayMakesEveryCallOfTheCommandTakeLonger) {
    ASSERT_TRUE(load("defect delay 2353 30000\n"));
    uint32_t value = 0;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, ioctl(0, 2353, 1, &value));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
    // The lock is not held meanwhile: another command answers at once.
    std::atomic<bool> bDone(false);
    std::thread slow([&] {
        uint32_t v = 0;
        ioctl(0, 2353, 1, &v);
        bDone = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(0, ioctl(0, 34, 1, &value));
    EXPECT_FALSE(bDone.load());
    slow.join();
}

TEST_F(IspSimDefectsTest, BusyChannelRefusesAnOverlappingCall) {
    ASSERT_TRUE(load("defect busy 200000\n"));
    std::atomic<int> nResult(1);
    std::thread first([&] {
        uint32_t v = 3;
        nResult = ioctl(0, 34, 0, &v);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    uint32_t value = 4;
    EXPECT_EQ(-16, ioctl(0, 34, 0, &value));
    // Another channel is not busy.
    EXPECT_EQ(0, ioctl(1, 34, 0, &value));
    first.join();
    EXPECT_EQ(0, nResult.load());
    ASSERT_EQ(0, ioctl(0, 34, 1, &value));
    EXPECT_EQ(3u, value);
}

TEST_F(IspSimDefectsTest, CorrectToAnswersTheSeededValue) {
    ASSERT_TRUE(load("dynamic 65 default 42 items 0 6 12\ndefect correct-to 65 -999\n"));
    uint32_t value = 6;
    ASSERT_EQ(0, ioctl(0, 65, IA_CMD_OPT_CORRECT_PARAM, &value));
    EXPECT_EQ(-999, static_cast<int32_t>(value));
}

TEST_F(IspSimDefectsTest, ItemsCountReportsTheSeededCountWithTheRealItems) {
    ASSERT_TRUE(load("dynamic 56 default 3 items 2 3 4\ndefect items-count 56 65\n"));
    ia_dynamic_params_attr_st record = {};
    ASSERT_EQ(0, ioctl(0, 56, IA_CMD_OPT_GET_PARAM_RNAGE, &record));
    EXPECT_EQ(65, record.items_cnt);
    EXPECT_EQ(4, record.item[2]);
    EXPECT_EQ(0, record.item[3]);
}

TEST_F(IspSimDefectsTest, UncappedListCountsEveryDynamicCommandButHolds16) {
    std::string profile;
    for (int cmd = 100; cmd < 118; ++cmd) {
        profile += "dynamic " + std::to_string(cmd) + " default 0 items 0 1\n";
    }
    ASSERT_TRUE(load(profile));
    ia_dynamic_cmd_list_st list = {};
    ASSERT_EQ(0, ioctl(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, 1, &list));
    EXPECT_EQ(16, list.cmd_cnt);
    ASSERT_TRUE(load("defect uncapped-list\n"));
    Guarded buffer;
    ASSERT_EQ(0, ioctl(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, 1, buffer.words));
    EXPECT_EQ(18u, buffer.words[0]);
    EXPECT_EQ(115u, buffer.words[16]);
    EXPECT_EQ(0x5A5A5A5Au, buffer.words[17]);
}

TEST_F(IspSimDefectsTest, SharedChannelsMakeEveryChannelChannelZero) {
    ASSERT_TRUE(load("defect shared-channels\n"));
    uint32_t value = 11;
    ASSERT_EQ(0, ioctl(1, 34, 0, &value));
    value = 0;
    ASSERT_EQ(0, ioctl(0, 34, 1, &value));
    EXPECT_EQ(11u, value);
    ASSERT_EQ(0, ioctl(5, 34, 1, &value));
    EXPECT_EQ(11u, value);
}

TEST_F(IspSimDefectsTest, ResetClearsEveryDefect) {
    ASSERT_TRUE(load("defect shared-channels\ndefect accept-unknown\ndefect ignore-set 34\ndefect busy 10\n"));
    ispsim::reset();
    uint32_t value = 5;
    ASSERT_EQ(0, ioctl(1, 34, 0, &value));
    value = 0;
    ASSERT_EQ(0, ioctl(0, 34, 1, &value));
    EXPECT_EQ(0u, value);
    EXPECT_EQ(-1, ioctl(0, 0x7FFFFFF0u, 1, &value));
}

} // namespace
