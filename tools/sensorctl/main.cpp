// sensorctl: a command-line host for the Tarnix library. It drives real
// ISensorController objects on the POSIX port and the simulated ISP over a
// device root on disk, and decodes scheme files and style merges offline.
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "tools/sensorctl/Args.h"
#include "tools/sensorctl/Commands.h"
#include "tools/sensorctl/Device.h"
#include "tools/sensorctl/LibraryConsole.h"
#include "tools/sensorctl/Output.h"
#ifdef SENSORCTL_WITH_SERVE
#include "tools/sensorctl/serve/Serve.h"
#endif

using namespace sensorctl;

namespace {

const std::vector<std::string> kControllerOptions = {"root", "channel", "clock", "time-scale", "log", "verbose"};

int runControllerProgram(const Options& p_stOptions) {
    const std::string& cmd = p_stOptions.words[0];
    std::vector<std::string> allowed = kControllerOptions;
    for (const std::string& name : controllerCommandOptions(cmd)) {
        allowed.push_back(name);
    }
    allowOnly(p_stOptions, cmd, allowed);
    checkControllerArgs(p_stOptions);

    Device device(p_stOptions);
    LibraryConsole console(device.hostPath(SENSORCTL_LOG_FILE), p_stOptions.verbose);
    std::unique_ptr<ToolError> failure;
    {
        Session session(device);
        size_t nCalls = 0;
        size_t nSets = 0;
        size_t nNotes = 0;
        session.skipLog(nCalls, nSets, nNotes);
        try {
            runControllerCommand(session, p_stOptions);
        } catch (const ToolError& e) {
            failure.reset(new ToolError(e));
        }
        if (p_stOptions.log) {
            session.printLog();
        }
    }
    if (!isReplayCommand(cmd)) {
        device.saveIspState();
    }
    console.finish();
    if (failure) {
        throw *failure;
    }
    return kExitOk;
}

// The device root of the offline commands, checked; "" when none is given.
std::string offlineRoot(const Options& p_stOptions) {
    if (!p_stOptions.has("root")) {
        return std::string();
    }
    struct stat st;
    if (::stat(p_stOptions.root.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        runtimeError("device root '" + p_stOptions.root + "' does not exist or is not a directory");
    }
    char szReal[PATH_MAX];
    return ::realpath(p_stOptions.root.c_str(), szReal) != nullptr ? std::string(szReal) : p_stOptions.root;
}

int run(const std::vector<std::string>& p_vecArgs) {
    Options options = parseOptions(p_vecArgs);
    if (options.words.empty()) {
        if (options.help) {
            printGeneralHelp();
            return kExitOk;
        }
        usageError("no command given (see sensorctl --help)");
    }
    const std::string& cmd = options.words[0];
    std::string name = cmd;
    if (cmd == "style" && options.words.size() > 1 && options.words[1] == "merge") {
        name = "style merge";
    }
    if (cmd == "help") {
        if (options.words.size() == 1) {
            printGeneralHelp();
            return kExitOk;
        }
        std::string topic = options.words[1];
        if (options.words.size() > 2) {
            topic += " " + options.words[2];
        }
        const CommandHelp* help = findCommandHelp(topic);
        if (help == nullptr) {
            usageError("unknown command '" + topic + "' (see sensorctl --help)");
        }
        printCommandHelp(*help);
        return kExitOk;
    }
    const CommandHelp* help = findCommandHelp(name);
    if (help == nullptr) {
        usageError("unknown command '" + cmd + "' (see sensorctl --help)");
    }
    if (options.help) {
        printCommandHelp(*help);
        return kExitOk;
    }
    if (name == "init-root") {
        allowOnly(options, name, {"model", "devices"});
        runInitRoot(options);
        return kExitOk;
    }
    if (name == "cfg") {
        allowOnly(options, name, {"root"});
        runCfg(options, offlineRoot(options));
        return kExitOk;
    }
    if (name == "style merge") {
        allowOnly(options, name, {"style", "diversity", "detail", "channel", "out", "verbose"});
        runStyleMerge(options);
        return kExitOk;
    }
    if (name == "shell") {
        allowOnly(options, name, {"root", "channel", "clock", "time-scale", "verbose"});
        expectArgs(options, 1, 0, 0, "shell");
        return runShell(options);
    }
    if (name == "serve") {
        allowOnly(options, name,
                  {"root", "channel", "clock", "time-scale", "bind", "port", "verbose", "onvif", "onvif-user",
                   "onvif-password"});
        expectArgs(options, 1, 0, 0, "serve [--bind ADDR] [--port P] [--onvif [--onvif-user U --onvif-password P]]");
        if ((options.has("onvif-user") || options.has("onvif-password")) && !options.onvif) {
            usageError("--onvif-user and --onvif-password go with --onvif");
        }
        if (options.has("onvif-user") != options.has("onvif-password")) {
            usageError("--onvif-user and --onvif-password go together");
        }
#ifdef SENSORCTL_WITH_SERVE
        return runServe(options);
#else
        runtimeError("this sensorctl was built without 'serve' (it needs libcpp-httplib-dev and nlohmann-json3-dev)");
#endif
    }
    return runControllerProgram(options);
}

} // namespace

int main(int argc, char** argv) {
    // A reader that goes away early (sensorctl all | head) must not kill the
    // run before the controller is shut down and the ISP state is kept.
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> args(argv + 1, argv + argc);
    int code = kExitOk;
    try {
        code = run(args);
    } catch (const ToolError& e) {
        printError(e.what());
        code = e.code();
    } catch (const std::exception& e) {
        printError(std::string("unexpected failure: ") + e.what());
        code = kExitFailure;
    }
    std::fflush(ownStream());
    return code;
}
