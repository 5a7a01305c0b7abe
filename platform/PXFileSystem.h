#pragma once
#include <cstdio>
#include <string>

// File-system operations beside PXFile that the library needs: an existence
// test and the steps of an atomic replace. Paths resolve like PXFile's.
namespace pxfs {
bool exists(const std::string& path);
bool remove(const std::string& path);
bool rename(const std::string& from, const std::string& to);
// Flush an open stream's data to storage.
bool syncFile(FILE* stream);
// Flush a directory entry table to storage (after a rename inside it).
bool syncDir(const std::string& dir);
// Creates a directory and any missing parents; true when it exists afterwards.
bool makeDirs(const std::string& dir);
// The host path that a device path resolves to.
std::string resolve(const std::string& path);
} // namespace pxfs
