// Commands that need no controller: init-root (lay down a sample device
// tree) and style merge (the style merge alone, in a temporary root).
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "config/StyleXml.h"
#include "config/sensor.h"
#include "platform/posix/HostTree.h"
#include "platform/posix/PlatformControl.h"
#include "tools/sensorctl/Commands.h"
#include "tools/sensorctl/LibraryConsole.h"
#include "tools/sensorctl/Output.h"

namespace sensorctl {

namespace {

const char* const kModels[] = {"box", "dome", "thermal", "lpr", "fisheye"};

bool exists(const std::string& p_strPath) {
    struct stat st;
    return ::lstat(p_strPath.c_str(), &st) == 0;
}

bool isEmptyDirectory(const std::string& p_strPath) {
    DIR* dir = ::opendir(p_strPath.c_str());
    if (dir == nullptr) {
        return false;
    }
    bool bEmpty = true;
    while (dirent* entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            bEmpty = false;
            break;
        }
    }
    ::closedir(dir);
    return bEmpty;
}

// Directory of the running program.
std::string programDir() {
    char szPath[PATH_MAX];
    ssize_t nLen = ::readlink("/proc/self/exe", szPath, sizeof(szPath) - 1);
    if (nLen <= 0) {
        return std::string();
    }
    szPath[nLen] = '\0';
    std::string path(szPath);
    size_t nSlash = path.rfind('/');
    return nSlash == std::string::npos ? std::string() : path.substr(0, nSlash);
}

// Where the sample trees are, in order of preference.
std::vector<std::string> deviceDirCandidates(const Options& p_stOptions) {
    std::vector<std::string> dirs;
    if (p_stOptions.has("devices")) {
        dirs.push_back(p_stOptions.devicesDir);
        return dirs;
    }
    const char* szEnv = std::getenv("TARNIX_DEVICES_DIR");
    if (szEnv != nullptr && *szEnv != '\0') {
        dirs.push_back(szEnv);
    }
    std::string exeDir = programDir();
    if (!exeDir.empty()) {
        dirs.push_back(exeDir + "/../" SENSORCTL_RELATIVE_DEVICES_DIR);
    }
    dirs.push_back(SENSORCTL_INSTALL_DEVICES_DIR);
    dirs.push_back(SENSORCTL_SOURCE_DEVICES_DIR);
    return dirs;
}

void makeDirs(const std::string& p_strDir) {
    std::string partial;
    std::stringstream ss(p_strDir);
    std::string piece;
    if (!p_strDir.empty() && p_strDir[0] == '/') {
        partial = "/";
    }
    while (std::getline(ss, piece, '/')) {
        if (piece.empty()) {
            continue;
        }
        partial += piece + "/";
        if (::mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST) {
            runtimeError("cannot create directory " + partial + ": " + std::strerror(errno));
        }
    }
}

// Copies the tree; returns the number of files copied.
size_t copyTree(const std::string& p_strFrom, const std::string& p_strTo, int p_nDepth) {
    if (p_nDepth > 64) {
        runtimeError("the sample tree " + p_strFrom + " is nested too deeply");
    }
    makeDirs(p_strTo);
    if (!platform::isHostDir(p_strFrom)) {
        runtimeError("cannot read " + p_strFrom + ": " + std::strerror(errno));
    }
    const std::vector<std::string> names = platform::listHostDir(p_strFrom);
    size_t nFiles = 0;
    for (const std::string& name : names) {
        std::string src = p_strFrom + "/" + name;
        std::string dst = p_strTo + "/" + name;
        struct stat st;
        if (::stat(src.c_str(), &st) != 0) {
            continue;
        }
        if (S_ISDIR(st.st_mode)) {
            nFiles += copyTree(src, dst, p_nDepth + 1);
        } else if (S_ISREG(st.st_mode)) {
            std::ifstream in(src, std::ios::binary);
            std::ofstream out(dst, std::ios::binary | std::ios::trunc);
            char chunk[8192];
            while (in && out) {
                in.read(chunk, sizeof(chunk));
                out.write(chunk, in.gcount());
            }
            out.flush();
            if (in.bad() || !in.eof() || !out) {
                runtimeError("cannot copy " + src + " to " + dst);
            }
            ++nFiles;
        }
    }
    return nFiles;
}

std::string readWholeFile(const std::string& p_strPath, const std::string& p_strWhat) {
    struct stat st;
    if (::stat(p_strPath.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        runtimeError("cannot read the " + p_strWhat + " file " + p_strPath +
                     (errno != 0 ? std::string(": ") + std::strerror(errno) : std::string()));
    }
    std::ifstream in(p_strPath, std::ios::binary);
    if (!in) {
        runtimeError("cannot read the " + p_strWhat + " file " + p_strPath);
    }
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// Usage error naming the place when the text is not a well-formed document.
void checkXml(const std::string& p_strText, const std::string& p_strPath) {
    if (p_strText.find('\0') != std::string::npos) {
        runtimeError(p_strPath + " is not a style document: it holds a zero byte");
    }
    TiXmlDocument doc;
    if (!LoadMem(doc, p_strText.c_str(), TIXML_ENCODING_UTF8) || doc.RootElement() == nullptr) {
        runtimeError(format("%s is not well-formed XML (%s, line %d, column %d)", p_strPath.c_str(),
                            doc.Error() ? doc.ErrorDesc() : "no root element", doc.ErrorRow(), doc.ErrorCol()));
    }
}

} // namespace

void runInitRoot(const Options& p_stOptions) {
    expectArgs(p_stOptions, 1, 1, 1, "init-root DIR --model box|dome|thermal|lpr|fisheye");
    const std::string& target = p_stOptions.words[1];
    if (!p_stOptions.has("model")) {
        usageError("init-root needs --model box|dome|thermal|lpr|fisheye");
    }
    bool bKnown = false;
    for (const char* model : kModels) {
        bKnown = bKnown || p_stOptions.model == model;
    }
    if (!bKnown) {
        usageError("unknown model '" + p_stOptions.model + "'; choose box, dome, thermal, lpr or fisheye");
    }
    if (exists(target) && !(platform::isHostDir(target) && isEmptyDirectory(target))) {
        runtimeError("'" + target + "' already exists and is not an empty directory");
    }
    std::string source;
    for (const std::string& dir : deviceDirCandidates(p_stOptions)) {
        if (platform::isHostDir(dir + "/" + p_stOptions.model)) {
            source = dir + "/" + p_stOptions.model;
            break;
        }
    }
    if (source.empty()) {
        runtimeError("no sample device tree '" + p_stOptions.model + "' found" +
                     (p_stOptions.has("devices") ? " in " + p_stOptions.devicesDir
                                                 : std::string(" (use --devices DIR or TARNIX_DEVICES_DIR)")));
    }
    size_t nFiles = copyTree(source, target, 0);
    say("init-root: %s holds the '%s' sample device tree (%zu files from %s)", target.c_str(),
        p_stOptions.model.c_str(), nFiles, source.c_str());
}

void runStyleMerge(const Options& p_stOptions) {
    expectArgs(p_stOptions, 2, 0, 0, "style merge --style F --diversity F --detail TEXT");
    for (const char* name : {"style", "diversity", "detail"}) {
        if (!p_stOptions.has(name)) {
            usageError(std::string("style merge needs --") + name);
        }
    }
    if (p_stOptions.detail.size() >= MODULE_DETAIL_LEN) {
        usageError(format("--detail has %zu characters; a module detail text holds at most %d",
                          p_stOptions.detail.size(), MODULE_DETAIL_LEN - 1));
    }
    errno = 0;
    std::string style = readWholeFile(p_stOptions.styleFile, "style");
    errno = 0;
    std::string diversity = readWholeFile(p_stOptions.diversityFile, "diversity");
    checkXml(style, p_stOptions.styleFile);
    checkXml(diversity, p_stOptions.diversityFile);

    // The merge writes "/tmp/merge_style_ch%d.xml" below the device root: a
    // private root keeps the real /tmp and any device tree untouched.
    const std::string tmpRoot = platform::makeHostTempDir("sensorctl-merge-");
    if (tmpRoot.empty()) {
        runtimeError(std::string("cannot create a temporary directory: ") + std::strerror(errno));
    }
    ::mkdir((tmpRoot + "/tmp").c_str(), 0755);
    platform::setRoot(tmpRoot);

    ModuleConfig stModule;
    std::memset(&stModule, 0, sizeof(stModule));
    std::memcpy(stModule.szLabel1, "xxx", 3);
    std::memcpy(stModule.szLabel2, "xxx", 3);
    std::memcpy(stModule.szDetail, p_stOptions.detail.data(), p_stOptions.detail.size());

    char* szStyle = static_cast<char*>(std::malloc(style.size() + 1));
    if (szStyle == nullptr) {
        platform::removeHostTree(tmpRoot);
        runtimeError("out of memory");
    }
    std::memcpy(szStyle, style.c_str(), style.size() + 1);
    std::vector<char> div(diversity.begin(), diversity.end());
    div.push_back('\0');
    {
        // The library's reports are summarised; --verbose shows its lines.
        LibraryConsole console("", p_stOptions.verbose);
        mergeStyle(p_stOptions.channel, &stModule, &szStyle, div.data());
    }
    std::string merged = szStyle != nullptr ? szStyle : "";
    std::free(szStyle);
    platform::setRoot("");
    platform::removeHostTree(tmpRoot);

    if (merged.empty()) {
        runtimeError("the merge produced no document (is " + p_stOptions.styleFile + " well-formed XML?)");
    }
    if (p_stOptions.has("out")) {
        writeTextFile(p_stOptions.out, merged);
        say("style merge: %zu bytes written to %s", merged.size(), p_stOptions.out.c_str());
    } else {
        writeRaw(merged);
    }
}

} // namespace sensorctl
