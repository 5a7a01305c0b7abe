#pragma once

// A duration of whole seconds and microseconds, and the platform's sleep.
class QuorvelTime {
public:
    QuorvelTime(long seconds, long microseconds);
    long seconds() const { return m_nSec; }
    long microseconds() const { return m_nUsec; }
    // Blocks the calling thread for the duration. On a GThread whose stop()
    // is called meanwhile the wait returns at once.
    static void wait(const QuorvelTime& duration);

private:
    long m_nSec;
    long m_nUsec;
};
