#pragma once
// sensorctl's own output: result lines on stdout start with "sensorctl: ",
// errors go to stderr as one line starting with "sensorctl: error: ". The
// library's console lines go to a log file of the device root, or with
// --verbose to stdout as well (LibraryConsole).
#include <cstdio>
#include <stdexcept>
#include <string>

namespace sensorctl {

// Exit codes.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;   // the command ran and failed
constexpr int kExitUsage = 2;     // bad command line or bad argument text

// A failure that ends the command: its message and the exit code.
class ToolError : public std::runtime_error {
public:
    ToolError(int p_nCode, const std::string& p_strMessage) : std::runtime_error(p_strMessage), m_nCode(p_nCode) {}
    int code() const { return m_nCode; }

private:
    int m_nCode;
};

[[noreturn]] void usageError(const std::string& p_strMessage);
[[noreturn]] void runtimeError(const std::string& p_strMessage);

// The stream of sensorctl's own lines: the real stdout, also while the
// library's output is captured. setOwnStream(nullptr) restores stdout.
FILE* ownStream();
void setOwnStream(FILE* p_pStream);

// One result line: "sensorctl: " + text + "\n".
void say(const char* p_szFormat, ...) __attribute__((format(printf, 1, 2)));
// One line on stderr: "sensorctl: error: " + text.
void printError(const std::string& p_strMessage);
// One line on stderr: "sensorctl: warning: " + text.
void printWarning(const std::string& p_strMessage);
// Text printed as it is (documents such as the style XML).
void writeRaw(const std::string& p_strText);
// Whether a document went to stdout; nothing may follow it there.
bool documentWritten();

std::string format(const char* p_szFormat, ...) __attribute__((format(printf, 1, 2)));

} // namespace sensorctl
