// GThread, QuorvelTime and PXMutex.
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/GThread.h"
#include "platform/PXMutex.h"
#include "platform/QuorvelTime.h"
#include "support/TestEnv.h"

namespace {

using Clock = std::chrono::steady_clock;

long long elapsedMs(Clock::time_point since) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count();
}

// Waits (really) until the predicate holds, at most two seconds.
template <typename Pred>
bool eventually(Pred pred) {
    auto start = Clock::now();
    while (!pred()) {
        if (elapsedMs(start) > 2000) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// A thread body and hooks whose calls are counted.
class Worker {
public:
    std::atomic<int> rounds{0};
    std::atomic<int> starts{0};
    std::atomic<int> stops{0};
    std::atomic<bool> waiting{false};
    long waitSeconds = 0;
    GThread* self = nullptr;
    std::atomic<int> selfStopResult{-1};
    std::atomic<int> selfStartResult{-1};
    std::string name;

    int body() {
        if (rounds.load() == 0) {
            char buffer[32] = {0};
            pthread_getname_np(pthread_self(), buffer, sizeof(buffer));
            name = buffer;
        }
        ++rounds;
        if (waitSeconds > 0) {
            waiting = true;
            QuorvelTime::wait(QuorvelTime(waitSeconds, 0));
        } else {
            QuorvelTime::wait(QuorvelTime(0, 1000));
        }
        if (self != nullptr && selfStopResult.load() < 0) {
            selfStartResult = self->start() ? 1 : 0;
            selfStopResult = self->stop() ? 1 : 0;
        }
        return 0;
    }
    int onStart() {
        ++starts;
        return 0;
    }
    int onStop() {
        ++stops;
        return 0;
    }
};

GThread* makeThread(Worker& worker, const std::string& name = "SensorThread") {
    return new GThread(bind_function(&Worker::body, &worker), name, bind_function(&Worker::onStart, &worker),
                       bind_function(&Worker::onStop, &worker));
}

class GThreadTest : public tarnix_test::TarnixTest {};

TEST_F(GThreadTest, EmptyFunReturnsZero) { EXPECT_EQ(GThread::emptyFun(), 0); }

TEST_F(GThreadTest, RunsBodyRepeatedlyBetweenHooks) {
    Worker worker;
    std::unique_ptr<GThread> thread(makeThread(worker));
    EXPECT_FALSE(thread->isRunning());
    EXPECT_EQ(thread->name(), "SensorThread");
    ASSERT_TRUE(thread->start());
    EXPECT_TRUE(eventually([&] { return worker.rounds.load() >= 3; }));
    EXPECT_EQ(worker.starts.load(), 1);
    EXPECT_TRUE(thread->isRunning());
    EXPECT_TRUE(thread->stop());
    EXPECT_FALSE(thread->isRunning());
    EXPECT_EQ(worker.starts.load(), 1);
    EXPECT_EQ(worker.stops.load(), 1);
    int rounds = worker.rounds.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(worker.rounds.load(), rounds);
    EXPECT_EQ(worker.name, "SensorThread");
}

TEST_F(GThreadTest, StartWhileRunningFails) {
    Worker worker;
    std::unique_ptr<GThread> thread(makeThread(worker));
    ASSERT_TRUE(thread->start());
    EXPECT_FALSE(thread->start());
    EXPECT_TRUE(thread->stop());
    EXPECT_EQ(worker.starts.load(), 1);
}

TEST_F(GThreadTest, StopWithoutStartSucceeds) {
    Worker worker;
    std::unique_ptr<GThread> thread(makeThread(worker));
    EXPECT_TRUE(thread->stop());
    EXPECT_TRUE(thread->stop());
    EXPECT_EQ(worker.starts.load(), 0);
    EXPECT_EQ(worker.rounds.load(), 0);
}

TEST_F(GThreadTest, StopInterruptsALongWait) {
    platform::setTimeScale(1.0);
    Worker worker;
    worker.waitSeconds = 10;
    std::unique_ptr<GThread> thread(makeThread(worker));
    ASSERT_TRUE(thread->start());
    ASSERT_TRUE(eventually([&] { return worker.waiting.load(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    auto start = Clock::now();
    EXPECT_TRUE(thread->stop());
    EXPECT_LT(elapsedMs(start), 250);
    EXPECT_EQ(worker.rounds.load(), 1);
    EXPECT_EQ(worker.stops.load(), 1);
}

TEST_F(GThreadTest, RepeatedStartStopCycles) {
    Worker worker;
    std::unique_ptr<GThread> thread(makeThread(worker));
    for (int cycle = 1; cycle <= 25; ++cycle) {
        int before = worker.rounds.load();
        ASSERT_TRUE(thread->start()) << cycle;
        if (cycle % 2 == 0) {
            EXPECT_TRUE(eventually([&] { return worker.rounds.load() > before; }));
        }
        ASSERT_TRUE(thread->stop()) << cycle;
        EXPECT_EQ(worker.starts.load(), cycle);
        EXPECT_EQ(worker.stops.load(), cycle);
    }
}

TEST_F(GThreadTest, StopFromItsOwnThreadDoesNotJoinItself) {
    Worker worker;
    std::unique_ptr<GThread> thread(makeThread(worker));
    worker.self = thread.get();
    ASSERT_TRUE(thread->start());
    ASSERT_TRUE(eventually([&] { return worker.selfStopResult.load() >= 0; }));
    EXPECT_EQ(worker.selfStopResult.load(), 0);
    EXPECT_EQ(worker.selfStartResult.load(), 0);
    // The loop ends after the round that asked for it.
    EXPECT_TRUE(eventually([&] { return !thread->isRunning(); }));
    EXPECT_EQ(worker.rounds.load(), 1);
    EXPECT_EQ(worker.stops.load(), 1);
    EXPECT_TRUE(thread->stop());
    // And it can be started again.
    worker.self = nullptr;
    ASSERT_TRUE(thread->start());
    EXPECT_TRUE(eventually([&] { return worker.rounds.load() >= 2; }));
    EXPECT_TRUE(thread->stop());
    EXPECT_EQ(worker.starts.load(), 2);
}

TEST_F(GThreadTest, DestructorStopsTheThread) {
    Worker worker;
    {
        std::unique_ptr<GThread> thread(makeThread(worker));
        ASSERT_TRUE(thread->start());
        EXPECT_TRUE(eventually([&] { return worker.rounds.load() >= 1; }));
    }
    EXPECT_EQ(worker.stops.load(), 1);
    int rounds = worker.rounds.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(worker.rounds.load(), rounds);
}

TEST_F(GThreadTest, LongNamesAreCutToFifteenCharacters) {
    Worker worker;
    std::unique_ptr<GThread> thread(makeThread(worker, "AVeryLongThreadNameIndeed"));
    EXPECT_EQ(thread->name(), "AVeryLongThreadNameIndeed");
    ASSERT_TRUE(thread->start());
    EXPECT_TRUE(eventually([&] { return worker.rounds.load() >= 1; }));
    EXPECT_TRUE(thread->stop());
    EXPECT_EQ(worker.name, "AVeryLongThread");
}

TEST_F(GThreadTest, PlainFunctionHooks) {
    Worker worker;
    std::unique_ptr<GThread> thread(new GThread(bind_function(&Worker::body, &worker), "SensorThread",
                                                function<int>(&GThread::emptyFun),
                                                function<int>(&GThread::emptyFun)));
    ASSERT_TRUE(thread->start());
    EXPECT_TRUE(eventually([&] { return worker.rounds.load() >= 2; }));
    EXPECT_TRUE(thread->stop());
}

TEST_F(GThreadTest, SeveralThreadsStopConcurrently) {
    std::vector<std::unique_ptr<Worker>> workers;
    std::vector<std::unique_ptr<GThread>> threads;
    for (int i = 0; i < 4; ++i) {
        workers.emplace_back(new Worker);
        threads.emplace_back(makeThread(*workers.back()));
        ASSERT_TRUE(threads.back()->start());
    }
    std::vector<std::thread> stoppers;
    std::atomic<int> stopped{0};
    for (auto& thread : threads) {
        GThread* raw = thread.get();
        stoppers.emplace_back([raw, &stopped] {
            if (raw->stop()) {
                ++stopped;
            }
        });
    }
    for (auto& stopper : stoppers) {
        stopper.join();
    }
    EXPECT_EQ(stopped.load(), 4);
    for (auto& worker : workers) {
        EXPECT_EQ(worker->stops.load(), 1);
    }
}

class QuorvelTimeTest : public tarnix_test::TarnixTest {};

TEST_F(QuorvelTimeTest, HoldsSecondsAndMicroseconds) {
    QuorvelTime duration(1, 500000);
    EXPECT_EQ(duration.seconds(), 1);
    EXPECT_EQ(duration.microseconds(), 500000);
}

TEST_F(QuorvelTimeTest, WaitIsScaled) {
    // Scale 0.001 (the fixture's): one second lasts a millisecond.
    auto start = Clock::now();
    QuorvelTime::wait(QuorvelTime(1, 0));
    long long ms = elapsedMs(start);
    EXPECT_GE(std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count(), 1000);
    EXPECT_LT(ms, 200);

    platform::setTimeScale(0.1);
    start = Clock::now();
    QuorvelTime::wait(QuorvelTime(0, 500000));
    ms = elapsedMs(start);
    EXPECT_GE(ms, 50);
    EXPECT_LT(ms, 400);
}

TEST_F(QuorvelTimeTest, ZeroScaleAndZeroDurationReturnAtOnce) {
    platform::setTimeScale(0.0);
    auto start = Clock::now();
    QuorvelTime::wait(QuorvelTime(100, 0));
    EXPECT_LT(elapsedMs(start), 50);
    platform::setTimeScale(1.0);
    start = Clock::now();
    QuorvelTime::wait(QuorvelTime(0, 0));
    QuorvelTime::wait(QuorvelTime(-5, -1));
    EXPECT_LT(elapsedMs(start), 50);
}

TEST_F(QuorvelTimeTest, InterruptibleSleepOutsideAGThreadSleeps) {
    auto start = Clock::now();
    EXPECT_TRUE(GThread::interruptibleSleep(2000));
    EXPECT_GE(std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count(), 2000);
}

class PXMutexTest : public tarnix_test::TarnixTest {};

TEST_F(PXMutexTest, ExcludesOtherThreads) {
    PXMutex mutex;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                mutex.Lock("ISensorController.cpp", __LINE__);
                PXMutexManager guard(&mutex, "ISensorController.cpp", __LINE__);
                ++counter;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, 80000);
}

TEST_F(PXMutexTest, ManagerUnlocksOnEveryExitPath) {
    PXMutex mutex;
    auto lockedWork = [&](bool early) -> int {
        mutex.Lock("ISensorController.cpp", __LINE__);
        PXMutexManager guard(&mutex, "ISensorController.cpp", __LINE__);
        if (early) {
            return 1;
        }
        throw 2;
    };
    EXPECT_EQ(lockedWork(true), 1);
    EXPECT_THROW(lockedWork(false), int);

    // Another thread can take the lock now.
    std::atomic<bool> taken{false};
    std::thread other([&] {
        mutex.Lock("other", 1);
        taken = true;
        mutex.Unlock("other", 1);
    });
    bool ok = eventually([&] { return taken.load(); });
    if (!ok) {
        other.detach();
    } else {
        other.join();
    }
    EXPECT_TRUE(ok);
}

TEST_F(PXMutexTest, ManagerWithNullMutexDoesNothing) {
    EXPECT_NO_THROW({ PXMutexManager guard(nullptr, "x", 1); });
}

} // namespace
