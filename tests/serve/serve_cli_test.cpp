// `sensorctl serve` as a program: the URL line before it serves, a free port
// with --port 0, SIGINT/SIGTERM stop it with the controller shut down and the
// simulated ISP's state kept, and its usage errors.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "serve/ServeFixture.h"
#include "tools/SensorctlRun.h"

namespace serve_test {
namespace {

using sensorctl_test::RunResult;
using sensorctl_test::runProgram;
using sensorctl_test::slurp;

class ServeCliTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        m_strCam = root() + "/cam";
        RunResult r = run({"init-root", m_strCam, "--model", "box"});
        ASSERT_EQ(0, r.code) << r.out << r.err;
    }

    void TearDown() override {
        if (m_nPid > 0) {
            ::kill(m_nPid, SIGKILL);
            int status = 0;
            ::waitpid(m_nPid, &status, 0);
        }
        TarnixTest::TearDown();
    }

    RunResult run(const std::vector<std::string>& p_vecArgs) const {
        return runProgram(SENSORCTL_PATH, p_vecArgs, "", root(), root());
    }

    // Starts sensorctl serve in the background, its output into files.
    void start(const std::vector<std::string>& p_vecArgs) {
        m_strOut = root() + "/serve.out";
        m_strErr = root() + "/serve.err";
        m_nPid = ::fork();
        ASSERT_GE(m_nPid, 0);
        if (m_nPid == 0) {
            int fdIn = ::open("/dev/null", O_RDONLY);
            int fdOut = ::open(m_strOut.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            int fdErr = ::open(m_strErr.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fdIn < 0 || fdOut < 0 || fdErr < 0 || ::dup2(fdIn, 0) < 0 || ::dup2(fdOut, 1) < 0 ||
                ::dup2(fdErr, 2) < 0) {
                ::_exit(126);
            }
            ::unsetenv("TARNIX_ROOT");
            ::unsetenv("TARNIX_CLOCK");
            ::unsetenv("TARNIX_TIME_SCALE");
            std::vector<std::string> args = {SENSORCTL_PATH};
            args.insert(args.end(), p_vecArgs.begin(), p_vecArgs.end());
            std::vector<char*> argv;
            for (std::string& arg : args) {
                argv.push_back(&arg[0]);
            }
            argv.push_back(nullptr);
            ::execv(SENSORCTL_PATH, argv.data());
            ::_exit(127);
        }
    }

    // The URL line, waited for up to 30 s; "" when the program ended first.
    std::string waitForUrl() {
        std::regex url("^http://127\\.0\\.0\\.1:([0-9]+)/\\?token=([0-9a-f]{32})$");
        for (int i = 0; i < 3000; ++i) {
            std::istringstream lines(slurp(m_strOut));
            std::string line;
            while (std::getline(lines, line)) {
                std::smatch match;
                if (std::regex_match(line, match, url)) {
                    m_nPort = std::stoi(match[1]);
                    m_strToken = match[2];
                    return line;
                }
            }
            int status = 0;
            if (::waitpid(m_nPid, &status, WNOHANG) == m_nPid) {
                m_nPid = -1;
                return "";
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return "";
    }

    // Sends the signal and waits (up to 30 s) for the exit code.
    int stopWith(int p_nSignal) {
        ::kill(m_nPid, p_nSignal);
        for (int i = 0; i < 3000; ++i) {
            int status = 0;
            if (::waitpid(m_nPid, &status, WNOHANG) == m_nPid) {
                m_nPid = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return -1;
    }

    std::string m_strCam;
    std::string m_strOut;
    std::string m_strErr;
    pid_t m_nPid = -1;
    int m_nPort = -1;
    std::string m_strToken;
};

TEST_F(ServeCliTest, PrintsTheUrlServesAndStopsOnSigtermKeepingTheIspState) {
    start({"--root", m_strCam, "--clock", "12:00", "serve", "--port", "0"});
    std::string url = waitForUrl();
    ASSERT_FALSE(url.empty()) << slurp(m_strOut) << slurp(m_strErr);
    EXPECT_GT(m_nPort, 0);
    // The line before the URL says what is served.
    std::string out = slurp(m_strOut);
    EXPECT_NE(std::string::npos, out.find("sensorctl: serve: channel 1 of " + m_strCam + ", scheme 0; settings page on "
                                          "127.0.0.1 port " + std::to_string(m_nPort)))
        << out;

    httplib::Client cli("127.0.0.1", m_nPort);
    auto state = cli.Get("/api/state");
    ASSERT_TRUE(state);
    EXPECT_EQ(200, state->status);
    EXPECT_NE(std::string::npos, state->body.find("\"clock\":\"12:00\"")) << state->body;
    auto refused = cli.Post("/api/parameters", "(34,66)", "text/plain");
    ASSERT_TRUE(refused);
    EXPECT_EQ(403, refused->status);
    auto set = cli.Post("/api/parameters", {{"X-Tarnix-Token", m_strToken}}, "(34,66)", "text/plain");
    ASSERT_TRUE(set);
    EXPECT_EQ(200, set->status) << set->body;

    EXPECT_EQ(0, stopWith(SIGTERM)) << slurp(m_strErr);
    out = slurp(m_strOut);
    EXPECT_NE(std::string::npos, out.find("sensorctl: serve: SIGTERM: stopped serving, channel shut down")) << out;
    EXPECT_EQ("", slurp(m_strErr));
    // The ISP kept the value, as every other command leaves it.
    std::string kept = slurp(m_strCam + "/isp/state.conf");
    EXPECT_NE(std::string::npos, kept.find("value 34 66")) << kept;
    RunResult get = run({"--root", m_strCam, "get", "(34)"});
    EXPECT_EQ(0, get.code) << get.err;
    // Not stored (no flush): the scheme file keeps its value.
    EXPECT_NE(std::string::npos, get.out.find("(34,50)")) << get.out;
}

TEST_F(ServeCliTest, StopsOnSigint) {
    start({"--root", m_strCam, "serve", "--port", "0"});
    ASSERT_FALSE(waitForUrl().empty()) << slurp(m_strOut) << slurp(m_strErr);
    EXPECT_EQ(0, stopWith(SIGINT));
    EXPECT_NE(std::string::npos, slurp(m_strOut).find("sensorctl: serve: SIGINT: stopped serving")) << slurp(m_strOut);
}

TEST_F(ServeCliTest, PortInUseIsAFailure) {
    start({"--root", m_strCam, "serve", "--port", "0"});
    ASSERT_FALSE(waitForUrl().empty()) << slurp(m_strOut) << slurp(m_strErr);
    RunResult second = run({"--root", m_strCam, "serve", "--port", std::to_string(m_nPort)});
    EXPECT_EQ(1, second.code) << second.out << second.err;
    EXPECT_NE(std::string::npos, second.err.find("sensorctl: error: cannot listen on 127.0.0.1 port " +
                                                 std::to_string(m_nPort)))
        << second.err;
    EXPECT_EQ(0, stopWith(SIGTERM));
}

TEST_F(ServeCliTest, UsageErrors) {
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"--root", m_strCam, "serve", "--port", "65536"},
          std::vector<std::string>{"--root", m_strCam, "serve", "--port", "x"},
          std::vector<std::string>{"--root", m_strCam, "serve", "extra"},
          std::vector<std::string>{"--root", m_strCam, "serve", "--log"},
          std::vector<std::string>{"--root", m_strCam, "serve", "--bind="}}) {
        RunResult r = run(args);
        EXPECT_EQ(2, r.code) << r.out << r.err;
        EXPECT_EQ(0u, r.err.find("sensorctl: error: ")) << r.err;
    }
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"--root", m_strCam, "serve", "--onvif-user", "admin", "--onvif-password", "pw"},
          std::vector<std::string>{"--root", m_strCam, "serve", "--onvif", "--onvif-user", "admin"},
          std::vector<std::string>{"--root", m_strCam, "serve", "--onvif", "--onvif-password", "pw"},
          std::vector<std::string>{"--root", m_strCam, "serve", "--onvif", "--onvif-user=", "--onvif-password", "pw"},
          std::vector<std::string>{"--root", m_strCam, "serve", "--onvif=1"}}) {
        RunResult r = run(args);
        EXPECT_EQ(2, r.code) << r.out << r.err;
        EXPECT_EQ(0u, r.err.find("sensorctl: error: ")) << r.err;
    }
    RunResult noRoot = run({"--root", root() + "/missing", "serve"});
    EXPECT_EQ(1, noRoot.code);
    RunResult help = run({"serve", "--help"});
    EXPECT_EQ(0, help.code);
    EXPECT_NE(std::string::npos, help.out.find("usage: sensorctl serve [--bind ADDR] [--port P]")) << help.out;
}

#ifdef SENSORCTL_WITH_ONVIF
TEST_F(ServeCliTest, OnvifServicesOnTheSameServer) {
    start({"--root", m_strCam, "serve", "--port", "0", "--onvif", "--onvif-user", "admin", "--onvif-password", "pw"});
    ASSERT_FALSE(waitForUrl().empty()) << slurp(m_strOut) << slurp(m_strErr);
    std::string out = slurp(m_strOut);
    EXPECT_NE(std::string::npos, out.find("sensorctl: serve: ONVIF services on port " + std::to_string(m_nPort) +
                                          " at /onvif/device_service (user admin)"))
        << out;
    httplib::Client cli("127.0.0.1", m_nPort);
    auto envelope = [](const std::string& p_strBody) {
        return "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body>" + p_strBody +
               "</s:Body></s:Envelope>";
    };
    auto time = cli.Post("/onvif/device_service",
                         envelope("<GetSystemDateAndTime xmlns=\"http://www.onvif.org/ver10/device/wsdl\"/>"),
                         "application/soap+xml");
    ASSERT_TRUE(time);
    EXPECT_EQ(200, time->status) << time->body;
    EXPECT_NE(std::string::npos, time->body.find("GetSystemDateAndTimeResponse")) << time->body;
    auto refused = cli.Post("/onvif/media_service",
                            envelope("<GetProfiles xmlns=\"http://www.onvif.org/ver10/media/wsdl\"/>"),
                            "application/soap+xml");
    ASSERT_TRUE(refused);
    EXPECT_EQ(400, refused->status);
    EXPECT_NE(std::string::npos, refused->body.find("ter:NotAuthorized")) << refused->body;
    EXPECT_EQ(0, stopWith(SIGTERM)) << slurp(m_strErr);
}

TEST_F(ServeCliTest, WithoutOnvifTheServicesAreNotServed) {
    start({"--root", m_strCam, "serve", "--port", "0"});
    ASSERT_FALSE(waitForUrl().empty()) << slurp(m_strOut) << slurp(m_strErr);
    EXPECT_EQ(std::string::npos, slurp(m_strOut).find("ONVIF"));
    httplib::Client cli("127.0.0.1", m_nPort);
    auto none = cli.Post("/onvif/device_service", "<x/>", "application/soap+xml");
    ASSERT_TRUE(none);
    EXPECT_EQ(404, none->status);
    EXPECT_EQ(0, stopWith(SIGTERM)) << slurp(m_strErr);
}
#endif

} // namespace
} // namespace serve_test
