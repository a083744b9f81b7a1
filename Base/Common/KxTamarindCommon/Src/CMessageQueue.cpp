#include "CMessageQueue.h"

#include <new>

#include "KxDestructorGuard.h"
#include "KxErrorReporting.h"

namespace KxTamarind {

namespace {
const char kSource[] = "Base/Common/KxTamarindCommon/Src/CMessageQueue";
constexpr DWORD kResultsEmptyWait = 1000;
} // namespace

// How a sender finds its result.
//
// A sender registers its wait record (SenderWait: a result slot and an
// automatic-reset event of its own) in the waiting list while it holds the
// queue lock, that is before its message can be taken: no result for it can
// arrive unannounced. FinishMessage stores a result only into a registered
// record, under the results lock, and unregisters it in the same step, so
// only the first result for an id counts and later ones find nobody; then it
// sets that sender's event (the one signal the sender waits for, so the
// record and the event live until it is given). Close stores E_ABORT for
// every sender still registered and sets their events. So each sender waits
// on its own event alone, set exactly once; it never wakes for another
// sender's result, never polls, never contends for a shared event, and,
// once woken, reads its own record without any lock: the record was
// written before its event was set. Storing allocates nothing.
//
// The events are recycled through a few lock-free places: a sender whose
// wait consumed its signal puts its event back, unsignalled.
//
// Once the queue is closed no result is stored any more (FinishMessage checks
// the closed state under the results lock; Close sets it under that lock
// after answering every waiting sender).

CMessageQueue::CMessageQueue()
    : m_pQueue(nullptr), m_ullLastId(0),
      m_MessageAvailable(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual),
      m_pWaitingHead(nullptr), m_pWaitingTail(nullptr), m_StoredResults(0),
      m_ResultsEmpty(CKxEvent::InitialState_Signaled, CKxEvent::ResetMode_Manual),
      m_Closed(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual), m_bClosed(false) {
    for (std::atomic<HANDLE>& spare : m_SpareEvents) {
        spare.store(nullptr, std::memory_order_relaxed);
    }
    m_pQueue = new (std::nothrow) std::deque<tQueueEntry>();
    if (m_pQueue == nullptr) {
        ThrowError("m_pQueue != NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                   nullptr, "Out of memory!", E_POINTER);
    }
}

CMessageQueue::~CMessageQueue() {
    KxGuardDestructor(kSource, __LINE__, nullptr, [this] {
        if (IsClosed()) {
            m_ResultsEmpty.Wait(kResultsEmptyWait);
        } else {
            Close();
        }
    });
    delete m_pQueue;
    for (std::atomic<HANDLE>& spare : m_SpareEvents) {
        if (HANDLE event = spare.load(std::memory_order_relaxed)) {
            CloseHandle(event);
        }
    }
}

HANDLE CMessageQueue::TakeEvent() {
    for (std::atomic<HANDLE>& spare : m_SpareEvents) {
        if (spare.load(std::memory_order_relaxed) != nullptr) {
            if (HANDLE event = spare.exchange(nullptr, std::memory_order_acquire)) {
                return event;
            }
        }
    }
    return CreateEventW(nullptr, FALSE, FALSE, nullptr);
}

void CMessageQueue::RecycleEvent(HANDLE event) {
    for (std::atomic<HANDLE>& spare : m_SpareEvents) {
        HANDLE empty = nullptr;
        if (spare.load(std::memory_order_relaxed) == nullptr &&
            spare.compare_exchange_strong(empty, event, std::memory_order_release,
                                          std::memory_order_relaxed)) {
            return;
        }
    }
    CloseHandle(event); // more senders at once than places: made again when needed
}

void CMessageQueue::UnlinkLocked(SenderWait& wait) {
    (wait.m_pPrev != nullptr ? wait.m_pPrev->m_pNext : m_pWaitingHead) = wait.m_pNext;
    (wait.m_pNext != nullptr ? wait.m_pNext->m_pPrev : m_pWaitingTail) = wait.m_pPrev;
    wait.m_bRegistered = false;
}

HANDLE CMessageQueue::StoreResultLocked(SenderWait& wait, int result) {
    wait.m_iResult = result;
    UnlinkLocked(wait);
    m_StoredResults.fetch_add(1, std::memory_order_relaxed);
    return wait.m_hResultReady;
}

void CMessageQueue::CollectedResult() {
    if (m_StoredResults.fetch_sub(1, std::memory_order_relaxed) == 1) {
        m_ResultsEmpty.Set();
    }
}

HRESULT CMessageQueue::SendMessage(unsigned long message, int param1, int param2) {
    SenderWait wait{nullptr, nullptr, 0, TakeEvent(), static_cast<int>(E_ABORT), false};
    if (wait.m_hResultReady == nullptr) {
        return E_OUTOFMEMORY;
    }
    {
        // The message and the wait record enter together under the queue
        // lock, which the consumer needs to take the message.
        CCritSectionLocker queueLocker(m_QueueLock);
        if (IsClosed()) {
            queueLocker.Unlock();
            RecycleEvent(wait.m_hResultReady);
            return E_ABORT;
        }
        wait.m_ullId = m_ullLastId + 1;
        try {
            m_pQueue->push_back(tQueueEntry{wait.m_ullId, message, param1, param2});
        } catch (const std::bad_alloc&) {
            queueLocker.Unlock();
            RecycleEvent(wait.m_hResultReady);
            return E_OUTOFMEMORY;
        }
        m_ullLastId = wait.m_ullId;
        CCritSectionLocker resultsLocker(m_ResultsLock);
        wait.m_pPrev = m_pWaitingTail;
        (m_pWaitingTail != nullptr ? m_pWaitingTail->m_pNext : m_pWaitingHead) = &wait;
        m_pWaitingTail = &wait;
        wait.m_bRegistered = true;
    }
    // Set after the lock is released, so that the woken consumer does not
    // run straight into the held lock. A late signal for an entry that was
    // already taken only wakes the consumer once more (it checks the queue).
    m_MessageAvailable.Set();

    // No loop: the event is set once, when this sender's result (or the
    // close's E_ABORT) is stored; the record was written before.
    const DWORD waited = WaitForSingleObject(wait.m_hResultReady, INFINITE);
    if (waited == WAIT_OBJECT_0) {
        const int result = wait.m_iResult;
        CollectedResult();
        RecycleEvent(wait.m_hResultReady); // its signal is consumed
        return result;
    }
    {
        CCritSectionLocker locker(m_ResultsLock);
        if (wait.m_bRegistered) {
            UnlinkLocked(wait);
        } else {
            CollectedResult(); // stored meanwhile; dropped with this failed wait
        }
    }
    CloseHandle(wait.m_hResultReady); // its signal may still come
    RepairError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                "Invalid result waiting for message being processed. Wait aborted!",
                E_KX_HRESULT_ASSERT_FAILED, nullptr);
    return E_ABORT;
}

bool CMessageQueue::WaitAndGetMessage(unsigned long long& id, unsigned long& message, int& param1,
                                      int& param2) {
    const HANDLE handles[2] = {m_MessageAvailable.Handle(), m_Closed.Handle()};
    for (;;) {
        DWORD wait = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
        if (wait == WAIT_OBJECT_0) {
            CCritSectionLocker locker(m_QueueLock);
            if (!m_pQueue->empty()) {
                const tQueueEntry& entry = m_pQueue->front();
                id = entry.m_ullId;
                message = entry.m_ulMessage;
                param1 = entry.m_iParam1;
                param2 = entry.m_iParam2;
                m_pQueue->pop_front();
                if (m_pQueue->empty()) {
                    m_MessageAvailable.Reset();
                }
                return true;
            }
            // Empty although signalled: Close() emptied the queue and left
            // the event as it was, or another consumer took the entry.
            if (IsClosed()) {
                return false;
            }
            m_MessageAvailable.Reset();
            continue;
        }
        if (wait == WAIT_OBJECT_0 + 1) {
            return false;
        }
        RepairError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                    "Invalid result waiting for messages to arrive in queue. Wait aborted!",
                    E_KX_HRESULT_ASSERT_FAILED, nullptr);
        return false;
    }
}

void CMessageQueue::FinishMessage(unsigned long long id, int result) {
    CCritSectionLocker locker(m_ResultsLock);
    if (IsClosed()) {
        return;
    }
    // Oldest first: a consumer answers in about the order it takes messages.
    SenderWait* waiting = m_pWaitingHead;
    while (waiting != nullptr && waiting->m_ullId < id) {
        waiting = waiting->m_pNext;
    }
    if (waiting == nullptr || waiting->m_ullId != id) {
        return; // nobody can collect it: never handed out, or answered already
    }
    HANDLE wake = StoreResultLocked(*waiting, result);
    locker.Unlock();
    // Set after the lock is released, so that the woken sender does not run
    // into the held lock. The sender cannot return (and recycle or close its
    // event) before this signal: it waits for nothing else.
    SetEvent(wake);
}

void CMessageQueue::Close() {
    {
        CCritSectionLocker queueLocker(m_QueueLock);
        CCritSectionLocker resultsLocker(m_ResultsLock);
        // Queued messages are dropped. Every sender still waiting without a
        // result (its message queued or being processed) is answered with
        // E_ABORT and woken; one whose result is stored keeps it.
        m_pQueue->clear();
        while (m_pWaitingHead != nullptr) {
            SetEvent(StoreResultLocked(*m_pWaitingHead, static_cast<int>(E_ABORT)));
        }
        m_bClosed.store(true, std::memory_order_relaxed);
        m_Closed.Set();
    }
    m_ResultsEmpty.Wait(kResultsEmptyWait);
}

size_t CMessageQueue::StoredResultCount() const {
    return m_StoredResults.load(std::memory_order_relaxed);
}

} // namespace KxTamarind
