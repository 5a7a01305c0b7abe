// The ONVIF imaging mapping on the five sample device trees: what each
// channel offers (from its narrowed style), the values read in ONVIF units,
// both directions of every field, the round trip Get -> Set -> Get, and the
// all-or-nothing validation of a set.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "OnvifFixture.h"
#include "onvif/ImagingFields.h"
#include "onvif/ImagingMapping.h"

namespace {

using namespace tarnix::onvif;

// What a field offers: [min, max] or the tokens, and its value after init.
struct Expected {
    std::string path;
    double min;
    double max;
    std::vector<std::string> tokens;
    std::string value; // as formatNumber or the token
};

const char kDefog[] = "Extension/Extension/Extension/Defogging/";
const char kNoise[] = "Extension/Extension/Extension/NoiseReduction/Level";

// Derived by hand from each tree's style, diversity edits and ISP profile:
// shutter indexes are 1/1 s ... 1/100000 s, iris positions F x 256, near
// limits 0.1 m ... 10 m.
std::map<std::string, std::vector<Expected>> buildExpectedTables() {
    const std::vector<std::string> offOn = {"OFF", "ON"};
    const std::vector<std::string> autoManual = {"AUTO", "MANUAL"};
    const std::vector<std::string> irCut = {"ON", "OFF", "AUTO"};
    std::string defogMode = std::string(kDefog) + "Mode";
    std::string defogLevel = std::string(kDefog) + "Level";
    std::map<std::string, std::vector<Expected>> t;
    // box: IMX327 bullet, 2.8-12 mm lens with iris motor (iris tab added by
    // the diversity file), STARVIS noise tuning (3D automatic strength 70).
    t["box"] = {
        {"BacklightCompensation/Mode", 0, 0, offOn, "OFF"},
        {"BacklightCompensation/Level", 0, 100, {}, "50"},
        {"Brightness", 0, 100, {}, "50"},
        {"ColorSaturation", 0, 100, {}, "50"},
        {"Contrast", 0, 100, {}, "50"},
        {"Exposure/Mode", 0, 0, autoManual, "AUTO"},
        {"Exposure/MinExposureTime", 10, 10000, {}, "10"},      // 51: ISP 9..22, ISP default 22
        {"Exposure/MaxExposureTime", 10, 333333, {}, "40000"},  // 49: ISP 2..22, style 5 (1/25 s)
        {"Exposure/MaxGain", 0, 66, {}, "42"},                  // 65: ISP 0..66 dB, default 42
        {"Exposure/ExposureTime", 10, 40000, {}, "20000"},      // 50: ISP 5..22, style 7 (1/50 s)
        {"Exposure/Gain", 0, 72, {}, "0"},
        {"Exposure/Iris", 409 / 256.0, 16, {}, "2.796875"},     // 82: 409..4096, F2.8
        {"Focus/AutoFocusMode", 0, 0, autoManual, "AUTO"},      // semi-auto counts as AUTO
        {"Focus/NearLimit", 0.5, 10, {}, "1"},                  // 1537: ISP 3..9, default 4
        {"IrCutFilter", 0, 0, irCut, "AUTO"},
        {"Sharpness", 0, 100, {}, "50"},
        {"WideDynamicRange/Mode", 0, 0, offOn, "OFF"},
        {"WideDynamicRange/Level", 0, 100, {}, "50"},
        {"WhiteBalance/Mode", 0, 0, autoManual, "AUTO"},
        {"WhiteBalance/CrGain", 0, 255, {}, "128"},
        {"WhiteBalance/CbGain", 0, 255, {}, "128"},
        {"Extension/ImageStabilization/Mode", 0, 0, offOn, "OFF"},
        {"Extension/ImageStabilization/Level", 0, 100, {}, "50"},
        {defogMode, 0, 0, offOn, "OFF"},
        {defogLevel, 0, 1, {}, "0.5"},
        {kNoise, 0, 1, {}, "0.7"},
    };
    // dome: IMX334, 30x zoom block; its own style keeps the slowest-shutter
    // choices 3..16 (value 205) and the iris up to F11.
    t["dome"] = t["box"];
    for (Expected& e : t["dome"]) {
        std::string p = e.path;
        if (p == "Exposure/MaxExposureTime") {
            e.min = 1000;
            e.max = 166667;
        } else if (p == "Exposure/MaxGain") {
            e.max = 60;
            e.value = "48";
        } else if (p == "Exposure/Iris") {
            e.max = 11;
        } else if (p == kNoise) {
            e.value = "0.5";
        }
    }
    // lpr: traffic tuning (shutter priority, fast shutters), iris F2..F16,
    // near limit 1 m .. 10 m.
    t["lpr"] = t["box"];
    for (Expected& e : t["lpr"]) {
        std::string p = e.path;
        if (p == "Exposure/MinExposureTime") {
            e.max = 5000;
        } else if (p == "Exposure/MaxExposureTime") {
            e.min = 250;
            e.max = 5000;
            e.value = "1000";
        } else if (p == "Exposure/MaxGain") {
            e.max = 60;
            e.value = "30";
        } else if (p == "Exposure/ExposureTime") {
            e.max = 10000;
            e.value = "1000";
        } else if (p == "Exposure/Iris") {
            e.min = 2;
            e.value = "4";
        } else if (p == "Focus/NearLimit") {
            e.min = 1;
            e.value = "2";
        } else if (p == kNoise) {
            e.value = "0.5";
        }
    }
    // fisheye: fixed lens (no iris, no focus), slowest shutter 3..22.
    t["fisheye"].clear();
    for (const Expected& e : t["box"]) {
        std::string p = e.path;
        if (p == "Exposure/Iris" || p.compare(0, 6, "Focus/") == 0) {
            continue;
        }
        Expected f = e;
        if (p == "Exposure/MaxExposureTime") {
            f.max = 166667;
        } else if (p == "Exposure/MaxGain") {
            f.max = 54;
            f.value = "36";
        } else if (p == kNoise) {
            f.value = "0.5";
        }
        t["fisheye"].push_back(f);
    }
    // thermal channel: image levels, focus (auto/manual only on this lens)
    // with its speed, stabilisation and noise reduction.
    t["thermal"] = {
        {"Brightness", 0, 100, {}, "50"},
        {"Contrast", 0, 100, {}, "50"},
        {"Focus/AutoFocusMode", 0, 0, autoManual, "AUTO"},
        {"Focus/DefaultSpeed", 0, 2, {}, "1"},
        {"Sharpness", 0, 100, {}, "40"},
        {"Extension/ImageStabilization/Mode", 0, 0, offOn, "OFF"},
        {"Extension/ImageStabilization/Level", 0, 100, {}, "50"},
        {kNoise, 0, 1, {}, "0.5"},
    };
    return t;
}

const std::vector<Expected>& expectedFor(const std::string& p_strModel) {
    static const std::map<std::string, std::vector<Expected>> s_tables = buildExpectedTables();
    return s_tables.at(p_strModel);
}

std::string textOf(const FieldValue& v) {
    return v.field->conversion == Conversion::Enumeration ? v.token : formatNumber(v.number);
}

std::vector<RequestedField> asRequest(const std::vector<FieldValue>& values) {
    std::vector<RequestedField> out;
    for (const FieldValue& v : values) {
        out.push_back({v.field->settingsPath, textOf(v)});
    }
    return out;
}

std::map<std::string, std::string> asMap(const std::vector<FieldValue>& values) {
    std::map<std::string, std::string> out;
    for (const FieldValue& v : values) {
        out[v.field->settingsPath] = textOf(v);
    }
    return out;
}

// The key value the mapping must send for an ONVIF value (the inverse
// conversion, worked out here independently of the library's code).
int expectedKeyValue(const ImagingField& field, const std::string& text, int rangeMin, int rangeMax) {
    double v = std::stod(text);
    switch (field.conversion) {
    case Conversion::Number:
        return static_cast<int>(v);
    case Conversion::Normalized:
        return rangeMin + static_cast<int>(v * (rangeMax - rangeMin) + 0.5);
    case Conversion::FNumber:
        return static_cast<int>(v * 256 + 0.5);
    case Conversion::ShutterTime: {
        const double den[] = {1, 2, 3, 6, 12, 25, 30, 50, 60, 100, 120, 150, 200, 250, 500, 750,
                              1000, 1500, 2000, 3000, 4000, 10000, 100000};
        for (int i = 0; i < 23; ++i) {
            if (static_cast<long>(1e6 / den[i] + 0.5) == static_cast<long>(v + 0.5)) {
                return i;
            }
        }
        return -1;
    }
    case Conversion::NearLimit: {
        const double metres[] = {0.1, 0.3, 0.5, 1, 1.5, 2, 3, 5, 10};
        for (int i = 0; i < 9; ++i) {
            if (metres[i] == v) {
                return i + 1;
            }
        }
        return -1;
    }
    case Conversion::Enumeration:
        return -1;
    }
    return -1;
}

class ImagingMappingTest : public onvif_test::OnvifTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(ImagingMappingTest, OptionsFollowTheNarrowedStyle) {
    start(GetParam());
    ImagingMapping mapping(controller());
    const std::vector<Expected>& expected = expectedFor(GetParam());
    std::vector<FieldOptions> options = mapping.allOptions();
    ASSERT_EQ(options.size(), expected.size());
    for (size_t i = 0; i < options.size(); ++i) {
        SCOPED_TRACE(expected[i].path);
        EXPECT_EQ(options[i].field->settingsPath, expected[i].path);
        if (expected[i].tokens.empty()) {
            EXPECT_DOUBLE_EQ(options[i].min, expected[i].min);
            EXPECT_DOUBLE_EQ(options[i].max, expected[i].max);
        } else {
            EXPECT_EQ(options[i].tokens, expected[i].tokens);
        }
    }
    // Every field of the table is offered exactly when its item is in the
    // narrowed style (and, inside a group, the group's mode item too).
    std::string style = controller().getUIStyleFile();
    for (const ImagingField& field : imagingFields()) {
        bool inStyle = style.find("id=\"" + std::to_string(field.key) + "\"") != std::string::npos;
        const ImagingField* head = headOf(field);
        if (head != nullptr) {
            inStyle = inStyle && style.find("id=\"" + std::to_string(head->key) + "\"") != std::string::npos;
        }
        EXPECT_EQ(mapping.offered(field), inStyle) << field.settingsPath;
    }
}

TEST_P(ImagingMappingTest, ReadsTheCurrentValuesInOnvifUnits) {
    start(GetParam());
    ImagingMapping mapping(controller());
    const std::vector<Expected>& expected = expectedFor(GetParam());
    std::vector<FieldValue> values = mapping.read();
    ASSERT_EQ(values.size(), expected.size());
    for (size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(values[i].field->settingsPath, expected[i].path);
        EXPECT_EQ(textOf(values[i]), expected[i].value) << expected[i].path;
    }
    EXPECT_TRUE(tarnix_test::setCalls().empty()) << "reading must not set anything";
}

TEST_P(ImagingMappingTest, GetSetGetRoundTripIsIdenticalAndSendsNothing) {
    start(GetParam());
    std::string before = readFile(schemeFile());
    std::vector<FieldValue> first = ImagingMapping(controller()).read();
    ApplyResult result = ImagingMapping(controller()).apply(asRequest(first), true);
    EXPECT_EQ(result.status, ApplyResult::Status::Applied) << result.message;
    EXPECT_EQ(result.parameters, "");
    EXPECT_TRUE(tarnix_test::setCalls().empty());
    std::vector<FieldValue> second = ImagingMapping(controller()).read();
    EXPECT_EQ(asMap(first), asMap(second));
    EXPECT_EQ(readFile(schemeFile()), before);
}

// Every offered field in the ONVIF -> key direction: each mode token, and the
// lowest and highest offered value; then back (key -> ONVIF) through a read.
TEST_P(ImagingMappingTest, EveryFieldInBothDirections) {
    start(GetParam());
    ImagingMapping mapping(controller());
    for (const FieldOptions& option : mapping.allOptions()) {
        const ImagingField& field = *option.field;
        SCOPED_TRACE(field.settingsPath);
        std::vector<std::string> texts = option.tokens;
        if (texts.empty()) {
            texts = {formatNumber(option.max), formatNumber(option.min)};
        }
        const StyleItem* item = mapping.items().find(field.key);
        ASSERT_NE(item, nullptr);
        for (const std::string& text : texts) {
            ispsim::clearCalls();
            ApplyResult result = mapping.apply({{field.settingsPath, text}}, true);
            ASSERT_EQ(result.status, ApplyResult::Status::Applied) << result.message;
            int keyValue = -12345;
            ASSERT_TRUE(controller().getParameter(static_cast<int>(field.key), keyValue));
            if (field.conversion == Conversion::Enumeration) {
                EXPECT_STREQ(keyToToken(field, keyValue), text.c_str());
            } else {
                EXPECT_EQ(keyValue, expectedKeyValue(field, text, item->min, item->max));
            }
            // The scheme file holds it too (ForcePersistence true).
            EXPECT_EQ(fileValue(field.key), keyValue);
            std::map<std::string, std::string> now = asMap(ImagingMapping(controller()).read());
            EXPECT_EQ(now[field.settingsPath], text);
        }
    }
}

TEST_P(ImagingMappingTest, AValueOutsideTheOptionsAppliesNothing) {
    start(GetParam());
    ImagingMapping mapping(controller());
    std::string before = readFile(schemeFile());
    std::vector<FieldValue> values = mapping.read();
    for (const FieldOptions& option : mapping.allOptions()) {
        SCOPED_TRACE(option.field->settingsPath);
        std::vector<std::string> badTexts = {"SOMETIMES"};
        if (option.tokens.empty()) {
            double span = option.max - option.min;
            badTexts = {formatNumber(option.max + span / 2 + 1), formatNumber(option.min - span / 2 - 1)};
        }
        for (const std::string& bad : badTexts) {
            // A valid change of another field comes first; it must not be
            // applied either.
            ispsim::clearCalls();
            ApplyResult result = mapping.apply({{"Brightness", "77"}, {option.field->settingsPath, bad}}, true);
            EXPECT_EQ(result.status, ApplyResult::Status::Invalid) << bad;
            EXPECT_NE(result.message.find(option.field->keyName), std::string::npos) << result.message;
            EXPECT_EQ(result.parameters, "");
            EXPECT_TRUE(tarnix_test::setCalls().empty());
        }
    }
    EXPECT_EQ(asMap(ImagingMapping(controller()).read()), asMap(values));
    EXPECT_EQ(readFile(schemeFile()), before);
}

INSTANTIATE_TEST_SUITE_P(SampleTrees, ImagingMappingTest, ::testing::ValuesIn(onvif_test::allModels()));

// ---- behaviours shown on the box tree ----

class BoxMappingTest : public onvif_test::OnvifTest {};

TEST_F(BoxMappingTest, ChangedFieldsGoOutAsOneCachedTextAndTheSchemeIsStored) {
    start("box");
    ApplyResult result = ImagingMapping(controller())
                             .apply({{"ColorSaturation", "45"},
                                     {"Brightness", "60"},
                                     {"IrCutFilter", "OFF"},
                                     {"WideDynamicRange/Mode", "ON"},
                                     {"Contrast", "50"}},
                                    true);
    ASSERT_EQ(result.status, ApplyResult::Status::Applied) << result.message;
    // Table order; the unchanged contrast is not sent.
    EXPECT_EQ(result.parameters, "(34,60)(2337,45)(144,2)(2368,1)");
    EXPECT_EQ(setValuesOf(34), std::vector<uint32_t>({60}));
    EXPECT_EQ(setValuesOf(2337), std::vector<uint32_t>({45}));
    EXPECT_EQ(setValuesOf(144), std::vector<uint32_t>({2}));
    EXPECT_TRUE(setValuesOf(2353).empty());
    EXPECT_EQ(fileValue(34), 60);
    EXPECT_EQ(fileValue(2337), 45);
    EXPECT_EQ(fileValue(144), 2);
    EXPECT_EQ(fileValue(2368), 1);
}

TEST_F(BoxMappingTest, WithoutPersistenceTheValueIsAppliedButNotStored) {
    start("box");
    ApplyResult result = ImagingMapping(controller()).apply({{"Brightness", "61"}}, false);
    ASSERT_EQ(result.status, ApplyResult::Status::Applied);
    EXPECT_EQ(setValuesOf(34), std::vector<uint32_t>({61}));
    int value = 0;
    ASSERT_TRUE(controller().getParameter(34, value));
    EXPECT_EQ(value, 61);
    EXPECT_EQ(fileValue(34), 50);
    // A later persistent set of the same value stores it without resending.
    ispsim::clearCalls();
    result = ImagingMapping(controller()).apply({{"Brightness", "61"}}, true);
    ASSERT_EQ(result.status, ApplyResult::Status::Applied);
    EXPECT_EQ(result.parameters, "");
    EXPECT_TRUE(setValuesOf(34).empty());
    EXPECT_EQ(fileValue(34), 61);
}

TEST_F(BoxMappingTest, ATokenAKeyValueAlreadyStandsForKeepsThatValue) {
    start("box");
    ASSERT_EQ(controller().setParameter(16, 2, true), 0); // shutter priority
    ASSERT_EQ(controller().setParameter(144, 3, true), 0); // day/night by schedule
    ASSERT_EQ(controller().setParameter(768, 3, true), 0); // outdoor white balance
    ispsim::clearCalls();
    ImagingMapping mapping(controller());
    std::map<std::string, std::string> now = asMap(mapping.read());
    EXPECT_EQ(now["Exposure/Mode"], "AUTO");
    EXPECT_EQ(now["IrCutFilter"], "AUTO");
    EXPECT_EQ(now["WhiteBalance/Mode"], "AUTO");
    ApplyResult result =
        mapping.apply({{"Exposure/Mode", "AUTO"}, {"IrCutFilter", "AUTO"}, {"WhiteBalance/Mode", "AUTO"}}, true);
    EXPECT_EQ(result.parameters, "");
    EXPECT_TRUE(tarnix_test::setCalls().empty());
    // Another token sends that token's first value; asking for AUTO again
    // then sends the plain automatic value.
    result = mapping.apply({{"Exposure/Mode", "MANUAL"}}, true);
    EXPECT_EQ(result.parameters, "(16,1)");
    result = mapping.apply({{"Exposure/Mode", "AUTO"}, {"IrCutFilter", "ON"}}, true);
    EXPECT_EQ(result.parameters, "(16,0)(144,1)");
}

TEST_F(BoxMappingTest, ValuesBetweenOfferedChoicesTakeTheNearestChoice) {
    start("box");
    ImagingMapping mapping(controller());
    ApplyResult result = mapping.apply({{"Exposure/MaxGain", "20"},          // 18 dB
                                        {"Exposure/MaxExposureTime", "7000"}, // 1/150 s = 6667 us
                                        {"Exposure/Iris", "2.8"},             // 716
                                        {"Focus/NearLimit", "1.4"},           // 1.5 m
                                        {"Brightness", "49.6"}},              // 50: unchanged
                                       true);
    ASSERT_EQ(result.status, ApplyResult::Status::Applied) << result.message;
    EXPECT_EQ(result.parameters, "(49,11)(65,18)(1537,5)");
}

TEST_F(BoxMappingTest, AFieldTheStyleRemovedIsNeitherReadNorOfferedNorTaken) {
    start("box");
    // Without WDR (a video mode that limits it) the narrowed style drops
    // items 2368 and 2369.
    controller().setShowWDRFalg(false);
    ImagingMapping mapping(controller());
    for (const FieldValue& v : mapping.read()) {
        EXPECT_NE(std::string(v.field->settingsPath).find("WideDynamicRange"), 0u);
    }
    for (const FieldOptions& o : mapping.allOptions()) {
        EXPECT_NE(std::string(o.field->settingsPath).find("WideDynamicRange"), 0u);
    }
    ApplyResult result = mapping.apply({{"Brightness", "70"}, {"WideDynamicRange/Mode", "ON"}}, true);
    EXPECT_EQ(result.status, ApplyResult::Status::Invalid);
    EXPECT_NE(result.message.find("not offered"), std::string::npos);
    EXPECT_TRUE(tarnix_test::setCalls().empty());
}

TEST_F(BoxMappingTest, UnknownFieldsAndTextsThatAreNoNumbersAreRefused) {
    start("box");
    ImagingMapping mapping(controller());
    for (const RequestedField& bad : std::vector<RequestedField>{{"Exposure/Priority", "LowNoise"},
                                                                 {"Focus/FarLimit", "5"},
                                                                 {"Brightness", "fifty"},
                                                                 {"Brightness", "nan"},
                                                                 {"Brightness", "inf"},
                                                                 {"Brightness", "0x20"},
                                                                 {"Brightness", ""},
                                                                 {"Brightness", "1e400"}}) {
        ApplyResult result = mapping.apply({bad}, true);
        EXPECT_EQ(result.status, ApplyResult::Status::Invalid) << bad.path << "=" << bad.text;
    }
    EXPECT_TRUE(tarnix_test::setCalls().empty());
}

TEST_F(BoxMappingTest, ARefusedKeyIsReportedAsAFailure) {
    start("box");
    ispsim::setFailure(0, 34, 0, -1);
    ApplyResult result = ImagingMapping(controller()).apply({{"Brightness", "66"}}, true);
    EXPECT_EQ(result.status, ApplyResult::Status::Failed);
    EXPECT_NE(result.message.find("(34,66)"), std::string::npos) << result.message;
    EXPECT_EQ(fileValue(34), 50);
}

} // namespace
