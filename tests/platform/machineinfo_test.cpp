// SystemInfoParser: the machine description file.
#include <string>

#include "platform/DeviceType.h"
#include "platform/MachineInfo.h"
#include "platform/SystemInfoParser.h"
#include "support/TestEnv.h"

namespace {

const char* kPath = "/mnt/mtd/code/factory_setting/machineinfo.ini";

class MachineInfoTest : public tarnix_test::TarnixTest {};

TEST_F(MachineInfoTest, DefaultRecordIsEmpty) {
    MachineInfo info;
    EXPECT_EQ(info.getDeviceType(), 0);
    EXPECT_EQ(info.getHardwareModel(), "");
    EXPECT_EQ(info.getHardwareCode(), "");
}

TEST_F(MachineInfoTest, ReadsKeysThroughTheRoot) {
    writeFile(kPath, "DeviceType=8\nHardwareModel=Hi3516AV200\nHardwareCode=HC-01\n");
    MachineInfo info;
    ASSERT_TRUE(SystemInfoParser::parseMachineInfo(kPath, info));
    EXPECT_EQ(info.getDeviceType(), DeviceType::LPR);
    EXPECT_EQ(info.getHardwareModel(), "Hi3516AV200");
    EXPECT_EQ(info.getHardwareCode(), "HC-01");
}

TEST_F(MachineInfoTest, IgnoresSectionsCommentsBlanksAndUnknownKeys) {
    writeFile(kPath,
              "\xEF\xBB\xBF# factory settings\r\n"
              "[machine]\r\n"
              "; model follows\r\n"
              "   HardwareModel =  Hi3519 V101  \r\n"
              "\r\n"
              "SerialNo=123456\r\n"
              "no equals sign here\r\n"
              "\tDeviceType\t=\t13\t\r\n"
              "[other]\r\n"
              "HardwareCode=\r\n");
    MachineInfo info;
    ASSERT_TRUE(SystemInfoParser::parseMachineInfo(kPath, info));
    EXPECT_EQ(info.getDeviceType(), 13);
    EXPECT_EQ(info.getHardwareModel(), "Hi3519 V101");
    EXPECT_EQ(info.getHardwareCode(), "");
}

TEST_F(MachineInfoTest, CommentedDeviceTypeDoesNotCount) {
    writeFile(kPath, "#DeviceType=1\n;DeviceType=2\nHardwareModel=X\n");
    MachineInfo info;
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo(kPath, info));
    EXPECT_EQ(info.getDeviceType(), 0);
}

TEST_F(MachineInfoTest, NonNumericDeviceTypeIsMissing) {
    writeFile(kPath, "DeviceType=camera\nHardwareModel=X\n");
    MachineInfo info;
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo(kPath, info));
    writeFile(kPath, "DeviceType=\n");
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo(kPath, info));
    writeFile(kPath, "DeviceType=99999999999999999999\n");
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo(kPath, info));
}

TEST_F(MachineInfoTest, NegativeAndLastValueWins) {
    writeFile(kPath, "DeviceType=4\nDeviceType=-3\n");
    MachineInfo info;
    ASSERT_TRUE(SystemInfoParser::parseMachineInfo(kPath, info));
    EXPECT_EQ(info.getDeviceType(), -3);
}

TEST_F(MachineInfoTest, MissingFileFails) {
    MachineInfo info;
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo(kPath, info));
    // The file exists outside the root only: still missing.
    EXPECT_FALSE(SystemInfoParser::parseMachineInfo("/no/such/dir/machineinfo.ini", info));
}

TEST_F(MachineInfoTest, LastLineWithoutNewline) {
    writeFile(kPath, "HardwareCode=C9\nDeviceType=17");
    MachineInfo info;
    ASSERT_TRUE(SystemInfoParser::parseMachineInfo(kPath, info));
    EXPECT_EQ(info.getDeviceType(), 17);
    EXPECT_EQ(info.getHardwareCode(), "C9");
}

} // namespace
