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
// A sender registers its wait record (SenderWait: its own automatic-reset
// event and a result slot) under its id while it holds the queue lock, that
// is before its message can be taken: no result for it can arrive
// unannounced. FinishMessage stores a result only into a registered record,
// only the first one, and sets that sender's event, all under the results
// lock; the sender unregisters under the same lock before its record and
// event go away. The sender waits on its own event and the closed event: its
// event is set exactly once, when its result is there, so it never wakes for
// another sender's result and never polls. Storing allocates nothing.
//
// Once the queue is closed no result is stored any more (FinishMessage checks
// the closed state under the results lock; Close sets it under that lock
// after answering every queued message with E_ABORT).

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

void CMessageQueue::StoreResultLocked(SenderWait& wait, int result) {
    if (wait.m_bHasResult) {
        return; // the first result wins; its signal was given already
    }
    wait.m_bHasResult = true;
    wait.m_iResult = result;
    ++m_StoredResults;
    SetEvent(wait.m_hResultReady);
}

HRESULT CMessageQueue::SendMessage(unsigned long message, int param1, int param2) {
    // The sender's own event, made before any lock is taken.
    SenderWait wait{CreateEventW(nullptr, FALSE, FALSE, nullptr), false, 0};
    if (wait.m_hResultReady == nullptr) {
        return E_OUTOFMEMORY;
    }
    unsigned long long id = 0;
    {
        // The message and the wait record enter together under the queue
        // lock, which the consumer needs to take the message.
        CCritSectionLocker queueLocker(m_QueueLock);
        if (IsClosed()) {
            CloseHandle(wait.m_hResultReady);
            return E_ABORT;
        }
        id = ++m_ullLastId;
        try {
            m_pQueue->push_back(tQueueEntry{id, message, param1, param2});
            try {
                CCritSectionLocker resultsLocker(m_ResultsLock);
                m_pProcessedMessages->emplace(id, &wait);
            } catch (const std::bad_alloc&) {
                m_pQueue->pop_back();
                throw;
            }
        } catch (const std::bad_alloc&) {
            CloseHandle(wait.m_hResultReady);
            return E_OUTOFMEMORY;
        }
    }
    // Set after the lock is released, so that the woken consumer does not
    // run straight into the held lock. A late signal for an entry that was
    // already taken only wakes the consumer once more (it checks the queue).
    m_MessageAvailable.Set();

    // No loop: the own event is set only once this sender's result is
    // stored, and the closed event stays set.
    const HANDLE handles[2] = {wait.m_hResultReady, m_Closed.Handle()};
    const DWORD waited = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
    HRESULT result = E_ABORT;
    {
        CCritSectionLocker locker(m_ResultsLock);
        // Also when woken by the close: a result stored before it wins (none
        // is stored after it; Close stores E_ABORT for queued messages).
        if ((waited == WAIT_OBJECT_0 || waited == WAIT_OBJECT_0 + 1) && wait.m_bHasResult) {
            result = wait.m_iResult;
        }
        EndWaitLocked(id);
    }
    CloseHandle(wait.m_hResultReady);
    if (waited != WAIT_OBJECT_0 && waited != WAIT_OBJECT_0 + 1) {
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
    StoreResultLocked(*waiting->second, result);
}

void CMessageQueue::Close() {
    {
        CCritSectionLocker queueLocker(m_QueueLock);
        CCritSectionLocker resultsLocker(m_ResultsLock);
        // Every queued message has a waiting sender; it wakes (on its own
        // event or the closed one) and collects the E_ABORT stored here.
        while (!m_pQueue->empty()) {
            auto waiting = m_pProcessedMessages->find(m_pQueue->front().m_ullId);
            if (waiting != m_pProcessedMessages->end()) {
                StoreResultLocked(*waiting->second, static_cast<int>(E_ABORT));
            }
            m_pQueue->pop_front();
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
