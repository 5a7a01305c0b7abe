// Scratch directories and whole-file helpers of the platform checks. Files
// go through the port under test; only the directory listing uses the C
// library directly, on the path the port resolves.
#include <dirent.h>
#include <unistd.h>

#include "conformance/PlatformChecks.h"
#include "conformance/PlatformPort.h"

namespace conformance {

ScratchDir::ScratchDir(Context& p_stContext, const std::string& p_strName)
    : m_stContext(p_stContext), m_strPath(p_stContext.options.scratchDir + "/" + p_strName), m_bReady(false),
      m_bMadeParent(false) {
    m_bMadeParent = !m_stContext.port.exists(m_stContext.options.scratchDir);
    m_bReady = m_stContext.port.makeDirs(m_strPath);
}

ScratchDir::~ScratchDir() {
    for (const std::string& strName : listDirectory(m_stContext, m_strPath)) {
        m_stContext.port.remove(file(strName));
    }
    if (!m_stContext.port.remove(m_strPath)) {
        ::rmdir(m_stContext.port.resolve(m_strPath).c_str());
    }
    if (m_bMadeParent) {
        ::rmdir(m_stContext.port.resolve(m_stContext.options.scratchDir).c_str());
    }
}

bool writeWhole(Context& p_stContext, const std::string& p_strPath, const std::string& p_strData) {
    PlatformPort& port = p_stContext.port;
    PXFile file;
    if (!port.fileOpen(file, p_strPath.c_str(), PXFile::modeWrite | PXFile::modeTruncate)) {
        return false;
    }
    std::string strCopy = p_strData;
    const int nSize = static_cast<int>(strCopy.size());
    const int nWritten = nSize == 0 ? 0 : port.fileWrite(file, &strCopy[0], static_cast<unsigned int>(nSize));
    port.fileClose(file);
    return nWritten == nSize;
}

bool readWhole(Context& p_stContext, const std::string& p_strPath, std::string& p_strData) {
    PlatformPort& port = p_stContext.port;
    PXFile file;
    if (!port.fileOpen(file, p_strPath.c_str(), PXFile::modeRead)) {
        return false;
    }
    const INT64 nLength = port.fileLength(file);
    if (nLength < 0 || nLength > (64LL << 20)) {
        port.fileClose(file);
        return false;
    }
    p_strData.assign(static_cast<size_t>(nLength), '\0');
    int nRead = nLength == 0 ? 0 : port.fileRead(file, &p_strData[0], static_cast<unsigned int>(nLength));
    port.fileClose(file);
    if (nRead < 0) {
        return false;
    }
    p_strData.resize(static_cast<size_t>(nRead));
    return nRead == nLength;
}

std::vector<std::string> listDirectory(Context& p_stContext, const std::string& p_strDir) {
    std::vector<std::string> names;
    DIR* pDir = ::opendir(p_stContext.port.resolve(p_strDir).c_str());
    if (pDir == nullptr) {
        return names;
    }
    while (dirent* pEntry = ::readdir(pDir)) {
        std::string strName = pEntry->d_name;
        if (strName != "." && strName != "..") {
            names.push_back(strName);
        }
    }
    ::closedir(pDir);
    return names;
}

} // namespace conformance
