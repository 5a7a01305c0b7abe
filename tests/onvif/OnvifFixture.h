#pragma once
// A live controller on a copy of a sample device tree, for the ONVIF tests:
// the tree installed in the test's fresh device root, its ISP profile
// loaded, the module of the channel the controller drives, init, and uinit
// at the end of the test.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "controller/ISensorController.h"
#include "platform/MachineInfo.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"
#include "support/TestEnv.h"

namespace onvif_test {

class OnvifTest : public tarnix_test::TarnixTest {
protected:
    void TearDown() override {
        if (m_pController) {
            m_pController->uinit();
            m_pController.reset();
        }
        tarnix_test::TarnixTest::TearDown();
    }

    // Installs devices/<model>/ and initialises its controller.
    ISensorController& start(const std::string& p_strModel) {
        installDeviceTree(p_strModel);
        MachineInfo objMachine;
        EXPECT_TRUE(SystemInfoParser::parseMachineInfo("/mnt/mtd/code/factory_setting/machineinfo.ini", objMachine));
        std::vector<ModuleConfigure> vecModules;
        ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", objMachine.getHardwareModel(),
                                     objMachine.getHardwareCode(), vecModules);
        EXPECT_FALSE(vecModules.empty());
        // The bi-spectrum model's controller drives channel 2, the thermal one.
        m_nChannel = objMachine.getDeviceType() == 13 ? 2 : 1;
        ModuleConfigure objModule = vecModules.empty() ? ModuleConfigure() : vecModules.front();
        for (const ModuleConfigure& module : vecModules) {
            if (module.getModuleId() == m_nChannel) {
                objModule = module;
            }
        }
        m_pController.reset(new ISensorController);
        m_pController->setChannelID(1);
        EXPECT_TRUE(m_pController->init(objModule));
        ispsim::clearCalls();
        return *m_pController;
    }

    ISensorController& controller() { return *m_pController; }
    // The scheme file of scheme 0 of the controller's channel.
    std::string schemeFile() const {
        return m_nChannel == 2 ? "/mnt/mtd/code/config_file/sensor-thermal0.cfg"
                               : "/mnt/mtd/code/config_file/sensor1_0.cfg";
    }
    int ispChannel() const { return m_nChannel - 1; }
    // Value of a key in the scheme file (-1 when absent).
    long long fileValue(unsigned int p_nKey) const {
        std::string strBytes = readFile(schemeFile());
        for (size_t i = 0; i + 8 <= strBytes.size(); i += 8) {
            uint32_t nKey = 0;
            int32_t nValue = 0;
            std::memcpy(&nKey, strBytes.data() + i, 4);
            std::memcpy(&nValue, strBytes.data() + i + 4, 4);
            if (nKey == p_nKey) {
                return nValue;
            }
        }
        return -1;
    }
    // ISP set calls of one command since the last clearCalls.
    std::vector<uint32_t> setValuesOf(unsigned int p_nCmd) const {
        std::vector<uint32_t> out;
        for (const auto& call : tarnix_test::setCalls()) {
            if (call.cmd == p_nCmd) {
                out.push_back(call.value);
            }
        }
        return out;
    }

    int m_nChannel = 1;
    std::unique_ptr<ISensorController> m_pController;
};

// The models of the sample device trees.
inline std::vector<std::string> allModels() { return {"box", "dome", "thermal", "lpr", "fisheye"}; }

} // namespace onvif_test
