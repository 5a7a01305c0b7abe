#include "controller/ApplyGate.h"

#include "controller/LockRank.h"
#include "platform/QuorvelTime.h"

namespace tarnix {

ApplyGate& ApplyGate::instance() {
    // Never destroyed: sensor threads of controllers that outlive static
    // destruction may still pass through it.
    static ApplyGate* s_pGate = new ApplyGate;
    return *s_pGate;
}

void ApplyGate::lock() {
    const std::thread::id me = std::this_thread::get_id();
    if (m_owner.load() == me) {
        lockrank::acquire(lockrank::GATE, true);
        std::lock_guard<std::mutex> guard(m_mutex);
        ++m_nDepth;
        return;
    }
    lockrank::acquire(lockrank::GATE);
    std::unique_lock<std::mutex> guard(m_mutex);
    m_cond.wait(guard, [this] { return m_owner.load() == std::thread::id() && m_nPriorityWaiters == 0; });
    m_owner.store(me);
    m_nDepth = 1;
}

bool ApplyGate::lockForPass(const std::atomic<bool>& p_bStop) {
    const std::thread::id me = std::this_thread::get_id();
    if (m_owner.load() == me) {
        lockrank::acquire(lockrank::GATE, true);
        std::lock_guard<std::mutex> guard(m_mutex);
        ++m_nDepth;
        return true;
    }
    lockrank::acquire(lockrank::GATE);
    std::unique_lock<std::mutex> guard(m_mutex);
    if (m_owner.load() == std::thread::id()) {
        m_owner.store(me);
        m_nDepth = 1;
        return true;
    }
    // Hosts that come now wait behind this thread.
    ++m_nPriorityWaiters;
    bool bTaken = false;
    for (int i = 0; i < kPassSlices && !bTaken && !p_bStop.load(); ++i) {
        guard.unlock();
        // The platform's sleep: it follows the port's time scale and returns
        // at once when the thread is being stopped.
        QuorvelTime::wait(QuorvelTime(0, kSliceMicros));
        guard.lock();
        if (m_owner.load() == std::thread::id()) {
            m_owner.store(me);
            m_nDepth = 1;
            bTaken = true;
        }
    }
    --m_nPriorityWaiters;
    guard.unlock();
    if (!bTaken) {
        lockrank::release(lockrank::GATE);
        // Hosts held back by this waiter may go now.
        m_cond.notify_all();
    }
    return bTaken;
}

void ApplyGate::unlock() {
    bool bFree = false;
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        if (m_nDepth > 0 && --m_nDepth == 0) {
            m_owner.store(std::thread::id());
            bFree = true;
        }
    }
    lockrank::release(lockrank::GATE);
    if (bFree) {
        // One waiting host can take it; a host that finds a sensor thread
        // waiting sleeps again until that thread's wait ends (notify_all).
        m_cond.notify_one();
    }
}

} // namespace tarnix
