// Waitable objects and the wait algorithm (internal).
//
// Every object a handle names is a Waitable: an event, or a thread (a
// manual-reset object signalled once, when the thread ends). A Waitable has
// a lock, an atomic signalled state and a list of wait nodes.
//
// A waiting thread owns a WaiterRecord: one atomic word, the state of its
// current wait, on which the thread also sleeps (park.h), and one wait node
// per index of a wait. Each wait has an epoch, kept in the word beside its
// state. Whoever ends the wait first wins one compare-and-swap on the word:
// a setter (writes the index of its object's node), the waiter itself on
// finding an object signalled, or the waiter on timeout. So a signal is
// either handed to exactly one open wait or stays on the object; a wait that
// timed out consumed nothing. A setter wakes the thread only when the word
// says it sleeps.
//
// Nodes outlive their wait. A waiter arms node i for object i (under that
// object's lock, in index order, after seeing it not signalled) and leaves it
// linked when the wait ends; a setter claims only a node armed for the
// current epoch of its record, and unlinks every node it meets. The next wait
// of the thread on the same object at the same index finds its node in place
// and only re-arms it: a loop waiting on the same handles links and unlinks
// nothing. The record holds a reference to each object a node belongs to (so
// that it can take the object's lock later), drops it when the node moves to
// another object, and lets go of everything when its thread ends; thread
// objects are let go after every wait, since their end joins the thread.
// Records come from a process-wide pool and are never freed, so a setter
// that wakes a record late touches valid memory (at worst an early return of
// a later wait, which re-checks its word).
#pragma once

#include <atomic>
#include <cstdint>

#include "handles.h"
#include "park.h"
#include "platcompat/synch.h"

namespace platcompat_detail {

class Waitable;
struct WaiterRecord;

struct WaitNode {
    // Guarded by the lock of the object the node belongs to.
    WaitNode* prev = nullptr;
    WaitNode* next = nullptr;
    std::uint32_t epoch = 0; // the wait it is armed for
    bool linked = false;
    // Fixed when the record is made.
    WaiterRecord* record = nullptr;
    int index = 0;
    // The owning thread's: the object the node belongs to (the record holds
    // a reference), and whether it may still be in that object's list.
    Waitable* object = nullptr;
    bool maybeLinked = false;
};

struct WaiterRecord {
    // The word: (epoch << kStatusBits) | status, status an index (0..63) or
    // one of the values below.
    static constexpr unsigned kStatusBits = 7;
    static constexpr unsigned kOpen = 64;
    static constexpr unsigned kSleeping = 65;
    static constexpr unsigned kTimedOut = 66;
    static constexpr std::uint32_t kEpochLimit = std::uint32_t(1) << (32 - kStatusBits);

    WaiterRecord() {
        for (int i = 0; i < static_cast<int>(MAXIMUM_WAIT_OBJECTS); ++i) {
            nodes[i].record = this;
            nodes[i].index = i;
        }
    }

    std::atomic<int> state{0};
    std::uint32_t epoch = 0; // the owning thread's: the current wait's
    WaitNode nodes[MAXIMUM_WAIT_OBJECTS];
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
    friend void Detach(WaitNode& node);

    void signal(bool pulse);
    // Hands a signal to open waits; needs m_lock. Returns the number of
    // sleeping threads to wake (their records stored in `wake`, up to
    // `capacity`; further ones are woken at once, under the lock).
    unsigned signalLocked(bool pulse, WaiterRecord** wake, unsigned capacity);
    void link(WaitNode* node);
    void unlink(WaitNode* node);

    WordLock m_lock;
    // Written under m_lock, except the lock-free consume and Reset. While it
    // is true no node in the list is armed for an open wait.
    std::atomic<bool> m_signalled;
    const bool m_manual;
    WaitNode* m_head = nullptr; // guarded by m_lock
    WaitNode* m_tail = nullptr;
};

// Waits for any of `count` (1..64) objects; returns WAIT_OBJECT_0 + index,
// WAIT_TIMEOUT, or WAIT_FAILED (ERROR_NOT_ENOUGH_MEMORY) when no waiter
// record can be made. The caller keeps the objects alive.
unsigned long WaitAny(Waitable* const* objects, unsigned count, DWORD milliseconds);

// Takes a node out of its object's list (when it may be there) and drops
// the record's reference to the object. The owning thread only.
void Detach(WaitNode& node);

} // namespace platcompat_detail
