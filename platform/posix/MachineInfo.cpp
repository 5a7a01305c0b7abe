// Machine description record.
#include "platform/MachineInfo.h"

MachineInfo::MachineInfo() : m_nDeviceType(0) {}

MachineInfo::~MachineInfo() {}
