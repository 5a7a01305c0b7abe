#include "storage/FileOps.h"

#include <string>

#include "platform/PXFileSystem.h"

namespace tarnix {
namespace storage {

namespace {
FileOps g_defaultOps;
FileOps* g_pOps = &g_defaultOps;

std::string directoryOf(const char* path) {
    std::string text = path != nullptr ? path : "";
    size_t pos = text.rfind('/');
    if (pos == std::string::npos) {
        return ".";
    }
    return pos == 0 ? std::string("/") : text.substr(0, pos);
}
} // namespace

FileOps::~FileOps() {}

bool FileOps::open(PXFile& file, const char* path, unsigned char mode) { return file.open(path, mode); }

int FileOps::write(PXFile& file, char* data, unsigned int size) { return file.write(data, size); }

bool FileOps::sync(PXFile& file) { return file.isOpen() && pxfs::syncFile(file.getFileHandle()); }

bool FileOps::rename(const char* from, const char* to) { return pxfs::rename(from, to); }

bool FileOps::syncDir(const char* path) { return pxfs::syncDir(directoryOf(path)); }

bool FileOps::remove(const char* path) { return pxfs::remove(path); }

FileOps& fileOps() { return *g_pOps; }

void setFileOps(FileOps* ops) { g_pOps = ops != nullptr ? ops : &g_defaultOps; }

} // namespace storage
} // namespace tarnix
