#pragma once
// The items of a channel's narrowed style (ISensorController::getUIStyleFile)
// with what each one allows: its choice list ("index" of each choice, in
// document order) or its "min"/"max" range.
//
// The style is read as the library reads it: an element carrying "id" is an
// item, its children are its choices, and when several elements carry the
// same id the last one in document order counts.
#include <map>
#include <string>
#include <vector>

namespace tarnix {
namespace onvif {

struct StyleItem {
    std::vector<int> choices; // the values a list item offers (empty for a range item)
    bool hasRange = false;    // "min" and "max" both present and numeric
    int min = 0;
    int max = 0;
    // Whether the item says which values it takes at all.
    bool bounded() const { return !choices.empty() || hasRange; }
    // Whether value is one of the choices or inside the range.
    bool allows(int value) const;
};

class StyleItems {
public:
    // Items of a style text; an unparsable text gives no items.
    static StyleItems fromStyle(const std::string& styleXml);

    // The item with that id, or null when the style has none.
    const StyleItem* find(unsigned int id) const;
    size_t size() const { return m_items.size(); }

private:
    std::map<unsigned int, StyleItem> m_items;
};

} // namespace onvif
} // namespace tarnix
