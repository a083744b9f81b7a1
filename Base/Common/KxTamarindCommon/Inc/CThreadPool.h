// The process-wide thread pool and its front.
//
// CThreadPool keeps the framework's worker threads in two sub-pools by
// apartment model (single- and multi-threaded). A handed-out thread sits in
// its sub-pool's dictionary under its dictionary id; an idle one waits in the
// idle list. GetThread hands out the thread released last (front of the idle
// list) or creates a new one; the worker hands itself back with
// ReleaseThread after its run. Threads are deleted only by DestroyThreads and
// ClearReleasedThreads, and only from the idle list.
//
// One global pool exists from load time (GetGlobalThreadPool()); at process
// exit it frees its lists but not its threads. CComponentShellThreadPool is
// the stateless front the framework calls; it forwards to the global pool.
//
// Thread safety: every operation takes the pool's (re-entrant) lock unless
// its contract says otherwise. Lock order (see CCritSection.h): the
// error-reporting lock, then the pool's lock, then a thread's lock; never the
// reverse. A thrown error looks the calling thread up in the pool under the
// error-reporting lock, so the pool raises errors only without its lock, and
// it creates threads (which may fail and raise) and waits only without its
// lock. Repaired errors may be reported under the pool's lock (it is
// re-entrant). Misuse is reported as a repaired error and answered with
// false; an unknown apartment model raises an error.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <cstdio>
#include <list>
#include <map>

#include "CCritSection.h"
#include "CThread.h"

namespace KxTamarind {

class CObjectDataReferenceBase;

// A pooled thread: its ThreadId() is its dictionary id.
class KXTAMARIND_API CThreadPoolElement : public CThread {
public:
    CThreadPoolElement(KXApartmentModelType model, long dictId);
    ~CThreadPoolElement() override;

    // Guarded by the pool's lock.
    bool Reserved() const { return m_bReserved; }
    void SetReserved(bool reserved) { m_bReserved = reserved; }
    long DictId() const { return m_lDictId; }
    void AbortThread() { Abort(); }
    eThreadState GetThreadState() const { return State(); }

private:
    bool m_bReserved;
    const long m_lDictId;
};

// One sub-pool; guarded by the pool's lock. Its destructor frees the list
// and map nodes, never the threads.
class KXTAMARIND_API CThreadPoolPrivate {
public:
    explicit CThreadPoolPrivate(KXApartmentModelType model);
    ~CThreadPoolPrivate();

    // Aborts every handed-out thread; true when all of them were idle.
    bool RequestAllThreadsIdle();
    // True when every handed-out thread is idle; with `report` each one that
    // is not is reported as a repaired error "Thread %s is still running".
    bool CheckAllThreadsIdle(bool report);

    std::map<long, CThreadPoolElement*> m_Dictionary;
    std::list<CThreadPoolElement*> m_IdleList;
    unsigned long m_iAllocated;
    const KXApartmentModelType m_eApartmentModel;
};

class KXTAMARIND_API CThreadPool : public CCritSection {
public:
    CThreadPool();
    ~CThreadPool() override;

    // 0 the multi-threaded, 2 the single-threaded sub-pool; any other model
    // raises "unknown apartment model".
    CThreadPoolPrivate& operator[](KXApartmentModelType model);

    // Creates `count` fixed threads at the end of the idle list; always true.
    bool CreateThreads(unsigned long count, KXApartmentModelType model);
    // Deletes up to `count` idle threads; false when `count` exceeds the
    // number of fixed threads (the idle threads are deleted all the same).
    bool DestroyThreads(unsigned long count, KXApartmentModelType model);
    // An idle, reserved thread named `name`, taken from the idle list or
    // newly created; the caller starts it. `object` is not used.
    CThread* GetThread(KXApartmentModelType model, const char* name,
                       CObjectDataReferenceBase* object);
    CThread* GetMTAThread(const char* name, CObjectDataReferenceBase* object);
    // Called by the worker after its run: cleans the run info and puts the
    // thread at the front of the idle list. False (reported) for null or for
    // a thread the pool has not handed out.
    bool ReleaseThread(CThread* thread);
    // Deletes every idle thread (multi-threaded sub-pool first).
    void ClearReleasedThreads();
    bool CheckAllThreadsIdle();
    // Asks every handed-out thread to abort and waits up to 100 x 50 ms for
    // them to become idle. The single-threaded sub-pool's result, forced to
    // false when the multi-threaded one did not become idle.
    bool RequestAllThreadsIdle();
    bool RequestPoolIdle(CThreadPoolPrivate& pool);
    CThread* QueryRunningThread(const char* name);
    CThread* GetThreadById(long systemThreadId);
    bool IsSTAThread(long systemThreadId);
    // Pushes every thread's name to the system (no lock taken).
    void UpdateThreadNamesForDebugger(CThreadPoolPrivate& pool);
    void UpdateThreadNamesForDebugger();
    void DumpPool(const CComBSTR& fileName);
    void DumpPoolInFile(FILE* file, const char* title, CThreadPoolPrivate& pool);
    void DumpPoolThreadInFile(FILE* file, CThreadPoolElement* thread);

    static const char* ThreadStateString(eThreadState state);
    static const char* ThreadPriorityString(KXThreadPriorityType priority);
    static const char* ApartmentModelString(KXApartmentModelType model);

private:
    static void ValidateModel(KXApartmentModelType model);

    long m_lNextDictId;
    CThreadPoolPrivate m_STAPool;
    CThreadPoolPrivate m_MTAPool;
};

// The process-wide pool (never null).
KXTAMARIND_API CThreadPool* GetGlobalThreadPool();

// The framework's front of the global pool.
class KXTAMARIND_API CComponentShellThreadPool {
public:
    static bool CreateThreads(unsigned long count, KXApartmentModelType model);
    static bool DestroyThreads(unsigned long count, KXApartmentModelType model);
    static CThread* GetThread(KXApartmentModelType model, const char* name,
                              CObjectDataReferenceBase* object);
    static CThread* GetMTAThread(const char* name, CObjectDataReferenceBase* object);
    static bool ReleaseThread(CThread* thread);
    static void DumpPool(const CComBSTR& fileName);
    // A multi-threaded pool thread named `name`, started with the run
    // object. Raises "could not get thread from pool" when none is to be had.
    static CThread* StartMTAThread(const char* name, CThreadRunObject* runObject,
                                   CObjectDataReferenceBase* object, bool deleteAfterRun,
                                   KXThreadPriorityType priority);
};

} // namespace KxTamarind
