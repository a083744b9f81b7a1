// CThread: one worker thread of the component framework, and the work it
// runs (CThreadRunObject).
//
// A CThread is created once; its constructor starts the worker, which enters
// the apartment of the thread's model and waits for work. Start() (or
// SetRunObject() + StartRunObject()) hands it a run object whose Run() is
// called on the worker. After the run a free-standing thread (negative
// dictionary id) cleans up and waits again; a pooled thread (id >= 0) hands
// itself back to the process-wide pool. Each thread keeps a readable name,
// pushed to the operating system's thread name, and a priority; while a
// thread lives it holds one file descriptor (close-on-exec) through which
// other threads name it.
//
// Misuse (starting a running or aborted thread) is reported as a repaired
// error and ignored; construction failures raise an error (ThrowError).
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <atomic>
#include <memory>
#include <string>

#include "CCritSection.h"

namespace KxTamarind {

class CKxEvent;
class CThread;
class CTraceCallStackObject;

// Apartment of a thread: 0 multi-threaded, 2 single-threaded. Any other value
// is entered as multi-threaded.
enum KXApartmentModelType {
    KXApartmentModel_MultiThreaded = 0,
    KXApartmentModel_SingleThreaded = 2
};

// Thread priorities; the values are the platform's, passed unchanged to
// SetThreadPriority.
enum KXThreadPriorityType {
    KXThreadPriority_Idle = -15,
    KXThreadPriority_Lowest = -2,
    KXThreadPriority_BelowNormal = -1,
    KXThreadPriority_Normal = 0,
    KXThreadPriority_AboveNormal = 1,
    KXThreadPriority_Highest = 2,
    KXThreadPriority_TimeCritical = 15
};

enum eThreadState {
    eThreadState_Undefined = 0, // the worker has not started yet
    eThreadState_Idle = 1,
    eThreadState_Running = 2
};

// The work of one run. Run() is executed on the worker; Abort() is called
// from the aborting thread (never under the thread's lock) and should make a
// running Run() return soon.
//
// With the create-finished-event flag the object carries a manual-reset
// "finished" event per run, on which one thread may wait once with
// WaitRunFinished(). The event is handed over by atomic exchange, so a
// waiter and ClearFinishedEventHandle() never both delete it.
class KXTAMARIND_API CThreadRunObject {
public:
    explicit CThreadRunObject(bool createFinishedEvent = false);
    virtual ~CThreadRunObject();

    CThreadRunObject(const CThreadRunObject&) = delete;
    CThreadRunObject& operator=(const CThreadRunObject&) = delete;

    virtual void Run() = 0;
    virtual void Abort() {}

    // Creates the finished event (signalled, manual reset) when the flag is
    // set and none exists; returns its handle, or null without the flag.
    HANDLE CreateFinishedEventHandle();
    // Takes the finished event out of the object and deletes it.
    void ClearFinishedEventHandle();
    // Takes the finished event out and waits on it; true when there was none
    // or it was signalled in time, false when the wait timed out. A second
    // call for the same run returns true at once.
    bool WaitRunFinished(long milliseconds);

    void SetCallingThread(CThread* thread) {
        m_pCallingThread.store(thread, std::memory_order_relaxed);
    }
    CThread* CallingThread() const { return m_pCallingThread.load(std::memory_order_relaxed); }

private:
    std::atomic<CThread*> m_pCallingThread;
    std::atomic<CKxEvent*> m_pFinishedEvent;
    bool m_bCreateFinishedEvent;
};

// The thread object; it is its own lock. Every member that reads or writes
// the run object, state, flags, name or priority holds that lock. The
// accessors ApartmentModel() ... State() are lock-free reads.
//
// Lock order (see CCritSection.h): the worker's link to this object, then
// the error-reporting lock, then the pool's lock, then a thread's lock, then
// the thread-handle registry (a leaf). The pool's lock may be held while a
// thread's lock is taken, never the reverse. Therefore no method reports an
// error (which looks the calling thread up in the pool) while holding the
// thread's lock.
class KXTAMARIND_API CThread : public CCritSection {
public:
    // Starts the worker and returns once it is idle. Raises an error when
    // the thread cannot be created or does not start.
    CThread(KXApartmentModelType model, long dictId);
    // Aborts the run, wakes the worker and waits up to 5000 ms for it to end;
    // a worker that does not end in time is reported and left running (it
    // no longer touches this object). Never throws.
    ~CThread() override;

    void SetRunObject(CThreadRunObject* runObject, bool deleteAfterRun);
    void StartRunObject();
    // Installs and starts in one step; `runObject` must not be null.
    void Start(CThreadRunObject* runObject, bool deleteAfterRun,
               KXThreadPriorityType priority = KXThreadPriority_Normal);
    // Raises E_POINTER without a thread handle; true when the platform
    // accepted the priority (only then it is stored).
    bool SetPriority(KXThreadPriorityType priority);
    // Marks the thread aborted (a second call does nothing) and calls the
    // running run object's Abort() outside the lock. The worker ends at its
    // next wake-up.
    void Abort();

    void SetThreadName(const char* name);
    std::string GetThreadName() const;
    void ResetThreadName();        // "Free Thread"
    void SetThreadNameToDefault(); // "Running Thread Default Name" if the name is "Free Thread"
    void PutThreadNameToDebugger();

    // After a run: deletes (delete flag) or forgets the run object, signals
    // the finished event, state idle, priority 0, name "Free Thread".
    void CleanRunInfo();
    // The run object goes away before its run ends: forget it and its
    // finished event.
    void InvalidateRunObject();

    KXApartmentModelType ApartmentModel() const { return m_eApartmentModel; }
    KXThreadPriorityType Priority() const { return m_ePriority.load(std::memory_order_relaxed); }
    long ThreadId() const { return m_lDictId; }
    unsigned long SystemThreadId() const {
        return m_uSystemThreadId.load(std::memory_order_relaxed);
    }
    HANDLE ThreadHandle() const { return m_hThread; }
    eThreadState State() const { return m_eState.load(std::memory_order_relaxed); }

private:
    friend class CThreadPool;
    struct WorkerLink;
    // What ending a run leaves to be done once no lock is held: the run
    // object to delete and the finished event to signal.
    struct RunEnd {
        CThreadRunObject* toDelete = nullptr;
        HANDLE finished = nullptr;
    };

    static unsigned internalRun(void* pData);
    // The worker's loop; false when the thread object was given up by its
    // destructor and must not be touched any more.
    bool RunLoop(const std::shared_ptr<WorkerLink>& link, CTraceCallStackObject& trace);
    void StoreName(const char* name);
    // Names the thread for the system (at most 15 characters).
    void PushSystemName(const char* name);
    // CleanRunInfo in two steps, so that the pool can put the thread back
    // before the run object is deleted and its waiter released: EndRun does
    // everything else (the system's name included) and returns what is left
    // for FinishRunEnd, which needs no lock.
    RunEnd EndRun();
    static void FinishRunEnd(const RunEnd& end);
    void InstallRunObjectLocked(CThreadRunObject* runObject, bool deleteAfterRun);
    // Makes the run object's finished event (if it wants one) before the
    // thread's lock is taken: a failure raises an error.
    static void PrepareFinishedEvent(CThreadRunObject* runObject);
    void StartInstalledLocked();
    void WakeWorker();
    void SetState(eThreadState state) { m_eState.store(state, std::memory_order_relaxed); }
    bool SetPriorityLocked(KXThreadPriorityType priority);

    std::string m_strThreadName;
    const long m_lDictId;
    HANDLE m_hThread;
    std::atomic<unsigned long> m_uSystemThreadId;
    CKxEvent* m_pCreatedEvent;
    CKxEvent* m_pRunEvent;
    bool m_bAbortThread;
    const KXApartmentModelType m_eApartmentModel;
    std::atomic<KXThreadPriorityType> m_ePriority;
    CThreadRunObject* m_pThreadRunObject;
    std::atomic<eThreadState> m_eState;
    HANDLE m_hFinishedEvent;
    bool m_bDeleteAfterRun;

    // The object the worker is running (kept even when Abort() clears
    // m_pThreadRunObject, so that a run object to delete is not lost), and a
    // deletion deferred while Abort() calls into that object.
    CThreadRunObject* m_pRunningObject;
    CThreadRunObject* m_pDeferredDelete;
    HANDLE m_hDeferredFinished;
    bool m_bAbortCallInProgress;
    // Shared with the worker; lets a worker that outlives the 5000 ms limit
    // of the destructor find out that the object is gone.
    std::shared_ptr<WorkerLink> m_pLink;
};

// Sets the operating system's name of a thread: at most the first 15
// characters of `name`. `threadId` is the thread's POSIX identity, a
// pthread_t (which unsigned long holds unchanged on the 32- and 64-bit
// targets): pthread_self() names the calling thread, and the identity of a
// live CThread of this library (GetThreadPosixHandle of its ThreadHandle())
// names that thread from any thread. Any other identity is refused, because
// the system cannot check it and naming a thread that has ended is
// undefined. A refusal, by this rule or by the system, is reported as a
// repaired error "Setting thread name failed.".
KXTAMARIND_API void SetThreadName(unsigned long threadId, const char* name);

} // namespace KxTamarind
