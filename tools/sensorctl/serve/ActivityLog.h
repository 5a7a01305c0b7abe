#pragma once
// What a live channel did, as the settings page shows it: the ISP calls (from
// the simulated ISP), the video notifications, the scheme switches and the
// host's actions, each numbered and stamped with the host's time and the
// device clock. A host request collects the calls and notifications made on
// its own thread into one action entry; everything else (the sensor thread)
// gets entries of its own.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "ispsim/ispsim.h"
#include "tools/sensorctl/Device.h"

namespace sensorctl {
namespace serve {

struct IspCallRecord {
    int channel = 0;
    unsigned int cmd = 0;
    unsigned int opt = 0;
    std::vector<uint32_t> data;     // the buffer as passed in
    std::vector<uint32_t> answer;   // the buffer as the ISP left it
    int result = 0;
};

struct VideoNote {
    int channel = 0;
    int key = 0;
    int value = 0;
};

// The calls and notifications one request caused on its thread.
struct Capture {
    std::vector<IspCallRecord> calls;
    std::vector<VideoNote> notes;
};

class ActivityLog {
public:
    // Entries kept; older ones are dropped first.
    static constexpr size_t kCapacity = 5000;
    // What one action entry keeps: its detail text, its ISP calls and its
    // notifications (the request's own answer has them all).
    static constexpr size_t kMaxDetail = 256;
    static constexpr size_t kMaxEntryCalls = 100;
    // Entries one read of the log returns at most.
    static constexpr size_t kMaxRead = 2000;

    ActivityLog();
    ~ActivityLog();
    ActivityLog(const ActivityLog&) = delete;
    ActivityLog& operator=(const ActivityLog&) = delete;

    // Becomes the simulated ISP's call observer (until detach or destruction).
    void attach();
    void detach();

    // While a scope is alive, the ISP calls and notifications of its thread
    // go into the capture instead of the log.
    class CaptureScope {
    public:
        explicit CaptureScope(Capture& p_stCapture);
        ~CaptureScope();
        CaptureScope(const CaptureScope&) = delete;
        CaptureScope& operator=(const CaptureScope&) = delete;

    private:
        Capture* m_pPrevious;
    };

    // A host action and what it caused. p_bRead marks requests that only
    // read (the page hides them unless asked).
    void addAction(const std::string& p_strAction, const std::string& p_strDetail, const nlohmann::json& p_objResult,
                   const Capture& p_stCapture, bool p_bRead = false);
    // A change of the current scheme; p_strBy: "sensor thread" or "host".
    void addSwitch(int p_nFrom, int p_nTo, const std::string& p_strBy);

    // Entries from sequence number p_nSince on (at most kMaxRead):
    // {"entries": [...], "next": N, "first": F}.
    nlohmann::json since(uint64_t p_nSince) const;
    uint64_t nextSeq() const;

    // Hooks: the simulated ISP's observer and the video module.
    void onIspCall(const ispsim::Call& p_stCall, const std::vector<uint32_t>& p_vecBuffer);
    void onVideoNote(int p_nChannel, int p_nKey, int p_nValue);

    static nlohmann::json callJson(const IspCallRecord& p_stCall);
    static nlohmann::json noteJson(const VideoNote& p_stNote);

private:
    struct ReadKey {
        int channel;
        unsigned int cmd;
        unsigned int opt;
        bool operator<(const ReadKey& o) const {
            return channel != o.channel ? channel < o.channel : cmd != o.cmd ? cmd < o.cmd : opt < o.opt;
        }
    };
    struct ReadSeen {
        std::vector<uint32_t> answer;
        int result;
    };

    void append(nlohmann::json p_objEntry, const std::string& p_strKind, const std::string& p_strBy);

    mutable std::mutex m_mutex;
    std::deque<nlohmann::json> m_dequeEntries;
    uint64_t m_nNextSeq = 0;
    // Last answer of each read made outside a request: a read that answers
    // the same again (the sensor thread's once-a-pass reads) is not repeated.
    std::map<ReadKey, ReadSeen> m_mapReads;
    bool m_bAttached = false;
};

// sensorctl's video module with its notifications going to an activity log.
class ActivityVideo : public RecordingVideo {
public:
    explicit ActivityVideo(ActivityLog& p_objLog) : m_objLog(p_objLog) {}
    int notifySensorParam(int channel, int key, int value) const override;

private:
    ActivityLog& m_objLog;
};

// "HH:MM" of the device clock (the fixed clock when one is set).
std::string deviceClockText();

} // namespace serve
} // namespace sensorctl
