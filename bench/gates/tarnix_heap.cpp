// tarnix_heap: the heap a channel of the box camera holds after init,
// counted by valgrind's memcheck, which knows every live block:
//
//   valgrind --tool=memcheck tarnix_heap
//
// A channel is brought up and down once first, so that what the process
// allocates once (the platform's settings, the logger, the locks shared by
// all controllers) is not counted. Then a second controller is created and
// initialised, its thread is stopped before its first pass (a pass in
// progress would hold temporary blocks), and the live heap is compared with the heap before the
// controller was created. The lines printed:
//
//   channel_heap_bytes N     held by the controller after init, itself included
//   controller_object_bytes N
//   left_after_uinit_bytes N live after uinit and delete, beyond the start
#include <valgrind/memcheck.h>
#include <valgrind/valgrind.h>

#include <cstdio>
#include <memory>

#include "bench/support/BoxCamera.h"
#include "controller/DebugSwitches.h"
#include "ispsim/ispsim.h"
#include "platform/posix/PlatformControl.h"

using namespace tarnix_bench;

namespace {

// Bytes in live heap blocks, as memcheck counts them now. The simulated
// ISP's call log is emptied first: it is the simulator's memory, not the
// channel's.
long long liveHeapBytes() {
    ispsim::clearCalls();
    VALGRIND_DO_QUICK_LEAK_CHECK;
    unsigned long nLeaked = 0;
    unsigned long nDubious = 0;
    unsigned long nReachable = 0;
    unsigned long nSuppressed = 0;
    VALGRIND_COUNT_LEAK_BLOCKS(nLeaked, nDubious, nReachable, nSuppressed);
    VALGRIND_COUNT_LEAKS(nLeaked, nDubious, nReachable, nSuppressed);
    return static_cast<long long>(nLeaked + nDubious + nReachable + nSuppressed);
}

} // namespace

int main() {
    if (RUNNING_ON_VALGRIND == 0) {
        std::fprintf(stderr, "tarnix_heap: run it under valgrind --tool=memcheck\n");
        return 2;
    }
    const int nReportFd = quietStdout();
    if (nReportFd < 0) {
        return 1;
    }
    std::FILE* pReport = fdopen(nReportFd, "w");
    if (pReport == nullptr) {
        return 1;
    }

    platform::setClock(12, 0);
    g_nDebugLevel = 1;
    g_bEnAssert = false;
    BoxCamera objCamera;
    firstStart(objCamera);
    objCamera.resetIsp();

    const long long nBefore = liveHeapBytes();
    std::unique_ptr<ISensorController> pController(new ISensorController);
    initWithoutThread(*pController, objCamera);
    const long long nHeld = liveHeapBytes() - nBefore;
    pController->uinit();
    pController.reset();
    const long long nLeft = liveHeapBytes() - nBefore;

    std::fprintf(pReport, "channel_heap_bytes %lld\n", nHeld);
    std::fprintf(pReport, "controller_object_bytes %zu\n", sizeof(ISensorController));
    std::fprintf(pReport, "left_after_uinit_bytes %lld\n", nLeft);
    std::fclose(pReport);
    return 0;
}
