#pragma once
// Read-only access to the rows of the key-command table without a running
// controller, for tools that need the library's own vocabulary: which key
// drives which ISP command through which handler.
#include "controller/SensorTypes.h"

namespace tarnix {

// Rows the table is built with (KEYCMD_ROWS).
u32 keyCmdRowCount();
// Row index exactly as init fills it into the controller's table (names cut
// to their fields); false past the last row.
bool keyCmdRowAt(u32 index, keycmd& out);

} // namespace tarnix
