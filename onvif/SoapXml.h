#pragma once
// Reading SOAP requests: a bounded parse with TinyXML and the namespace
// look-ups TinyXML itself does not do.
//
// Requests come from the network. A text is parsed only when it is no longer
// than the caller's limit and cannot make TinyXML nest deeper than
// kMaxRequestElements (TinyXML parses, copies and destroys elements
// recursively, so the nesting depth is the stack a request can claim).
#include <cstddef>
#include <memory>
#include <string>

class TiXmlDocument;
class TiXmlElement;

namespace tarnix {
namespace onvif {

// No request of the served operations comes near this many elements (a
// SetImagingSettings with every field and a security header has about 60).
constexpr size_t kMaxRequestElements = 512;

// Upper bound of the elements TinyXML can create from text: every element
// starts at a '<' directly followed by a letter, '_' or a byte from 127 up,
// so counting those positions never undercounts, whatever the rest holds.
size_t elementStartCount(const std::string& text);

enum class ParseStatus { Ok, TooLarge, TooDeep, Malformed };

// Whether text is well-formed UTF-8 (no stray, truncated or overlong
// sequence, no surrogate, nothing above U+10FFFF).
bool isUtf8(const std::string& text);

// Parses text into doc when it fits the limits above and is UTF-8 without a
// zero byte (anything else is Malformed without being parsed).
ParseStatus parseRequest(const std::string& text, size_t maxBytes, TiXmlDocument& doc);

// "Envelope" for "s:Envelope".
std::string localName(const TiXmlElement* element);
// Namespace URI of the element's prefix, found on the element or the nearest
// ancestor that declares it ("" when undeclared).
std::string namespaceOf(const TiXmlElement* element);
// Whether the element has the local name and the namespace URI given.
bool isElement(const TiXmlElement* element, const char* ns, const char* local);
// First child element with that local name and namespace (null if none).
const TiXmlElement* childElement(const TiXmlElement* parent, const char* ns, const char* local);
// First child element of any name (null if none).
const TiXmlElement* firstChildElement(const TiXmlElement* parent);
// The element's text with surrounding white space removed ("" when none).
std::string elementText(const TiXmlElement* element);
// Attribute by local name, whatever its prefix (null if absent).
const char* attributeByLocalName(const TiXmlElement* element, const char* local);

// Element text or attribute value for any bytes: escapes & < > " ' and
// puts U+FFFD in place of each byte that starts no well-formed UTF-8
// sequence and of each character XML does not allow (control characters,
// U+FFFE, U+FFFF), so that an answer echoing request text is always
// well-formed.
std::string xmlEscape(const std::string& text);

} // namespace onvif
} // namespace tarnix
