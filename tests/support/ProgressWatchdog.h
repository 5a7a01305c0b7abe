#pragma once
// Ends the process when a watched thread stops making progress: a thread
// caught in a deadlock cannot be joined, so the run is reported on stderr
// and aborted instead of hanging until the test's time limit.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace tarnix_test {

class ProgressWatchdog {
public:
    // p_vecCounters: one counter per watched thread, increased as it makes
    // progress; p_limit: how long a counter may stand still.
    ProgressWatchdog(std::vector<std::atomic<long>*> p_vecCounters, std::chrono::milliseconds p_limit)
        : m_vecCounters(std::move(p_vecCounters)), m_limit(p_limit), m_thread([this] { watch(); }) {}
    ~ProgressWatchdog() {
        m_bDone = true;
        m_thread.join();
    }
    ProgressWatchdog(const ProgressWatchdog&) = delete;
    ProgressWatchdog& operator=(const ProgressWatchdog&) = delete;

private:
    using Clock = std::chrono::steady_clock;

    void watch() {
        std::vector<long> vecLast(m_vecCounters.size(), -1);
        std::vector<Clock::time_point> vecSince(m_vecCounters.size(), Clock::now());
        while (!m_bDone.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            for (size_t i = 0; i < m_vecCounters.size(); ++i) {
                const long n = m_vecCounters[i]->load();
                if (n != vecLast[i]) {
                    vecLast[i] = n;
                    vecSince[i] = Clock::now();
                } else if (!m_bDone.load() && Clock::now() - vecSince[i] > m_limit) {
                    std::fprintf(stderr, "watched thread %zu made no progress for %lld ms: deadlock\n", i,
                                 static_cast<long long>(m_limit.count()));
                    std::fflush(stderr);
                    std::abort();
                }
            }
        }
    }

    std::vector<std::atomic<long>*> m_vecCounters;
    std::chrono::milliseconds m_limit;
    std::atomic<bool> m_bDone{false};
    std::thread m_thread;
};

} // namespace tarnix_test
