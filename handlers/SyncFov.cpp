// Field-of-view sync: brings the visible lens to the zoom position that
// matches the thermal field of view, read from the device's sync table.
#define SNS_SOURCE_FILE "ISensorController.cpp"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "controller/ISensorController.h"
#include "controller/SensorDebug.h"
#include "platform/PXFile.h"

namespace {

const char* const kSyncFovFile = "/mnt/mtd/hd1/program/config/sync_fov.ini";

// Reads "<name>...=<value>," from a line: the entry name found anywhere in
// the line, an "=" after it and a "," somewhere after the "=".
bool readEntry(const std::string& p_strLine, const std::string& p_strName, int& p_nValue) {
    size_t nName = p_strLine.find(p_strName);
    if (nName == std::string::npos) {
        return false;
    }
    size_t nEqual = p_strLine.find('=', nName);
    if (nEqual == std::string::npos) {
        return false;
    }
    if (p_strLine.find(',', nEqual) == std::string::npos) {
        return false;
    }
    p_nValue = std::atoi(p_strLine.c_str() + nEqual + 1);
    return true;
}

} // namespace

bool ISensorController::sync_fov() {
    std::vector<std::string> vecLines;
    {
        PXFile objFile;
        if (objFile.open(kSyncFovFile, PXFile::modeRead)) {
            vecLines = objFile.ReadLines();
        }
        objFile.close();
    }

    char szZoom[32];
    char szFocus[32];
    std::snprintf(szZoom, sizeof(szZoom), "zoom%d", m_nCameraID);
    std::snprintf(szFocus, sizeof(szFocus), "focus%d", m_nCameraID);

    int nZoom = -1;
    int nFocus = -1;
    for (const std::string& strLine : vecLines) {
        readEntry(strLine, szZoom, nZoom);
        readEntry(strLine, szFocus, nFocus);
        std::printf("zoom= %d,focus= %d \n", nZoom, nFocus);
        if (nZoom > 0 && nFocus > 0) {
            break;
        }
    }
    // Only the zoom is applied; the camera's own focus handling follows it.
    if (nZoom >= 1) {
        setZoomValue(nZoom);
    }
    return true;
}
