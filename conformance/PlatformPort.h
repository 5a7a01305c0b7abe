#pragma once
// The platform operations the platform checks exercise, one virtual per
// operation. PlatformPort itself forwards each to the platform's support
// classes (platform/*.h), so the program checks the real port; a test
// derives from it and overrides one operation to seed a defect, and the
// matching check must then fail.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "controller/function.h"
#include "platform/GThread.h"
#include "platform/MachineInfo.h"
#include "platform/ModuleConfigure.h"
#include "platform/PXDeviceTime.h"
#include "platform/PXFile.h"
#include "platform/PXLogger.h"
#include "platform/PXMutex.h"
#include "platform/PXTypes.h"
#include "platform/QuorvelTime.h"
#include "platform/RefCountManager.h"

namespace conformance {

// Controls a port may offer beyond what the library needs: a fixed clock and
// a time scale for tests (the POSIX port has them; a device port usually
// not). Absent controls make the fake-clock check a skip.
struct PortControls {
    bool available = false;
    void (*setClock)(int hour, int minute) = nullptr;
    void (*clearClock)() = nullptr;
    void (*setTimeScale)(double scale) = nullptr;
};

class PlatformPort {
public:
    explicit PlatformPort(const PortControls& p_stControls = PortControls()) : m_stControls(p_stControls) {}
    virtual ~PlatformPort();
    PlatformPort(const PlatformPort&) = delete;
    PlatformPort& operator=(const PlatformPort&) = delete;

    const PortControls& controls() const { return m_stControls; }

    // PXFile
    virtual bool fileOpen(PXFile& p_objFile, const char* p_szPath, unsigned char p_nMode);
    virtual int fileRead(PXFile& p_objFile, char* p_pBuffer, unsigned int p_nSize);
    virtual int fileWrite(PXFile& p_objFile, char* p_pBuffer, unsigned int p_nSize);
    virtual INT64 fileLength(const PXFile& p_objFile);
    virtual void fileClose(PXFile& p_objFile);
    virtual FILE* fileHandle(const PXFile& p_objFile);
    virtual std::string readOneLine(FILE* p_pStream);
    virtual std::vector<std::string> readLines(const PXFile& p_objFile);

    // pxfs: the steps of the scheme files' atomic replace
    virtual bool exists(const std::string& p_strPath);
    virtual bool remove(const std::string& p_strPath);
    virtual bool rename(const std::string& p_strFrom, const std::string& p_strTo);
    virtual bool syncFile(FILE* p_pStream);
    virtual bool syncDir(const std::string& p_strDir);
    virtual bool makeDirs(const std::string& p_strDir);
    // The path the platform really opens for a device path (identity on a
    // device; under the device root on a development host).
    virtual std::string resolve(const std::string& p_strPath);

    // GThread and QuorvelTime
    virtual std::unique_ptr<GThread> makeThread(const function<int>& p_fnBody, const std::string& p_strName);
    virtual bool threadStart(GThread& p_objThread);
    virtual bool threadStop(GThread& p_objThread);
    virtual void wait(const QuorvelTime& p_objDuration);

    // PXDeviceTime
    virtual PXDateTime now();

    // PXMutex and PXMutexManager
    virtual void lock(PXMutex& p_objMutex, const char* p_szFile, int p_nLine);
    virtual void unlock(PXMutex& p_objMutex, const char* p_szFile, int p_nLine);

    // PXLogger
    virtual void loggerInit(PXLogger& p_objLogger, const char* p_szPath, unsigned int p_nMaxSize,
                            unsigned int p_nMaxFiles);
    virtual void loggerWrite(PXLogger& p_objLogger, const char* p_szTag, const char* p_szText);

    // sy_system
    virtual int system(const char* p_szCommand, int p_nTimeLimit);

    // RefCountManager and ref_count
    virtual ref_count* retrieveRefCount(void* p_pObject, const char* p_szTypeName);
    virtual void returnRefCount(ref_count* p_pCount, const char* p_szTypeName);
    virtual int refLock(ref_count& p_objCount);
    virtual void refUnlock(ref_count& p_objCount);
    virtual bool refInc(const ref_count& p_objCount);
    virtual int refDec(ref_count& p_objCount);

    // SystemInfoParser and ModuleConfigureParser
    virtual bool parseMachineInfo(const std::string& p_strPath, MachineInfo& p_objInfo);
    virtual bool parseModuleConfig(const std::string& p_strFile, const std::string& p_strModel,
                                   const std::string& p_strCode, std::vector<ModuleConfigure>& p_vecOut);

    // StringHandler
    virtual void split(const std::string& p_strText, std::vector<std::string>& p_vecOut,
                       const std::string& p_strSeparators);
    virtual bool toInt(const std::string& p_strText, int& p_nValue);

private:
    PortControls m_stControls;
};

} // namespace conformance
