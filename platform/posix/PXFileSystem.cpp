// File-system operations on device paths.
#include "platform/PXFileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/posix/PlatformControl.h"

namespace pxfs {

std::string resolve(const std::string& path) {
    if (path.empty() || path[0] != '/') {
        return path;
    }
    std::string strRoot = platform::root();
    if (strRoot.empty()) {
        return path;
    }
    // A path already inside the root is a host path: leave it as it is, so
    // that resolving twice does no harm.
    if (path.compare(0, strRoot.size(), strRoot) == 0 &&
        (path.size() == strRoot.size() || path[strRoot.size()] == '/')) {
        return path;
    }
    return strRoot + path;
}

bool exists(const std::string& path) {
    if (path.empty()) {
        return false;
    }
    struct stat st;
    return ::stat(resolve(path).c_str(), &st) == 0;
}

bool remove(const std::string& path) {
    if (path.empty()) {
        return false;
    }
    return std::remove(resolve(path).c_str()) == 0;
}

bool rename(const std::string& from, const std::string& to) {
    if (from.empty() || to.empty()) {
        return false;
    }
    return std::rename(resolve(from).c_str(), resolve(to).c_str()) == 0;
}

bool syncFile(FILE* stream) {
    if (stream == nullptr) {
        return false;
    }
    if (std::fflush(stream) != 0) {
        return false;
    }
    int nFd = ::fileno(stream);
    if (nFd < 0) {
        return false;
    }
    return ::fsync(nFd) == 0;
}

bool syncDir(const std::string& dir) {
    if (dir.empty()) {
        return false;
    }
    int nFd = ::open(resolve(dir).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (nFd < 0) {
        return false;
    }
    int nRet;
    do {
        nRet = ::fsync(nFd);
    } while (nRet != 0 && errno == EINTR);
    ::close(nFd);
    return nRet == 0;
}

} // namespace pxfs
