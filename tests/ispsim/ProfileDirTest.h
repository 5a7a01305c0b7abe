#pragma once
// Fixture of the simulator's profile tests: a reset simulated ISP and a
// fresh temporary directory for profile files, removed afterwards.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "ispsim/ispsim.h"

class ProfileDirTest : public ::testing::Test {
protected:
    void SetUp() override {
        ispsim::reset();
        const char* base = std::getenv("TMPDIR");
        std::string templ = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/ispsim-profile-XXXXXX";
        std::vector<char> buffer(templ.begin(), templ.end());
        buffer.push_back('\0');
        ASSERT_NE(nullptr, ::mkdtemp(buffer.data()));
        m_strDir = buffer.data();
    }
    void TearDown() override {
        for (const auto& file : m_vecFiles) {
            ::unlink(file.c_str());
        }
        for (auto it = m_vecDirs.rbegin(); it != m_vecDirs.rend(); ++it) {
            ::rmdir(it->c_str());
        }
        ::rmdir(m_strDir.c_str());
        ispsim::reset();
    }

    // Writes p_strContent to p_strName below the directory (one level of
    // subdirectory is created when the name has one).
    std::string writeFile(const std::string& p_strName, const std::string& p_strContent) {
        size_t slash = p_strName.find('/');
        if (slash != std::string::npos) {
            makeDir(p_strName.substr(0, slash));
        }
        std::string path = m_strDir + "/" + p_strName;
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << p_strContent;
        m_vecFiles.push_back(path);
        return path;
    }
    // Creates a subdirectory, removed afterwards.
    std::string makeDir(const std::string& p_strName) {
        std::string path = m_strDir + "/" + p_strName;
        ::mkdir(path.c_str(), 0755);
        m_vecDirs.push_back(path);
        return path;
    }

    std::string m_strDir;
    std::vector<std::string> m_vecFiles;
    std::vector<std::string> m_vecDirs;
};
