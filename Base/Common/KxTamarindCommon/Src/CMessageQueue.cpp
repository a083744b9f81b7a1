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
// automatic-reset event of its own) under its id while it holds the queue
// lock, that is before its message can be taken: no result for it can arrive
// unannounced. FinishMessage stores a result only into a registered record,
// only the first one, under the results lock, and then sets that sender's
// event (the one signal the sender waits for, so the record and the event
// live until it is given); Close stores E_ABORT for every sender still
// without a result and sets their events. The sender unregisters under the
// results lock before its record goes away. So each sender waits on its own
// event alone: it is set exactly once, when the sender's result is there;
// the sender never wakes for another sender's result, never polls and never
// contends for a shared event. Storing allocates nothing.
//
// The events are recycled: a sender whose wait consumed its signal hands
// its event back to the free list, unsignalled, under the results lock.
//
// Once the queue is closed no result is stored any more (FinishMessage checks
// the closed state under the results lock; Close sets it under that lock
// after answering every waiting sender).

CMessageQueue::CMessageQueue()
    : m_pQueue(nullptr), m_ullLastId(0),
      m_MessageAvailable(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual),
      m_pProcessedMessages(nullptr), m_StoredResults(0),
      m_ResultsEmpty(CKxEvent::InitialState_Signaled, CKxEvent::ResetMode_Manual),
      m_Closed(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual), m_bClosed(false) {
    m_pQueue = new (std::nothrow) std::deque<tQueueEntry>();
    if (m_pQueue == nullptr) {
        ThrowError("m_pQueue != NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                   nullptr, "Out of memory!", E_POINTER);
    }
    m_pProcessedMessages = new (std::nothrow) std::map<unsigned long long, SenderWait*>();
    if (m_pProcessedMessages == nullptr) {
        delete m_pQueue;
        m_pQueue = nullptr;
        ThrowError("m_pProcessedMessages != NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr,
                   nullptr, nullptr, "Out of memory!", E_POINTER);
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
    delete m_pProcessedMessages;
    for (HANDLE event : m_FreeEvents) {
        CloseHandle(event);
    }
}

HANDLE CMessageQueue::TakeEventLocked() {
    if (m_FreeEvents.empty()) {
        return CreateEventW(nullptr, FALSE, FALSE, nullptr);
    }
    HANDLE event = m_FreeEvents.back();
    m_FreeEvents.pop_back();
    return event;
}

void CMessageQueue::RecycleEventLocked(HANDLE event) {
    try {
        m_FreeEvents.push_back(event);
    } catch (const std::bad_alloc&) {
        CloseHandle(event);
    }
}

void CMessageQueue::EndWaitLocked(unsigned long long id) {
    auto it = m_pProcessedMessages->find(id);
    if (it == m_pProcessedMessages->end()) {
        return;
    }
    const bool hadResult = it->second->m_bHasResult;
    m_pProcessedMessages->erase(it);
    if (hadResult && --m_StoredResults == 0) {
        m_ResultsEmpty.Set();
    }
}

HANDLE CMessageQueue::StoreResultLocked(SenderWait& wait, int result) {
    if (wait.m_bHasResult) {
        return nullptr; // the first result wins; its signal was given already
    }
    wait.m_bHasResult = true;
    wait.m_iResult = result;
    ++m_StoredResults;
    return wait.m_hResultReady;
}

HRESULT CMessageQueue::SendMessage(unsigned long message, int param1, int param2) {
    SenderWait wait{nullptr, false, 0};
    unsigned long long id = 0;
    {
        // The message and the wait record enter together under the queue
        // lock, which the consumer needs to take the message.
        CCritSectionLocker queueLocker(m_QueueLock);
        if (IsClosed()) {
            return E_ABORT;
        }
        CCritSectionLocker resultsLocker(m_ResultsLock);
        wait.m_hResultReady = TakeEventLocked();
        if (wait.m_hResultReady == nullptr) {
            return E_OUTOFMEMORY;
        }
        id = m_ullLastId + 1;
        try {
            m_pProcessedMessages->emplace(id, &wait);
            try {
                m_pQueue->push_back(tQueueEntry{id, message, param1, param2});
            } catch (const std::bad_alloc&) {
                m_pProcessedMessages->erase(id);
                throw;
            }
        } catch (const std::bad_alloc&) {
            RecycleEventLocked(wait.m_hResultReady);
            return E_OUTOFMEMORY;
        }
        m_ullLastId = id;
    }
    // Set after the lock is released, so that the woken consumer does not
    // run straight into the held lock. A late signal for an entry that was
    // already taken only wakes the consumer once more (it checks the queue).
    m_MessageAvailable.Set();

    // No loop: the event is set once, when this sender's result (or the
    // close's E_ABORT) is stored.
    const DWORD waited = WaitForSingleObject(wait.m_hResultReady, INFINITE);
    HRESULT result = E_ABORT;
    {
        CCritSectionLocker locker(m_ResultsLock);
        if (waited == WAIT_OBJECT_0 && wait.m_bHasResult) {
            result = wait.m_iResult;
        }
        EndWaitLocked(id);
        if (waited == WAIT_OBJECT_0) {
            RecycleEventLocked(wait.m_hResultReady); // its signal is consumed
        } else {
            CloseHandle(wait.m_hResultReady);
        }
    }
    if (waited != WAIT_OBJECT_0) {
        RepairError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                    "Invalid result waiting for message being processed. Wait aborted!",
                    E_KX_HRESULT_ASSERT_FAILED, nullptr);
    }
    return result;
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
    auto waiting = m_pProcessedMessages->find(id);
    if (waiting == m_pProcessedMessages->end()) {
        return; // nobody can collect it: never handed out, or already collected
    }
    HANDLE wake = StoreResultLocked(*waiting->second, result);
    locker.Unlock();
    // Set after the lock is released, so that the woken sender does not run
    // straight into the held lock. The sender cannot return (and recycle or
    // close its event) before this signal: it waits for nothing else.
    if (wake != nullptr) {
        SetEvent(wake);
    }
}

void CMessageQueue::Close() {
    {
        CCritSectionLocker queueLocker(m_QueueLock);
        CCritSectionLocker resultsLocker(m_ResultsLock);
        // Queued messages are dropped. Every sender still waiting without a
        // result (its message queued or being processed) is answered with
        // E_ABORT and woken; one whose result is stored keeps it.
        m_pQueue->clear();
        for (auto& waiting : *m_pProcessedMessages) {
            if (HANDLE wake = StoreResultLocked(*waiting.second, static_cast<int>(E_ABORT))) {
                SetEvent(wake);
            }
        }
        m_bClosed.store(true, std::memory_order_relaxed);
        m_Closed.Set();
    }
    m_ResultsEmpty.Wait(kResultsEmptyWait);
}

size_t CMessageQueue::StoredResultCount() const {
    CCritSectionLocker locker(m_ResultsLock);
    return m_StoredResults;
}

} // namespace KxTamarind
