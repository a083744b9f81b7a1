// Waitable objects and the wait algorithm (internal).
//
// Every object a handle names is a Waitable: an event, or a thread (a
// manual-reset object signalled once, when the thread ends). A Waitable has
// a lock, an atomic signalled state and a list of the threads waiting on it.
//
// A waiting thread owns a WaiterRecord (mutex, condition variable and the
// atomic `satisfiedBy`, -1 while the wait is open). Whoever ends the wait
// first wins one compare-and-swap on `satisfiedBy`: a setter (writes the
// object's index in the wait), the waiter itself on finding an object
// signalled, or the waiter on timeout (writes kTimedOut). So a signal is
// either handed to exactly one open wait or stays on the object; a wait that
// timed out consumed nothing. Records come from a process-wide pool and are
// never freed, so a setter that wakes a record late touches valid memory
// (at worst a spurious wake-up of a later wait, which re-checks).
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "handles.h"

namespace platcompat_detail {

struct WaiterRecord {
    std::mutex mutex;
    std::condition_variable cv;
    std::atomic<int> satisfiedBy{-1};
};

// One entry of a wait in one object's waiter list; lives on the waiting
// thread's stack. Guarded by the object's lock.
struct WaitNode {
    WaitNode* prev = nullptr;
    WaitNode* next = nullptr;
    WaiterRecord* record = nullptr;
    int index = 0;
    bool linked = false;
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
        if (m_manual)
            return m_signalled.load(std::memory_order_acquire);
        bool expected = true;
        return m_signalled.compare_exchange_strong(expected, false, std::memory_order_acquire,
                                                   std::memory_order_relaxed);
    }

private:
    friend unsigned long WaitAny(Waitable* const* objects, unsigned count, DWORD milliseconds);

    void signal(bool pulse);
    // Hands a signal to open waits; needs m_lock. Returns the number of
    // records to wake (stored in `wake`, up to `capacity`; further records
    // are woken at once, under the lock).
    unsigned signalLocked(bool pulse, WaiterRecord** wake, unsigned capacity);
    void link(WaitNode* node);
    void unlink(WaitNode* node);

    std::mutex m_lock;
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
