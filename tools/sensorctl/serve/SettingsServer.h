#pragma once
// The HTTP server of `sensorctl serve`: one httplib server on a live channel
// with the settings page's routes, and room for other route modules (a
// module receives the server and the live channel and adds its routes before
// the server starts; paths outside "/" and "/api/" are its own).
//
// Security, as for a local development server: it listens on loopback unless
// told otherwise and then answers only requests that name a loopback host;
// every request other than GET/HEAD must come from the server's own origin
// (or name none); every such request under "/api/" must carry the per-run
// token in the header X-Tarnix-Token. Only the built-in page is served, no
// file from disk.
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
class Server;
}

namespace sensorctl {
namespace serve {

class LiveChannel;

struct ServeConfig {
    std::string bind = "127.0.0.1";
    int port = 8080;   // 0: any free port
};

class SettingsServer {
public:
    using RouteModule = std::function<void(httplib::Server&, LiveChannel&)>;

    // The token is random (from the system's random device) unless given.
    SettingsServer(LiveChannel& p_objLive, const ServeConfig& p_stConfig, const std::string& p_strToken = "");
    ~SettingsServer();
    SettingsServer(const SettingsServer&) = delete;
    SettingsServer& operator=(const SettingsServer&) = delete;

    // Adds a module's routes (before start).
    void addRoutes(const RouteModule& p_fnModule);
    // Binds the listening socket; returns the port. Throws ToolError.
    int bind();
    // Serves on a thread of its own until stop(); returns once it serves.
    // p_fnStopped runs on that thread when serving ends without a stop()
    // (the socket failed).
    void start(std::function<void()> p_fnStopped = nullptr);
    void stop();

    int port() const { return m_nPort; }
    const std::string& token() const { return m_strToken; }
    // http://HOST:PORT/?token=TOKEN (a wildcard bind address shows as 127.0.0.1).
    std::string url() const;

private:
    LiveChannel& m_objLive;
    ServeConfig m_stConfig;
    std::string m_strToken;
    std::unique_ptr<httplib::Server> m_pServer;
    std::thread m_objThread;
    std::atomic<bool> m_bStopping{false};
    std::atomic<bool> m_bListenEnded{false};
    int m_nPort = -1;
};

// A new random token: 32 hexadecimal digits.
std::string makeToken();
// True when p_strHost (a bind address or the host part of a Host header)
// names the loopback interface: localhost, 127.x.x.x or ::1.
bool isLoopbackName(const std::string& p_strHost);

} // namespace serve
} // namespace sensorctl
