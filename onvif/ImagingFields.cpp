// The ImagingSettings20 <-> key table and its value conversions.
#include "onvif/ImagingFields.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "controller/KeyCatalogue.h"

namespace tarnix {
namespace onvif {

namespace {

// Denominators of the ISP's shutter table: index i is 1/kShutter[i] s.
const int kShutterDenominators[] = {1,   2,   3,   6,    12,   25,   30,   50,    60,     100,  120, 150,
                                    200, 250, 500, 750, 1000, 1500, 2000, 3000, 4000, 10000, 100000};
// Focus near limits in metres of indexes 1 to 9.
const double kNearLimitMetres[] = {0.1, 0.3, 0.5, 1.0, 1.5, 2.0, 3.0, 5.0, 10.0};

#define ENTRIES(table) table, sizeof(table) / sizeof(table[0])
// A key of the catalogue: its id and its name.
#define KEY(name) tarnix::keys::name, #name

// KEY_EXPOSE_MODE: auto, manual, and the three priority modes, in which the
// camera still regulates exposure on its own.
const EnumEntry kExposureModes[] = {{0, "AUTO"}, {1, "MANUAL"}, {2, "AUTO"}, {3, "AUTO"}, {4, "AUTO"}};
const EnumEntry kOffOn[] = {{0, "OFF"}, {1, "ON"}};
// KEY_WDR_MODE: off, on, automatic (on whenever the scene needs it).
const EnumEntry kWdrModes[] = {{0, "OFF"}, {1, "ON"}, {2, "ON"}};
// KEY_WB_MODE: auto, manual, indoor, outdoor, locked, sodium lamp. The
// scene presets keep tracking the light; a locked balance holds its gains.
const EnumEntry kWhiteBalanceModes[] = {{0, "AUTO"}, {1, "MANUAL"}, {2, "AUTO"},
                                        {3, "AUTO"}, {4, "MANUAL"}, {5, "AUTO"}};
// KEY_AUTO_FOCUS_MODE: auto, manual, semi-auto (refocus after a zoom).
const EnumEntry kFocusModes[] = {{0, "AUTO"}, {1, "MANUAL"}, {2, "AUTO"}};
// KEY_DN_MODE: colour (filter in), black and white (filter out), auto, and
// the time schedule, which switches on its own as well.
const EnumEntry kIrCutModes[] = {{1, "ON"}, {2, "OFF"}, {0, "AUTO"}, {3, "AUTO"}};

const char kExt3[] = "Extension/Extension/Extension/";

std::vector<ImagingField> buildTable() {
    const std::string ext3 = kExt3;
    // The Extension paths are kept alive by the static strings below.
    static const std::string defogMode = ext3 + "Defogging/Mode";
    static const std::string defogModeOpt = ext3 + "DefoggingOptions/Mode";
    static const std::string defogLevel = ext3 + "Defogging/Level";
    static const std::string defogLevelOpt = ext3 + "DefoggingOptions/Level";
    static const std::string noiseLevel = ext3 + "NoiseReduction/Level";
    static const std::string noiseLevelOpt = ext3 + "NoiseReductionOptions/Level";
    return {
        {"BacklightCompensation/Mode", "BacklightCompensation/Mode", KEY(KEY_BLC_SWITCH), Conversion::Enumeration,
         ENTRIES(kOffOn), true},
        {"BacklightCompensation/Level", "BacklightCompensation/Level", KEY(KEY_BLC_STRG), Conversion::Number,
         nullptr, 0, false},
        {"Brightness", "Brightness", KEY(KEY_BRIGHTNESS), Conversion::Number, nullptr, 0, false},
        {"ColorSaturation", "ColorSaturation", KEY(KEY_SATURATION), Conversion::Number, nullptr, 0, false},
        {"Contrast", "Contrast", KEY(KEY_CONTRAST), Conversion::Number, nullptr, 0, false},
        {"Exposure/Mode", "Exposure/Mode", KEY(KEY_EXPOSE_MODE), Conversion::Enumeration, ENTRIES(kExposureModes),
         true},
        {"Exposure/MinExposureTime", "Exposure/MinExposureTime", KEY(KEY_MIN_SHUTTER), Conversion::ShutterTime,
         nullptr, 0, false},
        {"Exposure/MaxExposureTime", "Exposure/MaxExposureTime", KEY(KEY_MAX_SHUTTER), Conversion::ShutterTime,
         nullptr, 0, false},
        {"Exposure/MaxGain", "Exposure/MaxGain", KEY(KEY_MAX_GAIN), Conversion::Number, nullptr, 0, false},
        {"Exposure/ExposureTime", "Exposure/ExposureTime", KEY(KEY_FIX_SHUTTER), Conversion::ShutterTime, nullptr,
         0, false},
        {"Exposure/Gain", "Exposure/Gain", KEY(KEY_FIX_GAIN), Conversion::Number, nullptr, 0, false},
        {"Exposure/Iris", "Exposure/Iris", KEY(KEY_IRIS_POSITION), Conversion::FNumber, nullptr, 0, false},
        {"Focus/AutoFocusMode", "Focus/AutoFocusModes", KEY(KEY_AUTO_FOCUS_MODE), Conversion::Enumeration,
         ENTRIES(kFocusModes), true},
        {"Focus/DefaultSpeed", "Focus/DefaultSpeed", KEY(KEY_FOCUS_SPEED_LEVEL), Conversion::Number, nullptr, 0,
         false},
        {"Focus/NearLimit", "Focus/NearLimit", KEY(KEY_AUTO_FOCUS_NEAR_LIMIT), Conversion::NearLimit, nullptr, 0,
         false},
        {"IrCutFilter", "IrCutFilterModes", KEY(KEY_DN_MODE), Conversion::Enumeration, ENTRIES(kIrCutModes),
         false},
        {"Sharpness", "Sharpness", KEY(KEY_SHARPNESS), Conversion::Number, nullptr, 0, false},
        {"WideDynamicRange/Mode", "WideDynamicRange/Mode", KEY(KEY_WDR_MODE), Conversion::Enumeration,
         ENTRIES(kWdrModes), true},
        {"WideDynamicRange/Level", "WideDynamicRange/Level", KEY(KEY_WDR_STRG), Conversion::Number, nullptr, 0,
         false},
        {"WhiteBalance/Mode", "WhiteBalance/Mode", KEY(KEY_WB_MODE), Conversion::Enumeration,
         ENTRIES(kWhiteBalanceModes), true},
        {"WhiteBalance/CrGain", "WhiteBalance/YrGain", KEY(KEY_R_GAIN), Conversion::Number, nullptr, 0, false},
        {"WhiteBalance/CbGain", "WhiteBalance/YbGain", KEY(KEY_B_GAIN), Conversion::Number, nullptr, 0, false},
        {"Extension/ImageStabilization/Mode", "Extension/ImageStabilization/Mode", KEY(KEY_ANTI_SHAKE_SWITCH),
         Conversion::Enumeration, ENTRIES(kOffOn), true},
        {"Extension/ImageStabilization/Level", "Extension/ImageStabilization/Level", KEY(KEY_ANTI_SHAKE_STRG),
         Conversion::Number, nullptr, 0, false},
        {defogMode.c_str(), defogModeOpt.c_str(), KEY(KEY_DEFLG_SWITCH), Conversion::Enumeration,
         ENTRIES(kOffOn), true},
        {defogLevel.c_str(), defogLevelOpt.c_str(), KEY(KEY_DEFLG_STRG), Conversion::Normalized, nullptr, 0,
         false},
        // The one noise-reduction level drives the temporal (3D) filter's
        // strength in its default, automatic mode.
        {noiseLevel.c_str(), noiseLevelOpt.c_str(), KEY(KEY_3D_NR_STRG_A), Conversion::Normalized, nullptr, 0,
         true},
    };
}

} // namespace

const std::vector<ImagingField>& imagingFields() {
    static const std::vector<ImagingField> s_table = buildTable();
    return s_table;
}

const ImagingField* fieldBySettingsPath(const std::string& path) {
    for (const ImagingField& field : imagingFields()) {
        if (path == field.settingsPath) {
            return &field;
        }
    }
    return nullptr;
}

std::string groupOf(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

const ImagingField* headOf(const ImagingField& field) {
    std::string group = groupOf(field.settingsPath);
    if (group.empty()) {
        return nullptr;
    }
    for (const ImagingField& row : imagingFields()) {
        if (row.head && groupOf(row.settingsPath) == group) {
            return &row;
        }
    }
    return nullptr;
}

bool shutterIndexToMicroseconds(int index, double& microseconds) {
    const int count = static_cast<int>(sizeof(kShutterDenominators) / sizeof(kShutterDenominators[0]));
    if (index < 0 || index >= count) {
        return false;
    }
    microseconds = std::round(1000000.0 / kShutterDenominators[index]);
    return true;
}

bool nearLimitIndexToMetres(int index, double& metres) {
    const int count = static_cast<int>(sizeof(kNearLimitMetres) / sizeof(kNearLimitMetres[0]));
    if (index < 1 || index > count) {
        return false;
    }
    metres = kNearLimitMetres[index - 1];
    return true;
}

double irisPositionToFNumber(int position) { return position / 256.0; }

bool keyToOnvif(const ImagingField& field, int keyValue, int min, int max, double& out) {
    switch (field.conversion) {
    case Conversion::Number:
        out = keyValue;
        return true;
    case Conversion::Normalized:
        if (max <= min || keyValue < min || keyValue > max) {
            return false;
        }
        out = static_cast<double>(keyValue - min) / static_cast<double>(max - min);
        return true;
    case Conversion::ShutterTime:
        return shutterIndexToMicroseconds(keyValue, out);
    case Conversion::FNumber:
        if (keyValue <= 0) {
            return false;
        }
        out = irisPositionToFNumber(keyValue);
        return true;
    case Conversion::NearLimit:
        return nearLimitIndexToMetres(keyValue, out);
    case Conversion::Enumeration:
        return false;
    }
    return false;
}

const char* keyToToken(const ImagingField& field, int keyValue) {
    for (size_t i = 0; i < field.entryCount; ++i) {
        if (field.entries[i].keyValue == keyValue) {
            return field.entries[i].token;
        }
    }
    return nullptr;
}

std::string formatNumber(double value) {
    char text[64];
    double rounded = std::round(value);
    if (std::fabs(value - rounded) < 1e-9 && std::fabs(rounded) < 1e15) {
        std::snprintf(text, sizeof(text), "%.0f", rounded);
        return text;
    }
    if (std::fabs(value) >= 1e15) {
        // Far outside every offered range; only ever shown in a refusal.
        std::snprintf(text, sizeof(text), "%g", value);
        return text;
    }
    std::snprintf(text, sizeof(text), "%.6f", value);
    std::string out = text;
    while (!out.empty() && out.back() == '0') {
        out.pop_back();
    }
    if (!out.empty() && out.back() == '.') {
        out.pop_back();
    }
    return out == "-0" ? std::string("0") : out;
}

bool parseNumber(const std::string& text, double& out) {
    if (text.empty() || text.size() > 64) {
        return false;
    }
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    double value = std::strtod(begin, &end);
    if (end == begin || *end != '\0' || errno == ERANGE || !std::isfinite(value)) {
        return false;
    }
    // strtod also reads hexadecimal and "inf"/"nan"; ONVIF floats are decimal.
    for (const char* p = begin; p != end; ++p) {
        if (*p == 'x' || *p == 'X' || *p == 'n' || *p == 'N' || *p == 'i' || *p == 'I') {
            return false;
        }
    }
    out = value;
    return true;
}

} // namespace onvif
} // namespace tarnix
