// The activity log of a live channel.
#include "tools/sensorctl/serve/ActivityLog.h"

#include <sys/time.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <utility>

#include "platform/PXDeviceTime.h"
#include "platform/ia_ioctrl.h"
#include "tools/sensorctl/KeyNames.h"

namespace sensorctl {
namespace serve {

namespace {

// The capture of the request running on this thread, if any.
thread_local Capture* t_pCapture = nullptr;

// Distinct reads remembered for the repeat check; past this the memory
// starts again (a repeat is then shown once more).
constexpr size_t kMaxRememberedReads = 4096;
// Answer words shown per call (a range record has 69).
constexpr size_t kMaxAnswerWords = 16;

nlohmann::json signedWords(const std::vector<uint32_t>& p_vecWords, size_t p_nMax) {
    nlohmann::json words = nlohmann::json::array();
    for (size_t i = 0; i < p_vecWords.size() && i < p_nMax; ++i) {
        words.push_back(static_cast<int32_t>(p_vecWords[i]));
    }
    return words;
}

std::string hostTimeText() {
    struct timeval tv;
    ::gettimeofday(&tv, nullptr);
    struct tm local;
    time_t seconds = tv.tv_sec;
    ::localtime_r(&seconds, &local);
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<int>(tv.tv_usec / 1000));
    return szText;
}

} // namespace

std::string deviceClockText() {
    PXDateTime now = PXDeviceTime::getCurrentTime();
    char szText[16];
    std::snprintf(szText, sizeof(szText), "%02d:%02d", now.hour % 100, now.minute % 100);
    return szText;
}

ActivityLog::ActivityLog() = default;

ActivityLog::~ActivityLog() { detach(); }

void ActivityLog::attach() {
    ispsim::setCallObserver([this](const ispsim::Call& p_stCall, const std::vector<uint32_t>& p_vecBuffer) {
        onIspCall(p_stCall, p_vecBuffer);
    });
    m_bAttached = true;
}

void ActivityLog::detach() {
    if (m_bAttached) {
        ispsim::setCallObserver(nullptr);
        m_bAttached = false;
    }
}

ActivityLog::CaptureScope::CaptureScope(Capture& p_stCapture) : m_pPrevious(t_pCapture) { t_pCapture = &p_stCapture; }

ActivityLog::CaptureScope::~CaptureScope() { t_pCapture = m_pPrevious; }

nlohmann::json ActivityLog::callJson(const IspCallRecord& p_stCall) {
    const char* szName = ispCommandName(p_stCall.cmd);
    nlohmann::json call = {{"channel", p_stCall.channel},
                           {"cmd", p_stCall.cmd},
                           {"name", szName != nullptr ? szName : ""},
                           {"opt", ispOptionName(p_stCall.opt)},
                           {"result", p_stCall.result}};
    if (p_stCall.opt == IA_CMD_OPT_SET) {
        // What was sent; a set answers nothing.
        call["values"] = signedWords(p_stCall.data, kMaxAnswerWords);
    } else {
        // What the ISP answered (for a failed call, the buffer as it was).
        call["answer"] = signedWords(p_stCall.answer, kMaxAnswerWords);
    }
    if (std::max(p_stCall.data.size(), p_stCall.answer.size()) > kMaxAnswerWords) {
        call["words"] = std::max(p_stCall.data.size(), p_stCall.answer.size());
    }
    return call;
}

nlohmann::json ActivityLog::noteJson(const VideoNote& p_stNote) {
    const char* szName = keyName(static_cast<uint32_t>(p_stNote.key));
    return {{"channel", p_stNote.channel},
            {"key", p_stNote.key},
            {"name", szName != nullptr ? szName : ""},
            {"value", p_stNote.value}};
}

void ActivityLog::append(nlohmann::json p_objEntry, const std::string& p_strKind, const std::string& p_strBy) {
    // Called with m_mutex held.
    p_objEntry["seq"] = m_nNextSeq++;
    p_objEntry["kind"] = p_strKind;
    p_objEntry["by"] = p_strBy;
    p_objEntry["time"] = hostTimeText();
    p_objEntry["clock"] = deviceClockText();
    m_dequeEntries.push_back(std::move(p_objEntry));
    while (m_dequeEntries.size() > kCapacity) {
        m_dequeEntries.pop_front();
    }
}

void ActivityLog::onIspCall(const ispsim::Call& p_stCall, const std::vector<uint32_t>& p_vecBuffer) {
    IspCallRecord record;
    record.channel = p_stCall.channel;
    record.cmd = p_stCall.cmd;
    record.opt = p_stCall.opt;
    record.data = p_stCall.data;
    record.answer = p_vecBuffer;
    record.result = p_stCall.result;
    if (t_pCapture != nullptr) {
        t_pCapture->calls.push_back(std::move(record));
        return;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    if (record.opt != IA_CMD_OPT_SET) {
        ReadKey key{record.channel, record.cmd, record.opt};
        auto it = m_mapReads.find(key);
        if (it != m_mapReads.end() && it->second.answer == record.answer && it->second.result == record.result) {
            return;
        }
        if (m_mapReads.size() >= kMaxRememberedReads) {
            m_mapReads.clear();
        }
        m_mapReads[key] = ReadSeen{record.answer, record.result};
    }
    append({{"call", callJson(record)}}, "isp", "sensor thread");
}

void ActivityLog::onVideoNote(int p_nChannel, int p_nKey, int p_nValue) {
    VideoNote note{p_nChannel, p_nKey, p_nValue};
    if (t_pCapture != nullptr) {
        t_pCapture->notes.push_back(note);
        return;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    append({{"note", noteJson(note)}}, "video", "sensor thread");
}

void ActivityLog::addAction(const std::string& p_strAction, const std::string& p_strDetail,
                            const nlohmann::json& p_objResult, const Capture& p_stCapture, bool p_bRead) {
    std::string strDetail = p_strDetail.size() > kMaxDetail ? p_strDetail.substr(0, kMaxDetail) + "..." : p_strDetail;
    nlohmann::json entry = {{"action", p_strAction}, {"detail", strDetail}, {"result", p_objResult}};
    nlohmann::json calls = nlohmann::json::array();
    for (size_t i = 0; i < p_stCapture.calls.size() && i < kMaxEntryCalls; ++i) {
        calls.push_back(callJson(p_stCapture.calls[i]));
    }
    nlohmann::json notes = nlohmann::json::array();
    for (size_t i = 0; i < p_stCapture.notes.size() && i < kMaxEntryCalls; ++i) {
        notes.push_back(noteJson(p_stCapture.notes[i]));
    }
    entry["isp"] = std::move(calls);
    entry["video"] = std::move(notes);
    if (p_stCapture.calls.size() > kMaxEntryCalls) {
        entry["ispMore"] = p_stCapture.calls.size() - kMaxEntryCalls;
    }
    if (p_stCapture.notes.size() > kMaxEntryCalls) {
        entry["videoMore"] = p_stCapture.notes.size() - kMaxEntryCalls;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    append(std::move(entry), p_bRead ? "read" : "action", "host");
}

void ActivityLog::addSwitch(int p_nFrom, int p_nTo, const std::string& p_strBy) {
    std::lock_guard<std::mutex> lock(m_mutex);
    append({{"from", p_nFrom}, {"to", p_nTo}}, "switch", p_strBy);
}

nlohmann::json ActivityLog::since(uint64_t p_nSince) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    uint64_t nFirst = m_nNextSeq - m_dequeEntries.size();
    uint64_t nFrom = p_nSince < nFirst ? nFirst : p_nSince;
    nlohmann::json entries = nlohmann::json::array();
    uint64_t nNext = nFrom > m_nNextSeq ? m_nNextSeq : nFrom;
    for (uint64_t seq = nNext; seq < m_nNextSeq && entries.size() < kMaxRead; ++seq) {
        entries.push_back(m_dequeEntries[static_cast<size_t>(seq - nFirst)]);
        nNext = seq + 1;
    }
    return {{"entries", std::move(entries)}, {"next", nNext}, {"first", nFirst}};
}

uint64_t ActivityLog::nextSeq() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_nNextSeq;
}

int ActivityVideo::notifySensorParam(int channel, int key, int value) const {
    m_objLog.onVideoNote(channel, key, value);
    return 0;
}

} // namespace serve
} // namespace sensorctl
