// CThread: start protocol, runs on the worker, refusals, Abort, names as the
// system sees them, priorities, errors inside Run, the destructor's limit.
#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

#include <pthread.h>
#include <unistd.h>

#include "CErrorObject.h"
#include "CThread.h"
#include "KxErrorReporting.h"
#include "threads/ThreadTestSupport.h"

using namespace KxTamarind;
using namespace KxThreadTest;

namespace {

constexpr long kFree = -1;
constexpr long kAssertFailed = static_cast<long>(static_cast<HRESULT>(0x80001007u));
constexpr long kAssertRepaired = static_cast<long>(static_cast<HRESULT>(0x80001008u));
const char kThreadSource[] = "Base/Common/KxTamarindCommon/Src/CThread";

void ExpectRecord(const CErrorObject& record, const char* condition, const char* message,
                  long code) {
    EXPECT_STREQ(record.GetCondition(), condition);
    EXPECT_STREQ(record.GetAdditionalInfo(), message);
    EXPECT_EQ(record.GetErrorCode(), code);
    EXPECT_STREQ(record.GetFileName(), kThreadSource);
}

} // namespace

TEST(Thread, RunsOnWorkerAndSignalsFinishedOnce) {
    CThread thread(KXApartmentModel_MultiThreaded, kFree);
    GateRunObject run;
    thread.Start(&run, false, KXThreadPriority_Normal);
    EXPECT_TRUE(run.WaitRunFinished(30000));
    EXPECT_EQ(run.runs.load(), 1);
    EXPECT_EQ(run.runThreadId.load(), thread.SystemThreadId());
    EXPECT_EQ(run.callingThread.load(), &thread);
    EXPECT_EQ(thread.State(), eThreadState_Idle);
    // The event was taken by the first wait: the second returns at once.
    EXPECT_TRUE(run.WaitRunFinished(0));

    // The same object runs again in two steps.
    thread.SetRunObject(&run, false);
    thread.StartRunObject();
    EXPECT_TRUE(run.WaitRunFinished(30000));
    EXPECT_EQ(run.runs.load(), 2);
}

TEST(Thread, WaitRunFinishedTimesOutWhileRunning) {
    CThread thread(KXApartmentModel_MultiThreaded, kFree);
    GateRunObject run(true, false);
    thread.Start(&run, false);
    ASSERT_TRUE(run.started.WaitOpen());
    EXPECT_FALSE(run.WaitRunFinished(20));
    run.gate.Open();
    // The timed-out wait consumed the event: nothing is left to wait on.
    EXPECT_TRUE(run.WaitRunFinished(0));
    for (int i = 0; i < 3000 && thread.State() != eThreadState_Idle; ++i) {
        Sleep(10);
    }
    EXPECT_EQ(thread.State(), eThreadState_Idle);
}

TEST(Thread, NamesAsTheSystemSeesThem) {
    CThread thread(KXApartmentModel_MultiThreaded, kFree);
    EXPECT_EQ(thread.State(), eThreadState_Idle); // the worker is up when the constructor returns
    EXPECT_NE(thread.SystemThreadId(), static_cast<unsigned long>(GetCurrentThreadId()));
    EXPECT_EQ(SystemThreadName(thread.SystemThreadId()), "Free Thread");
    // The default running name reaches the system truncated to 15 characters.
    GateRunObject run(true, false);
    thread.Start(&run, false);
    ASSERT_TRUE(run.started.WaitOpen());
    EXPECT_EQ(thread.GetThreadName(), "Running Thread Default Name");
    EXPECT_EQ(SystemThreadName(thread.SystemThreadId()), "Running Thread ");
    run.gate.Open();
    ASSERT_TRUE(run.WaitRunFinished(30000));
    EXPECT_EQ(thread.GetThreadName(), "Free Thread");
    EXPECT_EQ(SystemThreadName(thread.SystemThreadId()), "Free Thread");

    // A name given before the start survives it.
    thread.SetThreadName("ABCDEFGHIJKLMNOPQRST");
    EXPECT_EQ(thread.GetThreadName(), "ABCDEFGHIJKLMNOPQRST");
    EXPECT_EQ(SystemThreadName(thread.SystemThreadId()), "ABCDEFGHIJKLMNO");
    GateRunObject second(true, false);
    thread.Start(&second, false);
    ASSERT_TRUE(second.started.WaitOpen());
    EXPECT_EQ(thread.GetThreadName(), "ABCDEFGHIJKLMNOPQRST");
    second.gate.Open();
    ASSERT_TRUE(second.WaitRunFinished(30000));
}

TEST(Thread, FreeSetThreadNameTakesThePosixIdentity) {
    LockedRecorder recorder;
    // A thread names itself by pthread_self().
    std::string seen;
    std::thread other([&seen] {
        KxTamarind::SetThreadName(static_cast<unsigned long>(pthread_self()),
                                  "twenty-chars-name-xy");
        seen = SystemThreadName(GetCurrentThreadId());
    });
    other.join();
    EXPECT_EQ(seen, "twenty-chars-na");

    // A CThread is named from another thread by the identity behind its
    // handle.
    CThread thread(KXApartmentModel_MultiThreaded, kFree);
    pthread_t worker{};
    ASSERT_TRUE(GetThreadPosixHandle(thread.ThreadHandle(), &worker));
    KxTamarind::SetThreadName(static_cast<unsigned long>(worker), "named from afar");
    EXPECT_EQ(SystemThreadName(thread.SystemThreadId()), "named from afar");
    EXPECT_EQ(recorder.Count(), 0u);

    // Refused: a kernel thread id is no POSIX identity, and an identity the
    // library cannot vouch for is not used.
    const std::string before = SystemThreadName(GetCurrentThreadId());
    KxTamarind::SetThreadName(GetCurrentThreadId(), "kernel id");
    KxTamarind::SetThreadName(0x7FFFFFF0ul, "nobody");
    EXPECT_EQ(SystemThreadName(GetCurrentThreadId()), before);
    auto records = recorder.Records();
    ASSERT_EQ(records.size(), 2u);
    for (const CErrorObject& record : records) {
        ExpectRecord(record, "pthread_setname_np(threadId, szTruncatedName) == 0",
                     "Setting thread name failed.", kAssertFailed);
    }
}

TEST(Thread, StartOnRunningThreadIsRefused) {
    LockedRecorder recorder;
    CThread thread(KXApartmentModel_MultiThreaded, kFree);
    GateRunObject run(true, false);
    GateRunObject intruder;
    thread.Start(&run, false);
    ASSERT_TRUE(run.started.WaitOpen());
    thread.Start(&intruder, false);
    thread.SetRunObject(&intruder, false);
    thread.StartRunObject();
    run.gate.Open();
    ASSERT_TRUE(run.WaitRunFinished(30000));
    EXPECT_EQ(intruder.runs.load(), 0);
    EXPECT_EQ(run.runs.load(), 1);
    auto records = recorder.Records();
    ASSERT_EQ(records.size(), 3u);
    for (const CErrorObject& record : records) {
        ExpectRecord(record, "m_eState != eThreadState_Running", "thread object already running",
                     kAssertRepaired);
        EXPECT_TRUE(record.GetIsRepairedError());
    }
}

// Ways an idle thread ends up without a run object: StartRunObject is
// refused with one repaired record, and the forgotten object is neither run
// nor aborted.
TEST(Thread, StartRunObjectWithoutRunObjectIsRefused) {
    struct Case {
        const char* name;
        void (*forget)(CThread&, GateRunObject&);
    } cases[] = {
        {"never set", [](CThread&, GateRunObject&) {}},
        {"Start(nullptr)", [](CThread& t, GateRunObject&) { t.Start(nullptr, false); }},
        {"aborted while idle",
         [](CThread& t, GateRunObject& r) {
             t.SetRunObject(&r, false);
             t.Abort();
         }},
        {"invalidated",
         [](CThread& t, GateRunObject& r) {
             t.SetRunObject(&r, false);
             t.InvalidateRunObject();
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LockedRecorder recorder;
        CThread thread(KXApartmentModel_MultiThreaded, kFree);
        GateRunObject run;
        c.forget(thread, run);
        if (recorder.Count() == 0) {
            thread.StartRunObject();
        }
        auto records = recorder.Records();
        ASSERT_EQ(records.size(), 1u);
        ExpectRecord(records[0], "NULL != m_pThreadRunObject",
                     "no run object set by SetRunObject()", kAssertRepaired);
        EXPECT_EQ(run.runs.load() + run.aborts.load(), 0);
        EXPECT_EQ(thread.State(), eThreadState_Idle);
    }
}

TEST(Thread, AbortTwiceCallsRunObjectAbortOnceOutsideTheLock) {
    LockedRecorder recorder;
    CThread thread(KXApartmentModel_MultiThreaded, kFree);

    // The run object's Abort reads the thread's name from another thread:
    // that would block for ever if Abort were called under the thread's lock.
    class CallbackRun : public GateRunObject {
    public:
        CallbackRun() : GateRunObject(true, false) {}
        void Abort() override {
            auto name =
                std::async(std::launch::async, [this] { return CallingThread()->GetThreadName(); });
            nameFromAbort = name.wait_for(30s) == std::future_status::ready;
            GateRunObject::Abort();
        }
        bool nameFromAbort = false;
    } run;

    thread.Start(&run, false);
    ASSERT_TRUE(run.started.WaitOpen());
    thread.Abort();
    thread.Abort();
    EXPECT_TRUE(run.nameFromAbort);
    ASSERT_TRUE(run.WaitRunFinished(30000));
    EXPECT_EQ(run.aborts.load(), 1);

    // The run object was forgotten and the thread is aborted.
    thread.StartRunObject();
    GateRunObject later;
    thread.SetRunObject(&later, false);
    thread.Start(&later, false);
    auto records = recorder.Records();
    ASSERT_EQ(records.size(), 3u);
    ExpectRecord(records[0], "NULL != m_pThreadRunObject", "no run object set by SetRunObject()",
                 kAssertRepaired);
    ExpectRecord(records[1], "!m_bAbortThread", "manipulation of aborted thread not allowed",
                 kAssertRepaired);
    ExpectRecord(records[2], "!m_bAbortThread", "manipulation of aborted thread not allowed",
                 kAssertRepaired);
    EXPECT_EQ(later.runs.load(), 0);
}

TEST(Thread, DeleteAfterRunDeletesTheRunObject) {
    std::atomic<int> destroyed{0};
    CThread thread(KXApartmentModel_MultiThreaded, kFree);
    auto* run = new GateRunObject(false, true, true, &destroyed);
    thread.Start(run, true);
    for (int i = 0; i < 3000 && destroyed.load() == 0; ++i) {
        Sleep(10);
    }
    EXPECT_EQ(destroyed.load(), 1);

    // Installed with the delete flag but aborted before it ran: deleted too.
    auto* never = new GateRunObject(false, true, true, &destroyed);
    thread.SetRunObject(never, true);
    thread.Abort();
    EXPECT_EQ(destroyed.load(), 2);
}

TEST(Thread, PriorityIsStoredAndResetAfterTheRun) {
    CThread thread(KXApartmentModel_MultiThreaded, kFree);
    EXPECT_TRUE(thread.SetPriority(KXThreadPriority_BelowNormal)); // lowering needs no rights
    EXPECT_EQ(thread.Priority(), KXThreadPriority_BelowNormal);
    EXPECT_EQ(GetThreadPriority(thread.ThreadHandle()), THREAD_PRIORITY_BELOW_NORMAL);
    EXPECT_FALSE(thread.SetPriority(static_cast<KXThreadPriorityType>(7)));
    EXPECT_EQ(thread.Priority(), KXThreadPriority_BelowNormal);

    GateRunObject run(true, false);
    thread.Start(&run, false, KXThreadPriority_Lowest);
    ASSERT_TRUE(run.started.WaitOpen());
    EXPECT_EQ(thread.Priority(), KXThreadPriority_Lowest);
    run.gate.Open();
    ASSERT_TRUE(run.WaitRunFinished(30000));
    if (geteuid() == 0) { // raising back to normal needs the right to do so
        EXPECT_EQ(thread.Priority(), KXThreadPriority_Normal);
    }
}

TEST(Thread, ErrorRecordThrownInRunIsHandledAndTheWorkerGoesOn) {
    LockedRecorder recorder;
    CThread thread(KXApartmentModel_MultiThreaded, kFree);
    class ThrowingRun : public CThreadRunObject {
    public:
        ThrowingRun() : CThreadRunObject(true) {}
        void Run() override {
            ThrowError("measurement valid", "Test/Run", "now", 12, nullptr, nullptr, nullptr,
                       "lost result", E_FAIL);
        }
    } throwing;
    thread.Start(&throwing, false);
    ASSERT_TRUE(throwing.WaitRunFinished(30000));
    ASSERT_TRUE(recorder.WaitForCount(1));
    auto records = recorder.Records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_STREQ(records[0].GetCondition(), "measurement valid");
    EXPECT_EQ(records[0].GetErrorCode(), static_cast<long>(E_FAIL));
    // Not a pool thread: the record names the thread by its id only.
    EXPECT_EQ(std::string(records[0].GetThreadName()), std::to_string(thread.SystemThreadId()));

    GateRunObject next;
    thread.Start(&next, false);
    ASSERT_TRUE(next.WaitRunFinished(30000));
    EXPECT_EQ(next.runs.load(), 1);
}

TEST(Thread, ForeignExceptionEndsTheWorker) {
    LockedRecorder recorder;
    // The run object outlives the thread: the worker ends inside the run, so
    // the thread's destructor still aborts that run object.
    class ForeignRun : public CThreadRunObject {
    public:
        void Run() override { throw std::runtime_error("not an error record"); }
    } foreign;
    CThread thread(KXApartmentModel_MultiThreaded, kFree);
    thread.Start(&foreign, false);
    EXPECT_EQ(WaitForSingleObject(thread.ThreadHandle(), 30000), WAIT_OBJECT_0);
    auto records = recorder.Records();
    ASSERT_EQ(records.size(), 1u);
    ExpectRecord(records[0], "Fatal Error!", "Exception not caught",
                 static_cast<long>(static_cast<HRESULT>(0x80001003u)));
    EXPECT_FALSE(records[0].GetIsRepairedError());
}

TEST(Thread, DestructorGivesUpAfterFiveSeconds) {
    LockedRecorder recorder;
    auto* thread = new CThread(KXApartmentModel_MultiThreaded, kFree);
    // Its Abort does not make Run return.
    GateRunObject run(false, false, false);
    thread->Start(&run, false);
    ASSERT_TRUE(run.started.WaitOpen());
    unsigned long tid = thread->SystemThreadId();
    auto begin = std::chrono::steady_clock::now();
    delete thread;
    auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took, 4900ms);
    EXPECT_EQ(run.aborts.load(), 1);
    auto records = recorder.Records();
    ASSERT_EQ(records.size(), 1u);
    ExpectRecord(records[0], "\"WAIT_OBJECT_0 !=  WaitForSingleObject(m_hThread, TIMEOUT_FINISH)\"",
                 "timeout when deleting thread", kAssertRepaired);

    // The worker left behind ends without touching the deleted object.
    run.gate.Open();
    for (int i = 0; i < 3000 && ThreadExists(tid); ++i) {
        Sleep(10);
    }
    EXPECT_FALSE(ThreadExists(tid));
    EXPECT_EQ(run.runs.load(), 1);
}
