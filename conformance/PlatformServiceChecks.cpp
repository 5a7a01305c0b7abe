// The platform's services: the rotating log writer, shell commands, the
// reference counts of the thread callables, the machine and module
// information parsers and the string helpers.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "conformance/LibraryFacts.h"
#include "conformance/PlatformChecks.h"
#include "conformance/PlatformPort.h"

namespace conformance {

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point p_tStart) {
    return std::chrono::duration<double, std::milli>(Clock::now() - p_tStart).count();
}

std::string inQuotes(const std::string& p_strText) { return "\"" + p_strText + "\""; }

} // namespace

Result checkLogger(Context& p_stContext) {
    ScratchDir dir(p_stContext, "logger");
    if (!dir.ready()) {
        return fail("pxfs::makeDirs to create " + dir.path(), "failure", "the checks of the log writer");
    }
    PlatformPort& port = p_stContext.port;
    const char* const kUse = "the error log SensorError.log, which every assertion report is mirrored into: "
                             "without its limits it grows until the flash is full";
    const unsigned int kMaxSize = 1024;
    const unsigned int kMaxFiles = 3;
    const std::string strLog = dir.file("test.log");
    {
        PXLogger logger;
        port.loggerInit(logger, strLog.c_str(), kMaxSize, kMaxFiles);
        // 60 entries of about 100 bytes: six times what three files hold.
        for (int i = 0; i < 60; ++i) {
            char szText[128];
            std::snprintf(szText, sizeof(szText), "entry %03d %s\n", i,
                          "................................................................");
            port.loggerWrite(logger, "[conformance]", szText);
        }
    }
    std::vector<std::string> names = listDirectory(p_stContext, dir.path());
    if (names.size() > kMaxFiles) {
        return fail("at most " + std::to_string(kMaxFiles) + " files for a log of " + std::to_string(kMaxFiles) +
                        " files",
                    std::to_string(names.size()) + " files", kUse);
    }
    std::string strLive;
    if (!readWhole(p_stContext, strLog, strLive)) {
        return fail("the live log file " + strLog + " after 60 entries", "none", kUse);
    }
    for (const std::string& strName : names) {
        std::string strData;
        readWhole(p_stContext, dir.file(strName), strData);
        // An entry may start a file that is just short of the limit.
        if (strData.size() > kMaxSize + 128) {
            return fail("each log file at most about " + std::to_string(kMaxSize) + " bytes (the size limit)",
                        strName + " of " + std::to_string(strData.size()) + " bytes", kUse);
        }
    }
    if (strLive.find("[conformance]") == std::string::npos || strLive.find("entry 059") == std::string::npos) {
        return fail("the last entry with its tag in the live log file", "not there", kUse);
    }
    // A logger whose file cannot be opened does nothing, silently.
    {
        PXLogger logger;
        const std::string strMissing = dir.file("no-such-dir/x.log");
        port.loggerInit(logger, strMissing.c_str(), kMaxSize, kMaxFiles);
        port.loggerWrite(logger, "[conformance]", "nowhere\n");
        if (port.exists(dir.file("no-such-dir"))) {
            return fail("a logger whose directory is missing to do nothing", "it created the directory", kUse);
        }
    }
    return ok(std::to_string(names.size()) + " files");
}

Result checkSystem(Context& p_stContext) {
    ScratchDir dir(p_stContext, "system");
    const char* const kUse = "resetParameters and init, which remove scheme files with \"rm -rf\" through sy_system "
                             "(time limit 30): files left behind, or a reset that hangs";
    if (!dir.ready()) {
        return fail("pxfs::makeDirs to create " + dir.path(), "failure", kUse);
    }
    PlatformPort& port = p_stContext.port;
    int nResult = port.system("true", 30);
    if (nResult != 0) {
        return fail("sy_system(\"true\", 30) to return 0", std::to_string(nResult), kUse);
    }
    nResult = port.system("exit 3", 30);
    if (nResult == 0) {
        return fail("sy_system(\"exit 3\", 30) to report the failure (non-zero)", "0", kUse);
    }
    // Paths in the command name the same files as PXFile does, and the call
    // returns only when the command is done.
    const std::string strFile = dir.file("made-by-shell.txt");
    const std::string strCommand = "sleep 0.2; echo conformance > " + strFile;
    nResult = port.system(strCommand.c_str(), 30);
    std::string strData;
    if (nResult != 0 || !readWhole(p_stContext, strFile, strData) || strData != "conformance\n") {
        return fail("sy_system(" + inQuotes(strCommand) + ", 30) to wait for the command and write " + strFile +
                        " where PXFile finds it",
                    "result " + std::to_string(nResult) + ", content " + inQuotes(strData), kUse);
    }
    const std::string strRemove = "rm -rf " + strFile;
    nResult = port.system(strRemove.c_str(), 30);
    if (nResult != 0 || port.exists(strFile)) {
        return fail("sy_system(" + inQuotes(strRemove) + ", 30) to remove the file", "it is still there", kUse);
    }
    Clock::time_point tStart = Clock::now();
    nResult = port.system("sleep 5", 1);
    const double dMs = msSince(tStart);
    if (dMs > 4000.0) {
        return fail("sy_system(\"sleep 5\", 1) to stop the command at its time limit of 1 s",
                    "it returned after " + std::to_string(static_cast<int>(dMs)) + " ms", kUse);
    }
    if (nResult == 0) {
        return fail("sy_system(\"sleep 5\", 1) to report the stopped command (non-zero)", "0", kUse);
    }
    return ok();
}

namespace {

// The type name the thread-entry callables register their counts under.
const char* const kTypeName = "17function_obj_baseIiE";

const char* const kRefUse = "the thread-entry callables (function<int>) of the sensor thread and its hooks: "
                            "copies share one count, and a wrong count destroys a body twice or never";

} // namespace

Result checkRefCount(Context& p_stContext) {
    PlatformPort& port = p_stContext.port;
    int nFirst = 1;
    int nSecond = 2;
    ref_count* pFirst = port.retrieveRefCount(&nFirst, kTypeName);
    ref_count* pSecond = port.retrieveRefCount(&nSecond, kTypeName);
    const bool bShared = pFirst != nullptr && pFirst == pSecond;
    if (bShared) {
        pSecond = nullptr;   // handed back once
    }
    struct Returner {
        PlatformPort& port;
        ref_count*& first;
        ref_count*& second;
        ~Returner() {
            if (first != nullptr) {
                port.returnRefCount(first, kTypeName);
            }
            if (second != nullptr) {
                port.returnRefCount(second, kTypeName);
            }
        }
    } returner{port, pFirst, pSecond};
    if (pFirst == nullptr || pSecond == nullptr) {
        return fail("retrieveRefCount() to hand out one count per object", bShared ? "one shared count" : "none",
                    kRefUse);
    }
    if (pFirst->getPointer() != &nFirst) {
        return fail("getPointer() of a count to be the object it was retrieved for", "another pointer", kRefUse);
    }
    // As the callables do: lock, increment, unlock; lock, decrement, unlock.
    if (port.refLock(*pFirst) != 0) {
        return fail("ref_count::lock() to return 0", "non-zero", kRefUse);
    }
    const bool bInc = port.refInc(*pFirst);
    port.refUnlock(*pFirst);
    if (!bInc) {
        return fail("inc_reference() of a fresh count (1) to succeed", "false", kRefUse);
    }
    port.refLock(*pFirst);
    int nLeft = port.refDec(*pFirst);
    port.refUnlock(*pFirst);
    if (nLeft != 1) {
        return fail("dec_reference() after one copy to leave 1", std::to_string(nLeft), kRefUse);
    }
    // Copies made and dropped on two threads at once.
    const int kRounds = 2000;
    auto worker = [&port, pSecond] {
        for (int i = 0; i < kRounds; ++i) {
            port.refLock(*pSecond);
            port.refInc(*pSecond);
            port.refUnlock(*pSecond);
        }
        for (int i = 0; i < kRounds; ++i) {
            port.refLock(*pSecond);
            port.refDec(*pSecond);
            port.refUnlock(*pSecond);
        }
    };
    std::thread first(worker);
    std::thread second(worker);
    first.join();
    second.join();
    port.refLock(*pSecond);
    nLeft = port.refDec(*pSecond);
    port.refUnlock(*pSecond);
    if (nLeft != 0) {
        return fail("the count back at 1 after two threads made and dropped " + std::to_string(kRounds) +
                        " copies each (0 after the last drop)",
                    std::to_string(nLeft) + " after the last drop", kRefUse);
    }
    port.refLock(*pFirst);
    nLeft = port.refDec(*pFirst);
    const bool bRevived = port.refInc(*pFirst);
    port.refUnlock(*pFirst);
    if (nLeft != 0 || bRevived) {
        return fail("the last drop to leave 0 and a later inc_reference() to fail (\"Already destructed\")",
                    "count " + std::to_string(nLeft) + (bRevived ? ", and the increment succeeded" : ""), kRefUse);
    }
    return ok();
}

namespace {

const char* const kMachineUse = "the device type, which selects the style files, the thermal channel and the "
                                "plate-recognition, fisheye and two-sensor behaviours (ISensorController's "
                                "constructor, initSysConf)";

} // namespace

Result checkMachineInfo(Context& p_stContext) {
    ScratchDir dir(p_stContext, "machineinfo");
    if (!dir.ready()) {
        return fail("pxfs::makeDirs to create " + dir.path(), "failure", kMachineUse);
    }
    PlatformPort& port = p_stContext.port;
    const std::string strSample = dir.file("machineinfo.ini");
    if (!writeWhole(p_stContext, strSample,
                    "# sample machine information\n[machine]\nDeviceType=13\nHardwareModel=Hi3516AV200\n"
                    "HardwareCode=HC-7\n")) {
        return fail("the sample file " + strSample + " to be written", "failure", kMachineUse);
    }
    MachineInfo sample;
    if (!port.parseMachineInfo(strSample, sample) || sample.getDeviceType() != 13 ||
        sample.getHardwareModel() != "Hi3516AV200" || sample.getHardwareCode() != "HC-7") {
        return fail("DeviceType 13, HardwareModel \"Hi3516AV200\" and HardwareCode \"HC-7\" from a sample file",
                    std::to_string(sample.getDeviceType()) + ", " + inQuotes(sample.getHardwareModel()) + ", " +
                        inQuotes(sample.getHardwareCode()),
                    kMachineUse);
    }
    MachineInfo missing;
    if (port.parseMachineInfo(dir.file("missing.ini"), missing)) {
        return fail("parseMachineInfo() of a missing file to fail", "success", kMachineUse);
    }
    // The device's own file, where there is one.
    const std::string strDevice = machineInfoFile();
    if (!port.exists(strDevice)) {
        return ok("sample read; " + strDevice + " not present");
    }
    MachineInfo device;
    if (!port.parseMachineInfo(strDevice, device) || device.getDeviceType() <= 0) {
        return fail("a device type above 0 from " + strDevice, std::to_string(device.getDeviceType()), kMachineUse);
    }
    return ok("device type " + std::to_string(device.getDeviceType()) + ", hardware " +
              inQuotes(device.getHardwareModel()));
}

Result checkModuleConfig(Context& p_stContext) {
    const char* const kUse = "the channel's configuration: infrared, scheme count and lens markers of the detail "
                             "text and the lens id of the parameters (init, initSysConf)";
    ScratchDir dir(p_stContext, "moduleconfig");
    if (!dir.ready()) {
        return fail("pxfs::makeDirs to create " + dir.path(), "failure", kUse);
    }
    PlatformPort& port = p_stContext.port;
    const std::string strSample = dir.file("moduleConfig.xml");
    if (!writeWhole(p_stContext, strSample,
                    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<moduleConfig>\n"
                    "  <module id=\"1\" hardwareModel=\"Hi3516AV200\" hardwareCode=\"*\">\n"
                    "    <detail>(sensor=imx327)(max_scheme=4)(isInfrared=1)</detail>\n"
                    "    <parameters>(lensId=0)</parameters>\n"
                    "  </module>\n"
                    "  <module id=\"2\" hardwareModel=\"Hi3516AV200\" hardwareCode=\"HC-7\">\n"
                    "    <detail>(isInfrared=17)</detail>\n"
                    "    <parameters>(lensId=3)</parameters>\n"
                    "  </module>\n"
                    "  <module id=\"3\" hardwareModel=\"Hi3519\">\n"
                    "    <detail>(max_scheme=2)</detail>\n"
                    "  </module>\n"
                    "</moduleConfig>\n")) {
        return fail("the sample file " + strSample + " to be written", "failure", kUse);
    }
    std::vector<ModuleConfigure> entries;
    const bool bParsed = port.parseModuleConfig(strSample, "Hi3516AV200", "HC-7", entries);
    std::string strGot;
    for (const ModuleConfigure& entry : entries) {
        strGot += "(" + std::to_string(entry.getModuleId()) + " " + inQuotes(entry.getDetail()) + " " +
                  inQuotes(entry.getParameters()) + ")";
    }
    const std::string strWanted = "(1 \"(sensor=imx327)(max_scheme=4)(isInfrared=1)\" \"(lensId=0)\")"
                                  "(2 \"(isInfrared=17)\" \"(lensId=3)\")";
    if (!bParsed || strGot != strWanted) {
        return fail("the entries for hardware Hi3516AV200/HC-7 of a sample file: " + strWanted,
                    bParsed ? (strGot.empty() ? "no entry" : strGot) : "a parse failure", kUse);
    }
    std::vector<ModuleConfigure> none;
    if (port.parseModuleConfig(dir.file("missing.xml"), "Hi3516AV200", "HC-7", none)) {
        return fail("parse() of a missing file to fail", "success", kUse);
    }
    // The device's own file, for its own hardware, where there is one.
    const std::string strDevice = moduleConfigFile();
    if (!port.exists(strDevice)) {
        return ok("sample read; " + strDevice + " not present");
    }
    MachineInfo machine;
    port.parseMachineInfo(machineInfoFile(), machine);
    std::vector<ModuleConfigure> device;
    if (!port.parseModuleConfig(strDevice, machine.getHardwareModel(), machine.getHardwareCode(), device)) {
        return fail("parse() of " + strDevice + " to succeed", "failure", kUse);
    }
    return ok(std::to_string(device.size()) + (device.size() == 1 ? " entry" : " entries") + " for hardware " +
              inQuotes(machine.getHardwareModel()));
}

Result checkStringHandler(Context& p_stContext) {
    PlatformPort& port = p_stContext.port;
    const char* const kUse = "SensorCheck and the parameter texts (split at \",\"), the variant selectors of the "
                             "style merge, and the shutter list (str2type<int>)";
    struct SplitCase {
        const char* text;
        std::vector<std::string> pieces;
    };
    const SplitCase aCases[] = {
        {"34,2,0", {"34", "2", "0"}},
        {"imx327", {"imx327"}},
        {"a,b,c,d,e,f,g,h", {"a", "b", "c", "d", "e", "f", "g", "h"}},
    };
    for (const SplitCase& c : aCases) {
        std::vector<std::string> pieces;
        port.split(c.text, pieces, ",");
        if (pieces != c.pieces) {
            std::string strGot;
            for (const std::string& strPiece : pieces) {
                strGot += "[" + strPiece + "]";
            }
            std::string strWanted;
            for (const std::string& strPiece : c.pieces) {
                strWanted += "[" + strPiece + "]";
            }
            return fail("split(" + inQuotes(c.text) + ", \",\") to give " + strWanted, strGot.empty() ? "nothing" : strGot,
                        kUse);
        }
    }
    struct IntCase {
        const char* text;
        bool ok;
        int value;
    };
    const IntCase aInts[] = {{"42", true, 42}, {"-7", true, -7}, {"2147483647", true, 2147483647}, {"x", false, 0}};
    for (const IntCase& c : aInts) {
        int nValue = 0;
        const bool bOk = port.toInt(c.text, nValue);
        if (bOk != c.ok || (bOk && nValue != c.value)) {
            return fail("str2type<int>(" + inQuotes(c.text) + ") to give " +
                            (c.ok ? std::to_string(c.value) : std::string("a failure")),
                        bOk ? std::to_string(nValue) : "a failure", kUse);
        }
    }
    return ok();
}

} // namespace conformance
