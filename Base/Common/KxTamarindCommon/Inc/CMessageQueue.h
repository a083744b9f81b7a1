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
// of its own, taken from the queue's free events) registered under its id
// from the moment its message is queued until it returns. A result is stored
// only for a registered sender, and only the first result for an id counts;
// storing it wakes that sender and no other. A result for an id nobody waits
// for (never handed out, or already collected) is dropped: it can never be
// collected and must not pile up. A waiting sender sleeps, whatever results
// for others are stored.
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
// of the process's lock order, see CCritSection.h).
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <atomic>
#include <deque>
#include <map>
#include <vector>

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
    // Raises "Out of memory!" (E_POINTER) when the queue or the map of
    // waiting senders cannot be allocated.
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
    // One sender inside SendMessage: lives on its stack and is registered
    // under its message id (results lock) from the moment the message is
    // queued until the sender returns.
    struct SenderWait {
        HANDLE m_hResultReady; // automatic reset; set once, when the result is stored
        bool m_bHasResult;     // the first result for the id is kept
        int m_iResult;
    };

    // Unregisters sender `id` (results lock held); if it held the last
    // stored result, the results-empty event is set.
    void EndWaitLocked(unsigned long long id);
    // Stores `result` for a waiting sender unless it has one. Returns the
    // event to set to wake it (null when the earlier result stays).
    HANDLE StoreResultLocked(SenderWait& wait, int result);
    // A free, unsignalled automatic-reset event (made when none is free;
    // null when that fails), and its way back (closed when it cannot be
    // kept). Results lock held.
    HANDLE TakeEventLocked();
    void RecycleEventLocked(HANDLE event);
    // The closed state, read under the queue or the results lock: Close()
    // sets it with both held, just before it sets the closed event (which
    // the consumer's wait uses).
    bool IsClosed() const { return m_bClosed.load(std::memory_order_relaxed); }

    std::deque<tQueueEntry>* m_pQueue;
    unsigned long long m_ullLastId;
    CCritSection m_QueueLock;
    CKxEvent m_MessageAvailable;
    // The waiting senders by message id, each with its result slot; guarded
    // by the results lock.
    std::map<unsigned long long, SenderWait*>* m_pProcessedMessages;
    size_t m_StoredResults;           // senders whose result is stored; results lock
    std::vector<HANDLE> m_FreeEvents; // senders' events not in use; results lock
    CCritSection m_ResultsLock;
    CKxEvent m_ResultsEmpty;
    CKxEvent m_Closed;
    std::atomic<bool> m_bClosed;
};

} // namespace KxTamarind
