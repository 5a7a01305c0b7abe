#pragma once
#include <string>

// The machine description of "/mnt/mtd/code/factory_setting/machineinfo.ini".
class MachineInfo {
public:
    MachineInfo();
    ~MachineInfo();
    int getDeviceType() const { return m_nDeviceType; }
    std::string getHardwareModel() const { return m_strHardwareModel; }
    std::string getHardwareCode() const { return m_strHardwareCode; }
    void setDeviceType(int type) { m_nDeviceType = type; }
    void setHardwareModel(const std::string& model) { m_strHardwareModel = model; }
    void setHardwareCode(const std::string& code) { m_strHardwareCode = code; }

private:
    int m_nDeviceType;
    std::string m_strHardwareModel;
    std::string m_strHardwareCode;
};
