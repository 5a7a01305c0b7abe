#pragma once
// A usable controller without init, for unit tests of the parameter engine
// and the key handlers: channel and flags set, the key-command table built,
// and the scheme cache allocated from a factory list the way init lays it
// out (one block of nSchemeSum + 1 rows, the factory row last).
#include <memory>
#include <vector>

#include "controller/ISensorController.h"
#include "support/ControllerPeer.h"

namespace tarnix_test {

class BareController {
public:
    // Every row (user schemes and the factory row) starts as a copy of
    // p_vecFactory. p_bBuildTable false leaves the key-command table unbuilt.
    BareController(const std::vector<KeyVal>& p_vecFactory, u32 p_nSchemeSum, int p_nChannel = 1,
                   bool p_bBuildTable = true);
    ~BareController();
    BareController(const BareController&) = delete;
    BareController& operator=(const BareController&) = delete;

    ISensorController& ctl() { return *m_pCtl; }
    ISensorController* operator->() { return m_pCtl.get(); }

    u32 schemeSum();
    u32 keyValSum();
    // Row of a scheme (the factory row is schemeSum()).
    KeyVal* row(u32 p_nScheme);
    std::vector<KeyVal> rowCopy(u32 p_nScheme);

    // Cache helpers (no controller call involved).
    bool has(u32 p_nScheme, u32 p_nKey);
    // Value of the key in the row; a test failure when the key is missing.
    u32 value(u32 p_nScheme, u32 p_nKey);
    // Writes the key in one row; a test failure when the key is missing.
    void set(u32 p_nScheme, u32 p_nKey, u32 p_nValue);
    // Writes the key in every row, the factory row included.
    void setEverywhere(u32 p_nKey, u32 p_nValue);

    // State setters.
    void setCurScheme(int p_nScheme);
    void setLastScheme(int p_nScheme);
    void setThermal(bool p_bOn);
    void setLimitedIrPower(bool p_bOn);
    void setDNScheme(bool p_bOn);
    void setTimeScheme(bool p_bOn);
    void setHasLens(bool p_bOn);
    void setShowWDR(bool p_bOn);
    void setFlag(u8 p_nBits, bool p_bOn);

private:
    void release();

    std::unique_ptr<ISensorController> m_pCtl;
    KeyVal* m_pBlock;
};

// A scheme-sized list of 100 keys that each send exactly one ISP command
// when applied outside a bulk apply: the 87 keys of the plain ISP handler,
// the 11 momentary user keys and two capture-offset keys, with distinct
// non-zero values (KEY_LIGHT_TYPE 0, so the plain light keys are live).
std::vector<KeyVal> ordinaryFactoryList();

// A typical factory list: the five scheme keys first, then image, exposure,
// day/night, light (with the intelligent twins), WDR, mirror and beaway keys.
std::vector<KeyVal> typicalFactoryList();

} // namespace tarnix_test
