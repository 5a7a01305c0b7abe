// Local date and time of the device, or a fixed hour and minute of today.
#include "platform/PXDeviceTime.h"

#include <ctime>

#include "platform/posix/PlatformInternal.h"

PXDateTime PXDeviceTime::getCurrentTime() {
    std::time_t now = std::time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);

    PXDateTime result;
    result.year = local.tm_year + 1900;
    result.month = local.tm_mon + 1;
    result.day = local.tm_mday;
    result.hour = local.tm_hour;
    result.minute = local.tm_min;
    result.second = local.tm_sec;

    int nHour = 0;
    int nMinute = 0;
    if (platform::fixedClock(nHour, nMinute)) {
        result.hour = nHour;
        result.minute = nMinute;
        result.second = 0;
    }
    return result;
}
