#pragma once
// The one table between ONVIF ImagingSettings20 and the controller's keys.
//
// Each row names an ONVIF field (its path below ImagingSettings and below
// ImagingOptions20), the Tarnix key that holds it and the conversion between
// the key's integer and the ONVIF value. Reading settings, building options
// and applying settings all walk this table, so a field is mapped in one
// place for both directions. Rows are in the element order of the ONVIF
// schema, and the rows of one group (Exposure, Focus, ...) follow each
// other; a group's first row is its mandatory mode (its "head"): without it
// the whole group is left out.
#include <cstddef>
#include <string>
#include <vector>

namespace tarnix {
namespace onvif {

enum class Conversion {
    Number,       // the key's integer as it stands (levels, dB gains)
    Normalized,   // 0.0 .. 1.0 over the item's min .. max
    ShutterTime,  // shutter table index <-> exposure time in microseconds
    FNumber,      // iris position (F-number x 256) <-> F-number
    NearLimit,    // focus near-limit index <-> metres
    Enumeration,  // key values <-> ONVIF enumeration tokens
};

// One key value and the ONVIF token it stands for. Several values may stand
// for the same token (shutter priority is an automatic exposure); the first
// of them in the table is the one sent when a client asks for the token.
struct EnumEntry {
    int keyValue;
    const char* token;
};

struct ImagingField {
    const char* settingsPath; // below ImagingSettings, e.g. "Exposure/MaxExposureTime"
    const char* optionsPath;  // below ImagingOptions20, e.g. "Exposure/MaxExposureTime"
    unsigned int key;         // Tarnix key (= style item id)
    const char* keyName;
    Conversion conversion;
    const EnumEntry* entries; // Enumeration only
    size_t entryCount;
    bool head;                // the group's mandatory first field
};

// The table, in ONVIF schema order.
const std::vector<ImagingField>& imagingFields();
// The row of a settings path, or null.
const ImagingField* fieldBySettingsPath(const std::string& path);
// The group path of a field ("Exposure" for "Exposure/Mode"; "" for a
// top-level field such as "Brightness").
std::string groupOf(const std::string& path);
// The head row of the field's group (null for a top-level field).
const ImagingField* headOf(const ImagingField& field);

// ---- value conversions (false: the value has no ONVIF counterpart) ----

// Exposure time in microseconds of a shutter table index (0: 1 s ... 22: 1/100000 s).
bool shutterIndexToMicroseconds(int index, double& microseconds);
// Near limit in metres of a focus near-limit index (1: 0.1 m ... 9: 10 m).
bool nearLimitIndexToMetres(int index, double& metres);
// F-number of an iris position.
double irisPositionToFNumber(int position);
// ONVIF value of a key value; min and max are the item's range (Normalized).
bool keyToOnvif(const ImagingField& field, int keyValue, int min, int max, double& out);
// Token of a key value (Enumeration).
const char* keyToToken(const ImagingField& field, int keyValue);

// Text of an ONVIF float: integers without a fraction, others with up to
// six decimals.
std::string formatNumber(double value);
// Whole-text decimal float, finite; false otherwise.
bool parseNumber(const std::string& text, double& out);

} // namespace onvif
} // namespace tarnix
