// Help texts and the controller commands of sensorctl.
#include "tools/sensorctl/Commands.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <fstream>

#include <tinyxml.h>

#include "config/FactoryDefaults.h"
#include "config/StyleXml.h"
#include "config/sensor.h"
#include "tools/sensorctl/Explain.h"
#include "tools/sensorctl/KeyNames.h"
#include "tools/sensorctl/Output.h"
#include "tools/sensorctl/Timeline.h"

namespace sensorctl {

namespace {

const CommandHelp kHelp[] = {
    {"init-root", "init-root DIR --model box|dome|thermal|lpr|fisheye [--devices DIR]",
     "lay down a sample device tree in DIR (new or empty)",
     "The trees are looked up in --devices DIR, $TARNIX_DEVICES_DIR, ../share/tarnix/devices next to\n"
     "the program, the install prefix, and the source tree sensorctl was built from."},
    {"set", "set TEXT", "apply parameters, e.g. '(34,60)(2337,45)', then store the current scheme (flush)",
     "TEXT is records (key,value) back to back, decimal, no blanks. Values equal to the cached ones are\n"
     "skipped by the library. A key that is not in the key table, or a value outside the range or choices\n"
     "of the settings page, gets a warning (the library applies it all the same). Fails (exit 1) when the\n"
     "apply or the flush fails."},
    {"apply", "apply TEXT", "apply parameters like set, without storing them", ""},
    {"flush", "flush", "store the current scheme in its parameter file", ""},
    {"get", "get IDS", "read parameters, e.g. '(34,2337)'",
     "IDS is keys in one pair of brackets separated by ','. Prints the values in the (key,value) form\n"
     "and one line per key with its name; a key that cannot be read, or is not in the key table, fails\n"
     "the command (exit 1)."},
    {"all", "all", "list every parameter of the current scheme with key names", ""},
    {"style", "style [--summary] [--out FILE]",
     "print the settings-page style narrowed to what the ISP offers (XML)",
     "--summary prints its tabs and items instead; --out writes the XML to FILE."},
    {"factory", "factory", "list the factory values of the channel with key names",
     "The factory values are read out of the narrowed style, as the controller's init does."},
    {"scheme", "scheme [N]", "show the current scheme, or switch to scheme N",
     "N may be a user scheme (0 to max_scheme-1) or the factory scheme (max_scheme); any other N gets a\n"
     "warning, as the library reports it and keeps it all the same. A one-shot switch lasts for this run\n"
     "only: the next run starts from scheme 0 or from its automatic policy."},
    {"mode", "mode [0|1]", "show or set automatic scheme switching (1 on, 0 suspended)", ""},
    {"restore", "restore KEY", "send the current scheme's stored value of KEY to the ISP again", ""},
    {"reset", "reset", "factory reset: delete the channel's scheme files and initialise it again", ""},
    {"range", "range CMD", "show the values the ISP accepts for CMD (49, 50, 51, 55, 56, 82, 1537)", ""},
    {"shutter", "shutter get|set N|up|down", "read or step the maximum shutter through the ISP's list",
     "set, up and down also store the current scheme (flush)."},
    {"zoom", "zoom [in|out|set POS]", "show the zoom position and ratio, or move the zoom", ""},
    {"check", "check '(a,b,c)'", "raw ISP check (command 2816); with b = 2 the ISP's answer is printed", ""},
    {"timeline",
     "timeline [--from HH:MM] [--to HH:MM] [--days N] [--step MIN] [--daynight FILE] [--svg FILE] [--json FILE]",
     "replay the device clock through a day and show when and why the scheme switches",
     "Moves the fake clock from --from (default 00:00) to --to (default 24:00) in steps of --step minutes\n"
     "(default 1), --days times (default 1, at most 31), and lets one sensor-thread pass decide at every\n"
     "step. --daynight FILE sets the simulated ISP's day/night state from lines 'HH:MM day|night'\n"
     "(the sample trees ship isp/daynight.txt). Prints the scheme at the start, one line per change\n"
     "(time, from, to, forced or differential, ISP calls, reason, keys whose values differ) and a\n"
     "summary: switches, flips within 5 minutes of the switch before, time in each scheme. --json\n"
     "writes the same as JSON, --svg a chart. No scheme file is written and no ISP state kept; in the shell\n"
     "the clock, the day/night state and the mode are put back afterwards."},
    {"explain", "explain [--at HH:MM] [--json FILE]", "say why the scheme in force at a moment is the one it is",
     "Lets one sensor-thread pass decide at --at (default: the clock as it is) and explains its decision\n"
     "record: the policy in force, the day/night state, every scheme's window and whether it holds\n"
     "the time, the plate-recognition state and the resulting scheme. --json writes the record and\n"
     "the sentences as JSON. No scheme file is written and no ISP state kept."},
    {"shell", "shell", "run commands from stdin on one live controller with its sensor thread running",
     "Besides the controller commands: clock HH:MM|off (fake clock), daynight day|night (the simulated\n"
     "ISP's day/night state), wait N (N sensor-thread passes), log (ISP calls and video notifications\n"
     "since the last log), cfg dump|diff, help, quit. Blank lines and lines starting with '#' are\n"
     "skipped; words may be quoted with '...'. Exit code 1 when any command failed."},
    {"serve", "serve [--bind ADDR] [--port P] [--onvif [--onvif-user U --onvif-password P]]",
     "serve the channel's settings page, live, to a web browser",
     "Runs one controller as the shell does and an HTTP server on it until Ctrl-C (SIGINT) or SIGTERM.\n"
     "Prints the URL to open, with the run's token in it. --bind (default 127.0.0.1) and --port\n"
     "(default 8080; 0 picks a free port). Also --root, --channel, --clock, --time-scale.\n"
     "--onvif also serves the ONVIF device, media and imaging services on the same server\n"
     "(/onvif/device_service ...) for a video management system; with --onvif-user and\n"
     "--onvif-password every operation but GetSystemDateAndTime needs that user's digest."},
    {"cfg", "cfg dump FILE | cfg diff A B", "decode scheme files into (key,value) lines with key names",
     "Files are 8-byte records (key, value) in native byte order. With --root, an absolute path that\n"
     "exists below the root is read from there (e.g. /mnt/mtd/code/config_file/sensor1_0.cfg)."},
    {"style merge", "style merge --style F --diversity F --detail TEXT [--channel N] [--out FILE]",
     "merge a style with its diversity edits for a module detail text, offline",
     "Runs the library's merge in a temporary root and prints the merged XML (or writes it to FILE)."},
};

const char* const kControllerCommands[] = {"set",   "apply", "flush",   "get",     "all",  "style", "factory",
                                           "scheme", "mode", "restore", "reset",   "range", "shutter", "zoom",
                                           "check", "timeline", "explain"};

// "(k,v)(k,v)..." of the library's text form, read back into records.
std::vector<KeyVal> parseRecords(const std::string& p_strText) {
    std::vector<KeyVal> records;
    size_t nPos = 0;
    while ((nPos = p_strText.find('(', nPos)) != std::string::npos) {
        int key = 0;
        int value = 0;
        if (std::sscanf(p_strText.c_str() + nPos, "(%d,%d)", &key, &value) == 2) {
            records.push_back({static_cast<u32>(key), static_cast<u32>(value)});
        }
        ++nPos;
    }
    return records;
}

void printRecords(const std::vector<KeyVal>& p_vecRecords) {
    for (const KeyVal& kv : p_vecRecords) {
        say("  (%d,%d)  %s", static_cast<int>(kv.key), static_cast<int>(kv.value), nameOrDash(keyName(kv.key)));
    }
}

int currentScheme(ISensorController& p_objCtl) {
    int nScheme = -1;
    p_objCtl.getParamScheme(nScheme);
    return nScheme;
}

// Stores the current scheme and says where.
void flushScheme(Session& p_objSession) {
    ISensorController& ctl = p_objSession.controller();
    int nScheme = currentScheme(ctl);
    int ret = ctl.flush();
    if (ret != 0) {
        std::string why = (ret >= 505 && ret <= 507) ? " (the current scheme's time window is not valid)" : "";
        runtimeError(format("flush of scheme %d failed with %d%s", nScheme, ret, why.c_str()));
    }
    if (nScheme >= 0 && static_cast<u32>(nScheme) < p_objSession.device().schemeCount()) {
        say("flush -> 0: scheme %d stored in %s", nScheme, p_objSession.device().schemeFile(nScheme).c_str());
    } else {
        say("flush -> 0: scheme %d is not a user scheme, nothing stored", nScheme);
    }
}

// Says what the library does not: a key without a row in the key table, and
// a value outside the range or choices of the narrowed settings page (the
// library applies both all the same).
void warnAboutRecords(Session& p_objSession, const std::vector<KeyVal>& p_vecRecords) {
    for (const KeyVal& kv : p_vecRecords) {
        const int nKey = static_cast<int>(kv.key);
        const int nValue = static_cast<int>(kv.value);
        if (keyName(kv.key) == nullptr) {
            printWarning(format("key %d is not in the key table; the library sends it to the ISP as command %d", nKey,
                                nKey));
            continue;
        }
        std::string strAllowed;
        if (!p_objSession.valueAllowed(kv.key, nValue, strAllowed)) {
            printWarning(format("value %d of key %d %s is %s of the settings page; the library applies it",
                                nValue, nKey, keyName(kv.key), strAllowed.c_str()));
        }
    }
}

void applyText(Session& p_objSession, const std::string& p_strText, bool p_bFlush) {
    std::vector<KeyVal> records = recordTextArg(p_strText);   // usage error on bad text
    warnAboutRecords(p_objSession, records);
    int ret = p_objSession.controller().setParameters(p_strText, true);
    say("%s %s -> %d", p_bFlush ? "set" : "apply", p_strText.c_str(), ret);
    if (ret != 0) {
        runtimeError(format("the ISP refused key %d (result %d); keys before it were applied", -ret, ret));
    }
    if (p_bFlush) {
        flushScheme(p_objSession);
    }
}

void cmdGet(Session& p_objSession, const std::string& p_strIds) {
    std::vector<int> keys = keyListArg(p_strIds);
    std::string unknown;
    for (int key : keys) {
        if (keyName(static_cast<u32>(key)) == nullptr) {
            printWarning(format("key %d is not in the key table", key));
            unknown += format(unknown.empty() ? "%d" : ", %d", key);
        }
    }
    std::string out;
    if (!p_objSession.controller().getParameters(p_strIds, out)) {
        runtimeError("the controller refused the key list " + p_strIds);
    }
    say("get %s -> %s", p_strIds.c_str(), out.c_str());
    std::vector<KeyVal> records = parseRecords(out);
    printRecords(records);
    // A key is read when the library returned it and the key table has it.
    std::string missing;
    for (int key : keys) {
        bool bFound = keyName(static_cast<u32>(key)) != nullptr;
        bool bReturned = false;
        for (const KeyVal& kv : records) {
            bReturned = bReturned || kv.key == static_cast<u32>(key);
        }
        if (!bFound || !bReturned) {
            missing += format(missing.empty() ? "%d" : ", %d", key);
        }
    }
    if (!missing.empty()) {
        runtimeError("could not read key(s) " + missing +
                     (unknown.empty() ? std::string() : " (not in the key table: " + unknown + ")"));
    }
}

void cmdAll(Session& p_objSession) {
    std::string out;
    p_objSession.controller().getAllParameters(out);
    std::vector<KeyVal> records = parseRecords(out);
    say("scheme %d: %zu parameters", currentScheme(p_objSession.controller()), records.size());
    printRecords(records);
}

// Counts the items ("id") and choices ("index") below an element.
void countItems(const TiXmlElement* p_pElement, size_t& p_nItems, size_t& p_nChoices, std::string& p_strIds,
                int p_nDepth) {
    if (p_nDepth > STYLE_MAX_DEPTH) {
        return;
    }
    for (const TiXmlElement* child = p_pElement->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        if (child->Attribute("id") != nullptr) {
            ++p_nItems;
            if (p_strIds.size() < 400) {
                p_strIds += std::string(p_strIds.empty() ? "" : " ") + child->Attribute("id");
            } else if (p_strIds.compare(p_strIds.size() - 3, 3, "...") != 0) {
                p_strIds += " ...";
            }
        }
        if (child->Attribute("index") != nullptr) {
            ++p_nChoices;
        }
        countItems(child, p_nItems, p_nChoices, p_strIds, p_nDepth + 1);
    }
}

void printStyleSummary(const std::string& p_strXml) {
    TiXmlDocument doc;
    if (p_strXml.empty() || !LoadMem(doc, p_strXml.c_str(), TIXML_ENCODING_UTF8) || doc.RootElement() == nullptr) {
        runtimeError("the controller returned a style that is not well-formed XML");
    }
    const TiXmlElement* root = doc.RootElement();
    size_t nTabs = 0;
    size_t nItemsAll = 0;
    size_t nChoicesAll = 0;
    std::vector<std::string> lines;
    for (const TiXmlElement* tab = root->FirstChildElement(); tab != nullptr; tab = tab->NextSiblingElement()) {
        size_t nItems = 0;
        size_t nChoices = 0;
        std::string ids;
        countItems(tab, nItems, nChoices, ids, 1);
        const char* szKey = tab->Attribute("key");
        lines.push_back(format("  tab %s: %zu items, %zu choices: %s", szKey != nullptr ? szKey : "(no key)", nItems,
                               nChoices, ids.c_str()));
        ++nTabs;
        nItemsAll += nItems;
        nChoicesAll += nChoices;
    }
    say("style: %zu bytes, %zu tabs, %zu items, %zu choices", p_strXml.size(), nTabs, nItemsAll, nChoicesAll);
    for (const std::string& line : lines) {
        say("%s", line.c_str());
    }
}

void cmdStyle(Session& p_objSession, const Options& p_stOptions) {
    std::string xml = p_objSession.controller().getUIStyleFile();
    if (p_stOptions.summary) {
        printStyleSummary(xml);
    }
    if (p_stOptions.has("out")) {
        writeTextFile(p_stOptions.out, xml);
        say("style: %zu bytes written to %s", xml.size(), p_stOptions.out.c_str());
    } else if (!p_stOptions.summary) {
        writeRaw(xml);
    }
}

void cmdFactory(Session& p_objSession) {
    Device& device = p_objSession.device();
    SysConfig stConf;
    std::memset(&stConf, 0, sizeof(stConf));
    initSysConf(device.cameraId(), device.module(), &stConf);
    std::vector<KeyVal> records;
    // The flags a freshly constructed controller uses for its first init.
    int ret = getFctData(device.cameraId(), stConf.szUIStyle != nullptr ? stConf.szUIStyle : "", records, true, true);
    uinitSysConf(&stConf);
    if (ret != 0) {
        runtimeError(format("reading the factory values from the style failed with %d", ret));
    }
    say("factory values of channel %d: %zu parameters", device.cameraId(), records.size());
    printRecords(records);
}

void cmdScheme(Session& p_objSession, const Options& p_stOptions) {
    ISensorController& ctl = p_objSession.controller();
    u32 nSchemes = p_objSession.device().schemeCount();
    if (p_stOptions.words.size() == 1) {
        int nScheme = currentScheme(ctl);
        say("scheme %d (user schemes 0-%d, factory scheme %u)", nScheme, static_cast<int>(nSchemes) - 1, nSchemes);
        return;
    }
    int nWanted = static_cast<int>(integerArg(p_stOptions.words[1], INT32_MIN, INT32_MAX, "scheme number"));
    bool bOk = ctl.setParamScheme(nWanted);
    say("scheme %d -> %s, current scheme %d", nWanted, bOk ? "switched" : "failed", currentScheme(ctl));
    if (bOk && (nWanted < 0 || static_cast<u32>(nWanted) > nSchemes)) {
        printWarning(format("scheme %d is not a scheme of this channel (user schemes 0-%d, factory scheme %u); "
                            "the library keeps it as the current scheme",
                            nWanted, static_cast<int>(nSchemes) - 1, nSchemes));
    }
    if (!bOk) {
        runtimeError(format("switching to scheme %d failed", nWanted));
    }
}

void cmdMode(Session& p_objSession, const Options& p_stOptions) {
    ISensorController& ctl = p_objSession.controller();
    if (p_stOptions.words.size() == 2) {
        int nMode = static_cast<int>(integerArg(p_stOptions.words[1], 0, 1, "mode (0 or 1)"));
        ctl.setParamMode(nMode);
    }
    int nMode = -1;
    ctl.getParamMode(nMode);
    say("mode %d (%s)", nMode, nMode == 0 ? "automatic scheme switching suspended" : "automatic scheme switching");
}

void cmdRestore(Session& p_objSession, const std::string& p_strKey) {
    int nKey = static_cast<int>(integerArg(p_strKey, 0, INT32_MAX, "key"));
    int ret = p_objSession.controller().restore(nKey);
    say("restore %d %s -> %d", nKey, nameOrDash(keyName(static_cast<u32>(nKey))), ret);
    if (ret != 0) {
        runtimeError(ret == -1 ? format("key %d is not in the current scheme", nKey)
                               : format("the ISP refused key %d (result %d)", nKey, ret));
    }
}

void cmdReset(Session& p_objSession) {
    ISensorController& ctl = p_objSession.controller();
    bool bOk = ctl.resetParameters();
    say("reset -> %s: channel %d back to factory values, scheme %d", bOk ? "done" : "failed",
        p_objSession.device().cameraId(), currentScheme(ctl));
    Device& device = p_objSession.device();
    for (u32 s = 0; s < device.schemeCount(); ++s) {
        struct stat st;
        std::string file = device.schemeFile(static_cast<int>(s));
        if (::stat(device.hostPath(file).c_str(), &st) == 0) {
            say("  %s (%lld bytes)", file.c_str(), static_cast<long long>(st.st_size));
        }
    }
    if (!bOk) {
        runtimeError("factory reset failed");
    }
}

void cmdRange(Session& p_objSession, const std::string& p_strCmd) {
    int nCmd = static_cast<int>(integerArg(p_strCmd, INT32_MIN, INT32_MAX, "command"));
    int nDefault = 0;
    std::string range;
    if (!p_objSession.controller().getSensorParamRange(nCmd, nDefault, range)) {
        runtimeError(format("command %d has no range: it is not one of 49 50 51 55 56 82 1537, or the ISP does "
                            "not list it",
                            nCmd));
    }
    say("range %d %s: default %d, values: %s", nCmd, nameOrDash(ispCommandName(static_cast<u32>(nCmd))), nDefault,
        range.c_str());
}

void cmdShutter(Session& p_objSession, const Options& p_stOptions) {
    ISensorController& ctl = p_objSession.controller();
    const std::string& action = p_stOptions.words[1];
    int nIndex = -1;
    if (action == "get") {
        expectArgs(p_stOptions, 2, 0, 0, "shutter get");
        if (!ctl.getShutterValue(nIndex)) {
            runtimeError("the ISP's current maximum shutter is not in its list of shutter values");
        }
        say("shutter index %d", nIndex);
        return;
    }
    bool bOk = false;
    if (action == "set") {
        expectArgs(p_stOptions, 2, 1, 1, "shutter set N");
        int nWanted = static_cast<int>(integerArg(p_stOptions.words[2], INT32_MIN, INT32_MAX, "shutter index"));
        bOk = ctl.setShutterValue(nWanted);
    } else if (action == "up" || action == "down") {
        expectArgs(p_stOptions, 2, 0, 0, "shutter " + action);
        bOk = action == "up" ? ctl.shutterUp() : ctl.shutterDown();
    } else {
        usageError("unknown shutter action '" + action + "'; usage: shutter get|set N|up|down");
    }
    if (!bOk) {
        runtimeError("shutter " + action + " failed");
    }
    if (ctl.getShutterValue(nIndex)) {
        say("shutter %s -> index %d", action.c_str(), nIndex);
    } else {
        say("shutter %s -> done", action.c_str());
    }
    flushScheme(p_objSession);
}

void cmdZoom(Session& p_objSession, const Options& p_stOptions) {
    ISensorController& ctl = p_objSession.controller();
    if (p_stOptions.words.size() >= 2) {
        const std::string& action = p_stOptions.words[1];
        bool bOk = false;
        if (action == "in" || action == "out") {
            expectArgs(p_stOptions, 2, 0, 0, "zoom " + action);
            bOk = action == "in" ? ctl.zoomIn() : ctl.zoomOut();
        } else if (action == "set") {
            expectArgs(p_stOptions, 2, 1, 1, "zoom set POS");
            bOk = ctl.setZoomValue(static_cast<int>(integerArg(p_stOptions.words[2], INT32_MIN, INT32_MAX, "zoom position")));
        } else {
            usageError("unknown zoom action '" + action + "'; usage: zoom [in|out|set POS]");
        }
        say("zoom %s -> %s", action.c_str(), bOk ? "done" : "failed");
        if (!bOk) {
            runtimeError("zoom " + action + " failed");
        }
    }
    int nPos = 0;
    int nRatio = 0;
    if (!ctl.getZoomValue(nPos, nRatio)) {
        runtimeError("reading the zoom position failed");
    }
    say("zoom position %d, ratio %d.%03dx", nPos, nRatio / 1000, nRatio % 1000);
}

void cmdCheck(Session& p_objSession, const std::string& p_strText) {
    std::vector<int> numbers = checkTextArg(p_strText);
    std::string text = p_strText;
    int ret = p_objSession.controller().SensorCheck(text);
    if (numbers[1] == 2) {
        say("check %s -> %d, answer %s", p_strText.c_str(), ret, text.c_str());
    } else {
        say("check %s -> %d", p_strText.c_str(), ret);
    }
    if (ret != 0) {
        runtimeError(format("the ISP check failed with %d", ret));
    }
}

} // namespace

const CommandHelp* findCommandHelp(const std::string& p_strName) {
    for (const CommandHelp& help : kHelp) {
        if (p_strName == help.name) {
            return &help;
        }
    }
    return nullptr;
}

void printGeneralHelp() {
    FILE* out = ownStream();
    std::fprintf(out,
        "usage: sensorctl [--root DIR] [--channel N] [options] COMMAND [ARGS]\n"
        "\n"
        "Drives a real ISensorController over a device root on disk (a copy of a sample device tree,\n"
        "or any directory laid out like a camera's filesystem) with the simulated ISP, so that state\n"
        "persists between runs as on a camera.\n"
        "\n"
        "Commands:\n");
    for (const CommandHelp& help : kHelp) {
        if (std::strlen(help.usage) <= 44) {
            std::fprintf(out, "  %-44s %s\n", help.usage, help.summary);
        } else {
            std::fprintf(out, "  %s\n  %-44s %s\n", help.usage, "", help.summary);
        }
    }
    std::fprintf(out,
        "\n"
        "Controller commands (set to check) initialise the channel, act and shut it down again.\n"
        "\n"
        "Options:\n"
        "  --root DIR         device root (default: $TARNIX_ROOT)\n"
        "  --channel N        channel 1 to 16 (default 1)\n"
        "  --clock HH:MM      fixed device clock for the scheme schedule (default: $TARNIX_CLOCK or real)\n"
        "  --time-scale S     waits last S times as long (default 0.01: a 1 s pass takes 10 ms)\n"
        "  --log              print the ISP calls (reads with the value read) and video notifications\n"
        "                     the command caused\n"
        "  --verbose          show the library's console output too (traces, assertion reports)\n"
        "  --help, -h         this text; 'sensorctl COMMAND --help' for one command\n"
        "\n"
        "sensorctl prints its own lines only ('sensorctl: ...'); the library's console output of a run\n"
        "goes to <root>/sensorctl.log (the last line says so), and its assertion reports and errors are\n"
        "summarised on stderr. Errors and warnings are one line each on stderr ('sensorctl: error: ',\n"
        "'sensorctl: warning: '); exit code 2 for usage errors, 1 for failures.\n"
        "\n"
        "The simulated ISP is loaded from <root>/isp/profile.conf; the values that differ from it at\n"
        "the end of a run are kept in <root>/isp/state.conf (same format) and loaded after it.\n");
}

void printCommandHelp(const CommandHelp& p_stHelp) {
    FILE* out = ownStream();
    std::fprintf(out, "usage: sensorctl %s\n\n%s.\n", p_stHelp.usage, p_stHelp.summary);
    if (p_stHelp.details[0] != '\0') {
        std::fprintf(out, "\n%s\n", p_stHelp.details);
    }
    if (isControllerCommand(p_stHelp.name)) {
        std::fprintf(out, "\nOptions: --root DIR, --channel N, --clock HH:MM, --time-scale S, --log, --verbose "
                          "(see sensorctl --help).\n");
    }
}

bool isControllerCommand(const std::string& p_strName) {
    for (const char* name : kControllerCommands) {
        if (p_strName == name) {
            return true;
        }
    }
    return false;
}

bool isReplayCommand(const std::string& p_strName) { return p_strName == "timeline" || p_strName == "explain"; }

std::vector<std::string> controllerCommandOptions(const std::string& p_strName) {
    if (p_strName == "style") {
        return {"summary", "out"};
    }
    if (p_strName == "timeline") {
        return {"from", "to", "days", "step", "daynight", "svg", "json"};
    }
    if (p_strName == "explain") {
        return {"at", "json"};
    }
    return {};
}

void checkControllerArgs(const Options& p_stOptions) {
    const std::string& cmd = p_stOptions.words[0];
    const std::vector<std::string>& w = p_stOptions.words;
    if (cmd == "set" || cmd == "apply") {
        expectArgs(p_stOptions, 1, 1, 1, cmd + " TEXT");
        recordTextArg(w[1]);
    } else if (cmd == "flush" || cmd == "all" || cmd == "factory" || cmd == "reset") {
        expectArgs(p_stOptions, 1, 0, 0, cmd);
    } else if (cmd == "style") {
        expectArgs(p_stOptions, 1, 0, 0, "style [--summary] [--out FILE]");
    } else if (cmd == "get") {
        expectArgs(p_stOptions, 1, 1, 1, "get IDS");
        keyListArg(w[1]);
    } else if (cmd == "scheme") {
        expectArgs(p_stOptions, 1, 0, 1, "scheme [N]");
        if (w.size() == 2) {
            integerArg(w[1], INT32_MIN, INT32_MAX, "scheme number");
        }
    } else if (cmd == "mode") {
        expectArgs(p_stOptions, 1, 0, 1, "mode [0|1]");
        if (w.size() == 2) {
            integerArg(w[1], 0, 1, "mode (0 or 1)");
        }
    } else if (cmd == "restore") {
        expectArgs(p_stOptions, 1, 1, 1, "restore KEY");
        integerArg(w[1], 0, INT32_MAX, "key");
    } else if (cmd == "range") {
        expectArgs(p_stOptions, 1, 1, 1, "range CMD");
        integerArg(w[1], INT32_MIN, INT32_MAX, "command");
    } else if (cmd == "shutter") {
        expectArgs(p_stOptions, 1, 1, 2, "shutter get|set N|up|down");
        if (w[1] == "set") {
            expectArgs(p_stOptions, 2, 1, 1, "shutter set N");
            integerArg(w[2], INT32_MIN, INT32_MAX, "shutter index");
        } else if (w[1] == "get" || w[1] == "up" || w[1] == "down") {
            expectArgs(p_stOptions, 2, 0, 0, "shutter " + w[1]);
        } else {
            usageError("unknown shutter action '" + w[1] + "'; usage: shutter get|set N|up|down");
        }
    } else if (cmd == "zoom") {
        expectArgs(p_stOptions, 1, 0, 2, "zoom [in|out|set POS]");
        if (w.size() >= 2) {
            if (w[1] == "set") {
                expectArgs(p_stOptions, 2, 1, 1, "zoom set POS");
                integerArg(w[2], INT32_MIN, INT32_MAX, "zoom position");
            } else if (w[1] == "in" || w[1] == "out") {
                expectArgs(p_stOptions, 2, 0, 0, "zoom " + w[1]);
            } else {
                usageError("unknown zoom action '" + w[1] + "'; usage: zoom [in|out|set POS]");
            }
        }
    } else if (cmd == "check") {
        expectArgs(p_stOptions, 1, 1, 1, "check '(a,b,c)'");
        checkTextArg(w[1]);
    } else if (cmd == "timeline") {
        expectArgs(p_stOptions, 1, 0, 0, "timeline [--from HH:MM] [--to HH:MM] [--days N] [--step MIN] ...");
        if (p_stOptions.fromMinute >= p_stOptions.toMinute) {
            usageError(format("--from %s must come before --to %s", minuteText(p_stOptions.fromMinute).c_str(),
                              minuteText(p_stOptions.toMinute).c_str()));
        }
    } else if (cmd == "explain") {
        expectArgs(p_stOptions, 1, 0, 0, "explain [--at HH:MM] [--json FILE]");
    } else {
        usageError("unknown command '" + cmd + "'");
    }
}

void runControllerCommand(Session& p_objSession, const Options& p_stOptions) {
    checkControllerArgs(p_stOptions);
    const std::string& cmd = p_stOptions.words[0];
    if (cmd == "set" || cmd == "apply") {
        expectArgs(p_stOptions, 1, 1, 1, cmd + " TEXT");
        applyText(p_objSession, p_stOptions.words[1], cmd == "set");
    } else if (cmd == "flush") {
        expectArgs(p_stOptions, 1, 0, 0, "flush");
        flushScheme(p_objSession);
    } else if (cmd == "get") {
        expectArgs(p_stOptions, 1, 1, 1, "get IDS");
        cmdGet(p_objSession, p_stOptions.words[1]);
    } else if (cmd == "all") {
        expectArgs(p_stOptions, 1, 0, 0, "all");
        cmdAll(p_objSession);
    } else if (cmd == "style") {
        expectArgs(p_stOptions, 1, 0, 0, "style [--summary] [--out FILE]");
        cmdStyle(p_objSession, p_stOptions);
    } else if (cmd == "factory") {
        expectArgs(p_stOptions, 1, 0, 0, "factory");
        cmdFactory(p_objSession);
    } else if (cmd == "scheme") {
        expectArgs(p_stOptions, 1, 0, 1, "scheme [N]");
        cmdScheme(p_objSession, p_stOptions);
    } else if (cmd == "mode") {
        expectArgs(p_stOptions, 1, 0, 1, "mode [0|1]");
        cmdMode(p_objSession, p_stOptions);
    } else if (cmd == "restore") {
        expectArgs(p_stOptions, 1, 1, 1, "restore KEY");
        cmdRestore(p_objSession, p_stOptions.words[1]);
    } else if (cmd == "reset") {
        expectArgs(p_stOptions, 1, 0, 0, "reset");
        cmdReset(p_objSession);
    } else if (cmd == "range") {
        expectArgs(p_stOptions, 1, 1, 1, "range CMD");
        cmdRange(p_objSession, p_stOptions.words[1]);
    } else if (cmd == "shutter") {
        expectArgs(p_stOptions, 1, 1, 2, "shutter get|set N|up|down");
        cmdShutter(p_objSession, p_stOptions);
    } else if (cmd == "zoom") {
        expectArgs(p_stOptions, 1, 0, 2, "zoom [in|out|set POS]");
        cmdZoom(p_objSession, p_stOptions);
    } else if (cmd == "check") {
        expectArgs(p_stOptions, 1, 1, 1, "check '(a,b,c)'");
        cmdCheck(p_objSession, p_stOptions.words[1]);
    } else if (cmd == "timeline") {
        runTimeline(p_objSession, p_stOptions);
    } else if (cmd == "explain") {
        runExplain(p_objSession, p_stOptions);
    } else {
        usageError("unknown command '" + cmd + "'");
    }
}

void writeTextFile(const std::string& p_strPath, const std::string& p_strText) {
    std::ofstream out(p_strPath, std::ios::binary | std::ios::trunc);
    out << p_strText;
    out.flush();
    if (!out) {
        runtimeError("cannot write " + p_strPath);
    }
}

std::string resolveFileArg(const std::string& p_strPath, const std::string& p_strRoot) {
    if (!p_strRoot.empty() && !p_strPath.empty() && p_strPath[0] == '/') {
        struct stat st;
        std::string underRoot = p_strRoot + p_strPath;
        if (::stat(underRoot.c_str(), &st) == 0) {
            return underRoot;
        }
    }
    return p_strPath;
}

} // namespace sensorctl
