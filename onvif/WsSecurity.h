#pragma once
// WS-Security UsernameToken with a password digest, as ONVIF clients send it:
//   Password = base64(SHA-1(nonce bytes + Created text + password))
// with the nonce carried base64-encoded.
#include <string>

class TiXmlElement;

namespace tarnix {
namespace onvif {

// base64 of bytes (standard alphabet, padded).
std::string base64Encode(const std::string& bytes);
// Decodes standard base64 (white space ignored); false when the text is not
// base64.
bool base64Decode(const std::string& text, std::string& bytes);
// base64(SHA-1(nonce + created + password)).
std::string passwordDigest(const std::string& nonce, const std::string& created, const std::string& password);

// Checks the UsernameToken in a SOAP header element (null: no header).
// True only for a digest password of the given user that matches.
bool checkUsernameToken(const TiXmlElement* header, const std::string& user, const std::string& password);

} // namespace onvif
} // namespace tarnix
