// The ONVIF services through their transport-independent entry point: the
// security check, the faults for bad requests, and every served operation
// on live controllers of the sample trees.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "OnvifFixture.h"
#include "SoapTestUtil.h"
#include "onvif/OnvifService.h"

namespace {

using namespace tarnix::onvif;
using onvif_test::envelope;
using onvif_test::Reply;
using onvif_test::securityHeader;

const char kDev[] = "xmlns=\"http://www.onvif.org/ver10/device/wsdl\"";
const char kMedia[] = "xmlns=\"http://www.onvif.org/ver10/media/wsdl\"";
const char kImg[] = "xmlns=\"http://www.onvif.org/ver20/imaging/wsdl\"";
const char kTt[] = "xmlns=\"http://www.onvif.org/ver10/schema\"";

class SoapServiceTest : public onvif_test::OnvifTest {
protected:
    // A service for the controller of the model, with user "admin".
    void serve(const std::string& p_strModel, int p_nFocusMax = 3100) {
        start(p_strModel);
        ServiceConfig config;
        config.user = "admin";
        config.password = "p4ss";
        config.device.model = "IPC test";
        config.clock = [] { return static_cast<std::time_t>(1714566896); }; // 2024-05-01 12:34:56 UTC
        VideoChannel channel;
        channel.channel = 1;
        channel.controller = &controller();
        channel.focusPositionMax = p_nFocusMax;
        m_pService.reset(new OnvifService(config, {channel}));
    }
    Reply call(const std::string& path, const std::string& body, bool withAuth = true,
               const std::string& host = "cam.local:8080") {
        std::string header = withAuth ? securityHeader("admin", "p4ss") : "";
        return Reply(m_pService->handle(path, envelope(header, body), host));
    }
    Reply imaging(const std::string& body) { return call(OnvifService::kImagingPath, body); }
    std::string token() const { return "<VideoSourceToken>VideoSource_1</VideoSourceToken>"; }
    Reply setSettings(const std::string& settings, const std::string& extra = "") {
        return imaging(std::string("<SetImagingSettings ") + kImg + ">" + token() + "<ImagingSettings>" + settings +
                       "</ImagingSettings>" + extra + "</SetImagingSettings>");
    }

    std::unique_ptr<OnvifService> m_pService;
};

TEST_F(SoapServiceTest, TimeNeedsNoAuthentication) {
    serve("box");
    Reply r = call(OnvifService::kDevicePath, std::string("<GetSystemDateAndTime ") + kDev + "/>", false);
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.text("SystemDateAndTime/UTCDateTime/Time/Hour"), "12");
    EXPECT_EQ(r.text("SystemDateAndTime/UTCDateTime/Time/Minute"), "34");
    EXPECT_EQ(r.text("SystemDateAndTime/UTCDateTime/Time/Second"), "56");
    EXPECT_EQ(r.text("SystemDateAndTime/UTCDateTime/Date/Year"), "2024");
    EXPECT_EQ(r.text("SystemDateAndTime/UTCDateTime/Date/Month"), "5");
    EXPECT_EQ(r.text("SystemDateAndTime/UTCDateTime/Date/Day"), "1");
}

TEST_F(SoapServiceTest, EveryOtherOperationNeedsAValidDigest) {
    serve("box");
    const std::string ops[][2] = {
        {OnvifService::kDevicePath, std::string("<GetDeviceInformation ") + kDev + "/>"},
        {OnvifService::kDevicePath, std::string("<GetServices ") + kDev + "><IncludeCapability>false</IncludeCapability></GetServices>"},
        {OnvifService::kDevicePath, std::string("<GetCapabilities ") + kDev + "/>"},
        {OnvifService::kMediaPath, std::string("<GetProfiles ") + kMedia + "/>"},
        {OnvifService::kMediaPath, std::string("<GetVideoSources ") + kMedia + "/>"},
        {OnvifService::kImagingPath, std::string("<GetServiceCapabilities ") + kImg + "/>"},
        {OnvifService::kImagingPath, std::string("<GetImagingSettings ") + kImg + ">" + token() + "</GetImagingSettings>"},
        {OnvifService::kImagingPath, std::string("<SetImagingSettings ") + kImg + ">" + token() +
                                         "<ImagingSettings><Brightness " + kTt + ">70</Brightness></ImagingSettings></SetImagingSettings>"},
        {OnvifService::kImagingPath, std::string("<GetOptions ") + kImg + ">" + token() + "</GetOptions>"},
        {OnvifService::kImagingPath, std::string("<GetMoveOptions ") + kImg + ">" + token() + "</GetMoveOptions>"},
        {OnvifService::kImagingPath, std::string("<Move ") + kImg + ">" + token() + "<Focus><Continuous " + kTt +
                                         "><Speed>0.5</Speed></Continuous></Focus></Move>"},
        {OnvifService::kImagingPath, std::string("<Stop ") + kImg + ">" + token() + "</Stop>"},
        {OnvifService::kImagingPath, std::string("<GetStatus ") + kImg + ">" + token() + "</GetStatus>"},
    };
    const std::string badHeaders[] = {
        "",
        securityHeader("admin", "wrong"),
        securityHeader("root", "p4ss"),
        securityHeader("admin", "p4ss", "2024-05-01T12:00:00.000Z", "0123456789abcdef", "PasswordText"),
        // The digest of another Created text.
        [] {
            std::string h = securityHeader("admin", "p4ss");
            return h.replace(h.find("2024-05-01"), 10, "2024-05-02");
        }(),
        "<Security xmlns=\"urn:other\"><UsernameToken><Username>admin</Username></UsernameToken></Security>",
    };
    for (const auto& op : ops) {
        ispsim::clearCalls();
        for (const std::string& header : badHeaders) {
            Reply r(m_pService->handle(op[0], envelope(header, op[1])));
            EXPECT_EQ(r.status, 400) << op[1];
            EXPECT_TRUE(r.isFault());
            EXPECT_EQ(r.faultSubcodes(), "ter:NotAuthorized");
            EXPECT_EQ(r.text("Reason/Text"), "Sender not Authorized");
        }
        // A refused request sets nothing (the set and the moves included).
        EXPECT_TRUE(tarnix_test::setCalls().empty()) << op[1];
        Reply ok(m_pService->handle(op[0], envelope(securityHeader("admin", "p4ss"), op[1])));
        EXPECT_EQ(ok.status, 200) << op[1] << ok.body;
    }
    EXPECT_EQ(fileValue(34), 70);
}

TEST_F(SoapServiceTest, ATokenComputedOutsideTheLibraryIsAccepted) {
    start("box");
    ServiceConfig config;
    config.user = "admin";
    config.password = "secret";
    VideoChannel channel;
    channel.controller = &controller();
    OnvifService service(config, {channel});
    // Nonce bytes 0..15, digest computed with another SHA-1 implementation.
    std::string header =
        "<wsse:Security xmlns:wsse=\"http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd\" "
        "xmlns:wsu=\"http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd\">"
        "<wsse:UsernameToken wsu:Id=\"t1\"><wsse:Username>admin</wsse:Username>"
        "<wsse:Password Type=\"http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-username-token-profile-1.0#"
        "PasswordDigest\">bISOH0hMPPxgwEOJNlRsak8+Z58=</wsse:Password>"
        "<wsse:Nonce>AAECAwQFBgcICQoLDA0ODw==</wsse:Nonce>"
        "<wsu:Created>2024-05-01T12:00:00.000Z</wsu:Created></wsse:UsernameToken></wsse:Security>";
    Reply r(service.handle(OnvifService::kDevicePath, envelope(header, std::string("<GetDeviceInformation ") + kDev + "/>")));
    EXPECT_EQ(r.status, 200) << r.body;
    EXPECT_EQ(r.text("Manufacturer"), "Tarnix");
}

TEST_F(SoapServiceTest, WithoutAUserNothingIsChecked) {
    start("box");
    VideoChannel channel;
    channel.controller = &controller();
    OnvifService service(ServiceConfig(), {channel});
    Reply r(service.handle(OnvifService::kMediaPath, envelope("", std::string("<GetProfiles ") + kMedia + "/>")));
    EXPECT_EQ(r.status, 200);
}

TEST_F(SoapServiceTest, BadRequestsGetFaultsNotCrashes) {
    serve("box");
    struct Case {
        std::string path;
        std::string body;
        int status;
        std::string subcodes;
    };
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<a>";
    }
    const Case cases[] = {
        {OnvifService::kDevicePath, "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body>", 400,
         "ter:WellFormed"},
        {OnvifService::kDevicePath, "", 400, "ter:WellFormed"},
        {OnvifService::kDevicePath, "not xml at all", 400, "ter:WellFormed"},
        {OnvifService::kDevicePath, deep, 413, "ter:InvalidArgs"},
        {OnvifService::kDevicePath, deep.substr(0, 3 * 600), 400, "ter:WellFormed"},
        {OnvifService::kDevicePath, std::string(70000, ' '), 413, "ter:InvalidArgs"},
        {OnvifService::kDevicePath,
         "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><GetSystemDateAndTime " +
             std::string(kDev) + "/></s:Body></s:Envelope>",
         400, ""},
        {OnvifService::kDevicePath, "<Envelope><Body/></Envelope>", 400, ""},
        {OnvifService::kDevicePath, envelope("", ""), 400, "ter:WellFormed"},
        {OnvifService::kDevicePath, envelope(securityHeader("admin", "p4ss"), std::string("<Reboot ") + kDev + "/>"),
         500, "ter:ActionNotSupported"},
        {OnvifService::kDevicePath, envelope(securityHeader("admin", "p4ss"), "<GetSystemDateAndTime/>"), 500,
         "ter:ActionNotSupported"},
        {"/onvif/ptz_service", envelope("", std::string("<GetSystemDateAndTime ") + kDev + "/>"), 404,
         "ter:InvalidArgVal"},
        // Not UTF-8: a lead byte at the end of an unterminated attribute value.
        {OnvifService::kDevicePath, "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/\xFF<\xD4<\xEB", 400,
         "ter:WellFormed"},
        {OnvifService::kDevicePath, envelope("", std::string("<GetSystemDateAndTime ") + kDev + "/>\xC0\xAF"), 400,
         "ter:WellFormed"},
    };
    for (const Case& c : cases) {
        Reply r(m_pService->handle(c.path, c.body));
        EXPECT_EQ(r.status, c.status) << c.body.substr(0, 200);
        EXPECT_TRUE(r.isFault());
        EXPECT_EQ(r.faultSubcodes(), c.subcodes) << c.body.substr(0, 200);
    }
    // The SOAP 1.1 envelope is a version mismatch.
    Reply r(m_pService->handle(OnvifService::kDevicePath, cases[6].body));
    EXPECT_EQ(r.text("Code/Value"), "env:VersionMismatch");
}

TEST_F(SoapServiceTest, FaultsEchoingRequestTextAreWellFormed) {
    serve("box");
    const std::string kFffd = "\xEF\xBF\xBD";
    // An operation name ending in a UTF-8 lead byte: echoed as it came, the
    // byte would swallow the "</" of the fault's closing text element. The
    // request is not UTF-8 and is refused before it is parsed.
    Reply name(m_pService->handle(OnvifService::kImagingPath,
                                  envelope(securityHeader("admin", "p4ss"), std::string("<Get\xF0 ") + kImg + "/>")));
    EXPECT_EQ(name.status, 400);
    EXPECT_EQ(name.faultSubcodes(), "ter:WellFormed");
    // Character references decode into what XML does not allow (a control
    // character, a surrogate, U+FFFE): echoed, each becomes U+FFFD.
    Reply category(call(OnvifService::kDevicePath, std::string("<GetCapabilities ") + kDev +
                                                       "><Category>A&#1;&#xD800;&#xFFFE;</Category></GetCapabilities>"));
    EXPECT_EQ(category.faultSubcodes(), "ter:ActionNotSupported ter:NoSuchService");
    EXPECT_EQ(category.text("Reason/Text"), "This device has no A" + kFffd + kFffd + kFffd + kFffd + kFffd + " service");
    Reply field(setSettings(std::string("<Brightness ") + kTt + ">7&#x110000;</Brightness>"));
    EXPECT_EQ(field.faultSubcodes(), "ter:InvalidArgVal ter:SettingsInvalid");
    EXPECT_NE(field.text("Reason/Text").find("'7" + kFffd), std::string::npos) << field.body;
    // Every answer is UTF-8 with nothing XML disallows.
    for (const Reply* r : {&name, &category, &field}) {
        EXPECT_TRUE(isUtf8(r->body));
        for (char c : r->body) {
            EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 || c == '\n') << r->body;
        }
        EXPECT_EQ(r->body.find("\xEF\xBF\xBE"), std::string::npos);
    }
}

TEST_F(SoapServiceTest, ServicesAndCapabilitiesNameTheRequestHost) {
    serve("box");
    Reply services = call(OnvifService::kDevicePath,
                          std::string("<GetServices ") + kDev + "><IncludeCapability>true</IncludeCapability></GetServices>");
    ASSERT_EQ(services.status, 200);
    EXPECT_EQ(services.text("Service/Namespace"), kNsDevice);
    EXPECT_EQ(services.text("Service/XAddr"), "http://cam.local:8080/onvif/device_service");
    EXPECT_NE(services.body.find("http://cam.local:8080/onvif/imaging_service"), std::string::npos);
    EXPECT_NE(services.body.find("http://cam.local:8080/onvif/media_service"), std::string::npos);
    EXPECT_NE(services.body.find("ImageStabilization=\"true\""), std::string::npos);
    // A host with markup in it is escaped, never copied raw.
    Reply odd = call(OnvifService::kDevicePath, std::string("<GetCapabilities ") + kDev + "/>", true, "a<b>&\"c");
    EXPECT_EQ(odd.text("Capabilities/Device/XAddr"), "http://a<b>&\"c/onvif/device_service");
    Reply caps = call(OnvifService::kDevicePath,
                      std::string("<GetCapabilities ") + kDev + "><Category>Imaging</Category></GetCapabilities>");
    EXPECT_EQ(caps.text("Capabilities/Imaging/XAddr"), "http://cam.local:8080/onvif/imaging_service");
    EXPECT_EQ(caps.find("Capabilities/Media"), nullptr);
    Reply ptz = call(OnvifService::kDevicePath,
                     std::string("<GetCapabilities ") + kDev + "><Category>PTZ</Category></GetCapabilities>");
    EXPECT_EQ(ptz.faultSubcodes(), "ter:ActionNotSupported ter:NoSuchService");
    Reply info = call(OnvifService::kDevicePath, std::string("<GetDeviceInformation ") + kDev + "/>");
    EXPECT_EQ(info.text("Model"), "IPC test");
}

TEST_F(SoapServiceTest, OneVideoSourceAndProfilePerChannel) {
    serve("box");
    Reply sources = call(OnvifService::kMediaPath, std::string("<GetVideoSources ") + kMedia + "/>");
    ASSERT_NE(sources.find("VideoSources"), nullptr);
    EXPECT_STREQ(sources.find("VideoSources")->Attribute("token"), "VideoSource_1");
    EXPECT_EQ(sources.text("VideoSources/Resolution/Width"), "1920");
    Reply profiles = call(OnvifService::kMediaPath, std::string("<GetProfiles ") + kMedia + "/>");
    ASSERT_NE(profiles.find("Profiles"), nullptr);
    EXPECT_STREQ(profiles.find("Profiles")->Attribute("token"), "Profile_1");
    EXPECT_EQ(profiles.text("Profiles/VideoSourceConfiguration/SourceToken"), "VideoSource_1");
    EXPECT_EQ(profiles.text("Profiles/VideoEncoderConfiguration/Encoding"), "H264");
}

TEST_F(SoapServiceTest, ImagingSettingsAndOptionsOfTheChannel) {
    serve("box");
    Reply settings = imaging(std::string("<GetImagingSettings ") + kImg + ">" + token() + "</GetImagingSettings>");
    ASSERT_EQ(settings.status, 200);
    EXPECT_EQ(settings.text("ImagingSettings/Brightness"), "50");
    EXPECT_EQ(settings.text("ImagingSettings/IrCutFilter"), "AUTO");
    EXPECT_EQ(settings.text("ImagingSettings/Exposure/MaxExposureTime"), "40000");
    EXPECT_EQ(settings.text("ImagingSettings/Exposure/Iris"), "2.796875");
    EXPECT_EQ(settings.text("ImagingSettings/WideDynamicRange/Mode"), "OFF");
    EXPECT_EQ(settings.text("ImagingSettings/Extension/Extension/Extension/NoiseReduction/Level"), "0.7");
    Reply options = imaging(std::string("<GetOptions ") + kImg + ">" + token() + "</GetOptions>");
    ASSERT_EQ(options.status, 200);
    EXPECT_EQ(options.text("ImagingOptions/Brightness/Max"), "100");
    EXPECT_EQ(options.text("ImagingOptions/Exposure/MaxExposureTime/Max"), "333333");
    EXPECT_EQ(options.text("ImagingOptions/IrCutFilterModes"), "ON");
    EXPECT_EQ(options.text("ImagingOptions/WhiteBalance/YrGain/Max"), "255");
    EXPECT_EQ(options.text("ImagingOptions/Extension/Extension/Extension/DefoggingOptions/Level"), "true");
    Reply unknown = imaging(std::string("<GetImagingSettings ") + kImg +
                            "><VideoSourceToken>VideoSource_9</VideoSourceToken></GetImagingSettings>");
    EXPECT_EQ(unknown.faultSubcodes(), "ter:InvalidArgVal ter:NoSource");
}

TEST_F(SoapServiceTest, SetImagingSettingsAppliesAndStoresOrRefusesWhole) {
    serve("box");
    std::string tt = kTt;
    Reply ok = setSettings("<Brightness " + tt + ">65</Brightness><ColorSaturation " + tt +
                           ">40</ColorSaturation><IrCutFilter " + tt + ">ON</IrCutFilter><WideDynamicRange " + tt +
                           "><Mode>ON</Mode><Level>60</Level></WideDynamicRange>");
    ASSERT_EQ(ok.status, 200) << ok.body;
    EXPECT_EQ(tarnix::onvif::localName(ok.operation()), "SetImagingSettingsResponse");
    EXPECT_EQ(setValuesOf(34), std::vector<uint32_t>({65}));
    EXPECT_EQ(setValuesOf(2337), std::vector<uint32_t>({40}));
    EXPECT_EQ(setValuesOf(144), std::vector<uint32_t>({1}));
    EXPECT_EQ(setValuesOf(2369), std::vector<uint32_t>({60}));
    EXPECT_EQ(fileValue(34), 65);
    EXPECT_EQ(fileValue(2368), 1);

    ispsim::clearCalls();
    Reply bad = setSettings("<Brightness " + tt + ">20</Brightness><Exposure " + tt +
                            "><Mode>AUTO</Mode><MaxExposureTime>2000000</MaxExposureTime></Exposure>");
    EXPECT_EQ(bad.status, 400);
    EXPECT_EQ(bad.faultSubcodes(), "ter:InvalidArgVal ter:SettingsInvalid");
    EXPECT_NE(bad.text("Reason/Text").find("KEY_MAX_SHUTTER"), std::string::npos);
    EXPECT_TRUE(tarnix_test::setCalls().empty());
    EXPECT_EQ(fileValue(34), 65);

    Reply foreign = setSettings("<Brightness xmlns=\"urn:vendor\">20</Brightness>");
    EXPECT_EQ(foreign.faultSubcodes(), "ter:InvalidArgVal ter:SettingsInvalid");

    Reply transient = setSettings("<Brightness " + tt + ">21</Brightness>",
                                  std::string("<ForcePersistence>false</ForcePersistence>"));
    ASSERT_EQ(transient.status, 200);
    EXPECT_EQ(setValuesOf(34), std::vector<uint32_t>({21}));
    EXPECT_EQ(fileValue(34), 65);
    Reply notBool = setSettings("<Brightness " + tt + ">22</Brightness>", "<ForcePersistence>maybe</ForcePersistence>");
    EXPECT_EQ(notBool.status, 400);
}

TEST_F(SoapServiceTest, FocusMovesReachTheLensCommands) {
    serve("box");
    std::string tt = kTt;
    Reply options = imaging(std::string("<GetMoveOptions ") + kImg + ">" + token() + "</GetMoveOptions>");
    EXPECT_EQ(options.text("MoveOptions/Continuous/Speed/Min"), "-1");
    EXPECT_EQ(options.text("MoveOptions/Absolute/Position/Max"), "3100");

    Reply far = imaging(std::string("<Move ") + kImg + ">" + token() + "<Focus><Continuous " + tt +
                        "><Speed>0.5</Speed></Continuous></Focus></Move>");
    ASSERT_EQ(far.status, 200) << far.body;
    // Manual focus first, then the far motor.
    std::vector<tarnix_test::SetCall> calls = tarnix_test::setCalls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0], (tarnix_test::SetCall{0, 1536, 1}));
    EXPECT_EQ(calls[1], (tarnix_test::SetCall{0, 1554, 1}));
    Reply moving = imaging(std::string("<GetStatus ") + kImg + ">" + token() + "</GetStatus>");
    EXPECT_EQ(moving.text("Status/FocusStatus20/MoveStatus"), "MOVING");

    ispsim::clearCalls();
    Reply stop = imaging(std::string("<Stop ") + kImg + ">" + token() + "</Stop>");
    ASSERT_EQ(stop.status, 200);
    calls = tarnix_test::setCalls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0], (tarnix_test::SetCall{0, 1553, 0}));
    EXPECT_EQ(calls[1], (tarnix_test::SetCall{0, 1554, 0}));
    Reply idle = imaging(std::string("<GetStatus ") + kImg + ">" + token() + "</GetStatus>");
    EXPECT_EQ(idle.text("Status/FocusStatus20/MoveStatus"), "IDLE");
    EXPECT_EQ(idle.text("Status/FocusStatus20/Position"), "1850");

    ispsim::clearCalls();
    Reply near = imaging(std::string("<Move ") + kImg + ">" + token() + "<Focus><Continuous " + tt +
                         "><Speed>-1</Speed></Continuous></Focus></Move>");
    ASSERT_EQ(near.status, 200);
    EXPECT_EQ(setValuesOf(1553), std::vector<uint32_t>({1}));

    ispsim::clearCalls();
    Reply absolute = imaging(std::string("<Move ") + kImg + ">" + token() + "<Focus><Absolute " + tt +
                             "><Position>2000</Position></Absolute></Focus></Move>");
    ASSERT_EQ(absolute.status, 200);
    EXPECT_EQ(setValuesOf(1552), std::vector<uint32_t>({2000}));

    ispsim::clearCalls();
    for (const std::string& bad : {std::string("<Continuous ") + tt + "><Speed>1.5</Speed></Continuous>",
                                   std::string("<Absolute ") + tt + "><Position>3101</Position></Absolute>",
                                   std::string("<Relative ") + tt + "><Distance>5</Distance></Relative>",
                                   std::string("")}) {
        Reply r = imaging(std::string("<Move ") + kImg + ">" + token() + "<Focus>" + bad + "</Focus></Move>");
        EXPECT_EQ(r.status, 400) << bad;
    }
    EXPECT_TRUE(tarnix_test::setCalls().empty());
}

TEST_F(SoapServiceTest, WithoutAFocusPositionRangeOnlyContinuousMoves) {
    serve("box", 0);
    Reply options = imaging(std::string("<GetMoveOptions ") + kImg + ">" + token() + "</GetMoveOptions>");
    EXPECT_EQ(options.find("MoveOptions/Absolute"), nullptr);
    Reply absolute = imaging(std::string("<Move ") + kImg + ">" + token() + "<Focus><Absolute " + kTt +
                             "><Position>20</Position></Absolute></Focus></Move>");
    EXPECT_EQ(absolute.status, 400);
}

TEST_F(SoapServiceTest, AFixedLensHasNoFocusOperations) {
    serve("fisheye");
    for (const char* op : {"GetMoveOptions", "Stop", "GetStatus"}) {
        Reply r = imaging(std::string("<") + op + " " + kImg + ">" + token() + "</" + op + ">");
        EXPECT_EQ(r.faultSubcodes(), "ter:ActionNotSupported ter:NoImagingForSource") << op;
    }
    Reply settings = imaging(std::string("<GetImagingSettings ") + kImg + ">" + token() + "</GetImagingSettings>");
    EXPECT_EQ(settings.find("ImagingSettings/Focus"), nullptr);
    EXPECT_EQ(settings.find("ImagingSettings/Exposure/Iris"), nullptr);
    EXPECT_TRUE(tarnix_test::setCalls().empty());
}

TEST_F(SoapServiceTest, AnAccessHookHandsEveryOperationItsController) {
    start("box");
    struct Seen {
        int channel;
        std::string operation;
        bool changes;
    };
    std::vector<Seen> seen;
    ServiceConfig config;
    config.access = [this, &seen](const VideoChannel& video, const std::string& operation, bool changes,
                                  const ControllerCall& run) {
        seen.push_back({video.channel, operation, changes});
        return run(controller());
    };
    VideoChannel channel;
    channel.channel = 1;
    channel.focusPositionMax = 3100;
    // No controller of its own: every operation reaches one through the hook.
    m_pService.reset(new OnvifService(config, {channel}));
    const std::pair<std::string, bool> ops[] = {
        {std::string("<GetImagingSettings ") + kImg + ">" + token() + "</GetImagingSettings>", false},
        {std::string("<GetOptions ") + kImg + ">" + token() + "</GetOptions>", false},
        {std::string("<GetMoveOptions ") + kImg + ">" + token() + "</GetMoveOptions>", false},
        {std::string("<GetStatus ") + kImg + ">" + token() + "</GetStatus>", false},
        {std::string("<SetImagingSettings ") + kImg + ">" + token() + "<ImagingSettings><Brightness " + kTt +
             ">61</Brightness></ImagingSettings></SetImagingSettings>",
         true},
        {std::string("<Move ") + kImg + ">" + token() + "<Focus><Continuous " + kTt +
             "><Speed>0.5</Speed></Continuous></Focus></Move>",
         true},
        {std::string("<Stop ") + kImg + ">" + token() + "</Stop>", true},
        {std::string("<GetServiceCapabilities ") + kImg + "/>", false},
    };
    const char* names[] = {"GetImagingSettings", "GetOptions", "GetMoveOptions", "GetStatus",
                           "SetImagingSettings", "Move",       "Stop",           "GetServiceCapabilities"};
    for (size_t i = 0; i < sizeof(names) / sizeof(names[0]); ++i) {
        seen.clear();
        Reply r(m_pService->handle(OnvifService::kImagingPath, envelope("", ops[i].first)));
        EXPECT_EQ(r.status, 200) << names[i] << r.body;
        ASSERT_EQ(seen.size(), 1u) << names[i];
        EXPECT_EQ(seen[0].channel, 1);
        EXPECT_EQ(seen[0].operation, names[i]);
        EXPECT_EQ(seen[0].changes, ops[i].second) << names[i];
    }
    EXPECT_EQ(fileValue(34), 61);
    // Operations that need no controller do not call it.
    seen.clear();
    Reply time(m_pService->handle(OnvifService::kDevicePath, envelope("", std::string("<GetSystemDateAndTime ") + kDev + "/>")));
    EXPECT_EQ(time.status, 200);
    Reply noSource(m_pService->handle(OnvifService::kImagingPath,
                                      envelope("", std::string("<GetOptions ") + kImg +
                                                       "><VideoSourceToken>VideoSource_9</VideoSourceToken></GetOptions>")));
    EXPECT_EQ(noSource.faultSubcodes(), "ter:InvalidArgVal ter:NoSource");
    EXPECT_TRUE(seen.empty());
}

TEST(FocusStepsTest, FromTheLensModulesParameterText) {
    EXPECT_EQ(focusStepsOf("(lensId=3)(zoomSteps=2400)(focusSteps=3100)"), 3100);
    EXPECT_EQ(focusStepsOf("(focusSteps=1800)"), 1800);
    EXPECT_EQ(focusStepsOf("(lensId=0)"), 0);
    EXPECT_EQ(focusStepsOf(""), 0);
    EXPECT_EQ(focusStepsOf("(focusSteps=12x)"), 0);
    EXPECT_EQ(focusStepsOf("(focusSteps=-5)"), 0);
    EXPECT_EQ(focusStepsOf("(focusSteps=99999999999999999999)"), 0);
}

TEST_F(SoapServiceTest, ConcurrentClientsAreServedSafely) {
    serve("box");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < 5; ++i) {
                std::string body = (t % 2 == 0)
                                       ? std::string("<GetImagingSettings ") + kImg + ">" + token() + "</GetImagingSettings>"
                                       : std::string("<SetImagingSettings ") + kImg + ">" + token() +
                                             "<ImagingSettings><Brightness " + kTt + ">" + std::to_string(40 + i) +
                                             "</Brightness></ImagingSettings></SetImagingSettings>";
                SoapReply reply = m_pService->handle(OnvifService::kImagingPath,
                                                     envelope(securityHeader("admin", "p4ss"), body));
                EXPECT_EQ(reply.status, 200);
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    EXPECT_EQ(fileValue(34), 44);
}

} // namespace
