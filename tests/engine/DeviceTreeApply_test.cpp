// A whole scheme of a sample device tree through the apply loop: every
// applied record reaches the ISP through its own row, skipped records do not
// reach it at all.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/MachineInfo.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"
#include "support/BareController.h"
#include "support/RecordingVideoModule.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::BareController;
using Peer = ISensorControllerTestPeer;
using C = ISensorController;

class DeviceTreeApplyTest : public tarnix_test::TarnixTest {
protected:
    // The factory list init derives from the tree's narrowed style.
    std::vector<KeyVal> factoryOf(const std::string& p_strModel) {
        installDeviceTree(p_strModel);
        MachineInfo objMachine;
        SystemInfoParser::parseMachineInfo("/mnt/mtd/code/factory_setting/machineinfo.ini", objMachine);
        std::vector<ModuleConfigure> vecModules;
        ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", objMachine.getHardwareModel(),
                                     objMachine.getHardwareCode(), vecModules);
        EXPECT_FALSE(vecModules.empty());
        if (vecModules.empty()) {
            return {};
        }
        C objController;
        objController.setChannelID(1);
        objController.init(vecModules.front());
        std::vector<KeyVal> vecFactory;
        if (Peer::fctKeyVal(objController) != nullptr) {
            vecFactory.assign(Peer::fctKeyVal(objController),
                              Peer::fctKeyVal(objController) + Peer::keyValSum(objController));
        }
        objController.uinit();
        ispsim::reset();
        return vecFactory;
    }
};

bool isCacheOnly(u32 p_nKey) {
    return (p_nKey >= 8000 && p_nKey <= 8004) || p_nKey == 10 || p_nKey == 11 || p_nKey == 13;
}

// Plain light key of a twin pair, and the twin of a plain key.
const u32 kPairs[][2] = {{161, 168}, {171, 175}, {163, 200}, {165, 201},
                         {167, 202}, {172, 203}, {173, 204}, {174, 205}};

// The ISP commands one applied record sends: its row's command; the beaway
// row re-sends the mirror first; rows served by the video module alone send
// nothing.
std::vector<unsigned int> commandsOf(C& p_objController, const KeyVal& p_stRecord, u32 p_nLightType) {
    if (isCacheOnly(p_stRecord.key)) {
        return {};
    }
    u32 nCmdKey = p_stRecord.key;
    for (const auto& pair : kPairs) {
        if (p_stRecord.key == pair[0] && p_nLightType == 2) {
            return {};
        }
        if (p_stRecord.key == pair[1]) {
            if (p_nLightType != 2) {
                return {};
            }
            nCmdKey = pair[0];
        }
    }
    keycmd stRow;
    if (p_objController.findFromKeyCmdMap(Peer::keyCmdMap(p_objController), nCmdKey, stRow) == -1) {
        return {nCmdKey};
    }
    if (stRow.fun == &C::doBeaway) {
        return {2384, stRow.ia_cmd};
    }
    if (stRow.fun == nullptr || stRow.fun == &C::doIaCmd_PanoTuning || stRow.fun == &C::doFisheyeRotate ||
        stRow.fun == &C::doIoCrtl || stRow.fun == &C::test_debugParam) {
        return {};
    }
    if (stRow.ia_cmd == 1539 && p_stRecord.value == 0) {
        return {}; // a zero auto-focus trigger is dropped on a visible channel
    }
    return {stRow.ia_cmd};
}

u32 lightTypeOf(const std::vector<KeyVal>& p_vec) {
    for (const KeyVal& kv : p_vec) {
        if (kv.key == 224) {
            return kv.value;
        }
    }
    return 0;
}

void checkSchemeApply(const std::vector<KeyVal>& p_vecFactory) {
    ASSERT_GT(p_vecFactory.size(), 40u);
    BareController bare(p_vecFactory, 4);
    RecordingVideoModule video;
    bare->setVideoStreamModule(&video);
    bare.setCurScheme(1);

    // Re-applying the stored scheme: nothing is skipped.
    std::vector<unsigned int> vecExpected;
    size_t nApplied = 0;
    for (const KeyVal& rec : p_vecFactory) {
        std::vector<unsigned int> cmds = commandsOf(bare.ctl(), rec, lightTypeOf(p_vecFactory));
        nApplied += cmds.empty() ? 0 : 1;
        vecExpected.insert(vecExpected.end(), cmds.begin(), cmds.end());
    }
    EXPECT_GT(nApplied, 30u);
    std::vector<KeyVal> vecList = p_vecFactory;
    EXPECT_EQ(0, bare->setParameters(vecList.data(), static_cast<u32>(vecList.size()), false));
    EXPECT_EQ(vecExpected, tarnix_test::setCommands());
    EXPECT_EQ(vecExpected.size(), ispsim::calls().size());

    // The same list with the cache flag: every record equals the cache, nothing is sent.
    ispsim::clearCalls();
    vecList = p_vecFactory;
    EXPECT_EQ(0, bare->setParameters(vecList.data(), static_cast<u32>(vecList.size()), true));
    EXPECT_TRUE(ispsim::calls().empty());

    // Brightness changed: exactly its own command.
    for (KeyVal& kv : vecList) {
        if (kv.key == 34) {
            kv.value += 1;
        }
    }
    EXPECT_EQ(0, bare->setParameters(vecList.data(), static_cast<u32>(vecList.size()), true));
    EXPECT_EQ((std::vector<unsigned int>{34}), tarnix_test::setCommands());
}

TEST_F(DeviceTreeApplyTest, BoxSchemeSendsOneCommandPerAppliedRecord) {
    std::vector<KeyVal> vecFactory = factoryOf("box");
    checkSchemeApply(vecFactory);
}

TEST_F(DeviceTreeApplyTest, DomeSchemeSendsOneCommandPerAppliedRecord) {
    std::vector<KeyVal> vecFactory = factoryOf("dome");
    checkSchemeApply(vecFactory);
}

} // namespace
