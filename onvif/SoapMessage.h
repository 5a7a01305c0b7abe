#pragma once
// SOAP 1.2 responses and faults of the ONVIF services.
#include <string>

namespace tarnix {
namespace onvif {

// What a service call answers: HTTP status and the SOAP envelope.
struct SoapReply {
    int status = 200;
    std::string body;
};

// Envelope around a response body (the body's elements declare no
// namespaces of their own; the envelope declares env, tt, tds, trt, timg
// and ter).
SoapReply soapResponse(const std::string& bodyXml);

// A fault. code is "env:Sender", "env:Receiver" or "env:VersionMismatch";
// subcode (ONVIF's "ter:..." name, may be "") and an optional second
// subcode; reason is the text a person reads. Sender faults answer 400,
// receiver faults 500, unless status says otherwise.
SoapReply soapFault(const std::string& code, const std::string& subcode, const std::string& subcode2,
                    const std::string& reason, int status = 0);

// The ONVIF faults the services answer with.
SoapReply faultNotAuthorized();
SoapReply faultWellFormed(const std::string& reason);
SoapReply faultTooLarge(size_t limit);
SoapReply faultActionNotSupported(const std::string& operation);
SoapReply faultInvalidArgVal(const std::string& subcode, const std::string& reason);
SoapReply faultVersionMismatch();

} // namespace onvif
} // namespace tarnix
