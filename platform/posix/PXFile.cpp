// Whole-file access through C streams; absolute paths resolve under the
// device root.
#include "platform/PXFile.h"

#include <sys/stat.h>

#include <climits>

#include "platform/PXFileSystem.h"

namespace {

// The stdio mode for a combination of PXFile mode bits; nullptr when the
// combination names no access.
const char* stdioMode(unsigned char p_nMode) {
    bool bRead = (p_nMode & PXFile::modeRead) != 0;
    bool bWrite = (p_nMode & PXFile::modeWrite) != 0;
    bool bAppend = (p_nMode & PXFile::modeAppend) != 0;
    bool bTruncate = (p_nMode & PXFile::modeTruncate) != 0;
    if (bAppend) {
        return bRead ? "a+b" : "ab";
    }
    if (bWrite) {
        if (bTruncate || !bRead) {
            return bRead ? "w+b" : "wb";
        }
        return "r+b";
    }
    if (bRead) {
        return "rb";
    }
    return nullptr;
}

// Reads one line; false when the stream is at its end before any character.
bool readLine(FILE* p_pStream, std::string& p_strLine) {
    p_strLine.clear();
    int nChar = std::fgetc(p_pStream);
    if (nChar == EOF) {
        return false;
    }
    while (nChar != EOF && nChar != '\n') {
        p_strLine.push_back(static_cast<char>(nChar));
        nChar = std::fgetc(p_pStream);
    }
    if (nChar == '\n' && !p_strLine.empty() && p_strLine[p_strLine.size() - 1] == '\r') {
        p_strLine.erase(p_strLine.size() - 1);
    }
    return true;
}

} // namespace

PXFile::PXFile() : m_pFile(nullptr) {}

PXFile::~PXFile() { close(); }

bool PXFile::open(const char* path, unsigned char mode) {
    close();
    if (path == nullptr || *path == '\0') {
        return false;
    }
    const char* szMode = stdioMode(mode);
    if (szMode == nullptr) {
        return false;
    }
    std::string strPath = pxfs::resolve(path);
    m_pFile = std::fopen(strPath.c_str(), szMode);
    if (m_pFile == nullptr) {
        return false;
    }
    // A directory opens for reading on Linux but is no file to read.
    struct stat st;
    if (::fstat(::fileno(m_pFile), &st) == 0 && S_ISDIR(st.st_mode)) {
        std::fclose(m_pFile);
        m_pFile = nullptr;
        return false;
    }
    m_strPath = strPath;
    return true;
}

int PXFile::read(char* buffer, unsigned int size) {
    if (m_pFile == nullptr || buffer == nullptr || size == 0) {
        return 0;
    }
    size_t nSize = size > static_cast<unsigned int>(INT_MAX) ? static_cast<size_t>(INT_MAX) : size;
    return static_cast<int>(std::fread(buffer, 1, nSize, m_pFile));
}

int PXFile::write(char* buffer, unsigned int size) {
    if (m_pFile == nullptr || buffer == nullptr || size == 0) {
        return 0;
    }
    size_t nSize = size > static_cast<unsigned int>(INT_MAX) ? static_cast<size_t>(INT_MAX) : size;
    return static_cast<int>(std::fwrite(buffer, 1, nSize, m_pFile));
}

INT64 PXFile::getLength() const {
    if (m_pFile == nullptr) {
        return 0;
    }
    // Seeking flushes pending output, so the length includes it.
    off_t nPos = ::ftello(m_pFile);
    if (nPos < 0 || ::fseeko(m_pFile, 0, SEEK_END) != 0) {
        return 0;
    }
    off_t nEnd = ::ftello(m_pFile);
    ::fseeko(m_pFile, nPos, SEEK_SET);
    return nEnd < 0 ? 0 : static_cast<INT64>(nEnd);
}

void PXFile::close() {
    if (m_pFile != nullptr) {
        std::fclose(m_pFile);
        m_pFile = nullptr;
    }
    m_strPath.clear();
}

std::string PXFile::ReadOneLine(FILE* stream) {
    std::string strLine;
    if (stream != nullptr) {
        readLine(stream, strLine);
    }
    return strLine;
}

std::vector<std::string> PXFile::ReadLines() const {
    std::vector<std::string> lines;
    if (m_pFile == nullptr) {
        return lines;
    }
    off_t nPos = ::ftello(m_pFile);
    if (::fseeko(m_pFile, 0, SEEK_SET) != 0) {
        return lines;
    }
    std::string strLine;
    while (readLine(m_pFile, strLine)) {
        lines.push_back(strLine);
    }
    std::clearerr(m_pFile);
    if (nPos >= 0) {
        ::fseeko(m_pFile, nPos, SEEK_SET);
    }
    return lines;
}
