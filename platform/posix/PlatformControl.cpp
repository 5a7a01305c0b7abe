// Device root, fixed clock and time scale of the POSIX port.
//
// The three settings are process-wide. They start from the environment
// (TARNIX_ROOT, TARNIX_CLOCK=HH:MM, TARNIX_TIME_SCALE), read once on first
// use, and can be changed at any time from any thread.
#include "platform/posix/PlatformControl.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "platform/posix/PlatformInternal.h"

namespace platform {

namespace {

struct Settings {
    std::mutex mutex;
    std::string root;
    bool clockFixed = false;
    int clockHour = 0;
    int clockMinute = 0;
};

Settings& settings() {
    // Never destroyed: threads and static destructors of other objects may
    // still resolve paths while the process exits.
    static Settings* s_pSettings = new Settings;
    return *s_pSettings;
}

std::atomic<double>& scaleValue() {
    static std::atomic<double> s_dScale(1.0);
    return s_dScale;
}

std::string withoutTrailingSlashes(const std::string& p_strDir) {
    std::string strDir = p_strDir;
    while (strDir.size() > 1 && strDir[strDir.size() - 1] == '/') {
        strDir.erase(strDir.size() - 1);
    }
    // "/" as root is the real filesystem.
    if (strDir == "/") {
        strDir.clear();
    }
    return strDir;
}

void readEnvironment() {
    Settings& s = settings();
    const char* szRoot = std::getenv("TARNIX_ROOT");
    if (szRoot != nullptr) {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.root = withoutTrailingSlashes(szRoot);
    }
    const char* szClock = std::getenv("TARNIX_CLOCK");
    int nHour = 0;
    int nMinute = 0;
    if (szClock != nullptr && parseClock(szClock, nHour, nMinute)) {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.clockFixed = true;
        s.clockHour = nHour;
        s.clockMinute = nMinute;
    }
    const char* szScale = std::getenv("TARNIX_TIME_SCALE");
    if (szScale != nullptr && *szScale != '\0') {
        char* pEnd = nullptr;
        double dScale = std::strtod(szScale, &pEnd);
        if (pEnd != nullptr && *pEnd == '\0' && dScale >= 0.0) {
            scaleValue().store(dScale);
        }
    }
}

std::once_flag& environmentOnce() {
    static std::once_flag s_once;
    return s_once;
}

void ensureEnvironment() { std::call_once(environmentOnce(), readEnvironment); }

// Reads the environment while the program starts, before any thread exists.
struct EnvironmentReader {
    EnvironmentReader() { ensureEnvironment(); }
} g_environmentReader;

} // namespace

bool parseClock(const char* p_szText, int& p_nHour, int& p_nMinute) {
    if (p_szText == nullptr) {
        return false;
    }
    int nHour = -1;
    int nMinute = -1;
    char cExtra = 0;
    if (std::sscanf(p_szText, "%d:%d%c", &nHour, &nMinute, &cExtra) != 2) {
        return false;
    }
    if (nHour < 0 || nHour > 23 || nMinute < 0 || nMinute > 59) {
        return false;
    }
    p_nHour = nHour;
    p_nMinute = nMinute;
    return true;
}

void setRoot(const std::string& dir) {
    ensureEnvironment();
    Settings& s = settings();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.root = withoutTrailingSlashes(dir);
}

std::string root() {
    ensureEnvironment();
    Settings& s = settings();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.root;
}

void setClock(int hour, int minute) {
    ensureEnvironment();
    Settings& s = settings();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.clockFixed = true;
    s.clockHour = hour;
    s.clockMinute = minute;
}

void clearClock() {
    ensureEnvironment();
    Settings& s = settings();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.clockFixed = false;
}

bool fixedClock(int& p_nHour, int& p_nMinute) {
    ensureEnvironment();
    Settings& s = settings();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.clockFixed) {
        return false;
    }
    p_nHour = s.clockHour;
    p_nMinute = s.clockMinute;
    return true;
}

void setTimeScale(double scale) {
    ensureEnvironment();
    scaleValue().store(scale < 0.0 ? 0.0 : scale);
}

double timeScale() {
    ensureEnvironment();
    return scaleValue().load();
}

} // namespace platform
