#pragma once
// Shared helpers of the libFuzzer targets: a private device root per fuzzing
// process (so that nothing touches the real /mnt/mtd, /hd1 or /tmp), copies
// of the sample device trees, small file helpers and a hard failure for
// broken invariants.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "controller/ISensorController.h"
#include "ispsim/ispsim.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"
#include "platform/posix/HostTree.h"
#include "platform/posix/PlatformControl.h"

#ifndef TARNIX_DEVICES_DIR
#define TARNIX_DEVICES_DIR "devices"
#endif

namespace tarnix_fuzz {

// Reports a broken invariant and aborts, so that libFuzzer keeps the input.
#define FUZZ_CHECK(cond)                                                                        \
    do {                                                                                        \
        if (!(cond)) {                                                                          \
            std::fprintf(stderr, "fuzz check failed: %s (%s:%d)\n", #cond, __FILE__, __LINE__); \
            std::abort();                                                                       \
        }                                                                                       \
    } while (0)

using platform::readHostFile;

inline void writeHostFile(const std::string& p_strPath, const void* p_pData, size_t p_nSize) {
    std::FILE* pFile = std::fopen(p_strPath.c_str(), "wb");
    FUZZ_CHECK(pFile != nullptr);
    if (p_nSize > 0) {
        FUZZ_CHECK(std::fwrite(p_pData, 1, p_nSize, pFile) == p_nSize);
    }
    std::fclose(pFile);
}

// Directory of the sample device trees (TARNIX_FUZZ_DEVICES overrides the
// one compiled in).
inline std::string devicesDir() {
    const char* szDir = std::getenv("TARNIX_FUZZ_DEVICES");
    return (szDir != nullptr && *szDir != '\0') ? std::string(szDir) : std::string(TARNIX_DEVICES_DIR);
}

// The fuzzing process's device root: a fresh temporary directory with the
// directories every device has, made the platform's root. Removed at exit.
class TempRoot {
public:
    static TempRoot& instance() {
        static TempRoot* s_pRoot = new TempRoot; // never destroyed: used until exit
        return *s_pRoot;
    }

    const std::string& path() const { return m_strPath; }
    // Host path of a device path.
    std::string host(const std::string& p_strDevicePath) const { return m_strPath + p_strDevicePath; }
    // Copies devices/<model>/ into the root.
    void installDeviceTree(const std::string& p_strModel) const {
        platform::copyHostTree(devicesDir() + "/" + p_strModel, m_strPath);
    }

private:
    TempRoot() {
        m_strPath = platform::makeHostTempDir("tarnix-fuzz-");
        FUZZ_CHECK(!m_strPath.empty());
        for (const char* szDir : {"/tmp", "/mnt/mtd/log", "/mnt/mtd/code/config_file", "/hd1/moduleConfig"}) {
            platform::makeHostDirs(m_strPath + szDir);
        }
        platform::setRoot(m_strPath);
        std::atexit(&TempRoot::cleanUp);
    }

    static void cleanUp() {
        TempRoot& self = instance();
        platform::setRoot("");
        if (std::getenv("TARNIX_KEEP_ROOT") == nullptr) {
            platform::removeHostTree(self.m_strPath);
        }
    }

    std::string m_strPath;
};

// A controller of channel 1 on the process's root with devices/<model>/
// installed, its ISP profile loaded (p_strProfile gets the profile's host
// path, for reloading) and init done, with short scaled waits: the sensor
// thread wakes every millisecond and the lens and scheme waits stay short.
inline ISensorController* startController(const std::string& p_strModel, std::string& p_strProfile) {
    TempRoot& root = TempRoot::instance();
    root.installDeviceTree(p_strModel);
    platform::setTimeScale(0.001);
    p_strProfile = root.host("/isp/profile.conf");
    ispsim::reset();
    FUZZ_CHECK(ispsim::loadProfile(p_strProfile));
    MachineInfo objMachine;
    SystemInfoParser::parseMachineInfo("/mnt/mtd/code/factory_setting/machineinfo.ini", objMachine);
    std::vector<ModuleConfigure> vecModules;
    ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", objMachine.getHardwareModel(),
                                 objMachine.getHardwareCode(), vecModules);
    FUZZ_CHECK(!vecModules.empty());
    ISensorController* pController = new ISensorController;
    pController->setChannelID(1);
    FUZZ_CHECK(pController->init(vecModules.front()));
    return pController;
}

// Starts one input on the controller of startController: the simulated ISP
// logs every call and keeps every command it was ever sent, so the log is
// cleared before each input and the ISP is reloaded from p_strProfile every
// 4096 inputs; a long run keeps a flat memory profile.
inline void beginIspRun(const std::string& p_strProfile) {
    static unsigned long s_nRuns = 0;
    const unsigned long kIspResetEvery = 4096;
    if (++s_nRuns % kIspResetEvery == 0) {
        ispsim::reset();
        ispsim::loadProfile(p_strProfile);
    }
    ispsim::clearCalls();
}

} // namespace tarnix_fuzz
