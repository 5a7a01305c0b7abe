#pragma once
// Marks the calling thread as being inside a call into a controller's video
// module (a notification or a query) for the lifetime of the scope. Calls
// nest: a module may call another channel, whose module may call back.
//
// Operations that tear down or rebuild a controller (init, uinit,
// resetParameters) ask insideCallOf() to refuse being run from inside a
// callback of the same controller, where they would free what the outer
// operation is still using.
class ISensorController;

namespace tarnix {

class ModuleCall {
public:
    explicit ModuleCall(const ISensorController* p_pCtl);
    ~ModuleCall();
    ModuleCall(const ModuleCall&) = delete;
    ModuleCall& operator=(const ModuleCall&) = delete;

    // True when the calling thread is inside a module call of p_pCtl, at
    // any depth.
    static bool insideCallOf(const ISensorController* p_pCtl);

private:
    const ISensorController* m_pCtl;
    ModuleCall* m_pOuter;
};

} // namespace tarnix
