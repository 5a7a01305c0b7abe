#pragma once
// A controller with a scheme cache and a key-command table but without init:
// enough to drive scheme selection, switching and the sensor pass against the
// simulated ISP with a fixed clock.
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "support/ControllerPeer.h"
#include "support/TestEnv.h"

namespace scheme_test {

using Peer = ISensorControllerTestPeer;

// Keys of the test rows.
enum : u32 {
    K_SCHEME_MODE = 8000,
    K_START_H = 8001,
    K_START_M = 8002,
    K_END_H = 8003,
    K_END_M = 8004,
    K_BRIGHTNESS = 34,
    K_SATURATION = 2337,
    K_CONTRAST = 2353,
    K_DN_MODE = 144,
    K_DTN_THR = 145,
    K_NTD_THR = 146,
    K_DN_SENS = 154,
    K_DTN_H = 149,
    K_DTN_M = 150,
    K_NTD_H = 151,
    K_NTD_M = 152,
};

// Every row: scheme mode and the window at entries 0 to 4 (an empty window
// 00:00-00:00 that holds no time), then image and day/night keys.
inline std::vector<KeyVal> defaultRow() {
    return {
        {K_SCHEME_MODE, 0}, {K_START_H, 0},  {K_START_M, 0},  {K_END_H, 0},  {K_END_M, 0},   {K_BRIGHTNESS, 50},
        {K_SATURATION, 50}, {K_DN_MODE, 0},  {K_DTN_THR, 20}, {K_NTD_THR, 60}, {K_DN_SENS, 3}, {K_DTN_H, 18},
        {K_DTN_M, 0},       {K_NTD_H, 6},    {K_NTD_M, 0},    {K_CONTRAST, 50},
    };
}

// Set commands and their first data word, in order.
inline std::vector<std::pair<unsigned int, uint32_t>> setCalls() {
    std::vector<std::pair<unsigned int, uint32_t>> out;
    for (const auto& call : tarnix_test::callsWithOpt(0)) {
        out.emplace_back(call.cmd, call.data.empty() ? 0u : call.data[0]);
    }
    return out;
}

class SchemeTest : public tarnix_test::TarnixTest {
protected:
    void SetUp() override {
        TarnixTest::SetUp();
        makeDir("/mnt/mtd/log"); // the error log's directory, as on the device
        m_pCtl.reset(new ISensorController());
    }

    void TearDown() override {
        for (auto& c : m_vecExtra) {
            dispose(*c);
        }
        m_vecExtra.clear();
        if (m_pCtl) {
            dispose(*m_pCtl);
            m_pCtl.reset();
        }
        TarnixTest::TearDown();
    }

    ISensorController& ctl() { return *m_pCtl; }

    // A further controller owned by the fixture.
    ISensorController& extraController() {
        m_vecExtra.emplace_back(new ISensorController());
        return *m_vecExtra.back();
    }

    // nSchemeSum user rows plus the factory row, each a copy of base; the
    // factory row is m_pFctKeyVal; a plate-recognition work copy when withLpr.
    static void buildCache(ISensorController& c, u32 nSchemeSum, const std::vector<KeyVal>& base = defaultRow(),
                           bool withLpr = true) {
        const u32 n = static_cast<u32>(base.size());
        Peer::setSchemeSum(c, nSchemeSum);
        Peer::keyValSum(c) = n;
        KeyVal* pBlock = new KeyVal[(nSchemeSum + 1) * n];
        KeyVal** ppRows = new KeyVal*[nSchemeSum + 1];
        for (u32 s = 0; s <= nSchemeSum; ++s) {
            ppRows[s] = pBlock + s * n;
            for (u32 i = 0; i < n; ++i) {
                ppRows[s][i] = base[i];
            }
        }
        Peer::userKeyVal(c) = ppRows;
        Peer::fctKeyVal(c) = ppRows[nSchemeSum];
        Peer::keyValLpr(c) = withLpr ? new KeyVal[n] : nullptr;
        Peer::buildKeyCmdMap(c);
    }

    static void dispose(ISensorController& c) {
        Peer::thread(c)->stop();
        KeyVal**& ppRows = Peer::userKeyVal(c);
        if (ppRows != nullptr) {
            delete[] ppRows[0];
            delete[] ppRows;
            ppRows = nullptr;
        }
        Peer::fctKeyVal(c) = nullptr;
        delete[] Peer::keyValLpr(c);
        Peer::keyValLpr(c) = nullptr;
        std::free(Peer::keyCmdMap(c));
        Peer::keyCmdMap(c) = nullptr;
        Peer::keyValSum(c) = 0;
    }

    static KeyVal* row(ISensorController& c, u32 s) { return Peer::userKeyVal(c)[s]; }

    // Sets the value of key in row s (the key must be in the row).
    static void put(ISensorController& c, u32 s, u32 key, u32 value) {
        KeyVal* pRow = row(c, s);
        for (u32 i = 0; i < Peer::keyValSum(c); ++i) {
            if (pRow[i].key == key) {
                pRow[i].value = value;
                return;
            }
        }
        ADD_FAILURE() << "key " << key << " not in the row";
    }

    static u32 get(ISensorController& c, u32 s, u32 key) {
        KeyVal* pRow = row(c, s);
        for (u32 i = 0; i < Peer::keyValSum(c); ++i) {
            if (pRow[i].key == key) {
                return pRow[i].value;
            }
        }
        ADD_FAILURE() << "key " << key << " not in the row";
        return 0;
    }

    static void window(ISensorController& c, u32 s, u32 startH, u32 startM, u32 endH, u32 endM) {
        KeyVal* pRow = row(c, s);
        pRow[1].value = startH;
        pRow[2].value = startM;
        pRow[3].value = endH;
        pRow[4].value = endM;
    }

    // Scheme mode as scheme 0 holds it (and the user rows follow), with the
    // matching policy flags.
    static void policy(ISensorController& c, u32 mode) {
        for (u32 s = 0; s < Peer::sysConf(c).nSchemeSum; ++s) {
            put(c, s, K_SCHEME_MODE, mode);
        }
        Peer::timeScheme(c) = (mode == 1);
        Peer::dnScheme(c) = (mode == 2);
    }

    // A plate-recognition device with three schemes under the time plan:
    // scheme 2's window is 08:00-12:00 and its brightness 70; the ISP's call
    // log starts empty.
    void plateRecognitionTimePlan() {
        buildCache(3);
        policy(1);
        Peer::lprMode(ctl()) = true;
        window(2, 8, 0, 12, 0);
        put(2, K_BRIGHTNESS, 70);
        ispsim::clearCalls();
    }

    // Shortcuts on the fixture's main controller.
    void buildCache(u32 nSchemeSum) { buildCache(ctl(), nSchemeSum); }
    KeyVal* row(u32 s) { return row(ctl(), s); }
    void put(u32 s, u32 key, u32 value) { put(ctl(), s, key, value); }
    u32 get(u32 s, u32 key) { return get(ctl(), s, key); }
    void window(u32 s, u32 startH, u32 startM, u32 endH, u32 endM) { window(ctl(), s, startH, startM, endH, endM); }
    void policy(u32 mode) { policy(ctl(), mode); }
    int cur() { return Peer::curScheme(ctl()).load(); }
    int last() { return Peer::lastScheme(ctl()).load(); }

private:
    std::unique_ptr<ISensorController> m_pCtl;
    std::vector<std::unique_ptr<ISensorController>> m_vecExtra;
};

} // namespace scheme_test
