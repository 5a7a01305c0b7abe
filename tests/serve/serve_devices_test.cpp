// The settings page's API on every sample device tree, and what the page
// shows of a style whose slowest shutter holds 200 or more.
#include <tinyxml.h>

#include <string>
#include <vector>

#include "config/StyleXml.h"
#include "serve/ServeFixture.h"

namespace serve_test {
namespace {

class ServeDevicesTest : public ServeTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(ServeDevicesTest, StyleAndParametersOfTheTree) {
    startServer(GetParam());
    Reply style = get("/api/style");
    ASSERT_EQ(200, style.status) << style.text;
    std::string xml;
    live().read("test", [&xml](ISensorController& ctl) { xml = ctl.getUIStyleFile(); });
    TiXmlDocument doc;
    ASSERT_TRUE(LoadMem(doc, xml.c_str(), TIXML_ENCODING_UTF8));
    size_t nTabs = 0;
    for (const TiXmlElement* tab = doc.RootElement()->FirstChildElement(); tab; tab = tab->NextSiblingElement()) {
        ++nTabs;
    }
    EXPECT_EQ(nTabs, style.body["tabs"].size());
    size_t nItems = 0;
    for (const json& tab : style.body["tabs"]) {
        nItems += tab["items"].size();
    }
    Reply parameters = get("/api/parameters");
    ASSERT_EQ(200, parameters.status);
    // Every item of the narrowed style has a factory value, and so a value
    // in the scheme.
    EXPECT_EQ(nItems, parameters.body["parameters"].size()) << GetParam();
    Reply state = get("/api/state");
    EXPECT_EQ(device().cameraId(), state.body["channel"]);
}

INSTANTIATE_TEST_SUITE_P(SampleTrees, ServeDevicesTest, ::testing::Values("box", "dome", "thermal", "lpr", "fisheye"));

class ServeDomeTest : public ServeTest {};

// The dome's style holds 205 for the slowest shutter: getAllParameters then
// reads the current scheme's file, not the live values, and the page shows a
// change only once it is stored, as the camera's own page would.
TEST_F(ServeDomeTest, ParametersOfAStyleWithShutterPresetAreTheStoredOnes) {
    startServer("dome");
    ASSERT_EQ(50, reportedValue(34));
    Reply set = postText("(34,62)");
    ASSERT_EQ(200, set.status) << set.text;
    EXPECT_EQ(62, ispValue(34));
    EXPECT_EQ(50, reportedValue(34));
    ASSERT_EQ(200, post("/api/flush", "{}").status);
    EXPECT_EQ(62, reportedValue(34));
}

TEST_F(ServeDomeTest, ThermalTreeDrivesChannelTwo) {
    startServer("thermal");
    Reply state = get("/api/state");
    EXPECT_EQ(2, state.body["channel"]);
    Reply set = postText("(34,41)");
    ASSERT_EQ(200, set.status) << set.text;
    ASSERT_FALSE(set.body["isp"].empty());
    EXPECT_EQ(1, set.body["isp"][0]["channel"]);
}

} // namespace
} // namespace serve_test
