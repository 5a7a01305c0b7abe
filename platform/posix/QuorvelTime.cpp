// Durations and the platform's sleep, stretched by the port's time scale.
#include "platform/QuorvelTime.h"

#include <cmath>

#include "platform/GThread.h"
#include "platform/posix/PlatformControl.h"

QuorvelTime::QuorvelTime(long seconds, long microseconds) : m_nSec(seconds), m_nUsec(microseconds) {}

void QuorvelTime::wait(const QuorvelTime& duration) {
    double dMicros = (static_cast<double>(duration.m_nSec) * 1000000.0 + static_cast<double>(duration.m_nUsec)) *
                     platform::timeScale();
    if (!(dMicros > 0.0)) {
        dMicros = 0.0;
    }
    // Keeps the conversion to an integer in range; the sleep itself is
    // bounded further by GThread::interruptibleSleep.
    const double kLongest = 9.0e18;
    if (dMicros > kLongest) {
        dMicros = kLongest;
    }
    GThread::interruptibleSleep(static_cast<long long>(std::llround(dMicros)));
}
