// cfg dump / cfg diff: scheme files decoded into (key,value) lines with key
// names. A scheme file is KeyVal records of 8 bytes (key, value; native byte
// order) back to back, nothing else.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "controller/SensorTypes.h"
#include "tools/sensorctl/Commands.h"
#include "tools/sensorctl/KeyNames.h"
#include "tools/sensorctl/Output.h"
#include "tools/sensorctl/SchemeFile.h"

namespace sensorctl {

namespace {

// Far above any scheme file (a few hundred records); a bigger file is not one.
constexpr long long kMaxSchemeFileBytes = 1 << 20;

struct SchemeFile {
    std::string path;
    std::vector<KeyVal> records;
    size_t trailingBytes = 0;
};

SchemeFile readSchemeFile(const std::string& p_strPath) {
    struct stat st;
    if (::stat(p_strPath.c_str(), &st) != 0) {
        runtimeError("cannot read " + p_strPath + ": " + std::strerror(errno));
    }
    if (!S_ISREG(st.st_mode)) {
        runtimeError("cannot read " + p_strPath + ": not a regular file");
    }
    if (st.st_size > kMaxSchemeFileBytes) {
        runtimeError(format("%s has %lld bytes: too large for a scheme file", p_strPath.c_str(),
                            static_cast<long long>(st.st_size)));
    }
    std::ifstream in(p_strPath, std::ios::binary);
    if (!in) {
        runtimeError("cannot read " + p_strPath + ": " + std::strerror(errno));
    }
    std::vector<char> bytes(static_cast<size_t>(st.st_size));
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (static_cast<size_t>(in.gcount()) != bytes.size()) {
        runtimeError("cannot read " + p_strPath + ": short read");
    }
    SchemeFile file;
    file.path = p_strPath;
    size_t nRecords = bytes.size() / sizeof(KeyVal);
    file.records.resize(nRecords);
    if (nRecords > 0) {
        std::memcpy(file.records.data(), bytes.data(), nRecords * sizeof(KeyVal));
    }
    file.trailingBytes = bytes.size() - nRecords * sizeof(KeyVal);
    return file;
}

void warnTrailing(const SchemeFile& p_stFile) {
    if (p_stFile.trailingBytes != 0) {
        printWarning(format("%s ends with %zu bytes that make no whole record (ignored)", p_stFile.path.c_str(),
                            p_stFile.trailingBytes));
    }
}

// Index of the first record of every key.
std::unordered_map<u32, size_t> firstIndex(const std::vector<KeyVal>& p_vecRecords) {
    std::unordered_map<u32, size_t> index;
    for (size_t i = 0; i < p_vecRecords.size(); ++i) {
        index.emplace(p_vecRecords[i].key, i);
    }
    return index;
}

void dump(const std::string& p_strPath) {
    SchemeFile file = readSchemeFile(p_strPath);
    say("%s: %zu records", p_strPath.c_str(), file.records.size());
    for (const KeyVal& kv : file.records) {
        say("  (%d,%d)  %s", static_cast<int>(kv.key), static_cast<int>(kv.value), nameOrDash(keyName(kv.key)));
    }
    warnTrailing(file);
}

void diff(const std::string& p_strA, const std::string& p_strB) {
    SchemeFile a = readSchemeFile(p_strA);
    SchemeFile b = readSchemeFile(p_strB);
    size_t nChanged = 0;
    size_t nOnlyA = 0;
    size_t nOnlyB = 0;
    std::unordered_map<u32, size_t> indexA = firstIndex(a.records);
    std::unordered_map<u32, size_t> indexB = firstIndex(b.records);
    for (size_t i = 0; i < a.records.size(); ++i) {
        const KeyVal& kv = a.records[i];
        if (indexA[kv.key] != i) {
            continue;   // a repeated key: its first record speaks for it
        }
        auto itB = indexB.find(kv.key);
        if (itB == indexB.end()) {
            say("  only in A: (%d,%d)  %s", static_cast<int>(kv.key), static_cast<int>(kv.value),
                nameOrDash(keyName(kv.key)));
            ++nOnlyA;
        } else if (b.records[itB->second].value != kv.value) {
            say("  (%d,%d) -> (%d,%d)  %s", static_cast<int>(kv.key), static_cast<int>(kv.value),
                static_cast<int>(kv.key), static_cast<int>(b.records[itB->second].value),
                nameOrDash(keyName(kv.key)));
            ++nChanged;
        }
    }
    for (size_t i = 0; i < b.records.size(); ++i) {
        const KeyVal& kv = b.records[i];
        if (indexB[kv.key] == i && indexA.count(kv.key) == 0) {
            say("  only in B: (%d,%d)  %s", static_cast<int>(kv.key), static_cast<int>(kv.value),
                nameOrDash(keyName(kv.key)));
            ++nOnlyB;
        }
    }
    if (nChanged + nOnlyA + nOnlyB == 0) {
        say("A %s and B %s hold the same values (%zu records)", p_strA.c_str(), p_strB.c_str(), a.records.size());
    } else {
        say("A %s and B %s: %zu values differ, %zu keys only in A, %zu only in B", p_strA.c_str(), p_strB.c_str(),
            nChanged, nOnlyA, nOnlyB);
    }
    warnTrailing(a);
    warnTrailing(b);
}

} // namespace

std::vector<KeyVal> readSchemeRecords(const std::string& p_strHostPath) { return readSchemeFile(p_strHostPath).records; }

void runCfg(const Options& p_stOptions, const std::string& p_strRoot) {
    expectArgs(p_stOptions, 1, 1, 3, "cfg dump FILE | cfg diff A B");
    const std::string& action = p_stOptions.words[1];
    if (action == "dump") {
        expectArgs(p_stOptions, 2, 1, 1, "cfg dump FILE");
        dump(resolveFileArg(p_stOptions.words[2], p_strRoot));
    } else if (action == "diff") {
        expectArgs(p_stOptions, 2, 2, 2, "cfg diff A B");
        diff(resolveFileArg(p_stOptions.words[2], p_strRoot), resolveFileArg(p_stOptions.words[3], p_strRoot));
    } else {
        usageError("unknown cfg action '" + action + "'; usage: cfg dump FILE | cfg diff A B");
    }
}

} // namespace sensorctl
