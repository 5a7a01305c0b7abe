// The platform layer stands below the library: nothing in platform/ (the
// contract headers and the POSIX port) includes a header of the library's
// own folders, so the port builds and can be replaced on its own.
#include <dirent.h>
#include <sys/stat.h>

#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

const std::string kSourceRoot = std::string(TARNIX_DEVICES_DIR) + "/..";

void collectSources(const std::string& p_strDir, std::vector<std::string>& p_vecOut) {
    DIR* pDir = ::opendir(p_strDir.c_str());
    ASSERT_NE(nullptr, pDir) << p_strDir;
    while (dirent* pEntry = ::readdir(pDir)) {
        std::string strName = pEntry->d_name;
        if (strName == "." || strName == "..") {
            continue;
        }
        std::string strPath = p_strDir + "/" + strName;
        struct stat st;
        if (::stat(strPath.c_str(), &st) != 0) {
            continue;
        }
        if (S_ISDIR(st.st_mode)) {
            collectSources(strPath, p_vecOut);
        } else if (strName.size() > 2 && (strName.compare(strName.size() - 2, 2, ".h") == 0 ||
                                          strName.compare(strName.size() - 4, 4, ".cpp") == 0)) {
            p_vecOut.push_back(strPath);
        }
    }
    ::closedir(pDir);
}

} // namespace

TEST(Layering, PlatformIncludesNothingOfTheLibrary) {
    std::vector<std::string> vecFiles;
    collectSources(kSourceRoot + "/platform", vecFiles);
    ASSERT_FALSE(vecFiles.empty());
    const char* const kLibraryFolders[] = {"controller/", "engine/", "handlers/", "scheme/", "config/", "storage/"};
    for (const std::string& strFile : vecFiles) {
        std::ifstream in(strFile);
        std::string strLine;
        int nLine = 0;
        while (std::getline(in, strLine)) {
            ++nLine;
            if (strLine.compare(0, 10, "#include \"") != 0) {
                continue;
            }
            for (const char* szFolder : kLibraryFolders) {
                EXPECT_NE(0u, strLine.compare(10, std::string(szFolder).size(), szFolder))
                    << strFile << ":" << nLine << ": " << strLine;
            }
        }
    }
}
