// The decision observer over a controller's whole life on the sample box
// tree: the records of init and of a factory reset, what an observer may and
// may not call, and a stop of the controller while its observer is busy on
// the sensor thread.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "integration/integration_fixture.h"

namespace integration_test {
namespace {

using tarnix::DecisionOutcome;
using tarnix::DecisionRecord;
using tarnix::DecisionSource;
using tarnix::SchemePolicy;

class DecisionObserverTest : public IntegrationTest {
protected:
    // Sets an observer that keeps every record.
    void collect(ISensorController& c) {
        c.setDecisionObserver([this](const DecisionRecord& r) {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_vecSeen.push_back(r);
        });
    }
    std::vector<DecisionRecord> seen() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_vecSeen;
    }
    std::vector<DecisionSource> sources() {
        std::vector<DecisionSource> out;
        for (const DecisionRecord& r : seen()) {
            out.push_back(r.source);
        }
        return out;
    }

    std::mutex m_mutex;
    std::vector<DecisionRecord> m_vecSeen;
};

TEST_F(DecisionObserverTest, InitLeavesItsOwnRecordAndThePassRecordWhenItEnds) {
    installDeviceTree("box");
    ISensorController c;
    c.setChannelID(1);
    int nStatusInObserver = -1;
    c.setDecisionObserver([&](const DecisionRecord& r) {
        if (r.source == DecisionSource::Init) {
            nStatusInObserver = c.getSensorStatus();
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_vecSeen.push_back(r);
    });
    c.setParamMode(0); // before init: a record of its own, kept in the history
    c.setParamMode(1);
    ASSERT_TRUE(c.init(firstModule()));
    ASSERT_TRUE(c.setParamMode(0)); // no further passes decide
    std::vector<DecisionRecord> vec = seen();
    ASSERT_GE(vec.size(), 5u);
    EXPECT_EQ(DecisionSource::Init, vec[2].source);
    EXPECT_EQ(SchemePolicy::None, vec[2].policy);
    EXPECT_EQ(DecisionOutcome::Switched, vec[2].outcome);
    EXPECT_EQ(0, vec[2].to);
    EXPECT_EQ(4u, vec[2].schemeCount);
    // The switch from scheme 0 to itself sends nothing.
    EXPECT_EQ(0u, vec[2].ispCalls);
    EXPECT_EQ(DecisionSource::SensorPass, vec[3].source);
    EXPECT_EQ(DecisionOutcome::NoChange, vec[3].outcome);
    // Delivered once init had finished.
    EXPECT_EQ(1, nStatusInObserver);
    c.uinit();
}

TEST_F(DecisionObserverTest, FactoryResetIsOneRecordAfterTheRecordsOfItsInit) {
    installDeviceTree("box");
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    ASSERT_TRUE(c.setParamMode(0));
    ASSERT_TRUE(c.setParamScheme(2));
    ASSERT_EQ(0, c.setParameters(std::string("(34,77)"), true));
    collect(c);
    ispsim::clearCalls();
    ASSERT_TRUE(c.resetParameters());
    std::vector<DecisionRecord> vec = seen();
    // Passes of the suspended thread until the reset began; then init's own
    // record and its pass (init runs with mode 1; the reset puts the host's
    // mode back afterwards), passes of the restarted thread that could not
    // get the controller while the reset held it, then the reset.
    size_t nInit = 0;
    while (nInit < vec.size() && vec[nInit].source != DecisionSource::Init) {
        EXPECT_EQ(DecisionOutcome::HeldSuspended, vec[nInit].outcome) << nInit;
        ++nInit;
    }
    size_t nReset = nInit;
    while (nReset < vec.size() && vec[nReset].source != DecisionSource::FactoryReset) {
        ++nReset;
    }
    ASSERT_LT(nReset, vec.size());
    ASSERT_GE(nReset, nInit + 2);
    EXPECT_EQ(DecisionSource::SensorPass, vec[nInit + 1].source);
    EXPECT_EQ(DecisionOutcome::NoChange, vec[nInit + 1].outcome);
    EXPECT_EQ(1, vec[nInit + 1].mode);
    for (size_t i = nInit + 2; i < nReset; ++i) {
        EXPECT_EQ(DecisionOutcome::Postponed, vec[i].outcome) << i;
    }
    const DecisionRecord& r = vec[nReset];
    EXPECT_EQ(DecisionSource::FactoryReset, r.source);
    EXPECT_EQ(DecisionOutcome::Switched, r.outcome);
    EXPECT_EQ(2, r.from);
    EXPECT_EQ(4, r.selected);
    EXPECT_EQ(0, r.to);
    // The factory scheme differs from scheme 2 in brightness only.
    EXPECT_EQ(1u, r.ispCalls);
    EXPECT_EQ("factory reset: the factory scheme 4 was applied, the stored schemes deleted and the channel "
              "initialised again with scheme 0 in force",
              tarnix::decisionReason(r));
    // The history kept the records of before the reset too.
    EXPECT_GE(c.getDecisionHistory().size(), 6u);
    c.uinit();
}

TEST_F(DecisionObserverTest, ObserverMayNotTearDownItsOwnController) {
    installDeviceTree("box");
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    ASSERT_TRUE(c.setParamMode(0));
    bool bInit = true;
    bool bReset = true;
    std::string strValues;
    c.setDecisionObserver([&](const DecisionRecord& r) {
        if (r.source != DecisionSource::SetScheme) {
            return;
        }
        bInit = c.init(firstModule());
        bReset = c.resetParameters();
        c.uinit();
        c.getParameters("(34)", strValues);
    });
    captureStdout();
    ASSERT_TRUE(c.setParamScheme(1));
    std::string out = capturedStdout();
    EXPECT_FALSE(bInit);
    EXPECT_FALSE(bReset);
    EXPECT_NE(std::string::npos, out.find("init() called from inside the decision observer of the same controller"));
    EXPECT_NE(std::string::npos,
              out.find("resetParameters() called from inside the decision observer of the same controller"));
    EXPECT_NE(std::string::npos, out.find("uinit() called from inside the decision observer of the same controller"));
    // The controller is whole: the read in the observer and after it work.
    EXPECT_EQ(0u, strValues.find("(34,"));
    int nScheme = -1;
    EXPECT_TRUE(c.getParamScheme(nScheme));
    EXPECT_EQ(1, nScheme);
    c.setDecisionObserver(nullptr);
    c.uinit();
}

TEST_F(DecisionObserverTest, StoppingTheControllerWhileTheObserverCallsBackOnTheSensorThread) {
    installDeviceTree("box");
    ISensorController c;
    c.setChannelID(1);
    ASSERT_TRUE(c.init(firstModule()));
    std::atomic<int> nCalls{0};
    std::atomic<bool> bOnSensorThread{false};
    c.setDecisionObserver([&](const DecisionRecord& r) {
        if (r.source == DecisionSource::SensorPass) {
            bOnSensorThread = true;
        }
        std::string strOut;
        c.getParameters("(34,2337)", strOut);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        nCalls.fetch_add(1);
    });
    ASSERT_TRUE(waitFor([&] { return bOnSensorThread.load(); }));
    // uinit holds the controller while it stops the thread: the observer's
    // calls nest inside the pass that holds it, so neither waits for the other.
    auto stop = std::async(std::launch::async, [&] { c.uinit(); });
    ASSERT_EQ(std::future_status::ready, stop.wait_for(std::chrono::seconds(30)));
    const int nAfterStop = nCalls.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(nAfterStop, nCalls.load());
    EXPECT_GT(nAfterStop, 0);
}

} // namespace
} // namespace integration_test
