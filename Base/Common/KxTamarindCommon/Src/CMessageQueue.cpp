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
// The message-processed event is manual-reset. FinishMessage stores a result
// under the results lock and sets the event after releasing it; the event is
// reset only under that lock and only when the map is empty (by the sender
// that takes the last result, or by a sender woken by a late signal that
// finds the map empty). A stored result keeps the map non-empty until its
// sender takes it, so from the signal that follows the store until then the
// event stays signalled: a sender whose result is stored cannot miss it, its
// wait returns at once, and the lowest index (processed) wins over the
// closed event. A sender whose result is not there yet wakes, finds nothing
// and waits again.
//
// Once the queue is closed no result is stored any more (FinishMessage checks
// the closed state under the results lock; Close sets it under that lock
// after answering every queued message with E_ABORT). The processed event may
// stay signalled after Close (it is reset only by an emptying removal), so a
// sender that finds nothing checks the closed state under the results lock:
// if it is set, its result can never arrive and it returns E_ABORT instead of
// polling for ever.

CMessageQueue::CMessageQueue()
    : m_pQueue(nullptr), m_ullLastId(0),
      m_MessageAvailable(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual),
      m_pProcessedMessages(nullptr),
      m_MessageProcessed(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual),
      m_ResultsEmpty(CKxEvent::InitialState_Signaled, CKxEvent::ResetMode_Manual),
      m_Closed(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual), m_bClosed(false) {
    m_pQueue = new (std::nothrow) std::deque<tQueueEntry>();
    if (m_pQueue == nullptr) {
        ThrowError("m_pQueue != NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                   nullptr, "Out of memory!", E_POINTER);
    }
    m_pProcessedMessages = new (std::nothrow) std::map<unsigned long long, int>();
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

void CMessageQueue::EraseResultLocked(unsigned long long id) {
    auto it = m_pProcessedMessages->find(id);
    if (it == m_pProcessedMessages->end()) {
        return;
    }
    m_pProcessedMessages->erase(it);
    if (m_pProcessedMessages->empty()) {
        m_ResultsEmpty.Set();
    }
}

HRESULT CMessageQueue::SendMessage(unsigned long message, int param1, int param2) {
    unsigned long long id = 0;
    {
        CCritSectionLocker locker(m_QueueLock);
        if (IsClosed()) {
            return E_ABORT;
        }
        id = ++m_ullLastId;
        m_pQueue->push_back(tQueueEntry{id, message, param1, param2});
    }
    // Set after the lock is released, so that the woken consumer does not
    // run straight into the held lock. A late signal for an entry that was
    // already taken only wakes the consumer once more (it checks the queue).
    m_MessageAvailable.Set();

    const HANDLE handles[2] = {m_MessageProcessed.Handle(), m_Closed.Handle()};
    for (;;) {
        DWORD wait = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
        if (wait == WAIT_OBJECT_0) {
            CCritSectionLocker locker(m_ResultsLock);
            auto it = m_pProcessedMessages->find(id);
            if (it != m_pProcessedMessages->end()) {
                HRESULT result = it->second;
                m_pProcessedMessages->erase(it);
                if (m_pProcessedMessages->empty()) {
                    m_MessageProcessed.Reset();
                    m_ResultsEmpty.Set();
                }
                return result;
            }
            if (IsClosed()) {
                return E_ABORT; // closed: this result can no longer arrive
            }
            if (m_pProcessedMessages->empty()) {
                // A late signal of a result that was collected already.
                m_MessageProcessed.Reset();
            }
            // Another sender's result: wait again. The event stays signalled
            // until that sender collects, so give it the processor first
            // instead of spinning on it.
            locker.Unlock();
            Sleep(0);
            continue;
        }
        if (wait == WAIT_OBJECT_0 + 1) {
            CCritSectionLocker locker(m_ResultsLock);
            EraseResultLocked(id);
            return E_ABORT;
        }
        {
            CCritSectionLocker locker(m_ResultsLock);
            EraseResultLocked(id);
        }
        RepairError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                    "Invalid result waiting for message being processed. Wait aborted!",
                    E_KX_HRESULT_ASSERT_FAILED, nullptr);
        return E_ABORT;
    }
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
    m_pProcessedMessages->emplace(id, result); // an earlier result is kept
    locker.Unlock();
    // Set after the lock is released (see above). Between the store and this
    // signal nobody resets the event: a reset needs an empty map, and this
    // result stays in the map until its sender has seen it.
    m_MessageProcessed.Set();
}

void CMessageQueue::Close() {
    {
        CCritSectionLocker queueLocker(m_QueueLock);
        CCritSectionLocker resultsLocker(m_ResultsLock);
        while (!m_pQueue->empty()) {
            m_pProcessedMessages->emplace(m_pQueue->front().m_ullId, static_cast<int>(E_ABORT));
            m_pQueue->pop_front();
        }
        m_bClosed.store(true, std::memory_order_relaxed);
        m_Closed.Set();
    }
    m_ResultsEmpty.Wait(kResultsEmptyWait);
}

size_t CMessageQueue::StoredResultCount() const {
    CCritSectionLocker locker(m_ResultsLock);
    return m_pProcessedMessages->size();
}

} // namespace KxTamarind
