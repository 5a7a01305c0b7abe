#include "support/PowerCutFileOps.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "platform/PXFileSystem.h"
#include "support/TestEnv.h"

namespace tarnix_test {

namespace {

std::string hostOf(const char* p_szPath) {
    return pxfs::resolve(p_szPath != nullptr ? p_szPath : "");
}

std::string dirOf(const std::string& p_strHostPath) {
    size_t nPos = p_strHostPath.rfind('/');
    if (nPos == std::string::npos) {
        return ".";
    }
    return nPos == 0 ? std::string("/") : p_strHostPath.substr(0, nPos);
}

bool hostExists(const std::string& p_strHostPath) {
    struct stat st;
    return ::stat(p_strHostPath.c_str(), &st) == 0;
}

void writeHost(const std::string& p_strHostPath, const std::string& p_strContent) {
    std::ofstream out(p_strHostPath, std::ios::binary | std::ios::trunc);
    out << p_strContent;
}

} // namespace

void PowerCutFileOps::step(const std::string& p_strWhat) {
    if (m_bCut || (m_nCutAfter >= 0 && m_nDone >= m_nCutAfter)) {
        m_bCut = true;
        throw PowerCut{m_nDone + 1};
    }
    ++m_nDone;
    m_vecSteps.push_back(p_strWhat);
}

bool PowerCutFileOps::open(PXFile& file, const char* path, unsigned char mode) {
    step(std::string("open ") + (path != nullptr ? path : ""));
    const std::string strHost = hostOf(path);
    const bool bExisted = hostExists(strHost);
    const bool bOpened = FileOps::open(file, path, mode);
    m_mapOpen[&file] = path != nullptr ? path : "";
    if (bOpened && (mode & PXFile::modeWrite) != 0) {
        if (!bExisted) {
            NameChange objChange;
            objChange.kind = NameChange::Create;
            objChange.path = strHost;
            objChange.dir = dirOf(strHost);
            m_vecNames.push_back(objChange);
        }
        // A truncated or new file holds nothing that reached storage yet.
        m_mapPending[strHost] = PendingData();
    }
    return bOpened;
}

int PowerCutFileOps::write(PXFile& file, char* data, unsigned int size) {
    const std::string strPath = m_mapOpen.count(&file) != 0 ? m_mapOpen[&file] : std::string();
    step("write " + strPath + " " + std::to_string(size));
    int nWritten = FileOps::write(file, data, size);
    if (nWritten > 0) {
        m_mapPending[hostOf(strPath.c_str())].written += static_cast<size_t>(nWritten);
    }
    return nWritten;
}

bool PowerCutFileOps::sync(PXFile& file) {
    const std::string strPath = m_mapOpen.count(&file) != 0 ? m_mapOpen[&file] : std::string();
    step("sync " + strPath);
    // Durability is the model's business: handing the data to the kernel is
    // enough, and skipping the real flush keeps thousands of saves fast.
    bool bSynced = file.isOpen() && std::fflush(file.getFileHandle()) == 0;
    if (bSynced) {
        m_mapPending.erase(hostOf(strPath.c_str()));
    }
    return bSynced;
}

bool PowerCutFileOps::rename(const char* from, const char* to) {
    step(std::string("rename ") + (from != nullptr ? from : "") + " " + (to != nullptr ? to : ""));
    NameChange objChange;
    objChange.kind = NameChange::Rename;
    objChange.from = hostOf(from);
    objChange.path = hostOf(to);
    objChange.dir = dirOf(objChange.path);
    objChange.hadPrevious = hostExists(objChange.path);
    if (objChange.hadPrevious) {
        objChange.previous = readHostFile(objChange.path);
    }
    bool bRenamed = FileOps::rename(from, to);
    if (bRenamed) {
        m_vecNames.push_back(objChange);
        auto it = m_mapPending.find(objChange.from);
        m_mapPending.erase(objChange.path);
        if (it != m_mapPending.end()) {
            m_mapPending[objChange.path] = it->second;
            m_mapPending.erase(objChange.from);
        }
    }
    return bRenamed;
}

bool PowerCutFileOps::syncDir(const char* path) {
    step(std::string("syncdir ") + (path != nullptr ? path : ""));
    const std::string strDir = dirOf(hostOf(path));
    bool bSynced = hostExists(strDir);
    if (bSynced) {
        std::vector<NameChange> vecKept;
        for (const NameChange& objChange : m_vecNames) {
            if (objChange.dir != strDir) {
                vecKept.push_back(objChange);
            }
        }
        m_vecNames.swap(vecKept);
    }
    return bSynced;
}

bool PowerCutFileOps::remove(const char* path) {
    step(std::string("remove ") + (path != nullptr ? path : ""));
    NameChange objChange;
    objChange.kind = NameChange::Remove;
    objChange.path = hostOf(path);
    objChange.dir = dirOf(objChange.path);
    objChange.hadPrevious = hostExists(objChange.path);
    if (objChange.hadPrevious) {
        objChange.previous = readHostFile(objChange.path);
    }
    bool bRemoved = FileOps::remove(path);
    if (bRemoved) {
        m_vecNames.push_back(objChange);
        m_mapPending.erase(objChange.path);
    }
    return bRemoved;
}

void PowerCutFileOps::losePower(UnsyncedData p_eData, UnsyncedNames p_eNames) {
    if (p_eNames == UnsyncedNames::Lost) {
        for (auto it = m_vecNames.rbegin(); it != m_vecNames.rend(); ++it) {
            switch (it->kind) {
            case NameChange::Create:
                ::unlink(it->path.c_str());
                m_mapPending.erase(it->path);
                break;
            case NameChange::Rename: {
                std::rename(it->path.c_str(), it->from.c_str());
                auto pending = m_mapPending.find(it->path);
                if (pending != m_mapPending.end()) {
                    m_mapPending[it->from] = pending->second;
                    m_mapPending.erase(it->path);
                }
                if (it->hadPrevious) {
                    writeHost(it->path, it->previous);
                }
                break;
            }
            case NameChange::Remove:
                if (it->hadPrevious) {
                    writeHost(it->path, it->previous);
                }
                break;
            }
        }
    }
    for (const auto& pending : m_mapPending) {
        if (!hostExists(pending.first)) {
            continue;
        }
        size_t nKeep = pending.second.written;
        if (p_eData == UnsyncedData::Lost) {
            nKeep = 0;
        } else if (p_eData == UnsyncedData::Partial) {
            nKeep = partialLength(pending.second.written);
        }
        if (::truncate(pending.first.c_str(), static_cast<off_t>(nKeep)) != 0) {
            ADD_FAILURE() << "cannot cut " << pending.first << " to " << nKeep << " bytes";
        }
    }
    m_vecNames.clear();
    m_mapPending.clear();
    m_mapOpen.clear();
}

FileOpsGuard::FileOpsGuard(tarnix::storage::FileOps* p_pOps) : m_pPrevious(&tarnix::storage::fileOps()) {
    tarnix::storage::setFileOps(p_pOps);
}

FileOpsGuard::~FileOpsGuard() {
    tarnix::storage::setFileOps(m_pPrevious);
}

} // namespace tarnix_test
