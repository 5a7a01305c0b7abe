#include "bench/support/BoxCamera.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "controller/KeyCatalogue.h"
#include "ispsim/ispsim.h"
#include "platform/MachineInfo.h"
#include "platform/ModuleConfigureParser.h"
#include "platform/SystemInfoParser.h"
#include "platform/posix/HostTree.h"
#include "platform/posix/PlatformControl.h"
#include "support/ControllerPeer.h"

#ifndef TARNIX_DEVICES_DIR
#define TARNIX_DEVICES_DIR "devices"
#endif

namespace tarnix_bench {

using Peer = ISensorControllerTestPeer;

namespace {
// Marks a device root this program made, so that it may empty it again.
const char* const kRootMark = ".tarnix-box-root";
} // namespace

BoxCamera::BoxCamera(const std::string& p_strRoot) {
    if (p_strRoot.empty()) {
        m_strRoot = platform::makeHostTempDir("tarnix-box-");
        m_bTemporary = true;
    } else {
        // A directory given by name is emptied only when this program made
        // it (it holds the mark), never any other.
        struct stat st;
        if (::stat(p_strRoot.c_str(), &st) == 0) {
            if (::stat((p_strRoot + "/" + kRootMark).c_str(), &st) != 0) {
                std::fprintf(stderr, "box camera: %s exists and is not a device root made here; not touched\n",
                             p_strRoot.c_str());
                std::exit(1);
            }
            platform::removeHostTree(p_strRoot);
        }
        platform::makeHostDirs(p_strRoot);
        m_strRoot = p_strRoot;
    }
    if (m_strRoot.empty() || !platform::listHostDir(m_strRoot).empty()) {
        std::fprintf(stderr, "box camera: cannot make an empty device root%s%s\n", p_strRoot.empty() ? "" : " at ",
                     p_strRoot.c_str());
        std::exit(1);
    }
    std::FILE* pMark = std::fopen((m_strRoot + "/" + kRootMark).c_str(), "w");
    if (pMark != nullptr) {
        std::fclose(pMark);
    }
    const char* szDevices = std::getenv("TARNIX_BENCH_DEVICES");
    const std::string strTree = std::string(szDevices != nullptr ? szDevices : TARNIX_DEVICES_DIR) + "/box";
    platform::copyHostTree(strTree, m_strRoot);
    platform::setRoot(m_strRoot);
    resetIsp();

    MachineInfo objMachine;
    SystemInfoParser::parseMachineInfo("/mnt/mtd/code/factory_setting/machineinfo.ini", objMachine);
    std::vector<ModuleConfigure> vecModules;
    ModuleConfigureParser::parse("/hd1/moduleConfig/moduleConfig.xml", objMachine.getHardwareModel(),
                                 objMachine.getHardwareCode(), vecModules);
    if (vecModules.empty()) {
        std::fprintf(stderr, "box camera: no module configuration in %s (copied from %s)\n", m_strRoot.c_str(),
                     strTree.c_str());
        std::exit(1);
    }
    m_objModule = vecModules.front();
}

BoxCamera::~BoxCamera() {
    platform::setRoot("");
    if (m_bTemporary && std::getenv("TARNIX_KEEP_ROOT") == nullptr) {
        platform::removeHostTree(m_strRoot);
    }
}

void BoxCamera::resetIsp() const {
    ispsim::reset();
    ispsim::loadProfile(host("/isp/profile.conf"));
}

void stopSensorThread(ISensorController& p_controller) {
    GThread* pThread = Peer::thread(p_controller);
    if (pThread != nullptr) {
        pThread->stop();
    }
}

void initWithoutThread(ISensorController& p_controller, const BoxCamera& p_camera) {
    platform::setTimeScale(1.0);
    p_controller.setChannelID(1);
    if (!p_controller.init(p_camera.module())) {
        std::fprintf(stderr, "box camera: init of channel 1 failed\n");
        std::exit(1);
    }
    stopSensorThread(p_controller);
}

void firstStart(const BoxCamera& p_camera) {
    ISensorController objController;
    initWithoutThread(objController, p_camera);
    objController.uinit();
}

std::vector<KeyVal> schemeRow(ISensorController& p_controller, u32 p_nScheme) {
    KeyVal** ppRows = Peer::userKeyVal(p_controller);
    if (ppRows == nullptr || p_nScheme > Peer::sysConf(p_controller).nSchemeSum) {
        return {};
    }
    return std::vector<KeyVal>(ppRows[p_nScheme], ppRows[p_nScheme] + Peer::keyValSum(p_controller));
}

u32 schemeCount(ISensorController& p_controller) { return Peer::sysConf(p_controller).nSchemeSum; }

bool isStoredOnlyKey(u32 p_nKey) {
    switch (p_nKey) {
#define TARNIX_BENCH_ROW(name, id, cmd, handler)
#define TARNIX_BENCH_STORED(name, id) case id:
        TARNIX_KEY_CATALOGUE(TARNIX_BENCH_ROW, TARNIX_BENCH_STORED)
#undef TARNIX_BENCH_ROW
#undef TARNIX_BENCH_STORED
        return true;
    default:
        return false;
    }
}

int quietStdout() {
    std::fflush(stdout);
    const int nReportFd = ::dup(STDOUT_FILENO);
    const int nNull = ::open("/dev/null", O_WRONLY);
    if (nReportFd < 0 || nNull < 0 || ::dup2(nNull, STDOUT_FILENO) < 0) {
        std::perror("redirecting the library's standard output");
        return -1;
    }
    ::close(nNull);
    return nReportFd;
}

} // namespace tarnix_bench
