// Per-thread record of the lock ranks held, and the order check.
#include "controller/LockRank.h"

#include <cstdio>
#include <cstdlib>

namespace tarnix {
namespace lockrank {

#ifdef TARNIX_LOCK_RANK_CHECK

namespace {

// Deep enough for any nesting of module callbacks a host can build; deeper
// nesting is still checked against the ranks recorded so far.
const int kMaxHeld = 256;

struct HeldRanks {
    int count = 0;
    Rank ranks[kMaxHeld];
};

thread_local HeldRanks t_held;

const char* nameOf(Rank p_eRank) {
    switch (p_eRank) {
    case GATE:
        return "the apply gate";
    case PARAM:
        return "a controller's m_paramMutex";
    case LEAF:
        return "a leaf lock";
    }
    return "an unknown lock";
}

[[noreturn]] void violation(Rank p_eTaken, Rank p_eHeld) {
    std::fprintf(stderr,
                 "[sensor assert] lock order violated: %s taken while holding %s "
                 "(order: apply gate -> m_paramMutex -> leaf locks)\n~~~Assertion failed.\n",
                 nameOf(p_eTaken), nameOf(p_eHeld));
    std::fflush(stderr);
    std::abort();
}

} // namespace

void acquire(Rank p_eRank, bool p_bReentry) {
    HeldRanks& held = t_held;
    if (!p_bReentry) {
        bool bGateHeld = false;
        for (int i = 0; i < held.count && i < kMaxHeld; ++i) {
            bGateHeld = bGateHeld || held.ranks[i] == GATE;
        }
        for (int i = 0; i < held.count && i < kMaxHeld; ++i) {
            const Rank eHeld = held.ranks[i];
            if (eHeld < p_eRank) {
                continue;
            }
            // Another controller's m_paramMutex inside the gate.
            if (eHeld == PARAM && p_eRank == PARAM && bGateHeld) {
                continue;
            }
            violation(p_eRank, eHeld);
        }
    }
    if (held.count < kMaxHeld) {
        held.ranks[held.count] = p_eRank;
    }
    ++held.count;
}

void release(Rank p_eRank) {
    HeldRanks& held = t_held;
    if (held.count <= 0) {
        return;
    }
    // Locks are released in reverse order; the deepest record of the rank
    // is the one that goes.
    int nTop = held.count < kMaxHeld ? held.count : kMaxHeld;
    if (held.count > kMaxHeld) {
        --held.count;
        return;
    }
    for (int i = nTop - 1; i >= 0; --i) {
        if (held.ranks[i] == p_eRank) {
            for (int j = i; j + 1 < nTop; ++j) {
                held.ranks[j] = held.ranks[j + 1];
            }
            --held.count;
            return;
        }
    }
}

bool checked() { return true; }

#else

void acquire(Rank, bool) {}
void release(Rank) {}
bool checked() { return false; }

#endif

} // namespace lockrank
} // namespace tarnix
