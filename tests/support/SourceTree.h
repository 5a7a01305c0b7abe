#pragma once
// The project's own sources, for tests that read the code itself (layering,
// key names): the C++ files below a folder of the source tree.
#include <string>
#include <vector>

#include "platform/posix/HostTree.h"

namespace tarnix_test {

// The source tree (the parent of the sample device trees).
inline std::string sourceRoot() { return std::string(TARNIX_DEVICES_DIR) + "/.."; }

// Adds every .h and .cpp file below a host directory to p_vecOut.
inline void collectSources(const std::string& p_strHostDir, std::vector<std::string>& p_vecOut) {
    for (const std::string& strName : platform::listHostDir(p_strHostDir)) {
        const std::string strPath = p_strHostDir + "/" + strName;
        const auto endsWith = [&strName](const char* p_szTail) {
            const std::string strTail = p_szTail;
            return strName.size() > strTail.size() &&
                   strName.compare(strName.size() - strTail.size(), strTail.size(), strTail) == 0;
        };
        if (platform::isHostDir(strPath)) {
            collectSources(strPath, p_vecOut);
        } else if (endsWith(".h") || endsWith(".cpp")) {
            p_vecOut.push_back(strPath);
        }
    }
}

// Every .h and .cpp file below p_strFolder of the source tree, as host paths.
inline std::vector<std::string> sourcesBelow(const std::string& p_strFolder) {
    std::vector<std::string> vecFiles;
    collectSources(sourceRoot() + "/" + p_strFolder, vecFiles);
    return vecFiles;
}

} // namespace tarnix_test
