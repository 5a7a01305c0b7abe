// tarnix-conformance: checks a device's ISP and platform port against what
// libtarnix needs of them, before the library runs on the device.
//
//   tarnix-conformance [--channel N] [--only PATTERN] [--json FILE] ...
//   tarnix-conformance --list
//
// One line per check, a summary, exit code 0 only when no check failed
// (1 when one did, 2 for a usage error). docs/porting.md explains the report.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "conformance/Check.h"
#include "conformance/PlatformPort.h"
#include "conformance/tool/Host.h"
#include "conformance/tool/Report.h"

namespace {

const int kExitFailed = 1;
const int kExitUsage = 2;

int usageError(const std::string& p_strMessage) {
    std::fprintf(stderr, "tarnix-conformance: %s\n", p_strMessage.c_str());
    return kExitUsage;
}

void printLine(const std::string& p_strLine) {
    std::fputs(p_strLine.c_str(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    using namespace conformance;
    CLI::App app{"Checks this device's ISP and platform port against what libtarnix needs of them.",
                 "tarnix-conformance"};
    Options options;
    HostOptions hostOptions;
    bool bList = false;
    bool bVerbose = false;
    std::string strOnly;
    std::string strJson;
    std::string strScratch;
    app.add_flag("--list", bList, "list the checks and exit");
    app.add_option("--only", strOnly, "run the checks whose id matches (shell patterns, comma-separated: 'isp.*')")
        ->type_name("PATTERN");
    app.add_option("--channel", options.channel, "channel as the library numbers it, from 1 (ISP channel N-1)")
        ->check(CLI::Range(1, 1 << 20))
        ->type_name("N");
    app.add_option("--other-channel", options.otherChannel,
                   "second channel for the interference check (default: channel + 1; 0: none)")
        ->check(CLI::Range(0, 1 << 20))
        ->type_name("N");
    app.add_option("--slow-ms", options.slowMs, "latency warning threshold, median in milliseconds (default 5)")
        ->check(CLI::PositiveNumber)
        ->type_name("MS");
    app.add_option("--calls", options.latencyCalls, "calls per command for the latency figures (default 20)")
        ->check(CLI::Range(1, 100000))
        ->type_name("N");
    app.add_option("--json", strJson, "also write the report as JSON to FILE")->type_name("FILE");
    app.add_option("--scratch", strScratch,
                   "device directory for scratch files (default /tmp/tarnix-conformance-<pid>, removed after)")
        ->type_name("DIR");
    app.add_flag("--verbose", bVerbose, "print every finding under its check");
    addHostOptions(app, hostOptions);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        return usageError(std::string(e.what()) + " (see --help)");
    }

    if (bList) {
        for (const CheckDef& def : allChecks()) {
            std::string strId = def.id;
            printLine(strId + std::string(strId.size() < 24 ? 24 - strId.size() : 1, ' ') + def.title);
        }
        return 0;
    }
    bool bAny = false;
    for (const CheckDef& def : allChecks()) {
        bAny = bAny || matchesPattern(def.id, strOnly);
    }
    if (!bAny) {
        return usageError("no check matches '" + strOnly + "' (see --list)");
    }
    if (options.otherChannel == options.channel) {
        return usageError("--other-channel must differ from --channel");
    }
    if (!strScratch.empty() && strScratch[0] != '/') {
        return usageError("--scratch needs an absolute device path, not '" + strScratch + "'");
    }
    options.scratchDir = !strScratch.empty() ? strScratch : "/tmp/tarnix-conformance-" + std::to_string(::getpid());

    std::string strError;
    std::vector<std::string> vecNotes;
    if (!prepareHost(hostOptions, strError, vecNotes)) {
        return usageError(strError);
    }

    PlatformPort port(hostControls());
    Context context{port, deviceIsp(), options};
    std::string strHeader = "tarnix-conformance " TARNIX_CONFORMANCE_VERSION ": channel " +
                            std::to_string(options.channel) + " (ISP channel " + std::to_string(options.ispChannel()) +
                            ")";
    for (const std::string& strNote : vecNotes) {
        strHeader += "; " + strNote;
    }
    printLine(strHeader);

    auto tStart = std::chrono::steady_clock::now();
    std::vector<CheckRun> runs = runChecks(context, strOnly, [bVerbose](const CheckRun& p_stRun) {
        printLine(checkLine(p_stRun));
        if (bVerbose) {
            for (const std::string& strDetail : detailLines(p_stRun)) {
                printLine(strDetail);
            }
        }
    });
    const double dElapsedMs =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - tStart).count();
    const Summary summary = summarise(runs);
    printLine(summaryLine(summary, dElapsedMs));

    if (!strJson.empty()) {
        std::ofstream out(strJson, std::ios::binary | std::ios::trunc);
        out << reportJson(options, vecNotes, runs, dElapsedMs).dump(2) << "\n";
        out.close();
        if (!out) {
            return usageError("cannot write the JSON report to " + strJson);
        }
    }
    return summary.fail == 0 ? 0 : kExitFailed;
}
