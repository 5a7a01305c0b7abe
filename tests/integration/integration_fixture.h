#pragma once
// End-to-end tests on the sample device trees: the module configuration as
// the host reads it, ISP set calls of the simulator, and bounded polling for
// what the sensor thread does.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "engine/lifecycle_fixture.h"
#include "platform/MachineInfo.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"

namespace integration_test {

using lifecycle_test::Peer;
using tarnix_test::SetCall;
using tarnix_test::setCalls;


inline bool hasSetCall(int p_nChannel, unsigned int p_nCmd, uint32_t p_nValue) {
    for (const SetCall& c : setCalls()) {
        if (c.channel == p_nChannel && c.cmd == p_nCmd && c.value == p_nValue) {
            return true;
        }
    }
    return false;
}

class IntegrationTest : public lifecycle_test::LifecycleTest {
protected:
    // The module entries of the installed tree that apply to its machine.
    std::vector<ModuleConfigure> modules() {
        MachineInfo objMachine;
        SystemInfoParser::parseMachineInfo("/mnt/mtd/code/factory_setting/machineinfo.ini", objMachine);
        std::vector<ModuleConfigure> vec;
        ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", objMachine.getHardwareModel(),
                                     objMachine.getHardwareCode(), vec);
        return vec;
    }
    // The first entry whose detail holds p_strMarker.
    ModuleConfigure moduleWith(const std::string& p_strMarker) {
        for (const ModuleConfigure& m : modules()) {
            if (m.getDetail().find(p_strMarker) != std::string::npos) {
                return m;
            }
        }
        ADD_FAILURE() << "no module with " << p_strMarker;
        return ModuleConfigure();
    }
    ModuleConfigure firstModule() {
        std::vector<ModuleConfigure> vec = modules();
        EXPECT_FALSE(vec.empty());
        return vec.empty() ? ModuleConfigure() : vec.front();
    }

    static int scheme(ISensorController& c) {
        int n = -1;
        c.getParamScheme(n);
        return n;
    }
};

} // namespace integration_test
