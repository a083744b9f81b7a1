// Waitable objects and the wait algorithm (internal).
//
// Every object a handle names is a Waitable: an event, or a thread (a
// manual-reset object signalled once, when the thread ends). A Waitable has
// a lock, an atomic signalled state and a list of the waits linked to it.
//
// A waiting thread owns a WaiterRecord: one atomic word, the state of its
// current wait, on which the thread also sleeps (park.h). Whoever ends the
// wait first wins one compare-and-swap on that word: a setter (writes the
// object's index in the wait), the waiter itself on finding an object
// signalled, or the waiter on timeout (writes kTimedOut). So a signal is
// either handed to exactly one open wait or stays on the object; a wait that
// timed out consumed nothing. A setter wakes the thread only when the word
// says it sleeps. Records come from a process-wide pool and are never freed,
// so a setter that wakes a record late touches valid memory (at worst an
// early return of a later wait, which re-checks its word).
#pragma once

#include <atomic>

#include "handles.h"
#include "park.h"

namespace platcompat_detail {

struct WaiterRecord {
    // kOpen while a wait runs, kSleeping while it runs and its thread parks
    // (or is about to) on this word, kTimedOut when it ended without an
    // object, or the index of the object that ended it.
    static constexpr int kOpen = -1;
    static constexpr int kTimedOut = -2;
    static constexpr int kSleeping = -3;
    std::atomic<int> state{kTimedOut};
};

// One entry of a wait in one object's waiter list; lives on the waiting
// thread's stack and is filled in when it is linked (no initialisers: a wait
// keeps room for 64). Guarded by the object's lock.
struct WaitNode {
    WaitNode* prev;
    WaitNode* next;
    WaiterRecord* record;
    int index;
    bool linked;
};

class Waitable : public HandleObject {
public:
    Waitable(Kind kind, bool manualReset, bool signalled)
        : HandleObject(kind), m_signalled(signalled), m_manual(manualReset) {}

    // Signals: an automatic-reset object hands the signal to the first open
    // wait or keeps it; a manual-reset object releases every open wait and
    // stays signalled. Pulse does the same but never leaves the object
    // signalled.
    void Set() { signal(false); }
    void Pulse() { signal(true); }
    void Reset() { m_signalled.store(false, std::memory_order_release); }

    // Lock-free test: true (and consumed, for automatic reset) when the
    // object is signalled now.
    bool TryConsume() {
        if (!m_signalled.load(std::memory_order_acquire))
            return false;
        if (m_manual)
            return true;
        bool expected = true;
        return m_signalled.compare_exchange_strong(expected, false, std::memory_order_acquire,
                                                   std::memory_order_relaxed);
    }

private:
    friend unsigned long WaitAny(Waitable* const* objects, unsigned count, DWORD milliseconds);

    void signal(bool pulse);
    // Hands a signal to open waits; needs m_lock. Returns the number of
    // sleeping threads to wake (their records stored in `wake`, up to
    // `capacity`; further ones are woken at once, under the lock).
    unsigned signalLocked(bool pulse, WaiterRecord** wake, unsigned capacity);
    void link(WaitNode* node);
    void unlink(WaitNode* node);

    WordLock m_lock;
    // Written under m_lock, except the lock-free consume and Reset. While it
    // is true every wait still linked in the list has already been ended by
    // another object.
    std::atomic<bool> m_signalled;
    const bool m_manual;
    WaitNode* m_head = nullptr; // guarded by m_lock
    WaitNode* m_tail = nullptr;
};

// Waits for any of `count` (1..64) objects; returns WAIT_OBJECT_0 + index,
// WAIT_TIMEOUT, or WAIT_FAILED (ERROR_NOT_ENOUGH_MEMORY) when no waiter
// record can be made. The caller keeps the objects alive.
unsigned long WaitAny(Waitable* const* objects, unsigned count, DWORD milliseconds);

} // namespace platcompat_detail
