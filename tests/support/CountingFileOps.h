#pragma once
// A file layer that counts the storage work of the saves going through it:
// files opened for writing, bytes written, data flushes, renames, directory
// flushes and removals, and which files were put in place (renamed over
// their final name). The steps run as usual; with p_bDurable false a data
// or directory flush hands the data to the kernel without waiting for the
// disk, which keeps long runs of saves fast.
//
// Free of GoogleTest, so that the benchmarks count with it too.
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "storage/FileOps.h"

namespace tarnix_test {

// The storage work of one stretch of operations.
struct StorageWork {
    long opens = 0;     // files opened for writing
    long writes = 0;    // write calls
    long bytes = 0;     // bytes written
    long syncs = 0;     // data flushes
    long renames = 0;   // renames (each puts one file in place)
    long dirSyncs = 0;  // directory flushes
    long removes = 0;   // removals
    // Device paths put in place, in order (a path twice: written twice).
    std::vector<std::string> placed;

    bool none() const {
        return opens == 0 && writes == 0 && bytes == 0 && syncs == 0 && renames == 0 && dirSyncs == 0 &&
               removes == 0;
    }
    // How often each path was put in place.
    std::map<std::string, int> placedCount() const;
    // One line: "opens 1, bytes 696, syncs 1, renames 1, dir syncs 1, removes 0".
    std::string summary() const;
};

class CountingFileOps : public tarnix::storage::FileOps {
public:
    explicit CountingFileOps(bool p_bDurable = true) : m_bDurable(p_bDurable) {}

    bool open(PXFile& file, const char* path, unsigned char mode) override;
    int write(PXFile& file, char* data, unsigned int size) override;
    bool sync(PXFile& file) override;
    bool rename(const char* from, const char* to) override;
    bool syncDir(const char* path) override;
    bool remove(const char* path) override;

    // The work counted since the last take (or since construction), and a
    // fresh count from here on.
    StorageWork take();
    // The work counted so far, without resetting it.
    StorageWork peek() const;

private:
    const bool m_bDurable;
    mutable std::mutex m_mutex;
    StorageWork m_stWork;
};

} // namespace tarnix_test
