#include "platform/posix/HostTree.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

namespace platform {

bool isHostDir(const std::string& hostPath) {
    struct stat st;
    return ::stat(hostPath.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool isHostFile(const std::string& hostPath) {
    struct stat st;
    return ::stat(hostPath.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::vector<std::string> listHostDir(const std::string& dir) {
    std::vector<std::string> names;
    DIR* pDir = ::opendir(dir.c_str());
    if (pDir == nullptr) {
        return names;
    }
    while (dirent* pEntry = ::readdir(pDir)) {
        std::string name = pEntry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    ::closedir(pDir);
    return names;
}

std::string makeHostTempDir(const std::string& prefix) {
    const char* szBase = std::getenv("TMPDIR");
    std::string templ = std::string(szBase != nullptr && *szBase != '\0' ? szBase : "/tmp") + "/" + prefix + "XXXXXX";
    std::vector<char> buffer(templ.begin(), templ.end());
    buffer.push_back('\0');
    return ::mkdtemp(buffer.data()) != nullptr ? std::string(buffer.data()) : std::string();
}

void makeHostDirs(const std::string& hostDir) {
    std::string partial = (!hostDir.empty() && hostDir[0] == '/') ? "/" : "";
    std::stringstream ss(hostDir);
    std::string piece;
    while (std::getline(ss, piece, '/')) {
        if (!piece.empty()) {
            partial += piece + "/";
            ::mkdir(partial.c_str(), 0755);
        }
    }
}

void removeHostTree(const std::string& hostPath) {
    struct stat st;
    if (::lstat(hostPath.c_str(), &st) != 0) {
        return;
    }
    if (!S_ISDIR(st.st_mode)) {
        ::unlink(hostPath.c_str());
        return;
    }
    for (const std::string& name : listHostDir(hostPath)) {
        removeHostTree(hostPath + "/" + name);
    }
    ::rmdir(hostPath.c_str());
}

void copyHostTree(const std::string& from, const std::string& to) {
    makeHostDirs(to);
    for (const std::string& name : listHostDir(from)) {
        std::string src = from + "/" + name;
        std::string dst = to + "/" + name;
        struct stat st;
        if (::stat(src.c_str(), &st) != 0) {
            continue;
        }
        if (S_ISDIR(st.st_mode)) {
            copyHostTree(src, dst);
        } else if (S_ISREG(st.st_mode)) {
            std::ifstream in(src, std::ios::binary);
            std::ofstream out(dst, std::ios::binary | std::ios::trunc);
            out << in.rdbuf();
        }
    }
}

std::string readHostFile(const std::string& hostPath) {
    std::ifstream in(hostPath, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

} // namespace platform
