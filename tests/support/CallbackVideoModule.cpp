#include "support/CallbackVideoModule.h"

#include <pthread.h>

int CallbackVideoModule::notifySensorParam(int channel, int key, int value) const {
    int nRet = RecordingVideoModule::notifySensorParam(channel, key, value);
    Hook hook;
    {
        std::lock_guard<std::mutex> lock(m_hookMutex);
        hook = m_hook;
    }
    if (hook) {
        hook(channel, key, value);
    }
    return nRet;
}

void CallbackVideoModule::setHook(Hook p_hook) {
    std::lock_guard<std::mutex> lock(m_hookMutex);
    m_hook = std::move(p_hook);
}

std::string currentThreadName() {
    char szName[32] = {};
    if (pthread_getname_np(pthread_self(), szName, sizeof(szName)) != 0) {
        return std::string();
    }
    return szName;
}
