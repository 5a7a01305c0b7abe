#pragma once
// Runs a built program as a subprocess for end-to-end tests: its stdin from a
// string, stdout and stderr captured, exit code returned. The child gets a
// clean environment for the variables the platform reads (TARNIX_ROOT,
// TARNIX_CLOCK, TARNIX_TIME_SCALE), so every test is hermetic. A program of a
// cross build runs through the emulator.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace tarnix_test {

struct RunResult {
    int code = -1;        // exit code; 128 + signal when killed
    std::string out;      // stdout
    std::string err;      // stderr
};

inline std::string slurp(const std::string& p_strPath) {
    std::ifstream in(p_strPath, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// Runs p_strProgram with p_vecArgs in p_strWorkDir; p_strScratch is a
// directory for the capture files.
inline RunResult runProgram(const std::string& p_strProgram, const std::vector<std::string>& p_vecArgs,
                            const std::string& p_strInput, const std::string& p_strWorkDir,
                            const std::string& p_strScratch, const std::vector<std::string>& p_vecEnv = {}) {
    static int s_nRun = 0;
    ++s_nRun;
    std::string base = p_strScratch + "/run" + std::to_string(s_nRun);
    std::string inPath = base + ".in";
    std::string outPath = base + ".out";
    std::string errPath = base + ".err";
    {
        std::ofstream in(inPath, std::ios::binary | std::ios::trunc);
        in << p_strInput;
    }
    RunResult result;
    pid_t pid = ::fork();
    if (pid == 0) {
        int fdIn = ::open(inPath.c_str(), O_RDONLY);
        int fdOut = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int fdErr = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fdIn < 0 || fdOut < 0 || fdErr < 0 || ::dup2(fdIn, 0) < 0 || ::dup2(fdOut, 1) < 0 ||
            ::dup2(fdErr, 2) < 0 || ::chdir(p_strWorkDir.c_str()) != 0) {
            ::_exit(126);
        }
        ::unsetenv("TARNIX_ROOT");
        ::unsetenv("TARNIX_CLOCK");
        ::unsetenv("TARNIX_TIME_SCALE");
        ::unsetenv("TARNIX_DEVICES_DIR");
        ::setenv("TMPDIR", p_strScratch.c_str(), 1);
        for (const std::string& assignment : p_vecEnv) {
            size_t eq = assignment.find('=');
            ::setenv(assignment.substr(0, eq).c_str(), assignment.substr(eq + 1).c_str(), 1);
        }
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(p_strProgram.c_str()));
        for (const std::string& arg : p_vecArgs) {
            argv.push_back(const_cast<char*>(arg.c_str()));
        }
        argv.push_back(nullptr);
        ::execv(p_strProgram.c_str(), argv.data());
        ::_exit(127);
    }
    int status = 0;
    if (pid > 0 && ::waitpid(pid, &status, 0) == pid) {
        result.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    result.out = slurp(outPath);
    result.err = slurp(errPath);
    ::unlink(inPath.c_str());
    ::unlink(outPath.c_str());
    ::unlink(errPath.c_str());
    return result;
}

// The program to run for p_strProgram: the program itself, or, when
// p_strEmulator names an emulator (its words separated by "|", as the
// build passes CMAKE_CROSSCOMPILING_EMULATOR), a small script at
// p_strScriptPath that runs it through the emulator.
inline std::string programThroughEmulator(const std::string& p_strProgram, const std::string& p_strEmulator,
                                          const std::string& p_strScriptPath) {
    if (p_strEmulator.empty()) {
        return p_strProgram;
    }
    std::string script = "#!/bin/sh\nexec";
    std::string word;
    for (char c : p_strEmulator + "|" + p_strProgram + "|") {
        if (c == '|') {
            script += " '" + word + "'";
            word.clear();
        } else {
            word += c;
        }
    }
    script += " \"$@\"\n";
    {
        std::ofstream out(p_strScriptPath, std::ios::binary | std::ios::trunc);
        out << script;
    }
    ::chmod(p_strScriptPath.c_str(), 0755);
    return p_strScriptPath;
}

} // namespace tarnix_test
