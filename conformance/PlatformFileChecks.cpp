// PXFile and the file-system steps of the scheme files' atomic replace.
// The library opens with mode 1 to read and 66 (write | truncate) to write
// a new file, reads and writes whole records, asks for the length of the
// style files and tests every result; a save writes "<name>.tmp", flushes
// it, renames it over the old file and flushes the directory.
#include <string>
#include <vector>

#include "conformance/LibraryFacts.h"
#include "conformance/PlatformChecks.h"
#include "conformance/PlatformPort.h"

namespace conformance {

namespace {

const char* const kFileUse = "the scheme files (keyValFromFile, keyValToFile), the version stamp and the style files";
const unsigned char kModeNew = PXFile::modeWrite | PXFile::modeTruncate;   // 66

std::string num(long long p_nValue) { return std::to_string(p_nValue); }

// Data of p_nSize bytes in which every byte value occurs, line ends and
// zero bytes included.
std::string patternData(size_t p_nSize) {
    std::string strData(p_nSize, '\0');
    for (size_t i = 0; i < p_nSize; ++i) {
        strData[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    }
    return strData;
}

Result noScratch(const ScratchDir& p_objDir) {
    return fail("pxfs::makeDirs to create the directory " + p_objDir.path(), "failure",
                "the checks of the file port cannot run; the library creates no directories itself");
}

} // namespace

Result checkFileModes(Context& p_stContext) {
    ScratchDir dir(p_stContext, "file-modes");
    if (!dir.ready()) {
        return noScratch(dir);
    }
    PlatformPort& port = p_stContext.port;
    const std::string strFile = dir.file("modes.bin");
    {
        PXFile file;
        if (port.fileOpen(file, dir.file("missing.bin").c_str(), PXFile::modeRead)) {
            return fail("open(mode 1) of a missing file to fail", "success",
                        std::string(kFileUse) + ": a missing scheme file is not created from the defaults");
        }
    }
    {
        PXFile file;
        if (port.fileOpen(file, dir.file("no/such/dir/x.bin").c_str(), kModeNew)) {
            return fail("open(mode 66) in a missing directory to fail", "success", kFileUse);
        }
    }
    if (!writeWhole(p_stContext, strFile, "first content")) {
        return fail("open(mode 66) to create a new file and write 13 bytes", "failure", kFileUse);
    }
    // Mode 66 on an existing file truncates it.
    {
        PXFile file;
        if (!port.fileOpen(file, strFile.c_str(), kModeNew)) {
            return fail("open(mode 66) of an existing file to succeed", "failure", kFileUse);
        }
        char aData[] = "new";
        if (port.fileWrite(file, aData, 3) != 3) {
            return fail("write of 3 bytes after open(mode 66) to report 3", "another count", kFileUse);
        }
        port.fileClose(file);
    }
    std::string strBack;
    if (!readWhole(p_stContext, strFile, strBack)) {
        return fail("open(mode 1) of an existing file to succeed and read it whole", "failure", kFileUse);
    }
    if (strBack != "new") {
        return fail("open(mode 66) to truncate the file (content \"new\")", "\"" + strBack + "\"",
                    std::string(kFileUse) + ": a shorter save leaves the old tail behind");
    }
    return ok();
}

Result checkFileLength(Context& p_stContext) {
    ScratchDir dir(p_stContext, "file-length");
    if (!dir.ready()) {
        return noScratch(dir);
    }
    PlatformPort& port = p_stContext.port;
    const size_t aSizes[] = {0, 8, 1000, 1 << 20};
    for (size_t nSize : aSizes) {
        const std::string strFile = dir.file("len" + num(static_cast<long long>(nSize)) + ".bin");
        if (!writeWhole(p_stContext, strFile, patternData(nSize))) {
            return fail("a file of " + num(static_cast<long long>(nSize)) + " bytes to be written", "failure",
                        kFileUse);
        }
        PXFile file;
        if (!port.fileOpen(file, strFile.c_str(), PXFile::modeRead)) {
            return fail("open(mode 1) of a written file", "failure", kFileUse);
        }
        const INT64 nLength = port.fileLength(file);
        if (nLength != static_cast<INT64>(nSize)) {
            return fail("getLength() of a " + num(static_cast<long long>(nSize)) + "-byte file to be " +
                            num(static_cast<long long>(nSize)),
                        num(nLength), "the style and version files (getFileLen): they are read short or not at all");
        }
        // Asking for the length does not move the read position.
        char aByte[1] = {0};
        if (nSize > 0 && (port.fileRead(file, aByte, 1) != 1 || aByte[0] != patternData(1)[0])) {
            return fail("the first byte to read after getLength()", "another byte or none",
                        "the style and version files (getFileLen then loadFromFile)");
        }
    }
    PXFile unopened;
    const INT64 nLength = port.fileLength(unopened);
    char aData[8] = {0};
    const int nRead = port.fileRead(unopened, aData, sizeof(aData));
    const int nWritten = port.fileWrite(unopened, aData, sizeof(aData));
    if (nLength > 0 || nRead > 0 || nWritten > 0) {
        return fail("getLength(), read() and write() of a file that is not open to report 0 or less",
                    "length " + num(nLength) + ", read " + num(nRead) + ", written " + num(nWritten),
                    std::string(kFileUse) + ": the library tests these results (\"> 0\", \"< 1\") to find a failed "
                                            "open, so a missing file would pass as read");
    }
    return ok();
}

Result checkFileReadWrite(Context& p_stContext) {
    ScratchDir dir(p_stContext, "file-readwrite");
    if (!dir.ready()) {
        return noScratch(dir);
    }
    PlatformPort& port = p_stContext.port;
    // One 8-byte KeyVal record, a scheme file's worth and a long file.
    const size_t aSizes[] = {8, 8 * 200, 4u << 20};
    for (size_t nSize : aSizes) {
        const std::string strFile = dir.file("data.bin");
        const std::string strData = patternData(nSize);
        std::string strCopy = strData;
        {
            PXFile file;
            if (!port.fileOpen(file, strFile.c_str(), kModeNew)) {
                return fail("open(mode 66) of a new file", "failure", kFileUse);
            }
            const int nWritten = port.fileWrite(file, &strCopy[0], static_cast<unsigned int>(nSize));
            port.fileClose(file);
            if (nWritten != static_cast<int>(nSize)) {
                return fail("write() of " + num(static_cast<long long>(nSize)) + " bytes to report " +
                                num(static_cast<long long>(nSize)),
                            num(nWritten), kFileUse);
            }
        }
        PXFile file;
        if (!port.fileOpen(file, strFile.c_str(), PXFile::modeRead)) {
            return fail("open(mode 1) of the written file", "failure", kFileUse);
        }
        // Ask for more than the file holds: the count read must be exact.
        std::vector<char> buffer(nSize + 16, '\x5A');
        const int nRead = port.fileRead(file, buffer.data(), static_cast<unsigned int>(buffer.size()));
        port.fileClose(file);
        if (nRead != static_cast<int>(nSize)) {
            return fail("read() of a " + num(static_cast<long long>(nSize)) + "-byte file, asked for " +
                            num(static_cast<long long>(buffer.size())) + " bytes, to report " +
                            num(static_cast<long long>(nSize)),
                        num(nRead),
                        std::string(kFileUse) + ": the library compares the count read with the record size to "
                                                "find a short scheme file");
        }
        if (std::string(buffer.data(), nSize) != strData) {
            return fail("the " + num(static_cast<long long>(nSize)) + " bytes read back as written (binary, with "
                                                                    "zero and line-end bytes)",
                        "other bytes", kFileUse);
        }
    }
    return ok();
}

Result checkFileLines(Context& p_stContext) {
    ScratchDir dir(p_stContext, "file-lines");
    if (!dir.ready()) {
        return noScratch(dir);
    }
    PlatformPort& port = p_stContext.port;
    const char* const kUse = "the debug marker /tmp/Debug.sign and the field-of-view table sync_fov.ini";
    const std::string strFile = dir.file("lines.txt");
    if (!writeWhole(p_stContext, strFile, "6\n1\n\nzoom1=100,\nlast")) {
        return fail("a text file to be written", "failure", kUse);
    }
    const std::vector<std::string> expected = {"6", "1", "", "zoom1=100,", "last"};
    PXFile file;
    if (!port.fileOpen(file, strFile.c_str(), PXFile::modeRead)) {
        return fail("open(mode 1) of a text file", "failure", kUse);
    }
    std::vector<std::string> lines = port.readLines(file);
    if (lines != expected) {
        std::string strGot;
        for (const std::string& strLine : lines) {
            strGot += "[" + strLine + "]";
        }
        port.fileClose(file);
        return fail("ReadLines() to give [6][1][][zoom1=100,][last]", strGot.empty() ? "no line" : strGot, kUse);
    }
    port.fileClose(file);
    PXFile again;
    if (!port.fileOpen(again, strFile.c_str(), PXFile::modeRead)) {
        return fail("open(mode 1) of a text file", "failure", kUse);
    }
    FILE* pStream = port.fileHandle(again);
    if (pStream == nullptr) {
        port.fileClose(again);
        return fail("getFileHandle() of an open file to give its stream", "none", kUse);
    }
    for (const std::string& strWanted : expected) {
        std::string strLine = port.readOneLine(pStream);
        if (strLine != strWanted) {
            port.fileClose(again);
            return fail("ReadOneLine() to give \"" + strWanted + "\"", "\"" + strLine + "\"", kUse);
        }
    }
    std::string strEnd = port.readOneLine(pStream);
    port.fileClose(again);
    if (!strEnd.empty()) {
        return fail("ReadOneLine() at the end of the file to give \"\"", "\"" + strEnd + "\"",
                    std::string(kUse) + ": the library takes an empty line for a missing value");
    }
    return ok();
}

Result checkFileReplace(Context& p_stContext) {
    PlatformPort& port = p_stContext.port;
    const char* const kUse = "the scheme files' atomic replace (flush, setMirrorMode, init): after a power cut the "
                             "old or the new file must be there, whole";
    // The scheme files' own directory where it exists: rename and sync
    // semantics belong to the file system that holds them.
    ScratchDir scratch(p_stContext, "file-replace");
    std::string strDir = schemeDirectory();
    if (!port.exists(strDir)) {
        if (!scratch.ready()) {
            return noScratch(scratch);
        }
        strDir = scratch.path();
    }
    const std::string strTarget = strDir + "/tarnix-conformance-replace.cfg";
    const std::string strTemp = strTarget + ".tmp";
    struct Cleanup {
        PlatformPort& port;
        std::string a;
        std::string b;
        ~Cleanup() {
            port.remove(a);
            port.remove(b);
        }
    } cleanup{port, strTarget, strTemp};

    if (!writeWhole(p_stContext, strTarget, "old scheme")) {
        return fail("a file to be written in " + strDir, "failure", kUse);
    }
    {
        PXFile file;
        if (!port.fileOpen(file, strTemp.c_str(), kModeNew)) {
            return fail("open(mode 66) of " + strTemp, "failure", kUse);
        }
        char aData[] = "new scheme";
        const int nWritten = port.fileWrite(file, aData, 10);
        FILE* pStream = port.fileHandle(file);
        const bool bSynced = nWritten == 10 && pStream != nullptr && port.syncFile(pStream);
        port.fileClose(file);
        if (!bSynced) {
            return fail("pxfs::syncFile() of a written file to succeed", "failure", kUse);
        }
    }
    if (!port.rename(strTemp, strTarget)) {
        return fail("pxfs::rename() over an existing file to succeed", "failure", kUse);
    }
    std::string strBack;
    if (!readWhole(p_stContext, strTarget, strBack) || strBack != "new scheme") {
        return fail("the renamed file in place of the old one (\"new scheme\")", "\"" + strBack + "\"", kUse);
    }
    if (port.exists(strTemp)) {
        return fail("the temporary file gone after the rename", "it is still there", kUse);
    }
    if (!port.syncDir(strDir)) {
        return fail("pxfs::syncDir() of " + strDir + " to succeed", "failure", kUse);
    }
    // A sync that cannot have happened must not report success: a stub
    // that always says yes leaves the rename in the cache at a power cut.
    if (port.syncDir(strDir + "/no-such-directory")) {
        return fail("pxfs::syncDir() of a missing directory to fail", "success: the sync is not really done",
                    kUse);
    }
    if (port.syncFile(nullptr)) {
        return fail("pxfs::syncFile() without a stream to fail", "success: the sync is not really done", kUse);
    }
    if (port.rename(strTemp, strTarget)) {
        return fail("pxfs::rename() of a missing file to fail", "success", kUse);
    }
    if (!readWhole(p_stContext, strTarget, strBack) || strBack != "new scheme") {
        return fail("a failed rename to leave the target alone", "\"" + strBack + "\"", kUse);
    }
    return ok("in " + strDir);
}

} // namespace conformance
