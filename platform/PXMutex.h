#pragma once
#include <pthread.h>

// Non-recursive mutual-exclusion lock of the camera platform. The file and
// line arguments identify the call site for the platform's diagnostics.
class PXMutex {
public:
    PXMutex();
    ~PXMutex();
    PXMutex(const PXMutex&) = delete;
    PXMutex& operator=(const PXMutex&) = delete;

    void Lock(const char* file, int line);
    void Unlock(const char* file, int line);

private:
    pthread_mutex_t m_mutex;
};

// Scoped guard over an already locked PXMutex: the destructor unlocks it, so
// every exit path of the caller releases the lock.
class PXMutexManager {
public:
    PXMutexManager(PXMutex* mutex, const char* file, int line);
    ~PXMutexManager();
    PXMutexManager(const PXMutexManager&) = delete;
    PXMutexManager& operator=(const PXMutexManager&) = delete;

private:
    PXMutex* m_pMutex;
    const char* m_szFile;
    int m_nLine;
};
