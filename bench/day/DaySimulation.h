#pragma once
// A day in the life of one channel of the box camera, at simulated time:
// one sensor-thread pass per second of the day, a host that sets a parameter
// every 10 s and stores the scheme every minute, and for each piece of work
// the least it could be done with.
//
// The passes run on the calling thread in place of "SensorThread" (which is
// stopped after init), each after the fake clock was moved to its second, so
// passes and host actions interleave in one fixed order and every count is
// the same on every run. The CPU time of a pass is the calling thread's.
#include <string>
#include <vector>

#include "bench/support/BoxCamera.h"

namespace tarnix_bench {

// How the channel chooses its scheme during the day.
enum class DayPolicy {
    TimePlan, // four time windows, one per user scheme
    DayNight, // scheme 0 by day, scheme 1 by night; dawn and dusk flip the ISP's state
};
// "time plan" or "day/night".
const char* policyName(DayPolicy p_ePolicy);
// "time-plan" or "day-night" (keys of the JSON report).
const char* policyKey(DayPolicy p_ePolicy);

// A count of work done and the least that work could be done with.
struct Tally {
    long actual = 0;
    long minimum = 0;
    long beyond() const { return actual - minimum; }
    void add(long p_nActual, long p_nMinimum) {
        actual += p_nActual;
        minimum += p_nMinimum;
    }
};

struct DayOptions {
    DayPolicy policy = DayPolicy::TimePlan;
    long passes = 86400;   // one per second of the day
    long setEvery = 10;    // seconds between two host sets
    long storeEvery = 60;  // seconds between two host stores
};

struct DayResult {
    DayPolicy policy = DayPolicy::TimePlan;
    long passes = 0;
    long idlePasses = 0; // passes that switched nothing
    long switches = 0;
    double cpuSeconds = 0;     // CPU time of all passes
    double cpuIdleSeconds = 0; // CPU time of the idle passes
    double timerOverheadSeconds = 0; // per reading of the thread's CPU clock, taken off each pass
    // Idle passes run back to back after the day (the clock and the ISP as
    // the day ended), timed in blocks without a clock reading per pass.
    long idleRunPasses = 0;
    double idleRunSeconds = 0;

    // ISP calls. Switches: the keys in which the two schemes differ (not
    // counting keys kept only in the cache). Reads: the day/night policy
    // reads the ISP's state once a pass, the time plan never. Host sets: one
    // call for a value that changed, none for a value already held. Anything
    // else (a call from an idle pass or from a store): none.
    Tally ispSwitch;
    Tally ispRead;
    Tally ispHost;
    Tally ispOther;
    Tally isp() const;

    long hostSets = 0;
    long hostChanges = 0; // sets whose value differed from the scheme's
    long stores = 0;
    long storesChanged = 0; // stores that found at least one scheme changed

    // Files and bytes put on the flash by the stores: at least every scheme
    // file whose bytes differ from its cache row, each once.
    Tally files;
    Tally bytes;
    long syncs = 0;    // data flushes
    long dirSyncs = 0; // directory flushes

    // Events whose work differed from their minimum (the first few, and how many).
    std::vector<std::string> mismatches;
    long mismatchCount = 0;
    double wallSeconds = 0;
};

// Runs one day on channel 1 of the camera, whose device root must be fresh
// (no scheme files yet); the files are left as the day ended.
DayResult runDay(const BoxCamera& p_camera, const DayOptions& p_options);

} // namespace tarnix_bench
