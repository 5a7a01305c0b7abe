// sensorctl shell: commands from stdin, one per line, on one live controller
// whose sensor thread keeps running between them.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include "platform/ia_ioctrl.h"
#include "platform/posix/PlatformControl.h"
#include "tools/sensorctl/Commands.h"
#include "tools/sensorctl/LibraryConsole.h"
#include "tools/sensorctl/Output.h"

namespace sensorctl {

namespace {

// Longest line the shell accepts.
constexpr size_t kMaxLine = 64 * 1024;

void printShellHelp() {
    say("shell commands:");
    say("  set TEXT | apply TEXT | flush | get IDS | all | style [--summary] | factory");
    say("  scheme [N] | mode [0|1] | restore KEY | reset | range CMD | shutter get|set N|up|down");
    say("  zoom [in|out|set POS] | check (a,b,c) | cfg dump FILE | cfg diff A B");
    say("  timeline [--from HH:MM] [--to HH:MM] [--step MIN] [--daynight FILE] ... | explain [--at HH:MM]");
    say("  clock HH:MM|off   fix the device clock (the scheme schedule reads it)");
    say("  daynight day|night   set the simulated ISP's day/night state");
    say("  wait N            let N sensor-thread passes go by");
    say("  log               ISP calls and video notifications since the last log");
    say("  help [COMMAND] | quit");
}

struct ShellState {
    bool clockFixed = false;
    int hour = 0;
    int minute = 0;
};

void shellHelp(const Options& p_stOptions) {
    expectArgs(p_stOptions, 1, 0, 2, "help [COMMAND]");
    if (p_stOptions.words.size() == 1) {
        printShellHelp();
        return;
    }
    std::string name = p_stOptions.words[1];
    if (p_stOptions.words.size() == 3) {
        name += " " + p_stOptions.words[2];
    }
    const CommandHelp* help = findCommandHelp(name);
    if (help == nullptr) {
        usageError("no help for '" + name + "'");
    }
    printCommandHelp(*help);
}

// The device clock as the shell set it (real time when it set none).
void restoreShellClock(const ShellState& p_stState) {
    if (p_stState.clockFixed) {
        platform::setClock(p_stState.hour, p_stState.minute);
    } else {
        platform::clearClock();
    }
}

void shellClock(ShellState& p_stState, const Options& p_stOptions) {
    expectArgs(p_stOptions, 1, 0, 1, "clock [HH:MM|off]");
    if (p_stOptions.words.size() == 2) {
        const std::string& arg = p_stOptions.words[1];
        if (arg == "off") {
            platform::clearClock();
            p_stState.clockFixed = false;
        } else if (parseClockText(arg, p_stState.hour, p_stState.minute)) {
            platform::setClock(p_stState.hour, p_stState.minute);
            p_stState.clockFixed = true;
        } else {
            usageError("bad clock '" + arg + "': expected HH:MM (00:00 to 23:59) or off");
        }
    }
    if (p_stState.clockFixed) {
        say("clock %02d:%02d", p_stState.hour, p_stState.minute);
    } else {
        say("clock real (the host's local time)");
    }
}

void shellDayNight(Device& p_objDevice, const Options& p_stOptions) {
    expectArgs(p_stOptions, 1, 1, 1, "daynight day|night");
    const std::string& arg = p_stOptions.words[1];
    if (arg != "day" && arg != "night") {
        usageError("bad day/night state '" + arg + "': expected day or night");
    }
    uint32_t value = arg == "day" ? 0 : 1;
    ispsim::setValue(p_objDevice.ispChannel(), IA_CMD_DN_STATE, value);
    say("daynight %s: ISP channel %d reports %u on command %d", arg.c_str(), p_objDevice.ispChannel(), value,
        static_cast<int>(IA_CMD_DN_STATE));
}

void shellWait(Session& p_objSession, const Options& p_stOptions) {
    expectArgs(p_stOptions, 1, 1, 1, "wait N");
    long long passes = integerArg(p_stOptions.words[1], 0, 3600, "number of passes (0 to 3600)");
    double seconds = static_cast<double>(passes) * platform::timeScale();
    std::fflush(ownStream());
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    if (passes > 0) {
        // One more pass on this thread: the thread's passes are timed by
        // the clock of a busy host, this one is not. A pass the thread is
        // running at this moment holds the controller, so either way the
        // next command sees what a pass decides now.
        p_objSession.controller().sensorThread();
    }
    say("wait %lld: %lld sensor-thread passes (%.0f ms)", passes, passes, seconds * 1000.0);
}

void runShellCommand(Session& p_objSession, ShellState& p_stState, const Options& p_stOptions) {
    const std::string& cmd = p_stOptions.words[0];
    const bool bShellOnly = cmd == "help" || cmd == "clock" || cmd == "daynight" || cmd == "wait" || cmd == "log" ||
                            cmd == "cfg";
    if (bShellOnly) {
        allowOnly(p_stOptions, cmd, {});
    }
    if (cmd == "help") {
        shellHelp(p_stOptions);
    } else if (cmd == "clock") {
        shellClock(p_stState, p_stOptions);
    } else if (cmd == "daynight") {
        shellDayNight(p_objSession.device(), p_stOptions);
    } else if (cmd == "wait") {
        shellWait(p_objSession, p_stOptions);
    } else if (cmd == "log") {
        expectArgs(p_stOptions, 1, 0, 0, "log");
        p_objSession.printLog();
    } else if (cmd == "cfg") {
        runCfg(p_stOptions, p_objSession.device().root());
    } else if (cmd == "style" && p_stOptions.words.size() > 1 && p_stOptions.words[1] == "merge") {
        usageError("'style merge' is not available in the shell");
    } else if (isReplayCommand(cmd)) {
        allowOnly(p_stOptions, cmd, controllerCommandOptions(cmd));
        // The replay moves the device clock; the shell's own comes back after it.
        try {
            runControllerCommand(p_objSession, p_stOptions);
        } catch (...) {
            restoreShellClock(p_stState);
            throw;
        }
        restoreShellClock(p_stState);
    } else if (isControllerCommand(cmd)) {
        allowOnly(p_stOptions, cmd, controllerCommandOptions(cmd));
        runControllerCommand(p_objSession, p_stOptions);
    } else if (cmd == "init-root" || cmd == "shell") {
        usageError("'" + cmd + "' is not available in the shell");
    } else {
        usageError("unknown command '" + cmd + "' (type help)");
    }
}

// One line of input: blank lines and comments are skipped, a command is
// echoed when the input is not a terminal and run. False at "quit".
bool runShellLine(Session& p_objSession, ShellState& p_stState, std::string p_strLine, bool p_bInteractive,
                  size_t& p_nCommands, size_t& p_nFailed) {
    size_t nFirst = p_strLine.find_first_not_of(" \t\r");
    if (nFirst == std::string::npos || p_strLine[nFirst] == '#') {
        return true;
    }
    size_t nLast = p_strLine.find_last_not_of(" \t\r");
    p_strLine = p_strLine.substr(nFirst, nLast - nFirst + 1);
    if (!p_bInteractive) {
        std::fprintf(ownStream(), "sensorctl> %s\n",
                     p_strLine.size() > 200 ? (p_strLine.substr(0, 200) + " ...").c_str() : p_strLine.c_str());
    }
    if (p_strLine == "quit" || p_strLine == "exit") {
        return false;
    }
    ++p_nCommands;
    try {
        if (p_strLine.size() > kMaxLine) {
            usageError("line too long");
        }
        std::vector<std::string> words;
        if (!splitLine(p_strLine, words)) {
            usageError("unterminated quote");
        }
        Options options = parseOptions(words);
        if (options.words.empty()) {
            usageError("no command");
        }
        if (options.help) {
            const CommandHelp* help = findCommandHelp(options.words[0]);
            if (help == nullptr) {
                usageError("unknown command '" + options.words[0] + "' (type help)");
            }
            printCommandHelp(*help);
            return true;
        }
        runShellCommand(p_objSession, p_stState, options);
    } catch (const ToolError& e) {
        ++p_nFailed;
        printError(e.what());
    }
    return true;
}

} // namespace

int runShell(const Options& p_stOptions) {
    Device device(p_stOptions);
    LibraryConsole console(device.hostPath(SENSORCTL_LOG_FILE), p_stOptions.verbose);
    bool bInteractive = ::isatty(STDIN_FILENO) != 0;
    ShellState state;
    if (p_stOptions.has("clock")) {
        state.clockFixed = true;
        state.hour = p_stOptions.clockHour;
        state.minute = p_stOptions.clockMinute;
    }
    size_t nCommands = 0;
    size_t nFailed = 0;
    {
        Session session(device);
        size_t nCalls = 0;
        size_t nSets = 0;
        size_t nNotes = 0;
        session.skipLog(nCalls, nSets, nNotes);
        int nScheme = -1;
        int nMode = -1;
        session.controller().getParamScheme(nScheme);
        session.controller().getParamMode(nMode);
        say("shell: channel %d of %s initialised: scheme %d, mode %d; init made %zu ISP calls (%zu set), "
            "%zu video notifications",
            device.cameraId(), device.root().c_str(), nScheme, nMode, nCalls, nSets, nNotes);
        if (bInteractive) {
            say("type help for the commands, quit to leave");
        }
        std::string line;
        do {
            if (bInteractive) {
                std::fputs("sensorctl> ", ownStream());
            }
            std::fflush(ownStream());
        } while (std::getline(std::cin, line) &&
                 runShellLine(session, state, line, bInteractive, nCommands, nFailed));
    }
    device.saveIspState();
    say("shell: %zu commands, %zu failed", nCommands, nFailed);
    console.finish();
    return nFailed == 0 ? kExitOk : kExitFailure;
}

} // namespace sensorctl
