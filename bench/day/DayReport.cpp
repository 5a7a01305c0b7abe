#include "bench/day/DayReport.h"

#include <cstdio>

#include <nlohmann/json.hpp>

namespace tarnix_bench {

namespace {

// One row of the table: a label and a cell per day.
void row(std::ostream& p_out, const std::string& p_strLabel, const std::vector<std::string>& p_vecCells) {
    char szCell[64];
    std::snprintf(szCell, sizeof(szCell), "%-44s", p_strLabel.c_str());
    p_out << szCell;
    for (const std::string& strCell : p_vecCells) {
        std::snprintf(szCell, sizeof(szCell), " %18s", strCell.c_str());
        p_out << szCell;
    }
    p_out << "\n";
}

template <typename Fn>
std::vector<std::string> cells(const std::vector<DayResult>& p_vecDays, Fn p_fn) {
    std::vector<std::string> vec;
    for (const DayResult& stDay : p_vecDays) {
        vec.push_back(p_fn(stDay));
    }
    return vec;
}

std::string number(long p_n) { return std::to_string(p_n); }

std::string fixed(double p_d, int p_nDecimals) {
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%.*f", p_nDecimals, p_d);
    return szText;
}

std::string ratio(const Tally& p_stTally) { return number(p_stTally.actual) + " / " + number(p_stTally.minimum); }

double perIdlePassUs(const DayResult& d) { return d.idlePasses > 0 ? d.cpuIdleSeconds / d.idlePasses * 1e6 : 0.0; }
double perIdleRunPassUs(const DayResult& d) {
    return d.idleRunPasses > 0 ? d.idleRunSeconds / d.idleRunPasses * 1e6 : 0.0;
}

nlohmann::json tallyJson(const Tally& p_stTally) {
    return {{"actual", p_stTally.actual}, {"minimum", p_stTally.minimum}, {"beyond", p_stTally.beyond()}};
}

} // namespace

void printDayTable(std::ostream& p_out, const std::vector<DayResult>& p_vecDays, const DayOptions& p_options) {
    p_out << "A day in the life: box camera, channel 1, " << p_options.passes << " sensor passes (one a second), "
          << "a host set every " << p_options.setEvery << " s, a store every " << p_options.storeEvery << " s\n\n";
    row(p_out, "", cells(p_vecDays, [](const DayResult& d) { return std::string(policyName(d.policy)); }));
    row(p_out, "scheme switches", cells(p_vecDays, [](const DayResult& d) { return number(d.switches); }));
    row(p_out, "sensor thread CPU, all passes (ms)",
        cells(p_vecDays, [](const DayResult& d) { return fixed(d.cpuSeconds * 1e3, 1); }));
    row(p_out, "  per idle pass, in the day (us)",
        cells(p_vecDays, [](const DayResult& d) { return fixed(perIdlePassUs(d), 2); }));
    row(p_out, "  per idle pass, back to back (us)",
        cells(p_vecDays, [](const DayResult& d) { return fixed(perIdleRunPassUs(d), 2); }));
    row(p_out, "ISP calls / minimum", cells(p_vecDays, [](const DayResult& d) { return ratio(d.isp()); }));
    row(p_out, "  beyond the minimum", cells(p_vecDays, [](const DayResult& d) { return number(d.isp().beyond()); }));
    row(p_out, "  switches: sets / keys that differ",
        cells(p_vecDays, [](const DayResult& d) { return ratio(d.ispSwitch); }));
    row(p_out, "  passes: day/night reads / needed",
        cells(p_vecDays, [](const DayResult& d) { return ratio(d.ispRead); }));
    row(p_out, "  host sets: calls / values changed",
        cells(p_vecDays, [](const DayResult& d) { return ratio(d.ispHost); }));
    row(p_out, "  idle passes and stores: calls / none",
        cells(p_vecDays, [](const DayResult& d) { return ratio(d.ispOther); }));
    row(p_out, "files written / schemes changed", cells(p_vecDays, [](const DayResult& d) { return ratio(d.files); }));
    row(p_out, "bytes written / bytes changed", cells(p_vecDays, [](const DayResult& d) { return ratio(d.bytes); }));
    row(p_out, "data flushes, directory flushes", cells(p_vecDays, [](const DayResult& d) {
            return number(d.syncs) + ", " + number(d.dirSyncs);
        }));
    row(p_out, "host sets (values changed)", cells(p_vecDays, [](const DayResult& d) {
            return number(d.hostSets) + " (" + number(d.hostChanges) + ")";
        }));
    row(p_out, "stores (with a changed scheme)", cells(p_vecDays, [](const DayResult& d) {
            return number(d.stores) + " (" + number(d.storesChanged) + ")";
        }));
    row(p_out, "wall time of the run (s)", cells(p_vecDays, [](const DayResult& d) { return fixed(d.wallSeconds, 1); }));
    p_out << "\nCPU time of the passes, on the thread that runs them, including the simulated ISP's own work.\n"
          << "In the day: the CPU clock read around each pass, less the cost of one reading ("
          << (p_vecDays.empty() ? std::string("-") : fixed(p_vecDays.front().timerOverheadSeconds * 1e9, 0))
          << " ns).\nBack to back: "
          << (p_vecDays.empty() ? 0L : p_vecDays.front().idleRunPasses)
          << " idle passes after the day, read in blocks of 1000.\n";
}

std::string dayJson(const std::vector<DayResult>& p_vecDays, const DayOptions& p_options) {
    nlohmann::json objRoot;
    objRoot["passes"] = p_options.passes;
    objRoot["set_every_s"] = p_options.setEvery;
    objRoot["store_every_s"] = p_options.storeEvery;
    for (const DayResult& d : p_vecDays) {
        nlohmann::json& objDay = objRoot["days"][policyKey(d.policy)];
        objDay["switches"] = d.switches;
        objDay["idle_passes"] = d.idlePasses;
        objDay["cpu_ms"] = d.cpuSeconds * 1e3;
        objDay["cpu_per_idle_pass_us"] = perIdlePassUs(d);
        objDay["cpu_per_idle_pass_back_to_back_us"] = perIdleRunPassUs(d);
        objDay["isp_calls"] = tallyJson(d.isp());
        objDay["isp_switch_sets"] = tallyJson(d.ispSwitch);
        objDay["isp_pass_reads"] = tallyJson(d.ispRead);
        objDay["isp_host_sets"] = tallyJson(d.ispHost);
        objDay["isp_other"] = tallyJson(d.ispOther);
        objDay["files_written"] = tallyJson(d.files);
        objDay["bytes_written"] = tallyJson(d.bytes);
        objDay["data_flushes"] = d.syncs;
        objDay["directory_flushes"] = d.dirSyncs;
        objDay["host_sets"] = d.hostSets;
        objDay["host_changes"] = d.hostChanges;
        objDay["stores"] = d.stores;
        objDay["stores_changed"] = d.storesChanged;
        objDay["mismatches"] = d.mismatchCount;
        objDay["wall_s"] = d.wallSeconds;
    }
    return objRoot.dump(2) + "\n";
}

std::vector<std::string> dayFailures(const std::vector<DayResult>& p_vecDays) {
    std::vector<std::string> vec;
    for (const DayResult& d : p_vecDays) {
        const std::string strDay = policyName(d.policy);
        const struct {
            const char* name;
            Tally tally;
        } aChecks[] = {{"ISP calls", d.isp()},         {"switch ISP sets", d.ispSwitch},
                       {"day/night reads", d.ispRead}, {"host set ISP calls", d.ispHost},
                       {"other ISP calls", d.ispOther}, {"files written", d.files},
                       {"bytes written", d.bytes}};
        for (const auto& check : aChecks) {
            if (check.tally.actual != check.tally.minimum) {
                vec.push_back(strDay + ": " + check.name + " " + ratio(check.tally) + " (actual / minimum)");
            }
        }
        if (d.syncs != d.files.actual || d.dirSyncs != d.files.actual) {
            vec.push_back(strDay + ": " + number(d.syncs) + " data and " + number(d.dirSyncs) +
                          " directory flushes for " + number(d.files.actual) + " files");
        }
        for (const std::string& strEvent : d.mismatches) {
            vec.push_back(strDay + ": at " + strEvent);
        }
        if (d.mismatchCount > static_cast<long>(d.mismatches.size())) {
            vec.push_back(strDay + ": " + number(d.mismatchCount - static_cast<long>(d.mismatches.size())) +
                          " more events off their minimum");
        }
    }
    return vec;
}

} // namespace tarnix_bench
