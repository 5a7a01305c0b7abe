// An ISP call hook for the tests of this folder. The program defines
// ia_ioctrl_v2 itself, so the library's calls arrive here first; without a
// hook they go on to the simulator. A hook lets a test play an ISP that
// answers outside the documented limits (more than 16 dynamic commands, a
// negative count, more than 64 list values).
#include <dlfcn.h>

#include <mutex>

#include "ConfigTestUtil.h"

namespace config_test {
namespace {

std::mutex& hookMutex() {
    static std::mutex s_mutex;
    return s_mutex;
}

IspHook& hook() {
    static IspHook s_hook;
    return s_hook;
}

using IspCall = int (*)(int, ia_cmd_e, unsigned int, void*);

IspCall simulator() {
    static IspCall s_next = reinterpret_cast<IspCall>(dlsym(RTLD_NEXT, "ia_ioctrl_v2"));
    return s_next;
}

} // namespace

void setIspHook(IspHook p_hook) {
    std::lock_guard<std::mutex> lock(hookMutex());
    hook() = std::move(p_hook);
}

void clearIspHook() {
    std::lock_guard<std::mutex> lock(hookMutex());
    hook() = nullptr;
}

} // namespace config_test

extern "C" int ia_ioctrl_v2(int channel, ia_cmd_e cmd, unsigned int opt, void* data) {
    config_test::IspHook current;
    {
        std::lock_guard<std::mutex> lock(config_test::hookMutex());
        current = config_test::hook();
    }
    int result = 0;
    if (current && current(channel, cmd, opt, data, result)) {
        return result;
    }
    return config_test::simulator()(channel, cmd, opt, data);
}

namespace {

using config_test::ConfigTest;

TEST_F(ConfigTest, CallsWithoutHookReachTheSimulator) {
    ispsim::setDynamicParam(0, 49, 5, {1, 5});
    ia_dynamic_cmd_list_st list;
    std::memset(&list, 0, sizeof(list));
    ASSERT_EQ(0, ia_ioctrl_v2(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list));
    EXPECT_EQ(1, list.cmd_cnt);
    EXPECT_EQ(49u, list.cmd_list[0]);
    EXPECT_EQ(1u, ispsim::calls().size());
}

TEST_F(ConfigTest, HookTakesCallsOver) {
    config_test::setIspHook([](int, unsigned int cmd, unsigned int, void* data, int& result) {
        if (cmd != IA_CMD_DYNAMIC_PARAMS_CMDS_GET) {
            return false;
        }
        static_cast<ia_dynamic_cmd_list_st*>(data)->cmd_cnt = 3;
        result = 0;
        return true;
    });
    ia_dynamic_cmd_list_st list;
    std::memset(&list, 0, sizeof(list));
    ASSERT_EQ(0, ia_ioctrl_v2(0, IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list));
    EXPECT_EQ(3, list.cmd_cnt);
    EXPECT_TRUE(ispsim::calls().empty());
}

} // namespace
