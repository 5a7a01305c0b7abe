// __assert_fail is declared by <assert.h> only without NDEBUG.
#undef NDEBUG
#include "controller/SensorDebug.h"

#include <assert.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/PXFile.h"
#include "platform/PXFileSystem.h"
#include "platform/PXLogger.h"

std::atomic<int32_t> g_nDebugLevel(1);
std::atomic<bool> g_bEnAssert(false);

namespace {

const char* const kDebugMarkerFile = "/tmp/Debug.sign";
const char* const kErrorLogFile = "/mnt/mtd/log/SensorError.log";
const unsigned int kErrorLogSize = 10240;
const unsigned int kErrorLogFiles = 3;

const char* const kTagAssert = "[sensor assert]";

struct KindInfo {
    const char* tag;
    int colour;
};

KindInfo kindInfo(tarnix::diag::TraceKind kind) {
    switch (kind) {
    case tarnix::diag::TRACE_ERR:
        return {"[sensor err]", 0};
    case tarnix::diag::TRACE_WARN:
        return {"[sensor warn]", 0};
    case tarnix::diag::TRACE_INFO:
        return {"[sensor info]", 35};
    case tarnix::diag::TRACE_DBG:
    default:
        return {"[sensor dbg]", 0};
    }
}

// The thresholds are strict comparisons and differ per kind on purpose: an
// error trace is as quiet as a debug trace.
bool kindEnabled(tarnix::diag::TraceKind kind, int level) {
    switch (kind) {
    case tarnix::diag::TRACE_WARN:
        return level > 3;
    case tarnix::diag::TRACE_ERR:
    case tarnix::diag::TRACE_DBG:
        return level > 5;
    case tarnix::diag::TRACE_INFO:
        return level > 6;
    }
    return false;
}

void printColourPrefix(int colour) { std::printf("\033[%dm\033[%dm", 0, colour); }

void printColourReset() { std::printf("\033[0m"); }

// Formats a message of any length (the merged style shown at a high debug
// level is tens of kilobytes). The console gets the whole text.
std::string formatText(const char* fmt, va_list args) {
    if (fmt == nullptr) {
        return std::string();
    }
    char small[512];
    va_list copy;
    va_copy(copy, args);
    int nLen = std::vsnprintf(small, sizeof(small), fmt, copy);
    va_end(copy);
    if (nLen < 0) {
        return std::string();
    }
    if (static_cast<size_t>(nLen) < sizeof(small)) {
        return std::string(small, static_cast<size_t>(nLen));
    }
    std::string text(static_cast<size_t>(nLen) + 1, '\0');
    std::vsnprintf(&text[0], text.size(), fmt, args);
    text.resize(static_cast<size_t>(nLen));
    return text;
}

// An error-log entry keeps at most kMaxMessage - 1 characters of its text.
std::string forLog(const std::string& text) {
    const size_t nMax = static_cast<size_t>(tarnix::diag::kMaxMessage) - 1;
    return text.size() > nMax ? text.substr(0, nMax) : text;
}

void writeErrorLog(const char* tag, const char* text) {
    PXLogger logger;
    logger.init(kErrorLogFile, kErrorLogSize, kErrorLogFiles);
    logger.writeLog(tag, text);
}

} // namespace

void updateDebugLevel() {
    if (!pxfs::exists(kDebugMarkerFile)) {
        g_nDebugLevel = 1;
        g_bEnAssert = false;
        return;
    }
    PXFile file;
    if (!file.open(kDebugMarkerFile, 1)) {
        return;
    }
    std::string line = PXFile::ReadOneLine(file.getFileHandle());
    g_nDebugLevel = line.empty() ? 1 : std::atoi(line.c_str());
    line = PXFile::ReadOneLine(file.getFileHandle());
    g_bEnAssert = line.empty() ? false : (std::atoi(line.c_str()) != 0);
    file.close();
}

namespace tarnix {
namespace diag {

void trace(TraceKind kind, int colour, const char* file, const char* func, int line, const char* fmt, ...) {
    updateDebugLevel();
    if (!kindEnabled(kind, g_nDebugLevel.load())) {
        return;
    }
    KindInfo info = kindInfo(kind);
    va_list args;
    va_start(args, fmt);
    std::string message = formatText(fmt, args);
    va_end(args);

    printColourPrefix(colour >= 0 ? colour : info.colour);
    std::printf("%s file:%s fun:%s line:%d\n", info.tag, file, func, line);
    std::fputs(message.c_str(), stdout);
    printColourReset();

    if (kind == TRACE_WARN) {
        PXLogger logger;
        logger.init(kErrorLogFile, kErrorLogSize, kErrorLogFiles);
        char header[kMaxMessage];
        std::snprintf(header, sizeof(header), "file:%s fun:%s line:%d\n", file, func, line);
        logger.writeLog(info.tag, header);
        logger.writeLog(info.tag, forLog(message).c_str());
    }
}

void line(int levelAbove, int colour, const char* fmt, ...) {
    updateDebugLevel();
    if (!(g_nDebugLevel.load() > levelAbove)) {
        return;
    }
    va_list args;
    va_start(args, fmt);
    std::string message = formatText(fmt, args);
    va_end(args);
    printColourPrefix(colour);
    std::fputs(message.c_str(), stdout);
    printColourReset();
}

void assertFailed(const char* file, const char* func, int line, const char* prettyFunc, const char* condText,
                  const char* fmt, ...) {
    char buffer[kMaxMessage];

    updateDebugLevel();
    if (g_nDebugLevel.load() >= 0) {
        printColourPrefix(31);
        std::printf("%s file:%s fun:%s line:%d\n", kTagAssert, file, func, line);
        std::printf("%s   ~~~Assertion failed.\n", condText);
        printColourReset();
        PXLogger logger;
        logger.init(kErrorLogFile, kErrorLogSize, kErrorLogFiles);
        std::snprintf(buffer, sizeof(buffer), "file:%s fun:%s line:%d\n", file, func, line);
        logger.writeLog(kTagAssert, buffer);
        std::snprintf(buffer, sizeof(buffer), "%s   ~~~Assertion failed.\n", condText);
        logger.writeLog(kTagAssert, buffer);
    }

    updateDebugLevel();
    if (g_nDebugLevel.load() >= 0) {
        va_list args;
        va_start(args, fmt);
        std::string detail = formatText(fmt, args);
        va_end(args);
        printColourPrefix(31);
        std::fputs(detail.c_str(), stdout);
        printColourReset();
        writeErrorLog(kTagAssert, forLog(detail).c_str());
    }

    if (g_bEnAssert.load()) {
        std::fflush(stdout);
        __assert_fail("bRet", file, static_cast<unsigned int>(line), prettyFunc);
    }
}

void report(const char* file, const char* func, int line, const char* fmt, ...) {
    updateDebugLevel();
    if (g_nDebugLevel.load() < 0) {
        return;
    }
    char header[kMaxMessage];
    std::snprintf(header, sizeof(header), "file:%s fun:%s line:%d\n", file, func, line);
    va_list args;
    va_start(args, fmt);
    std::string message = formatText(fmt, args);
    va_end(args);
    printColourPrefix(31);
    std::printf("%s %s", kTagAssert, header);
    std::fputs(message.c_str(), stdout);
    printColourReset();
    PXLogger logger;
    logger.init(kErrorLogFile, kErrorLogSize, kErrorLogFiles);
    logger.writeLog(kTagAssert, header);
    logger.writeLog(kTagAssert, forLog(message).c_str());
}

} // namespace diag
} // namespace tarnix
