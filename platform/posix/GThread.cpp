// Named platform thread: onStart once, the body again and again until stop(),
// then onStop. stop() wakes a QuorvelTime wait in progress on the thread.
#include "platform/GThread.h"

#include <pthread.h>

#include <chrono>

namespace {
// The GThread whose run() is executing on the calling thread, if any.
thread_local GThread* t_pCurrentThread = nullptr;
} // namespace

GThread::GThread(const function<int>& body, const std::string& name, const function<int>& onStart,
                 const function<int>& onStop)
    : m_body(body), m_onStart(onStart), m_onStop(onStop), m_strName(name), m_bRunning(false),
      m_bStopRequested(false) {}

GThread::~GThread() {
    stop();
    // Destroyed from its own body (which must not touch the object after
    // that): the thread cannot join itself.
    if (m_thread.joinable()) {
        m_thread.detach();
    }
}

bool GThread::start() {
    // Asked from the thread's own body: it is running.
    if (t_pCurrentThread == this) {
        return false;
    }
    std::lock_guard<std::mutex> control(m_controlMutex);
    if (m_bRunning.load()) {
        return false;
    }
    // A thread that ended after asking for its own stop is collected here.
    if (m_thread.joinable()) {
        m_thread.join();
    }
    {
        std::lock_guard<std::mutex> lock(m_waitMutex);
        m_bStopRequested.store(false);
    }
    m_bRunning.store(true);
    try {
        m_thread = std::thread(&GThread::run, this);
    } catch (...) {
        m_bRunning.store(false);
        return false;
    }
    return true;
}

bool GThread::stop() {
    if (t_pCurrentThread == this) {
        // Asked from the thread's own body: the loop ends after this round,
        // but a thread cannot wait for itself.
        {
            std::lock_guard<std::mutex> lock(m_waitMutex);
            m_bStopRequested.store(true);
        }
        m_waitCond.notify_all();
        return false;
    }
    std::lock_guard<std::mutex> control(m_controlMutex);
    if (!m_thread.joinable()) {
        return true;
    }
    {
        std::lock_guard<std::mutex> lock(m_waitMutex);
        m_bStopRequested.store(true);
    }
    m_waitCond.notify_all();
    m_thread.join();
    return true;
}

int GThread::emptyFun() { return 0; }

bool GThread::interruptibleSleep(long long microseconds) {
    // Longer waits are cut to ten years, which keeps the deadline arithmetic
    // of the clocks in range.
    const long long kLongest = 10LL * 366 * 24 * 3600 * 1000000;
    if (microseconds > kLongest) {
        microseconds = kLongest;
    }
    GThread* pThread = t_pCurrentThread;
    if (pThread == nullptr) {
        if (microseconds > 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
        }
        return true;
    }
    std::unique_lock<std::mutex> lock(pThread->m_waitMutex);
    if (microseconds <= 0) {
        return !pThread->m_bStopRequested.load();
    }
    bool bStopped = pThread->m_waitCond.wait_for(lock, std::chrono::microseconds(microseconds),
                                                 [pThread] { return pThread->m_bStopRequested.load(); });
    return !bStopped;
}

void GThread::run() {
    t_pCurrentThread = this;
    // The kernel keeps 15 characters of a thread name.
    std::string strName = m_strName.substr(0, 15);
    pthread_setname_np(pthread_self(), strName.c_str());

    m_onStart();
    while (!m_bStopRequested.load()) {
        m_body();
    }
    m_onStop();

    t_pCurrentThread = nullptr;
    m_bRunning.store(false);
}
