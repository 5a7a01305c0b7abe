// Several threads drive the simulated ISP at once: every call is logged,
// each thread reads back its own values and the shared state stays whole.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ispsim/ispsim.h"
#include "platform/ia_ioctrl.h"

namespace {

class IspSimConcurrencyTest : public ::testing::Test {
protected:
    void SetUp() override { ispsim::reset(); }
    void TearDown() override { ispsim::reset(); }
};

TEST_F(IspSimConcurrencyTest, ThreadsSettingAndGettingStayConsistent) {
    constexpr int kThreads = 4;
    constexpr uint32_t kRounds = 1000;
    std::atomic<int> mismatches{0};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &mismatches, &failures] {
            const unsigned int cmd = 1000 + static_cast<unsigned int>(t);
            for (uint32_t i = 0; i < kRounds; ++i) {
                uint32_t value = i * 3 + static_cast<uint32_t>(t);
                if (ia_ioctrl_v2(t % 2, static_cast<ia_cmd_e>(cmd), IA_CMD_OPT_SET, &value) != 0) {
                    ++failures;
                }
                uint32_t read = 0;
                if (ia_ioctrl_v2(t % 2, static_cast<ia_cmd_e>(cmd), IA_CMD_OPT_GET, &read) != 0) {
                    ++failures;
                }
                if (read != value) {
                    ++mismatches;
                }
                uint32_t stored = 0;
                if (!ispsim::getValue(t % 2, cmd, stored) || stored != value) {
                    ++mismatches;
                }
            }
        });
    }
    // Readers of the shared registries and of the log run alongside.
    threads.emplace_back([&failures] {
        for (int i = 0; i < 200; ++i) {
            ispsim::setDynamicParam(i % 2, 49 + static_cast<unsigned int>(i % 20), i, {i, i + 1});
            ia_dynamic_cmd_list_st list;
            if (ia_ioctrl_v2(i % 2, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list) != 0 ||
                list.cmd_cnt < 1 || list.cmd_cnt > IA_DYNAMIC_CMD_MAX) {
                ++failures;
            }
            if (i % 20 == 0) {
                (void)ispsim::calls();
            }
        }
    });
    threads.emplace_back([] {
        for (int i = 0; i < 200; ++i) {
            ispsim::setFailure(-1, 5000, -1, 3);
            uint32_t value = 0;
            ia_ioctrl_v2(0, static_cast<ia_cmd_e>(5000), IA_CMD_OPT_GET, &value);
            ispsim::clearFailures();
        }
    });
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(0, mismatches.load());
    EXPECT_EQ(0, failures.load());

    auto log = ispsim::calls();
    EXPECT_EQ(static_cast<size_t>(kThreads) * kRounds * 2 + 200 + 200, log.size());
    for (int t = 0; t < kThreads; ++t) {
        uint32_t stored = 0;
        ASSERT_TRUE(ispsim::getValue(t % 2, 1000 + static_cast<unsigned int>(t), stored));
        EXPECT_EQ((kRounds - 1) * 3 + static_cast<uint32_t>(t), stored);
    }
}

} // namespace
