#pragma once
#include <mutex>

// One shared reference count, handed out by RefCountManager per object.
class ref_count {
public:
    explicit ref_count(void* object);
    // 0 on success.
    int lock();
    void unLock();
    void* getPointer() const { return m_pObject; }
    // Increments; false when the count had already dropped to zero.
    bool inc_reference() const;
    // Decrements and returns the remaining count.
    int dec_reference();
    // For tests of misuse: point the count at another object.
    void setPointer(void* object) { m_pObject = object; }

private:
    void* m_pObject;
    mutable int m_nCount;
    std::mutex m_mutex;
};

// Process-wide registry of reference counts.
class RefCountManager {
public:
    static RefCountManager* getInstance();
    // A count for the object, starting at 1.
    ref_count* retrieveRefCount(void* object, const char* typeName);
    void returnbackRefCount(ref_count* count, const char* typeName);
    // Counts handed out and not yet returned.
    int outstanding() const;

private:
    RefCountManager() = default;
    mutable std::mutex m_mutex;
    int m_nOutstanding = 0;
};
