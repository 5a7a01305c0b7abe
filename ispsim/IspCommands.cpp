// Per-command behaviour of the simulated ISP: how large each command's
// buffer is and what a set, get, range, correct or status call does with it.
#include <algorithm>
#include <cstring>

#include "ispsim/IspSimInternal.h"
#include "platform/ia_ioctrl.h"

namespace ispsim {
namespace internal {

namespace {

constexpr uint32_t kCmdDtnThr = 145;
constexpr uint32_t kCmdNtdThr = 146;
constexpr uint32_t kCmdDtnHour = 149; // 150 and 151 lie between the two
constexpr uint32_t kCmdNtdMin = 152;
constexpr uint32_t kCmdDnSensitivity = 154;

constexpr size_t kThrWords = sizeof(dn_thr_st) / sizeof(uint32_t);
constexpr size_t kTimeWords = sizeof(dn_time_st) / sizeof(uint32_t);
constexpr size_t kSyncWords = sizeof(ia_sync_check_st) / sizeof(uint32_t);
constexpr size_t kIrLedWords = sizeof(ia_ir_led_info_st) / sizeof(uint32_t);
constexpr size_t kExposureWords = sizeof(ia_exposure_info_st) / sizeof(uint32_t);
constexpr size_t kVersionWords = IA_VERSION_TEXT_LEN / sizeof(uint32_t);
constexpr size_t kCmdListWords = sizeof(ia_dynamic_cmd_list_st) / sizeof(uint32_t);
constexpr size_t kRangeWords = sizeof(ia_dynamic_params_attr_st) / sizeof(uint32_t);

static_assert(kThrWords == 3 && kTimeWords == 4 && kSyncWords == 4 && kIrLedWords == 4, "record layouts");
static_assert(kExposureWords == 3 && kVersionWords == 14, "record layouts");
static_assert(kCmdListWords == 17 && kRangeWords == 69, "record layouts");

bool isThrCmd(uint32_t p_nCmd) {
    return p_nCmd == kCmdDtnThr || p_nCmd == kCmdNtdThr || p_nCmd == kCmdDnSensitivity;
}

bool isTimeCmd(uint32_t p_nCmd) { return p_nCmd >= kCmdDtnHour && p_nCmd <= kCmdNtdMin; }

// First stored word of a command. A command never set holds its power-on
// value: the default of its dynamic range when it has one, else 0.
uint32_t storedWord(const ChannelState& p_stChannel, uint32_t p_nCmd) {
    auto it = p_stChannel.mapValues.find(p_nCmd);
    if (it == p_stChannel.mapValues.end() || it->second.empty()) {
        auto dyn = p_stChannel.mapDynamic.find(p_nCmd);
        return dyn == p_stChannel.mapDynamic.end() ? 0u : static_cast<uint32_t>(dyn->second.nDefault);
    }
    return it->second[0];
}

// The stored record of a command, padded with zeros (or cut) to p_nWords.
void storedRecord(const ChannelState& p_stChannel, uint32_t p_nCmd, std::vector<uint32_t>& p_vecOut,
                  size_t p_nWords) {
    std::fill(p_vecOut.begin(), p_vecOut.end(), 0u);
    auto it = p_stChannel.mapValues.find(p_nCmd);
    if (it == p_stChannel.mapValues.end()) {
        return;
    }
    size_t count = std::min({it->second.size(), p_nWords, p_vecOut.size()});
    std::copy(it->second.begin(), it->second.begin() + static_cast<std::ptrdiff_t>(count), p_vecOut.begin());
}

int doSet(ChannelState& p_stChannel, uint32_t p_nCmd, const std::vector<uint32_t>& p_vecWords) {
    if (p_stChannel.defects.setIgnoredSets.count(p_nCmd) != 0) {
        return 0;
    }
    auto& values = p_stChannel.mapValues;
    if (p_nCmd == kCmdDtnThr || p_nCmd == kCmdNtdThr) {
        values[kCmdDtnThr] = {p_vecWords[0]};
        values[kCmdNtdThr] = {p_vecWords[1]};
    } else if (p_nCmd == kCmdDnSensitivity) {
        values[kCmdDnSensitivity] = {p_vecWords[2]};
    } else if (isTimeCmd(p_nCmd)) {
        for (uint32_t i = 0; i < kTimeWords; ++i) {
            values[kCmdDtnHour + i] = {p_vecWords[i]};
        }
    } else if (p_nCmd == IA_CMD_SYNC_CHECK || p_nCmd == IA_CMD_IR_LED_INFO) {
        values[p_nCmd] = p_vecWords;
    } else {
        values[p_nCmd] = {p_vecWords[0]};
    }
    return 0;
}

int doGet(const ChannelState& p_stChannel, uint32_t p_nCmd, std::vector<uint32_t>& p_vecWords) {
    if (isThrCmd(p_nCmd)) {
        p_vecWords[0] = storedWord(p_stChannel, kCmdDtnThr);
        p_vecWords[1] = storedWord(p_stChannel, kCmdNtdThr);
        p_vecWords[2] = storedWord(p_stChannel, kCmdDnSensitivity);
    } else if (isTimeCmd(p_nCmd)) {
        for (uint32_t i = 0; i < kTimeWords; ++i) {
            p_vecWords[i] = storedWord(p_stChannel, kCmdDtnHour + i);
        }
    } else if (p_nCmd == IA_CMD_EXPOSURE_INFO) {
        storedRecord(p_stChannel, p_nCmd, p_vecWords, kExposureWords);
    } else if (p_nCmd == IA_CMD_IR_LED_INFO) {
        storedRecord(p_stChannel, p_nCmd, p_vecWords, kIrLedWords);
    } else if (p_nCmd == IA_CMD_CAMERA_VERSION) {
        // Zero-filled text buffer; the text keeps at least one closing zero.
        unsigned char text[IA_VERSION_TEXT_LEN] = {};
        size_t len = std::min(p_stChannel.strVersion.size(), static_cast<size_t>(IA_VERSION_TEXT_LEN - 1));
        std::memcpy(text, p_stChannel.strVersion.data(), len);
        std::memcpy(p_vecWords.data(), text, sizeof(text));
    } else if (p_nCmd == IA_CMD_SYNC_CHECK) {
        // Field-of-view check: the answer is the stored value of command a.
        p_vecWords[3] = storedWord(p_stChannel, p_vecWords[0]);
    } else if (p_nCmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET) {
        std::fill(p_vecWords.begin(), p_vecWords.end(), 0u);
        size_t count = std::min(p_stChannel.vecDynamicOrder.size(), static_cast<size_t>(IA_DYNAMIC_CMD_MAX));
        // An uncapped list counts every command but has room for 16 only.
        p_vecWords[0] = static_cast<uint32_t>(p_stChannel.defects.bUncappedList ? p_stChannel.vecDynamicOrder.size()
                                                                                : count);
        for (size_t i = 0; i < count; ++i) {
            p_vecWords[1 + i] = p_stChannel.vecDynamicOrder[i];
        }
    } else {
        p_vecWords[0] = storedWord(p_stChannel, p_nCmd);
    }
    return 0;
}

int doRange(const ChannelState& p_stChannel, uint32_t p_nCmd, std::vector<uint32_t>& p_vecWords) {
    auto it = p_stChannel.mapDynamic.find(p_nCmd);
    if (it == p_stChannel.mapDynamic.end()) {
        return -1;
    }
    const DynamicParam& param = it->second;
    ia_dynamic_params_attr_st record;
    std::memset(&record, 0, sizeof(record));
    record.attr = param.nType;
    record.def_val = param.nDefault;
    if (!param.vecItems.empty()) {
        record.min_val = *std::min_element(param.vecItems.begin(), param.vecItems.end());
        record.max_val = *std::max_element(param.vecItems.begin(), param.vecItems.end());
    }
    if (param.bHasMin) {
        record.min_val = param.nMin;
    }
    if (param.bHasMax) {
        record.max_val = param.nMax;
    }
    size_t count = std::min(param.vecItems.size(), static_cast<size_t>(IA_DYNAMIC_ITEM_MAX));
    record.items_cnt = static_cast<int32_t>(count);
    for (size_t i = 0; i < count; ++i) {
        record.item[i] = param.vecItems[i];
    }
    auto forced = p_stChannel.defects.mapItemsCount.find(p_nCmd);
    if (forced != p_stChannel.defects.mapItemsCount.end()) {
        record.items_cnt = forced->second;
    }
    std::memcpy(p_vecWords.data(), &record, sizeof(record));
    return 0;
}

} // namespace

size_t bufferWords(uint32_t p_nCmd, unsigned int p_nOpt) {
    switch (p_nOpt) {
    case IA_CMD_OPT_SET:
        if (isThrCmd(p_nCmd)) {
            return kThrWords;
        }
        if (isTimeCmd(p_nCmd)) {
            return kTimeWords;
        }
        if (p_nCmd == IA_CMD_SYNC_CHECK) {
            return kSyncWords;
        }
        if (p_nCmd == IA_CMD_IR_LED_INFO) {
            return kIrLedWords;
        }
        return 1;
    case IA_CMD_OPT_GET:
        if (isThrCmd(p_nCmd)) {
            return kThrWords;
        }
        if (isTimeCmd(p_nCmd)) {
            return kTimeWords;
        }
        switch (p_nCmd) {
        case IA_CMD_EXPOSURE_INFO:
            return kExposureWords;
        case IA_CMD_IR_LED_INFO:
            return kIrLedWords;
        case IA_CMD_CAMERA_VERSION:
            return kVersionWords;
        case IA_CMD_SYNC_CHECK:
            return kSyncWords;
        case IA_CMD_DYNAMIC_PARAMS_CMDS_GET:
            return kCmdListWords;
        default:
            return 1;
        }
    case IA_CMD_OPT_GET_PARAM_RNAGE:
        return kRangeWords;
    default:
        return 1;
    }
}

int32_t nearestItem(const std::vector<int32_t>& p_vecItems, int32_t p_nValue) {
    int32_t best = p_vecItems.front();
    int64_t bestDistance = -1;
    for (int32_t item : p_vecItems) {
        int64_t distance = static_cast<int64_t>(item) - static_cast<int64_t>(p_nValue);
        if (distance < 0) {
            distance = -distance;
        }
        if (bestDistance < 0 || distance < bestDistance || (distance == bestDistance && item < best)) {
            best = item;
            bestDistance = distance;
        }
    }
    return best;
}

int execute(ChannelState& p_stChannel, uint32_t p_nCmd, unsigned int p_nOpt, std::vector<uint32_t>& p_vecWords,
            bool& p_bWrite) {
    p_bWrite = false;
    if (p_vecWords.size() < bufferWords(p_nCmd, p_nOpt)) {
        return -1;
    }
    switch (p_nOpt) {
    case IA_CMD_OPT_SET:
        return doSet(p_stChannel, p_nCmd, p_vecWords);
    case IA_CMD_OPT_GET:
        p_bWrite = true;
        return doGet(p_stChannel, p_nCmd, p_vecWords);
    case IA_CMD_OPT_GET_PARAM_RNAGE: {
        int result = doRange(p_stChannel, p_nCmd, p_vecWords);
        p_bWrite = (result == 0);
        return result;
    }
    case IA_CMD_OPT_CORRECT_PARAM: {
        auto forced = p_stChannel.defects.mapCorrectTo.find(p_nCmd);
        if (forced != p_stChannel.defects.mapCorrectTo.end()) {
            p_vecWords[0] = static_cast<uint32_t>(forced->second);
            p_bWrite = true;
            return 0;
        }
        auto it = p_stChannel.mapDynamic.find(p_nCmd);
        if (it != p_stChannel.mapDynamic.end() && !it->second.vecItems.empty()) {
            int32_t value = static_cast<int32_t>(p_vecWords[0]);
            p_vecWords[0] = static_cast<uint32_t>(nearestItem(it->second.vecItems, value));
            p_bWrite = true;
        }
        return 0;
    }
    case IA_CMD_OPT_GET_STATUS: {
        auto it = p_stChannel.mapStatus.find(p_nCmd);
        p_vecWords[0] = (it == p_stChannel.mapStatus.end()) ? 0u : it->second;
        p_bWrite = true;
        return 0;
    }
    default:
        return -1;
    }
}

} // namespace internal
} // namespace ispsim
