#pragma once
// The library's console output during a sensorctl run. The library writes
// its traces, assertion reports and status lines to the process's stdout
// (printf, puts, from any thread). While a LibraryConsole lives, the stdout
// file descriptor is a pipe: what arrives there goes to a log file, without
// colour codes, and with --verbose to the real stdout as well (colours only
// when that is a terminal). sensorctl's own lines go to the real stdout
// through ownStream(). At the end, the library's assertion reports and
// error traces are summarised on stderr, one line each.
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

namespace sensorctl {

class LibraryConsole {
public:
    // Starts the capture. p_strLogPath: the log file (truncated), "" for
    // none; p_bVerbose: also show the library's lines on the real stdout.
    LibraryConsole(const std::string& p_strLogPath, bool p_bVerbose);
    ~LibraryConsole();
    LibraryConsole(const LibraryConsole&) = delete;
    LibraryConsole& operator=(const LibraryConsole&) = delete;

    // Ends the capture (stdout is the real one again), prints the summary
    // lines on stderr and, with a log, one line saying where it is (unless
    // a document went to stdout, which stays as it is).
    void finish();

private:
    // What the pump has seen of the library's reports.
    struct Reports {
        size_t nCount = 0;
        std::string strFirstSite;  // "fun:... line:..."
        std::string strFirstText;  // the line after the first report's header
    };

    void pump();
    void scanLine(const std::string& p_strLine);
    void writeAll(int p_nFd, const char* p_pData, size_t p_nSize);
    static std::string summary(const Reports& p_stReports, const char* p_szWhat, const std::string& p_strWhere);

    std::string m_strLogPath;
    bool m_bVerbose;
    bool m_bColourToReal;   // the real stdout is a terminal
    bool m_bFinished = false;
    int m_nRealOut = -1;    // the real stdout
    int m_nPipeRead = -1;
    int m_nLog = -1;
    FILE* m_pOwn = nullptr; // sensorctl's own stream on the real stdout (quiet runs)
    std::thread m_thread;

    // Pump state: the colour filter and the line being scanned.
    int m_nEscape = 0;
    std::string m_strLine;
    Reports* m_pAwaitingText = nullptr; // a header was seen; its text is the next line
    Reports m_stAsserts;
    Reports m_stErrors;
};

} // namespace sensorctl
