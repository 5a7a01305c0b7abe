#pragma once
// ONVIF imaging settings of one channel, read from and applied to its
// ISensorController through the field table (ImagingFields.h).
//
// What a channel offers comes from its narrowed style, taken once when the
// mapping is made: a field is offered when its item is in the style (and,
// for a field of a group, the group's mode item too); its options are the
// item's choices or range, converted to ONVIF units. This is what a device
// host's own ONVIF server calls; the SOAP service of this folder does too.
#include <string>
#include <vector>

#include "onvif/ImagingFields.h"
#include "onvif/StyleItems.h"

class ISensorController;

namespace tarnix {
namespace onvif {

// One field's current value: number for numeric fields, token for
// enumerations.
struct FieldValue {
    const ImagingField* field = nullptr;
    double number = 0;
    std::string token;
};

// What one field accepts: [min, max] for numeric fields (for a normalized
// level always 0 .. 1), the tokens for enumerations (in table order).
struct FieldOptions {
    const ImagingField* field = nullptr;
    double min = 0;
    double max = 0;
    std::vector<std::string> tokens;
};

// One field of a set request: its path below ImagingSettings and its text.
struct RequestedField {
    std::string path;
    std::string text;
};

struct ApplyResult {
    enum class Status {
        Applied,  // validated, applied (and stored when asked to)
        Invalid,  // a field is unknown, not offered or outside its options: nothing applied
        Failed,   // the controller refused the parameters or could not store them
    };
    Status status = Status::Applied;
    std::string message;    // why, for Invalid and Failed
    std::string parameters; // the "(key,value)" text handed to setParameters ("" when nothing changed)
};

class ImagingMapping {
public:
    // Reads the channel's narrowed style (getUIStyleFile).
    explicit ImagingMapping(ISensorController& controller);
    // With a style text given by the caller (the controller is still used
    // for values).
    ImagingMapping(ISensorController& controller, const std::string& styleXml);

    // Whether the channel offers the field.
    bool offered(const ImagingField& field) const;
    // The field's options; false when it is not offered.
    bool options(const ImagingField& field, FieldOptions& out) const;
    // Options of every offered field, in table order.
    std::vector<FieldOptions> allOptions() const;
    // Current values of every offered field whose key can be read and
    // converted, in table order.
    std::vector<FieldValue> read() const;

    // Validates every field against its options first; when all pass, sends
    // the fields whose value changes as one setParameters(text, true) and,
    // when persist is set, stores the scheme with flush().
    ApplyResult apply(const std::vector<RequestedField>& fields, bool persist) const;

    // Key value a requested text stands for (false with a reason when the
    // text is outside the field's options). current is the key's present
    // value when known; an enumeration token it already stands for keeps it.
    bool resolve(const ImagingField& field, const std::string& text, const int* current, int& keyValue,
                 std::string& reason) const;

    const StyleItems& items() const { return m_items; }

private:
    // Key values the item allows, in the item's order (a range item of a
    // table conversion gives the table entries inside the range).
    std::vector<int> allowedKeyValues(const ImagingField& field, const StyleItem& item) const;

    ISensorController& m_controller;
    StyleItems m_items;
};

} // namespace onvif
} // namespace tarnix
