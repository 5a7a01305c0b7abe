#pragma once
// The thread-entry callable (function<int>, SafePointer) is the value type of
// GThread's interface, so it lives with GThread on the platform side; the
// controller reaches it through this header.
#include "platform/function.h"
