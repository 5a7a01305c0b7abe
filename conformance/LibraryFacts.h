#pragma once
// What the library needs of the ISP, taken from the library's own
// declarations: the key-command table (which command each key drives and
// through which handler), the record layouts and limits of ia_ioctrl.h, the
// shutter list and the range query. This is the one place of the checks that
// reads the library itself.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace conformance {

// How a table row uses its ISP command.
enum class RowKind {
    Value,               // one 32-bit value, set and read (doIaCmd and the composite handlers)
    Momentary,           // an action, never replayed in bulk (doIaCmd_User, doIaCmdShutter)
    DayNightThresholds,  // the record dn_thr_st (doDNThr)
    DayNightTimes,       // the record dn_time_st (doDNTime)
    NoIsp,               // handled without the ISP, or only stored
};

struct KeyRow {
    uint32_t key;
    uint32_t ispCmd;
    std::string name;
    RowKind kind;
};

// An ISP command the table drives, with every key that drives it.
struct TableCommand {
    uint32_t cmd;
    RowKind kind;
    size_t words;              // words of the record a set or read moves
    std::vector<KeyRow> keys;  // in table order
};

// Every row of the key-command table, in table order.
const std::vector<KeyRow>& keyRows();
// The commands of the rows that reach the ISP, each once, in table order.
const std::vector<TableCommand>& tableCommands();
// The table command cmd, nullptr when no row drives it.
const TableCommand* tableCommand(uint32_t p_nCmd);
// "KEY_BRIGHTNESS (34)" for each key that drives cmd, joined by ", "; ""
// when no key does.
std::string keysOf(uint32_t p_nCmd);

// Words of the record a row kind moves.
size_t recordWords(RowKind p_eKind);
// The word of a command's record that carries its key's own value: the
// field doDNThr and doDNTime fill from the key; 0 for one-value commands.
size_t valueWordOf(uint32_t p_nCmd);

// Limits the library holds the ISP to.
size_t maxDynamicCommands();   // entries of the dynamic command list (IA_DYNAMIC_CMD_MAX)
size_t maxRangeItems();        // values of a range record (IA_DYNAMIC_ITEM_MAX)
size_t shutterListMax();       // shutter values the shutter stepping uses
size_t valueBufferWords();     // words of a handler's value buffer
bool isRangeQueryable(uint32_t p_nCmd);   // getSensorParamRange accepts it

// Words of the dynamic command list and of a range record.
size_t commandListWords();
size_t rangeRecordWords();

// A read the library makes outside the key table, with the buffer it
// passes and the feature that depends on it.
struct DirectRead {
    uint32_t cmd;
    size_t words;
    const char* record;   // layout name, for messages
    const char* use;      // library feature
    std::vector<uint32_t> input;   // words the library presets in the buffer
};
const std::vector<DirectRead>& directReads();

// The shutter command (KEY_MAX_SHUTTER), the day/night state and the
// dynamic command list.
uint32_t shutterCommand();
uint32_t dayNightCommand();
uint32_t commandListCommand();
// Motor positions (focus, zoom, iris): a set moves a motor, and a read gives
// where the motor is on its way. Checks that move values back and forth
// leave them alone.
bool isMotorPosition(uint32_t p_nCmd);

// Device files the library reads and writes through the platform.
const char* schemeDirectory();
const char* machineInfoFile();
const char* moduleConfigFile();

} // namespace conformance
