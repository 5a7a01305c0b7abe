// Every check of tarnix-conformance, in the order a run takes them.
#include "conformance/Check.h"
#include "conformance/IspChecks.h"
#include "conformance/PlatformChecks.h"

namespace conformance {

const std::vector<CheckDef>& allChecks() {
    static const std::vector<CheckDef> s_vecChecks = {
        {"isp.read", "every command of the key-command table answers a read", &checkIspRead},
        {"isp.roundtrip", "the commands the library sets keep the value set", &checkIspRoundTrip},
        {"isp.cmdlist", "the dynamic command list reads and fits its record", &checkIspCommandList},
        {"isp.range.layout", "each listed command's range record reads, with a count the record holds",
         &checkIspRangeLayout},
        {"isp.range.bounds", "range records: min <= max, the values inside", &checkIspRangeBounds},
        {"isp.range.default", "range records: the default is one of the values", &checkIspRangeDefault},
        {"isp.range.unique", "range records: no value twice", &checkIspRangeUnique},
        {"isp.correct", "value correction gives a value inside the range", &checkIspCorrect},
        {"isp.shutter", "the shutter list the shutter stepping works on", &checkIspShutter},
        {"isp.records", "multi-word records are written no further than their size", &checkIspRecords},
        {"isp.daynight", "the day/night state answers 0 or 1", &checkIspDayNight},
        {"isp.unknown", "an unknown command fails without harm", &checkIspUnknown},
        {"isp.threads", "calls from two threads do not interfere", &checkIspThreads},
        {"isp.channels", "calls on two channels do not interfere", &checkIspChannels},
        {"isp.latency", "median and 99th percentile time of every command", &checkIspLatency},
        {"platform.file.modes", "PXFile opens for reading and for writing a new file", &checkFileModes},
        {"platform.file.length", "PXFile reports the file length, and failure when not open", &checkFileLength},
        {"platform.file.readwrite", "PXFile moves short and long data exactly", &checkFileReadWrite},
        {"platform.file.lines", "PXFile reads lines without their line ends", &checkFileLines},
        {"platform.file.replace", "rename over an existing file and directory sync", &checkFileReplace},
        {"platform.thread.stop", "GThread repeats its body and stops within a bounded time while it waits",
         &checkThreadStop},
        {"platform.mutex", "PXMutex serialises two threads; PXMutexManager releases it", &checkMutex},
        {"platform.time.wait", "QuorvelTime waits as long as asked", &checkTimeWait},
        {"platform.time.clock", "PXDeviceTime gives a valid time that moves forward", &checkClock},
        {"platform.time.fakeclock", "the port's fixed clock and time scale, where it offers them", &checkFakeClock},
        {"platform.logger", "PXLogger keeps its size and file-count limits and fails silently", &checkLogger},
        {"platform.system", "sy_system runs a command, waits for it and stops it at the time limit", &checkSystem},
        {"platform.refcount", "RefCountManager and ref_count count as the thread callables need", &checkRefCount},
        {"platform.machineinfo", "SystemInfoParser reads the machine information", &checkMachineInfo},
        {"platform.moduleconfig", "ModuleConfigureParser reads the module configuration", &checkModuleConfig},
        {"platform.string", "StringHandler splits and converts as the library uses it", &checkStringHandler},
    };
    return s_vecChecks;
}

} // namespace conformance
