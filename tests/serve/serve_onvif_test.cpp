// `sensorctl serve --onvif`: the ONVIF services on the settings page's
// server and live channel. A change made through ONVIF is a host action the
// page sees (activity log, values, generation); a reload of the channel
// leaves the services working on the new controller; the server's security
// checks and body limit apply to the ONVIF paths too, with SOAP answers.
#ifdef SENSORCTL_WITH_ONVIF

#include <memory>
#include <string>

#include "onvif/OnvifService.h"
#include "onvif/SoapTestUtil.h"
#include "serve/ServeFixture.h"
#include "tools/sensorctl/serve/OnvifModule.h"

namespace serve_test {
namespace {

const char kImg[] = "xmlns=\"http://www.onvif.org/ver20/imaging/wsdl\"";
const char kDev[] = "xmlns=\"http://www.onvif.org/ver10/device/wsdl\"";
const char kTt[] = "xmlns=\"http://www.onvif.org/ver10/schema\"";
const char kSource[] = "<VideoSourceToken>VideoSource_1</VideoSourceToken>";

class ServeOnvifTest : public ServeTest {
protected:
    void SetUp() override {
        ServeTest::SetUp();
        // The service needs the live channel, which startServer makes: the
        // module builds it when the server adds its routes.
        m_vecModules.push_back([this](httplib::Server& p_objServer, sensorctl::serve::LiveChannel& p_objLive) {
            m_pOnvif = sensorctl::serve::makeOnvifService(p_objLive, {"admin", "p4ss"});
            sensorctl::serve::onvifRoutes(*m_pOnvif)(p_objServer, p_objLive);
        });
        startServer("box");
    }
    void TearDown() override {
        stopServer();
        m_pOnvif.reset();
        ServeTest::TearDown();
    }

    // A SOAP request with the user's digest; the reply parsed.
    onvif_test::Reply soap(const std::string& p_strPath, const std::string& p_strBody, bool p_bAuth = true,
                           httplib::Headers p_objHeaders = {}) const {
        std::string header = p_bAuth ? onvif_test::securityHeader("admin", "p4ss") : "";
        Reply r = post(p_strPath, onvif_test::envelope(header, p_strBody), "application/soap+xml", false,
                       std::move(p_objHeaders));
        tarnix::onvif::SoapReply soapReply;
        soapReply.status = r.status;
        soapReply.body = r.text;
        return onvif_test::Reply(soapReply);
    }
    onvif_test::Reply setBrightness(int p_nValue) const {
        return soap("/onvif/imaging_service", std::string("<SetImagingSettings ") + kImg + ">" + kSource +
                                                  "<ImagingSettings><Brightness " + kTt + ">" +
                                                  std::to_string(p_nValue) +
                                                  "</Brightness></ImagingSettings></SetImagingSettings>");
    }
    std::string brightness() const {
        return soap("/onvif/imaging_service",
                    std::string("<GetImagingSettings ") + kImg + ">" + kSource + "</GetImagingSettings>")
            .text("ImagingSettings/Brightness");
    }

    std::unique_ptr<tarnix::onvif::OnvifService> m_pOnvif;
};

TEST_F(ServeOnvifTest, ServicesAnswerBesideThePageWithTheirOwnSecurity) {
    onvif_test::Reply time =
        soap("/onvif/device_service", std::string("<GetSystemDateAndTime ") + kDev + "/>", false);
    EXPECT_EQ(200, time.status) << time.body;
    EXPECT_FALSE(time.isFault());
    onvif_test::Reply refused = soap("/onvif/device_service", std::string("<GetDeviceInformation ") + kDev + "/>", false);
    EXPECT_EQ(400, refused.status);
    EXPECT_EQ("ter:NotAuthorized", refused.faultSubcodes());
    onvif_test::Reply info = soap("/onvif/device_service", std::string("<GetDeviceInformation ") + kDev + "/>");
    EXPECT_EQ(200, info.status) << info.body;
    EXPECT_EQ(device().machine().getHardwareModel(), info.text("Model"));
    // Focus positions come from the lens module's focusSteps (3100 on the box).
    onvif_test::Reply move = soap("/onvif/imaging_service",
                                  std::string("<GetMoveOptions ") + kImg + ">" + kSource + "</GetMoveOptions>");
    EXPECT_EQ("3100", move.text("MoveOptions/Absolute/Position/Max")) << move.body;
    EXPECT_EQ("50", brightness());
    // The page's routes are unchanged.
    EXPECT_EQ(200, get("/api/state").status);
    expectError(post("/api/flush", "{}", "application/json", false), 403, "X-Tarnix-Token");
}

TEST_F(ServeOnvifTest, AnOnvifSetIsAHostActionThePageFollows) {
    const uint64_t nGeneration = get("/api/state").body["generation"].get<uint64_t>();
    onvif_test::Reply set = setBrightness(71);
    ASSERT_EQ(200, set.status) << set.body;
    EXPECT_EQ(71, ispValue(34));
    EXPECT_EQ(71, reportedValue(34));
    EXPECT_GT(get("/api/state").body["generation"].get<uint64_t>(), nGeneration);
    // Stored (ForcePersistence defaults to true).
    EXPECT_EQ(71, valueOf(schemeRecords(device().schemeFile(0)), 34));
    // The activity log has the action with the ISP set it caused.
    bool bFound = false;
    for (const json& entry : logEntries("action")) {
        if (entry["action"] != "onvif SetImagingSettings") {
            continue;
        }
        bFound = true;
        EXPECT_EQ(true, entry["result"]["result"]);
        bool bSet = false;
        for (const json& call : entry["isp"]) {
            bSet = bSet || (call["cmd"] == 34 && call["opt"] == "set" && call["values"][0] == 71);
        }
        EXPECT_TRUE(bSet) << entry.dump();
    }
    EXPECT_TRUE(bFound);
    // Reads are logged as reads, never as actions.
    EXPECT_EQ("71", brightness());
    for (const json& entry : logEntries("action")) {
        EXPECT_NE("onvif GetImagingSettings", entry["action"]);
    }
}

TEST_F(ServeOnvifTest, ARefusedSetIsLoggedAndChangesNothing) {
    onvif_test::Reply refused = setBrightness(400);
    EXPECT_EQ(400, refused.status);
    EXPECT_EQ("ter:InvalidArgVal ter:SettingsInvalid", refused.faultSubcodes());
    EXPECT_EQ(50, reportedValue(34));
    bool bFound = false;
    for (const json& entry : logEntries("action")) {
        if (entry["action"] == "onvif SetImagingSettings") {
            bFound = true;
            EXPECT_EQ(false, entry["result"]["result"]);
            EXPECT_EQ(400, entry["result"]["status"]);
            for (const json& call : entry["isp"]) {
                EXPECT_NE("set", call["opt"]) << entry.dump();
            }
        }
    }
    EXPECT_TRUE(bFound);
}

TEST_F(ServeOnvifTest, TheServicesFollowAReloadOfTheChannel) {
    ASSERT_EQ(200, setBrightness(64).status);
    Reply reload = post("/api/reload", "{}");
    ASSERT_EQ(200, reload.status) << reload.text;
    // The new controller answers: the stored value, and a new set reaches
    // the ISP.
    EXPECT_EQ("64", brightness());
    ASSERT_EQ(200, setBrightness(33).status);
    EXPECT_EQ(33, ispValue(34));
    EXPECT_EQ(33, reportedValue(34));
}

TEST_F(ServeOnvifTest, ServerChecksAndBodyLimitApplyWithSoapAnswers) {
    std::string body = std::string("<GetSystemDateAndTime ") + kDev + "/>";
    expectError(post("/onvif/device_service", onvif_test::envelope("", body), "application/soap+xml", false,
                     {{"Origin", "http://evil.example"}}),
                403, "foreign origin");
    expectError(post("/onvif/device_service", onvif_test::envelope("", body), "application/soap+xml", false,
                     {{"Host", "evil.example"}}),
                403, "loopback names only");
    // Over the server's 64 KiB: the ONVIF fault for too large a request,
    // not the page's JSON error.
    Reply huge = post("/onvif/device_service", std::string(70000, ' '), "application/soap+xml", false);
    if (huge.status != -1) {
        EXPECT_EQ(413, huge.status);
        EXPECT_NE(std::string::npos, huge.text.find("ter:InvalidArgs")) << huge.text;
    }
    EXPECT_EQ(200, soap("/onvif/device_service", body, false).status);
}

} // namespace
} // namespace serve_test

#endif // SENSORCTL_WITH_ONVIF
