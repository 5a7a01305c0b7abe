// Eight clients at once for ten seconds, reading and changing, while the
// clock flips between two time-plan windows so that the sensor thread keeps
// switching schemes: every request is answered as it should be, nothing hangs.
#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "serve/ServeFixture.h"

namespace serve_test {
namespace {

class ServeConcurrencyTest : public ServeTest {};

TEST_F(ServeConcurrencyTest, EightClientsForTenSecondsWhileTheClockFlips) {
    startServer("box");
    // Scheme 0 holds 12:00 to 24:00, scheme 1 the whole day: 07:00 selects 1.
    ASSERT_EQ(200, postText("(8001,12)(8000,1)").status);
    ASSERT_EQ(200, post("/api/flush", "{}").status);   // a reload keeps the time plan

    const auto start = std::chrono::steady_clock::now();
    const auto deadline = start + std::chrono::seconds(10);
    std::atomic<bool> bStop{false};
    std::atomic<long> nRequests{0};
    std::mutex failureMutex;
    std::vector<std::string> failures;
    auto fail = [&](const std::string& p_strWhat) {
        std::lock_guard<std::mutex> lock(failureMutex);
        if (failures.size() < 20) {
            failures.push_back(p_strWhat);
        }
    };

    std::thread flipper([&] {
        auto cli = client();
        httplib::Headers token = {{"X-Tarnix-Token", kToken}};
        bool bMorning = false;
        while (!bStop.load()) {
            bMorning = !bMorning;
            std::string body = bMorning ? "{\"clock\":\"07:00\"}" : "{\"clock\":\"12:00\"}";
            Reply r = reply(cli->Post("/api/clock", token, body, "application/json"));
            if (r.status != 200) {
                fail("clock: " + std::to_string(r.status) + " " + r.text);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        }
    });

    std::vector<std::thread> clients;
    for (int t = 0; t < 8; ++t) {
        clients.emplace_back([&, t] {
            auto cli = client();
            httplib::Headers token = {{"X-Tarnix-Token", kToken}};
            uint64_t nLogNext = 0;
            for (long n = 0; std::chrono::steady_clock::now() < deadline; ++n) {
                Reply r;
                std::string what;
                switch ((n + t) % 8) {
                case 0:
                    what = "state";
                    r = reply(cli->Get("/api/state"));
                    break;
                case 1:
                    what = "parameters";
                    r = reply(cli->Get("/api/parameters"));
                    if (r.status == 200 && r.body["parameters"].size() < 80) {
                        fail("parameters: only " + std::to_string(r.body["parameters"].size()) + " records");
                    }
                    break;
                case 2:
                    what = "set";
                    r = reply(cli->Post("/api/parameters", token,
                                        "(34," + std::to_string((n * 7 + t) % 101) + ")(2337," +
                                            std::to_string((n + t) % 101) + ")",
                                        "text/plain"));
                    if (r.status == 200 && r.body["result"] != 0) {
                        fail("set result " + r.body["result"].dump());
                    }
                    break;
                case 3:
                    what = "log";
                    r = reply(cli->Get(("/api/log?since=" + std::to_string(nLogNext)).c_str()));
                    if (r.status == 200) {
                        nLogNext = r.body["next"].get<uint64_t>();
                    }
                    break;
                case 4:
                    what = "style";
                    r = reply(cli->Get("/api/style"));
                    if (r.status == 200 && r.body["tabs"].size() != 13u) {
                        fail("style with " + std::to_string(r.body["tabs"].size()) + " tabs");
                    }
                    break;
                case 5:
                    what = "scheme";
                    r = reply(cli->Post("/api/scheme", token, "{\"scheme\":" + std::to_string((n + t) % 5) + "}",
                                        "application/json"));
                    break;
                case 6:
                    what = "page";
                    r = reply(cli->Get("/"));
                    break;
                default:
                    // Now and then a store, a suspend/resume and, from one
                    // client, a reload of the whole channel.
                    if (t == 0 && n % 48 == 7) {
                        what = "reload";
                        r = reply(cli->Post("/api/reload", token, "{}", "application/json"));
                    } else if (n % 16 == 7) {
                        what = "mode";
                        r = reply(cli->Post("/api/mode", token, "{\"mode\":" + std::to_string(n % 32 < 16 ? 0 : 1) + "}",
                                            "application/json"));
                    } else {
                        what = "flush";
                        r = reply(cli->Post("/api/flush", token, "{}", "application/json"));
                        // A scheme whose window was made invalid cannot be
                        // stored; no client here does that.
                    }
                    break;
                }
                ++nRequests;
                if (r.status != 200) {
                    fail(what + ": " + std::to_string(r.status) + " " + r.text.substr(0, 200));
                }
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    bStop = true;
    flipper.join();
    const auto elapsed = std::chrono::steady_clock::now() - start;

    for (const std::string& failure : failures) {
        ADD_FAILURE() << failure;
    }
    EXPECT_LT(elapsed, std::chrono::seconds(40)) << "requests hung";
    EXPECT_GT(nRequests.load(), 100);
    // The sensor thread did switch meanwhile, and the server still answers.
    Reply state = get("/api/state");
    ASSERT_EQ(200, state.status);
    EXPECT_GT(state.body["switches"].get<uint64_t>(), 2u);
    bool bThreadSwitched = false;
    for (const json& entry : logEntries("switch")) {
        bThreadSwitched = bThreadSwitched || entry["by"] == "sensor thread";
    }
    EXPECT_TRUE(bThreadSwitched);
    ASSERT_EQ(200, postText("(34,3)").status);
}

} // namespace
} // namespace serve_test
