#pragma once
// A work array of KeyVal records for one operation.
//
// The outermost operation of a controller uses the controller's own work
// buffer (m_pstKeyValTmp, m_pstKeyValLpr), as the operations are described.
// An operation nested inside it (called from a video module callback while
// the outer one still walks the buffer) gets a private copy instead, so the
// outer walk never sees its records overwritten or its buffer reallocated.
#include <algorithm>
#include <cstring>
#include <vector>

#include "controller/SensorTypes.h"

namespace tarnix {

class WorkArray {
public:
    // p_pBuffer/p_nCapacity: the controller's buffer and the records it holds;
    // p_nUsers: how many operations use it now (guarded by the apply gate);
    // p_bGrow: the buffer may be replaced by a larger one when nobody uses it.
    // A null buffer (controller not initialised) always gives a private array.
    WorkArray(KeyVal*& p_pBuffer, u32& p_nCapacity, u32& p_nUsers, u32 p_nCount, bool p_bGrow)
        : m_pUsers(nullptr) {
        if (p_pBuffer != nullptr && p_nUsers == 0 && (p_nCapacity >= p_nCount || p_bGrow)) {
            if (p_nCapacity < p_nCount) {
                KeyVal* pNew = new KeyVal[p_nCount];
                std::memset(pNew, 0, sizeof(KeyVal) * p_nCount);
                std::memcpy(pNew, p_pBuffer, sizeof(KeyVal) * p_nCapacity);
                delete[] p_pBuffer;
                p_pBuffer = pNew;
                p_nCapacity = p_nCount;
            }
            ++p_nUsers;
            m_pUsers = &p_nUsers;
            m_pData = p_pBuffer;
            return;
        }
        // A private array starts as a copy of what the shared one holds, so
        // records a load leaves untouched read the same as in the buffer.
        m_vecPrivate.assign(std::max<u32>(p_nCount, 1), KeyVal{0, 0});
        if (p_pBuffer != nullptr) {
            std::memcpy(m_vecPrivate.data(), p_pBuffer, sizeof(KeyVal) * std::min(p_nCapacity, p_nCount));
        }
        m_pData = m_vecPrivate.data();
    }
    ~WorkArray() {
        if (m_pUsers != nullptr) {
            --*m_pUsers;
        }
    }
    WorkArray(const WorkArray&) = delete;
    WorkArray& operator=(const WorkArray&) = delete;

    KeyVal* data() { return m_pData; }
    // True when this is the controller's own buffer.
    bool shared() const { return m_pUsers != nullptr; }

private:
    u32* m_pUsers;
    KeyVal* m_pData = nullptr;
    std::vector<KeyVal> m_vecPrivate;
};

} // namespace tarnix
