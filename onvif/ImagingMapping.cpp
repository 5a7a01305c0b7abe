// Reading, offering and applying ONVIF imaging settings through the table.
#include "onvif/ImagingMapping.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "controller/ISensorController.h"

namespace tarnix {
namespace onvif {

namespace {

// Largest index of the shutter table and the near-limit table.
constexpr int kLastShutterIndex = 22;
constexpr int kLastNearLimitIndex = 9;

// Slack for values that went through a decimal text (F-numbers, levels).
double slack(double min, double max) { return 1e-6 * std::max(1.0, std::max(std::fabs(min), std::fabs(max))); }

bool isTableConversion(Conversion conversion) {
    return conversion == Conversion::ShutterTime || conversion == Conversion::NearLimit ||
           conversion == Conversion::Enumeration;
}

std::string describe(const ImagingField& field) {
    return std::string(field.settingsPath) + " (" + field.keyName + ")";
}

} // namespace

ImagingMapping::ImagingMapping(ISensorController& controller)
    : m_controller(controller), m_items(StyleItems::fromStyle(controller.getUIStyleFile())) {}

ImagingMapping::ImagingMapping(ISensorController& controller, const std::string& styleXml)
    : m_controller(controller), m_items(StyleItems::fromStyle(styleXml)) {}

std::vector<int> ImagingMapping::allowedKeyValues(const ImagingField& field, const StyleItem& item) const {
    std::vector<int> values;
    if (!item.choices.empty()) {
        values = item.choices;
    } else if (item.hasRange && isTableConversion(field.conversion)) {
        if (field.conversion == Conversion::Enumeration) {
            for (size_t i = 0; i < field.entryCount; ++i) {
                values.push_back(field.entries[i].keyValue);
            }
        } else {
            int last = field.conversion == Conversion::ShutterTime ? kLastShutterIndex : kLastNearLimitIndex;
            for (int v = 0; v <= last; ++v) {
                values.push_back(v);
            }
        }
        values.erase(std::remove_if(values.begin(), values.end(), [&](int v) { return !item.allows(v); }),
                     values.end());
    }
    // Only values with an ONVIF counterpart count.
    std::vector<int> convertible;
    for (int v : values) {
        double onvifValue = 0;
        bool ok = field.conversion == Conversion::Enumeration ? keyToToken(field, v) != nullptr
                                                              : keyToOnvif(field, v, item.min, item.max, onvifValue);
        if (ok) {
            convertible.push_back(v);
        }
    }
    return convertible;
}

bool ImagingMapping::options(const ImagingField& field, FieldOptions& out) const {
    const StyleItem* item = m_items.find(field.key);
    if (item == nullptr || !item->bounded()) {
        return false;
    }
    const ImagingField* head = headOf(field);
    if (head != nullptr && head != &field && !offered(*head)) {
        return false;
    }
    out = FieldOptions();
    out.field = &field;
    if (field.conversion == Conversion::Enumeration) {
        std::vector<int> allowed = allowedKeyValues(field, *item);
        // Tokens in table order, each once.
        for (size_t i = 0; i < field.entryCount; ++i) {
            const EnumEntry& entry = field.entries[i];
            if (std::find(allowed.begin(), allowed.end(), entry.keyValue) != allowed.end() &&
                std::find(out.tokens.begin(), out.tokens.end(), entry.token) == out.tokens.end()) {
                out.tokens.push_back(entry.token);
            }
        }
        return !out.tokens.empty();
    }
    if (field.conversion == Conversion::Normalized) {
        // A level over a range; a list item has no range to normalise over.
        if (!item->choices.empty() || !item->hasRange || item->max <= item->min) {
            return false;
        }
        out.min = 0;
        out.max = 1;
        return true;
    }
    std::vector<double> converted;
    if (!item->choices.empty() || isTableConversion(field.conversion)) {
        for (int v : allowedKeyValues(field, *item)) {
            double onvifValue = 0;
            if (keyToOnvif(field, v, item->min, item->max, onvifValue)) {
                converted.push_back(onvifValue);
            }
        }
    } else {
        double low = 0;
        double high = 0;
        if (keyToOnvif(field, item->min, item->min, item->max, low) &&
            keyToOnvif(field, item->max, item->min, item->max, high)) {
            converted.push_back(low);
            converted.push_back(high);
        }
    }
    if (converted.empty()) {
        return false;
    }
    out.min = *std::min_element(converted.begin(), converted.end());
    out.max = *std::max_element(converted.begin(), converted.end());
    return true;
}

bool ImagingMapping::offered(const ImagingField& field) const {
    FieldOptions unused;
    return options(field, unused);
}

std::vector<FieldOptions> ImagingMapping::allOptions() const {
    std::vector<FieldOptions> out;
    for (const ImagingField& field : imagingFields()) {
        FieldOptions opts;
        if (options(field, opts)) {
            out.push_back(opts);
        }
    }
    return out;
}

std::vector<FieldValue> ImagingMapping::read() const {
    std::vector<FieldValue> out;
    for (const ImagingField& field : imagingFields()) {
        if (!offered(field)) {
            continue;
        }
        int keyValue = 0;
        if (!m_controller.getParameter(static_cast<int>(field.key), keyValue)) {
            continue;
        }
        FieldValue value;
        value.field = &field;
        if (field.conversion == Conversion::Enumeration) {
            const char* token = keyToToken(field, keyValue);
            if (token == nullptr) {
                continue;
            }
            value.token = token;
        } else {
            const StyleItem* item = m_items.find(field.key);
            if (!keyToOnvif(field, keyValue, item->min, item->max, value.number)) {
                continue;
            }
        }
        out.push_back(value);
    }
    return out;
}

bool ImagingMapping::resolve(const ImagingField& field, const std::string& text, const int* current, int& keyValue,
                             std::string& reason) const {
    FieldOptions opts;
    if (!options(field, opts)) {
        reason = describe(field) + " is not offered by this video source";
        return false;
    }
    const StyleItem& item = *m_items.find(field.key);
    if (field.conversion == Conversion::Enumeration) {
        if (std::find(opts.tokens.begin(), opts.tokens.end(), text) == opts.tokens.end()) {
            reason = describe(field) + ": '" + text + "' is not one of the offered modes";
            return false;
        }
        std::vector<int> allowed = allowedKeyValues(field, item);
        if (current != nullptr && std::find(allowed.begin(), allowed.end(), *current) != allowed.end()) {
            const char* token = keyToToken(field, *current);
            if (token != nullptr && text == token) {
                keyValue = *current;
                return true;
            }
        }
        for (size_t i = 0; i < field.entryCount; ++i) {
            if (text == field.entries[i].token &&
                std::find(allowed.begin(), allowed.end(), field.entries[i].keyValue) != allowed.end()) {
                keyValue = field.entries[i].keyValue;
                return true;
            }
        }
        reason = describe(field) + ": '" + text + "' is not one of the offered modes";
        return false;
    }
    double requested = 0;
    if (!parseNumber(text, requested)) {
        reason = describe(field) + ": '" + text + "' is not a number";
        return false;
    }
    double eps = slack(opts.min, opts.max);
    if (requested < opts.min - eps || requested > opts.max + eps) {
        reason = describe(field) + ": " + formatNumber(requested) + " is outside " + formatNumber(opts.min) + " .. " +
                 formatNumber(opts.max);
        return false;
    }
    if (!item.choices.empty() || isTableConversion(field.conversion)) {
        // The offered value nearest to the one asked for (the first of two
        // equally near ones).
        bool found = false;
        double bestDistance = 0;
        for (int v : allowedKeyValues(field, item)) {
            double onvifValue = 0;
            if (!keyToOnvif(field, v, item.min, item.max, onvifValue)) {
                continue;
            }
            double distance = std::fabs(onvifValue - requested);
            if (!found || distance < bestDistance) {
                found = true;
                bestDistance = distance;
                keyValue = v;
            }
        }
        if (!found) {
            reason = describe(field) + " has no offered value";
        }
        return found;
    }
    double keyDouble = requested;
    if (field.conversion == Conversion::Normalized) {
        keyDouble = item.min + requested * (item.max - item.min);
    } else if (field.conversion == Conversion::FNumber) {
        keyDouble = requested * 256.0;
    }
    long rounded = std::lround(keyDouble);
    keyValue = static_cast<int>(std::min<long>(std::max<long>(rounded, item.min), item.max));
    return true;
}

ApplyResult ImagingMapping::apply(const std::vector<RequestedField>& fields, bool persist) const {
    ApplyResult result;
    // Per table row: the key value asked for, whether it was asked for, and
    // the key's present value when it could be read.
    const std::vector<ImagingField>& table = imagingFields();
    std::vector<int> wanted(table.size(), 0);
    std::vector<bool> requested(table.size(), false);
    std::vector<bool> known(table.size(), false);
    std::vector<int> current(table.size(), 0);
    for (const RequestedField& request : fields) {
        const ImagingField* field = fieldBySettingsPath(request.path);
        if (field == nullptr) {
            result.status = ApplyResult::Status::Invalid;
            result.message = request.path + " is not an imaging setting of this device";
            return result;
        }
        size_t row = static_cast<size_t>(field - table.data());
        int present = 0;
        known[row] = m_controller.getParameter(static_cast<int>(field->key), present);
        current[row] = present;
        std::string reason;
        if (!resolve(*field, request.text, known[row] ? &present : nullptr, wanted[row], reason)) {
            result.status = ApplyResult::Status::Invalid;
            result.message = reason;
            return result;
        }
        requested[row] = true;
    }
    for (size_t row = 0; row < table.size(); ++row) {
        if (requested[row] && !(known[row] && current[row] == wanted[row])) {
            char record[32];
            std::snprintf(record, sizeof(record), "(%u,%d)", table[row].key, wanted[row]);
            result.parameters += record;
        }
    }
    if (!result.parameters.empty()) {
        int rc = m_controller.setParameters(result.parameters, true);
        if (rc != 0) {
            result.status = ApplyResult::Status::Failed;
            result.message = "the camera refused " + result.parameters + " (result " + std::to_string(rc) + ")";
            return result;
        }
    }
    if (persist) {
        int rc = m_controller.flush();
        if (rc != 0) {
            result.status = ApplyResult::Status::Failed;
            result.message = "the settings could not be stored (result " + std::to_string(rc) + ")";
            return result;
        }
    }
    return result;
}

} // namespace onvif
} // namespace tarnix
