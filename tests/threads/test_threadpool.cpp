// CThreadPool and its front: assignment and release order, fixed threads,
// DestroyThreads, misuse of ReleaseThread, idle requests, look-ups, the dump,
// and the thread name of error records raised on pool threads.
#include <gtest/gtest.h>

#include <cstdio>

#include "CErrorObject.h"
#include "CThreadPool.h"
#include "KxErrorReporting.h"
#include "KxKernelRemote.h"
#include "threads/ThreadTestSupport.h"

using namespace KxTamarind;
using namespace KxThreadTest;

namespace {

constexpr KXApartmentModelType kMTA = KXApartmentModel_MultiThreaded;
constexpr KXApartmentModelType kSTA = KXApartmentModel_SingleThreaded;

std::string Dump(CThreadPool& pool, KXApartmentModelType model, const char* title) {
    FILE* file = std::tmpfile();
    pool.DumpPoolInFile(file, title, pool[model]);
    std::rewind(file);
    std::string text;
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, file) != nullptr) {
        text += buffer;
    }
    std::fclose(file);
    return text;
}

// Runs a short run object on the thread and waits until it is back in the
// pool: the finished event is signalled inside the release, under the pool's
// lock, so once this thread gets the lock the release is complete.
void RunOnce(CThread* thread) {
    GateRunObject run;
    thread->Start(&run, false);
    ASSERT_TRUE(run.WaitRunFinished(30000));
    CCritSectionLocker released(*GetGlobalThreadPool());
}

} // namespace

TEST(ThreadPool, GetThreadCreatesThreadsWithTheSharedNextId) {
    CThreadPool& pool = *GetGlobalThreadPool();
    CThread* a = pool.GetThread(kMTA, "alpha", nullptr);
    CThread* b = pool.GetThread(kSTA, "beta", nullptr);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(a->ThreadId(), 0);
    EXPECT_EQ(b->ThreadId(), 1);
    EXPECT_EQ(a->ApartmentModel(), kMTA);
    EXPECT_EQ(b->ApartmentModel(), kSTA);
    EXPECT_EQ(a->GetThreadName(), "alpha");
    EXPECT_EQ(SystemThreadName(a->SystemThreadId()), "alpha");
    EXPECT_TRUE(static_cast<CThreadPoolElement*>(a)->Reserved());
    EXPECT_EQ(a->State(), eThreadState_Idle);
    EXPECT_EQ(Dump(pool, kMTA, "MTA").substr(0, 50),
              "MTA(Alloc=0, [Total=1 (Running=1 Idle=0))\nState   ");
    RunOnce(a);
    RunOnce(b);
    EXPECT_FALSE(static_cast<CThreadPoolElement*>(a)->Reserved());
    EXPECT_EQ(pool[kMTA].m_IdleList.size(), 1u);
    EXPECT_EQ(pool[kSTA].m_IdleList.size(), 1u);
    EXPECT_TRUE(pool[kMTA].m_Dictionary.empty());
}

TEST(ThreadPool, ReleasedLastIsHandedOutFirst) {
    CThreadPool& pool = *GetGlobalThreadPool();
    CThread* a = pool.GetThread(kMTA, "A", nullptr);
    CThread* b = pool.GetThread(kMTA, "B", nullptr);
    RunOnce(a);
    RunOnce(b);
    EXPECT_EQ(pool.GetThread(kMTA, "next", nullptr), b);
    EXPECT_EQ(pool.GetThread(kMTA, "after", nullptr), a);
    EXPECT_EQ(b->GetThreadName(), "next");
    RunOnce(a);
    RunOnce(b);
}

TEST(ThreadPool, FixedThreadsGoToTheBackReleasedOnesToTheFront) {
    CThreadPool& pool = *GetGlobalThreadPool();
    EXPECT_TRUE(pool.CreateThreads(2, kSTA));
    ASSERT_EQ(pool[kSTA].m_IdleList.size(), 2u);
    CThreadPoolElement* first = pool[kSTA].m_IdleList.front();
    CThreadPoolElement* second = pool[kSTA].m_IdleList.back();
    EXPECT_EQ(first->ThreadId(), 0);
    EXPECT_EQ(second->ThreadId(), 1);
    EXPECT_EQ(first->State(), eThreadState_Idle);
    EXPECT_EQ(pool[kSTA].m_iAllocated, 2ul);

    CThread* taken = pool.GetThread(kSTA, "taken", nullptr);
    EXPECT_EQ(taken, first);
    RunOnce(taken);
    EXPECT_EQ(pool[kSTA].m_IdleList.front(), first);
    EXPECT_TRUE(pool.CreateThreads(1, kSTA));
    EXPECT_EQ(pool[kSTA].m_IdleList.back()->ThreadId(), 2);
    EXPECT_EQ(pool[kSTA].m_iAllocated, 3ul);
}

TEST(ThreadPool, DestroyThreadsOutOfRangeReturnsFalseSilentlyAndStillDeletes) {
    CThreadPool& pool = *GetGlobalThreadPool();
    EXPECT_TRUE(pool.CreateThreads(2, kMTA));
    CThread* extra = pool.GetThread(kMTA, "extra", nullptr);
    CThread* handedOut = pool.GetThread(kMTA, "kept", nullptr);
    CThread* third = pool.GetThread(kMTA, "third", nullptr); // beyond the fixed ones
    EXPECT_EQ(third->ThreadId(), 2);
    RunOnce(extra);
    RunOnce(third);
    // All three are idle now: kept, third, extra.
    RunOnce(handedOut);
    ASSERT_EQ(pool[kMTA].m_IdleList.size(), 3u);

    LockedRecorder recorder;
    EXPECT_FALSE(pool.DestroyThreads(5, kMTA));
    EXPECT_EQ(recorder.Count(), 0u);
    EXPECT_TRUE(pool[kMTA].m_IdleList.empty());
    EXPECT_EQ(pool[kMTA].m_iAllocated, 2ul);
    EXPECT_EQ(Dump(pool, kMTA, "M"), "M(Alloc=2, [Total=0 (Running=0 Idle=0))\n");
}

TEST(ThreadPool, DestroyThreadsInRangeIsRecorded) {
    CThreadPool& pool = *GetGlobalThreadPool();
    EXPECT_TRUE(pool.CreateThreads(2, kSTA));
    LockedRecorder recorder;
    EXPECT_TRUE(pool.DestroyThreads(1, kSTA));
    EXPECT_EQ(pool[kSTA].m_IdleList.size(), 1u);
    EXPECT_EQ(pool[kSTA].m_IdleList.front()->ThreadId(), 1);
    auto records = recorder.Records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_STREQ(records[0].GetCondition(), "iCount > Pool.m_iAllocated");
    EXPECT_STREQ(records[0].GetFileName(), "Base/Common/KxTamarindCommon/Src/CThreadPool");
}

TEST(ThreadPool, ReleaseThreadMisuse) {
    CThreadPool& pool = *GetGlobalThreadPool();
    LockedRecorder recorder;
    EXPECT_FALSE(pool.ReleaseThread(nullptr));
    CThread stranger(kMTA, 7);
    EXPECT_FALSE(pool.ReleaseThread(&stranger));
    auto records = recorder.Records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_STREQ(records[0].GetCondition(), "pThread != NULL");
    EXPECT_STREQ(records[0].GetAdditionalInfo(),
                 "ReleaseThread was called with NULL-Pointer to Threadobject");
    EXPECT_EQ(records[0].GetErrorCode(), static_cast<long>(static_cast<HRESULT>(0x80001008u)));
    EXPECT_STREQ(records[1].GetCondition(), "false");
    EXPECT_STREQ(records[1].GetAdditionalInfo(), "Thread to release was not found in Threadpool");
    EXPECT_EQ(records[1].GetErrorCode(), static_cast<long>(static_cast<HRESULT>(0x80001007u)));
    // The look-up left an empty entry under id 7; it counts in the dump but
    // shows no row.
    EXPECT_EQ(pool[kMTA].m_Dictionary.count(7), 1u);
    EXPECT_EQ(pool[kMTA].m_Dictionary[7], nullptr);
    EXPECT_EQ(Dump(pool, kMTA, "M"),
              "M(Alloc=0, [Total=1 (Running=1 Idle=0))\n"
              "State   Prio           DictId  ThreadId  CoClass             Object              "
              "Guid\n");
    EXPECT_EQ(pool.GetThreadById(0), nullptr);
}

TEST(ThreadPool, UnknownApartmentModelRaises) {
    CThreadPool& pool = *GetGlobalThreadPool();
    try {
        pool.GetThread(static_cast<KXApartmentModelType>(1), "x", nullptr);
        FAIL() << "no error raised";
    } catch (CErrorObject* error) {
        EXPECT_STREQ(error->GetCondition(), "false");
        EXPECT_STREQ(error->GetAdditionalInfo(), "unknown apartment model");
        EXPECT_EQ(error->GetErrorCode(), static_cast<long>(static_cast<HRESULT>(0x80001007u)));
        delete error;
    }
    EXPECT_STREQ(CThreadPool::ApartmentModelString(static_cast<KXApartmentModelType>(1)),
                 "unknownApartment");
}

TEST(ThreadPool, RequestAllThreadsIdleWaitsAtMostFiveSeconds) {
    CThreadPool& pool = *GetGlobalThreadPool();
    CThread* stubborn = pool.GetThread(kMTA, "stubborn", nullptr);
    GateRunObject run(true, false, false); // Abort does not end the run
    stubborn->Start(&run, false);
    ASSERT_TRUE(run.started.WaitOpen());
    auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(pool.RequestAllThreadsIdle());
    auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took, 4500ms);
    EXPECT_LT(took, 60s);
    EXPECT_EQ(run.aborts.load(), 1);
    run.gate.Open();
    ASSERT_TRUE(run.WaitRunFinished(30000));
}

TEST(ThreadPool, RequestAllThreadsIdleWhenRunsEndOnAbort) {
    CThreadPool& pool = *GetGlobalThreadPool();
    EXPECT_TRUE(pool.RequestAllThreadsIdle()); // nothing handed out
    CThread* worker = pool.GetThread(kSTA, "worker", nullptr);
    GateRunObject run(true, false, true); // Abort ends the run
    worker->Start(&run, false);
    ASSERT_TRUE(run.started.WaitOpen());
    EXPECT_TRUE(pool.RequestAllThreadsIdle());
    EXPECT_EQ(run.aborts.load(), 1);
    ASSERT_TRUE(run.WaitRunFinished(30000));
    EXPECT_TRUE(pool.CheckAllThreadsIdle());
}

TEST(ThreadPool, CheckAllThreadsIdleReportsRunningThreads) {
    CThreadPool& pool = *GetGlobalThreadPool();
    CThread* busy = pool.GetThread(kMTA, "busy", nullptr);
    GateRunObject run(true, false);
    busy->Start(&run, false);
    ASSERT_TRUE(run.started.WaitOpen());
    {
        LockedRecorder recorder;
        EXPECT_FALSE(pool.CheckAllThreadsIdle());
        auto records = recorder.Records();
        ASSERT_EQ(records.size(), 1u);
        EXPECT_STREQ(records[0].GetAdditionalInfo(), "Thread busy is still running");
        EXPECT_EQ(records[0].GetErrorCode(), static_cast<long>(static_cast<HRESULT>(0x80001008u)));
        // A record made on this (non-pool) thread names it by its id only.
        EXPECT_EQ(std::string(records[0].GetThreadName()), std::to_string(GetCurrentThreadId()));
    }
    run.gate.Open();
    ASSERT_TRUE(run.WaitRunFinished(30000));
}

TEST(ThreadPool, LookUpsFindHandedOutThreadsOnly) {
    CThreadPool& pool = *GetGlobalThreadPool();
    CThread* sta = pool.GetThread(kSTA, "seeker", nullptr);
    GateRunObject run(true, false);
    sta->Start(&run, false);
    ASSERT_TRUE(run.started.WaitOpen());
    long sysId = static_cast<long>(sta->SystemThreadId());
    EXPECT_EQ(pool.QueryRunningThread("seeker"), sta);
    EXPECT_EQ(pool.GetThreadById(sysId), sta);
    EXPECT_TRUE(pool.IsSTAThread(sysId));
    EXPECT_FALSE(pool.IsSTAThread(0)); // no main single-threaded thread by default
    run.gate.Open();
    ASSERT_TRUE(run.WaitRunFinished(30000));
    EXPECT_EQ(pool.QueryRunningThread("seeker"), nullptr);
    EXPECT_EQ(pool.QueryRunningThread("Free Thread"), nullptr);
    EXPECT_EQ(pool.GetThreadById(sysId), nullptr);
    EXPECT_FALSE(pool.IsSTAThread(sysId));

    SetMainSTAThreadId(4242);
    EXPECT_TRUE(pool.IsSTAThread(4242));
    SetMainSTAThreadId(0);
    EXPECT_FALSE(pool.IsSTAThread(4242));
}

TEST(ThreadPool, ErrorOnPoolThreadCarriesIdAndName) {
    LockedRecorder recorder;
    class ThrowingRun : public CThreadRunObject {
    public:
        ThrowingRun() : CThreadRunObject(true) {}
        void Run() override {
            RepairError("repaired on pool", "Test/Run", "now", 1, nullptr, nullptr, nullptr, "r",
                        E_FAIL, nullptr);
            ThrowError("thrown on pool", "Test/Run", "now", 2, nullptr, nullptr, nullptr, "t",
                       E_FAIL);
        }
    } run;
    CThread* thread = CComponentShellThreadPool::StartMTAThread("Measurement", &run, nullptr, false,
                                                                KXThreadPriority_Normal);
    ASSERT_NE(thread, nullptr);
    ASSERT_TRUE(run.WaitRunFinished(30000));
    auto records = recorder.Records();
    ASSERT_EQ(records.size(), 2u);
    std::string expected = std::to_string(thread->SystemThreadId()) + ": Measurement";
    EXPECT_EQ(std::string(records[0].GetThreadName()), expected);
    EXPECT_EQ(std::string(records[1].GetThreadName()), expected);
    EXPECT_STREQ(records[1].GetCondition(), "thrown on pool");
    EXPECT_EQ(GetGlobalThreadPool()->GetThreadById(static_cast<long>(thread->SystemThreadId())),
              nullptr);
}

TEST(ThreadPool, DumpFormatsEveryThread) {
    CThreadPool& pool = *GetGlobalThreadPool();
    EXPECT_TRUE(pool.CreateThreads(1, kMTA));
    CThread* running = pool.GetThread(kMTA, "dumped", nullptr); // takes the fixed one (id 0)
    CThread* idle = pool.GetThread(kMTA, "idle one", nullptr);  // new, id 1
    RunOnce(idle);
    GateRunObject run(true, false);
    running->Start(&run, false);
    ASSERT_TRUE(run.started.WaitOpen());
    char row0[128];
    char row1[128];
    std::snprintf(row0, sizeof row0, "run     normal         0       %-5u     dumped)\n",
                  static_cast<unsigned>(running->SystemThreadId()));
    std::snprintf(row1, sizeof row1, "idle    normal         1       %-5u     Free Thread)\n",
                  static_cast<unsigned>(idle->SystemThreadId()));
    EXPECT_EQ(Dump(pool, kMTA, "Pool MTA "),
              std::string("Pool MTA (Alloc=1, [Total=2 (Running=1 Idle=1))\n"
                          "State   Prio           DictId  ThreadId  CoClass             Object   "
                          "           Guid\n") +
                  row0 + row1);
    run.gate.Open();
    ASSERT_TRUE(run.WaitRunFinished(30000));
    EXPECT_STREQ(CThreadPool::ThreadPriorityString(static_cast<KXThreadPriorityType>(3)),
                 "unknown ");
    EXPECT_STREQ(CThreadPool::ThreadStateString(static_cast<eThreadState>(9)), "UNDEF");
    EXPECT_STREQ(CThreadPool::ThreadStateString(eThreadState_Undefined), "undef");
    EXPECT_STREQ(CThreadPool::ThreadPriorityString(KXThreadPriority_TimeCritical), "time critical");
}

TEST(ThreadPool, ClearReleasedThreadsDeletesIdleOnes) {
    CThreadPool& pool = *GetGlobalThreadPool();
    EXPECT_TRUE(pool.CreateThreads(2, kMTA));
    EXPECT_TRUE(pool.CreateThreads(1, kSTA));
    pool.ClearReleasedThreads();
    EXPECT_TRUE(pool[kMTA].m_IdleList.empty());
    EXPECT_TRUE(pool[kSTA].m_IdleList.empty());
    EXPECT_EQ(pool[kMTA].m_iAllocated, 2ul);
    CThread* fresh = pool.GetThread(kMTA, "fresh", nullptr);
    EXPECT_EQ(fresh->ThreadId(), 3);
    RunOnce(fresh);
}
