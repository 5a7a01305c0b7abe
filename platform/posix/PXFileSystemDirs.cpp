// Directory creation on device paths.
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/PXFileSystem.h"

namespace pxfs {

bool makeDirs(const std::string& dir) {
    if (dir.empty()) {
        return false;
    }
    const std::string strHost = resolve(dir);
    // Create each missing component from the top down; a component that
    // already exists (as a directory) is fine.
    for (size_t nPos = 1; nPos <= strHost.size(); ++nPos) {
        if (nPos != strHost.size() && strHost[nPos] != '/') {
            continue;
        }
        const std::string strPart = strHost.substr(0, nPos);
        if (::mkdir(strPart.c_str(), 0755) != 0 && errno != EEXIST) {
            return false;
        }
    }
    struct stat st;
    return ::stat(strHost.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace pxfs
