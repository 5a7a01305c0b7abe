#pragma once
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "platform/function.h"

// A named platform thread that calls its body again and again until stop().
class GThread {
public:
    GThread(const function<int>& body, const std::string& name, const function<int>& onStart,
            const function<int>& onStop);
    virtual ~GThread();
    GThread(const GThread&) = delete;
    GThread& operator=(const GThread&) = delete;

    // Starts the thread; false when it is already running or cannot start.
    bool start();
    // Asks the thread to finish, interrupts a QuorvelTime wait in progress on
    // it, and joins it. True on success (also when it was not running).
    bool stop();
    bool isRunning() const { return m_bRunning.load(); }
    const std::string& name() const { return m_strName; }

    static int emptyFun();

    // Used by QuorvelTime::wait: sleeps for the given microseconds unless the
    // calling thread is a GThread being stopped. Returns false when stopped.
    static bool interruptibleSleep(long long microseconds);

private:
    void run();

    function<int> m_body;
    function<int> m_onStart;
    function<int> m_onStop;
    std::string m_strName;
    std::thread m_thread;
    std::atomic<bool> m_bRunning;
    std::atomic<bool> m_bStopRequested;
    std::mutex m_waitMutex;
    std::condition_variable m_waitCond;
    std::mutex m_controlMutex;
};
