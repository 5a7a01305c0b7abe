#pragma once
// The scheme decisions of one controller: the latest records kept in a
// bounded history, and the host's observer called with each new record.
//
// Records are added by the code that made the decision, with the apply gate
// held (a pass that did not get the gate adds its record without it). The
// observer is called by deliver(), which the deciding operation calls before
// it lets the gate go: on the deciding thread, one record at a time, in the
// order the decisions ended, never on two threads at once. A decision made
// by an operation the observer itself calls is queued and delivered after
// the observer returns, by the same loop.
//
// The history and the queue are guarded by a leaf lock of their own, so the
// history can be read from any thread at any time, the observer included.
#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "scheme/SchemeDecision.h"

namespace tarnix {

class DecisionLog {
public:
    using Observer = std::function<void(const DecisionRecord&)>;

    // Records the history keeps unless the host says otherwise, and at most.
    static const u32 kDefaultHistory = 256;
    static const u32 kMaxHistory = 65536;
    // Records waiting for the observer at most; beyond it the oldest record
    // that did not switch is dropped (switches go last).
    static const size_t kMaxQueued = 1024;

    // p_pOwner: the controller, for insideObserverOf().
    explicit DecisionLog(const void* p_pOwner);
    DecisionLog(const DecisionLog&) = delete;
    DecisionLog& operator=(const DecisionLog&) = delete;

    // True when a record is wanted at all: an observer is set or the history
    // keeps records. Without either, the deciding code fills nothing in.
    bool wanted() const { return m_bWanted.load(std::memory_order_relaxed); }
    // True when an observer is set.
    bool observed() const { return m_bObserved.load(std::memory_order_relaxed); }

    // Sets or (with an empty function) removes the observer. The caller holds
    // the apply gate, so no delivery of the old observer is under way on
    // another thread when it returns. Records made before are not delivered.
    void setObserver(Observer p_fnObserver);
    // Number of records the history keeps (0 keeps none, at most
    // kMaxHistory); the newest are kept.
    void setHistorySize(u32 p_nRecords);
    // The records kept, oldest first.
    std::vector<DecisionRecord> history() const;

    // Numbers the record, keeps it in the history and queues it for the
    // observer. A run of equal sensor-pass records that change nothing is
    // kept as one history entry (passes, lastTime).
    void add(DecisionRecord& p_stRecord);
    // Calls the observer with every queued record. The caller holds the
    // apply gate. A call from inside the observer returns at once.
    void deliver();

    // True when the calling thread is inside an observer call of p_pOwner's log.
    static bool insideObserverOf(const void* p_pOwner);

private:
    // The history as a ring: m_nSize records from m_nHead on.
    void keep(const DecisionRecord& p_stRecord);
    void updateFlags();
    // Makes room in the full queue (m_mutex held).
    void dropOneQueued();

    const void* m_pOwner;
    mutable std::mutex m_mutex; // leaf lock: everything below
    std::shared_ptr<const Observer> m_pObserver;
    std::vector<DecisionRecord> m_vecRing;
    size_t m_nHead = 0;
    size_t m_nSize = 0;
    u32 m_nCapacity = kDefaultHistory;
    std::deque<DecisionRecord> m_queQueued;
    unsigned long long m_nSequence = 0;

    std::atomic<bool> m_bWanted{true};
    std::atomic<bool> m_bObserved{false};
    std::atomic<bool> m_bDelivering{false}; // a deliver() loop runs (under the gate)
};

} // namespace tarnix
