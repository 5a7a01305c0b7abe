// The key-command table: one row per image key, giving the ISP command the
// key drives, its handler and the key's and handler's names for traces.
#define SNS_SOURCE_FILE "ISensorController.cpp"
#include <cstdlib>
#include <cstring>

#include "controller/ISensorController.h"
#include "controller/KeyCatalogue.h"
#include "controller/KeyCmdRows.h"
#include "controller/SensorDebug.h"

namespace {

struct KeyCmdRowDef {
    u32 key;
    u32 ia_cmd;
    KeyCmdHandler fun;
    const char* szKeyName;
    const char* szFuncName;
};

// The rows in catalogue order; the handler text is the member's name.
#define KC_ROW(name, key, cmd, handler) {key, cmd, &ISensorController::handler, #name, "&ISensorController::" #handler},
#define KC_STORED(name, key) {key, 0, nullptr, #name, "NULL"},
const KeyCmdRowDef kKeyCmdRows[] = {TARNIX_KEY_CATALOGUE(KC_ROW, KC_STORED)};
#undef KC_ROW
#undef KC_STORED
static_assert(sizeof(kKeyCmdRows) / sizeof(kKeyCmdRows[0]) == KEYCMD_ROWS, "one table row per catalogue row");

} // namespace

namespace tarnix {

u32 keyCmdRowCount() { return KEYCMD_ROWS; }

bool keyCmdRowAt(u32 index, keycmd& out) {
    if (index >= KEYCMD_ROWS) {
        return false;
    }
    const KeyCmdRowDef& def = kKeyCmdRows[index];
    std::memset(&out, 0, sizeof(out));
    out.key = def.key;
    out.ia_cmd = def.ia_cmd;
    out.fun = def.fun;
    // The name field keeps the first 32 characters only; a longer name
    // fills it without a terminator and runs on into the handler name
    // when read as a C string. Traces of those keys show exactly that.
    size_t nameLen = std::strlen(def.szKeyName);
    std::memcpy(out.szKeyName, def.szKeyName, nameLen < KEYCMD_NAME_LEN ? nameLen : KEYCMD_NAME_LEN);
    size_t funcLen = std::strlen(def.szFuncName);
    std::memcpy(out.szFuncName, def.szFuncName, funcLen < KEYCMD_FUNC_LEN - 1 ? funcLen : KEYCMD_FUNC_LEN - 1);
    return true;
}

} // namespace tarnix

void ISensorController::initKeyCmdMap() {
    if (m_pKeyCmdMap != nullptr) {
        std::free(m_pKeyCmdMap);
    }
    m_nKeyCmdSum = KEYCMD_CAPACITY;
    m_pKeyCmdMap = static_cast<keycmd*>(std::calloc(m_nKeyCmdSum, sizeof(keycmd)));
    if (m_pKeyCmdMap == nullptr) {
        m_nKeyCmdSum = 0;
        return;
    }
    for (u32 i = 0; i < KEYCMD_ROWS; ++i) {
        tarnix::keyCmdRowAt(i, m_pKeyCmdMap[i]);
    }
    m_nKeyCmdSum = KEYCMD_ROWS;
}

int ISensorController::findFromKeyCmdMap(const keycmd* table, unsigned int key, keycmd& out) {
    if (table != nullptr) {
        for (u32 i = 0; i < m_nKeyCmdSum; ++i) {
            if (table[i].key == key) {
                out = table[i];
                return static_cast<int>(i);
            }
        }
    }
    SENSOR_LINE(5, 0, "cand not find key-cmd while key=%d\n", key);
    return -1;
}
