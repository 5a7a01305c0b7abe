#pragma once
// The commands of sensorctl: their help texts and the controller commands
// that run on a live session (one-shot or in the shell).
#include <string>
#include <vector>

#include "tools/sensorctl/Args.h"
#include "tools/sensorctl/Device.h"

namespace sensorctl {

struct CommandHelp {
    const char* name;
    const char* usage;     // after "sensorctl "
    const char* summary;   // one line
    const char* details;   // further lines, may be ""
};

// Help of a command (by its first word), nullptr when unknown.
const CommandHelp* findCommandHelp(const std::string& p_strName);
void printGeneralHelp();
void printCommandHelp(const CommandHelp& p_stHelp);

// True for the commands that act on a live controller.
bool isControllerCommand(const std::string& p_strName);
// True for the commands that replay the clock (timeline, explain): they
// write no scheme file and keep no simulated ISP state in the device root.
bool isReplayCommand(const std::string& p_strName);
// Options a controller command accepts besides the global ones.
std::vector<std::string> controllerCommandOptions(const std::string& p_strName);
// Checks the arguments of a controller command before anything runs.
void checkControllerArgs(const Options& p_stOptions);
// Runs a controller command (p_stOptions.words[0]) on the session. Throws
// ToolError on a usage error or a failure.
void runControllerCommand(Session& p_objSession, const Options& p_stOptions);

// Offline commands (no controller).
void runInitRoot(const Options& p_stOptions);
void runCfg(const Options& p_stOptions, const std::string& p_strRoot);
void runStyleMerge(const Options& p_stOptions);
// The interactive shell; returns the exit code.
int runShell(const Options& p_stOptions);

// Host path of a file argument: with a device root, an absolute path that
// exists below the root is taken from there (so device paths such as
// /mnt/mtd/code/config_file/sensor1_0.cfg work); otherwise the path as given.
std::string resolveFileArg(const std::string& p_strPath, const std::string& p_strRoot);
// Writes the text to a host file (created or truncated); a failure error otherwise.
void writeTextFile(const std::string& p_strPath, const std::string& p_strText);

} // namespace sensorctl
