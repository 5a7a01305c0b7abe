#pragma once

// Local date and time of the device.
struct PXDateTime {
    int year;
    int month;
    int day;
    int hour;
    int minute;
    int second;
};

class PXDeviceTime {
public:
    static PXDateTime getCurrentTime();
};
