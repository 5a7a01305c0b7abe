// Capture of the library's console output during a sensorctl run.
#include "tools/sensorctl/LibraryConsole.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/sensorctl/Output.h"

namespace sensorctl {

namespace {

// Longest line kept for the summary; the rest of a longer line is dropped.
constexpr size_t kMaxScannedLine = 4096;

const char* const kAssertHeader = "[sensor assert] file:";
const char* const kErrorHeader = "[sensor err] file:";
const char* const kAssertSuffix = "   ~~~Assertion failed.";

bool startsWith(const std::string& p_strText, const char* p_szPrefix) {
    return p_strText.compare(0, std::strlen(p_szPrefix), p_szPrefix) == 0;
}

} // namespace

LibraryConsole::LibraryConsole(const std::string& p_strLogPath, bool p_bVerbose)
    : m_strLogPath(p_strLogPath), m_bVerbose(p_bVerbose), m_bColourToReal(false) {
    std::fflush(stdout);
    int aPipe[2];
    m_nRealOut = ::dup(STDOUT_FILENO);
    if (m_nRealOut < 0 || ::pipe2(aPipe, O_CLOEXEC) != 0) {
        // Without a pipe the library's lines stay on stdout, as with --verbose.
        if (m_nRealOut >= 0) {
            ::close(m_nRealOut);
            m_nRealOut = -1;
        }
        m_bFinished = true;
        printWarning(std::string("cannot capture the library's output: ") + std::strerror(errno));
        return;
    }
    m_bColourToReal = ::isatty(m_nRealOut) != 0;
    ::fcntl(m_nRealOut, F_SETFD, FD_CLOEXEC);
    if (!m_strLogPath.empty()) {
        m_nLog = ::open(m_strLogPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (m_nLog < 0) {
            printWarning("cannot write " + m_strLogPath + " (" + std::strerror(errno) +
                         "); the library's output of this run is not kept");
            m_strLogPath.clear();
        }
    }
    ::dup2(aPipe[1], STDOUT_FILENO);
    ::close(aPipe[1]);
    m_nPipeRead = aPipe[0];
    if (!m_bVerbose) {
        // sensorctl's own lines go to the real stdout; with --verbose they go
        // through stdout like the library's, so both keep their order.
        m_pOwn = ::fdopen(::dup(m_nRealOut), "w");
        if (m_pOwn != nullptr) {
            setOwnStream(m_pOwn);
        }
    }
    m_thread = std::thread(&LibraryConsole::pump, this);
}

LibraryConsole::~LibraryConsole() { finish(); }

void LibraryConsole::finish() {
    if (m_bFinished) {
        return;
    }
    m_bFinished = true;
    std::fflush(stdout);
    if (m_pOwn != nullptr) {
        std::fflush(m_pOwn);
    }
    // The real stdout back in place closes the pipe's only writer: the pump
    // reads what is left and ends.
    ::dup2(m_nRealOut, STDOUT_FILENO);
    m_thread.join();
    ::close(m_nPipeRead);
    if (m_nLog >= 0) {
        ::close(m_nLog);
    }
    if (m_pOwn != nullptr) {
        setOwnStream(nullptr);
        std::fclose(m_pOwn);
    }
    ::close(m_nRealOut);

    const std::string strWhere = m_strLogPath.empty() ? std::string() : " (see " + m_strLogPath + ")";
    if (m_stAsserts.nCount > 0) {
        printWarning(summary(m_stAsserts, "raised", strWhere));
    }
    if (m_stErrors.nCount > 0) {
        printWarning(summary(m_stErrors, "traced", strWhere));
    }
    // A document on stdout (style) stays as it is: nothing is appended to it.
    if (!m_strLogPath.empty() && !documentWritten()) {
        say("library output in %s", m_strLogPath.c_str());
    }
}

std::string LibraryConsole::summary(const Reports& p_stReports, const char* p_szWhat, const std::string& p_strWhere) {
    const bool bAssert = std::strcmp(p_szWhat, "raised") == 0;
    std::string strNoun = bAssert ? "assertion report" : "error";
    if (p_stReports.nCount != 1) {
        strNoun += "s";
    }
    std::string strText = format("the library %s %zu %s", p_szWhat, p_stReports.nCount, strNoun.c_str());
    strText += p_stReports.nCount == 1 ? " in " : ", the first in ";
    strText += p_stReports.strFirstSite + ": " + p_stReports.strFirstText + p_strWhere;
    return strText;
}

void LibraryConsole::writeAll(int p_nFd, const char* p_pData, size_t p_nSize) {
    while (p_nSize > 0) {
        ssize_t nWritten = ::write(p_nFd, p_pData, p_nSize);
        if (nWritten < 0 && errno == EINTR) {
            continue;
        }
        if (nWritten <= 0) {
            return; // a reader gone away (sensorctl ... | head) loses the rest
        }
        p_pData += nWritten;
        p_nSize -= static_cast<size_t>(nWritten);
    }
}

void LibraryConsole::pump() {
    char aChunk[4096];
    std::string strPlain;
    for (;;) {
        ssize_t nRead = ::read(m_nPipeRead, aChunk, sizeof(aChunk));
        if (nRead < 0 && errno == EINTR) {
            continue;
        }
        if (nRead <= 0) {
            break;
        }
        // The text without the colour sequences (ESC '[' ... final byte); a
        // sequence cut by the chunk's end goes on in the next one.
        strPlain.clear();
        for (ssize_t i = 0; i < nRead; ++i) {
            const char c = aChunk[i];
            if (m_nEscape == 0) {
                if (c == '\033') {
                    m_nEscape = 1;
                } else {
                    strPlain += c;
                }
            } else if (m_nEscape == 1) {
                m_nEscape = (c == '[') ? 2 : 0;
            } else if (c >= '@' && c <= '~') {
                m_nEscape = 0;
            }
        }
        if (m_nLog >= 0) {
            writeAll(m_nLog, strPlain.data(), strPlain.size());
        }
        if (m_bVerbose) {
            if (m_bColourToReal) {
                writeAll(m_nRealOut, aChunk, static_cast<size_t>(nRead));
            } else {
                writeAll(m_nRealOut, strPlain.data(), strPlain.size());
            }
        }
        for (char c : strPlain) {
            if (c == '\n') {
                scanLine(m_strLine);
                m_strLine.clear();
            } else if (m_strLine.size() < kMaxScannedLine) {
                m_strLine += c;
            }
        }
    }
    if (!m_strLine.empty()) {
        scanLine(m_strLine);
    }
}

void LibraryConsole::scanLine(const std::string& p_strLine) {
    if (m_pAwaitingText != nullptr) {
        std::string strText = p_strLine;
        const size_t nSuffix = std::strlen(kAssertSuffix);
        if (strText.size() >= nSuffix && strText.compare(strText.size() - nSuffix, nSuffix, kAssertSuffix) == 0) {
            strText.resize(strText.size() - nSuffix);
        }
        m_pAwaitingText->strFirstText = strText;
        m_pAwaitingText = nullptr;
        return;
    }
    Reports* pReports = startsWith(p_strLine, kAssertHeader) ? &m_stAsserts
                        : startsWith(p_strLine, kErrorHeader) ? &m_stErrors
                                                               : nullptr;
    if (pReports == nullptr) {
        return;
    }
    if (++pReports->nCount == 1) {
        // "[sensor ...] file:F fun:NAME line:N": the report names NAME.
        size_t nFun = p_strLine.find(" fun:");
        size_t nEnd = nFun != std::string::npos ? p_strLine.find(' ', nFun + 5) : std::string::npos;
        pReports->strFirstSite =
            nFun != std::string::npos ? p_strLine.substr(nFun + 5, nEnd == std::string::npos ? std::string::npos
                                                                                              : nEnd - nFun - 5)
                                      : std::string("the library");
        m_pAwaitingText = pReports;
    }
}

} // namespace sensorctl
