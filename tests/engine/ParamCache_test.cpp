// Scheme cache accessors, the unchanged-value test and the scheme getters.
#include <gtest/gtest.h>

#include "support/BareController.h"
#include "support/TestEnv.h"

namespace {

using tarnix_test::BareController;
using Peer = ISensorControllerTestPeer;

class ParamCacheTest : public tarnix_test::TarnixTest {};

std::vector<KeyVal> smallList() {
    return {{34, 50}, {2337, 60}, {2368, 1}, {8000, 0}};
}

TEST_F(ParamCacheTest, GetReturnsIndexAndValueOfTheRow) {
    BareController bare(smallList(), 4);
    bare.set(2, 2337, 77);
    u32 nValue = 0;
    EXPECT_EQ(1, bare->getKeyValFromCache(2, 2337, nValue));
    EXPECT_EQ(77u, nValue);
    EXPECT_EQ(0, bare->getKeyValFromCache(0, 34, nValue));
    EXPECT_EQ(50u, nValue);
}

TEST_F(ParamCacheTest, GetOfAMissingKeyLeavesTheOutputUntouched) {
    BareController bare(smallList(), 4);
    u32 nValue = 12345;
    EXPECT_EQ(-1, bare->getKeyValFromCache(0, 99, nValue));
    EXPECT_EQ(12345u, nValue);
}

TEST_F(ParamCacheTest, FactoryRowIsReadableButNotWritableWithoutForce) {
    BareController bare(smallList(), 4);
    bare.set(4, 34, 11); // the factory row
    u32 nValue = 0;
    EXPECT_EQ(0, bare->getKeyValFromCache(4, 34, nValue));
    EXPECT_EQ(11u, nValue);

    EXPECT_EQ(-2, bare->setKeyValToCache(4, 34, 99, false));
    EXPECT_EQ(11u, bare.value(4, 34));
    EXPECT_EQ(-2, bare->setKeyValToCache(7, 34, 99, false));

    // Forced, the factory row takes the value.
    EXPECT_EQ(0, bare->setKeyValToCache(4, 34, 99, true));
    EXPECT_EQ(99u, bare.value(4, 34));
}

TEST_F(ParamCacheTest, SchemeBeyondTheFactoryRowIsRefused) {
    BareController bare(smallList(), 4);
    u32 nValue = 5;
    setDebugMarker("6");
    captureStdout();
    EXPECT_EQ(-1, bare->getKeyValFromCache(5, 34, nValue));
    std::string out = capturedStdout();
    EXPECT_EQ(5u, nValue);
    EXPECT_EQ("\033[0m\033[0mcan not find val, invalid sheme(5) \n\033[0m", out);

    // A forced write past the factory row is refused instead of writing out of bounds.
    EXPECT_EQ(-1, bare->setKeyValToCache(5, 34, 1, true));
    EXPECT_EQ(-1, bare->setKeyValToCache(0xFFFFFFFFu, 34, 1, true));
    for (u32 s = 0; s <= 4; ++s) {
        EXPECT_EQ(50u, bare.value(s, 34));
    }
}

TEST_F(ParamCacheTest, InvalidSchemeTraceIsSilentAtTheDefaultLevel) {
    BareController bare(smallList(), 4);
    u32 nValue = 0;
    captureStdout();
    EXPECT_EQ(-1, bare->getKeyValFromCache(9, 34, nValue));
    EXPECT_EQ("", capturedStdout());
}

TEST_F(ParamCacheTest, SetWritesOnlyTheAddressedRow) {
    BareController bare(smallList(), 4);
    EXPECT_EQ(2, bare->setKeyValToCache(1, 2368, 0, false));
    EXPECT_EQ(0u, bare.value(1, 2368));
    EXPECT_EQ(1u, bare.value(0, 2368));
    EXPECT_EQ(1u, bare.value(2, 2368));
    EXPECT_EQ(1u, bare.value(4, 2368));
    EXPECT_EQ(-1, bare->setKeyValToCache(1, 4242, 0, false));
}

TEST_F(ParamCacheTest, AccessorsBeforeInitFail) {
    ISensorController ctl;
    u32 nValue = 3;
    EXPECT_EQ(-1, ctl.getKeyValFromCache(0, 34, nValue));
    EXPECT_EQ(3u, nValue);
    EXPECT_EQ(-1, ctl.setKeyValToCache(0, 34, 1, true));
    EXPECT_EQ(-1, ctl.setKeyValToCache(0, 34, 1, false));
    EXPECT_FALSE(ctl.isKeyValSame(KeyVal{34, 0}));
}

TEST_F(ParamCacheTest, IsKeyValSameComparesWithTheCurrentScheme) {
    BareController bare(smallList(), 4);
    bare.set(2, 34, 70);
    bare.setCurScheme(2);
    EXPECT_TRUE(bare->isKeyValSame(KeyVal{34, 70}));
    EXPECT_FALSE(bare->isKeyValSame(KeyVal{34, 50}));
    EXPECT_FALSE(bare->isKeyValSame(KeyVal{4242, 0}));
}

TEST_F(ParamCacheTest, IsKeyValSameDuringASwitchComparesWithTheLastScheme) {
    BareController bare(smallList(), 4);
    bare.set(1, 34, 10);
    bare.set(3, 34, 30);
    bare.setCurScheme(3);
    bare.setLastScheme(1);
    bare.setFlag(ISensorController::FLAG_SWITCHING, true);
    EXPECT_TRUE(bare->isKeyValSame(KeyVal{34, 10}));
    EXPECT_FALSE(bare->isKeyValSame(KeyVal{34, 30}));
    bare.setFlag(ISensorController::FLAG_SWITCHING, false);
    EXPECT_TRUE(bare->isKeyValSame(KeyVal{34, 30}));
}

TEST_F(ParamCacheTest, IsKeyValSameWithNoLastSchemeIsFalse) {
    BareController bare(smallList(), 4);
    bare.setLastScheme(-1);
    bare.setFlag(ISensorController::FLAG_SWITCHING, true);
    EXPECT_FALSE(bare->isKeyValSame(KeyVal{34, 50}));
}

TEST_F(ParamCacheTest, SchemeAndModeGetters) {
    BareController bare(smallList(), 4);
    bare.setCurScheme(3);
    Peer::mode(bare.ctl()) = 0;
    int nScheme = -1;
    int nMode = -1;
    EXPECT_TRUE(bare->getParamScheme(nScheme));
    EXPECT_EQ(3, nScheme);
    EXPECT_TRUE(bare->getParamMode(nMode));
    EXPECT_EQ(0, nMode);
}

TEST_F(ParamCacheTest, DefaultModeIsAutomatic) {
    ISensorController ctl;
    int nScheme = -1;
    int nMode = -1;
    EXPECT_TRUE(ctl.getParamScheme(nScheme));
    EXPECT_TRUE(ctl.getParamMode(nMode));
    EXPECT_EQ(0, nScheme);
    EXPECT_EQ(1, nMode);
}

} // namespace
