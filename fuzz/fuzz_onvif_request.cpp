// Fuzzes the ONVIF services' request handling as the network reaches it:
// envelope parsing with its size and element limits, namespaces, the
// WS-Security digest check, and every served operation with its argument
// parsing, on one controller of channel 1 initialised once from a private
// copy of the sample box camera, with the simulated ISP behind it.
//
// Input: byte 0 selects the service path (bits 0-1: device, media, imaging,
// or a path no service has) and bit 2 the service without a user, whose
// operations need no security header. The rest is the request body. The
// seeds' security headers carry the digest of user "admin", password
// "fuzz" for their fixed nonce and time, so mutations reach the operations
// behind the check too.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "controller/ISensorController.h"
#include "fuzz/fuzz_support.h"
#include "ispsim/ispsim.h"
#include "onvif/OnvifService.h"

namespace {

ISensorController* g_pController = nullptr;
tarnix::onvif::OnvifService* g_pSecured = nullptr;
tarnix::onvif::OnvifService* g_pOpen = nullptr;
std::string g_strProfile;
const size_t kMaxBody = 16 * 1024;

void shutDown() {
    delete g_pSecured;
    delete g_pOpen;
    g_pSecured = g_pOpen = nullptr;
    if (g_pController != nullptr) {
        g_pController->uinit();
        delete g_pController;
        g_pController = nullptr;
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    g_pController = tarnix_fuzz::startController("box", g_strProfile);

    tarnix::onvif::VideoChannel channel;
    channel.controller = g_pController;
    channel.focusPositionMax = 3100;
    tarnix::onvif::ServiceConfig secured;
    secured.user = "admin";
    secured.password = "fuzz";
    secured.maxRequestBytes = kMaxBody;
    secured.clock = [] { return static_cast<std::time_t>(1714566896); };
    tarnix::onvif::ServiceConfig open = secured;
    open.user.clear();
    g_pSecured = new tarnix::onvif::OnvifService(secured, {channel});
    g_pOpen = new tarnix::onvif::OnvifService(open, {channel});
    std::atexit(&shutDown);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    tarnix_fuzz::beginIspRun(g_strProfile);

    static const char* const kPaths[] = {tarnix::onvif::OnvifService::kDevicePath,
                                         tarnix::onvif::OnvifService::kMediaPath,
                                         tarnix::onvif::OnvifService::kImagingPath, "/onvif/other_service"};
    const uint8_t nMode = data[0];
    const std::string strPath = kPaths[nMode & 0x03];
    const std::string strBody(reinterpret_cast<const char*>(data + 1), size - 1);
    tarnix::onvif::OnvifService& service = (nMode & 0x04) != 0 ? *g_pOpen : *g_pSecured;

    tarnix::onvif::SoapReply reply = service.handle(strPath, strBody, "fuzz.local");

    // Every answer is a well-formed SOAP envelope with a known status; a
    // request over the size limit is never parsed.
    const int s = reply.status;
    FUZZ_CHECK(s == 200 || s == 400 || s == 404 || s == 413 || s == 500);
    FUZZ_CHECK((s == 413) == (strBody.size() > kMaxBody && (nMode & 0x03) != 3));
    FUZZ_CHECK((s == 404) == ((nMode & 0x03) == 3));
    TiXmlDocument doc;
    doc.Parse(reply.body.c_str(), nullptr, TIXML_ENCODING_UTF8);
    FUZZ_CHECK(!doc.Error());
    FUZZ_CHECK(doc.RootElement() != nullptr && std::string(doc.RootElement()->Value()) == "env:Envelope");
    // Faults and only faults answer with an error status.
    const bool bFault = reply.body.find("<env:Body><env:Fault>") != std::string::npos;
    FUZZ_CHECK(bFault == (s != 200));
    return 0;
}
