// Registry of shared reference counts.
#include "platform/RefCountManager.h"

ref_count::ref_count(void* object) : m_pObject(object), m_nCount(1) {}

int ref_count::lock() {
    m_mutex.lock();
    return 0;
}

void ref_count::unLock() { m_mutex.unlock(); }

bool ref_count::inc_reference() const {
    if (m_nCount <= 0) {
        return false;
    }
    ++m_nCount;
    return true;
}

int ref_count::dec_reference() {
    if (m_nCount > 0) {
        --m_nCount;
    }
    return m_nCount;
}

RefCountManager* RefCountManager::getInstance() {
    // Never destroyed: callables held by static objects may hand their counts
    // back while the process exits.
    static RefCountManager* s_pInstance = new RefCountManager();
    return s_pInstance;
}

ref_count* RefCountManager::retrieveRefCount(void* object, const char* typeName) {
    (void)typeName;
    ref_count* pCount = new ref_count(object);
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_nOutstanding;
    return pCount;
}

void RefCountManager::returnbackRefCount(ref_count* count, const char* typeName) {
    (void)typeName;
    if (count == nullptr) {
        return;
    }
    delete count;
    std::lock_guard<std::mutex> lock(m_mutex);
    --m_nOutstanding;
}

int RefCountManager::outstanding() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nOutstanding;
}
