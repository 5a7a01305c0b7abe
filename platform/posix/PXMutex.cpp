// Platform lock on a default (non-recursive) pthread mutex.
#include "platform/PXMutex.h"

PXMutex::PXMutex() { pthread_mutex_init(&m_mutex, nullptr); }

PXMutex::~PXMutex() { pthread_mutex_destroy(&m_mutex); }

void PXMutex::Lock(const char* file, int line) {
    (void)file;
    (void)line;
    pthread_mutex_lock(&m_mutex);
}

void PXMutex::Unlock(const char* file, int line) {
    (void)file;
    (void)line;
    pthread_mutex_unlock(&m_mutex);
}

PXMutexManager::PXMutexManager(PXMutex* mutex, const char* file, int line)
    : m_pMutex(mutex), m_szFile(file), m_nLine(line) {}

PXMutexManager::~PXMutexManager() {
    if (m_pMutex != nullptr) {
        m_pMutex->Unlock(m_szFile, m_nLine);
    }
}
