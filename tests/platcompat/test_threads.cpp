// Threads: creation, waitable handles, exit codes, ids, priority, affinity.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platcompat.h"

namespace {

using Clock = std::chrono::steady_clock;

long long msSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// What a test thread sees and does: it reports its ids, waits for `gate`
// (a manual-reset event) and returns `exitCode`.
struct Job {
    HANDLE gate = CreateEvent(NULL, TRUE, FALSE, NULL);
    unsigned exitCode = 7;
    std::atomic<unsigned> seenId{0};
    std::atomic<bool> samePosix{false};
    std::atomic<size_t> stackSize{0};
    std::atomic<int> finished{0};
    ~Job() { CloseHandle(gate); }

    static unsigned run(void* p) {
        Job* job = static_cast<Job*>(p);
        job->seenId.store(GetCurrentThreadId());
        pthread_t self;
        job->samePosix.store(GetThreadPosixHandle(GetCurrentThread(), &self) &&
                             pthread_equal(self, pthread_self()));
        pthread_attr_t attr;
        if (pthread_getattr_np(pthread_self(), &attr) == 0) {
            size_t size = 0;
            pthread_attr_getstacksize(&attr, &size);
            job->stackSize.store(size);
            pthread_attr_destroy(&attr);
        }
        WaitForSingleObject(job->gate, INFINITE);
        job->finished.fetch_add(1);
        return job->exitCode;
    }
};

HANDLE start(Job& job, unsigned stack = 0, unsigned* id = nullptr,
             unsigned flags = STACK_SIZE_PARAM_IS_A_RESERVATION) {
    return reinterpret_cast<HANDLE>(_beginthreadex(nullptr, stack, &Job::run, &job, flags, id));
}

TEST(ThreadConstants, HaveWin32Values) {
    EXPECT_EQ(THREAD_PRIORITY_IDLE, -15);
    EXPECT_EQ(THREAD_PRIORITY_LOWEST, -2);
    EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, -1);
    EXPECT_EQ(THREAD_PRIORITY_NORMAL, 0);
    EXPECT_EQ(THREAD_PRIORITY_ABOVE_NORMAL, 1);
    EXPECT_EQ(THREAD_PRIORITY_HIGHEST, 2);
    EXPECT_EQ(THREAD_PRIORITY_TIME_CRITICAL, 15);
    EXPECT_EQ(THREAD_PRIORITY_ERROR_RETURN, 0x7FFFFFFF);
    EXPECT_EQ(STACK_SIZE_PARAM_IS_A_RESERVATION, 0x10000u);
    EXPECT_EQ(CREATE_SUSPENDED, 4u);
    EXPECT_EQ(STILL_ACTIVE, 259u);
}

TEST(ThreadCreate, IdIsKnownOnReturnAndMatchesTheThread) {
    Job job;
    unsigned id = 0;
    HANDLE h = start(job, 0, &id);
    ASSERT_NE(h, nullptr);
    EXPECT_NE(id, 0u);
    EXPECT_NE(id, GetCurrentThreadId());
    SetEvent(job.gate);
    EXPECT_EQ(WaitForSingleObject(h, 10000), WAIT_OBJECT_0);
    EXPECT_EQ(job.seenId.load(), id);
    EXPECT_TRUE(job.samePosix.load());
    EXPECT_EQ(CloseHandle(h), TRUE);
}

TEST(ThreadCreate, UnsupportedFlagsAndNullStartFailWithEinval) {
    Job job;
    for (unsigned flags : {CREATE_SUSPENDED, 0x2u, CREATE_SUSPENDED | 0x10000u}) {
        SCOPED_TRACE(flags);
        errno = 0;
        EXPECT_EQ(start(job, 0, nullptr, flags), nullptr);
        EXPECT_EQ(errno, EINVAL);
    }
    errno = 0;
    EXPECT_EQ(_beginthreadex(nullptr, 0, nullptr, nullptr, 0, nullptr), 0u);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(job.finished.load(), 0);
}

TEST(ThreadCreate, StackSizeIsAtLeastTheRequestAndTinySizesAreRoundedUp) {
    for (unsigned request : {1u << 20, 300000u, 1u}) {
        SCOPED_TRACE(request);
        Job job;
        SetEvent(job.gate);
        HANDLE h = start(job, request);
        ASSERT_NE(h, nullptr);
        EXPECT_EQ(WaitForSingleObject(h, 10000), WAIT_OBJECT_0);
        EXPECT_GE(job.stackSize.load(), request);
        CloseHandle(h);
    }
}

TEST(ThreadHandle, NotSignalledWhileRunningThenSignalledForEveryWaiter) {
    Job job;
    job.exitCode = 42;
    HANDLE h = start(job);
    ASSERT_NE(h, nullptr);
    DWORD code = 0;
    EXPECT_EQ(GetExitCodeThread(h, &code), TRUE);
    EXPECT_EQ(code, STILL_ACTIVE);
    EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(h, 100), WAIT_TIMEOUT);

    std::atomic<int> entered{0}, released{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i)
        waiters.emplace_back([&] {
            entered.fetch_add(1);
            if (WaitForSingleObject(h, INFINITE) == WAIT_OBJECT_0)
                released.fetch_add(1);
        });
    while (entered.load() < 4)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(released.load(), 0);
    SetEvent(job.gate);
    for (auto& t : waiters)
        t.join();
    EXPECT_EQ(released.load(), 4);

    // Stays signalled and keeps its exit code until closed.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_OBJECT_0);
    HANDLE both[] = {h, h};
    EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(GetExitCodeThread(h, &code), TRUE);
    EXPECT_EQ(code, 42u);
    EXPECT_EQ(CloseHandle(h), TRUE);
    EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_FAILED);
    EXPECT_EQ(GetExitCodeThread(h, &code), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(ThreadHandle, IsNotAnEvent) {
    Job job;
    HANDLE h = start(job);
    EXPECT_EQ(SetEvent(h), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(ResetEvent(h), FALSE);
    EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_TIMEOUT);
    SetEvent(job.gate);
    EXPECT_EQ(WaitForSingleObject(h, 10000), WAIT_OBJECT_0);
    HANDLE ev = CreateEvent(NULL, TRUE, FALSE, NULL);
    DWORD code;
    EXPECT_EQ(GetExitCodeThread(ev, &code), FALSE);
    EXPECT_EQ(GetExitCodeThread(h, nullptr), FALSE);
    CloseHandle(ev);
    CloseHandle(h);
}

TEST(ThreadHandle, ClosingTheHandleOfARunningThreadLetsItFinish) {
    Job job;
    HANDLE h = start(job);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(CloseHandle(h), TRUE);
    SetEvent(job.gate);
    auto begin = Clock::now();
    while (job.finished.load() == 0 && msSince(begin) < 10000)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(job.finished.load(), 1);
    EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_FAILED);
}

TEST(ThreadHandle, ClosingWhileAnotherThreadWaitsOnItDoesNotWakeTheWaiter) {
    Job job;
    HANDLE h = start(job);
    std::atomic<bool> entered{false};
    std::atomic<DWORD> result{0};
    std::thread waiter([&] {
        entered.store(true);
        result.store(WaitForSingleObject(h, 500));
    });
    while (!entered.load())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(CloseHandle(h), TRUE);
    waiter.join();
    EXPECT_EQ(result.load(), WAIT_TIMEOUT);
    SetEvent(job.gate);
    auto begin = Clock::now();
    while (job.finished.load() == 0 && msSince(begin) < 10000)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(job.finished.load(), 1);
}

TEST(ThreadIdentity, CurrentThreadIdIsTheKernelId) {
    EXPECT_EQ(GetCurrentThreadId(), static_cast<DWORD>(syscall(SYS_gettid)));
    EXPECT_EQ(GetCurrentThread(), reinterpret_cast<HANDLE>(static_cast<intptr_t>(-2)));
    pthread_t self;
    EXPECT_EQ(GetThreadPosixHandle(GetCurrentThread(), &self), TRUE);
    EXPECT_TRUE(pthread_equal(self, pthread_self()));
    EXPECT_EQ(GetThreadPosixHandle(nullptr, &self), FALSE);
    EXPECT_EQ(GetThreadPosixHandle(GetCurrentThread(), nullptr), FALSE);
}

TEST(ThreadPriority, MapsToNiceValuesAndRemembersTheLastOneSet) {
    Job job;
    unsigned id = 0;
    HANDLE h = start(job, 0, &id);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(GetThreadPriority(h), THREAD_PRIORITY_NORMAL);
    struct {
        int priority, nice;
    } table[] = {{THREAD_PRIORITY_LOWEST, 10},        {THREAD_PRIORITY_IDLE, 19},
                 {THREAD_PRIORITY_BELOW_NORMAL, 5},   {THREAD_PRIORITY_NORMAL, 0},
                 {THREAD_PRIORITY_ABOVE_NORMAL, -5},  {THREAD_PRIORITY_HIGHEST, -10},
                 {THREAD_PRIORITY_TIME_CRITICAL, -20}};
    bool privileged = geteuid() == 0;
    for (auto& row : table) {
        SCOPED_TRACE(row.priority);
        BOOL ok = SetThreadPriority(h, row.priority);
        if (!ok) {
            // Raising a priority without privileges is refused, visibly.
            EXPECT_FALSE(privileged);
            EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
            continue;
        }
        errno = 0;
        EXPECT_EQ(getpriority(PRIO_PROCESS, id), row.nice);
        EXPECT_EQ(GetThreadPriority(h), row.priority);
    }
    SetLastError(0);
    EXPECT_EQ(SetThreadPriority(h, 3), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(SetThreadPriority(h, -16), FALSE);
    SetEvent(job.gate);
    EXPECT_EQ(WaitForSingleObject(h, 10000), WAIT_OBJECT_0);
    SetLastError(0);
    EXPECT_EQ(SetThreadPriority(h, THREAD_PRIORITY_LOWEST), FALSE) << "thread ended";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    CloseHandle(h);
    EXPECT_EQ(GetThreadPriority(h), THREAD_PRIORITY_ERROR_RETURN);
    EXPECT_EQ(SetThreadPriority(h, 0), FALSE);
}

TEST(ThreadPriority, PseudoHandleChangesTheCallingThread) {
    std::thread t([] {
        EXPECT_EQ(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_LOWEST), TRUE);
        EXPECT_EQ(getpriority(PRIO_PROCESS, GetCurrentThreadId()), 10);
        EXPECT_EQ(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_LOWEST);
    });
    t.join();
    EXPECT_EQ(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_NORMAL);
}

TEST(ThreadAffinity, ReturnsThePreviousMaskAndApplies) {
    Job job;
    HANDLE h = start(job);
    cpu_set_t all;
    ASSERT_EQ(sched_getaffinity(0, sizeof(all), &all), 0);
    DWORD_PTR expected = 0;
    for (int cpu = 0; cpu < int(sizeof(DWORD_PTR) * 8); ++cpu)
        if (CPU_ISSET(cpu, &all))
            expected |= DWORD_PTR(1) << cpu;
    DWORD_PTR first = expected & (~expected + 1); // lowest allowed processor
    EXPECT_EQ(SetThreadAffinityMask(h, first), expected);
    EXPECT_EQ(SetThreadAffinityMask(h, expected), first);
    SetLastError(0);
    EXPECT_EQ(SetThreadAffinityMask(h, 0), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(SetThreadAffinityMask(nullptr, first), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);

    std::thread t([first, expected] {
        EXPECT_EQ(SetThreadAffinityMask(GetCurrentThread(), first), expected);
        EXPECT_EQ(sched_getcpu(), __builtin_ctzll(first));
    });
    t.join();
    SetEvent(job.gate);
    WaitForSingleObject(h, 10000);
    CloseHandle(h);
}

TEST(ThreadMany, ManyShortThreadsAllReportTheirExitCodes) {
    struct Arg {
        unsigned value;
    };
    std::vector<Arg> args(50);
    std::vector<HANDLE> handles;
    for (unsigned i = 0; i < args.size(); ++i) {
        args[i].value = 1000 + i;
        uintptr_t h = _beginthreadex(
            nullptr, 0, [](void* p) -> unsigned { return static_cast<Arg*>(p)->value; }, &args[i],
            0, nullptr);
        ASSERT_NE(h, 0u);
        handles.push_back(reinterpret_cast<HANDLE>(h));
    }
    for (unsigned i = 0; i < handles.size(); ++i) {
        ASSERT_EQ(WaitForSingleObject(handles[i], 10000), WAIT_OBJECT_0);
        DWORD code = 0;
        EXPECT_EQ(GetExitCodeThread(handles[i], &code), TRUE);
        EXPECT_EQ(code, 1000 + i);
        EXPECT_EQ(CloseHandle(handles[i]), TRUE);
    }
}

} // namespace
