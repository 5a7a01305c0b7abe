// Scheme files, the version stamp and whole-file access for style files.
//
// A scheme file is the scheme's KeyVal records back to back (8 bytes each,
// native byte order), nothing else. Saves replace the file atomically: the
// data goes to "<name>.tmp" in the same directory, is flushed to storage and
// then renamed over the old name, and the directory is flushed; a power cut
// at any moment leaves either the old or the new file, never a short one.
// A file that already holds exactly the bytes of a save is left as it is:
// the save then writes nothing and reports what a write would have.
#define SNS_SOURCE_FILE "SensorFile.cpp"
#include "storage/SensorFile.h"

#include <climits>
#include <string>

#include "controller/SensorDebug.h"
#include "platform/PXFile.h"
#include "storage/FileOps.h"
#include "storage/SameContent.h"

namespace {

using tarnix::storage::fileOps;

std::string tempNameOf(const char* file_name) { return std::string(file_name != nullptr ? file_name : "") + ".tmp"; }

unsigned int clampLength(INT64 length) {
    if (length < 0) {
        return 0;
    }
    return length > static_cast<INT64>(UINT_MAX) ? UINT_MAX : static_cast<unsigned int>(length);
}

// Puts a fully written temporary file in place of file_name. A short write
// leaves the old file untouched and drops the temporary one.
void commitTemp(PXFile& file, const std::string& temp, const char* file_name, bool complete) {
    bool synced = complete && fileOps().sync(file);
    file.close();
    if (synced && fileOps().rename(temp.c_str(), file_name)) {
        fileOps().syncDir(file_name);
        return;
    }
    fileOps().remove(temp.c_str());
    if (complete) {
        // The data was written but could not be made durable or put in
        // place: the old file stays, which only a warning tells.
        SENSOR_TRACE(TRACE_WARN, "file_name(%s) not replaced, %s failed, the previous file is kept\n",
                     file_name != nullptr ? file_name : "", synced ? "rename" : "sync");
    }
}

} // namespace

INT64 getFileLen(const char* file_name) {
    PXFile file;
    bool bOpened = file.open(file_name, 1);
    SENSOR_ASSERT_AT(25, bOpened, "file.open(file_name)", "file_name(%s)", file_name != nullptr ? file_name : "");
    return file.getLength();
}

int loadFromFile(const char* file_name, void* buffer, INT64 length) {
    SENSOR_TRACE_AT(TRACE_DBG, 37, 33, "open file:%s\n", file_name != nullptr ? file_name : "");
    PXFile file;
    if (!file.open(file_name, 1)) {
        return -1;
    }
    // No read can match a negative length; refusing it before the read keeps
    // its 32-bit form from overrunning the caller's buffer.
    if (length < 0 || (buffer == nullptr && length > 0)) {
        return -1;
    }
    // The read length is taken as 32 bits.
    int nSize = file.read(static_cast<char*>(buffer), static_cast<unsigned int>(length));
    if (static_cast<INT64>(nSize) != length) {
        return -1;
    }
    file.close();
    return nSize;
}

int saveToFile(char* file_name, char* data, INT64 length) {
    if (data != nullptr && length >= 0 && length <= static_cast<INT64>(UINT_MAX) &&
        tarnix::storage::fileHoldsBytes(file_name, data, static_cast<size_t>(length))) {
        return static_cast<int>(length);
    }
    std::string temp = tempNameOf(file_name);
    PXFile file;
    bool bOpened =
        file_name != nullptr && fileOps().open(file, temp.c_str(), PXFile::modeWrite | PXFile::modeTruncate);
    SENSOR_ASSERT_AT(46, bOpened, "file.open(file_name, PXFile::modeWrite | PXFile::modeTruncate)",
                     "file_name(%s)\n", file_name != nullptr ? file_name : "");
    unsigned int file_len = static_cast<unsigned int>(length);
    // A negative length names no data: nothing is written (and nothing is read
    // past the caller's buffer), so the write is reported as short.
    int nSize = (data != nullptr && length >= 0) ? fileOps().write(file, data, file_len) : 0;
    SENSOR_ASSERT_AT(47, static_cast<INT64>(file_len) == nSize, "file_len == (nSize=file.write(data, file_len))",
                     "file_len(%d)\n", static_cast<int>(length));
    if (bOpened) {
        commitTemp(file, temp, file_name, static_cast<INT64>(file_len) == nSize);
    }
    return nSize;
}

int keyValFromFile(char* file_name, KeyVal* records, u32 count) {
    PXFile file;
    bool bOpened = file.open(file_name, 1);
    SENSOR_ASSERT_AT(56, bOpened, "file.open(file_name)", "file_name(%s)\n", file_name != nullptr ? file_name : "");
    unsigned int nWant = clampLength(static_cast<INT64>(sizeof(KeyVal)) * count);
    int nSize = records != nullptr ? file.read(reinterpret_cast<char*>(records), nWant) : 0;
    SENSOR_ASSERT_AT(59, static_cast<INT64>(nSize) == static_cast<INT64>(sizeof(KeyVal)) * count,
                     "nSize == sizeof(KeyVal)*p_nKeyValNum",
                     "file_name(%s) nSize(%d) sizeof(KeyVal) = %d, p_nKeyValNum(%d)\n",
                     file_name != nullptr ? file_name : "", nSize, static_cast<int>(sizeof(KeyVal)),
                     static_cast<int>(count));
    file.close();
    return 0;
}

int keyValToFile(char* file_name, KeyVal* records, u32 count) {
    const INT64 nBytes = static_cast<INT64>(sizeof(KeyVal)) * count;
    if (records != nullptr && nBytes <= static_cast<INT64>(UINT_MAX) &&
        tarnix::storage::fileHoldsBytes(file_name, records, static_cast<size_t>(nBytes))) {
        return 0;
    }
    std::string temp = tempNameOf(file_name);
    PXFile file;
    bool bOpened =
        file_name != nullptr && fileOps().open(file, temp.c_str(), PXFile::modeWrite | PXFile::modeTruncate);
    SENSOR_ASSERT_AT(70, bOpened, "file.open(file_name, PXFile::modeWrite | PXFile::modeTruncate)",
                     "file_name(%s)\n", file_name != nullptr ? file_name : "");
    unsigned int nWant = clampLength(static_cast<INT64>(sizeof(KeyVal)) * count);
    int nSize = records != nullptr ? fileOps().write(file, reinterpret_cast<char*>(records), nWant) : 0;
    bool bComplete = static_cast<INT64>(nSize) == static_cast<INT64>(sizeof(KeyVal)) * count;
    SENSOR_ASSERT_AT(73, bComplete, "nSize == sizeof(KeyVal)*p_nKeyValSum",
                     "nSize(%d) sizeof(KeyVal) = %d, p_nKeyValNum(%d)\n", nSize, static_cast<int>(sizeof(KeyVal)),
                     static_cast<int>(count));
    if (bOpened) {
        commitTemp(file, temp, file_name, bComplete);
    }
    return 0;
}

int getVersion(u32* version) {
    if (version == nullptr) {
        return -1;
    }
    // Read into a local so that a short stamp leaves the output untouched.
    u32 nStored = 0;
    int nRet = loadFromFile(SENSOR_VERSION_FILE, &nStored, sizeof(u32));
    if (nRet < 1) {
        return -1;
    }
    *version = nStored;
    return 0;
}

int setVersion(u32 version) {
    u32 nVersion = version;
    char szName[] = SENSOR_VERSION_FILE;
    int nRet = saveToFile(szName, reinterpret_cast<char*>(&nVersion), sizeof(u32));
    return nRet < 1 ? -1 : 0;
}
