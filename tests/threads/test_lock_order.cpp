// The process's lock order (CCritSection.h): registry lists, then the
// error-reporting lock, then the pool's lock, then a thread's lock. A thrown
// error takes the error-reporting lock and then the pool's lock (to name the
// calling thread), so nothing may raise one while holding the pool's lock.
// Each test runs in a process of its own (the thrown and repaired error
// limits hold per process); a deadlock ends the process, since its exit
// would wait for the pool's lock.
#include <gtest/gtest.h>

#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "CErrorObject.h"
#include "CInterfaceList.h"
#include "CThreadPool.h"
#include "KxErrorReporting.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"
#include "registries/TestRegistry.h"
#include "threads/ThreadTestSupport.h"

using namespace KxTamarind;
using namespace KxThreadTest;
using KxTest::CatchError;
using KxTest::CountingUnknown;

namespace {

const char kSource[] = "tests/threads/test_lock_order";
constexpr KXApartmentModelType kMTA = KXApartmentModel_MultiThreaded;

// A deadlock among the library's locks cannot be undone, and the process's
// exit would wait for the pool's lock: report and end the process.
void EndProcessIfHung(bool finished, const char* what) {
    if (!finished) {
        std::fprintf(stderr, "DEADLOCK: %s did not finish\n", what);
        std::fflush(stderr);
        std::_Exit(1);
    }
}

// Takes every free slot of the platform's handle table, so that the next
// thread (or event) cannot be created; the destructor gives them back.
class HandleTableExhaustion {
public:
    HandleTableExhaustion() {
        for (;;) {
            HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
            if (event == nullptr) {
                break;
            }
            m_Handles.push_back(event);
        }
    }
    ~HandleTableExhaustion() {
        for (HANDLE event : m_Handles) {
            CloseHandle(event);
        }
    }
    size_t Count() const { return m_Handles.size(); }

private:
    std::vector<HANDLE> m_Handles;
};

// A system-error trigger that, on one thread, keeps the error-reporting
// lock (triggers run under it) until released and then does what the test
// asks under it, as the record's thread name does with the pool.
struct HoldingTrigger {
    static std::atomic<unsigned long> s_HoldingThread;
    static Gate* s_Entered;
    static Gate* s_Release;
    static std::function<void()>* s_Then;

    static void Run(const char*) {
        if (GetCurrentThreadId() != s_HoldingThread.load()) {
            return;
        }
        s_Entered->Open();
        s_Release->WaitOpen(30s);
        (*s_Then)();
    }
};
std::atomic<unsigned long> HoldingTrigger::s_HoldingThread{0};
Gate* HoldingTrigger::s_Entered = nullptr;
Gate* HoldingTrigger::s_Release = nullptr;
std::function<void()>* HoldingTrigger::s_Then = nullptr;

// One thread raises an error whose trigger holds the error-reporting lock;
// while it does, `failing` runs on another thread and must raise an error
// (the handle table is full). Then the trigger runs `then`. Both must end.
// Returns the error `failing` raised.
std::unique_ptr<CErrorObject> RaiseBesideAHeldErrorLock(std::function<void()> failing,
                                                        std::function<void()> then) {
    Gate entered;
    Gate release;
    HoldingTrigger::s_Entered = &entered;
    HoldingTrigger::s_Release = &release;
    HoldingTrigger::s_Then = &then;
    KxRegisterSystemErrorTrigger(&HoldingTrigger::Run);

    auto* exhaustion = new HandleTableExhaustion;
    EXPECT_GT(exhaustion->Count(), 0u);

    std::atomic<bool> holderDone{false};
    std::thread holder([&] {
        HoldingTrigger::s_HoldingThread = GetCurrentThreadId();
        auto error = CatchError([] {
            ThrowError("held", kSource, "", __LINE__, nullptr, nullptr, nullptr, "", E_FAIL);
        });
        EXPECT_NE(error, nullptr);
        holderDone = true;
    });
    EXPECT_TRUE(entered.WaitOpen(30s));

    std::atomic<unsigned long> failingTid{0};
    std::atomic<bool> failingDone{false};
    std::unique_ptr<CErrorObject> raised;
    std::thread other([&] {
        failingTid = static_cast<unsigned long>(GetCurrentThreadId());
        raised = CatchError(failing);
        failingDone = true;
    });
    while (failingTid.load() == 0) {
        std::this_thread::sleep_for(1ms);
    }
    // The failing call raises and waits for the error-reporting lock.
    WaitUntilAsleep(failingTid.load());
    release.Open();

    const auto end = std::chrono::steady_clock::now() + 30s;
    while (!(holderDone && failingDone) && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(1ms);
    }
    EndProcessIfHung(holderDone && failingDone, "an error raised beside a held error lock");
    holder.join();
    other.join();
    delete exhaustion;
    KxUnregisterSystemErrorTrigger(&HoldingTrigger::Run);
    return raised;
}

} // namespace

// Issue 11, fault 7: CreateThreads created its threads under the pool's
// lock. A creation that fails raises an error there, which waits for the
// error-reporting lock while holding the pool's lock, and a thread that
// raises an error at the same time holds the error-reporting lock and waits
// for the pool's lock (to name its thread): both wait for ever.
TEST(LockOrder, FailingThreadCreationRaisesOutsideThePoolLock) {
    // A thread made before the handle table is full, to show the pool works on.
    CThread* thread = GetGlobalThreadPool()->GetThread(kMTA, "lock order", nullptr);
    ASSERT_NE(thread, nullptr);

    auto error = RaiseBesideAHeldErrorLock(
        [] { GetGlobalThreadPool()->CreateThreads(1, kMTA); },
        [] { GetGlobalThreadPool()->GetThreadById(static_cast<long>(GetCurrentThreadId())); });

    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->GetErrorCode(), E_POINTER);
    EXPECT_STREQ(error->GetCondition().GetString(), "m_handle == NULL");
    GateRunObject run;
    thread->Start(&run, false);
    EXPECT_TRUE(run.WaitRunFinished(30000));
}

// The same fault with a thread's own lock: Start made the run object's
// finished event under the thread's lock, so a failure raised an error while
// holding it, against code under the error-reporting lock that reads the
// thread's name (the record's thread name, or a trigger).
TEST(LockOrder, FailingFinishedEventRaisesOutsideTheThreadLock) {
    CThread* thread = GetGlobalThreadPool()->GetThread(kMTA, "lock order", nullptr);
    ASSERT_NE(thread, nullptr);
    GateRunObject refused(true);

    auto error =
        RaiseBesideAHeldErrorLock([&] { thread->Start(&refused, false); },
                                  [&] { EXPECT_EQ(thread->GetThreadName(), "lock order"); });

    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->GetErrorCode(), E_POINTER);
    EXPECT_EQ(refused.runs.load(), 0);
    // Not started: the thread takes other work.
    GateRunObject run;
    thread->Start(&run, false);
    EXPECT_TRUE(run.WaitRunFinished(30000));
    EXPECT_EQ(run.runs.load(), 1);
}

namespace {

// One call per real thrown error (sentinels fire no trigger). Runs under the
// error-reporting lock and uses the pool there, as the record's thread name
// does.
std::atomic<int> g_TriggerCalls{0};
void CountingTrigger(const char*) {
    ++g_TriggerCalls;
    GetGlobalThreadPool()->GetThreadById(static_cast<long>(GetCurrentThreadId()));
}

// An IUnknown whose last Release raises a thrown error. A registry destroys
// a removed record under its list's lock; the record's destructor guard
// catches the error and reports it as repaired.
class RaisingUnknown : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++m_lRefs); }
    ULONG STDMETHODCALLTYPE Release() override {
        const long refs = --m_lRefs;
        if (refs == 0) {
            ThrowError("last release", kSource, "", __LINE__, nullptr, nullptr, nullptr, "",
                       E_FAIL);
        }
        return static_cast<ULONG>(refs);
    }
    long References() const { return m_lRefs.load(); }

private:
    std::atomic<long> m_lRefs{0};
};

// Releases and tolerates the error a RaisingUnknown raises.
void ReleaseRaising(IUnknown* unknown) {
    if (unknown != nullptr) {
        CatchError([unknown] { unknown->Release(); });
    }
}

// A pool run that reports a repaired error and raises a thrown one (the
// worker hands it to HandleError).
class RaisingRun : public CThreadRunObject {
public:
    RaisingRun() : CThreadRunObject(true) {}
    void Run() override {
        RepairError("run", kSource, "", __LINE__, nullptr, nullptr, nullptr, "", E_FAIL, nullptr);
        ThrowError("run", kSource, "", __LINE__, nullptr, nullptr, nullptr, "", E_FAIL);
    }
};

} // namespace

// Threads raise thrown, repaired and out-of-memory errors while others take
// threads from the pool, run them (their runs raise errors too), create and
// destroy fixed threads, check the pool, and register, enumerate and remove
// registry records whose last Release raises. Under ThreadSanitizer (its
// deadlock detector on) any two locks taken in both orders are reported.
// The process-wide limits are passed on purpose: exactly ten thrown errors
// reach the triggers and exactly one hundred repaired ones are reported.
TEST(LockOrder, ErrorsRaisedWhilePoolAndRegistriesAreBusy) {
    LockedRecorder recorder;
    KxRegisterSystemErrorTrigger(&CountingTrigger);
    CountingUnknown partner;
    RaisingUnknown raising;
    KxTest::TestRegistry registry;
    CInterfaceList interfaces;
    const GUID iid = {0x10C40000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 7}};

    std::atomic<int> finished{0};
    std::atomic<int> sentinels{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 8; ++i) {
                auto error = CatchError([&] {
                    ThrowError("thrown", kSource, "", __LINE__, nullptr, nullptr, &partner, "",
                               E_FAIL);
                });
                EXPECT_NE(error, nullptr);
                if (error != nullptr && error->GetErrorCode() == E_KX_HRESULT_TOO_MANY_ERRORS) {
                    ++sentinels;
                }
                HandleError(error.release(), nullptr);
            }
            ++finished;
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; i < 400; ++i) {
            RepairError("repaired", kSource, "", __LINE__, nullptr, nullptr, &partner, "", E_FAIL,
                        nullptr);
            OutOfMemoryError("stress"); // takes the error-reporting lock every time
        }
        ++finished;
    });
    threads.emplace_back([&] {
        for (int i = 0; i < 100; ++i) {
            ObjectIdentificationData record{};
            record.pIUnknown = &raising;
            record.ObjectGuid = GUID{static_cast<std::uint32_t>(i), 1, 2, {3}};
            record.CatId = GUID_ALL_ONES;
            record.SortIndex = i % 3;
            registry.RegisterObject(&record);
            interfaces.Add(&raising, L"raising", &iid);
            GUID key = record.ObjectGuid;
            // The last Release raises, under the list's lock unless an
            // enumerator's copy outlives the record.
            registry.UnregisterObject(&key, 0);
            interfaces.Remove(&iid);
        }
        ++finished;
    });
    threads.emplace_back([&] {
        GUID any = GUID_ALL_ONES;
        for (int i = 0; i < 400; ++i) {
            KxTamarind::IKXObjectEnumeration* e = nullptr;
            if (registry.EnumObject(&any, &e) != S_OK) {
                continue;
            }
            ObjectIdentificationData out[4] = {};
            long fetched = 0;
            e->Next(4, &fetched, out);
            for (long k = 0; k < fetched; ++k) {
                ReleaseRaising(out[k].pIUnknown);
                SysFreeString(out[k].Name);
            }
            e->Skip(1);
            e->Release();
        }
        ++finished;
    });
    threads.emplace_back([&] {
        CThreadPool& pool = *GetGlobalThreadPool();
        for (int i = 0; i < 30; ++i) {
            CThread* thread = pool.GetThread(kMTA, "busy", nullptr);
            RaisingRun run;
            thread->Start(&run, false);
            EXPECT_TRUE(run.WaitRunFinished(30000));
            { CCritSectionLocker released(pool); } // the release is complete
            pool.CreateThreads(1, kMTA);
            pool.DestroyThreads(1, kMTA);
            pool.CheckAllThreadsIdle();
            pool.QueryRunningThread("busy");
        }
        ++finished;
    });

    const int workers = static_cast<int>(threads.size());
    const auto end = std::chrono::steady_clock::now() + 120s;
    while (finished.load() < workers && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(5ms);
    }
    EndProcessIfHung(finished.load() == workers, "the lock-order stress");
    for (auto& thread : threads) {
        thread.join();
    }

    // 246 thrown errors (16 here, 200 last releases, 30 runs): the first ten
    // of the process are real, every later one is the bare sentinel.
    EXPECT_EQ(g_TriggerCalls.load(), 10);
    EXPECT_GE(sentinels.load(), 16 - 10);
    const auto records = recorder.Records();
    int repaired = 0;
    int thrown = 0;
    for (const CErrorObject& record : records) {
        if (record.GetIsRepairedError()) {
            ++repaired;
        } else {
            ++thrown;
            EXPECT_NE(record.GetErrorCode(), E_KX_HRESULT_TOO_MANY_ERRORS);
        }
    }
    EXPECT_EQ(repaired, 100);
    EXPECT_LE(thrown, 10);
    EXPECT_EQ(raising.References(), 0);
    EXPECT_TRUE(GetGlobalThreadPool()->CheckAllThreadsIdle());
    KxUnregisterSystemErrorTrigger(&CountingTrigger);
}
