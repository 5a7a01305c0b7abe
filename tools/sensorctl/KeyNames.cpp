// Names of the controller's image keys, in the order of its key-command
// table, and of the ISP commands that no key drives. Both lists come from
// the library's own declarations: the key catalogue and the ISP command list.
#include "tools/sensorctl/KeyNames.h"

#include "controller/KeyCatalogue.h"
#include "platform/ia_ioctrl.h"

namespace sensorctl {

namespace {

// Key id, ISP command, full name. Keys that are only stored drive no command.
#define SENSORCTL_KEY_ROW(name, key, cmd, handler) {key, cmd, #name},
#define SENSORCTL_KEY_STORED(name, key) {key, 0, #name},
const KeyName kKeys[] = {TARNIX_KEY_CATALOGUE(SENSORCTL_KEY_ROW, SENSORCTL_KEY_STORED)};
#undef SENSORCTL_KEY_ROW
#undef SENSORCTL_KEY_STORED

// ISP commands that the library sends outside the key table, by the ISP's names.
#define SENSORCTL_ISP_COMMAND(name, cmd) {0, cmd, #name},
const KeyName kIspCommands[] = {IA_CMD_LIST(SENSORCTL_ISP_COMMAND)};
#undef SENSORCTL_ISP_COMMAND

} // namespace

const KeyName* keyNames(size_t& count) {
    count = sizeof(kKeys) / sizeof(kKeys[0]);
    return kKeys;
}

const char* keyName(uint32_t key) {
    for (const KeyName& row : kKeys) {
        if (row.key == key) {
            return row.name;
        }
    }
    return nullptr;
}

const char* ispCommandName(uint32_t cmd) {
    if (cmd == 0) {
        return nullptr;
    }
    for (const KeyName& row : kKeys) {
        if (row.ispCmd == cmd) {
            return row.name;
        }
    }
    for (const KeyName& row : kIspCommands) {
        if (row.ispCmd == cmd) {
            return row.name;
        }
    }
    return nullptr;
}

const char* ispOptionName(unsigned int opt) {
    switch (opt) {
    case IA_CMD_OPT_SET:
        return "set";
    case IA_CMD_OPT_GET:
        return "get";
    case IA_CMD_OPT_GET_PARAM_RNAGE:
        return "range";
    case IA_CMD_OPT_CORRECT_PARAM:
        return "correct";
    case IA_CMD_OPT_GET_STATUS:
        return "status";
    default:
        return "opt?";
    }
}

} // namespace sensorctl
