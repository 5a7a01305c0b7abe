#pragma once

// Device type ids of the machine description.
class DeviceType {
public:
    enum {
        IPCAMERA = 1,
        IPDOME = 4,
        LPR = 8,
        FISHEYE = 9,
        FACE_DETECT = 11,
        THERMAL_DOUBLE_SENSOR_DEVICE = 13,
        BINOCULAR_DEVICE = 14,
        VEHICLE_DETECT = 15,
        AIMULTI_OBJECT_DETECT = 16,
        THERMAL_DEVICE = 17,
        HUMAN_TEMPERATURE = 18,
        THERMAL_DOUBLE_SENSOR_DOME_DEVICE = 19,
        DOMECORE = 20,
        IPP = 22,
        THERMAL_IPDOME = 23,
        DOMECORE_THERMAL_DEVICE = 104,
    };

    DeviceType() : m_nId(0) {}
    ~DeviceType() {}
    void setDeviceTypeId(int id) { m_nId = id; }
    int getDeviceTypeId() const { return m_nId; }

private:
    int m_nId;
};
