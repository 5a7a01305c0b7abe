// Rotating log writer. Each entry is one line
// "YYYY-MM-DD HH:MM:SS <tag> <text>"; when an entry would take the file past
// its size limit, "<path>" becomes "<path>.1", "<path>.1" becomes "<path>.2"
// and so on, keeping at most maxFiles files, and the entry starts a new file.
#include "platform/PXLogger.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <mutex>

#include "platform/PXDeviceTime.h"
#include "platform/PXFileSystem.h"

namespace {

// Every logger of the process writes under this lock, so that entries of
// several loggers sharing a file neither interleave nor race a rotation.
std::mutex& logMutex() {
    static std::mutex* s_pMutex = new std::mutex;
    return *s_pMutex;
}

std::string numbered(const std::string& p_strPath, unsigned int p_nIndex) {
    return p_strPath + "." + std::to_string(p_nIndex);
}

void rotate(const std::string& p_strPath, unsigned int p_nMaxFiles) {
    if (p_nMaxFiles <= 1) {
        // Only the live file is kept: start it afresh.
        std::remove(p_strPath.c_str());
        return;
    }
    std::remove(numbered(p_strPath, p_nMaxFiles - 1).c_str());
    for (unsigned int k = p_nMaxFiles - 2; k >= 1; --k) {
        std::rename(numbered(p_strPath, k).c_str(), numbered(p_strPath, k + 1).c_str());
    }
    std::rename(p_strPath.c_str(), numbered(p_strPath, 1).c_str());
}

} // namespace

PXLogger::PXLogger() : m_nMaxSize(0), m_nMaxFiles(0), m_bReady(false) {}

PXLogger::~PXLogger() {}

void PXLogger::init(const char* path, unsigned int maxSize, unsigned int maxFiles) {
    m_bReady = false;
    m_strPath.clear();
    if (path == nullptr || *path == '\0') {
        return;
    }
    m_strPath = pxfs::resolve(path);
    m_nMaxSize = maxSize;
    m_nMaxFiles = maxFiles;
    m_bReady = true;
}

void PXLogger::writeLog(const char* tag, const char* text) {
    if (!m_bReady) {
        return;
    }
    const char* szTag = tag != nullptr ? tag : "";
    const char* szText = text != nullptr ? text : "";

    PXDateTime now = PXDeviceTime::getCurrentTime();
    char szStamp[96];
    std::snprintf(szStamp, sizeof(szStamp), "%04d-%02d-%02d %02d:%02d:%02d", now.year, now.month, now.day, now.hour,
                  now.minute, now.second);

    std::string strEntry = szStamp;
    strEntry += " ";
    strEntry += szTag;
    strEntry += " ";
    strEntry += szText;
    if (strEntry[strEntry.size() - 1] != '\n') {
        strEntry += "\n";
    }

    std::lock_guard<std::mutex> lock(logMutex());
    struct stat st;
    if (m_nMaxSize > 0 && ::stat(m_strPath.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0 &&
        static_cast<unsigned long long>(st.st_size) + strEntry.size() > m_nMaxSize) {
        rotate(m_strPath, m_nMaxFiles);
    }
    FILE* pFile = std::fopen(m_strPath.c_str(), "ab");
    if (pFile == nullptr) {
        return;
    }
    std::fwrite(strEntry.data(), 1, strEntry.size(), pFile);
    std::fclose(pFile);
}
