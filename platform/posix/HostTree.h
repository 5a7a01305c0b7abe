#pragma once
// Host-side directory helpers for development tools, tests, benchmarks and
// fuzz targets: they work on host paths, not on device paths.
#include <string>
#include <vector>

namespace platform {
// Creates the directory and its missing parents.
void makeHostDirs(const std::string& hostDir);
// Removes a file or a whole directory tree (links are removed, not followed).
void removeHostTree(const std::string& hostPath);
// Copies the regular files and directories below from into to.
void copyHostTree(const std::string& from, const std::string& to);
// True when the host path is a directory, or a regular file (links followed).
bool isHostDir(const std::string& hostPath);
bool isHostFile(const std::string& hostPath);
// The names in a host directory, without "." and ".." (none when it cannot be read).
std::vector<std::string> listHostDir(const std::string& hostDir);
// A new empty directory "<$TMPDIR or /tmp>/<prefix>XXXXXX"; "" when it cannot be made.
std::string makeHostTempDir(const std::string& prefix);
// The whole content of a host file ("" when it cannot be read).
std::string readHostFile(const std::string& hostPath);
} // namespace platform
