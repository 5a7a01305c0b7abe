// The settings page's server as a local development server: the per-run
// token on state-changing requests, foreign origins and host names refused,
// loopback by default.
#include <string>
#include <vector>

#include "serve/ServeFixture.h"

namespace serve_test {
namespace {

using sensorctl::serve::isLoopbackName;
using sensorctl::serve::makeToken;

class ServeSecurityTest : public ServeTest {
protected:
    void SetUp() override {
        ServeTest::SetUp();
        startServer("box");
    }

    // Every state-changing request with a valid body.
    struct Change {
        const char* path;
        const char* body;
        const char* type;
    };
    static std::vector<Change> changes() {
        return {{"/api/parameters", "(34,70)", "text/plain"},
                {"/api/scheme", "{\"scheme\":2}", "application/json"},
                {"/api/mode", "{\"mode\":0}", "application/json"},
                {"/api/flush", "{}", "application/json"},
                {"/api/reset", "{}", "application/json"},
                {"/api/clock", "{\"clock\":\"07:00\"}", "application/json"},
                {"/api/daynight", "{\"state\":\"night\"}", "application/json"},
                {"/api/reload", "{}", "application/json"}};
    }

    // Nothing any change above makes has happened.
    void expectUnchanged() {
        Reply state = get("/api/state");
        EXPECT_EQ(0, state.body["scheme"]);
        EXPECT_EQ(1, state.body["mode"]);
        EXPECT_EQ("12:00", state.body["clock"]);
        EXPECT_EQ(0, state.body["dayNight"]);
        EXPECT_EQ(0, state.body["styleGeneration"]);
        EXPECT_EQ(0, state.body["generation"]);
        EXPECT_EQ(50, reportedValue(34));
        EXPECT_FALSE(fileExists("/mnt/mtd/code/config_file/sensor1_0.cfg") &&
                     valueOf(schemeRecords("/mnt/mtd/code/config_file/sensor1_0.cfg"), 34) != 50);
        EXPECT_TRUE(logEntries("action").size() == 1u) << "only init";
    }
};

TEST_F(ServeSecurityTest, ReadsNeedNoToken) {
    for (const char* path : {"/", "/api/style", "/api/parameters", "/api/state", "/api/log?since=0"}) {
        EXPECT_EQ(200, get(path).status) << path;
    }
}

TEST_F(ServeSecurityTest, ChangesWithoutTheTokenGive403AndChangeNothing) {
    for (const Change& change : changes()) {
        expectError(post(change.path, change.body, change.type, false), 403, "X-Tarnix-Token");
    }
    expectUnchanged();
}

TEST_F(ServeSecurityTest, ChangesWithAWrongTokenGive403) {
    std::string almost = kToken;
    almost.back() = almost.back() == '0' ? '1' : '0';
    for (const std::string& token : {std::string(""), almost, std::string(kToken) + "0", std::string(kToken, 31),
                                     std::string("0123456789ABCDEF0123456789ABCDEF")}) {
        for (const Change& change : changes()) {
            expectError(post(change.path, change.body, change.type, false, {{"X-Tarnix-Token", token}}), 403,
                        "X-Tarnix-Token");
        }
    }
    expectUnchanged();
}

TEST_F(ServeSecurityTest, ChangesFromAForeignOriginGive403EvenWithTheToken) {
    for (const std::string& origin : {std::string("http://evil.example"), std::string("null"),
                                      std::string("http://127.0.0.1:1"), std::string("https://127.0.0.1:") +
                                                                             std::to_string(port()),
                                      std::string("http://localhost:") + std::to_string(port())}) {
        for (const Change& change : changes()) {
            expectError(post(change.path, change.body, change.type, true, {{"Origin", origin}}), 403,
                        "foreign origin");
        }
    }
    expectUnchanged();
    // The page's own origin, and none (a script), are accepted.
    Reply own = post("/api/parameters", "(34,71)", "text/plain", true, {{"Origin", origin()}});
    EXPECT_EQ(200, own.status) << own.text;
    EXPECT_EQ(200, postText("(34,72)").status);
    EXPECT_EQ(72, reportedValue(34));
}

TEST_F(ServeSecurityTest, ForeignHostNamesAreRefused) {
    // A page of another site whose name was pointed at this machine.
    Reply r = get("/api/parameters", {{"Host", "evil.example:" + std::to_string(port())}});
    expectError(r, 403, "loopback names only");
    expectError(get("/", {{"Host", "evil.example"}}), 403, "loopback names only");
    expectError(post("/api/parameters", "(34,70)", "text/plain", true, {{"Host", "10.0.0.5:8080"}}), 403,
                "loopback names only");
    expectUnchanged();
    for (const std::string& host : std::vector<std::string>{"localhost:" + std::to_string(port()), "LOCALHOST", "127.0.0.1",
                                    "127.1.2.3:80", "[::1]:" + std::to_string(port())}) {
        EXPECT_EQ(200, get("/api/state", {{"Host", host}}).status) << host;
    }
}

TEST_F(ServeSecurityTest, PreflightFromAForeignOriginIsRefused) {
    auto cli = client();
    Reply r = reply(cli->Options("/api/parameters", {{"Origin", "http://evil.example"},
                                                     {"Access-Control-Request-Method", "POST"},
                                                     {"Access-Control-Request-Headers", "x-tarnix-token"}}));
    EXPECT_EQ(403, r.status);
    EXPECT_EQ("", header(r, "Access-Control-Allow-Origin"));
    // No answer of the API allows other origins to read it.
    EXPECT_EQ("", header(get("/api/state", {{"Origin", "http://evil.example"}}), "Access-Control-Allow-Origin"));
}

// Another module's routes on the same server: its paths are its own (no
// token outside /api/), the host and origin checks still hold.
class ServeModuleTest : public ServeTest {
protected:
    void SetUp() override {
        ServeTest::SetUp();
        m_vecModules.push_back([](httplib::Server& p_objServer, sensorctl::serve::LiveChannel& p_objLive) {
            p_objServer.Post("/onvif/device_service", [&p_objLive](const httplib::Request& req, httplib::Response& res) {
                int nScheme = p_objLive.state()["scheme"];
                res.set_content("<scheme>" + std::to_string(nScheme) + "</scheme>" + req.body, "application/soap+xml");
            });
        });
        startServer("box");
    }
};

TEST_F(ServeModuleTest, ModuleRoutesAreServedWithTheLiveChannel) {
    Reply r = post("/onvif/device_service", "<GetSystemDateAndTime/>", "application/soap+xml", false);
    ASSERT_EQ(200, r.status) << r.text;
    EXPECT_EQ("<scheme>0</scheme><GetSystemDateAndTime/>", r.text);
    expectError(post("/onvif/device_service", "<x/>", "application/soap+xml", false, {{"Origin", "http://evil.example"}}),
                403, "foreign origin");
    expectError(get("/onvif/device_service", {{"Host", "evil.example"}}), 403, "loopback names only");
    // The settings routes are still there and still want the token.
    expectError(post("/api/flush", "{}", "application/json", false), 403, "X-Tarnix-Token");
    EXPECT_EQ(200, get("/api/state").status);
}

TEST(ServeTokenTest, TokensAreRandomHexOf32Digits) {
    std::string a = makeToken();
    std::string b = makeToken();
    EXPECT_EQ(32u, a.size());
    EXPECT_EQ(std::string::npos, a.find_first_not_of("0123456789abcdef"));
    EXPECT_NE(a, b);
}

TEST(ServeTokenTest, LoopbackNames) {
    for (const char* name : {"localhost", "LocalHost", "127.0.0.1", "127.255.0.9", "::1", "0:0:0:0:0:0:0:1"}) {
        EXPECT_TRUE(isLoopbackName(name)) << name;
    }
    for (const char* name : {"", "0.0.0.0", "::", "128.0.0.1", "127.0.0.1.evil.example", "localhost.evil.example",
                             "10.0.0.1", "127.0.0.256", "evil"}) {
        EXPECT_FALSE(isLoopbackName(name)) << name;
    }
}

TEST(ServeTokenTest, DefaultsListenOnLoopbackPort8080) {
    sensorctl::serve::ServeConfig config;
    EXPECT_EQ("127.0.0.1", config.bind);
    EXPECT_EQ(8080, config.port);
    sensorctl::Options options;
    EXPECT_EQ("127.0.0.1", options.bind);
    EXPECT_EQ(8080, options.port);
}

} // namespace
} // namespace serve_test
