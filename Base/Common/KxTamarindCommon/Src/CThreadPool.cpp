#include "CThreadPool.h"

#include <atomic>
#include <string>
#include <vector>

#include "CKxEvent.h"
#include "KxErrorReporting.h"
#include "KxKernelRemote.h"

namespace KxTamarind {

namespace {

const char kSource[] = "Base/Common/KxTamarindCommon/Src/CThreadPool";

// Set when thread names wait to be pushed to the system; cleared by
// UpdateThreadNamesForDebugger().
std::atomic<bool> s_bThreadNamesPending{false};

// The global pool: constructed when the library is loaded. Its destructor at
// exit frees the lists only; the threads are left to the process's end.
CThreadPool s_GlobalThreadPool;

} // namespace

// --- CThreadPoolElement / CThreadPoolPrivate ------------------------------------

CThreadPoolElement::CThreadPoolElement(KXApartmentModelType model, long dictId)
    : CThread(model, dictId), m_bReserved(false), m_lDictId(dictId) {}

CThreadPoolElement::~CThreadPoolElement() = default;

CThreadPoolPrivate::CThreadPoolPrivate(KXApartmentModelType model)
    : m_iAllocated(0), m_eApartmentModel(model) {}

CThreadPoolPrivate::~CThreadPoolPrivate() = default;

bool CThreadPoolPrivate::RequestAllThreadsIdle() {
    bool allIdle = true;
    for (auto& entry : m_Dictionary) {
        if (entry.second == nullptr) {
            continue;
        }
        entry.second->AbortThread();
        if (entry.second->GetThreadState() != eThreadState_Idle) {
            allIdle = false;
        }
    }
    return allIdle;
}

bool CThreadPoolPrivate::CheckAllThreadsIdle(bool report) {
    bool allIdle = true;
    for (auto& entry : m_Dictionary) {
        if (entry.second == nullptr || entry.second->GetThreadState() == eThreadState_Idle) {
            continue;
        }
        allIdle = false;
        if (report) {
            CAtlStringA text;
            text.Format("Thread %s is still running", entry.second->GetThreadName().c_str());
            RepairError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                        text, E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
        }
    }
    return allIdle;
}

// --- CThreadPool ----------------------------------------------------------------

CThreadPool::CThreadPool()
    : m_lNextDictId(0), m_STAPool(KXApartmentModel_SingleThreaded),
      m_MTAPool(KXApartmentModel_MultiThreaded) {}

CThreadPool::~CThreadPool() {
    // At exit a worker may still be finishing its release: empty the lists
    // under the lock. The threads themselves are left to the process's end.
    CCritSectionLocker locker(*this);
    for (CThreadPoolPrivate* pool : {&m_MTAPool, &m_STAPool}) {
        pool->m_Dictionary.clear();
        pool->m_IdleList.clear();
    }
}

CThreadPool* GetGlobalThreadPool() {
    return &s_GlobalThreadPool;
}

// Raises for an unknown model. The pool's operations call it before they
// lock: raising an error looks the calling thread up in the pool under the
// error-reporting lock, so it must not happen while the pool's lock is held.
void CThreadPool::ValidateModel(KXApartmentModelType model) {
    if (model != KXApartmentModel_MultiThreaded && model != KXApartmentModel_SingleThreaded) {
        ThrowError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                   "unknown apartment model", E_KX_HRESULT_ASSERT_FAILED);
    }
}

CThreadPoolPrivate& CThreadPool::operator[](KXApartmentModelType model) {
    if (model == KXApartmentModel_MultiThreaded) {
        return m_MTAPool;
    }
    if (model == KXApartmentModel_SingleThreaded) {
        return m_STAPool;
    }
    ThrowError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
               "unknown apartment model", E_KX_HRESULT_ASSERT_FAILED);
}

bool CThreadPool::CreateThreads(unsigned long count, KXApartmentModelType model) {
    ValidateModel(model);
    CCritSectionLocker locker(*this);
    CThreadPoolPrivate& pool = (*this)[model];
    pool.m_iAllocated += count;
    for (unsigned long i = 0; i < count; ++i) {
        // Each thread is created outside the lock, as in GetThread: the
        // creation waits until the new worker is idle, and a creation that
        // fails raises an error, which looks the calling thread up in the
        // pool under the error-reporting lock (that lock comes before the
        // pool's).
        const long id = m_lNextDictId++;
        locker.Unlock();
        CThreadPoolElement* thread = new CThreadPoolElement(model, id);
        locker.Lock();
        pool.m_IdleList.push_back(thread);
    }
    return true;
}

bool CThreadPool::DestroyThreads(unsigned long count, KXApartmentModelType model) {
    std::vector<CThreadPoolElement*> doomed;
    bool result = true;
    ValidateModel(model);
    {
        CCritSectionLocker locker(*this);
        CThreadPoolPrivate& pool = (*this)[model];
        if (count > pool.m_iAllocated) {
            result = false;
            CAtlStringA text;
            text.Format("DestroyFixThreads: number of threads to destroy is out of range Pool:%s "
                        "ToDestroy:%lu iFixCount:%lu",
                        ApartmentModelString(model), count, pool.m_iAllocated);
            // An out-of-range count is answered with false only; the device
            // log records the in-range calls (below).
        } else {
            RepairError("iCount > Pool.m_iAllocated", kSource, KX_SOURCE_TIMESTAMP, __LINE__,
                        nullptr, nullptr, nullptr, "", E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
        }
        for (unsigned long i = 0; i < count && !pool.m_IdleList.empty(); ++i) {
            doomed.push_back(pool.m_IdleList.front());
            pool.m_IdleList.pop_front();
        }
    }
    // Deleted outside the lock: each deletion waits for its worker to end.
    for (CThreadPoolElement* thread : doomed) {
        delete thread;
    }
    return result;
}

CThread* CThreadPool::GetThread(KXApartmentModelType model, const char* name,
                                CObjectDataReferenceBase* /*object*/) {
    ValidateModel(model);
    CCritSectionLocker locker(*this);
    CThreadPoolPrivate& pool = (*this)[model];
    CThreadPoolElement* thread = nullptr;
    if (pool.m_IdleList.empty()) {
        long id = m_lNextDictId++;
        locker.Unlock();
        thread = new CThreadPoolElement(model, id);
        thread->SetThreadName(name);
        locker.Lock();
    } else {
        thread = pool.m_IdleList.front();
        pool.m_IdleList.pop_front();
        thread->SetThreadName(name);
    }
    thread->SetReserved(true);
    pool.m_Dictionary.insert(std::make_pair(thread->ThreadId(), thread));
    return thread;
}

CThread* CThreadPool::GetMTAThread(const char* name, CObjectDataReferenceBase* object) {
    return GetThread(KXApartmentModel_MultiThreaded, name, object);
}

bool CThreadPool::ReleaseThread(CThread* thread) {
    if (thread == nullptr) {
        RepairError("pThread != NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                    nullptr, "ReleaseThread was called with NULL-Pointer to Threadobject",
                    E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
        return false;
    }
    ValidateModel(thread->ApartmentModel());
    CCritSectionLocker locker(*this);
    CThreadPoolPrivate& pool = (*this)[thread->ApartmentModel()];
    // The indexing form: a missing id leaves an empty entry behind, which
    // every walk over the dictionary skips.
    CThreadPoolElement* element = pool.m_Dictionary[thread->ThreadId()];
    if (element == nullptr || element != thread) {
        locker.Unlock();
        RepairError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                    "Thread to release was not found in Threadpool", E_KX_HRESULT_ASSERT_FAILED,
                    nullptr);
        return false;
    }
    // The run ends as CleanRunInfo ends it, but the run object is deleted
    // and its waiter released only once the thread is back in the idle list
    // and the lock is free: a released waiter that asks for a thread at once
    // finds it there instead of running into the held lock.
    const CThread::RunEnd end = element->EndRun();
    if (element->State() == eThreadState_Idle) {
        element->SetReserved(false);
        pool.m_Dictionary.erase(element->ThreadId());
        pool.m_IdleList.push_front(element);
        locker.Unlock();
        CThread::FinishRunEnd(end);
        return true;
    }
    CAtlStringA text;
    text.Format("ReleaseThread: Thread %s\n", element->GetThreadName().c_str());
    locker.Unlock();
    CThread::FinishRunEnd(end);
    RepairError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr, text,
                E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
    return false;
}

void CThreadPool::ClearReleasedThreads() {
    std::vector<CThreadPoolElement*> doomed;
    {
        CCritSectionLocker locker(*this);
        for (CThreadPoolPrivate* pool : {&m_MTAPool, &m_STAPool}) {
            doomed.insert(doomed.end(), pool->m_IdleList.begin(), pool->m_IdleList.end());
            pool->m_IdleList.clear();
        }
    }
    for (CThreadPoolElement* thread : doomed) {
        delete thread;
    }
}

bool CThreadPool::CheckAllThreadsIdle() {
    CCritSectionLocker locker(*this);
    bool mtaIdle = m_MTAPool.CheckAllThreadsIdle(true);
    bool staIdle = m_STAPool.CheckAllThreadsIdle(true);
    return mtaIdle && staIdle;
}

bool CThreadPool::RequestPoolIdle(CThreadPoolPrivate& pool) {
    std::vector<CThreadPoolElement*> threads;
    {
        CCritSectionLocker locker(*this);
        for (auto& entry : pool.m_Dictionary) {
            if (entry.second != nullptr) {
                threads.push_back(entry.second);
            }
        }
    }
    // Outside the lock: a thread's Abort may call into its run object.
    bool allIdle = true;
    for (CThreadPoolElement* thread : threads) {
        thread->AbortThread();
        if (thread->GetThreadState() != eThreadState_Idle) {
            allIdle = false;
        }
    }
    return allIdle;
}

bool CThreadPool::RequestAllThreadsIdle() {
    bool mtaIdle = RequestPoolIdle(m_MTAPool);
    bool staIdle = RequestPoolIdle(m_STAPool);
    CKxEvent timer(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Automatic);
    for (int round = 0; !(mtaIdle && staIdle) && round < 100; ++round) {
        timer.Wait(50);
        CCritSectionLocker locker(*this);
        if (!mtaIdle) {
            mtaIdle = m_MTAPool.CheckAllThreadsIdle(false);
        }
        if (!staIdle) {
            staIdle = m_STAPool.CheckAllThreadsIdle(false);
        }
    }
    if (!mtaIdle) {
        staIdle = false;
    }
    return staIdle;
}

CThread* CThreadPool::QueryRunningThread(const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    CCritSectionLocker locker(*this);
    for (CThreadPoolPrivate* pool : {&m_MTAPool, &m_STAPool}) {
        for (auto& entry : pool->m_Dictionary) {
            if (entry.second != nullptr && entry.second->GetThreadName() == name) {
                return entry.second;
            }
        }
    }
    return nullptr;
}

CThread* CThreadPool::GetThreadById(long systemThreadId) {
    CCritSectionLocker locker(*this);
    for (CThreadPoolPrivate* pool : {&m_STAPool, &m_MTAPool}) {
        for (auto& entry : pool->m_Dictionary) {
            if (entry.second != nullptr &&
                static_cast<long>(entry.second->SystemThreadId()) == systemThreadId) {
                return entry.second;
            }
        }
    }
    return nullptr;
}

bool CThreadPool::IsSTAThread(long systemThreadId) {
    long mainThread = GetMainSTAThreadId();
    if (mainThread != 0 && mainThread == systemThreadId) {
        return true;
    }
    CCritSectionLocker locker(*this);
    for (auto& entry : m_STAPool.m_Dictionary) {
        if (entry.second != nullptr &&
            static_cast<long>(entry.second->SystemThreadId()) == systemThreadId) {
            return true;
        }
    }
    return false;
}

void CThreadPool::UpdateThreadNamesForDebugger(CThreadPoolPrivate& pool) {
    for (auto& entry : pool.m_Dictionary) {
        if (entry.second != nullptr) {
            entry.second->PutThreadNameToDebugger();
        }
    }
    for (CThreadPoolElement* thread : pool.m_IdleList) {
        thread->PutThreadNameToDebugger();
    }
}

void CThreadPool::UpdateThreadNamesForDebugger() {
    s_bThreadNamesPending.store(false, std::memory_order_relaxed);
}

void CThreadPool::DumpPool(const CComBSTR& /*fileName*/) {}

void CThreadPool::DumpPoolInFile(FILE* file, const char* title, CThreadPoolPrivate& pool) {
    if (file == nullptr) {
        return;
    }
    CCritSectionLocker locker(*this);
    size_t running = pool.m_Dictionary.size();
    size_t idle = pool.m_IdleList.size();
    std::fprintf(file, "%s(Alloc=%lu, [Total=%u (Running=%u Idle=%u))\n", title ? title : "",
                 pool.m_iAllocated, static_cast<unsigned>(running + idle),
                 static_cast<unsigned>(running), static_cast<unsigned>(idle));
    if (running + idle == 0) {
        return;
    }
    std::fprintf(file, "State   Prio           DictId  ThreadId  CoClass             Object  "
                       "            Guid\n");
    for (auto& entry : pool.m_Dictionary) {
        if (entry.second != nullptr) {
            DumpPoolThreadInFile(file, entry.second);
        }
    }
    for (CThreadPoolElement* thread : pool.m_IdleList) {
        DumpPoolThreadInFile(file, thread);
    }
}

void CThreadPool::DumpPoolThreadInFile(FILE* file, CThreadPoolElement* thread) {
    if (file == nullptr || thread == nullptr) {
        return;
    }
    std::fprintf(file, "%-8s%-15s%-4ld    %-5u     %s)\n", ThreadStateString(thread->State()),
                 ThreadPriorityString(thread->Priority()), thread->DictId(),
                 static_cast<unsigned>(thread->SystemThreadId()), thread->GetThreadName().c_str());
}

const char* CThreadPool::ThreadStateString(eThreadState state) {
    switch (state) {
    case eThreadState_Undefined:
        return "undef";
    case eThreadState_Idle:
        return "idle";
    case eThreadState_Running:
        return "run";
    }
    return "UNDEF";
}

const char* CThreadPool::ThreadPriorityString(KXThreadPriorityType priority) {
    switch (priority) {
    case KXThreadPriority_Idle:
        return "idle";
    case KXThreadPriority_Lowest:
        return "lowest";
    case KXThreadPriority_BelowNormal:
        return "below normal";
    case KXThreadPriority_Normal:
        return "normal";
    case KXThreadPriority_AboveNormal:
        return "above normal";
    case KXThreadPriority_Highest:
        return "highest";
    case KXThreadPriority_TimeCritical:
        return "time critical";
    }
    return "unknown ";
}

const char* CThreadPool::ApartmentModelString(KXApartmentModelType model) {
    switch (model) {
    case KXApartmentModel_MultiThreaded:
        return "MultiThreadApartment";
    case KXApartmentModel_SingleThreaded:
        return "SingleThreadApartment";
    }
    return "unknownApartment";
}

} // namespace KxTamarind
