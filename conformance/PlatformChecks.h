#pragma once
// The platform checks: each support class against the behaviour the library
// relies on. They run on Context::port, so a test can seed a defect.
#include <string>
#include <vector>

#include "conformance/Check.h"

namespace conformance {

Result checkFileModes(Context& p_stContext);
Result checkFileLength(Context& p_stContext);
Result checkFileReadWrite(Context& p_stContext);
Result checkFileLines(Context& p_stContext);
Result checkFileReplace(Context& p_stContext);
Result checkThreadStop(Context& p_stContext);
Result checkMutex(Context& p_stContext);
Result checkTimeWait(Context& p_stContext);
Result checkClock(Context& p_stContext);
Result checkFakeClock(Context& p_stContext);
Result checkLogger(Context& p_stContext);
Result checkSystem(Context& p_stContext);
Result checkRefCount(Context& p_stContext);
Result checkMachineInfo(Context& p_stContext);
Result checkModuleConfig(Context& p_stContext);
Result checkStringHandler(Context& p_stContext);

// A scratch directory below Options::scratchDir for one check: created on
// construction, emptied and removed on destruction, through the port. The
// scratch directory itself goes too when this object created it.
class ScratchDir {
public:
    ScratchDir(Context& p_stContext, const std::string& p_strName);
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    bool ready() const { return m_bReady; }
    // Device path of the directory, and of a file in it.
    const std::string& path() const { return m_strPath; }
    std::string file(const std::string& p_strName) const { return m_strPath + "/" + p_strName; }

private:
    Context& m_stContext;
    std::string m_strPath;
    bool m_bReady;
    bool m_bMadeParent;
};

// Writes p_strData to a device file through the port (mode 66); false when
// any step fails.
bool writeWhole(Context& p_stContext, const std::string& p_strPath, const std::string& p_strData);
// Reads a whole device file through the port; false when it cannot be read.
bool readWhole(Context& p_stContext, const std::string& p_strPath, std::string& p_strData);
// The names in a device directory ("." and ".." left out).
std::vector<std::string> listDirectory(Context& p_stContext, const std::string& p_strDir);

} // namespace conformance
