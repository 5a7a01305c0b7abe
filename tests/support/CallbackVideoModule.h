#pragma once
// A recording video module that runs a test's code inside every parameter
// notification, on whatever thread the controller notifies it: the way a
// host's module calls back into the controllers.
#include <functional>
#include <mutex>
#include <string>

#include "support/RecordingVideoModule.h"

class CallbackVideoModule : public RecordingVideoModule {
public:
    using Hook = std::function<void(int channel, int key, int value)>;

    // Records the notification, then runs the hook (outside the record's lock).
    int notifySensorParam(int channel, int key, int value) const override;

    // The hook run inside every notification; empty for none.
    void setHook(Hook p_hook);

private:
    mutable std::mutex m_hookMutex;
    Hook m_hook;
};

// Name of the calling thread ("SensorThread" on a controller's thread).
std::string currentThreadName();
