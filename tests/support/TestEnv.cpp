#include "support/TestEnv.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "config/sensor.h"
#include "controller/ISensorController.h"
#include "controller/SensorDebug.h"
#include "platform/posix/HostTree.h"

namespace tarnix_test {

namespace {
using platform::copyHostTree;
using platform::makeHostDirs;

std::string parentOf(const std::string& path) {
    size_t pos = path.rfind('/');
    return pos == std::string::npos ? std::string(".") : path.substr(0, pos);
}

// The environment variable through which a test hands its root to the
// death-test children it starts. A "threadsafe" death test runs the test
// again in a new process that ends in the death: its own root can never be
// removed by itself, so it is made beside the parent's root, under a name
// the parent removes when it ends.
const char kParentRootVariable[] = "TARNIX_TEST_PARENT_ROOT";
const char kDeathChildSuffix[] = "-death-";

bool isDeathTestChild() { return !GTEST_FLAG_GET(internal_run_death_test).empty(); }

// Removes the roots of the death-test children of the test whose root this is.
void removeDeathChildRoots(const std::string& p_strRoot) {
    const std::string strDir = parentOf(p_strRoot);
    const std::string strPrefix = p_strRoot.substr(strDir.size() + 1) + kDeathChildSuffix;
    for (const std::string& name : platform::listHostDir(strDir)) {
        if (name.compare(0, strPrefix.size(), strPrefix) == 0) {
            platform::removeHostTree(strDir + "/" + name);
        }
    }
}

} // namespace

void pinnedClock(int& hour, int& minute) {
    hour = 12;
    minute = 0;
    const char* szClock = std::getenv("TARNIX_TEST_CLOCK");
    int nHour = -1;
    int nMinute = -1;
    char cExtra = 0;
    if (szClock != nullptr && std::sscanf(szClock, "%d:%d%c", &nHour, &nMinute, &cExtra) == 2 && nHour >= 0 &&
        nHour <= 23 && nMinute >= 0 && nMinute <= 59) {
        hour = nHour;
        minute = nMinute;
    }
}

std::string pinnedClockText() {
    int nHour = 0;
    int nMinute = 0;
    pinnedClock(nHour, nMinute);
    char szText[16];
    std::snprintf(szText, sizeof(szText), "%02d:%02d", nHour, nMinute);
    return szText;
}

void removeTree(const std::string& hostDir) { platform::removeHostTree(hostDir); }

std::string readHostFile(const std::string& hostPath) { return platform::readHostFile(hostPath); }

size_t countOccurrences(const std::string& text, const std::string& needle) {
    if (needle.empty()) {
        return 0;
    }
    size_t count = 0;
    for (size_t pos = text.find(needle); pos != std::string::npos; pos = text.find(needle, pos + needle.size())) {
        ++count;
    }
    return count;
}

std::vector<ispsim::Call> callsWithOpt(unsigned int opt) {
    std::vector<ispsim::Call> out;
    for (const auto& call : ispsim::calls()) {
        if (call.opt == opt) {
            out.push_back(call);
        }
    }
    return out;
}

std::vector<unsigned int> setCommands() {
    std::vector<unsigned int> out;
    for (const auto& call : callsWithOpt(0)) {
        out.push_back(call.cmd);
    }
    return out;
}

std::ostream& operator<<(std::ostream& os, const SetCall& c) {
    return os << "(ch" << c.channel << ", " << c.cmd << ", " << c.value << ")";
}

std::vector<SetCall> setCalls() {
    std::vector<SetCall> out;
    for (const auto& call : callsWithOpt(0)) {
        out.push_back({call.channel, call.cmd, call.data.empty() ? 0u : call.data[0]});
    }
    return out;
}

void TarnixTest::SetUp() {
    const char* base = std::getenv("TMPDIR");
    std::string templ = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/tarnix-root-XXXXXX";
    const char* szParentRoot = std::getenv(kParentRootVariable);
    if (isDeathTestChild() && szParentRoot != nullptr && *szParentRoot != '\0') {
        templ = std::string(szParentRoot) + kDeathChildSuffix + "XXXXXX";
    }
    std::vector<char> buffer(templ.begin(), templ.end());
    buffer.push_back('\0');
    char* made = ::mkdtemp(buffer.data());
    ASSERT_NE(made, nullptr);
    m_strRoot = made;
    if (!isDeathTestChild()) {
        ::setenv(kParentRootVariable, m_strRoot.c_str(), 1);
    }
    platform::setRoot(m_strRoot);
    // A camera always has its log directory; the error log is written there.
    makeDir("/mnt/mtd/log");
    platform::setTimeScale(0.001);
    int nHour = 0;
    int nMinute = 0;
    pinnedClock(nHour, nMinute);
    platform::setClock(nHour, nMinute);
    ispsim::reset();
    g_nDebugLevel = 1;
    g_bEnAssert = false;
    setshowBeawayFalg(true);
    setshowFisheyeRotateFlag(true);
    ISensorController::m_nChanneldDosomething = -1;
    ISensorController::m_nPassKeycmd = -1;
}

void TarnixTest::TearDown() {
    if (m_bCapturing) {
        capturedStdout();
    }
    platform::setRoot("");
    platform::clearClock();
    if (!m_strRoot.empty() && std::getenv("TARNIX_KEEP_ROOT") == nullptr) {
        removeTree(m_strRoot);
        removeDeathChildRoots(m_strRoot);
    }
}

std::string TarnixTest::hostPath(const std::string& devicePath) const {
    if (!devicePath.empty() && devicePath[0] == '/') {
        return m_strRoot + devicePath;
    }
    return m_strRoot + "/" + devicePath;
}

void TarnixTest::writeFile(const std::string& devicePath, const std::string& content) const {
    std::string path = hostPath(devicePath);
    makeHostDirs(parentOf(path));
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

void TarnixTest::writeBytes(const std::string& devicePath, const std::vector<unsigned char>& bytes) const {
    writeFile(devicePath, std::string(bytes.begin(), bytes.end()));
}

std::string TarnixTest::readFile(const std::string& devicePath) const { return readHostFile(hostPath(devicePath)); }

bool TarnixTest::fileExists(const std::string& devicePath) const {
    struct stat st;
    return ::stat(hostPath(devicePath).c_str(), &st) == 0;
}

void TarnixTest::makeDir(const std::string& devicePath) const { makeHostDirs(hostPath(devicePath)); }

void TarnixTest::removeFile(const std::string& devicePath) const { ::unlink(hostPath(devicePath).c_str()); }

void TarnixTest::setDebugMarker(const std::string& line1, const std::string& line2) const {
    writeFile("/tmp/Debug.sign", line1 + "\n" + line2 + "\n");
}

std::string TarnixTest::errorLog() const { return readFile("/mnt/mtd/log/SensorError.log"); }

void TarnixTest::installDeviceTree(const std::string& model) const {
    std::string src = std::string(TARNIX_DEVICES_DIR) + "/" + model;
    copyHostTree(src, m_strRoot);
    std::string profile = m_strRoot + "/isp/profile.conf";
    struct stat st;
    if (::stat(profile.c_str(), &st) == 0) {
        ispsim::loadProfile(profile);
    }
}

void TarnixTest::captureStdout() {
    std::fflush(stdout);
    ::testing::internal::CaptureStdout();
    m_bCapturing = true;
}

std::string TarnixTest::capturedStdout() {
    std::fflush(stdout);
    m_bCapturing = false;
    return ::testing::internal::GetCapturedStdout();
}

} // namespace tarnix_test
