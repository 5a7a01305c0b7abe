#pragma once
// Namespace URIs of the SOAP envelope, WS-Security and the ONVIF services.

namespace tarnix {
namespace onvif {

constexpr const char* kNsSoapEnv = "http://www.w3.org/2003/05/soap-envelope";
constexpr const char* kNsSoap11Env = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr const char* kNsWsse = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd";
constexpr const char* kNsWsu = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd";
constexpr const char* kNsSchema = "http://www.onvif.org/ver10/schema";
constexpr const char* kNsError = "http://www.onvif.org/ver10/error";
constexpr const char* kNsDevice = "http://www.onvif.org/ver10/device/wsdl";
constexpr const char* kNsMedia = "http://www.onvif.org/ver10/media/wsdl";
constexpr const char* kNsImaging = "http://www.onvif.org/ver20/imaging/wsdl";

} // namespace onvif
} // namespace tarnix
