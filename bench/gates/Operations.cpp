#include "bench/gates/Operations.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "controller/KeyCatalogue.h"
#include "platform/posix/PlatformControl.h"

using namespace tarnix::keys;

namespace tarnix_bench {

namespace {

// Image keys in which scheme 1 differs from scheme 0 for the switch.
const u32 kSwitchKeys[] = {KEY_BRIGHTNESS,   KEY_SATURATION,   KEY_CONTRAST,     KEY_SHARPNESS,
                           KEY_2D_NR_STRG_A, KEY_2D_NR_STRG_M, KEY_3D_NR_STRG_A, KEY_3D_NR_STRG_M,
                           KEY_R_GAIN,       KEY_B_GAIN,       KEY_WB_RG,        KEY_WB_BG};

void fail(const std::string& p_strWhat) {
    std::fprintf(stderr, "tarnix_opcount: %s\n", p_strWhat.c_str());
    std::exit(1);
}

std::string pairText(u32 p_nKey, u32 p_nValue) {
    return "(" + std::to_string(p_nKey) + "," + std::to_string(p_nValue) + ")";
}

void applyText(ISensorController& c, const std::string& p_strText) {
    if (c.setParameters(p_strText, true) != 0) {
        fail("the box camera refused " + p_strText);
    }
}

// An initialised channel 1 whose thread is stopped before its first pass.
void initStopped(OpSession& s) {
    s.controller.reset(new ISensorController);
    initWithoutThread(*s.controller, s.camera);
}

void uinitAndDrop(OpSession& s) {
    if (s.controller) {
        s.controller->uinit();
        s.controller.reset();
    }
}

std::string wholeScheme(ISensorController& c) {
    std::string strText;
    c.getAllParameters(strText);
    return strText;
}

// ---- apply a whole scheme: every record to its handler and the ISP ----
void prepareApplyScheme(OpSession& s) {
    initStopped(s);
    s.text = wholeScheme(*s.controller);
    if (s.controller->setParameters(s.text, false) != 0) {
        fail("the whole scheme did not apply");
    }
}
void measureApplyScheme(OpSession& s) { s.controller->setParameters(s.text, false); }

// ---- apply a scheme equal to the cache: every record skipped ----
void prepareApplyUnchanged(OpSession& s) {
    initStopped(s);
    s.text = wholeScheme(*s.controller);
    applyText(*s.controller, s.text);
}
void measureApplyUnchanged(OpSession& s) { s.controller->setParameters(s.text, true); }

// ---- differential switch from scheme 0 to scheme 1 (12 keys differ) ----
void prepareSwitch(OpSession& s) {
    initStopped(s);
    ISensorController& c = *s.controller;
    std::vector<KeyVal> vecRow = schemeRow(c, 0);
    std::string strChange;
    for (const KeyVal& stRecord : vecRow) {
        for (u32 nKey : kSwitchKeys) {
            if (stRecord.key == nKey) {
                strChange += pairText(nKey, stRecord.value + 1);
            }
        }
    }
    c.setParamScheme(1);
    applyText(c, strChange);
    c.setParamScheme(0);
    c.setParamScheme(1);
    c.setParamScheme(0);
}
void measureSwitch(OpSession& s) { s.controller->setParamScheme(1); }

// ---- init of an up-to-date device ----
void prepareInit(OpSession& s) {
    initStopped(s);
    s.controller->uinit();
    // The synchronous pass of the measured init sleeps 1 s (time scale 1),
    // and so does the first pass of the thread it starts: the thread is
    // asleep while init ends.
}
void measureInit(OpSession& s) { s.controller->init(s.camera.module()); }

// ---- uinit of a running channel ----
void prepareUinit(OpSession& s) {
    initStopped(s);
    s.controller->uinit();
    // The thread started by this init waits 2 s before its first pass; it is
    // in that wait, having run no pass, when uinit stops it.
    platform::setTimeScale(2.0);
    s.controller->init(s.camera.module());
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
}
void measureUinit(OpSession& s) { s.controller->uinit(); }
void finishUinit(OpSession& s) {
    s.controller.reset();
    platform::setTimeScale(1.0);
}

// ---- the settings page's style ----
void prepareStyle(OpSession& s) {
    initStopped(s);
    s.controller->getUIStyleFile();
}
void measureStyle(OpSession& s) { s.controller->getUIStyleFile(); }

// ---- the current scheme as text ----
void prepareAllParameters(OpSession& s) {
    initStopped(s);
    s.text = wholeScheme(*s.controller);
}
void measureAllParameters(OpSession& s) { s.text = wholeScheme(*s.controller); }

// ---- an idle pass under a time plan of four windows ----
void prepareIdlePass(OpSession& s) {
    initStopped(s);
    ISensorController& c = *s.controller;
    const u32 aWindows[4][4] = {{0, 0, 6, 0}, {6, 0, 12, 0}, {12, 0, 18, 0}, {18, 0, 24, 0}};
    for (int n = 3; n >= 0; --n) {
        c.setParamScheme(n);
        applyText(c, pairText(KEY_SCHEME_START_HOUR, aWindows[n][0]) + pairText(KEY_SCHEME_START_MIN, aWindows[n][1]) +
                     pairText(KEY_SCHEME_END_HOUR, aWindows[n][2]) + pairText(KEY_SCHEME_END_MIN, aWindows[n][3]));
    }
    applyText(c, pairText(KEY_SCHEME_MODE, 1));
    // The pass's one-second wait lasts nothing.
    platform::setTimeScale(0.0);
    c.sensorThread(); // switches to the scheme of the clock's window
    c.sensorThread();
    int nScheme = -1;
    c.getParamScheme(nScheme);
    if (nScheme != 2) {
        fail("the time plan did not select scheme 2 at 12:00");
    }
}
void measureIdlePass(OpSession& s) { s.controller->sensorThread(); }

const std::vector<Operation> g_vecOperations = {
    {"apply-scheme", "setParameters(text, false) of the whole current scheme", prepareApplyScheme,
     measureApplyScheme, uinitAndDrop},
    {"apply-unchanged", "setParameters(text, true) of the scheme as cached (all skipped)", prepareApplyUnchanged,
     measureApplyUnchanged, uinitAndDrop},
    {"switch", "setParamScheme(1), 12 keys differ from scheme 0", prepareSwitch, measureSwitch, uinitAndDrop},
    {"init", "init of channel 1 on an up-to-date device", prepareInit, measureInit, uinitAndDrop},
    {"uinit", "uinit of a running channel", prepareUinit, measureUinit, finishUinit},
    {"style", "getUIStyleFile", prepareStyle, measureStyle, uinitAndDrop},
    {"all-parameters", "getAllParameters", prepareAllParameters, measureAllParameters, uinitAndDrop},
    {"idle-pass", "one sensor pass under a time plan that switches nothing", prepareIdlePass, measureIdlePass,
     uinitAndDrop},
};

} // namespace

const std::vector<Operation>& operations() { return g_vecOperations; }

const Operation* findOperation(const std::string& p_strName) {
    for (const Operation& op : g_vecOperations) {
        if (p_strName == op.name) {
            return &op;
        }
    }
    return nullptr;
}

} // namespace tarnix_bench
