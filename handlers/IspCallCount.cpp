// Per-thread count of the ISP calls sent through doIaCmd.
#include "handlers/IspCallCount.h"

namespace tarnix {

namespace {
thread_local unsigned long long t_nIspCalls = 0;
} // namespace

void countIspCall() { ++t_nIspCalls; }

unsigned long long ispCallsOnThisThread() { return t_nIspCalls; }

} // namespace tarnix
