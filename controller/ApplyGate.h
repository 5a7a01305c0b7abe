#pragma once
// The apply gate: one process-wide, re-entrant lock that guards every
// controller's scheme cache, its schemes and the apply path.
//
// One gate for all channels, because a video module notified inside one
// channel's operation may call into any channel (its own or another) from
// the notification, on the same thread; per-channel locks would deadlock on
// such a cycle between two threads, one gate cannot.
//
// - The owning thread may take it again at any depth and is never blocked.
// - A host operation (lock()) waits until the gate is free and no sensor
//   thread is waiting for it, so host traffic never starves a sensor thread.
// - A sensor thread (lockForPass()) announces itself as a priority waiter
//   and polls in slices of the platform's time, for at most one pass period,
//   giving up early when its controller is being stopped.
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace tarnix {

class ApplyGate {
public:
    // The gate of the process.
    static ApplyGate& instance();

    // Host acquisition: blocks until the gate is free and no sensor thread
    // waits for it (returns at once on the owning thread).
    void lock();
    // Sensor-thread acquisition: true once held; false after one pass period
    // (100 slices of 10 ms platform time) or as soon as p_bStop is set.
    bool lockForPass(const std::atomic<bool>& p_bStop);
    // Releases one level; the last one frees the gate.
    void unlock();

    // True when the calling thread owns the gate.
    bool heldByThisThread() const { return m_owner.load() == std::this_thread::get_id(); }

    // Slices of a sensor thread's wait and their length in microseconds.
    static const int kPassSlices = 100;
    static const long kSliceMicros = 10000;

    ApplyGate(const ApplyGate&) = delete;
    ApplyGate& operator=(const ApplyGate&) = delete;

private:
    ApplyGate() = default;

    std::mutex m_mutex;
    std::condition_variable m_cond;
    std::atomic<std::thread::id> m_owner{std::thread::id()};
    unsigned m_nDepth = 0;            // guarded by m_mutex
    unsigned m_nPriorityWaiters = 0;  // guarded by m_mutex
};

// Holds the gate as a host for the lifetime of the scope.
class GateLock {
public:
    GateLock() { ApplyGate::instance().lock(); }
    ~GateLock() { ApplyGate::instance().unlock(); }
    GateLock(const GateLock&) = delete;
    GateLock& operator=(const GateLock&) = delete;
};

} // namespace tarnix
