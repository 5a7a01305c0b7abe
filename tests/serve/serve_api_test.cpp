// The settings page's JSON API on a live channel of the box camera: every
// endpoint, its answers and its error statuses.
#include <tinyxml.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "config/StyleXml.h"
#include "serve/ServeFixture.h"
#include "tools/sensorctl/serve/SettingsPage.h"

namespace serve_test {
namespace {

class ServeApiTest : public ServeTest {
protected:
    void SetUp() override {
        ServeTest::SetUp();
        startServer("box");
    }

    static const json* findItem(const json& p_objStyle, int p_nId) {
        for (const json& tab : p_objStyle["tabs"]) {
            for (const json& item : tab["items"]) {
                if (item["id"] == p_nId) {
                    return &item;
                }
            }
        }
        return nullptr;
    }

    static std::vector<int> optionIndexes(const json& p_objItem) {
        std::vector<int> out;
        for (const json& option : p_objItem["options"]) {
            out.push_back(option["index"].get<int>());
        }
        return out;
    }

    // The ISP set calls of an answer: (cmd, first value).
    static std::vector<std::pair<unsigned int, int>> setCallsOf(const json& p_objAnswer) {
        std::vector<std::pair<unsigned int, int>> out;
        for (const json& call : p_objAnswer["isp"]) {
            if (call["opt"] == "set") {
                out.emplace_back(call["cmd"].get<unsigned int>(), call["values"][0].get<int>());
            }
        }
        return out;
    }
};

// ---------------------------------------------------------------- the page

TEST_F(ServeApiTest, RootServesTheBuiltInPageWithItsHeaders) {
    Reply r = get("/");
    ASSERT_EQ(200, r.status);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(sensorctl::serve::kSettingsPage),
                          sensorctl::serve::kSettingsPageSize),
              r.text);
    EXPECT_EQ(0u, r.text.find("<!DOCTYPE html>"));
    EXPECT_NE(std::string::npos, r.text.find("/api/parameters"));
    EXPECT_EQ("text/html; charset=utf-8", header(r, "Content-Type"));
    std::string csp = header(r, "Content-Security-Policy");
    EXPECT_NE(std::string::npos, csp.find("default-src 'none'")) << csp;
    EXPECT_NE(std::string::npos, csp.find("connect-src 'self'")) << csp;
    EXPECT_EQ("no-referrer", header(r, "Referrer-Policy"));
    // The token in the address is read by the page, not by the server.
    EXPECT_EQ(200, get("/?token=anything").status);
}

TEST_F(ServeApiTest, NothingElseIsServed) {
    writeFile("/index.html", "<html>a file of the device root</html>");
    for (const char* path : {"/index.html", "/settings.html", "/web/settings.html", "/api", "/api/", "/api/nothing",
                             "/../index.html", "/mnt/mtd/code/factory_setting/machineinfo.ini", "/%2e%2e/etc/passwd",
                             "/favicon.ico"}) {
        Reply r = get(path);
        expectError(r, 404, "no such path");
        EXPECT_EQ(std::string::npos, r.text.find("a file of the device root")) << path;
    }
}

// ---------------------------------------------------------------- style

TEST_F(ServeApiTest, StyleListsTheNarrowedTabsAndItemsInOrder) {
    Reply r = get("/api/style");
    ASSERT_EQ(200, r.status) << r.text;

    // The same style read independently: the tab keys in document order.
    std::string xml;
    live().read("test", [&xml](ISensorController& ctl) { xml = ctl.getUIStyleFile(); });
    TiXmlDocument doc;
    ASSERT_TRUE(LoadMem(doc, xml.c_str(), TIXML_ENCODING_UTF8));
    std::vector<std::string> xmlTabs;
    for (const TiXmlElement* tab = doc.RootElement()->FirstChildElement(); tab; tab = tab->NextSiblingElement()) {
        xmlTabs.push_back(tab->Attribute("key"));
    }
    std::vector<std::string> jsonTabs;
    for (const json& tab : r.body["tabs"]) {
        jsonTabs.push_back(tab["key"]);
    }
    EXPECT_EQ(xmlTabs, jsonTabs);
    // The box module's diversity adds the iris tab after the exposure tab.
    std::vector<std::string> expected = {"scheme", "image", "exposure", "iris", "whitebalance", "daynight", "irlight",
                                         "whitelight", "smartlight", "noise", "enhance", "video", "lens"};
    EXPECT_EQ(expected, jsonTabs);
    EXPECT_EQ("Schemes", r.body["tabs"][0]["name"]);
    EXPECT_EQ("IPC box", r.body["root"]["product"]);

    // A slider with its range and key name.
    const json* brightness = findItem(r.body, 34);
    ASSERT_NE(nullptr, brightness);
    EXPECT_EQ("slider", (*brightness)["type"]);
    EXPECT_EQ("Brightness", (*brightness)["name"]);
    EXPECT_EQ("KEY_BRIGHTNESS", (*brightness)["keyName"]);
    EXPECT_EQ(0, (*brightness)["min"]);
    EXPECT_EQ(100, (*brightness)["max"]);
    EXPECT_EQ(50, (*brightness)["value"]);

    // A combo narrowed to what the ISP offers (2 to 22), keeping its value.
    const json* shutter = findItem(r.body, 49);
    ASSERT_NE(nullptr, shutter);
    EXPECT_EQ("combo", (*shutter)["type"]);
    EXPECT_EQ(5, (*shutter)["value"]);
    std::vector<int> indexes = optionIndexes(*shutter);
    ASSERT_EQ(21u, indexes.size());
    EXPECT_EQ(2, indexes.front());
    EXPECT_EQ(22, indexes.back());
    EXPECT_EQ("1/3 s", (*shutter)["options"][0]["name"]);
    // A dynamic item takes the ISP's default.
    EXPECT_EQ(42, (*findItem(r.body, 65))["value"]);

    // Items of a group carry its name; time items their range.
    EXPECT_EQ("Night", (*findItem(r.body, 56))["group"]);
    EXPECT_EQ("", (*findItem(r.body, 34))["group"]);
    EXPECT_EQ("time", (*findItem(r.body, 8003))["type"]);
    EXPECT_EQ(24, (*findItem(r.body, 8003))["max"]);
    EXPECT_EQ("s", (*findItem(r.body, 147))["unit"]);

    // Items the channel never shows are gone: 10 always, 11 while the
    // corridor flag is set.
    EXPECT_EQ(nullptr, findItem(r.body, 10));
    EXPECT_EQ(nullptr, findItem(r.body, 11));
}

// ---------------------------------------------------------------- parameters

TEST_F(ServeApiTest, ParametersAreTheCurrentSchemeAsJsonAndText) {
    Reply r = get("/api/parameters");
    ASSERT_EQ(200, r.status);
    EXPECT_EQ(0, r.body["scheme"]);
    std::string text = r.body["text"];
    EXPECT_EQ(0u, text.find("(8000,0)(8001,0)(8002,0)(8003,24)(8004,0)(34,50)")) << text;
    std::string rebuilt;
    for (const json& record : r.body["parameters"]) {
        rebuilt += "(" + std::to_string(record["key"].get<unsigned int>()) + "," +
                   std::to_string(record["value"].get<int>()) + ")";
    }
    EXPECT_EQ(text, rebuilt);
    EXPECT_EQ("KEY_BRIGHTNESS", r.body["parameters"][5]["name"]);
    // The same records as the controller's own getAllParameters.
    std::string direct;
    live().read("test", [&direct](ISensorController& ctl) { ctl.getAllParameters(direct); });
    EXPECT_EQ(direct, text);
}

TEST_F(ServeApiTest, PostedTextIsAppliedWithItsIspCallsAndNotifications) {
    Reply r = postText("(34,61)(2384,1)");
    ASSERT_EQ(200, r.status) << r.text;
    EXPECT_EQ(0, r.body["result"]);
    EXPECT_EQ("(34,61)(2384,1)", r.body["text"]);
    std::vector<std::pair<unsigned int, int>> sets = setCallsOf(r.body);
    std::vector<std::pair<unsigned int, int>> expected = {{34u, 61}, {2384u, 1}};
    EXPECT_EQ(expected, sets);
    ASSERT_EQ(1u, r.body["isp"][0]["values"].size());
    EXPECT_EQ("KEY_BRIGHTNESS", r.body["isp"][0]["name"]);
    EXPECT_EQ(0, r.body["isp"][0]["channel"]);
    // The mirror goes to the video module first.
    ASSERT_EQ(1u, r.body["video"].size());
    EXPECT_EQ(2384, r.body["video"][0]["key"]);
    EXPECT_EQ(1, r.body["video"][0]["value"]);
    EXPECT_EQ("KEY_MIRROR", r.body["video"][0]["name"]);

    EXPECT_EQ(61, ispValue(34));
    EXPECT_EQ(1, ispValue(2384));
    EXPECT_EQ(61, reportedValue(34));

    // The activity log has the action with the same calls.
    std::vector<json> actions = logEntries("action");
    ASSERT_FALSE(actions.empty());
    const json& last = actions.back();
    EXPECT_EQ("set", last["action"]);
    EXPECT_EQ("(34,61)(2384,1)", last["detail"]);
    EXPECT_EQ("host", last["by"]);
    EXPECT_EQ("12:00", last["clock"]);
    EXPECT_EQ(r.body["isp"], last["isp"]);
    EXPECT_EQ(r.body["video"], last["video"]);

    // The same value again is skipped by the library: nothing reaches the ISP.
    Reply again = postText("(34,61)");
    ASSERT_EQ(200, again.status);
    EXPECT_TRUE(again.body["isp"].empty()) << again.text;
}

TEST_F(ServeApiTest, BlanksAroundTheTextAndFormEncodingAreAccepted) {
    Reply r = post("/api/parameters", "  (34,62)\r\n", "application/x-www-form-urlencoded");
    ASSERT_EQ(200, r.status) << r.text;
    EXPECT_EQ("(34,62)", r.body["text"]);
    EXPECT_EQ(62, ispValue(34));
    // Negative values are the library's signed text form.
    ASSERT_EQ(200, postText("(66,-1)").status);
    EXPECT_EQ(-1, reportedValue(66));
}

TEST_F(ServeApiTest, ValueTheIspCorrectsIsReportedCorrected) {
    // The ISP offers 2 to 22 for the slowest shutter; 0 is stored as sent and
    // corrected when the parameters are read.
    Reply r = postText("(49,0)");
    ASSERT_EQ(200, r.status) << r.text;
    EXPECT_EQ(2, reportedValue(49));
    bool bCorrected = false;
    for (const json& entry : logEntries("read")) {
        for (const json& call : entry["isp"]) {
            bCorrected = bCorrected || (call["cmd"] == 49 && call["opt"] == "correct" && call["answer"][0] == 2);
        }
    }
    EXPECT_TRUE(bCorrected);
}

TEST_F(ServeApiTest, LibraryFailureGives500WithTheResultCode) {
    ispsim::setFailure(0, 34, IA_CMD_OPT_SET, -4);
    Reply r = postText("(2337,40)(34,70)(2353,41)");
    expectError(r, 500, "refused key 34");
    EXPECT_EQ(-34, r.body["result"]);
    // The records before it were applied, the failing one and the rest not.
    EXPECT_EQ(40, ispValue(2337));
    EXPECT_EQ(50, reportedValue(34));
    EXPECT_EQ(50, reportedValue(2353));
    ASSERT_EQ(2u, r.body["isp"].size());
    EXPECT_EQ(-4, r.body["isp"][1]["result"]);
}

TEST_F(ServeApiTest, MalformedTextGives400AndChangesNothing) {
    ASSERT_EQ(200, postText("(34,55)").status);
    const std::vector<std::string> bad = {"",          "   ",       "(34,abc)",   "(abc,5)",       "34,5",
                                          "(34,5",     "(34, 5)",   "(34,5)x",    "(34,5)(",       "(-1,5)",
                                          "(34,5,6)",  "(34)",      "()",         "(34,99999999999)",
                                          "(2147483648,1)", "(34,2147483648)", "(34,5) (35,6)", "(34;5)",
                                          "(+34,5)",   "(34,--5)",  "(34,5)\n(35,6)"};
    for (const std::string& text : bad) {
        Reply r = postText(text);
        expectError(r, 400, text.find_first_not_of(" ") == std::string::npos ? "empty parameter text"
                                                                               : "bad parameter text");
    }
    EXPECT_EQ(55, ispValue(34));
    EXPECT_EQ(55, reportedValue(34));
    // Nothing was logged as a set except the first.
    size_t nSets = 0;
    for (const json& entry : logEntries("action")) {
        nSets += entry["action"] == "set" ? 1 : 0;
    }
    EXPECT_EQ(1u, nSets);
}

TEST_F(ServeApiTest, BodyOfExactly64KiBIsReadAndOneByteMoreGives400) {
    // 64 KiB of valid records: the library skips the repeats.
    std::string text;
    while (text.size() + 7 <= 65536) {
        text += "(34,63)";
    }
    text.append(65536 - text.size(), ' ');
    ASSERT_EQ(65536u, text.size());
    Reply ok = postText(text);
    ASSERT_EQ(200, ok.status) << ok.text.substr(0, 200);
    EXPECT_EQ(63, ispValue(34));

    Reply over = postText(text + " ");
    expectError(over, 400, "over 65536 bytes");
    Reply overForm = post("/api/parameters", std::string(70000, '('), "application/x-www-form-urlencoded");
    expectError(overForm, 400, "over 65536 bytes");
    Reply overAction = post("/api/scheme", "{\"scheme\":1" + std::string(70000, ' ') + "}");
    expectError(overAction, 400, "over 65536 bytes");
    EXPECT_EQ(0, get("/api/state").body["scheme"]);

    // Sent in chunks, without a length: the server stops reading at the limit.
    size_t nSent = 0;
    auto cli = client();
    httplib::Headers headers = {{"X-Tarnix-Token", kToken}};
    Reply chunked = reply(cli->Post(
        "/api/parameters", headers,
        [&nSent](size_t, httplib::DataSink& sink) {
            std::string chunk(4096, ' ');
            if (nSent >= 200000) {
                sink.done();
                return true;
            }
            nSent += chunk.size();
            return sink.write(chunk.data(), chunk.size());
        },
        "text/plain"));
    if (chunked.status != -1) {
        expectError(chunked, 400, "over 65536 bytes");
    }
    EXPECT_EQ(200, get("/api/state").status);
}

// ---------------------------------------------------------------- state and log

TEST_F(ServeApiTest, StateReportsSchemeModeSwitchingClockAndDayNight) {
    Reply r = get("/api/state");
    ASSERT_EQ(200, r.status);
    EXPECT_EQ(1, r.body["channel"]);
    EXPECT_EQ(0, r.body["scheme"]);
    EXPECT_EQ(4, r.body["userSchemes"]);
    EXPECT_EQ(4, r.body["factoryScheme"]);
    EXPECT_EQ(0, r.body["schemeMode"]);
    EXPECT_EQ("off", r.body["schemeModeName"]);
    EXPECT_EQ(1, r.body["mode"]);
    EXPECT_EQ("on", r.body["switching"]);
    EXPECT_EQ("12:00", r.body["clock"]);
    EXPECT_EQ(0, r.body["dayNight"]);
    EXPECT_EQ("day", r.body["dayNightName"]);
    EXPECT_EQ(root(), r.body["root"]);
}

TEST_F(ServeApiTest, LogReturnsEntriesFromTheGivenNumberOn) {
    ASSERT_EQ(200, postText("(34,64)").status);
    ASSERT_EQ(200, postText("(34,65)").status);
    Reply all = get("/api/log");
    ASSERT_EQ(200, all.status);
    const json& entries = all.body["entries"];
    ASSERT_GE(entries.size(), 3u);
    EXPECT_EQ("init", entries[0]["action"]);
    EXPECT_EQ(0, entries[0]["seq"]);
    EXPECT_EQ(0, all.body["first"]);
    uint64_t next = all.body["next"];
    EXPECT_EQ(entries.size(), next);
    for (size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(i, entries[i]["seq"].get<size_t>());
    }
    Reply tail = get("/api/log?since=" + std::to_string(next - 1));
    ASSERT_EQ(1u, tail.body["entries"].size());
    EXPECT_EQ(entries.back(), tail.body["entries"][0]);
    Reply none = get("/api/log?since=" + std::to_string(next + 100));
    EXPECT_TRUE(none.body["entries"].empty());
    EXPECT_EQ(next, none.body["next"]);

    for (const char* bad : {"-1", "x", "", "1.5", "+3", "99999999999999999999"}) {
        expectError(get(std::string("/api/log?since=") + bad), 400, "'since'");
    }
}

// ---------------------------------------------------------------- actions

TEST_F(ServeApiTest, SchemeActionSwitchesAndIsLoggedAsTheHosts) {
    Reply r = post("/api/scheme", "{\"scheme\": 2}");
    ASSERT_EQ(200, r.status) << r.text;
    EXPECT_EQ(true, r.body["result"]);
    EXPECT_EQ(2, r.body["scheme"]);
    EXPECT_EQ(2, get("/api/state").body["scheme"]);
    EXPECT_EQ(2, get("/api/parameters").body["scheme"]);
    std::vector<json> switches = logEntries("switch");
    ASSERT_EQ(1u, switches.size());
    EXPECT_EQ(0, switches[0]["from"]);
    EXPECT_EQ(2, switches[0]["to"]);
    EXPECT_EQ("host", switches[0]["by"]);
    // The factory values are a scheme too.
    ASSERT_EQ(200, post("/api/scheme", "{\"scheme\": 4}").status);
    EXPECT_EQ(4, get("/api/state").body["scheme"]);
}

TEST_F(ServeApiTest, MalformedActionBodiesGive400AndChangeNothing) {
    expectError(post("/api/scheme", "{\"scheme\": 5}"), 400, "'scheme' must be 0 to 4");
    expectError(post("/api/scheme", "{\"scheme\": -1}"), 400, "'scheme' must be 0 to 4");
    expectError(post("/api/scheme", "{\"scheme\": \"1\"}"), 400, "whole number");
    expectError(post("/api/scheme", "{\"scheme\": 1.5}"), 400, "whole number");
    expectError(post("/api/scheme", "{}"), 400, "whole number");
    expectError(post("/api/scheme", "{\"scheme\": 1, \"force\": true}"), 400, "unknown field 'force'");
    expectError(post("/api/scheme", "{\"scheme\": 1"), 400, "malformed JSON");
    expectError(post("/api/scheme", "[1]"), 400, "JSON object");
    expectError(post("/api/scheme", std::string(100, '[') + std::string(100, ']')), 400, "nested too deeply");
    expectError(post("/api/scheme", "{\"scheme\": 18446744073709551615}"), 400, "'scheme' must be 0 to 4");
    expectError(post("/api/mode", "{\"mode\": 2}"), 400, "'mode' must be 0 to 1");
    expectError(post("/api/flush", "{\"now\": 1}"), 400, "unknown field 'now'");
    expectError(post("/api/clock", "{\"clock\": \"24:00\"}"), 400, "'clock' must be");
    expectError(post("/api/clock", "{\"clock\": \"7:5\"}"), 400, "'clock' must be");
    expectError(post("/api/clock", "{}"), 400, "'clock' must be");
    expectError(post("/api/daynight", "{\"state\": \"dusk\"}"), 400, "'state' must be");
    expectError(post("/api/reset", "reset please"), 400, "malformed JSON");
    expectError(post("/api/reload", "{\"all\": true}"), 400, "unknown field 'all'");
    Reply state = get("/api/state");
    EXPECT_EQ(0, state.body["scheme"]);
    EXPECT_EQ(1, state.body["mode"]);
    EXPECT_EQ("12:00", state.body["clock"]);
    EXPECT_EQ(0, state.body["dayNight"]);
    EXPECT_EQ(0, state.body["styleGeneration"]);
}

TEST_F(ServeApiTest, ModeActionSuspendsAndResumesSwitching) {
    Reply r = post("/api/mode", "{\"mode\": 0}");
    ASSERT_EQ(200, r.status) << r.text;
    EXPECT_EQ(0, r.body["mode"]);
    EXPECT_EQ("suspended", get("/api/state").body["switching"]);
    ASSERT_EQ(200, post("/api/mode", "{\"mode\": 1}").status);
    EXPECT_EQ("on", get("/api/state").body["switching"]);
}

TEST_F(ServeApiTest, SetThroughTheApiIsInTheSchemeFileAfterAStore) {
    ASSERT_EQ(200, postText("(34,77)(2337,33)").status);
    const std::string file = "/mnt/mtd/code/config_file/sensor1_0.cfg";
    EXPECT_EQ(50, valueOf(schemeRecords(file), 34));
    Reply r = post("/api/flush", "");
    ASSERT_EQ(200, r.status) << r.text;
    EXPECT_EQ(0, r.body["result"]);
    EXPECT_EQ(0, r.body["scheme"]);
    EXPECT_EQ(file, r.body["file"]);
    EXPECT_EQ(77, valueOf(schemeRecords(file), 34));
    EXPECT_EQ(33, valueOf(schemeRecords(file), 2337));

    // Another scheme stores into its own file.
    ASSERT_EQ(200, post("/api/scheme", "{\"scheme\":1}").status);
    ASSERT_EQ(200, postText("(34,12)").status);
    ASSERT_EQ(200, post("/api/flush", "{}").status);
    EXPECT_EQ(12, valueOf(schemeRecords("/mnt/mtd/code/config_file/sensor1_1.cfg"), 34));
    EXPECT_EQ(77, valueOf(schemeRecords(file), 34));
}

TEST_F(ServeApiTest, StoreOfABadTimeWindowGives500WithTheResultCode) {
    ASSERT_EQ(200, postText("(8001,25)").status);
    Reply r = post("/api/flush", "{}");
    expectError(r, 500, "storing scheme 0 failed with 505");
    EXPECT_EQ(505, r.body["result"]);
    EXPECT_EQ(0, valueOf(schemeRecords("/mnt/mtd/code/config_file/sensor1_0.cfg"), 8001));
    // The factory values are never stored: 0 and no file.
    ASSERT_EQ(200, post("/api/scheme", "{\"scheme\":4}").status);
    Reply factory = post("/api/flush", "{}");
    ASSERT_EQ(200, factory.status);
    EXPECT_TRUE(factory.body["file"].is_null());
}

TEST_F(ServeApiTest, ResetRestoresTheFactoryValues) {
    ASSERT_EQ(200, postText("(34,88)").status);
    ASSERT_EQ(200, post("/api/flush", "{}").status);
    ASSERT_EQ(200, post("/api/scheme", "{\"scheme\":3}").status);
    Reply r = post("/api/reset", "{}");
    ASSERT_EQ(200, r.status) << r.text;
    EXPECT_EQ(true, r.body["result"]);
    EXPECT_EQ(0, r.body["scheme"]);
    EXPECT_EQ(50, reportedValue(34));
    EXPECT_EQ(50, valueOf(schemeRecords("/mnt/mtd/code/config_file/sensor1_0.cfg"), 34));
    Reply state = get("/api/state");
    EXPECT_EQ(0, state.body["scheme"]);
    EXPECT_EQ(1, state.body["styleGeneration"]);
    // The reset's own switches are the host's.
    for (const json& entry : logEntries("switch")) {
        EXPECT_EQ("host", entry["by"]);
    }
}

TEST_F(ServeApiTest, ClockAndDayNightActions) {
    Reply r = post("/api/clock", "{\"clock\": \"07:30\"}");
    ASSERT_EQ(200, r.status) << r.text;
    Reply state = get("/api/state");
    EXPECT_EQ("07:30", state.body["clock"]);
    EXPECT_EQ(true, state.body["clockFixed"]);
    ASSERT_EQ(200, post("/api/clock", "{\"clock\": null}").status);
    EXPECT_EQ(false, get("/api/state").body["clockFixed"]);
    ASSERT_EQ(200, post("/api/clock", "{\"clock\": \"real\"}").status);
    ASSERT_EQ(200, post("/api/clock", "{\"clock\": \"23:59\"}").status);
    EXPECT_EQ("23:59", get("/api/state").body["clock"]);

    ASSERT_EQ(200, post("/api/daynight", "{\"state\": \"night\"}").status);
    EXPECT_EQ(1, ispValue(IA_CMD_DN_STATE));
    EXPECT_EQ("night", get("/api/state").body["dayNightName"]);
    ASSERT_EQ(200, post("/api/daynight", "{\"state\": \"day\"}").status);
    EXPECT_EQ(0, ispValue(IA_CMD_DN_STATE));
    std::vector<json> actions = logEntries("action");
    EXPECT_EQ("daynight", actions.back()["action"]);
    EXPECT_EQ("day", actions.back()["detail"]);
}

TEST_F(ServeApiTest, ReloadPicksUpAnEditedStyle) {
    std::string style = readFile("/hd1/moduleConfig/sensorConfig/style/Style.xml");
    size_t pos = style.find("name=\"Brightness\"");
    ASSERT_NE(std::string::npos, pos);
    style.replace(pos, std::strlen("name=\"Brightness\""), "name=\"Luminance\"");
    writeFile("/hd1/moduleConfig/sensorConfig/style/Style.xml", style);
    EXPECT_EQ("Brightness", (*findItem(get("/api/style").body, 34))["name"]);

    Reply r = post("/api/reload", "{}");
    ASSERT_EQ(200, r.status) << r.text;
    EXPECT_EQ(0, r.body["scheme"]);
    EXPECT_FALSE(r.body["isp"].empty());
    EXPECT_EQ("Luminance", (*findItem(get("/api/style").body, 34))["name"]);
    EXPECT_EQ(1, get("/api/state").body["styleGeneration"]);
    // The channel works on: a set reaches the ISP.
    ASSERT_EQ(200, postText("(34,44)").status);
    EXPECT_EQ(44, ispValue(34));
}

TEST_F(ServeApiTest, ReloadWithAnUnreadableModuleFileGives500AndKeepsTheChannel) {
    writeFile("/hd1/moduleConfig/moduleConfig.xml", "<moduleConfig><module");
    Reply r = post("/api/reload", "{}");
    expectError(r, 500, "cannot read the module configuration");
    EXPECT_EQ(0, get("/api/state").body["styleGeneration"]);
    ASSERT_EQ(200, postText("(34,45)").status);
    EXPECT_EQ(45, ispValue(34));
}

// ---------------------------------------------------------------- methods and paths

TEST_F(ServeApiTest, KnownPathWithAnotherMethodGives405) {
    auto cli = client();
    httplib::Headers token = {{"X-Tarnix-Token", kToken}};
    Reply del = reply(cli->Delete("/api/state", token));
    expectError(del, 405, "DELETE is not accepted here; use GET");
    EXPECT_EQ("GET", header(del, "Allow"));
    expectError(get("/api/flush"), 405, "use POST");
    expectError(post("/api/state", "{}"), 405, "use GET");
    Reply put = reply(cli->Put("/api/parameters", token, "(34,1)", "text/plain"));
    expectError(put, 405, "use GET, POST");
    EXPECT_EQ(50, reportedValue(34));
}

} // namespace
} // namespace serve_test
