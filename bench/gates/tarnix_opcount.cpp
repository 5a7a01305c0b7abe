// tarnix_opcount: runs exactly one controller operation on channel 1 of the
// box camera with callgrind's event collection switched on around it and
// off everywhere else, so that
//
//   valgrind --tool=callgrind --collect-atstart=no --separate-threads=yes
//            tarnix_opcount --op init --root DIR
//
// counts the instructions of that one call on the calling thread (thread 1
// of callgrind's per-thread output). Without valgrind it runs the same steps
// and counts nothing. scripts/gates.sh runs every operation this way.
//
//   tarnix_opcount --list
//   tarnix_opcount --op NAME [--root DIR]
//
// DIR: the device root (made, or emptied when this program made it before).
// Default: a new directory /tmp/tarnix-box-XXXXXX (whatever TMPDIR says),
// removed at the end: its name has the same length on every machine, and
// so the device paths, whose length shows in the counts, are the same too.
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "bench/gates/Operations.h"
#include "controller/DebugSwitches.h"
#include "ispsim/ispsim.h"
#include "platform/posix/PlatformControl.h"

using namespace tarnix_bench;

int main(int argc, char** argv) {
    CLI::App app("Runs one controller operation with callgrind's collection switched on around it.");
    std::string strOp;
    std::string strRoot;
    bool bList = false;
    app.add_option("--op", strOp, "the operation (--list names them)");
    app.add_option("--root", strRoot, "device root directory (default: a new one under /tmp)");
    app.add_flag("--list", bList, "list the operations and exit");
    CLI11_PARSE(app, argc, argv);

    if (bList) {
        for (const Operation& op : operations()) {
            std::printf("%-16s %s\n", op.name, op.what);
        }
        return 0;
    }
    const Operation* pOp = findOperation(strOp);
    if (pOp == nullptr) {
        std::fprintf(stderr, "tarnix_opcount: unknown operation '%s' (--list names them)\n", strOp.c_str());
        return 2;
    }
    if (quietStdout() < 0) {
        return 1;
    }

    // Fixed inputs: the clock at noon, diagnostics at their defaults.
    platform::setClock(12, 0);
    g_nDebugLevel = 1;
    g_bEnAssert = false;
    // The preparation's first init finds no scheme files and writes them,
    // so that every later init finds an up-to-date device.
    if (strRoot.empty()) {
        ::setenv("TMPDIR", "/tmp", 1);
    }
    BoxCamera objCamera(strRoot);

    OpSession s(objCamera);
    pOp->prepare(s);
    ispsim::clearCalls();
    CALLGRIND_TOGGLE_COLLECT;
    pOp->measure(s);
    CALLGRIND_TOGGLE_COLLECT;
    const size_t nIspCalls = ispsim::calls().size();
    pOp->finish(s);
    std::fprintf(stderr, "tarnix_opcount: %s done (%zu ISP calls)\n", pOp->name, nIspCalls);
    return 0;
}
