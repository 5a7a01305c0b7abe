#pragma once
// Request envelopes as ONVIF clients send them, and reading the replies.
#include <gtest/gtest.h>

#include <string>

#include <tinyxml.h>

#include "onvif/OnvifNamespaces.h"
#include "onvif/SoapMessage.h"
#include "onvif/SoapXml.h"
#include "onvif/WsSecurity.h"

namespace onvif_test {

// A UsernameToken header with a password digest of user/password.
inline std::string securityHeader(const std::string& user, const std::string& password,
                                  const std::string& created = "2024-05-01T12:00:00.000Z",
                                  const std::string& nonce = "0123456789abcdef",
                                  const std::string& type = "PasswordDigest") {
    std::string digest = tarnix::onvif::passwordDigest(nonce, created, password);
    return "<Security s:mustUnderstand=\"1\" xmlns=\"http://docs.oasis-open.org/wss/2004/01/"
           "oasis-200401-wss-wssecurity-secext-1.0.xsd\"><UsernameToken><Username>" +
           user +
           "</Username><Password Type=\"http://docs.oasis-open.org/wss/2004/01/"
           "oasis-200401-wss-username-token-profile-1.0#" +
           type + "\">" + digest +
           "</Password><Nonce EncodingType=\"http://docs.oasis-open.org/wss/2004/01/"
           "oasis-200401-wss-soap-message-security-1.0#Base64Binary\">" +
           tarnix::onvif::base64Encode(nonce) +
           "</Nonce><Created xmlns=\"http://docs.oasis-open.org/wss/2004/01/"
           "oasis-200401-wss-wssecurity-utility-1.0.xsd\">" +
           created + "</Created></UsernameToken></Security>";
}

// A SOAP 1.2 envelope with the given header content and body content.
inline std::string envelope(const std::string& header, const std::string& body) {
    return "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Header>" + header +
           "</s:Header><s:Body>" + body + "</s:Body></s:Envelope>";
}

// The reply parsed; a test failure when it is not well-formed.
class Reply {
public:
    explicit Reply(const tarnix::onvif::SoapReply& reply) : status(reply.status), body(reply.body) {
        doc.Parse(body.c_str(), nullptr, TIXML_ENCODING_UTF8);
        EXPECT_FALSE(doc.Error()) << body;
    }
    // The first element of the body.
    const TiXmlElement* operation() const {
        const TiXmlElement* env = doc.RootElement();
        const TiXmlElement* b = tarnix::onvif::childElement(env, tarnix::onvif::kNsSoapEnv, "Body");
        return tarnix::onvif::firstChildElement(b);
    }
    bool isFault() const { return tarnix::onvif::localName(operation()) == "Fault"; }
    // Text of the element at a path of local names below the operation
    // element ("" when missing).
    std::string text(const std::string& path) const { return tarnix::onvif::elementText(find(path)); }
    const TiXmlElement* find(const std::string& path) const {
        const TiXmlElement* e = operation();
        size_t start = 0;
        while (e != nullptr && start < path.size()) {
            size_t slash = path.find('/', start);
            std::string part = path.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
            const TiXmlElement* next = nullptr;
            for (const TiXmlElement* c = e->FirstChildElement(); c != nullptr; c = c->NextSiblingElement()) {
                if (tarnix::onvif::localName(c) == part) {
                    next = c;
                    break;
                }
            }
            e = next;
            start = slash == std::string::npos ? path.size() : slash + 1;
        }
        return e;
    }
    // The fault's subcode values joined ("ter:InvalidArgVal ter:NoSource").
    std::string faultSubcodes() const {
        std::string out;
        const TiXmlElement* sub = find("Code/Subcode");
        while (sub != nullptr) {
            const TiXmlElement* value = tarnix::onvif::childElement(sub, tarnix::onvif::kNsSoapEnv, "Value");
            out += (out.empty() ? "" : " ") + tarnix::onvif::elementText(value);
            sub = tarnix::onvif::childElement(sub, tarnix::onvif::kNsSoapEnv, "Subcode");
        }
        return out;
    }

    int status;
    std::string body;
    TiXmlDocument doc;
};

} // namespace onvif_test
