#pragma once
// The checks of tarnix-conformance: what one check is, what it reports and
// what it runs against. Every check exercises the device's ISP or platform
// port exactly where the library depends on it and says, in the library's
// terms, what will not work when the port falls short.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace conformance {

class PlatformPort;

enum class Status { Ok, Fail, Warn, Skip };

// "ok", "FAIL", "warn" or "skip".
const char* statusWord(Status p_eStatus);

// What one check found.
struct Result {
    Status status = Status::Ok;
    // One line. A failure reads "expected ..., got ...; affects ..."; a
    // warning or a skip says why; an ok may carry a short note.
    std::string message;
    // Every single finding, one line each (--verbose and --json).
    std::vector<std::string> details;
    // Measurements for --json (latency figures, counts ...).
    nlohmann::json data = nlohmann::json::object();
};

Result ok(const std::string& p_strNote = "");
Result skip(const std::string& p_strWhy);
Result warn(const std::string& p_strWhat);
// "expected <expected>, got <got>; affects <affects>".
Result fail(const std::string& p_strExpected, const std::string& p_strGot, const std::string& p_strAffects);

// The ISP control call the checks use: ia_ioctrl_v2 unless a test hands in
// another one.
using IspCall = std::function<int(int channel, uint32_t cmd, unsigned int opt, void* data)>;
IspCall deviceIsp();

// Settings of a run.
struct Options {
    // The channel as the library's controller numbers it (1-based); the ISP
    // is addressed as channel - 1, exactly as the controller does.
    int channel = 1;
    // A second channel for the interference check: -1 for channel + 1, 0
    // for none.
    int otherChannel = -1;
    // Latency above this median (milliseconds) is reported as a warning.
    double slowMs = 5.0;
    // Calls per command for the latency figures.
    int latencyCalls = 20;
    // Device directory for the platform checks' scratch files; created and
    // removed by the checks that need it.
    std::string scratchDir = "/tmp/tarnix-conformance";

    int ispChannel() const { return channel - 1; }
    // -1 when there is none.
    int otherIspChannel() const {
        return otherChannel == 0 ? -1 : (otherChannel > 0 ? otherChannel : channel + 1) - 1;
    }
};

struct Context {
    PlatformPort& port;
    IspCall isp;
    Options options;
};

struct CheckDef {
    const char* id;      // "isp.read", "platform.thread.stop" ...
    const char* title;   // what is checked, one short line
    Result (*run)(Context&);
};

// Every check, ISP checks first, in the order a run takes them.
const std::vector<CheckDef>& allChecks();

// True when p_strId matches one of the comma-separated shell patterns
// ("isp.*,platform.file.*"); an empty pattern list matches every id.
bool matchesPattern(const std::string& p_strId, const std::string& p_strPatterns);

struct CheckRun {
    const CheckDef* def;
    Result result;
    double elapsedMs;
};

// Runs the matching checks in order; p_fnDone sees each result as soon as
// it is known.
std::vector<CheckRun> runChecks(Context& p_stContext, const std::string& p_strPatterns,
                                const std::function<void(const CheckRun&)>& p_fnDone);

} // namespace conformance
