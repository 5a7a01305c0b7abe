// SOAP 1.2 envelopes and the ONVIF faults.
#include "onvif/SoapMessage.h"

#include "onvif/OnvifNamespaces.h"
#include "onvif/SoapXml.h"

namespace tarnix {
namespace onvif {

namespace {

std::string envelope(const std::string& bodyXml) {
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    out += "<env:Envelope xmlns:env=\"";
    out += kNsSoapEnv;
    out += "\" xmlns:tt=\"";
    out += kNsSchema;
    out += "\" xmlns:tds=\"";
    out += kNsDevice;
    out += "\" xmlns:trt=\"";
    out += kNsMedia;
    out += "\" xmlns:timg=\"";
    out += kNsImaging;
    out += "\" xmlns:ter=\"";
    out += kNsError;
    out += "\"><env:Body>";
    out += bodyXml;
    out += "</env:Body></env:Envelope>\n";
    return out;
}

} // namespace

SoapReply soapResponse(const std::string& bodyXml) {
    SoapReply reply;
    reply.status = 200;
    reply.body = envelope(bodyXml);
    return reply;
}

SoapReply soapFault(const std::string& code, const std::string& subcode, const std::string& subcode2,
                    const std::string& reason, int status) {
    std::string xml = "<env:Fault><env:Code><env:Value>" + code + "</env:Value>";
    if (!subcode.empty()) {
        xml += "<env:Subcode><env:Value>" + subcode + "</env:Value>";
        if (!subcode2.empty()) {
            xml += "<env:Subcode><env:Value>" + subcode2 + "</env:Value></env:Subcode>";
        }
        xml += "</env:Subcode>";
    }
    xml += "</env:Code><env:Reason><env:Text xml:lang=\"en\">" + xmlEscape(reason) +
           "</env:Text></env:Reason></env:Fault>";
    SoapReply reply;
    reply.status = status != 0 ? status : (code == "env:Receiver" ? 500 : 400);
    reply.body = envelope(xml);
    return reply;
}

SoapReply faultNotAuthorized() {
    return soapFault("env:Sender", "ter:NotAuthorized", "", "Sender not Authorized");
}

SoapReply faultWellFormed(const std::string& reason) {
    return soapFault("env:Sender", "ter:WellFormed", "", reason);
}

SoapReply faultTooLarge(size_t limit) {
    return soapFault("env:Sender", "ter:InvalidArgs", "",
                     "The request is larger than " + std::to_string(limit) + " bytes", 413);
}

SoapReply faultActionNotSupported(const std::string& operation) {
    return soapFault("env:Receiver", "ter:ActionNotSupported", "",
                     "Optional Action Not Implemented: " + operation);
}

SoapReply faultInvalidArgVal(const std::string& subcode, const std::string& reason) {
    return soapFault("env:Sender", "ter:InvalidArgVal", subcode, reason);
}

SoapReply faultVersionMismatch() {
    return soapFault("env:VersionMismatch", "", "", "SOAP 1.2 envelopes only");
}

} // namespace onvif
} // namespace tarnix
