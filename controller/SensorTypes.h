#pragma once
// Shared value types of the library.
#include "platform/PXTypes.h"

#define SNS_SUCCESS 0

// Words of the value buffer a key handler is given and of a single-key ISP
// read. Most commands carry one 32-bit value, but an unknown key reaches the
// ISP with its own number and some commands move whole records; the buffer
// is large enough for any record the ISP exchanges, so nothing is read or
// written past it.
#define SNS_VALUE_BUFFER_WORDS 128

class ISensorController;

// One image parameter: key id and value. Also the 8-byte record of the scheme
// files (native byte order).
struct KeyVal {
    u32 key;
    u32 value;
};
static_assert(sizeof(KeyVal) == 8, "KeyVal is the 8-byte file record");

// Handler of a key-command row: (ISP command, option, pointer to the value).
typedef int (ISensorController::*KeyCmdHandler)(unsigned int, unsigned int, void*);

#define KEYCMD_NAME_LEN 32
#define KEYCMD_FUNC_LEN 64

// One row of the key-command table. szKeyName holds at most 32 characters and
// is not terminated when the name has 32 or more.
struct keycmd {
    u32 key;
    u32 ia_cmd;
    KeyCmdHandler fun;
    char szKeyName[KEYCMD_NAME_LEN];
    char szFuncName[KEYCMD_FUNC_LEN];
};

// Rows allocated for the key-command table, and the rows filled.
#define KEYCMD_CAPACITY 170
#define KEYCMD_ROWS 166
