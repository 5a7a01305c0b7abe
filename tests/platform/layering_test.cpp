// The platform layer stands below the library: nothing in platform/ (the
// contract headers and the POSIX port) includes a header of the library's
// own folders, so the port builds and can be replaced on its own.
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/SourceTree.h"

TEST(Layering, PlatformIncludesNothingOfTheLibrary) {
    const std::vector<std::string> vecFiles = tarnix_test::sourcesBelow("platform");
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
