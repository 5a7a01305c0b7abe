#pragma once
// The lock of a public parameter operation: the apply gate first, then the
// controller's m_paramMutex, both for the rest of the scope.
//
//     ParamLock lock(*this, __LINE__);
//
// m_paramMutex is the platform's non-recursive lock, taken with
// "ISensorController.cpp" and the call site's line as the platform's
// diagnostics expect, by the outermost operation of a thread. An operation
// called from inside another one (a video module callback, on a thread that
// already holds the gate) does not take it: the gate already keeps every
// other thread out of every controller. So no thread ever holds two
// controllers' m_paramMutex, nor one twice, and every thread takes the
// locks in the same order.
#include <optional>
#include <thread>

#include "controller/ApplyGate.h"
#include "controller/ISensorController.h"
#include "controller/LockRank.h"
#include "platform/PXMutex.h"

namespace tarnix {

class ParamLock {
public:
    ParamLock(ISensorController& p_objCtl, int p_nLine) : m_objCtl(p_objCtl) {
        ApplyGate& objGate = ApplyGate::instance();
        const bool bNested = objGate.heldByThisThread();
        objGate.lock();
        const std::thread::id me = std::this_thread::get_id();
        if (!bNested && p_objCtl.m_paramMutexOwner.load() != me) {
            lockrank::acquire(lockrank::PARAM);
            p_objCtl.m_paramMutex.Lock(kFile, p_nLine);
            m_guard.emplace(&p_objCtl.m_paramMutex, kFile, p_nLine);
            p_objCtl.m_paramMutexOwner.store(me);
        }
    }
    ~ParamLock() {
        if (m_guard) {
            m_objCtl.m_paramMutexOwner.store(std::thread::id());
            m_guard.reset();
            lockrank::release(lockrank::PARAM);
        }
        ApplyGate::instance().unlock();
    }
    ParamLock(const ParamLock&) = delete;
    ParamLock& operator=(const ParamLock&) = delete;

private:
    static constexpr const char* kFile = "ISensorController.cpp";
    ISensorController& m_objCtl;
    std::optional<PXMutexManager> m_guard;
};

} // namespace tarnix
