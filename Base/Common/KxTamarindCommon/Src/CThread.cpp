#include "CThread.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <new>
#include <type_traits>

#include <fcntl.h>
#include <unistd.h>

#include "CErrorObject.h"
#include "CKxEvent.h"
#include "CThreadPool.h"
#include "KxDestructorGuard.h"
#include "KxErrorReporting.h"
#include "KxKernelRemote.h"

namespace KxTamarind {

namespace {

const char kSource[] = "Base/Common/KxTamarindCommon/Src/CThread";
const char kFreeThreadName[] = "Free Thread";
const char kDefaultRunningName[] = "Running Thread Default Name";
constexpr DWORD TIMEOUT_FINISH = 5000;

// The free SetThreadName takes a POSIX thread identity as unsigned long,
// which holds a pthread_t unchanged on the 32- and 64-bit targets alike.
static_assert(std::is_integral<pthread_t>::value && sizeof(pthread_t) <= sizeof(unsigned long),
              "a pthread_t travels as unsigned long");

// The POSIX identity behind a thread handle, or 0 for a bad handle.
unsigned long PosixIdOf(HANDLE thread) {
    pthread_t posixThread{};
    return GetThreadPosixHandle(thread, &posixThread) ? static_cast<unsigned long>(posixThread) : 0;
}

// The POSIX identities of the library's live threads, each with its kernel
// name file (/proc/self/task/<tid>/comm) held open, or -1. An identity is in
// the map from the construction of its CThread until its destructor is about
// to close the thread handle, so under the lock a listed identity names a
// thread that has not been joined yet and may be named from any thread.
// Naming another thread through its open file is one write, where
// pthread_setname_np opens and closes the file every time (about ten
// microseconds here, most of a pool cycle). The file names the task it was
// opened for even after the kernel reuses its id. A leaf lock: nothing else
// is locked or reported while it is held.
struct ThreadIdentityRegistry {
    CCritSection lock;
    std::map<unsigned long, int> identities;
};

ThreadIdentityRegistry& Registry() {
    static ThreadIdentityRegistry* registry = new ThreadIdentityRegistry; // outlives late threads
    return *registry;
}

void RegisterThread(unsigned long posixId, unsigned systemId) {
    char path[48];
    std::snprintf(path, sizeof path, "/proc/self/task/%u/comm", systemId);
    // Without the file (no /proc) the thread is named as before, through
    // pthread_setname_np.
    int nameFile = open(path, O_WRONLY | O_CLOEXEC);
    ThreadIdentityRegistry& registry = Registry();
    CCritSectionLocker locker(registry.lock);
    try {
        registry.identities[posixId] = nameFile;
    } catch (const std::bad_alloc&) {
        // Not listed: it is named only by itself. Refusals are reported.
        if (nameFile >= 0) {
            close(nameFile);
        }
    }
}

void UnregisterThread(unsigned long posixId) {
    ThreadIdentityRegistry& registry = Registry();
    CCritSectionLocker locker(registry.lock);
    auto it = registry.identities.find(posixId);
    if (it == registry.identities.end()) {
        return;
    }
    if (it->second >= 0) {
        close(it->second);
    }
    registry.identities.erase(it);
}

// Names another listed thread (registry lock held); the result is that of
// pthread_setname_np.
int NameListedThread(pthread_t thread, int nameFile, const char* name) {
    if (nameFile < 0) {
        return pthread_setname_np(thread, name);
    }
    // A plain write: the kernel takes each write as the whole name, at any
    // file position (the file refuses pwrite).
    const size_t length = std::strlen(name);
    const ssize_t written = write(nameFile, name, length);
    if (written < 0) {
        return errno;
    }
    return static_cast<size_t>(written) == length ? 0 : EIO;
}

// The first 15 characters of `name`, as the system keeps them.
struct SystemName {
    char text[16] = {};
    void Take(const std::string& name) { std::strncpy(text, name.c_str(), 15); }
};

void ReportRefusal(int line, const char* condition, const char* message) {
    RepairError(condition, kSource, KX_SOURCE_TIMESTAMP, line, nullptr, nullptr, nullptr, message,
                E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
}

} // namespace

// What the worker shares with its thread object beyond the object's life: a
// destructor that gives up waiting marks the link orphaned under its lock,
// and the worker holds that lock whenever it touches the object.
struct CThread::WorkerLink {
    CCritSection lock;
    bool orphaned = false;
    HANDLE runEvent = nullptr;
    // The thread's POSIX identity, set before the worker may run.
    unsigned long posixId = 0;
};

// --- CThreadRunObject ---------------------------------------------------------

CThreadRunObject::CThreadRunObject(bool createFinishedEvent)
    : m_pCallingThread(nullptr), m_pFinishedEvent(nullptr),
      m_bCreateFinishedEvent(createFinishedEvent) {}

CThreadRunObject::~CThreadRunObject() {
    m_pCallingThread.store(nullptr, std::memory_order_relaxed);
    delete m_pFinishedEvent.exchange(nullptr, std::memory_order_acq_rel);
}

HANDLE CThreadRunObject::CreateFinishedEventHandle() {
    if (!m_bCreateFinishedEvent) {
        return nullptr;
    }
    CKxEvent* event = m_pFinishedEvent.load(std::memory_order_acquire);
    if (event == nullptr) {
        CKxEvent* created =
            new CKxEvent(CKxEvent::InitialState_Signaled, CKxEvent::ResetMode_Manual);
        // Another thread may have installed one meanwhile: keep the first.
        if (m_pFinishedEvent.compare_exchange_strong(event, created, std::memory_order_acq_rel)) {
            event = created;
        } else {
            delete created;
        }
    }
    return event->Handle();
}

void CThreadRunObject::ClearFinishedEventHandle() {
    delete m_pFinishedEvent.exchange(nullptr, std::memory_order_acq_rel);
}

bool CThreadRunObject::WaitRunFinished(long milliseconds) {
    CKxEvent* event = m_pFinishedEvent.exchange(nullptr, std::memory_order_acq_rel);
    if (event == nullptr) {
        return true;
    }
    unsigned long result = event->Wait(static_cast<unsigned long>(milliseconds));
    delete event;
    return result != WAIT_TIMEOUT;
}

// --- CThread: construction and the worker -------------------------------------

CThread::CThread(KXApartmentModelType model, long dictId)
    : m_lDictId(dictId), m_hThread(nullptr), m_uSystemThreadId(0), m_pCreatedEvent(nullptr),
      m_pRunEvent(new CKxEvent(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Automatic)),
      m_bAbortThread(false), m_eApartmentModel(model), m_ePriority(KXThreadPriority_Normal),
      m_pThreadRunObject(nullptr), m_eState(eThreadState_Undefined), m_hFinishedEvent(nullptr),
      m_bDeleteAfterRun(false), m_pRunningObject(nullptr), m_pDeferredDelete(nullptr),
      m_hDeferredFinished(nullptr), m_bAbortCallInProgress(false),
      m_pLink(std::make_shared<WorkerLink>()) {
    m_pLink->runEvent = m_pRunEvent->Handle();

    CCritSectionLocker locker(*this);
    m_pCreatedEvent =
        new CKxEvent(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Automatic);
    unsigned systemId = 0;
    uintptr_t iRet =
        _beginthreadex(nullptr, static_cast<unsigned>(GetThreadStackSize()), &CThread::internalRun,
                       this, STACK_SIZE_PARAM_IS_A_RESERVATION, &systemId);
    if (iRet == 0 || iRet == static_cast<uintptr_t>(-1)) {
        locker.Unlock();
        delete m_pCreatedEvent;
        delete m_pRunEvent;
        ThrowError("(iRet != 0) && (iRet != ((unsigned long)-1))", kSource, KX_SOURCE_TIMESTAMP,
                   __LINE__, nullptr, nullptr, nullptr, "", E_KX_HRESULT_ASSERT_FAILED);
    }
    m_hThread = reinterpret_cast<HANDLE>(iRet);
    m_uSystemThreadId.store(systemId, std::memory_order_relaxed);
    m_pLink->posixId = PosixIdOf(m_hThread);
    RegisterThread(m_pLink->posixId, systemId);

    // The worker initialises under this lock; it may start only now.
    locker.Unlock();
    if (m_pCreatedEvent->Wait(INFINITE) != WAIT_OBJECT_0) {
        ThrowError("((((DWORD )0x00000000L) ) + 0 ) == m_pCreatedEvent->Wait(0xFFFFFFFF)", kSource,
                   KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                   "timeout, created thread did not start correctly", E_KX_HRESULT_ASSERT_FAILED);
    }
    delete m_pCreatedEvent;
    m_pCreatedEvent = nullptr;
}

unsigned CThread::internalRun(void* pData) {
    CTraceCallStackObject trace(nullptr, nullptr, "CThread::internalRun()", nullptr);
    bool comEntered = false;
    try {
        if (pData == nullptr) {
            ThrowError("pData != NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                       nullptr, "Thread function invoked without thread object.", E_POINTER);
        }
        CThread* pThread = static_cast<CThread*>(pData);
        std::shared_ptr<WorkerLink> link = pThread->m_pLink;
        {
            CCritSectionLocker locker(*pThread);
            if (pThread->m_eApartmentModel == KXApartmentModel_SingleThreaded) {
                CoInitialize(nullptr);
            } else {
                CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            }
            comEntered = true;
            pThread->SetState(eThreadState_Idle);
            pThread->StoreName(kFreeThreadName);
        }
        pThread->PutThreadNameToDebugger();
        if (!pThread->m_pCreatedEvent->Set()) {
            ThrowError("pThread->m_pCreatedEvent->Set()", kSource, KX_SOURCE_TIMESTAMP, __LINE__,
                       nullptr, nullptr, nullptr,
                       "CThread::internalRun(): CreateEvent could not be signaled",
                       E_KX_HRESULT_ASSERT_FAILED);
        }
        comEntered = !pThread->RunLoop(link, trace);
    } catch (CErrorObject* error) {
        // An error that ends the worker (the run threw something that is not
        // an error record, or the thread could not be handed back).
        HandleError(error, &trace);
    } catch (...) {
    }
    if (comEntered) {
        CoUninitialize();
    }
    return 0;
}

bool CThread::RunLoop(const std::shared_ptr<WorkerLink>& link, CTraceCallStackObject& trace) {
    for (;;) {
        DWORD wait = WaitForSingleObject(link->runEvent, INFINITE);
        CCritSectionLocker linkLocker(link->lock);
        if (link->orphaned) {
            return false;
        }
        if (wait != WAIT_OBJECT_0) {
            ThrowError("WAIT_OBJECT_0 == pThread->m_RunEvent.Wait()", kSource, KX_SOURCE_TIMESTAMP,
                       __LINE__, nullptr, nullptr, nullptr, "", E_KX_HRESULT_ASSERT_FAILED);
        }

        CThreadRunObject* runObject = nullptr;
        bool deleteAfterRun = false;
        bool renamed = false;
        {
            CCritSectionLocker locker(*this);
            if (m_bAbortThread) {
                // Aborted: leave the loop. The link lock is held, so the
                // object lives until the worker is done with it.
                SetState(eThreadState_Idle);
                m_bAbortThread = false;
                try {
                    CoUninitialize();
                } catch (...) {
                    locker.Unlock();
                    RepairError("CoUninitialize()", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr,
                                nullptr, nullptr, "error when uninitializing COM-Thread",
                                E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
                }
                return true;
            }
            if (m_strThreadName == kFreeThreadName) {
                StoreName(kDefaultRunningName);
                renamed = true;
            }
            SetState(eThreadState_Running);
            runObject = m_pThreadRunObject;
            deleteAfterRun = m_bDeleteAfterRun;
            m_pRunningObject = runObject;
        }
        if (renamed) {
            PutThreadNameToDebugger();
        }
        if (runObject == nullptr) {
            ThrowError("pThread->m_pThreadRunObject == NULL", kSource, KX_SOURCE_TIMESTAMP,
                       __LINE__, nullptr, nullptr, nullptr, "", E_POINTER);
        }
        linkLocker.Unlock();

        bool foreignException = false;
        try {
            runObject->Run();
        } catch (CErrorObject* error) {
            HandleError(error, &trace);
        } catch (...) {
            foreignException = true;
        }

        linkLocker.Lock();
        if (link->orphaned) {
            // The destructor gave up on this worker: the object is gone.
            if (deleteAfterRun) {
                delete runObject;
            }
            return false;
        }
        if (foreignException) {
            ThrowError("Fatal Error!", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                       nullptr, "Exception not caught", E_KX_HRESULT_UNKNOWN_EXCEPTION);
        }
        if (m_lDictId < 0) {
            CleanRunInfo();
        } else if (!CComponentShellThreadPool::ReleaseThread(this)) {
            ThrowError("CComponentShellThreadPool::ReleaseThread(pThread)", kSource,
                       KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr, "",
                       E_KX_HRESULT_ASSERT_FAILED);
        }
    }
}

CThread::~CThread() {
    KxGuardDestructor(kSource, __LINE__, nullptr, [this] {
        Abort();
        m_pRunEvent->Set();
        DWORD wait = WaitForSingleObject(m_hThread, TIMEOUT_FINISH);
        UnregisterThread(m_pLink->posixId);
        if (wait != WAIT_OBJECT_0) {
            {
                CCritSectionLocker linkLocker(m_pLink->lock);
                m_pLink->orphaned = true;
            }
            RepairError("\"WAIT_OBJECT_0 !=  WaitForSingleObject(m_hThread, TIMEOUT_FINISH)\"",
                        kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                        "timeout when deleting thread", E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
            CloseHandle(m_hThread);
        } else if (!CloseHandle(m_hThread)) {
            RepairError("CloseHandle(m_hThread)", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr,
                        nullptr, nullptr, "error closing thread handle",
                        E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
        }
        m_hThread = nullptr;
    });
    delete m_pRunEvent;
    delete m_pCreatedEvent;
}

// --- work ---------------------------------------------------------------------

void CThread::InstallRunObjectLocked(CThreadRunObject* runObject, bool deleteAfterRun) {
    m_pThreadRunObject = runObject;
    if (runObject != nullptr) {
        m_bDeleteAfterRun = deleteAfterRun;
        runObject->SetCallingThread(this);
    } else {
        m_bDeleteAfterRun = false;
    }
}

// Creating a run object's finished event may fail and raise an error, which
// takes the error-reporting lock and then the pool's and a thread's lock: it
// must not happen under this thread's lock. SetRunObject and Start make the
// event before they lock; here it normally exists already.
void CThread::PrepareFinishedEvent(CThreadRunObject* runObject) {
    if (runObject != nullptr) {
        runObject->CreateFinishedEventHandle();
    }
}

void CThread::StartInstalledLocked() {
    m_hFinishedEvent = m_pThreadRunObject->CreateFinishedEventHandle();
    if (m_hFinishedEvent != nullptr) {
        ResetEvent(m_hFinishedEvent);
    }
}

// The run event is set once the lock is released: the woken worker takes
// the lock first thing and would otherwise sleep again until it is free.
void CThread::WakeWorker() {
    m_pRunEvent->Set();
}

void CThread::SetRunObject(CThreadRunObject* runObject, bool deleteAfterRun) {
    PrepareFinishedEvent(runObject);
    int refusal = 0;
    {
        CCritSectionLocker locker(*this);
        if (State() == eThreadState_Running) {
            refusal = 1;
        } else if (m_bAbortThread) {
            refusal = 2;
        } else {
            InstallRunObjectLocked(runObject, deleteAfterRun);
        }
    }
    if (refusal == 1) {
        ReportRefusal(__LINE__, "m_eState != eThreadState_Running",
                      "thread object already running");
    } else if (refusal == 2) {
        ReportRefusal(__LINE__, "!m_bAbortThread", "manipulation of aborted thread not allowed");
    }
}

void CThread::StartRunObject() {
    int refusal = 0;
    {
        CCritSectionLocker locker(*this);
        if (m_pThreadRunObject == nullptr) {
            refusal = 1;
        } else if (State() == eThreadState_Running) {
            refusal = 2;
        } else if (m_bAbortThread) {
            refusal = 3;
        } else {
            StartInstalledLocked();
        }
    }
    if (refusal == 0) {
        WakeWorker();
    } else if (refusal == 1) {
        ReportRefusal(__LINE__, "NULL != m_pThreadRunObject",
                      "no run object set by SetRunObject()");
    } else if (refusal == 2) {
        ReportRefusal(__LINE__, "m_eState != eThreadState_Running",
                      "thread object already running");
    } else if (refusal == 3) {
        ReportRefusal(__LINE__, "!m_bAbortThread", "start of aborted thread not allowed");
    }
}

void CThread::Start(CThreadRunObject* runObject, bool deleteAfterRun,
                    KXThreadPriorityType priority) {
    PrepareFinishedEvent(runObject);
    int refusal = 0;
    {
        CCritSectionLocker locker(*this);
        if (State() == eThreadState_Running) {
            refusal = 1;
        } else if (m_bAbortThread) {
            refusal = 2;
        } else if (runObject == nullptr) {
            // A start without work would end the worker; refuse it instead.
            refusal = 3;
        } else {
            InstallRunObjectLocked(runObject, deleteAfterRun);
            if (priority != KXThreadPriority_Normal) {
                SetPriorityLocked(priority);
            }
            StartInstalledLocked();
        }
    }
    if (refusal == 0) {
        WakeWorker();
    } else if (refusal == 1) {
        ReportRefusal(__LINE__, "m_eState != eThreadState_Running",
                      "thread object already running");
    } else if (refusal == 2) {
        ReportRefusal(__LINE__, "!m_bAbortThread", "manipulation of aborted thread not allowed");
    } else if (refusal == 3) {
        ReportRefusal(__LINE__, "NULL != m_pThreadRunObject",
                      "no run object set by SetRunObject()");
    }
}

bool CThread::SetPriorityLocked(KXThreadPriorityType priority) {
    if (!SetThreadPriority(m_hThread, priority)) {
        return false;
    }
    m_ePriority.store(priority, std::memory_order_relaxed);
    return true;
}

bool CThread::SetPriority(KXThreadPriorityType priority) {
    CCritSectionLocker locker(*this);
    if (m_hThread == nullptr) {
        locker.Unlock();
        ThrowError("m_hThread == NULL", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                   nullptr, "", E_POINTER);
    }
    return SetPriorityLocked(priority);
}

void CThread::Abort() {
    CCritSectionLocker locker(*this);
    CThreadRunObject* runObject = m_pThreadRunObject;
    m_pThreadRunObject = nullptr;
    if (m_bAbortThread) {
        return;
    }
    m_bAbortThread = true;
    if (runObject == nullptr) {
        return;
    }
    if (State() == eThreadState_Running) {
        // Called outside the lock: the run object may call back into the
        // thread. Until it returns, CleanRunInfo leaves deleting the object
        // and signalling its finished event to this call.
        m_bAbortCallInProgress = true;
        locker.Unlock();
        runObject->Abort();
        locker.Lock();
        m_bAbortCallInProgress = false;
        CThreadRunObject* deferredDelete = m_pDeferredDelete;
        HANDLE deferredFinished = m_hDeferredFinished;
        m_pDeferredDelete = nullptr;
        m_hDeferredFinished = nullptr;
        locker.Unlock();
        delete deferredDelete;
        if (deferredFinished != nullptr) {
            SetEvent(deferredFinished);
        }
        return;
    }
    // Installed (perhaps started) but the worker will see the abort flag
    // first: this work never runs. Release its waiter and its ownership.
    HANDLE finished = m_hFinishedEvent;
    bool deleteAfterRun = m_bDeleteAfterRun;
    m_hFinishedEvent = nullptr;
    m_bDeleteAfterRun = false;
    locker.Unlock();
    if (finished != nullptr) {
        SetEvent(finished);
    }
    if (deleteAfterRun) {
        delete runObject;
    }
}

CThread::RunEnd CThread::EndRun() {
    RunEnd end;
    SystemName systemName;
    {
        CCritSectionLocker locker(*this);
        if (m_bDeleteAfterRun) {
            end.toDelete = m_pThreadRunObject != nullptr ? m_pThreadRunObject : m_pRunningObject;
            if (end.toDelete != nullptr) {
                m_hFinishedEvent = nullptr; // the object's destructor deletes the event
                m_pThreadRunObject = nullptr;
            }
        }
        end.finished = m_hFinishedEvent;
        m_bDeleteAfterRun = false;
        m_hFinishedEvent = nullptr;
        m_pThreadRunObject = nullptr;
        m_pRunningObject = nullptr;
        SetState(eThreadState_Idle);
        if (Priority() != KXThreadPriority_Normal) {
            SetPriorityLocked(KXThreadPriority_Normal);
        }
        m_strThreadName = kFreeThreadName;
        systemName.Take(m_strThreadName);
        if (m_bAbortCallInProgress) {
            m_pDeferredDelete = end.toDelete;
            m_hDeferredFinished = end.finished;
            end = RunEnd();
        }
    }
    // The system's name before the signal: a waiter released by the
    // finished event sees the thread completely cleaned up.
    PushSystemName(systemName.text);
    return end;
}

void CThread::FinishRunEnd(const RunEnd& end) {
    delete end.toDelete;
    if (end.finished != nullptr) {
        SetEvent(end.finished);
    }
}

void CThread::CleanRunInfo() {
    FinishRunEnd(EndRun());
}

void CThread::InvalidateRunObject() {
    CCritSectionLocker locker(*this);
    m_hFinishedEvent = nullptr;
    CThreadRunObject* runObject = m_pThreadRunObject;
    m_pThreadRunObject = nullptr;
    // Its owner takes it away: it must not be deleted after the run either.
    m_pRunningObject = nullptr;
    m_bDeleteAfterRun = false;
    if (runObject != nullptr) {
        runObject->ClearFinishedEventHandle();
    }
}

// --- names --------------------------------------------------------------------

void CThread::StoreName(const char* name) {
    CCritSectionLocker locker(*this);
    m_strThreadName = name != nullptr ? name : "";
}

// Stores the name and takes the part the system keeps under one lock, then
// names the thread without it.
void CThread::SetThreadName(const char* name) {
    SystemName systemName;
    {
        CCritSectionLocker locker(*this);
        m_strThreadName = name != nullptr ? name : "";
        systemName.Take(m_strThreadName);
    }
    PushSystemName(systemName.text);
}

std::string CThread::GetThreadName() const {
    CCritSectionLocker locker(*this);
    return m_strThreadName;
}

void CThread::ResetThreadName() {
    SetThreadName(kFreeThreadName);
}

void CThread::SetThreadNameToDefault() {
    SystemName systemName;
    {
        CCritSectionLocker locker(*this);
        if (m_strThreadName != kFreeThreadName) {
            return;
        }
        m_strThreadName = kDefaultRunningName;
        systemName.Take(m_strThreadName);
    }
    PushSystemName(systemName.text);
}

void CThread::PutThreadNameToDebugger() {
    SystemName systemName;
    {
        CCritSectionLocker locker(*this);
        systemName.Take(m_strThreadName);
    }
    PushSystemName(systemName.text);
}

void CThread::PushSystemName(const char* name) {
    KxTamarind::SetThreadName(m_pLink->posixId, name);
}

void SetThreadName(unsigned long threadId, const char* name) {
    char szTruncatedName[16] = {};
    if (name != nullptr) {
        std::strncpy(szTruncatedName, name, 15);
    }
    szTruncatedName[15] = '\0';
    const pthread_t target = static_cast<pthread_t>(threadId);
    int result = ESRCH;
    if (pthread_equal(target, pthread_self())) {
        result = pthread_setname_np(target, szTruncatedName);
    } else {
        // Another thread's identity cannot be checked by the system: naming a
        // thread that ended is undefined. Only the library's own live threads
        // are named from outside.
        ThreadIdentityRegistry& registry = Registry();
        CCritSectionLocker locker(registry.lock);
        auto listed = registry.identities.find(threadId);
        if (listed != registry.identities.end()) {
            result = NameListedThread(target, listed->second, szTruncatedName);
        }
    }
    if (result != 0) {
        RepairError("pthread_setname_np(threadId, szTruncatedName) == 0", kSource,
                    KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                    "Setting thread name failed.", E_KX_HRESULT_ASSERT_FAILED, nullptr);
    }
}

} // namespace KxTamarind
