#pragma once
// The file steps of a save (open, write, sync, close, rename, directory sync)
// behind one replaceable layer, so that tests can cut power after any step.
#include "platform/PXFile.h"

namespace tarnix {
namespace storage {

class FileOps {
public:
    virtual ~FileOps();
    virtual bool open(PXFile& file, const char* path, unsigned char mode);
    virtual int write(PXFile& file, char* data, unsigned int size);
    // Flushes the file's data to storage.
    virtual bool sync(PXFile& file);
    virtual bool rename(const char* from, const char* to);
    // Flushes the directory holding path (after a rename inside it).
    virtual bool syncDir(const char* path);
    virtual bool remove(const char* path);
};

// The layer in use (the platform's file access unless a test replaced it).
FileOps& fileOps();
// Replaces the layer; null restores the default. Not thread-safe: set it
// before the controllers run.
void setFileOps(FileOps* ops);

} // namespace storage
} // namespace tarnix
