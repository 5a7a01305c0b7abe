// The decision log's queue for the observer: bounded, and a burst of records
// that changed nothing never pushes a switch out of it.
#include <gtest/gtest.h>

#include <vector>

#include "scheme/DecisionLog.h"

namespace {

using tarnix::DecisionLog;
using tarnix::DecisionOutcome;
using tarnix::DecisionRecord;
using tarnix::DecisionSource;

// The queue's bound, as a value of its own (GoogleTest's checks take
// their arguments by reference).
const size_t kQueue = DecisionLog::kMaxQueued;

DecisionRecord passRecord(DecisionOutcome p_eOutcome, int p_nTo) {
    DecisionRecord stRecord;
    stRecord.source = DecisionSource::SensorPass;
    stRecord.outcome = p_eOutcome;
    stRecord.to = p_nTo;
    return stRecord;
}

class DecisionLogTest : public ::testing::Test {
protected:
    DecisionLogTest() : m_objLog(this) {
        m_objLog.setObserver([this](const DecisionRecord& r) { m_vecDelivered.push_back(r); });
    }
    void add(DecisionOutcome p_eOutcome, int p_nTo = 0) {
        DecisionRecord stRecord = passRecord(p_eOutcome, p_nTo);
        m_objLog.add(stRecord);
    }
    size_t delivered(DecisionOutcome p_eOutcome) const {
        size_t n = 0;
        for (const DecisionRecord& r : m_vecDelivered) {
            n += r.outcome == p_eOutcome ? 1 : 0;
        }
        return n;
    }

    DecisionLog m_objLog;
    std::vector<DecisionRecord> m_vecDelivered;
};

// A thread that retries while another owns the gate adds postponed records
// faster than they are delivered: the switch queued before them survives.
TEST_F(DecisionLogTest, PostponedPassesNeverPushASwitchOutOfTheQueue) {
    add(DecisionOutcome::Postponed);
    add(DecisionOutcome::Switched, 1);
    for (size_t i = 0; i < 2 * kQueue; ++i) {
        add(DecisionOutcome::Postponed);
    }
    m_objLog.deliver();
    ASSERT_EQ(kQueue, m_vecDelivered.size());
    EXPECT_EQ(1u, delivered(DecisionOutcome::Switched));
    // Delivered in the order the decisions ended: the switch first, as the
    // oldest record left, then the newest postponed ones.
    EXPECT_EQ(DecisionOutcome::Switched, m_vecDelivered.front().outcome);
    EXPECT_EQ(2 * kQueue + 2, m_vecDelivered.back().sequence);
    for (size_t i = 1; i < m_vecDelivered.size(); ++i) {
        EXPECT_LT(m_vecDelivered[i - 1].sequence, m_vecDelivered[i].sequence);
    }
}

// A queue of switches alone loses its oldest switch.
TEST_F(DecisionLogTest, AQueueOfSwitchesAloneDropsTheOldest) {
    for (size_t i = 0; i < kQueue + 3; ++i) {
        add(DecisionOutcome::Switched, static_cast<int>(i % 4));
    }
    m_objLog.deliver();
    ASSERT_EQ(kQueue, m_vecDelivered.size());
    EXPECT_EQ(4u, m_vecDelivered.front().sequence);
}

} // namespace
