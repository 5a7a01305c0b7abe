// sensorctl end to end, commands without a controller: help, init-root,
// cfg dump/diff and style merge; and its key-name table against the
// library's key-command table.
#include <gtest/gtest.h>

#include <dirent.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "controller/ISensorController.h"
#include "support/ControllerPeer.h"
#include "tools/SensorctlFixture.h"
#include "tools/sensorctl/KeyNames.h"

using namespace sensorctl_test;

namespace {

std::string recordBytes(const std::vector<KeyVal>& p_vecRecords) {
    std::string bytes(p_vecRecords.size() * sizeof(KeyVal), '\0');
    if (!p_vecRecords.empty()) {
        std::memcpy(&bytes[0], p_vecRecords.data(), bytes.size());
    }
    return bytes;
}

size_t entriesStartingWith(const std::string& p_strDir, const std::string& p_strPrefix) {
    size_t count = 0;
    DIR* dir = ::opendir(p_strDir.c_str());
    if (dir == nullptr) {
        return 0;
    }
    while (dirent* entry = ::readdir(dir)) {
        count += std::strncmp(entry->d_name, p_strPrefix.c_str(), p_strPrefix.size()) == 0 ? 1 : 0;
    }
    ::closedir(dir);
    return count;
}

const char* const kStyle =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<style>\n"
    "  <tab key=\"image\"><item id=\"34\" value=\"50\"/></tab>\n"
    "  <tab key=\"video\"><item id=\"2384\" value=\"0\"/></tab>\n"
    "</style>\n";
const char* const kDiversity =
    "<variant sensor=\"imx291,imx327\">\n"
    "  <Modify tab_key=\"image\"><tab key=\"image\"><item id=\"34\" value=\"70\"/></tab></Modify>\n"
    "  <Delete tab_key=\"video\"/>\n"
    "</variant>\n";

} // namespace

// ---------------------------------------------------------------- help and usage

TEST_F(SensorctlTest, GeneralHelpListsEveryCommandAndExitsZero) {
    for (const char* flag : {"--help", "-h"}) {
        RunResult r = run({flag});
        EXPECT_EQ(0, r.code);
        EXPECT_EQ("", r.err);
        EXPECT_EQ(0u, r.out.find("usage: sensorctl"));
        for (const char* cmd : {"init-root", "set TEXT", "get IDS", "all", "style", "factory", "scheme [N]", "mode [0|1]",
                                "restore KEY", "reset", "range CMD", "shutter get|set N|up|down", "zoom", "check",
                                "shell", "cfg dump FILE", "style merge"}) {
            EXPECT_NE(std::string::npos, r.out.find(cmd)) << cmd;
        }
    }
    RunResult r = run({"help"});
    EXPECT_EQ(0, r.code);
    EXPECT_EQ(0u, r.out.find("usage: sensorctl"));
}

TEST_F(SensorctlTest, EveryCommandHasItsOwnHelp) {
    const std::vector<std::vector<std::string>> commands = {
        {"init-root"}, {"set"},   {"apply"},   {"flush"}, {"get"},  {"all"},   {"style"},        {"factory"},
        {"scheme"},    {"mode"},  {"restore"}, {"reset"}, {"range"}, {"shutter"}, {"zoom"},      {"check"},
        {"shell"},     {"cfg"},   {"style", "merge"}};
    for (std::vector<std::string> cmd : commands) {
        std::string name = cmd[0] + (cmd.size() > 1 ? " " + cmd[1] : "");
        cmd.push_back("--help");
        RunResult r = run(cmd);
        EXPECT_EQ(0, r.code) << name;
        EXPECT_EQ("", r.err) << name;
        EXPECT_EQ(0u, r.out.find("usage: sensorctl " + name)) << r.out;
    }
    // The help needs no device root and runs nothing.
    RunResult r = run({"reset", "--help"});
    EXPECT_EQ(0, r.code);
    EXPECT_EQ(std::string::npos, r.out.find("sensorctl: reset"));
}

TEST_F(SensorctlTest, UsageErrorsExitTwoWithOneErrorLine) {
    expectError(run({}), 2, "no command given");
    expectError(run({"frobnicate"}), 2, "unknown command 'frobnicate'");
    expectError(run({"help", "frobnicate"}), 2, "unknown command 'frobnicate'");
    expectError(run({"--bogus", "all"}), 2, "unknown option '--bogus'");
    expectError(run({"all", "--root"}), 2, "option --root needs a value");
    expectError(run({"--channel", "0", "all"}), 2, "--channel");
    expectError(run({"--channel", "x", "all"}), 2, "--channel");
    expectError(run({"--clock", "25:00", "all"}), 2, "--clock needs HH:MM");
    expectError(run({"--time-scale", "fast", "all"}), 2, "--time-scale");
    expectError(run({"--log=1", "all"}), 2, "takes no value");
    expectError(run({"cfg", "dump", "x.cfg", "--log"}), 2, "option --log does not apply to 'cfg'");
    expectError(run({"all", "--model", "box"}), 2, "option --model does not apply to 'all'");
}

// ---------------------------------------------------------------- init-root

TEST_F(SensorctlTest, InitRootLaysDownEverySampleTree) {
    for (const char* model : {"box", "dome", "thermal", "lpr", "fisheye"}) {
        std::string dir = root() + "/" + model;
        RunResult r = run({"init-root", dir, "--model", model});
        ASSERT_EQ(0, r.code) << r.err;
        EXPECT_EQ("", r.err);
        EXPECT_NE(std::string::npos, r.out.find(std::string("sensorctl: init-root: ") + dir + " holds the '" + model +
                                                "' sample device tree"))
            << r.out;
        EXPECT_EQ(slurp(std::string(TARNIX_DEVICES_DIR) + "/" + model + "/mnt/mtd/code/factory_setting/machineinfo.ini"),
                  slurp(dir + "/mnt/mtd/code/factory_setting/machineinfo.ini"));
        EXPECT_EQ(slurp(std::string(TARNIX_DEVICES_DIR) + "/" + model + "/isp/profile.conf"),
                  slurp(dir + "/isp/profile.conf"));
        EXPECT_EQ(slurp(std::string(TARNIX_DEVICES_DIR) + "/" + model + "/hd1/moduleConfig/moduleConfig.xml"),
                  slurp(dir + "/hd1/moduleConfig/moduleConfig.xml"));
    }
}

TEST_F(SensorctlTest, InitRootAcceptsAnEmptyDirectoryAndAnExplicitDevicesDir) {
    makeDir("/empty");
    RunResult r = run({"init-root", hostPath("/empty"), "--model", "dome", "--devices", TARNIX_DEVICES_DIR});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(fileExists("/empty/mnt/mtd/code/factory_setting/machineinfo.ini"));
    // TARNIX_DEVICES_DIR in the environment is used as well.
    r = run({"init-root", hostPath("/other"), "--model", "box"}, "", {std::string("TARNIX_DEVICES_DIR=") + TARNIX_DEVICES_DIR});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_NE(std::string::npos, r.out.find(std::string("from ") + TARNIX_DEVICES_DIR + "/box"));
}

TEST_F(SensorctlTest, InitRootErrors) {
    expectError(run({"init-root", hostPath("/x")}), 2, "init-root needs --model");
    expectError(run({"init-root", "--model", "box"}), 2, "missing argument");
    expectError(run({"init-root", hostPath("/x"), "--model", "car"}), 2, "unknown model 'car'");
    EXPECT_FALSE(fileExists("/x"));
    writeFile("/full/file", "x");
    expectError(run({"init-root", hostPath("/full"), "--model", "box"}), 1, "already exists and is not an empty directory");
    EXPECT_FALSE(fileExists("/full/isp"));
    expectError(run({"init-root", hostPath("/y"), "--model", "box", "--devices", hostPath("/nowhere")}), 1,
                "no sample device tree 'box' found in");
}

// ---------------------------------------------------------------- cfg dump / diff

TEST_F(SensorctlTest, CfgDumpDecodesRecordsWithKeyNames) {
    writeFile("/a.cfg", recordBytes({{34, 60}, {2337, 45}, {12, 7}, {2497, 0xFFFFFFFFu}}));
    RunResult r = run({"cfg", "dump", hostPath("/a.cfg")});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ("", r.err);
    std::vector<std::string> out = linesStartingWith(r.out, "sensorctl: ");
    ASSERT_EQ(5u, out.size()) << r.out;
    EXPECT_EQ("sensorctl: " + hostPath("/a.cfg") + ": 4 records", out[0]);
    EXPECT_EQ("sensorctl:   (34,60)  KEY_BRIGHTNESS", out[1]);
    EXPECT_EQ("sensorctl:   (2337,45)  KEY_SATURATION", out[2]);
    EXPECT_EQ("sensorctl:   (12,7)  -", out[3]);               // there is no key 12
    EXPECT_EQ("sensorctl:   (2497,-1)  KEY_SENSOR_FPS", out[4]); // values print signed, as in the text form
}

TEST_F(SensorctlTest, CfgDumpWarnsAboutAPartialRecord) {
    writeFile("/short.cfg", recordBytes({{34, 60}}) + std::string("\x01\x02\x03", 3));
    RunResult r = run({"cfg", "dump", hostPath("/short.cfg")});
    EXPECT_EQ(0, r.code);
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   (34,60)  KEY_BRIGHTNESS"));
    EXPECT_EQ("sensorctl: warning: " + hostPath("/short.cfg") + " ends with 3 bytes that make no whole record (ignored)\n",
              r.err);
    // An empty file is zero records.
    writeFile("/empty.cfg", "");
    r = run({"cfg", "dump", hostPath("/empty.cfg")});
    EXPECT_EQ(0, r.code);
    EXPECT_TRUE(hasLine(r.out, "sensorctl: " + hostPath("/empty.cfg") + ": 0 records"));
}

TEST_F(SensorctlTest, CfgDiffShowsChangedAndMissingKeys) {
    writeFile("/a.cfg", recordBytes({{34, 50}, {2337, 50}, {2353, 50}, {16, 0}}));
    writeFile("/b.cfg", recordBytes({{34, 60}, {2337, 50}, {2353, 40}, {49, 5}}));
    RunResult r = run({"cfg", "diff", hostPath("/a.cfg"), hostPath("/b.cfg")});
    ASSERT_EQ(0, r.code) << r.err;
    std::vector<std::string> out = linesStartingWith(r.out, "sensorctl: ");
    ASSERT_EQ(5u, out.size()) << r.out;
    EXPECT_EQ("sensorctl:   (34,50) -> (34,60)  KEY_BRIGHTNESS", out[0]);
    EXPECT_EQ("sensorctl:   (2353,50) -> (2353,40)  KEY_CONTRAST", out[1]);
    EXPECT_EQ("sensorctl:   only in A: (16,0)  KEY_EXPOSE_MODE", out[2]);
    EXPECT_EQ("sensorctl:   only in B: (49,5)  KEY_MAX_SHUTTER", out[3]);
    EXPECT_EQ("sensorctl: A " + hostPath("/a.cfg") + " and B " + hostPath("/b.cfg") +
                  ": 2 values differ, 1 keys only in A, 1 only in B",
              out[4]);

    r = run({"cfg", "diff", hostPath("/a.cfg"), hostPath("/a.cfg")});
    EXPECT_EQ(0, r.code);
    EXPECT_TRUE(hasLine(r.out, "sensorctl: A " + hostPath("/a.cfg") + " and B " + hostPath("/a.cfg") +
                                   " hold the same values (4 records)"))
        << r.out;
}

TEST_F(SensorctlTest, CfgReadsDevicePathsBelowTheRoot) {
    writeFile("/mnt/mtd/code/config_file/sensor1_0.cfg", recordBytes({{34, 61}}));
    RunResult r = run({"--root", root(), "cfg", "dump", "/mnt/mtd/code/config_file/sensor1_0.cfg"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_TRUE(hasLine(r.out, "sensorctl:   (34,61)  KEY_BRIGHTNESS"));
}

TEST_F(SensorctlTest, CfgErrors) {
    expectError(run({"cfg", "dump", hostPath("/missing.cfg")}), 1, "cannot read " + hostPath("/missing.cfg"));
    makeDir("/dir.cfg");
    expectError(run({"cfg", "dump", hostPath("/dir.cfg")}), 1, "not a regular file");
    writeFile("/a.cfg", recordBytes({{34, 60}}));
    expectError(run({"cfg", "diff", hostPath("/a.cfg"), hostPath("/missing.cfg")}), 1, "cannot read");
    expectError(run({"cfg"}), 2, "missing argument");
    expectError(run({"cfg", "show", hostPath("/a.cfg")}), 2, "unknown cfg action 'show'");
    expectError(run({"cfg", "dump"}), 2, "usage: cfg dump FILE");
    expectError(run({"cfg", "diff", hostPath("/a.cfg")}), 2, "usage: cfg diff A B");
    expectError(run({"--root", hostPath("/nowhere"), "cfg", "dump", hostPath("/a.cfg")}), 1,
                "device root '" + hostPath("/nowhere") + "' does not exist");
    writeFile("/huge.cfg", std::string(2 * 1024 * 1024, 'x'));
    expectError(run({"cfg", "dump", hostPath("/huge.cfg")}), 1, "too large for a scheme file");
}

// ---------------------------------------------------------------- style merge

TEST_F(SensorctlTest, StyleMergeAppliesTheEditsOfAMatchingSelector) {
    writeFile("/style.xml", kStyle);
    writeFile("/div.xml", kDiversity);
    RunResult r = run({"style", "merge", "--style", hostPath("/style.xml"), "--diversity", hostPath("/div.xml"),
                       "--detail", "(sensor=imx327)(max_scheme=4)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ("", r.err);
    EXPECT_NE(std::string::npos, r.out.find("<item id=\"34\" value=\"70\" />")) << r.out;
    EXPECT_EQ(std::string::npos, r.out.find("2384")) << r.out;
    EXPECT_EQ(std::string::npos, r.out.find("sensorctl:")) << "the XML alone goes to stdout";
    // The merge ran in a private temporary root (TMPDIR is the test root),
    // which is gone afterwards.
    EXPECT_EQ(0u, entriesStartingWith(root(), "sensorctl-merge-"));
    EXPECT_FALSE(fileExists("/tmp/merge_style_ch1.xml"));
}

TEST_F(SensorctlTest, StyleMergeWithoutAMatchLeavesTheStyleAndWritesOut) {
    writeFile("/style.xml", kStyle);
    writeFile("/div.xml", kDiversity);
    RunResult r = run({"style", "merge", "--style", hostPath("/style.xml"), "--diversity", hostPath("/div.xml"),
                       "--detail", "(sensor=ov5647)", "--out", hostPath("/merged.xml"), "--channel", "2"});
    ASSERT_EQ(0, r.code) << r.err;
    std::string merged = readFile("/merged.xml");
    EXPECT_NE(std::string::npos, merged.find("<item id=\"34\" value=\"50\" />")) << merged;
    EXPECT_NE(std::string::npos, merged.find("<item id=\"2384\" value=\"0\" />")) << merged;
    EXPECT_TRUE(hasLine(r.out, "sensorctl: style merge: " + std::to_string(merged.size()) + " bytes written to " +
                                   hostPath("/merged.xml")))
        << r.out;
}

// A selector without operations makes the library report; the report is
// summarised on stderr, and --verbose shows the library's lines as well.
TEST_F(SensorctlTest, StyleMergeSummarisesTheLibrarysReports) {
    writeFile("/style.xml", kStyle);
    writeFile("/div.xml", "<select sensor=\"imx327\"/>");
    RunResult r = run({"style", "merge", "--style", hostPath("/style.xml"), "--diversity", hostPath("/div.xml"),
                       "--detail", "(sensor=imx327)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_EQ("sensorctl: warning: the library raised 1 assertion report in mergeStyle: NULL != (node_second = "
              "node_first->FirstChildElement())\n",
              r.err);
    EXPECT_EQ(std::string::npos, r.out.find("[sensor assert]")) << r.out;
    EXPECT_NE(std::string::npos, r.out.find("<item id=\"34\" value=\"50\" />")) << r.out;
    r = run({"style", "merge", "--verbose", "--style", hostPath("/style.xml"), "--diversity", hostPath("/div.xml"),
             "--detail", "(sensor=imx327)"});
    ASSERT_EQ(0, r.code) << r.err;
    EXPECT_NE(std::string::npos, r.out.find("[sensor assert] file:SensorKeyVal.cpp fun:mergeStyle line:189\n")) << r.out;
}

TEST_F(SensorctlTest, StyleMergeErrors) {
    writeFile("/style.xml", kStyle);
    writeFile("/div.xml", kDiversity);
    writeFile("/bad.xml", "<style><tab key=\"a\"></style>");
    const std::string style = hostPath("/style.xml");
    const std::string div = hostPath("/div.xml");
    expectError(run({"style", "merge", "--diversity", div, "--detail", ""}), 2, "style merge needs --style");
    expectError(run({"style", "merge", "--style", style, "--detail", ""}), 2, "style merge needs --diversity");
    expectError(run({"style", "merge", "--style", style, "--diversity", div}), 2, "style merge needs --detail");
    expectError(run({"style", "merge", "--style", style, "--diversity", div, "--detail", std::string(600, 'd')}), 2,
                "--detail has 600 characters");
    expectError(run({"style", "merge", "--style", hostPath("/none.xml"), "--diversity", div, "--detail", ""}), 1,
                "cannot read the style file " + hostPath("/none.xml"));
    expectError(run({"style", "merge", "--style", style, "--diversity", hostPath("/none.xml"), "--detail", ""}), 1,
                "cannot read the diversity file");
    expectError(run({"style", "merge", "--style", hostPath("/bad.xml"), "--diversity", div, "--detail", ""}), 1,
                hostPath("/bad.xml") + " is not well-formed XML");
    expectError(run({"style", "merge", "--style", style, "--diversity", hostPath("/bad.xml"), "--detail", ""}), 1,
                "is not well-formed XML");
    expectError(run({"style", "merge", "extra", "--style", style, "--diversity", div, "--detail", ""}), 2,
                "too many arguments");
}

// ---------------------------------------------------------------- key names

TEST_F(SensorctlTest, KeyNameTableMatchesTheLibrarysKeyCommandTable) {
    size_t count = 0;
    const sensorctl::KeyName* names = sensorctl::keyNames(count);
    ASSERT_EQ(static_cast<size_t>(KEYCMD_ROWS), count);
    std::unique_ptr<ISensorController> controller(new ISensorController());
    ISensorControllerTestPeer::buildKeyCmdMap(*controller);
    const keycmd* table = ISensorControllerTestPeer::keyCmdMap(*controller);
    ASSERT_NE(nullptr, table);
    for (u32 row = 0; row < KEYCMD_ROWS; ++row) {
        const char* name = sensorctl::keyName(table[row].key);
        ASSERT_NE(nullptr, name) << "key " << table[row].key;
        // The library keeps 32 characters of a name; sensorctl the whole.
        std::string libraryName(table[row].szKeyName, strnlen(table[row].szKeyName, KEYCMD_NAME_LEN));
        EXPECT_EQ(libraryName, std::string(name).substr(0, KEYCMD_NAME_LEN)) << "key " << table[row].key;
        bool found = false;
        for (size_t i = 0; i < count; ++i) {
            if (names[i].key == table[row].key) {
                EXPECT_EQ(table[row].ia_cmd, names[i].ispCmd) << names[i].name;
                found = true;
            }
        }
        EXPECT_TRUE(found);
    }
    // The table of a controller that was never initialised is not freed by uinit.
    std::free(ISensorControllerTestPeer::keyCmdMap(*controller));
    ISensorControllerTestPeer::keyCmdMap(*controller) = nullptr;
    EXPECT_STREQ("KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV", sensorctl::keyName(8104));
    EXPECT_EQ(nullptr, sensorctl::keyName(12));
    // ISP commands are named after the key that drives them, else by the ISP's name.
    EXPECT_STREQ("KEY_WHITE_SWITCH", sensorctl::ispCommandName(168));
    EXPECT_STREQ("KEY_SENSOR_FPS", sensorctl::ispCommandName(2464));
    EXPECT_STREQ("IA_CMD_DN_STATE", sensorctl::ispCommandName(153));
    EXPECT_EQ(nullptr, sensorctl::ispCommandName(0));
    EXPECT_EQ(nullptr, sensorctl::ispCommandName(7777));
}
