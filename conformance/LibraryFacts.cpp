// The library's own declarations, read once: the key-command table through
// tarnix::keyCmdRowAt, the handlers through their member pointers, the
// limits and record layouts through the headers that define them.
#include "conformance/LibraryFacts.h"

#include <cstddef>
#include <cstring>

#include "config/sensor.h"
#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "controller/KeyCmdRows.h"
#include "handlers/ParamRange.h"
#include "handlers/ShutterList.h"
#include "platform/ia_ioctrl.h"
#include "storage/SensorFile.h"

namespace conformance {

namespace {

RowKind kindOf(const keycmd& p_stRow) {
    const KeyCmdHandler fun = p_stRow.fun;
    if (fun == nullptr || p_stRow.ia_cmd == 0 || fun == &ISensorController::doIaCmd_PanoTuning ||
        fun == &ISensorController::doIoCrtl || fun == &ISensorController::test_debugParam ||
        fun == &ISensorController::doFisheyeRotate) {
        return RowKind::NoIsp;
    }
    if (fun == &ISensorController::doIaCmd_User || fun == &ISensorController::doIaCmdShutter) {
        return RowKind::Momentary;
    }
    if (fun == &ISensorController::doDNThr) {
        return RowKind::DayNightThresholds;
    }
    if (fun == &ISensorController::doDNTime) {
        return RowKind::DayNightTimes;
    }
    return RowKind::Value;
}

std::vector<KeyRow> readRows() {
    std::vector<KeyRow> rows;
    const u32 nRows = tarnix::keyCmdRowCount();
    for (u32 i = 0; i < nRows; ++i) {
        keycmd row;
        if (!tarnix::keyCmdRowAt(i, row)) {
            break;
        }
        // The name field is not terminated when the name fills it.
        std::string name(row.szKeyName, strnlen(row.szKeyName, sizeof(row.szKeyName)));
        rows.push_back(KeyRow{row.key, row.ia_cmd, name, kindOf(row)});
    }
    return rows;
}

std::vector<TableCommand> collectCommands() {
    std::vector<TableCommand> commands;
    for (const KeyRow& row : keyRows()) {
        if (row.kind == RowKind::NoIsp) {
            continue;
        }
        TableCommand* pFound = nullptr;
        for (TableCommand& command : commands) {
            if (command.cmd == row.ispCmd) {
                pFound = &command;
            }
        }
        if (pFound == nullptr) {
            commands.push_back(TableCommand{row.ispCmd, row.kind, recordWords(row.kind), {}});
            pFound = &commands.back();
        }
        pFound->keys.push_back(row);
    }
    return commands;
}

} // namespace

const std::vector<KeyRow>& keyRows() {
    static const std::vector<KeyRow> s_vecRows = readRows();
    return s_vecRows;
}

const std::vector<TableCommand>& tableCommands() {
    static const std::vector<TableCommand> s_vecCommands = collectCommands();
    return s_vecCommands;
}

const TableCommand* tableCommand(uint32_t p_nCmd) {
    for (const TableCommand& command : tableCommands()) {
        if (command.cmd == p_nCmd) {
            return &command;
        }
    }
    return nullptr;
}

std::string keysOf(uint32_t p_nCmd) {
    std::string text;
    for (const KeyRow& row : keyRows()) {
        if (row.ispCmd == p_nCmd && row.kind != RowKind::NoIsp) {
            text += (text.empty() ? "" : ", ") + row.name + " (" + std::to_string(row.key) + ")";
        }
    }
    return text;
}

size_t recordWords(RowKind p_eKind) {
    switch (p_eKind) {
    case RowKind::DayNightThresholds:
        return sizeof(dn_thr_st) / sizeof(uint32_t);
    case RowKind::DayNightTimes:
        return sizeof(dn_time_st) / sizeof(uint32_t);
    default:
        return 1;
    }
}

size_t valueWordOf(uint32_t p_nCmd) {
    // doDNThr and doDNTime send the whole record and fill the key's own
    // field from the key.
    switch (p_nCmd) {
    case tarnix::keys::KEY_DTN_THR:
        return offsetof(dn_thr_st, d2n_thr) / sizeof(uint32_t);
    case tarnix::keys::KEY_NTD_THR:
        return offsetof(dn_thr_st, n2d_thr) / sizeof(uint32_t);
    case tarnix::keys::KEY_DN_SENSITIVITY:
        return offsetof(dn_thr_st, dn_sensitivity) / sizeof(uint32_t);
    case tarnix::keys::KEY_DTN_H:
        return offsetof(dn_time_st, d2n_hour) / sizeof(uint32_t);
    case tarnix::keys::KEY_DTN_M:
        return offsetof(dn_time_st, d2n_min) / sizeof(uint32_t);
    case tarnix::keys::KEY_NTD_H:
        return offsetof(dn_time_st, n2d_hour) / sizeof(uint32_t);
    case tarnix::keys::KEY_NTD_M:
        return offsetof(dn_time_st, n2d_min) / sizeof(uint32_t);
    default:
        return 0;
    }
}

size_t maxDynamicCommands() { return IA_DYNAMIC_CMD_MAX; }

size_t maxRangeItems() { return IA_DYNAMIC_ITEM_MAX; }

size_t shutterListMax() { return static_cast<size_t>(tarnix::kShutterListMax); }

size_t valueBufferWords() { return SNS_VALUE_BUFFER_WORDS; }

bool isRangeQueryable(uint32_t p_nCmd) { return tarnix::isRangeQueryable(static_cast<int>(p_nCmd)); }

size_t commandListWords() { return sizeof(ia_dynamic_cmd_list_st) / sizeof(uint32_t); }

size_t rangeRecordWords() { return sizeof(ia_dynamic_params_attr_st) / sizeof(uint32_t); }

const std::vector<DirectRead>& directReads() {
    static const std::vector<DirectRead> s_vecReads = {
        {IA_CMD_DN_STATE, 1, "one value", "the day/night scheme policy (getDNState)", {}},
        {IA_CMD_EXPOSURE_INFO, sizeof(ia_exposure_info_st) / sizeof(uint32_t), "ia_exposure_info_st",
         "getAutoExposureInfo", {}},
        {IA_CMD_CAMERA_VERSION, IA_VERSION_TEXT_LEN / sizeof(uint32_t), "the version text", "getCameraVerInf", {}},
        // SensorCheck reads when the host's second number is 2.
        {IA_CMD_SYNC_CHECK, sizeof(ia_sync_check_st) / sizeof(uint32_t), "ia_sync_check_st", "SensorCheck",
         {0, 2, 0, 0}},
        {IA_CMD_WDR_MODE, 1, "one value", "getWDR", {}},
        {IA_CMD_IRIS_POSITION, 1, "one value", "getIrisValue", {}},
        {IA_CMD_IR_SWITCH, 1, "one value", "getIRSwitch and setWhiteSwitch", {}},
        {IA_CMD_WHITE_SWITCH, 1, "one value", "getWhiteSwitch and setIRSwitch", {}},
        {IA_CMD_WHITE_MODE, 1, "one value", "getWhiteMode", {}},
        {IA_CMD_LIGHT_TYPE, 1, "one value", "getLightType", {}},
        {IA_CMD_AUTO_FOCUS_MODE, 1, "one value", "getFocusMode", {}},
        {IA_CMD_MF_POSITION, 1, "one value", "getFocusValue", {}},
        {IA_CMD_MZ_POSITION, 1, "one value", "getZoomValue", {}},
        {IA_CMD_FOCUS_VALUE, 1, "one value", "getFocus", {}},
        {IA_CMD_HEAT_STATUS, 1, "one value", "getHeatStatus", {}},
        {IA_CMD_TEMP_VALUE, 1, "one value", "getTempValue", {}},
        {IA_CMD_AF_STATISTIC, 1, "one value", "getAFStatistic", {}},
        {IA_CMD_MAX_SHUTTER, 1, "one value", "shutter stepping (getShutterValue, shutterUp, shutterDown)", {}},
    };
    return s_vecReads;
}

uint32_t shutterCommand() { return IA_CMD_MAX_SHUTTER; }

uint32_t dayNightCommand() { return IA_CMD_DN_STATE; }

uint32_t commandListCommand() { return IA_CMD_DYNAMIC_PARAMS_CMDS_GET; }

bool isMotorPosition(uint32_t p_nCmd) {
    return p_nCmd == IA_CMD_MF_POSITION || p_nCmd == IA_CMD_MZ_POSITION || p_nCmd == IA_CMD_IRIS_POSITION;
}

const char* schemeDirectory() { return SENSOR_CONFIG_DIR; }

const char* machineInfoFile() { return SENSOR_MACHINEINFO_FILE; }

const char* moduleConfigFile() { return SENSOR_MODULECONFIG_FILE; }

} // namespace conformance
