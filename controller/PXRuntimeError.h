#pragma once
// The library's exception type is thrown by the thread-entry callable, which
// lives with GThread on the platform side; the controller reaches it here.
#include "platform/PXRuntimeError.h"
