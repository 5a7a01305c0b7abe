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

inline void makeDirs(const std::string& p_strDir) {
    std::string strPartial;
    std::stringstream ss(p_strDir);
    std::string strPiece;
    if (!p_strDir.empty() && p_strDir[0] == '/') {
        strPartial = "/";
    }
    while (std::getline(ss, strPiece, '/')) {
        if (strPiece.empty()) {
            continue;
        }
        strPartial += strPiece + "/";
        ::mkdir(strPartial.c_str(), 0755);
    }
}

inline void removeTree(const std::string& p_strDir) {
    DIR* pDir = ::opendir(p_strDir.c_str());
    if (pDir == nullptr) {
        ::unlink(p_strDir.c_str());
        return;
    }
    while (dirent* pEntry = ::readdir(pDir)) {
        std::string strName = pEntry->d_name;
        if (strName == "." || strName == "..") {
            continue;
        }
        std::string strPath = p_strDir + "/" + strName;
        struct stat st;
        if (::lstat(strPath.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
            removeTree(strPath);
        } else {
            ::unlink(strPath.c_str());
        }
    }
    ::closedir(pDir);
    ::rmdir(p_strDir.c_str());
}

inline void copyTree(const std::string& p_strFrom, const std::string& p_strTo) {
    makeDirs(p_strTo);
    DIR* pDir = ::opendir(p_strFrom.c_str());
    if (pDir == nullptr) {
        return;
    }
    while (dirent* pEntry = ::readdir(pDir)) {
        std::string strName = pEntry->d_name;
        if (strName == "." || strName == "..") {
            continue;
        }
        std::string strSrc = p_strFrom + "/" + strName;
        std::string strDst = p_strTo + "/" + strName;
        struct stat st;
        if (::stat(strSrc.c_str(), &st) != 0) {
            continue;
        }
        if (S_ISDIR(st.st_mode)) {
            copyTree(strSrc, strDst);
        } else {
            std::ifstream in(strSrc, std::ios::binary);
            std::ofstream out(strDst, std::ios::binary | std::ios::trunc);
            out << in.rdbuf();
        }
    }
    ::closedir(pDir);
}

inline std::string readHostFile(const std::string& p_strPath) {
    std::ifstream in(p_strPath, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

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
        copyTree(devicesDir() + "/" + p_strModel, m_strPath);
    }

private:
    TempRoot() {
        const char* szBase = std::getenv("TMPDIR");
        std::string strTempl =
            std::string(szBase != nullptr && *szBase != '\0' ? szBase : "/tmp") + "/tarnix-fuzz-XXXXXX";
        std::vector<char> vecBuffer(strTempl.begin(), strTempl.end());
        vecBuffer.push_back('\0');
        char* szMade = ::mkdtemp(vecBuffer.data());
        FUZZ_CHECK(szMade != nullptr);
        m_strPath = szMade;
        for (const char* szDir : {"/tmp", "/mnt/mtd/log", "/mnt/mtd/code/config_file", "/hd1/moduleConfig"}) {
            makeDirs(m_strPath + szDir);
        }
        platform::setRoot(m_strPath);
        std::atexit(&TempRoot::cleanUp);
    }

    static void cleanUp() {
        TempRoot& self = instance();
        platform::setRoot("");
        if (std::getenv("TARNIX_KEEP_ROOT") == nullptr) {
            removeTree(self.m_strPath);
        }
    }

    std::string m_strPath;
};

} // namespace tarnix_fuzz
