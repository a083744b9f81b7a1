// CMessageQueue: synchronous messages from any number of senders to one
// consuming thread.
//
// SendMessage queues a message and blocks until the consumer has finished it
// with FinishMessage, then returns the consumer's result; the consumer loops
// on WaitAndGetMessage / FinishMessage. Every message gets a 64-bit id (the
// first is 1), unique for the life of the queue, by which results are
// matched to their senders.
//
// Close() ends the queue for good: queued messages are answered with
// E_ABORT, blocked senders return (their result if it was already stored,
// else E_ABORT), later sends return E_ABORT at once, later results are
// dropped and WaitAndGetMessage returns false. The destructor closes the
// queue if needed; no sender may still be inside SendMessage then.
//
// Thread safety: all operations may be called from any thread. Two locks,
// the queue lock before the results lock; no lock is held while waiting.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <atomic>
#include <deque>
#include <map>

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
    // Raises "Out of memory!" (E_POINTER) when the queue or the results map
    // cannot be allocated.
    CMessageQueue();
    virtual ~CMessageQueue();

    CMessageQueue(const CMessageQueue&) = delete;
    CMessageQueue& operator=(const CMessageQueue&) = delete;

    // The consumer's result for this message, or E_ABORT when the queue is
    // (or becomes) closed before the result is there.
    HRESULT SendMessage(unsigned long message, int param1, int param2);
    // Blocks until a message is queued (true, with the message taken out of
    // the queue) or the queue is closed (false).
    bool WaitAndGetMessage(unsigned long long& id, unsigned long& message, int& param1,
                           int& param2);
    // Hands the result of message `id` to its sender. The first result for
    // an id wins; after Close() results are dropped.
    void FinishMessage(unsigned long long id, int result);
    void Close();

    // Results stored and not yet collected by their senders (diagnostics).
    size_t StoredResultCount() const;

private:
    // Takes this sender's result out of the map (results lock held).
    void EraseResultLocked(unsigned long long id);
    // The closed state, read under the queue or the results lock: Close()
    // sets it with both held, just before it sets the closed event (which
    // only the waits use).
    bool IsClosed() const { return m_bClosed.load(std::memory_order_relaxed); }

    std::deque<tQueueEntry>* m_pQueue;
    unsigned long long m_ullLastId;
    CCritSection m_QueueLock;
    CKxEvent m_MessageAvailable;
    std::map<unsigned long long, int>* m_pProcessedMessages;
    CCritSection m_ResultsLock;
    CKxEvent m_MessageProcessed;
    CKxEvent m_ResultsEmpty;
    CKxEvent m_Closed;
    std::atomic<bool> m_bClosed;
};

} // namespace KxTamarind
