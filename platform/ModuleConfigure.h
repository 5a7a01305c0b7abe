#pragma once
#include <string>

// One entry of the module configuration: the module id, its detail text (in
// which markers such as "(isInfrared=17)" or "(max_scheme=2)" are searched)
// and its parameter text (searched for "lensId=<n>)").
class ModuleConfigure {
public:
    ModuleConfigure() : m_nModuleId(0) {}
    ~ModuleConfigure() {}
    int getModuleId() const { return m_nModuleId; }
    void setModuleId(int id) { m_nModuleId = id; }
    std::string getDetail() const { return m_strDetail; }
    void setDetail(const std::string& detail) { m_strDetail = detail; }
    std::string getParameters() const { return m_strParameters; }
    void setParameters(const std::string& parameters) { m_strParameters = parameters; }

private:
    int m_nModuleId;
    std::string m_strDetail;
    std::string m_strParameters;
};
