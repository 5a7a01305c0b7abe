// Result, warning and error lines of sensorctl.
#include "tools/sensorctl/Output.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace sensorctl {

namespace {

std::string vformat(const char* p_szFormat, va_list p_args) {
    va_list copy;
    va_copy(copy, p_args);
    int nLen = std::vsnprintf(nullptr, 0, p_szFormat, copy);
    va_end(copy);
    if (nLen <= 0) {
        return std::string();
    }
    std::vector<char> buffer(static_cast<size_t>(nLen) + 1);
    std::vsnprintf(buffer.data(), buffer.size(), p_szFormat, p_args);
    return std::string(buffer.data(), static_cast<size_t>(nLen));
}

FILE* g_pOwnStream = nullptr;
bool g_bDocumentWritten = false;

} // namespace

FILE* ownStream() { return g_pOwnStream != nullptr ? g_pOwnStream : stdout; }

void setOwnStream(FILE* p_pStream) { g_pOwnStream = p_pStream; }

void usageError(const std::string& p_strMessage) { throw ToolError(kExitUsage, p_strMessage); }

void runtimeError(const std::string& p_strMessage) { throw ToolError(kExitFailure, p_strMessage); }

std::string format(const char* p_szFormat, ...) {
    va_list args;
    va_start(args, p_szFormat);
    std::string text = vformat(p_szFormat, args);
    va_end(args);
    return text;
}

void say(const char* p_szFormat, ...) {
    va_list args;
    va_start(args, p_szFormat);
    std::string text = vformat(p_szFormat, args);
    va_end(args);
    std::fputs("sensorctl: ", ownStream());
    std::fputs(text.c_str(), ownStream());
    std::fputc('\n', ownStream());
}

void printError(const std::string& p_strMessage) {
    // Whatever is pending on stdout belongs before the error.
    std::fflush(ownStream());
    std::fprintf(stderr, "sensorctl: error: %s\n", p_strMessage.c_str());
    std::fflush(stderr);
}

void printWarning(const std::string& p_strMessage) {
    std::fflush(ownStream());
    std::fprintf(stderr, "sensorctl: warning: %s\n", p_strMessage.c_str());
    std::fflush(stderr);
}

bool documentWritten() { return g_bDocumentWritten; }

void writeRaw(const std::string& p_strText) {
    g_bDocumentWritten = true;
    std::fwrite(p_strText.data(), 1, p_strText.size(), ownStream());
    if (!p_strText.empty() && p_strText.back() != '\n') {
        std::fputc('\n', ownStream());
    }
}

} // namespace sensorctl
