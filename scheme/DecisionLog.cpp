// History and observer of a controller's scheme decisions.
#include "scheme/DecisionLog.h"

#include "controller/LockRank.h"

namespace tarnix {

namespace {

// The observer calls under way on this thread, innermost first.
struct ObserverCall {
    const void* pOwner;
    const ObserverCall* pOuter;
};
thread_local const ObserverCall* t_pObserverCall = nullptr;

class ObserverScope {
public:
    explicit ObserverScope(const void* p_pOwner) : m_stCall{p_pOwner, t_pObserverCall} { t_pObserverCall = &m_stCall; }
    ~ObserverScope() { t_pObserverCall = m_stCall.pOuter; }
    ObserverScope(const ObserverScope&) = delete;
    ObserverScope& operator=(const ObserverScope&) = delete;

private:
    ObserverCall m_stCall;
};

// Two sensor-pass records that decided the same way and changed nothing; the
// clock may differ.
bool sameIdleDecision(const DecisionRecord& a, const DecisionRecord& b) {
    if (a.source != DecisionSource::SensorPass || b.source != DecisionSource::SensorPass ||
        a.outcome == DecisionOutcome::Switched || a.outcome != b.outcome) {
        return false;
    }
    if (a.policy != b.policy || a.lprDevice != b.lprDevice || a.mode != b.mode || a.schemeCount != b.schemeCount ||
        a.dnStateRead != b.dnStateRead || a.dnReadFailed != b.dnReadFailed || a.dnState != b.dnState ||
        a.windowsRead != b.windowsRead || a.selected != b.selected || a.windowCount != b.windowCount || a.matchedWindow != b.matchedWindow ||
        a.schedule != b.schedule || a.lastSchedule != b.lastSchedule || a.lastScheduleAfter != b.lastScheduleAfter ||
        a.from != b.from || a.to != b.to || a.busyFlags != b.busyFlags) {
        return false;
    }
    const u32 nWindows = a.windowCount < DecisionRecord::kMaxWindows ? a.windowCount : DecisionRecord::kMaxWindows;
    for (u32 i = 0; i < nWindows; ++i) {
        if (a.windows[i].start != b.windows[i].start || a.windows[i].end != b.windows[i].end ||
            a.windows[i].holdsNow != b.windows[i].holdsNow) {
            return false;
        }
    }
    return true;
}

} // namespace

DecisionLog::DecisionLog(const void* p_pOwner) : m_pOwner(p_pOwner) {}

void DecisionLog::updateFlags() {
    const bool bObserved = m_pObserver != nullptr;
    m_bObserved.store(bObserved);
    m_bWanted.store(bObserved || m_nCapacity > 0);
}

void DecisionLog::setObserver(Observer p_fnObserver) {
    std::shared_ptr<const Observer> pNew;
    if (p_fnObserver) {
        pNew = std::make_shared<const Observer>(std::move(p_fnObserver));
    }
    std::shared_ptr<const Observer> pOld;
    {
        lockrank::LeafScope objRank;
        std::lock_guard<std::mutex> lock(m_mutex);
        pOld.swap(m_pObserver);
        m_pObserver = pNew;
        m_queQueued.clear();
        updateFlags();
    }
    // pOld is released here, outside the leaf lock: an observer's captures
    // may take locks of their own when they go.
}

void DecisionLog::setHistorySize(u32 p_nRecords) {
    if (p_nRecords > kMaxHistory) {
        p_nRecords = kMaxHistory;
    }
    lockrank::LeafScope objRank;
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<DecisionRecord> vecKept;
    const size_t nKeep = m_nSize < p_nRecords ? m_nSize : p_nRecords;
    vecKept.reserve(nKeep);
    for (size_t i = m_nSize - nKeep; i < m_nSize; ++i) {
        vecKept.push_back(m_vecRing[(m_nHead + i) % m_vecRing.size()]);
    }
    m_vecRing.swap(vecKept);
    m_nHead = 0;
    m_nSize = m_vecRing.size();
    m_nCapacity = p_nRecords;
    updateFlags();
}

std::vector<DecisionRecord> DecisionLog::history() const {
    lockrank::LeafScope objRank;
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<DecisionRecord> vecOut;
    vecOut.reserve(m_nSize);
    for (size_t i = 0; i < m_nSize; ++i) {
        vecOut.push_back(m_vecRing[(m_nHead + i) % m_vecRing.size()]);
    }
    return vecOut;
}

void DecisionLog::keep(const DecisionRecord& p_stRecord) {
    if (m_nCapacity == 0) {
        return;
    }
    if (m_nSize > 0) {
        DecisionRecord& stLast = m_vecRing[(m_nHead + m_nSize - 1) % m_vecRing.size()];
        if (sameIdleDecision(stLast, p_stRecord)) {
            ++stLast.passes;
            stLast.lastTime = p_stRecord.time;
            return;
        }
    }
    if (m_vecRing.size() < m_nCapacity) {
        // Grows up to the capacity, then wraps: the slots are contiguous
        // from m_nHead = 0 while it grows.
        m_vecRing.push_back(p_stRecord);
        ++m_nSize;
        return;
    }
    // Full: the oldest slot takes the new record.
    m_vecRing[m_nHead] = p_stRecord;
    m_nHead = (m_nHead + 1) % m_vecRing.size();
}

void DecisionLog::add(DecisionRecord& p_stRecord) {
    lockrank::LeafScope objRank;
    std::lock_guard<std::mutex> lock(m_mutex);
    p_stRecord.sequence = ++m_nSequence;
    p_stRecord.passes = 1;
    p_stRecord.lastTime = p_stRecord.time;
    keep(p_stRecord);
    if (m_pObserver != nullptr) {
        if (m_queQueued.size() >= kMaxQueued) {
            dropOneQueued();
        }
        m_queQueued.push_back(p_stRecord);
    }
}

// A full queue gives up its oldest record that did not switch: a burst of
// postponed or held passes (a thread retrying while another owns the gate)
// must not push out the switch a host is waiting for. Only a queue of
// switches alone loses its oldest switch.
void DecisionLog::dropOneQueued() {
    for (auto it = m_queQueued.begin(); it != m_queQueued.end(); ++it) {
        if (it->outcome != DecisionOutcome::Switched) {
            m_queQueued.erase(it);
            return;
        }
    }
    m_queQueued.pop_front();
}

void DecisionLog::deliver() {
    if (!observed() || m_bDelivering.load()) {
        return;
    }
    m_bDelivering.store(true);
    ObserverScope objScope(m_pOwner);
    while (true) {
        DecisionRecord stRecord;
        std::shared_ptr<const Observer> pObserver;
        {
            lockrank::LeafScope objRank;
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_queQueued.empty()) {
                break;
            }
            stRecord = m_queQueued.front();
            m_queQueued.pop_front();
            pObserver = m_pObserver;
        }
        if (pObserver != nullptr && *pObserver) {
            try {
                (*pObserver)(stRecord);
            } catch (...) {
                // The host's exception must not end the sensor thread or the
                // host operation that decided; the record counts as delivered.
            }
        }
    }
    m_bDelivering.store(false);
}

bool DecisionLog::insideObserverOf(const void* p_pOwner) {
    for (const ObserverCall* pCall = t_pObserverCall; pCall != nullptr; pCall = pCall->pOuter) {
        if (pCall->pOwner == p_pOwner) {
            return true;
        }
    }
    return false;
}

} // namespace tarnix
