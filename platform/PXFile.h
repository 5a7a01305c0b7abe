#pragma once
#include <cstdio>
#include <string>
#include <vector>

#include "platform/PXTypes.h"

// Whole-file access of the camera platform. Every absolute path is resolved
// through the platform (on a development host: under the device root).
class PXFile {
public:
    enum Mode : unsigned char {
        modeRead = 1,
        modeWrite = 2,
        modeAppend = 4,
        modeTruncate = 64,
    };

    PXFile();
    ~PXFile();
    PXFile(const PXFile&) = delete;
    PXFile& operator=(const PXFile&) = delete;

    // mode 1: read an existing file; modeWrite | modeTruncate (66): create or
    // truncate for writing; modeWrite | modeAppend: create or append.
    bool open(const char* path, unsigned char mode = modeRead);
    // Bytes transferred; 0 when the file is not open.
    int read(char* buffer, unsigned int size);
    int write(char* buffer, unsigned int size);
    // Size in bytes; 0 when the file is not open.
    INT64 getLength() const;
    void close();
    bool isOpen() const { return m_pFile != nullptr; }
    FILE* getFileHandle() const { return m_pFile; }
    // Next line of the stream without its line end; "" at the end of the file.
    static std::string ReadOneLine(FILE* stream);
    // Every line of the open file, from its start.
    std::vector<std::string> ReadLines() const;

private:
    FILE* m_pFile;
    std::string m_strPath;
};
