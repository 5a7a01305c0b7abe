// Every operation of the port under test, forwarded to the platform classes.
#include "conformance/PlatformPort.h"

#include "platform/ModuleConfigureParser.h"
#include "platform/PXFileSystem.h"
#include "platform/StringHandler.h"
#include "platform/SystemInfoParser.h"
#include "platform/sy_system.h"

namespace conformance {

PlatformPort::~PlatformPort() {}

bool PlatformPort::fileOpen(PXFile& p_objFile, const char* p_szPath, unsigned char p_nMode) {
    return p_objFile.open(p_szPath, p_nMode);
}

int PlatformPort::fileRead(PXFile& p_objFile, char* p_pBuffer, unsigned int p_nSize) {
    return p_objFile.read(p_pBuffer, p_nSize);
}

int PlatformPort::fileWrite(PXFile& p_objFile, char* p_pBuffer, unsigned int p_nSize) {
    return p_objFile.write(p_pBuffer, p_nSize);
}

INT64 PlatformPort::fileLength(const PXFile& p_objFile) { return p_objFile.getLength(); }

void PlatformPort::fileClose(PXFile& p_objFile) { p_objFile.close(); }

FILE* PlatformPort::fileHandle(const PXFile& p_objFile) { return p_objFile.getFileHandle(); }

std::string PlatformPort::readOneLine(FILE* p_pStream) { return PXFile::ReadOneLine(p_pStream); }

std::vector<std::string> PlatformPort::readLines(const PXFile& p_objFile) { return p_objFile.ReadLines(); }

bool PlatformPort::exists(const std::string& p_strPath) { return pxfs::exists(p_strPath); }

bool PlatformPort::remove(const std::string& p_strPath) { return pxfs::remove(p_strPath); }

bool PlatformPort::rename(const std::string& p_strFrom, const std::string& p_strTo) {
    return pxfs::rename(p_strFrom, p_strTo);
}

bool PlatformPort::syncFile(FILE* p_pStream) { return pxfs::syncFile(p_pStream); }

bool PlatformPort::syncDir(const std::string& p_strDir) { return pxfs::syncDir(p_strDir); }

bool PlatformPort::makeDirs(const std::string& p_strDir) { return pxfs::makeDirs(p_strDir); }

std::string PlatformPort::resolve(const std::string& p_strPath) { return pxfs::resolve(p_strPath); }

std::unique_ptr<GThread> PlatformPort::makeThread(const function<int>& p_fnBody, const std::string& p_strName) {
    // The hooks the library passes: GThread::emptyFun for both.
    function<int> fnEmpty(&GThread::emptyFun);
    return std::unique_ptr<GThread>(new GThread(p_fnBody, p_strName, fnEmpty, fnEmpty));
}

bool PlatformPort::threadStart(GThread& p_objThread) { return p_objThread.start(); }

bool PlatformPort::threadStop(GThread& p_objThread) { return p_objThread.stop(); }

void PlatformPort::wait(const QuorvelTime& p_objDuration) { QuorvelTime::wait(p_objDuration); }

PXDateTime PlatformPort::now() { return PXDeviceTime::getCurrentTime(); }

void PlatformPort::lock(PXMutex& p_objMutex, const char* p_szFile, int p_nLine) { p_objMutex.Lock(p_szFile, p_nLine); }

void PlatformPort::unlock(PXMutex& p_objMutex, const char* p_szFile, int p_nLine) {
    p_objMutex.Unlock(p_szFile, p_nLine);
}

void PlatformPort::loggerInit(PXLogger& p_objLogger, const char* p_szPath, unsigned int p_nMaxSize,
                              unsigned int p_nMaxFiles) {
    p_objLogger.init(p_szPath, p_nMaxSize, p_nMaxFiles);
}

void PlatformPort::loggerWrite(PXLogger& p_objLogger, const char* p_szTag, const char* p_szText) {
    p_objLogger.writeLog(p_szTag, p_szText);
}

int PlatformPort::system(const char* p_szCommand, int p_nTimeLimit) { return sy_system(p_szCommand, p_nTimeLimit); }

ref_count* PlatformPort::retrieveRefCount(void* p_pObject, const char* p_szTypeName) {
    return RefCountManager::getInstance()->retrieveRefCount(p_pObject, p_szTypeName);
}

void PlatformPort::returnRefCount(ref_count* p_pCount, const char* p_szTypeName) {
    RefCountManager::getInstance()->returnbackRefCount(p_pCount, p_szTypeName);
}

int PlatformPort::refLock(ref_count& p_objCount) { return p_objCount.lock(); }

void PlatformPort::refUnlock(ref_count& p_objCount) { p_objCount.unLock(); }

bool PlatformPort::refInc(const ref_count& p_objCount) { return p_objCount.inc_reference(); }

int PlatformPort::refDec(ref_count& p_objCount) { return p_objCount.dec_reference(); }

bool PlatformPort::parseMachineInfo(const std::string& p_strPath, MachineInfo& p_objInfo) {
    return SystemInfoParser::parseMachineInfo(p_strPath, p_objInfo);
}

bool PlatformPort::parseModuleConfig(const std::string& p_strFile, const std::string& p_strModel,
                                     const std::string& p_strCode, std::vector<ModuleConfigure>& p_vecOut) {
    return ModuleConfigureParser::parse(p_strFile, p_strModel, p_strCode, p_vecOut);
}

void PlatformPort::split(const std::string& p_strText, std::vector<std::string>& p_vecOut,
                         const std::string& p_strSeparators) {
    StringHandler::split(p_strText, p_vecOut, p_strSeparators);
}

bool PlatformPort::toInt(const std::string& p_strText, int& p_nValue) {
    return StringHandler::str2type<int>(p_strText, p_nValue);
}

} // namespace conformance
