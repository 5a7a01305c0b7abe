// Profile loader of the simulated ISP: every line kind, channels, comments,
// malformed lines and garbage input.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "tests/ispsim/ProfileDirTest.h"
#include "ispsim/ispsim.h"
#include "platform/ia_ioctrl.h"

namespace {

class IspSimProfileTest : public ProfileDirTest {
protected:
    std::string writeProfile(const std::string& content) {
        return writeFile("profile" + std::to_string(m_vecFiles.size()) + ".conf", content);
    }
};

int ioctl(int channel, unsigned int cmd, unsigned int opt, void* data) {
    return ia_ioctrl_v2(channel, static_cast<ia_cmd_e>(cmd), opt, data);
}

uint32_t valueOf(int channel, unsigned int cmd) {
    uint32_t value = 0xFFFF0000u;
    EXPECT_TRUE(ispsim::getValue(channel, cmd, value)) << "cmd " << cmd;
    return value;
}

bool hasValue(int channel, unsigned int cmd) {
    uint32_t value = 0;
    return ispsim::getValue(channel, cmd, value);
}

std::string versionOf(int channel) {
    char text[IA_VERSION_TEXT_LEN];
    std::memset(text, 'x', sizeof(text));
    EXPECT_EQ(0, ioctl(channel, IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, text));
    EXPECT_EQ('\0', text[IA_VERSION_TEXT_LEN - 1]);
    return std::string(text);
}

TEST_F(IspSimProfileTest, LoadsEveryLineKind) {
    std::string path = writeProfile(
        "# a camera with one lens\n"
        "value 16 3\n"
        "value 153 1\n"
        "dynamic 49 default 5 items 1 5 10 25\n"
        "dynamic 1537 default 2 items 0 2 4 type 1\n"
        "exposure 100 200 300\n"
        "version IPC 2.4 build 7\n"
        "status 1539 2\n"
        "fail 82 1 -5\n");
    ASSERT_TRUE(ispsim::loadProfile(path));
    EXPECT_TRUE(ispsim::calls().empty());   // loading makes no ISP call

    EXPECT_EQ(3u, valueOf(0, 16));
    EXPECT_EQ(1u, valueOf(0, 153));

    ia_dynamic_cmd_list_st list;
    ASSERT_EQ(0, ioctl(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list));
    ASSERT_EQ(2, list.cmd_cnt);
    EXPECT_EQ(49u, list.cmd_list[0]);
    EXPECT_EQ(1537u, list.cmd_list[1]);

    ia_dynamic_params_attr_st attr;
    ASSERT_EQ(0, ioctl(0, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(0, attr.attr);
    EXPECT_EQ(5, attr.def_val);
    EXPECT_EQ(1, attr.min_val);
    EXPECT_EQ(25, attr.max_val);
    ASSERT_EQ(4, attr.items_cnt);
    EXPECT_EQ(10, attr.item[2]);
    ASSERT_EQ(0, ioctl(0, 1537, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(1, attr.attr);
    EXPECT_EQ(2, attr.def_val);
    EXPECT_EQ(3, attr.items_cnt);

    ia_exposure_info_st info{0, 0, 0};
    ASSERT_EQ(0, ioctl(0, IA_CMD_EXPOSURE_INFO, IA_CMD_OPT_GET, &info));
    EXPECT_EQ(100u, info.f0);
    EXPECT_EQ(200u, info.f1);
    EXPECT_EQ(300u, info.f2);

    EXPECT_EQ("IPC 2.4 build 7", versionOf(0));

    uint32_t status = 0;
    ASSERT_EQ(0, ioctl(0, IA_CMD_AUTO_FOCUS_ONCE, IA_CMD_OPT_GET_STATUS, &status));
    EXPECT_EQ(2u, status);
    ASSERT_EQ(0, ioctl(0, IA_CMD_MF_POSITION, IA_CMD_OPT_GET_STATUS, &status));
    EXPECT_EQ(0u, status);

    uint32_t iris = 9;
    EXPECT_EQ(-5, ioctl(0, IA_CMD_IRIS_POSITION, IA_CMD_OPT_GET, &iris));
    EXPECT_EQ(9u, iris);
    EXPECT_EQ(0, ioctl(0, IA_CMD_IRIS_POSITION, IA_CMD_OPT_SET, &iris));
    EXPECT_EQ(0, ioctl(1, IA_CMD_IRIS_POSITION, IA_CMD_OPT_GET, &iris));
}

TEST_F(IspSimProfileTest, ChannelLinesApplyToTheFollowingLines) {
    std::string path = writeProfile(
        "value 16 1\n"
        "channel 1\n"
        "value 16 2\n"
        "version THERMAL\n"
        "dynamic 49 default 0 items 0 1\n"
        "fail 34 -1 7\n"
        "channel 0\n"
        "value 17 4\n");
    ASSERT_TRUE(ispsim::loadProfile(path));
    EXPECT_EQ(1u, valueOf(0, 16));
    EXPECT_EQ(2u, valueOf(1, 16));
    EXPECT_EQ(4u, valueOf(0, 17));
    EXPECT_FALSE(hasValue(1, 17));
    EXPECT_EQ("ISPSIM 1.0", versionOf(0));
    EXPECT_EQ("THERMAL", versionOf(1));

    ia_dynamic_params_attr_st attr;
    EXPECT_EQ(-1, ioctl(0, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(0, ioctl(1, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));

    uint32_t value = 0;
    EXPECT_EQ(0, ioctl(0, 34, IA_CMD_OPT_SET, &value));
    EXPECT_EQ(7, ioctl(1, 34, IA_CMD_OPT_SET, &value));
    EXPECT_EQ(7, ioctl(1, 34, IA_CMD_OPT_GET, &value));
}

TEST_F(IspSimProfileTest, CommentsBlankLinesAndLineEndings) {
    std::string path = writeProfile(
        "\n"
        "   # indented comment\n"
        "value 16 3   # trailing comment\r\n"
        "\t\r\n"
        "value\t34\t60\r\n"
        "version  ISP#2 rev 1  # the build\n"
        "value 35 8");   // no newline at the end
    ASSERT_TRUE(ispsim::loadProfile(path));
    EXPECT_EQ(3u, valueOf(0, 16));
    EXPECT_EQ(60u, valueOf(0, 34));
    EXPECT_EQ(8u, valueOf(0, 35));
    EXPECT_EQ("ISP#2 rev 1", versionOf(0));
}

TEST_F(IspSimProfileTest, NumbersMayBeHexOrNegative) {
    std::string path = writeProfile(
        "value 0x10 0x1F\n"
        "value 34 -1\n"
        "value 35 4294967295\n"
        "value 36 -2147483648\n"
        "dynamic 49 default -3 items -10 0x10 +7\n");
    ASSERT_TRUE(ispsim::loadProfile(path));
    EXPECT_EQ(31u, valueOf(0, 16));
    EXPECT_EQ(0xFFFFFFFFu, valueOf(0, 34));
    EXPECT_EQ(0xFFFFFFFFu, valueOf(0, 35));
    EXPECT_EQ(0x80000000u, valueOf(0, 36));
    ia_dynamic_params_attr_st attr;
    ASSERT_EQ(0, ioctl(0, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(-3, attr.def_val);
    EXPECT_EQ(-10, attr.min_val);
    EXPECT_EQ(16, attr.max_val);
    EXPECT_EQ(7, attr.item[2]);
}

TEST_F(IspSimProfileTest, DynamicLineWithoutItemsAndWithManyItems) {
    std::string many = "dynamic 50 default 0 items";
    for (int i = 0; i < 100; ++i) {
        many += " " + std::to_string(i);
    }
    std::string path = writeProfile("dynamic 49 default 4 items\n" + many + " type 3\n");
    ASSERT_TRUE(ispsim::loadProfile(path));
    ia_dynamic_params_attr_st attr;
    ASSERT_EQ(0, ioctl(0, 49, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(4, attr.def_val);
    EXPECT_EQ(0, attr.items_cnt);
    ASSERT_EQ(0, ioctl(0, 50, IA_CMD_OPT_GET_PARAM_RNAGE, &attr));
    EXPECT_EQ(3, attr.attr);
    EXPECT_EQ(64, attr.items_cnt);
    EXPECT_EQ(63, attr.max_val);
}

TEST_F(IspSimProfileTest, LongVersionTextIsCutToFiftyFiveCharacters) {
    std::string longText(200, 'v');
    ASSERT_TRUE(ispsim::loadProfile(writeProfile("version " + longText + "\n")));
    EXPECT_EQ(std::string(55, 'v'), versionOf(0));
}

TEST_F(IspSimProfileTest, VersionWithoutTextIsEmpty) {
    ASSERT_TRUE(ispsim::loadProfile(writeProfile("version\n")));
    EXPECT_EQ("", versionOf(0));
}

TEST_F(IspSimProfileTest, EmptyFileLoads) {
    EXPECT_TRUE(ispsim::loadProfile(writeProfile("")));
    EXPECT_TRUE(ispsim::loadProfile(writeProfile("# nothing\n\n")));
}

TEST_F(IspSimProfileTest, UnreadableFileFails) {
    EXPECT_FALSE(ispsim::loadProfile(m_strDir + "/missing.conf"));
    EXPECT_FALSE(ispsim::loadProfile(""));
    EXPECT_FALSE(ispsim::loadProfile(makeDir("subdir")));
}

TEST_F(IspSimProfileTest, LoadingAddsToTheCurrentState) {
    ispsim::setValue(0, 34, 9);
    ASSERT_TRUE(ispsim::loadProfile(writeProfile("value 16 3\n")));
    EXPECT_EQ(9u, valueOf(0, 34));
    EXPECT_EQ(3u, valueOf(0, 16));
}

TEST_F(IspSimProfileTest, MalformedLineStopsLoadingAndKeepsEarlierLines) {
    const char* bad[] = {
        "value 16",
        "value 16 3 4",
        "value x 3",
        "value 16 12abc",
        "value 16 0x",
        "value 16 -",
        "value 16 4294967296",
        "value 16 -2147483649",
        "value 16 99999999999999999999999",
        "Value 16 3",
        "bogus 1 2",
        "channel",
        "channel -1",
        "channel 1 2",
        "channel 2147483648",
        "dynamic",
        "dynamic 49",
        "dynamic 49 default 3 1 2",
        "dynamic 49 items 1 2",
        "dynamic 49 default x items 1",
        "dynamic 49 default 3 items 1 x",
        "dynamic 49 default 3 items 1 type",
        "dynamic 49 default 3 items 1 type 2 3",
        "dynamic 49 default 3 items 1 type x",
        "exposure 1 2",
        "exposure 1 2 3 4",
        "exposure 1 2 z",
        "status 16",
        "status 16 z",
        "fail 16 0",
        "fail 16 0 0",
        "fail 16 -2 5",
        "fail 16 0 x",
        "fail 16 0 2147483648",
    };
    for (const char* line : bad) {
        ispsim::reset();
        std::string path = writeProfile(std::string("value 34 1\n") + line + "\nvalue 35 2\n");
        EXPECT_FALSE(ispsim::loadProfile(path)) << line;
        EXPECT_EQ(1u, valueOf(0, 34)) << line;
        EXPECT_FALSE(hasValue(0, 35)) << line;
        EXPECT_FALSE(hasValue(0, 16)) << line;
        uint32_t value = 0;
        EXPECT_EQ(0, ioctl(0, 16, IA_CMD_OPT_SET, &value)) << line;   // no failure was installed
    }
}

TEST_F(IspSimProfileTest, GarbageDoesNotCrash) {
    std::mt19937 rng(1234);
    for (int round = 0; round < 50; ++round) {
        std::string junk;
        size_t size = rng() % 4096;
        for (size_t i = 0; i < size; ++i) {
            junk.push_back(static_cast<char>(rng() & 0xFF));
        }
        ispsim::loadProfile(writeProfile(junk));
    }
    // Near misses of every keyword, an embedded NUL and a very long line.
    EXPECT_FALSE(ispsim::loadProfile(writeProfile(std::string("value 16\0 3\n", 12))));
    EXPECT_FALSE(ispsim::loadProfile(writeProfile(std::string(100000, '9') + "\n")));
    EXPECT_FALSE(ispsim::loadProfile(writeProfile("dynamic 49 default 1 items " + std::string(100000, '1') + "\n")));
    EXPECT_TRUE(ispsim::loadProfile(writeProfile(std::string("version a\0b\n", 12))));
    EXPECT_EQ("a", versionOf(0));
}

TEST_F(IspSimProfileTest, ResetClearsVersionStatusAndExposure) {
    ASSERT_TRUE(ispsim::loadProfile(writeProfile("version OTHER\nstatus 1539 3\nexposure 1 2 3\n")));
    ispsim::reset();
    EXPECT_EQ("ISPSIM 1.0", versionOf(0));
    uint32_t status = 9;
    ASSERT_EQ(0, ioctl(0, IA_CMD_AUTO_FOCUS_ONCE, IA_CMD_OPT_GET_STATUS, &status));
    EXPECT_EQ(0u, status);
    ia_exposure_info_st info{7, 7, 7};
    ASSERT_EQ(0, ioctl(0, IA_CMD_EXPOSURE_INFO, IA_CMD_OPT_GET, &info));
    EXPECT_EQ(0u, info.f0);
    EXPECT_EQ(0u, info.f2);
}

} // namespace
