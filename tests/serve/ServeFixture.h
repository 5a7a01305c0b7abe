#pragma once
// Fixture of the settings page's server tests: a sample device tree in the
// test's fresh root, a live channel on it (controller initialised, sensor
// thread running at a thousandth of real time, clock pinned at 12:00) and the
// HTTP server on a free loopback port, driven with the HTTP library's client.
#include <gtest/gtest.h>

#include <httplib.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/KeyValFile.h"
#include "support/TestEnv.h"
#include "tools/sensorctl/Args.h"
#include "tools/sensorctl/Device.h"
#include "tools/sensorctl/serve/ActivityLog.h"
#include "tools/sensorctl/serve/LiveChannel.h"
#include "tools/sensorctl/serve/SettingsServer.h"

namespace serve_test {

using json = nlohmann::json;

// What one request got back.
struct Reply {
    int status = -1;   // -1: no answer at all
    json body;         // null when the body is not JSON
    std::string text;
    httplib::Headers headers;
};

class ServeTest : public tarnix_test::TarnixTest {
protected:
    static constexpr const char* kToken = "0123456789abcdef0123456789abcdef";

    void SetUp() override {
        TarnixTest::SetUp();
        platform::setClock(12, 0);
    }

    void TearDown() override {
        stopServer();
        TarnixTest::TearDown();
    }

    // Lays down devices/<model> and starts channel p_nChannel and the server.
    void startServer(const std::string& p_strModel = "box", int p_nChannel = 1) {
        installDeviceTree(p_strModel);
        sensorctl::Options options;
        options.root = root();
        options.channel = p_nChannel;
        options.timeScale = 0.001;
        options.given = {"root", "channel", "time-scale"};
        m_pDevice.reset(new sensorctl::Device(options));
        m_pLog.reset(new sensorctl::serve::ActivityLog());
        m_pLog->attach();
        m_pLive.reset(new sensorctl::serve::LiveChannel(*m_pDevice, *m_pLog));
        sensorctl::serve::ServeConfig config;
        config.port = 0;
        m_pServer.reset(new sensorctl::serve::SettingsServer(*m_pLive, config, kToken));
        for (const auto& module : m_vecModules) {
            m_pServer->addRoutes(module);
        }
        m_nPort = m_pServer->bind();
        m_pServer->start();
    }

    void stopServer() {
        m_pServer.reset();
        m_pLive.reset();
        m_pLog.reset();
        m_pDevice.reset();
    }

    int port() const { return m_nPort; }
    std::string origin() const { return "http://127.0.0.1:" + std::to_string(m_nPort); }
    sensorctl::serve::LiveChannel& live() { return *m_pLive; }
    sensorctl::Device& device() { return *m_pDevice; }

    std::unique_ptr<httplib::Client> client() const {
        std::unique_ptr<httplib::Client> cli(new httplib::Client("127.0.0.1", m_nPort));
        cli->set_connection_timeout(10);
        cli->set_read_timeout(30);
        cli->set_write_timeout(30);
        return cli;
    }

    static Reply reply(const httplib::Result& p_objResult) {
        Reply r;
        if (!p_objResult) {
            return r;
        }
        r.status = p_objResult->status;
        r.text = p_objResult->body;
        r.headers = p_objResult->headers;
        r.body = json::parse(r.text, nullptr, false);
        if (r.body.is_discarded()) {
            r.body = nullptr;
        }
        return r;
    }

    Reply get(const std::string& p_strPath, const httplib::Headers& p_objHeaders = {}) const {
        return reply(client()->Get(p_strPath.c_str(), p_objHeaders));
    }

    // POST with the token (unless p_bToken is false) and extra headers.
    Reply post(const std::string& p_strPath, const std::string& p_strBody,
               const std::string& p_strType = "application/json", bool p_bToken = true,
               httplib::Headers p_objHeaders = {}) const {
        if (p_bToken) {
            p_objHeaders.emplace("X-Tarnix-Token", kToken);
        }
        return reply(client()->Post(p_strPath.c_str(), p_objHeaders, p_strBody, p_strType.c_str()));
    }

    Reply postText(const std::string& p_strText) const { return post("/api/parameters", p_strText, "text/plain"); }

    // The current scheme's value of a key as GET /api/parameters reports it;
    // -12345 when the key is not there.
    long long reportedValue(unsigned int p_nKey) const {
        Reply r = get("/api/parameters");
        if (r.status != 200) {
            return -12345;
        }
        for (const json& record : r.body["parameters"]) {
            if (record["key"].get<unsigned int>() == p_nKey) {
                return record["value"].get<long long>();
            }
        }
        return -12345;
    }

    // The ISP's stored value of a command on ISP channel 0.
    static long long ispValue(unsigned int p_nCmd, int p_nChannel = 0) {
        uint32_t value = 0;
        if (!ispsim::getValue(p_nChannel, p_nCmd, value)) {
            return -12345;
        }
        return static_cast<int32_t>(value);
    }

    // Records of a scheme file of the root, and a key's value in them.
    std::vector<KeyVal> schemeRecords(const std::string& p_strDevicePath) const {
        return tarnix_test::readKeyValFile(hostPath(p_strDevicePath));
    }
    static long long valueOf(const std::vector<KeyVal>& p_vecRecords, u32 p_nKey) {
        return tarnix_test::keyValueOf(p_vecRecords, p_nKey);
    }

    // Waits (up to 10 s) until GET /api/state reports the scheme.
    bool waitForScheme(int p_nScheme) const {
        for (int i = 0; i < 1000; ++i) {
            Reply r = get("/api/state");
            if (r.status == 200 && r.body["scheme"] == p_nScheme) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    // Log entries of a kind (all the log keeps, read page by page).
    std::vector<json> logEntries(const std::string& p_strKind) const {
        std::vector<json> out;
        uint64_t nNext = 0;
        while (true) {
            Reply r = get("/api/log?since=" + std::to_string(nNext));
            if (r.status != 200 || r.body["entries"].empty()) {
                break;
            }
            for (const json& entry : r.body["entries"]) {
                if (entry["kind"] == p_strKind) {
                    out.push_back(entry);
                }
            }
            nNext = r.body["next"].get<uint64_t>();
        }
        return out;
    }

    // A header of an answer ("" when absent).
    static std::string header(const Reply& p_stReply, const std::string& p_strName) {
        auto it = p_stReply.headers.find(p_strName);
        return it == p_stReply.headers.end() ? std::string() : it->second;
    }

    // The one line an error answer carries.
    static void expectError(const Reply& p_stReply, int p_nStatus, const std::string& p_strText) {
        EXPECT_EQ(p_nStatus, p_stReply.status) << p_stReply.text;
        ASSERT_TRUE(p_stReply.body.is_object()) << p_stReply.text;
        ASSERT_TRUE(p_stReply.body.contains("error")) << p_stReply.text;
        std::string message = p_stReply.body["error"].get<std::string>();
        EXPECT_EQ(std::string::npos, message.find('\n')) << message;
        EXPECT_NE(std::string::npos, message.find(p_strText)) << message;
    }

    // Route modules a test adds to the server before it starts.
    std::vector<sensorctl::serve::SettingsServer::RouteModule> m_vecModules;
    std::unique_ptr<sensorctl::Device> m_pDevice;
    std::unique_ptr<sensorctl::serve::ActivityLog> m_pLog;
    std::unique_ptr<sensorctl::serve::LiveChannel> m_pLive;
    std::unique_ptr<sensorctl::serve::SettingsServer> m_pServer;
    int m_nPort = -1;
};

} // namespace serve_test
