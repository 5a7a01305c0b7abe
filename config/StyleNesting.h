#pragma once
// How deep the stock TinyXML parser nests elements for a given text.
//
// TinyXML parses elements by recursive descent, and its printer, copier and
// destructor recurse the same way, as do the style walks of this library. A
// document nested deeply enough overflows the stack of whichever thread
// handles it, so texts are measured before they are parsed. The probe
// follows the parser's own grammar step by step (names, attributes, quoted
// and unquoted values, entities, UTF-8 sequences, comments, CDATA,
// declarations, unknown tags, end tags), so the depth it reports is the
// depth the parser would reach before it finishes or gives up.

namespace tarnix {
namespace style {

// Deepest element nesting the parser reaches on text (root element = 1),
// counting no further than limit + 1. text is zero-terminated; null gives 0.
int parserNestingDepth(const char* text, int limit);

} // namespace style
} // namespace tarnix
