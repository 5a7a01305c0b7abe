// Shell commands with a time limit. Device paths in the command are moved
// under the device root, so a command acts on the same tree as PXFile.
#include "platform/sy_system.h"

#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "platform/posix/PlatformControl.h"

extern char** environ;

namespace {

// Host directories that commands may name by their absolute path; they are
// not part of the device tree and are never moved under the root
// ("2>/dev/null", "/bin/rm").
bool isHostPath(const std::string& p_strToken) {
    static const char* const kHostDirs[] = {"/dev", "/proc", "/sys", "/bin", "/sbin", "/usr"};
    for (const char* szDir : kHostDirs) {
        std::string strDir = szDir;
        if (p_strToken.compare(0, strDir.size(), strDir) == 0 &&
            (p_strToken.size() == strDir.size() || p_strToken[strDir.size()] == '/')) {
            return true;
        }
    }
    return false;
}

// The root as a shell word: quoted only when it holds characters the shell
// would otherwise interpret. Glob characters of the rest of the path still
// expand, since only the root part is quoted.
std::string shellWord(const std::string& p_strRoot) {
    bool bPlain = true;
    for (char c : p_strRoot) {
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '/' || c == '.' || c == '_' || c == '-' ||
              c == '+' || c == ',' || c == ':' || c == '@' || c == '%')) {
            bPlain = false;
            break;
        }
    }
    if (bPlain) {
        return p_strRoot;
    }
    std::string strWord = "'";
    for (char c : p_strRoot) {
        if (c == '\'') {
            strWord += "'\\''";
        } else {
            strWord += c;
        }
    }
    strWord += "'";
    return strWord;
}

std::string rewriteCommand(const std::string& p_strCommand, const std::string& p_strRoot) {
    if (p_strRoot.empty()) {
        return p_strCommand;
    }
    std::string strRootWord = shellWord(p_strRoot);
    std::string strOut;
    strOut.reserve(p_strCommand.size() + 64);
    size_t i = 0;
    const size_t n = p_strCommand.size();
    while (i < n) {
        if (std::isspace(static_cast<unsigned char>(p_strCommand[i]))) {
            strOut += p_strCommand[i++];
            continue;
        }
        size_t nEnd = i;
        while (nEnd < n && !std::isspace(static_cast<unsigned char>(p_strCommand[nEnd]))) {
            ++nEnd;
        }
        std::string strToken = p_strCommand.substr(i, nEnd - i);
        bool bInsideRoot = strToken.compare(0, p_strRoot.size(), p_strRoot) == 0 &&
                           (strToken.size() == p_strRoot.size() || strToken[p_strRoot.size()] == '/');
        if (strToken[0] == '/' && !bInsideRoot && !isHostPath(strToken)) {
            strOut += strRootWord;
        }
        strOut += strToken;
        i = nEnd;
    }
    return strOut;
}

} // namespace

int sy_system(const char* command, int timeLimitSeconds) {
    if (command == nullptr) {
        return -1;
    }
    std::string strCommand = rewriteCommand(command, platform::root());

    posix_spawnattr_t attr;
    if (posix_spawnattr_init(&attr) != 0) {
        return -1;
    }
    // The command runs in a process group of its own, so that the whole group
    // can be ended at the time limit; signals start from their defaults.
    sigset_t noSignals;
    sigemptyset(&noSignals);
    sigset_t defaultSignals;
    sigemptyset(&defaultSignals);
    sigaddset(&defaultSignals, SIGPIPE);
    sigaddset(&defaultSignals, SIGINT);
    sigaddset(&defaultSignals, SIGQUIT);
    sigaddset(&defaultSignals, SIGTERM);
    sigaddset(&defaultSignals, SIGCHLD);
    posix_spawnattr_setpgroup(&attr, 0);
    posix_spawnattr_setsigmask(&attr, &noSignals);
    posix_spawnattr_setsigdefault(&attr, &defaultSignals);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    char szShell[] = "/bin/sh";
    char szFlag[] = "-c";
    char* argv[] = {szShell, szFlag, &strCommand[0], nullptr};
    pid_t pid = -1;
    int nSpawn = posix_spawn(&pid, szShell, nullptr, &attr, argv, environ);
    posix_spawnattr_destroy(&attr);
    if (nSpawn != 0) {
        return -1;
    }

    // The limit is in real seconds; a limit of 0 or less waits without end.
    const bool bLimited = timeLimitSeconds > 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(bLimited ? timeLimitSeconds : 0);
    auto pause = std::chrono::microseconds(500);
    int nStatus = 0;
    while (true) {
        pid_t nDone = ::waitpid(pid, &nStatus, WNOHANG);
        if (nDone == pid) {
            break;
        }
        if (nDone < 0 && errno != EINTR) {
            return -1;
        }
        if (bLimited && std::chrono::steady_clock::now() >= deadline) {
            ::kill(-pid, SIGKILL);
            while (::waitpid(pid, &nStatus, 0) < 0 && errno == EINTR) {
            }
            return -1;
        }
        std::this_thread::sleep_for(pause);
        if (pause < std::chrono::milliseconds(20)) {
            pause *= 2;
        }
    }
    if (WIFEXITED(nStatus)) {
        return WEXITSTATUS(nStatus);
    }
    return -1;
}
