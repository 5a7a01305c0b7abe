// tarnix_day: one channel of the sample box camera through a simulated day,
// once under a time plan of four windows and once under the day/night policy
// with a dawn and a dusk, while a host sets a parameter every 10 s and stores
// every minute. Prints the CPU time of the sensor thread and the ISP calls,
// files and bytes of the day, each next to its minimum.
//
//   tarnix_day [--day time-plan|day-night|both] [--passes N] [--json FILE] [--check]
//
// --check: exit 1 when any count differs from its minimum (the CI gate).
#include <unistd.h>

#include <cstdio>
#include <ext/stdio_filebuf.h>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "bench/day/DayReport.h"
#include "bench/day/DaySimulation.h"

using namespace tarnix_bench;

int main(int argc, char** argv) {
    CLI::App app("One channel of the box camera through a simulated day; counts against their minimums.");
    std::string strDay = "both";
    DayOptions stOptions;
    std::string strJson;
    bool bCheck = false;
    app.add_option("--day", strDay, "time-plan, day-night or both")
        ->check(CLI::IsMember({"time-plan", "day-night", "both"}));
    app.add_option("--passes", stOptions.passes, "sensor passes (simulated seconds) per day")
        ->check(CLI::Range(1L, 10L * 86400L));
    app.add_option("--json", strJson, "also write the figures as JSON to this file");
    app.add_flag("--check", bCheck, "exit 1 when a count differs from its minimum");
    CLI11_PARSE(app, argc, argv);

    const int nReportFd = quietStdout();
    if (nReportFd < 0) {
        return 1;
    }
    __gnu_cxx::stdio_filebuf<char> reportBuf(nReportFd, std::ios::out);
    std::ostream report(&reportBuf);

    std::vector<DayPolicy> vecPolicies;
    if (strDay != "day-night") {
        vecPolicies.push_back(DayPolicy::TimePlan);
    }
    if (strDay != "time-plan") {
        vecPolicies.push_back(DayPolicy::DayNight);
    }
    std::vector<DayResult> vecDays;
    for (DayPolicy ePolicy : vecPolicies) {
        std::cerr << "tarnix_day: simulating a day under the " << policyName(ePolicy) << " ..." << std::endl;
        stOptions.policy = ePolicy;
        BoxCamera objCamera;
        vecDays.push_back(runDay(objCamera, stOptions));
    }

    printDayTable(report, vecDays, stOptions);
    if (!strJson.empty()) {
        std::ofstream out(strJson);
        out << dayJson(vecDays, stOptions);
        if (!out) {
            std::cerr << "tarnix_day: cannot write " << strJson << std::endl;
            return 1;
        }
    }
    const std::vector<std::string> vecFailures = dayFailures(vecDays);
    if (!vecFailures.empty()) {
        report << "\nOff the minimum:\n";
        for (const std::string& strLine : vecFailures) {
            report << "  " << strLine << "\n";
        }
    }
    report.flush();
    if (bCheck && !vecFailures.empty()) {
        std::cerr << "tarnix_day: counts differ from their minimums (listed above)" << std::endl;
        return 1;
    }
    return 0;
}
