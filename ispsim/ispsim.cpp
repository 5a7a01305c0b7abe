// State and API of the simulated ISP, and the ia_ioctrl_v2 entry point that
// the library calls on a development host.
#include "ispsim/ispsim.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <deque>
#include <map>
#include <utility>
#include <mutex>
#include <thread>

#include "ispsim/IspSimInternal.h"
#include "platform/ia_ioctrl.h"

namespace ispsim {
namespace internal {

const char* const kDefaultVersion = "ISPSIM 1.0";

namespace {

// A failure injected with setFailure; channel or opt -1 match any.
struct Failure {
    int nChannel;
    uint32_t nCmd;
    int nOpt;
    int nResult;
};

struct Simulator {
    std::mutex mutex;
    std::map<int, ChannelState> mapChannels;
    std::vector<Failure> vecFailures;
    std::deque<Call> dequeCalls;
    GlobalDefects defects;
    ispsim::CallObserver observer;
};

Simulator& sim() {
    // Never destroyed: the library's threads may still call in while the
    // process exits.
    static Simulator* s_pSim = new Simulator();
    return *s_pSim;
}

// The failure that applies to a call, nullptr when none. A more specific
// entry wins: exact channel before any channel, exact option before any.
const Failure* findFailure(const Simulator& p_stSim, int p_nChannel, uint32_t p_nCmd, unsigned int p_nOpt) {
    const Failure* best = nullptr;
    int bestScore = -1;
    for (const Failure& failure : p_stSim.vecFailures) {
        if (failure.nCmd != p_nCmd) {
            continue;
        }
        bool channelExact = failure.nChannel == p_nChannel;
        bool optExact = failure.nOpt >= 0 && static_cast<unsigned int>(failure.nOpt) == p_nOpt;
        if (!(channelExact || failure.nChannel == -1) || !(optExact || failure.nOpt == -1)) {
            continue;
        }
        int score = (channelExact ? 2 : 0) + (optExact ? 1 : 0);
        if (score > bestScore) {
            best = &failure;
            bestScore = score;
        }
    }
    return best;
}

void appendCall(Simulator& p_stSim, Call&& p_stCall) {
    p_stSim.dequeCalls.push_back(std::move(p_stCall));
    while (p_stSim.dequeCalls.size() > kMaxLoggedCalls) {
        p_stSim.dequeCalls.pop_front();
    }
}

// Words a seeded overrun writes past a record: this value plus the word's
// index, so that a reader of the damage can tell where it came from.
const uint32_t kOverrunPattern = 0x0BAD0000u;

// Carries out a call on the state of channel p_nChannel with the channel's
// seeded delays: a delayed call sleeps with the lock released, and on a busy
// channel a second call arriving meanwhile fails with kBusyResult.
int runOnChannel(Simulator& p_stSim, std::unique_lock<std::mutex>& p_objLock, int p_nChannel, uint32_t p_nCmd,
                 unsigned int p_nOpt, std::vector<uint32_t>& p_vecWords, bool& p_bWrite, uint32_t& p_nOverrun) {
    ChannelState* pState = &p_stSim.mapChannels[p_nChannel];
    auto delay = pState->defects.mapDelayMicros.find(p_nCmd);
    const uint32_t nDelay = delay == pState->defects.mapDelayMicros.end() ? 0u : delay->second;
    const uint32_t nBusy = pState->defects.nBusyMicros;
    if (nBusy > 0) {
        if (pState->bInCall) {
            p_bWrite = false;
            return kBusyResult;
        }
        pState->bInCall = true;
    }
    if (nDelay > 0 || nBusy > 0) {
        p_objLock.unlock();
        std::this_thread::sleep_for(std::chrono::microseconds(static_cast<uint64_t>(nDelay) + nBusy));
        p_objLock.lock();
        // reset() may have replaced the channel's state meanwhile.
        pState = &p_stSim.mapChannels[p_nChannel];
        pState->bInCall = false;
    }
    int nResult = execute(*pState, p_nCmd, p_nOpt, p_vecWords, p_bWrite);
    p_nOverrun = 0;
    if (p_bWrite) {
        auto overrun = pState->defects.mapOverrun.find(std::make_pair(p_nCmd, p_nOpt));
        if (overrun != pState->defects.mapOverrun.end()) {
            p_nOverrun = overrun->second;
        }
    }
    return nResult;
}

} // namespace

void editChannel(int p_nChannel, const std::function<void(ChannelState&)>& p_fnEdit) {
    if (p_nChannel < 0) {
        return;
    }
    Simulator& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    p_fnEdit(s.mapChannels[p_nChannel]);
}

void editDefects(const std::function<void(GlobalDefects&)>& p_fnEdit) {
    Simulator& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    p_fnEdit(s.defects);
}

void setRecord(int p_nChannel, uint32_t p_nCmd, const std::vector<uint32_t>& p_vecWords) {
    if (p_nChannel < 0) {
        return;
    }
    Simulator& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.mapChannels[p_nChannel].mapValues[p_nCmd] = p_vecWords;
}

void setVersion(int p_nChannel, const std::string& p_strText) {
    if (p_nChannel < 0) {
        return;
    }
    Simulator& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.mapChannels[p_nChannel].strVersion = p_strText;
}

void setStatus(int p_nChannel, uint32_t p_nCmd, uint32_t p_nStatus) {
    if (p_nChannel < 0) {
        return;
    }
    Simulator& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.mapChannels[p_nChannel].mapStatus[p_nCmd] = p_nStatus;
}

} // namespace internal

using internal::sim;

void reset() {
    auto& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.mapChannels.clear();
    s.vecFailures.clear();
    s.dequeCalls.clear();
    s.defects = internal::GlobalDefects();
}

void setValue(int channel, unsigned int cmd, uint32_t value) {
    if (channel < 0) {
        return;
    }
    auto& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.mapChannels[channel].mapValues[cmd] = {value};
}

bool getValue(int channel, unsigned int cmd, uint32_t& value) {
    auto& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto channelIt = s.mapChannels.find(channel);
    if (channelIt == s.mapChannels.end()) {
        return false;
    }
    auto it = channelIt->second.mapValues.find(cmd);
    if (it == channelIt->second.mapValues.end() || it->second.empty()) {
        return false;
    }
    value = it->second[0];
    return true;
}

void setDynamicParam(int channel, unsigned int cmd, int32_t defaultValue, const std::vector<int32_t>& items,
                     int32_t type) {
    if (channel < 0) {
        return;
    }
    auto& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    internal::ChannelState& state = s.mapChannels[channel];
    internal::DynamicParam param;
    param.nDefault = defaultValue;
    param.nType = type;
    size_t count = std::min(items.size(), static_cast<size_t>(IA_DYNAMIC_ITEM_MAX));
    param.vecItems.assign(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(count));
    if (state.mapDynamic.find(cmd) == state.mapDynamic.end()) {
        state.vecDynamicOrder.push_back(cmd);
    }
    state.mapDynamic[cmd] = std::move(param);
}

void setFailure(int channel, unsigned int cmd, int opt, int result) {
    auto& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto& failures = s.vecFailures;
    auto same = [&](const internal::Failure& f) { return f.nChannel == channel && f.nCmd == cmd && f.nOpt == opt; };
    failures.erase(std::remove_if(failures.begin(), failures.end(), same), failures.end());
    if (result != 0) {
        failures.push_back(internal::Failure{channel, cmd, opt, result});
    }
}

void clearFailures() {
    auto& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.vecFailures.clear();
}

std::vector<Call> calls() {
    auto& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    return std::vector<Call>(s.dequeCalls.begin(), s.dequeCalls.end());
}

void clearCalls() {
    auto& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.dequeCalls.clear();
}

void setCallObserver(CallObserver observer) {
    auto& s = sim();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.observer = std::move(observer);
}

} // namespace ispsim

extern "C" int ia_ioctrl_v2(int channel, ia_cmd_e cmd, unsigned int opt, void* data) {
    using namespace ispsim::internal;
    const uint32_t command = static_cast<uint32_t>(cmd);
    Simulator& s = sim();
    std::unique_lock<std::mutex> lock(s.mutex);

    ispsim::Call call{channel, command, opt, {}, -1, {}};
    if (data == nullptr) {
        if (s.observer) {
            s.observer(call, call.data);
        }
        appendCall(s, std::move(call));
        return -1;
    }

    // The buffer as the caller passed it, before anything is written.
    std::vector<uint32_t> words(bufferWords(command, opt));
    std::memcpy(words.data(), data, words.size() * sizeof(uint32_t));
    call.data = words;

    int result = -1;
    bool write = false;
    uint32_t overrun = 0;
    if (channel >= 0) {
        if (const Failure* failure = findFailure(s, channel, command, opt)) {
            result = failure->nResult;
        } else if (command > kLastCommand && !s.defects.bAcceptUnknown) {
            result = -1;
        } else {
            const int state = s.defects.bSharedChannels ? 0 : channel;
            result = runOnChannel(s, lock, state, command, opt, words, write, overrun);
        }
    }
    if (write) {
        std::memcpy(data, words.data(), words.size() * sizeof(uint32_t));
        // A seeded overrun really writes past the record, as a faulty ISP
        // would: only a caller with guard words behind its buffer survives.
        uint32_t* pPast = static_cast<uint32_t*>(data) + words.size();
        for (uint32_t i = 0; i < overrun; ++i) {
            pPast[i] = kOverrunPattern + i;
        }
        call.answer = words;
    }
    call.result = result;
    if (s.observer) {
        s.observer(call, write ? words : call.data);
    }
    appendCall(s, std::move(call));
    return result;
}
