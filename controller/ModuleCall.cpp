#include "controller/ModuleCall.h"

namespace tarnix {

namespace {
// Innermost module call of the calling thread; each links to the one around it.
thread_local ModuleCall* t_pInnermost = nullptr;
} // namespace

ModuleCall::ModuleCall(const ISensorController* p_pCtl) : m_pCtl(p_pCtl), m_pOuter(t_pInnermost) {
    t_pInnermost = this;
}

ModuleCall::~ModuleCall() { t_pInnermost = m_pOuter; }

bool ModuleCall::insideCallOf(const ISensorController* p_pCtl) {
    for (const ModuleCall* p = t_pInnermost; p != nullptr; p = p->m_pOuter) {
        if (p->m_pCtl == p_pCtl) {
            return true;
        }
    }
    return false;
}

} // namespace tarnix
