// The HTTP server of `sensorctl serve`.
#include "tools/sensorctl/serve/SettingsServer.h"

#include <httplib.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <random>

#include <nlohmann/json.hpp>

#include "tools/sensorctl/Output.h"
#include "tools/sensorctl/serve/ServeApi.h"

namespace sensorctl {
namespace serve {

namespace {

using httplib::Request;
using httplib::Response;
using HandlerResponse = httplib::Server::HandlerResponse;

// Worker threads: several browser tabs and scripts at once, each keeping
// its connection open between requests.
constexpr size_t kWorkerThreads = 16;

void sendError(Response& p_objRes, int p_nStatus, const std::string& p_strMessage) {
    p_objRes.status = p_nStatus;
    p_objRes.set_header("Cache-Control", "no-store");
    p_objRes.set_content(nlohmann::json{{"error", p_strMessage}}.dump(-1, ' ', false,
                                                                      nlohmann::json::error_handler_t::replace),
                         "application/json");
}

// The host part of a Host header value ("[::1]:8080" -> "::1").
std::string hostOfHeader(const std::string& p_strHost) {
    if (!p_strHost.empty() && p_strHost[0] == '[') {
        size_t nClose = p_strHost.find(']');
        return nClose == std::string::npos ? p_strHost : p_strHost.substr(1, nClose - 1);
    }
    size_t nColon = p_strHost.find(':');
    return nColon == std::string::npos ? p_strHost : p_strHost.substr(0, nColon);
}

bool sameText(const std::string& p_strA, const std::string& p_strB) {
    // Compared in full whatever the first difference, so that the time taken
    // tells nothing about the token.
    unsigned char nDiff = p_strA.size() == p_strB.size() ? 0 : 1;
    for (size_t i = 0; i < p_strA.size(); ++i) {
        nDiff |= static_cast<unsigned char>(p_strA[i] ^ (i < p_strB.size() ? p_strB[i] : 0));
    }
    return nDiff == 0;
}

bool isReadOnlyMethod(const std::string& p_strMethod) { return p_strMethod == "GET" || p_strMethod == "HEAD"; }

} // namespace

std::string makeToken() {
    std::random_device device;
    std::string token;
    for (int i = 0; i < 4; ++i) {
        char szWord[16];
        std::snprintf(szWord, sizeof(szWord), "%08x", static_cast<unsigned int>(device()));
        token += szWord;
    }
    return token;
}

bool isLoopbackName(const std::string& p_strHost) {
    std::string host = p_strHost;
    for (char& c : host) {
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    if (host == "localhost" || host == "::1" || host == "0:0:0:0:0:0:0:1") {
        return true;
    }
    unsigned int a = 0;
    unsigned int b = 0;
    unsigned int c = 0;
    unsigned int d = 0;
    char szRest[2];
    return std::sscanf(host.c_str(), "%u.%u.%u.%u%1s", &a, &b, &c, &d, szRest) == 4 && a == 127 && b < 256 &&
           c < 256 && d < 256;
}

SettingsServer::SettingsServer(LiveChannel& p_objLive, const ServeConfig& p_stConfig, const std::string& p_strToken)
    : m_objLive(p_objLive),
      m_stConfig(p_stConfig),
      m_strToken(p_strToken.empty() ? makeToken() : p_strToken),
      m_pServer(new httplib::Server()) {
    httplib::Server& server = *m_pServer;
    server.new_task_queue = [] { return new httplib::ThreadPool(kWorkerThreads); };
    server.set_payload_max_length(kMaxRequestBody);
    server.set_keep_alive_timeout(2);
    // The library's default also sets SO_REUSEPORT, which lets a second
    // server bind the same port and take part of its requests; a port in use
    // must fail instead.
    server.set_socket_options([](socket_t p_nSocket) {
        int nYes = 1;
        ::setsockopt(p_nSocket, SOL_SOCKET, SO_REUSEADDR, &nYes, sizeof(nYes));
    });

    const bool bLoopback = isLoopbackName(m_stConfig.bind);
    server.set_pre_routing_handler([this, bLoopback](const Request& req, Response& res) {
        const std::string strHost = req.get_header_value("Host");
        // A page from elsewhere that got a name of its own pointed at this
        // machine (DNS rebinding) still names a foreign host.
        if (bLoopback && !strHost.empty() && !isLoopbackName(hostOfHeader(strHost))) {
            sendError(res, 403, "refused: the request names host '" + hostOfHeader(strHost) +
                                    "'; this server answers for loopback names only");
            return HandlerResponse::Handled;
        }
        if (!isReadOnlyMethod(req.method)) {
            if (req.has_header("Origin") && req.get_header_value("Origin") != "http://" + strHost) {
                sendError(res, 403, "refused: request from a foreign origin");
                return HandlerResponse::Handled;
            }
            if (req.path.compare(0, 5, "/api/") == 0 && !sameText(req.get_header_value("X-Tarnix-Token"), m_strToken)) {
                sendError(res, 403, "refused: missing or wrong X-Tarnix-Token (the token is in the URL sensorctl "
                                    "serve printed)");
                return HandlerResponse::Handled;
            }
        }
        return HandlerResponse::Unhandled;
    });
    // Answers that the server makes itself (no route, unreadable request)
    // get a JSON body like the API's own errors.
    server.set_error_handler(httplib::Server::HandlerWithResponse([](const Request&, Response& res) {
        if (!res.body.empty()) {
            return HandlerResponse::Unhandled;
        }
        if (res.status == 404) {
            sendError(res, 404, "no such path");
        } else if (res.status == 413) {
            sendError(res, 400, format("request body over %lu bytes (64 KiB)", kMaxRequestBody));
        } else {
            sendError(res, res.status, format("request refused (HTTP %d)", res.status));
        }
        return HandlerResponse::Handled;
    }));
    server.set_exception_handler([](const Request&, Response& res, std::exception_ptr p_pError) {
        std::string what = "unknown error";
        try {
            if (p_pError) {
                std::rethrow_exception(p_pError);
            }
        } catch (const std::exception& e) {
            what = e.what();
        } catch (...) {
        }
        sendError(res, 500, "internal error: " + what);
    });
    installSettingsRoutes(server, m_objLive);
}

SettingsServer::~SettingsServer() { stop(); }

void SettingsServer::addRoutes(const RouteModule& p_fnModule) { p_fnModule(*m_pServer, m_objLive); }

int SettingsServer::bind() {
    if (m_stConfig.port == 0) {
        m_nPort = m_pServer->bind_to_any_port(m_stConfig.bind);
    } else if (m_pServer->bind_to_port(m_stConfig.bind, m_stConfig.port)) {
        m_nPort = m_stConfig.port;
    } else {
        m_nPort = -1;
    }
    if (m_nPort < 0) {
        runtimeError(format("cannot listen on %s port %d (address in use, or not an address of this machine)",
                            m_stConfig.bind.c_str(), m_stConfig.port));
    }
    return m_nPort;
}

void SettingsServer::start(std::function<void()> p_fnStopped) {
    m_objThread = std::thread([this, p_fnStopped] {
        m_pServer->listen_after_bind();
        m_bListenEnded = true;
        if (!m_bStopping.load() && p_fnStopped) {
            p_fnStopped();
        }
    });
    // Back once the server runs: a stop() before that would find nothing to
    // stop and leave the server serving.
    while (!m_pServer->is_running() && !m_bListenEnded.load()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void SettingsServer::stop() {
    m_bStopping = true;
    m_pServer->stop();
    if (m_objThread.joinable()) {
        m_objThread.join();
    }
}

std::string SettingsServer::url() const {
    std::string host = m_stConfig.bind;
    if (host == "0.0.0.0" || host == "::" || host.empty()) {
        host = "127.0.0.1";
    }
    if (host.find(':') != std::string::npos) {
        host = "[" + host + "]";
    }
    return format("http://%s:%d/?token=%s", host.c_str(), m_nPort, m_strToken.c_str());
}

} // namespace serve
} // namespace sensorctl
