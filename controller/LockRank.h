#pragma once
// Lock ranks of the library, checked in debug and sanitizer builds.
//
// Every thread takes the library's locks in one order:
//   the apply gate -> a controller's m_paramMutex -> leaf locks.
// Re-taking the gate on the thread that owns it never blocks and is always
// allowed. Controllers' m_paramMutex may nest only inside the gate (the
// library itself takes only the outermost one: a call nested inside a
// module callback is covered by the gate). A leaf lock is never held while
// another lock of the library is taken.
//
// With TARNIX_LOCK_RANK_CHECK defined (CMake sets it for Debug builds and
// for sanitizer builds) each thread keeps the ranks it holds, and a lock
// taken out of order prints a report on stderr and aborts the process.
// Without it the calls below do nothing.
namespace tarnix {
namespace lockrank {

enum Rank { GATE = 1, PARAM = 2, LEAF = 3 };

// Records that the calling thread is about to take a lock of the rank;
// aborts when that breaks the order. p_bReentry: the thread already owns
// this very lock (a re-entrant gate), which never blocks.
void acquire(Rank p_eRank, bool p_bReentry = false);
// Records that the calling thread released a lock of the rank.
void release(Rank p_eRank);

// True when this build checks the lock order.
bool checked();

// Holds a leaf rank for the lifetime of the scope (around a leaf lock).
class LeafScope {
public:
    LeafScope() { acquire(LEAF); }
    ~LeafScope() { release(LEAF); }
    LeafScope(const LeafScope&) = delete;
    LeafScope& operator=(const LeafScope&) = delete;
};

} // namespace lockrank
} // namespace tarnix
