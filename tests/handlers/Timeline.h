#pragma once
// A recording video module that also notes where each notification falls
// among the simulated ISP's calls, so a test can check the order of both.
#include <mutex>
#include <string>
#include <vector>

#include "ispsim/ispsim.h"
#include "support/RecordingVideoModule.h"

namespace tarnix_test {

class TimelineVideoModule : public RecordingVideoModule {
public:
    int notifySensorParam(int channel, int key, int value) const override {
        size_t nCalls = ispsim::calls().size();
        {
            std::lock_guard<std::mutex> lock(m_markMutex);
            m_marks.push_back(nCalls);
        }
        return RecordingVideoModule::notifySensorParam(channel, key, value);
    }

    // "isp <cmd> opt<opt> <first word>" and "video <channel> <key> <value>",
    // in the order they happened.
    std::vector<std::string> timeline() const {
        std::vector<ispsim::Call> calls = ispsim::calls();
        std::vector<Notification> notes = notifications();
        std::vector<size_t> marks;
        {
            std::lock_guard<std::mutex> lock(m_markMutex);
            marks = m_marks;
        }
        std::vector<std::string> out;
        size_t nCall = 0;
        for (size_t i = 0; i < notes.size() && i < marks.size(); ++i) {
            for (; nCall < marks[i] && nCall < calls.size(); ++nCall) {
                out.push_back(ispText(calls[nCall]));
            }
            out.push_back("video " + std::to_string(notes[i].channel) + " " + std::to_string(notes[i].key) +
                          " " + std::to_string(notes[i].value));
        }
        for (; nCall < calls.size(); ++nCall) {
            out.push_back(ispText(calls[nCall]));
        }
        return out;
    }

    static std::string ispText(const ispsim::Call& call) {
        std::string text = "isp " + std::to_string(call.cmd) + " opt" + std::to_string(call.opt);
        if (!call.data.empty()) {
            text += " " + std::to_string(static_cast<int32_t>(call.data[0]));
        }
        return text;
    }

private:
    mutable std::mutex m_markMutex;
    mutable std::vector<size_t> m_marks;
};

} // namespace tarnix_test
