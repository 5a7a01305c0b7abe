#pragma once
// Diagnostics of the library: two process-wide switches re-read from
// "/tmp/Debug.sign" before every report, a level-gated coloured console trace
// and an assertion report mirrored into "/mnt/mtd/log/SensorError.log".
//
// A translation unit defines SNS_SOURCE_FILE (the source name its reports
// carry, e.g. "ISensorController.cpp") before including this header.
#include "controller/DebugSwitches.h"

namespace tarnix {
namespace diag {

enum TraceKind { TRACE_ERR, TRACE_WARN, TRACE_INFO, TRACE_DBG };

// Longest text of one error-log entry; longer texts are cut there (the
// console always gets the whole text).
constexpr int kMaxMessage = 4096;

// A tagged trace of the given kind; colour < 0 takes the kind's own colour.
void trace(TraceKind kind, int colour, const char* file, const char* func, int line, const char* fmt, ...)
    __attribute__((format(printf, 6, 7)));

// An untagged detail line, printed when g_nDebugLevel > levelAbove.
void line(int levelAbove, int colour, const char* fmt, ...) __attribute__((format(printf, 3, 4)));

// The assertion report of a failed condition; aborts when g_bEnAssert is set.
void assertFailed(const char* file, const char* func, int line, const char* prettyFunc, const char* condText,
                  const char* fmt, ...) __attribute__((format(printf, 6, 7)));

// A report line under the "[sensor assert]" tag without a condition and
// without abort: header plus the formatted message, on the console at
// level >= 0 and in the error log.
void report(const char* file, const char* func, int line, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

// The function a report names. A helper that carries out one step of a
// larger function reports under that function's name and signature, as the
// step's lines did when they stood in the function itself.
struct Site {
    const char* func;
    const char* prettyFunc;
};

} // namespace diag
} // namespace tarnix

// The calling function as a report site: pass SENSOR_SITE() to a step helper.
#define SENSOR_SITE() (::tarnix::diag::Site{__func__, __PRETTY_FUNCTION__})

#ifndef SNS_SOURCE_FILE
#define SNS_SOURCE_FILE "ISensorController.cpp"
#endif

// Gated traces: SENSOR_TRACE(TRACE_DBG, "fmt", ...).
#define SENSOR_TRACE(kind, ...) \
    ::tarnix::diag::trace(::tarnix::diag::kind, -1, SNS_SOURCE_FILE, __func__, __LINE__, __VA_ARGS__)
// Trace with an explicit colour and source line.
#define SENSOR_TRACE_AT(kind, colour, lineNo, ...) \
    ::tarnix::diag::trace(::tarnix::diag::kind, colour, SNS_SOURCE_FILE, __func__, lineNo, __VA_ARGS__)
// Untagged detail line: SENSOR_LINE(5, 31, "fmt", ...) prints at level > 5 in colour 31.
#define SENSOR_LINE(levelAbove, colour, ...) ::tarnix::diag::line(levelAbove, colour, __VA_ARGS__)

// Assertion report. The condition is evaluated exactly once. The detail
// format may be "" (nothing printed between colour prefix and reset).
#define SENSOR_ASSERT_AT(lineNo, cond, condText, ...)                                                       \
    do {                                                                                                    \
        if (!(cond)) {                                                                                      \
            ::tarnix::diag::assertFailed(SNS_SOURCE_FILE, __func__, lineNo, __PRETTY_FUNCTION__, condText,  \
                                         __VA_ARGS__);                                                      \
        }                                                                                                   \
    } while (0)
// Condition text taken from the source: SENSOR_ASSERT(x > 0, "x(%d)\n", x).
#define SENSOR_ASSERT(cond, ...) SENSOR_ASSERT_AT(__LINE__, cond, #cond, __VA_ARGS__)
// Condition text given explicitly.
#define SENSOR_ASSERT_T(cond, condText, ...) SENSOR_ASSERT_AT(__LINE__, cond, condText, __VA_ARGS__)
// Report line without condition: SENSOR_REPORT_AT(80, "cmd_list[%d]=%d\n", i, cmd).
#define SENSOR_REPORT_AT(lineNo, ...) ::tarnix::diag::report(SNS_SOURCE_FILE, __func__, lineNo, __VA_ARGS__)

// The same reports made by a step helper under its caller's name (site from
// SENSOR_SITE() in the caller).
#define SENSOR_TRACE_FOR(site, kind, ...) \
    ::tarnix::diag::trace(::tarnix::diag::kind, -1, SNS_SOURCE_FILE, (site).func, __LINE__, __VA_ARGS__)
#define SENSOR_ASSERT_FOR(site, lineNo, cond, condText, ...)                                                 \
    do {                                                                                                    \
        if (!(cond)) {                                                                                      \
            ::tarnix::diag::assertFailed(SNS_SOURCE_FILE, (site).func, lineNo, (site).prettyFunc, condText, \
                                         __VA_ARGS__);                                                      \
        }                                                                                                   \
    } while (0)
