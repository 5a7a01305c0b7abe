#pragma once
#include <string>

// Appending log writer that rotates its file at a size limit, keeping a given
// number of files. A logger that cannot open its file fails silently.
class PXLogger {
public:
    PXLogger();
    ~PXLogger();
    PXLogger(const PXLogger&) = delete;
    PXLogger& operator=(const PXLogger&) = delete;

    // maxSize: bytes after which the file is rotated; maxFiles: files kept
    // (the live one and maxFiles - 1 rotated copies "<path>.1" ...).
    void init(const char* path, unsigned int maxSize, unsigned int maxFiles);
    // Appends one timestamped entry made of the tag and the text.
    void writeLog(const char* tag, const char* text);

private:
    std::string m_strPath;
    unsigned int m_nMaxSize;
    unsigned int m_nMaxFiles;
    bool m_bReady;
};
