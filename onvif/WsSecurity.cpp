// UsernameToken digest check with OpenSSL's SHA-1 and base64.
#include "onvif/WsSecurity.h"

#include <openssl/evp.h>
#include <openssl/sha.h>

#include <cstring>
#include <vector>

#include <tinyxml.h>

#include "onvif/OnvifNamespaces.h"
#include "onvif/SoapXml.h"

namespace tarnix {
namespace onvif {

namespace {

// The password type URI ends in this fragment; any other type (or none,
// which means plain text) is refused.
const char kDigestSuffix[] = "#PasswordDigest";
// A nonce text longer than this is refused before it is decoded.
constexpr size_t kMaxNonceText = 1024;

bool endsWith(const std::string& text, const char* suffix) {
    size_t n = std::strlen(suffix);
    return text.size() >= n && text.compare(text.size() - n, n, suffix) == 0;
}

// Compares without stopping at the first difference.
bool sameText(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) {
        return false;
    }
    unsigned char diff = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        diff = static_cast<unsigned char>(diff | (static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i])));
    }
    return diff == 0;
}

} // namespace

std::string base64Encode(const std::string& bytes) {
    std::vector<unsigned char> out(4 * ((bytes.size() + 2) / 3) + 1);
    int n = EVP_EncodeBlock(out.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                            static_cast<int>(bytes.size()));
    return std::string(reinterpret_cast<const char*>(out.data()), n > 0 ? static_cast<size_t>(n) : 0);
}

bool base64Decode(const std::string& text, std::string& bytes) {
    std::string clean;
    clean.reserve(text.size());
    for (char c : text) {
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') {
            clean += c;
        }
    }
    if (clean.size() % 4 != 0) {
        return false;
    }
    size_t padding = 0;
    if (!clean.empty() && clean[clean.size() - 1] == '=') {
        ++padding;
        if (clean.size() >= 2 && clean[clean.size() - 2] == '=') {
            ++padding;
        }
    }
    // '=' only as the padding at the end.
    if (clean.find('=') < clean.size() - padding) {
        return false;
    }
    std::vector<unsigned char> out(3 * (clean.size() / 4) + 1);
    int n = EVP_DecodeBlock(out.data(), reinterpret_cast<const unsigned char*>(clean.data()),
                            static_cast<int>(clean.size()));
    if (n < 0 || static_cast<size_t>(n) < padding) {
        return false;
    }
    // EVP_DecodeBlock counts the padding as zero bytes.
    bytes.assign(reinterpret_cast<const char*>(out.data()), static_cast<size_t>(n) - padding);
    return true;
}

std::string passwordDigest(const std::string& nonce, const std::string& created, const std::string& password) {
    std::string input = nonce + created + password;
    unsigned char digest[SHA_DIGEST_LENGTH];
    SHA1(reinterpret_cast<const unsigned char*>(input.data()), input.size(), digest);
    return base64Encode(std::string(reinterpret_cast<const char*>(digest), sizeof(digest)));
}

bool checkUsernameToken(const TiXmlElement* header, const std::string& user, const std::string& password) {
    const TiXmlElement* security = childElement(header, kNsWsse, "Security");
    const TiXmlElement* token = childElement(security, kNsWsse, "UsernameToken");
    if (token == nullptr) {
        return false;
    }
    const TiXmlElement* userElement = childElement(token, kNsWsse, "Username");
    const TiXmlElement* passwordElement = childElement(token, kNsWsse, "Password");
    const TiXmlElement* nonceElement = childElement(token, kNsWsse, "Nonce");
    const TiXmlElement* createdElement = childElement(token, kNsWsu, "Created");
    if (userElement == nullptr || passwordElement == nullptr || nonceElement == nullptr ||
        createdElement == nullptr) {
        return false;
    }
    const char* type = passwordElement->Attribute("Type");
    if (type == nullptr || !endsWith(type, kDigestSuffix)) {
        return false;
    }
    std::string nonceText = elementText(nonceElement);
    std::string nonce;
    if (nonceText.size() > kMaxNonceText || !base64Decode(nonceText, nonce)) {
        return false;
    }
    std::string expected = passwordDigest(nonce, elementText(createdElement), password);
    bool userMatches = sameText(elementText(userElement), user);
    bool digestMatches = sameText(elementText(passwordElement), expected);
    return userMatches && digestMatches;
}

} // namespace onvif
} // namespace tarnix
