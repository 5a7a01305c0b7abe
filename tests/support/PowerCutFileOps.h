#pragma once
// A file layer that cuts the power in the middle of a save.
//
// Every step of a save that goes through tarnix::storage::FileOps (open,
// each write, sync, rename, directory sync, remove) is counted. When the
// power is cut after step k, step k + 1 and every later one throws PowerCut
// instead of running, so nothing after the cut reaches the disk.
//
// The layer also keeps what a real power loss can take away, and losePower()
// applies it to the files on the host afterwards:
// - data written to a file and not yet flushed with sync() may be lost: the
//   file keeps only a prefix of it (nothing, part of it or all of it);
// - a file creation, rename or removal not yet followed by a flush of its
//   directory may be undone: the old names and contents come back.
// Data that was synced, and names in a directory that was synced after the
// change, always survive. Since the model decides what survives, sync and
// syncDir hand the data to the kernel without the real (slow) flush.
#include <map>
#include <string>
#include <vector>

#include "storage/FileOps.h"

namespace tarnix_test {

// Thrown by PowerCutFileOps at the first step after the cut. Deliberately not
// a std::exception, so no handler for library errors can take it.
struct PowerCut {
    int step; // the step that did not run (1-based)
};

// How much of the data written but not synced survives a power loss.
enum class UnsyncedData { Lost, Partial, Kept };
// Whether name changes not followed by a directory flush survive.
enum class UnsyncedNames { Lost, Kept };

class PowerCutFileOps : public tarnix::storage::FileOps {
public:
    // p_nCutAfter: the number of steps that run before the power goes; a
    // negative number never cuts.
    explicit PowerCutFileOps(int p_nCutAfter = -1) : m_nCutAfter(p_nCutAfter) {}

    bool open(PXFile& file, const char* path, unsigned char mode) override;
    int write(PXFile& file, char* data, unsigned int size) override;
    bool sync(PXFile& file) override;
    bool rename(const char* from, const char* to) override;
    bool syncDir(const char* path) override;
    bool remove(const char* path) override;

    // Steps that ran.
    int stepsDone() const { return m_nDone; }
    // True once a step was refused.
    bool powerIsOff() const { return m_bCut; }
    // One line per step that ran: "open <path>", "write <path> <bytes>",
    // "sync <path>", "rename <from> <to>", "syncdir <dir>", "remove <path>"
    // (device paths).
    const std::vector<std::string>& steps() const { return m_vecSteps; }

    // Applies the loss of what had not reached storage to the host files.
    // Call once, after the cut (or after the last step, to model a cut right
    // after the save). Partial keeps an odd-sized prefix of about half the
    // unsynced data, so it never ends on a record boundary.
    void losePower(UnsyncedData p_eData, UnsyncedNames p_eNames);

    // Length a Partial loss keeps of n unsynced bytes.
    static size_t partialLength(size_t n) { return n < 2 ? 0 : ((n / 2) | 1u); }

private:
    // A name change that a crash may undo.
    struct NameChange {
        enum Kind { Create, Rename, Remove } kind;
        std::string path;         // created or removed file; rename target
        std::string from;         // rename source
        bool hadPrevious = false; // the path existed before the change
        std::string previous;     // its content then
        std::string dir;          // directory whose flush makes it durable
    };
    // Data of a file that a crash may cut short.
    struct PendingData {
        size_t written = 0;
    };

    void step(const std::string& p_strWhat);

    int m_nCutAfter;
    int m_nDone = 0;
    bool m_bCut = false;
    std::vector<std::string> m_vecSteps;
    std::map<const PXFile*, std::string> m_mapOpen;  // device path of each open file
    std::map<std::string, PendingData> m_mapPending; // by host path
    std::vector<NameChange> m_vecNames;              // in order
};

// Installs a layer for the lifetime of the guard; the layer in use before
// comes back at its end, also when a PowerCut leaves the scope.
class FileOpsGuard {
public:
    explicit FileOpsGuard(tarnix::storage::FileOps* p_pOps);
    ~FileOpsGuard();
    FileOpsGuard(const FileOpsGuard&) = delete;
    FileOpsGuard& operator=(const FileOpsGuard&) = delete;

private:
    tarnix::storage::FileOps* m_pPrevious;
};

} // namespace tarnix_test
