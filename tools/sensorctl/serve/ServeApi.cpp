// The settings page and its JSON API.
#include "tools/sensorctl/serve/ServeApi.h"

#include <httplib.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "controller/KeyCatalogue.h"
#include "tools/sensorctl/Args.h"
#include "tools/sensorctl/DecisionJson.h"
#include "tools/sensorctl/Explain.h"
#include "tools/sensorctl/KeyNames.h"
#include "tools/sensorctl/Output.h"
#include "tools/sensorctl/serve/LiveChannel.h"
#include "tools/sensorctl/serve/RecordText.h"
#include "tools/sensorctl/serve/SettingsPage.h"
#include "tools/sensorctl/serve/StyleJson.h"

namespace sensorctl {
namespace serve {

namespace {

using json = nlohmann::json;

// Nesting a JSON action body may have ({"scheme": 1} has 1).
constexpr int kMaxJsonDepth = 8;

// ---------------------------------------------------------------- responses

void sendJson(httplib::Response& p_objRes, int p_nStatus, const json& p_objBody) {
    p_objRes.status = p_nStatus;
    p_objRes.set_header("Cache-Control", "no-store");
    // Texts from style files and request bodies may hold bytes that are not
    // UTF-8; they are sent replaced rather than refused.
    p_objRes.set_content(p_objBody.dump(-1, ' ', false, json::error_handler_t::replace), "application/json");
}

// One line, whatever the message holds.
std::string oneLine(const std::string& p_strText) {
    std::string line = p_strText;
    for (char& c : line) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            c = ' ';
        }
    }
    return line;
}

void sendError(httplib::Response& p_objRes, int p_nStatus, const std::string& p_strMessage,
               json p_objExtra = json::object()) {
    p_objExtra["error"] = oneLine(p_strMessage);
    sendJson(p_objRes, p_nStatus, p_objExtra);
}

json callsJson(const Capture& p_stCapture) {
    json calls = json::array();
    for (const IspCallRecord& call : p_stCapture.calls) {
        calls.push_back(ActivityLog::callJson(call));
    }
    return calls;
}

json notesJson(const Capture& p_stCapture) {
    json notes = json::array();
    for (const VideoNote& note : p_stCapture.notes) {
        notes.push_back(ActivityLog::noteJson(note));
    }
    return notes;
}

// The answer to an action: its result, the calls and notifications it caused.
json actionBody(const LiveChannel::Outcome& p_stOutcome) {
    json body = p_stOutcome.result.is_object() ? p_stOutcome.result : json{{"result", p_stOutcome.result}};
    body["isp"] = callsJson(p_stOutcome.capture);
    body["video"] = notesJson(p_stOutcome.capture);
    return body;
}

// ---------------------------------------------------------------- requests

// Reads the body (at most kMaxRequestBody bytes). On failure the 400 answer
// is sent and false returned.
bool readBody(httplib::Response& p_objRes, const httplib::ContentReader& p_objReader, std::string& p_strBody) {
    bool bTooLarge = false;
    bool bRead = p_objReader([&](const char* p_pData, size_t p_nLength) {
        if (p_strBody.size() + p_nLength > kMaxRequestBody) {
            bTooLarge = true;
            return false;
        }
        p_strBody.append(p_pData, p_nLength);
        return true;
    });
    if (bRead && !bTooLarge) {
        return true;
    }
    // The rest of the body is not read: the connection ends with the answer.
    p_objRes.set_header("Connection", "close");
    if (bTooLarge || p_objRes.status == 413) {
        sendError(p_objRes, 400, format("request body over %lu bytes (64 KiB)", kMaxRequestBody));
    } else {
        sendError(p_objRes, 400, "the request body could not be read");
    }
    return false;
}

// Deepest nesting of arrays and objects in a JSON text (strings skipped).
int jsonDepth(const std::string& p_strText) {
    int nDepth = 0;
    int nMax = 0;
    bool bInString = false;
    bool bEscaped = false;
    for (char c : p_strText) {
        if (bInString) {
            if (bEscaped) {
                bEscaped = false;
            } else if (c == '\\') {
                bEscaped = true;
            } else if (c == '"') {
                bInString = false;
            }
        } else if (c == '"') {
            bInString = true;
        } else if (c == '{' || c == '[') {
            nMax = ++nDepth > nMax ? nDepth : nMax;
        } else if (c == '}' || c == ']') {
            --nDepth;
        }
    }
    return nMax;
}

// The JSON object of an action's body with only the allowed members; an
// empty body is an empty object. On failure the 400 answer is sent.
bool actionArguments(httplib::Response& p_objRes, const std::string& p_strBody,
                     const std::vector<std::string>& p_vecAllowed, json& p_objOut) {
    if (p_strBody.find_first_not_of(" \t\r\n") == std::string::npos) {
        p_objOut = json::object();
        return true;
    }
    if (jsonDepth(p_strBody) > kMaxJsonDepth) {
        sendError(p_objRes, 400, "malformed JSON body: nested too deeply");
        return false;
    }
    p_objOut = json::parse(p_strBody, nullptr, false);
    if (p_objOut.is_discarded()) {
        sendError(p_objRes, 400, "malformed JSON body");
        return false;
    }
    if (!p_objOut.is_object()) {
        sendError(p_objRes, 400, "the body must be a JSON object");
        return false;
    }
    for (const auto& member : p_objOut.items()) {
        bool bAllowed = false;
        for (const std::string& name : p_vecAllowed) {
            bAllowed = bAllowed || member.key() == name;
        }
        if (!bAllowed) {
            sendError(p_objRes, 400, "unknown field '" + member.key() + "' in the body");
            return false;
        }
    }
    return true;
}

// A required integer member within [p_nMin, p_nMax]. On failure the 400
// answer is sent.
bool integerArgument(httplib::Response& p_objRes, const json& p_objArgs, const std::string& p_strName,
                     long long p_nMin, long long p_nMax, int& p_nOut) {
    auto it = p_objArgs.find(p_strName);
    if (it == p_objArgs.end() || !it->is_number_integer()) {
        sendError(p_objRes, 400, format("'%s' must be given as a whole number", p_strName.c_str()));
        return false;
    }
    long long value = it->is_number_unsigned() ? static_cast<long long>(std::min<uint64_t>(it->get<uint64_t>(), INT64_MAX))
                                               : it->get<long long>();
    if (value < p_nMin || value > p_nMax) {
        sendError(p_objRes, 400, format("'%s' must be %lld to %lld", p_strName.c_str(), p_nMin, p_nMax));
        return false;
    }
    p_nOut = static_cast<int>(value);
    return true;
}

// "(k,v)..." text of records, parsed back from the library's own output.
json recordsJson(const std::string& p_strText) {
    json records = json::array();
    size_t nPos = 0;
    while ((nPos = p_strText.find('(', nPos)) != std::string::npos) {
        RecordText one;
        std::string strError;
        size_t nClose = p_strText.find(')', nPos);
        if (nClose == std::string::npos) {
            break;
        }
        if (checkRecordText(p_strText.substr(nPos, nClose - nPos + 1), one, strError) && one.records.size() == 1) {
            u32 key = one.records[0].key;
            const char* szName = keyName(key);
            records.push_back({{"key", key},
                               {"value", static_cast<int32_t>(one.records[0].value)},
                               {"name", szName != nullptr ? szName : ""}});
        }
        nPos = nClose + 1;
    }
    return records;
}

// ---------------------------------------------------------------- handlers

using httplib::ContentReader;
using httplib::Request;
using httplib::Response;

void getPage(const Request&, Response& p_objRes) {
    p_objRes.set_header("Cache-Control", "no-store");
    p_objRes.set_header("X-Content-Type-Options", "nosniff");
    p_objRes.set_header("Referrer-Policy", "no-referrer");
    p_objRes.set_header("X-Frame-Options", "DENY");
    // The page is self-contained: its own script and style, data from this
    // server only.
    p_objRes.set_header("Content-Security-Policy",
                        "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; "
                        "connect-src 'self'; img-src data:; base-uri 'none'; form-action 'none'; "
                        "frame-ancestors 'none'");
    p_objRes.set_content(reinterpret_cast<const char*>(kSettingsPage), kSettingsPageSize, "text/html; charset=utf-8");
}

void getStyle(LiveChannel& p_objLive, Response& p_objRes) {
    std::string xml;
    p_objLive.read("read style", [&xml](ISensorController& ctl) { xml = ctl.getUIStyleFile(); });
    json body;
    if (!styleToJson(xml, body)) {
        sendError(p_objRes, 500, body.value("error", std::string("bad style")));
        return;
    }
    body["generation"] = p_objLive.generation();
    sendJson(p_objRes, 200, body);
}

void getParameters(LiveChannel& p_objLive, Response& p_objRes) {
    std::string text;
    int nScheme = -1;
    p_objLive.read("read parameters", [&](ISensorController& ctl) {
        ctl.getParamScheme(nScheme);
        ctl.getAllParameters(text);
    });
    sendJson(p_objRes, 200, {{"scheme", nScheme}, {"text", text}, {"parameters", recordsJson(text)}});
}

void postParameters(LiveChannel& p_objLive, Response& p_objRes, const ContentReader& p_objReader) {
    std::string body;
    if (!readBody(p_objRes, p_objReader, body)) {
        return;
    }
    RecordText text;
    std::string strError;
    if (!checkRecordText(body, text, strError)) {
        sendError(p_objRes, 400, strError);
        return;
    }
    bool bSchemeMode = false;
    for (const KeyVal& kv : text.records) {
        bSchemeMode = bSchemeMode || kv.key == tarnix::keys::KEY_SCHEME_MODE;
    }
    int nRet = 0;
    LiveChannel::Outcome outcome = p_objLive.act("set", text.text, [&](ISensorController& ctl) {
        nRet = p_objLive.applyText(ctl, text.text, bSchemeMode);
        return json{{"result", nRet}};
    });
    json answer = actionBody(outcome);
    answer["text"] = text.text;
    if (nRet != 0) {
        answer["error"] = nRet < 0 ? format("the library refused key %d (result %d); the records before it were applied",
                                            -nRet, nRet)
                                   : format("the library refused the text (result %d)", nRet);
        sendJson(p_objRes, 500, answer);
        return;
    }
    sendJson(p_objRes, 200, answer);
}

void getState(LiveChannel& p_objLive, Response& p_objRes) { sendJson(p_objRes, 200, p_objLive.state()); }

// Why the scheme in force is the one it is: the controller's latest decision
// record, its explanation in sentences, and the latest switch it recorded.
void getDecision(LiveChannel& p_objLive, Response& p_objRes) {
    std::vector<tarnix::DecisionRecord> vecHistory;
    p_objLive.read("decision", [&](ISensorController& c) { vecHistory = c.getDecisionHistory(); });
    json body = {{"latest", nullptr}, {"explanation", json::array()}, {"lastSwitch", nullptr}};
    if (!vecHistory.empty()) {
        const tarnix::DecisionRecord& stLatest = vecHistory.back();
        body["latest"] = decisionJson(stLatest);
        body["explanation"] = explainDecision(stLatest, p_objLive.device().cameraId(),
                                              storedWindows(p_objLive.device()));
        for (auto it = vecHistory.rbegin(); it != vecHistory.rend(); ++it) {
            if (it->outcome == tarnix::DecisionOutcome::Switched) {
                body["lastSwitch"] = decisionJson(*it);
                break;
            }
        }
    }
    sendJson(p_objRes, 200, body);
}

void getLog(LiveChannel& p_objLive, const Request& p_objReq, Response& p_objRes) {
    uint64_t nSince = 0;
    if (p_objReq.has_param("since")) {
        std::string text = p_objReq.get_param_value("since");
        long long value = 0;
        if (text.size() > 15 || !parseInteger(text, 0, INT64_MAX, value) || text[0] == '+' || text[0] == '-') {
            sendError(p_objRes, 400, "'since' must be a sequence number (0 or more)");
            return;
        }
        nSince = static_cast<uint64_t>(value);
    }
    sendJson(p_objRes, 200, p_objLive.log().since(nSince));
}

void postScheme(LiveChannel& p_objLive, Response& p_objRes, const ContentReader& p_objReader) {
    std::string body;
    json args;
    int nScheme = 0;
    int nFactory = static_cast<int>(p_objLive.schemeCount());
    if (!readBody(p_objRes, p_objReader, body) || !actionArguments(p_objRes, body, {"scheme"}, args) ||
        !integerArgument(p_objRes, args, "scheme", 0, nFactory, nScheme)) {
        return;
    }
    bool bOk = false;
    bool bGone = false;
    LiveChannel::Outcome outcome = p_objLive.act("scheme", std::to_string(nScheme), [&](ISensorController& ctl) {
        // A reload since the check may have changed the number of schemes.
        if (static_cast<u32>(nScheme) > p_objLive.device().schemeCount()) {
            bGone = true;
            return json{{"result", false}};
        }
        p_objLive.beforeHostSwitch(ctl);
        bOk = ctl.setParamScheme(nScheme);
        p_objLive.afterHostSwitch(ctl, bOk ? nScheme : -1);
        int nNow = -1;
        ctl.getParamScheme(nNow);
        return json{{"result", bOk}, {"scheme", nNow}};
    });
    json answer = actionBody(outcome);
    if (bGone) {
        sendError(p_objRes, 400, format("'scheme' must be 0 to %u", p_objLive.schemeCount()));
        return;
    }
    if (!bOk) {
        answer["error"] = format("switching to scheme %d failed", nScheme);
    }
    sendJson(p_objRes, bOk ? 200 : 500, answer);
}

void postMode(LiveChannel& p_objLive, Response& p_objRes, const ContentReader& p_objReader) {
    std::string body;
    json args;
    int nMode = 0;
    if (!readBody(p_objRes, p_objReader, body) || !actionArguments(p_objRes, body, {"mode"}, args) ||
        !integerArgument(p_objRes, args, "mode", 0, 1, nMode)) {
        return;
    }
    LiveChannel::Outcome outcome =
        p_objLive.act("mode", nMode == 0 ? "0 (switching suspended)" : "1 (switching on)", [&](ISensorController& ctl) {
            bool bOk = ctl.setParamMode(nMode);
            int nNow = -1;
            ctl.getParamMode(nNow);
            return json{{"result", bOk}, {"mode", nNow}};
        });
    sendJson(p_objRes, 200, actionBody(outcome));
}

void postFlush(LiveChannel& p_objLive, Response& p_objRes, const ContentReader& p_objReader) {
    std::string body;
    json args;
    if (!readBody(p_objRes, p_objReader, body) || !actionArguments(p_objRes, body, {}, args)) {
        return;
    }
    int nRet = 0;
    int nScheme = -1;
    Device& device = p_objLive.device();
    LiveChannel::Outcome outcome = p_objLive.act("flush", "", [&](ISensorController& ctl) {
        ctl.getParamScheme(nScheme);
        nRet = ctl.flush();
        bool bUserScheme = nScheme >= 0 && static_cast<u32>(nScheme) < device.schemeCount();
        return json{{"result", nRet},
                    {"scheme", nScheme},
                    {"file", bUserScheme && nRet == 0 ? json(device.schemeFile(nScheme)) : json(nullptr)}};
    });
    json answer = actionBody(outcome);
    if (nRet != 0) {
        answer["error"] = format("storing scheme %d failed with %d%s", nScheme, nRet,
                                 nRet >= 505 && nRet <= 507 ? " (its time window is not valid)" : "");
        sendJson(p_objRes, 500, answer);
        return;
    }
    sendJson(p_objRes, 200, answer);
}

void postReset(LiveChannel& p_objLive, Response& p_objRes, const ContentReader& p_objReader) {
    std::string body;
    json args;
    if (!readBody(p_objRes, p_objReader, body) || !actionArguments(p_objRes, body, {}, args)) {
        return;
    }
    bool bOk = false;
    LiveChannel::Outcome outcome = p_objLive.act("reset", "factory values", [&](ISensorController& ctl) {
        bOk = p_objLive.resetChannel(ctl);
        int nNow = -1;
        ctl.getParamScheme(nNow);
        return json{{"result", bOk}, {"scheme", nNow}};
    });
    json answer = actionBody(outcome);
    if (!bOk) {
        answer["error"] = "the factory reset failed";
    }
    sendJson(p_objRes, bOk ? 200 : 500, answer);
}

void postClock(LiveChannel& p_objLive, Response& p_objRes, const ContentReader& p_objReader) {
    std::string body;
    json args;
    if (!readBody(p_objRes, p_objReader, body) || !actionArguments(p_objRes, body, {"clock"}, args)) {
        return;
    }
    auto it = args.find("clock");
    int nHour = 0;
    int nMinute = 0;
    bool bRelease = it != args.end() && (it->is_null() || (it->is_string() && it->get<std::string>() == "real"));
    if (!bRelease && (it == args.end() || !it->is_string() || !parseClockText(it->get<std::string>(), nHour, nMinute))) {
        sendError(p_objRes, 400, "'clock' must be \"HH:MM\" (00:00 to 23:59), or \"real\" or null for the host's time");
        return;
    }
    std::string strDetail = bRelease ? std::string("real") : format("%02d:%02d", nHour, nMinute);
    LiveChannel::Outcome outcome = p_objLive.act("clock", strDetail, [&](ISensorController&) {
        if (bRelease) {
            p_objLive.releaseClock();
        } else {
            p_objLive.fixClock(nHour, nMinute);
        }
        return json{{"result", true}, {"clock", bRelease ? json(nullptr) : json(strDetail)}};
    });
    sendJson(p_objRes, 200, actionBody(outcome));
}

void postDayNight(LiveChannel& p_objLive, Response& p_objRes, const ContentReader& p_objReader) {
    std::string body;
    json args;
    if (!readBody(p_objRes, p_objReader, body) || !actionArguments(p_objRes, body, {"state"}, args)) {
        return;
    }
    auto it = args.find("state");
    std::string strState = it != args.end() && it->is_string() ? it->get<std::string>() : std::string();
    if (strState != "day" && strState != "night") {
        sendError(p_objRes, 400, "'state' must be \"day\" or \"night\"");
        return;
    }
    LiveChannel::Outcome outcome = p_objLive.act("daynight", strState, [&](ISensorController&) {
        p_objLive.setNight(strState == "night");
        return json{{"result", true}, {"state", strState}};
    });
    sendJson(p_objRes, 200, actionBody(outcome));
}

void postReload(LiveChannel& p_objLive, Response& p_objRes, const ContentReader& p_objReader) {
    std::string body;
    json args;
    if (!readBody(p_objRes, p_objReader, body) || !actionArguments(p_objRes, body, {}, args)) {
        return;
    }
    try {
        LiveChannel::Outcome outcome = p_objLive.reload();
        sendJson(p_objRes, 200, actionBody(outcome));
    } catch (const ToolError& e) {
        sendError(p_objRes, 500, std::string("reload refused, the channel runs on unchanged: ") + e.what());
    }
}

// Paths of the API with the one method each accepts.
struct Route {
    const char* path;
    const char* method;
};
const Route kRoutes[] = {
    {"/api/style", "GET"},       {"/api/parameters", "GET"}, {"/api/parameters", "POST"}, {"/api/state", "GET"},
    {"/api/log", "GET"},         {"/api/scheme", "POST"},    {"/api/mode", "POST"},       {"/api/flush", "POST"},
    {"/api/reset", "POST"},      {"/api/clock", "POST"},     {"/api/daynight", "POST"},   {"/api/reload", "POST"},
    {"/api/decision", "GET"},
};

void methodNotAllowed(const Request& p_objReq, Response& p_objRes) {
    std::string allowed;
    for (const Route& route : kRoutes) {
        if (p_objReq.path == route.path) {
            allowed += std::string(allowed.empty() ? "" : ", ") + route.method;
        }
    }
    p_objRes.set_header("Allow", allowed);
    sendError(p_objRes, 405, p_objReq.method + " is not accepted here; use " + allowed);
}

} // namespace

void installSettingsRoutes(httplib::Server& p_objServer, LiveChannel& p_objLive) {
    LiveChannel* live = &p_objLive;
    p_objServer.Get("/", getPage);
    p_objServer.Get("/api/style", [live](const Request&, Response& res) { getStyle(*live, res); });
    p_objServer.Get("/api/parameters", [live](const Request&, Response& res) { getParameters(*live, res); });
    p_objServer.Get("/api/state", [live](const Request&, Response& res) { getState(*live, res); });
    p_objServer.Get("/api/log", [live](const Request& req, Response& res) { getLog(*live, req, res); });
    p_objServer.Get("/api/decision", [live](const Request&, Response& res) { getDecision(*live, res); });
    using PostHandler = void (*)(LiveChannel&, Response&, const ContentReader&);
    const std::pair<const char*, PostHandler> posts[] = {
        {"/api/parameters", postParameters}, {"/api/scheme", postScheme}, {"/api/mode", postMode},
        {"/api/flush", postFlush},           {"/api/reset", postReset},   {"/api/clock", postClock},
        {"/api/daynight", postDayNight},     {"/api/reload", postReload},
    };
    for (const auto& post : posts) {
        PostHandler handler = post.second;
        p_objServer.Post(post.first, [live, handler](const Request&, Response& res, const ContentReader& reader) {
            handler(*live, res, reader);
        });
    }
    // A known path with another method: 405 and the methods it takes.
    std::vector<std::string> paths;
    for (const Route& route : kRoutes) {
        if (std::find(paths.begin(), paths.end(), route.path) == paths.end()) {
            paths.push_back(route.path);
        }
    }
    auto takes = [](const std::string& p_strPath, const char* p_szMethod) {
        for (const Route& route : kRoutes) {
            if (p_strPath == route.path && std::string(route.method) == p_szMethod) {
                return true;
            }
        }
        return false;
    };
    auto refuse = [](const Request& req, Response& res, const ContentReader&) { methodNotAllowed(req, res); };
    for (const std::string& path : paths) {
        if (!takes(path, "GET")) {
            p_objServer.Get(path, methodNotAllowed);
        }
        if (!takes(path, "POST")) {
            p_objServer.Post(path, refuse);
        }
        p_objServer.Put(path, refuse);
        p_objServer.Delete(path, refuse);
        p_objServer.Patch(path, refuse);
    }
}

} // namespace serve
} // namespace sensorctl
