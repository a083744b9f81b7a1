// CMessageQueue: synchronous messages from any number of senders to one
// consuming thread.
//
// SendMessage queues a message and blocks until the consumer has finished it
// with FinishMessage, then returns the consumer's result; the consumer loops
// on WaitAndGetMessage / FinishMessage. Every message gets a 64-bit id (the
// first is 1), unique for the life of the queue, by which results are
// matched to their senders.
//
// Results: each blocked sender has a wait record (a result slot and an event
// of its own, taken from the queue's spare events) registered under its id
// from the moment its message is queued until its result is stored. A result
// is stored only for a registered sender, and only the first result for an
// id counts: storing it unregisters the sender and wakes it, and no other. A
// result for an id nobody waits for (never handed out, or answered already)
// is dropped: it can never be collected and must not pile up. A waiting
// sender sleeps, whatever results for others are stored, and collects its
// result without taking a lock.
//
// Close() ends the queue for good: every blocked sender whose result is not
// stored yet (queued messages and messages being processed) is answered
// with E_ABORT, later sends return E_ABORT at once, later results are
// dropped and WaitAndGetMessage returns false. The destructor closes the
// queue if needed; no sender may still be inside SendMessage then.
//
// Thread safety: all operations may be called from any thread. Two locks,
// the queue lock before the results lock; no lock is held while waiting, and
// nothing else is locked or reported while either is held (they are leaves
// of the process's lock order, see CCritSection.h). A waking sender takes no
// lock.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <atomic>
#include <deque>

#include "CCritSection.h"
#include "CKxEvent.h"

namespace KxTamarind {

// One queued message: its id and what WaitAndGetMessage hands the consumer.
struct tQueueEntry {
    unsigned long long m_ullId;
    unsigned long m_ulMessage;
    int m_iParam1;
    int m_iParam2;
};

class KXTAMARIND_API CMessageQueue {
public:
    // Raises "Out of memory!" (E_POINTER) when the queue cannot be
    // allocated.
    CMessageQueue();
    virtual ~CMessageQueue();

    CMessageQueue(const CMessageQueue&) = delete;
    CMessageQueue& operator=(const CMessageQueue&) = delete;

    // The consumer's result for this message, or E_ABORT when the queue is
    // (or becomes) closed before the result is there; E_OUTOFMEMORY (nothing
    // queued) when the sender's wait record cannot be made.
    HRESULT SendMessage(unsigned long message, int param1, int param2);
    // Blocks until a message is queued (true, with the message taken out of
    // the queue) or the queue is closed (false).
    bool WaitAndGetMessage(unsigned long long& id, unsigned long& message, int& param1,
                           int& param2);
    // Hands the result of message `id` to its sender. The first result for
    // an id wins; a result for an id whose sender is not waiting, and any
    // result after Close(), is dropped.
    void FinishMessage(unsigned long long id, int result);
    void Close();

    // Results stored and not yet collected by their senders (diagnostics).
    size_t StoredResultCount() const;

private:
    // One sender inside SendMessage: lives on its stack. Registered (linked
    // into the waiting list, results lock) from the moment its message is
    // queued until its result is stored.
    struct SenderWait {
        SenderWait* m_pPrev;
        SenderWait* m_pNext;
        unsigned long long m_ullId;
        HANDLE m_hResultReady; // automatic reset; set once, when the result is stored
        int m_iResult;
        bool m_bRegistered;
    };
    static constexpr int kSpareEvents = 8;

    // Stores `result` for a registered sender and unregisters it (results
    // lock held). Returns the event to set, after the lock, to wake it.
    HANDLE StoreResultLocked(SenderWait& wait, int result);
    void UnlinkLocked(SenderWait& wait);
    // The sender collected its stored result: the last one leaves the
    // results-empty event set.
    void CollectedResult();
    // A free, unsignalled automatic-reset event (made when none is spare;
    // null when that fails), and its way back (closed when no place is free).
    // Lock-free.
    HANDLE TakeEvent();
    void RecycleEvent(HANDLE event);
    // The closed state, read under the queue or the results lock: Close()
    // sets it with both held, just before it sets the closed event (which
    // the consumer's wait uses).
    bool IsClosed() const { return m_bClosed.load(std::memory_order_relaxed); }

    std::deque<tQueueEntry>* m_pQueue;
    unsigned long long m_ullLastId;
    CCritSection m_QueueLock;
    CKxEvent m_MessageAvailable;
    // The registered senders in the order of their ids (oldest first);
    // results lock.
    SenderWait* m_pWaitingHead;
    SenderWait* m_pWaitingTail;
    // Senders whose result is stored and not yet collected.
    std::atomic<size_t> m_StoredResults;
    // Events of senders that returned, ready for the next ones.
    std::atomic<HANDLE> m_SpareEvents[kSpareEvents];
    CCritSection m_ResultsLock;
    CKxEvent m_ResultsEmpty;
    CKxEvent m_Closed;
    std::atomic<bool> m_bClosed;
};

} // namespace KxTamarind
