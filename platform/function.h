#pragma once
// Reference-counted, argument-less callables used as thread bodies and hooks.
// Copies share one target; the last copy destroys it. The count lives in the
// platform's RefCountManager registry.
#include <cstdio>
#include <string>
#include <typeinfo>

#include "platform/PXRuntimeError.h"
#include "platform/RefCountManager.h"

template <typename R>
class function_obj_base {
public:
    virtual ~function_obj_base() {}
    virtual R operator()() = 0;
};

template <typename R, typename F>
class function_obj;

// Plain function target.
template <typename R>
class function_obj<R, R (*)()> : public function_obj_base<R> {
public:
    explicit function_obj(R (*pfn)()) : m_pfn(pfn) {}
    ~function_obj() override {}
    R operator()() override { return m_pfn(); }

private:
    R (*m_pfn)();
};

// A member function without arguments bound to its object.
template <typename R, typename C>
struct bind_funcobj0 {
    R (C::*m_pfn)();
    C* m_pObject;
    R operator()() const { return (m_pObject->*m_pfn)(); }
};

template <typename R, typename C>
class function_obj<R, bind_funcobj0<R, C>> : public function_obj_base<R> {
public:
    explicit function_obj(const bind_funcobj0<R, C>& bound) : m_bound(bound) {}
    ~function_obj() override {}
    R operator()() override { return m_bound(); }

private:
    bind_funcobj0<R, C> m_bound;
};

class BaseSafePointer {};

template <typename T>
class SafePointer : public BaseSafePointer {
public:
    explicit SafePointer(T* target) : m_pTarget(target), m_pRefCount(nullptr) {
        if (target == nullptr) {
            report("Construct from NULL original pointer");
        }
        m_pRefCount = RefCountManager::getInstance()->retrieveRefCount(target, typeName());
    }

    SafePointer(const SafePointer& other) : m_pTarget(nullptr), m_pRefCount(nullptr) {
        if (other.m_pTarget == nullptr) {
            report("Construct from NULL <T>pointer");
        }
        m_pTarget = other.m_pTarget;
        m_pRefCount = other.m_pRefCount;
        inc_reference();
    }

    SafePointer& operator=(const SafePointer& other) {
        if (this != &other) {
            SafePointer copy(other);
            dec_reference();
            m_pTarget = copy.m_pTarget;
            m_pRefCount = copy.m_pRefCount;
            copy.m_pTarget = nullptr; // the copy's reference now belongs to this
            copy.m_pRefCount = nullptr;
        }
        return *this;
    }

    // An exception from dec_reference here terminates the process.
    virtual ~SafePointer() { dec_reference(); }

    T* get() const { return m_pTarget; }
    ref_count* refCount() const { return m_pRefCount; }

    void inc_reference() const {
        if (m_pRefCount == nullptr) {
            report("Already destructed 1");
        }
        if (m_pRefCount->lock() != 0) {
            report("Already destructed 2");
        }
        if (m_pRefCount->getPointer() != static_cast<void*>(m_pTarget)) {
            m_pRefCount->unLock();
            throw PXRuntimeError(std::string("not valid pointer in inc_reference"));
        }
        bool bOk = m_pRefCount->inc_reference();
        m_pRefCount->unLock();
        if (!bOk) {
            report("Already destructed 3");
        }
    }

    void dec_reference() {
        if (m_pTarget == nullptr) {
            return;
        }
        ref_count* pRef = m_pRefCount;
        pRef->lock();
        if (pRef->getPointer() != static_cast<void*>(m_pTarget)) {
            pRef->unLock();
            throw PXRuntimeError(std::string("not valid pointer in dec_reference"));
        }
        if (pRef->dec_reference() == 0) {
            delete m_pTarget;
            m_pTarget = nullptr;
            m_pRefCount = nullptr;
            pRef->unLock();
            RefCountManager::getInstance()->returnbackRefCount(pRef, typeName());
            return;
        }
        pRef->unLock();
    }

    static const char* typeName() { return typeid(T).name(); }

private:
    [[noreturn]] static void report(const char* message) {
        std::string text = std::string("SafePointer Report:") + typeName() + " " + message;
        std::puts(text.c_str());
        std::fflush(stdout);
        throw PXRuntimeError(text);
    }

    T* m_pTarget;
    ref_count* m_pRefCount;
};

template <typename R>
class function {
public:
    explicit function(R (*pfn)()) : m_ptr(pfn == nullptr ? nullptr : new function_obj<R, R (*)()>(pfn)) {}
    explicit function(function_obj_base<R>* target) : m_ptr(target) {}
    function(const function& other) = default;
    function& operator=(const function& other) = default;
    virtual ~function() {}

    R operator()() const { return (*m_ptr.get())(); }
    const SafePointer<function_obj_base<R>>& safePointer() const { return m_ptr; }

private:
    SafePointer<function_obj_base<R>> m_ptr;
};

// Creates a callable that calls pfn on object.
template <typename R, typename C>
function<R> bind_function(R (C::*pfn)(), C* object) {
    bind_funcobj0<R, C> bound{pfn, object};
    return function<R>(new function_obj<R, bind_funcobj0<R, C>>(bound));
}
