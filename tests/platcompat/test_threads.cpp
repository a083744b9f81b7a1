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

#include "Waiters.h"

namespace {

using KxPlatTest::Clock;
using KxPlatTest::MsSince;
using KxPlatTest::Waiters;

// What a test thread sees and does: it reports its ids and stack size, waits
// for `gate` (a manual-reset event) and returns `exitCode`.
struct Job {
    HANDLE gate = CreateEvent(NULL, TRUE, FALSE, NULL);
    unsigned exitCode = 7;
    std::atomic<unsigned> seenId{0};
    std::atomic<bool> samePosix{false};
    std::atomic<size_t> stackSize{0};
    std::atomic<int> finished{0};
    ~Job() { CloseHandle(gate); }

    static unsigned Run(void* p) {
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
    HANDLE Start(unsigned stack = 0, unsigned* id = nullptr,
                 unsigned flags = STACK_SIZE_PARAM_IS_A_RESERVATION) {
        return reinterpret_cast<HANDLE>(_beginthreadex(nullptr, stack, &Run, this, flags, id));
    }
    bool Finishes() {
        const auto begin = Clock::now();
        while (finished.load() == 0 && MsSince(begin) < 10000)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return finished.load() == 1;
    }
};

TEST(ThreadCreate, IdIsKnownOnReturnAndMatchesTheThread) {
    Job job;
    unsigned id = 0;
    HANDLE h = job.Start(0, &id);
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
        EXPECT_EQ(job.Start(0, nullptr, flags), nullptr);
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
        HANDLE h = job.Start(request);
        ASSERT_NE(h, nullptr);
        EXPECT_EQ(WaitForSingleObject(h, 10000), WAIT_OBJECT_0);
        EXPECT_GE(job.stackSize.load(), request);
        CloseHandle(h);
    }
}

TEST(ThreadHandle, NotSignalledWhileRunningThenSignalledForEveryWaiter) {
    Job job;
    job.exitCode = 42;
    HANDLE h = job.Start();
    ASSERT_NE(h, nullptr);
    DWORD code = 0;
    EXPECT_EQ(GetExitCodeThread(h, &code), TRUE);
    EXPECT_EQ(code, STILL_ACTIVE);
    EXPECT_EQ(WaitForSingleObject(h, 100), WAIT_TIMEOUT);
    EXPECT_EQ(SetEvent(h), FALSE) << "a thread handle is not an event";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(ResetEvent(h), FALSE);
    {
        Waiters w(h, 4);
        EXPECT_EQ(w.Released(), 0);
        SetEvent(job.gate);
        w.Join();
        EXPECT_EQ(w.Released(), 4);
    }
    // Stays signalled and keeps its exit code until closed.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    HANDLE both[] = {h, h};
    EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_OBJECT_0);
    EXPECT_EQ(GetExitCodeThread(h, &code), TRUE);
    EXPECT_EQ(code, 42u);
    EXPECT_EQ(GetExitCodeThread(h, nullptr), FALSE);
    HANDLE ev = CreateEvent(NULL, TRUE, FALSE, NULL);
    EXPECT_EQ(GetExitCodeThread(ev, &code), FALSE) << "an event is not a thread";
    CloseHandle(ev);
    EXPECT_EQ(CloseHandle(h), TRUE);
    EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_FAILED);
    EXPECT_EQ(GetExitCodeThread(h, &code), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

// Closing the handle neither wakes a thread waiting on it nor stops the
// thread it names.
TEST(ThreadHandle, ClosingWhileAnotherThreadWaitsOnItDoesNotWakeTheWaiter) {
    Job job;
    HANDLE h = job.Start();
    {
        Waiters w(h, 1, 500);
        EXPECT_EQ(CloseHandle(h), TRUE);
        w.Join();
        EXPECT_EQ(w.TimedOut(), 1);
    }
    SetEvent(job.gate);
    EXPECT_TRUE(job.Finishes());
}

TEST(ThreadHandle, ManyShortThreadsAllReportTheirExitCodes) {
    std::vector<unsigned> values(50);
    std::vector<HANDLE> handles;
    for (unsigned i = 0; i < values.size(); ++i) {
        values[i] = 1000 + i;
        const uintptr_t h = _beginthreadex(
            nullptr, 0, [](void* p) -> unsigned { return *static_cast<unsigned*>(p); }, &values[i],
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

TEST(ThreadIdentity, CurrentThreadIdIsTheKernelId) {
    EXPECT_EQ(GetCurrentThreadId(), static_cast<DWORD>(syscall(SYS_gettid)));
    EXPECT_EQ(GetCurrentThread(), reinterpret_cast<HANDLE>(static_cast<intptr_t>(-2)));
    pthread_t self;
    EXPECT_EQ(GetThreadPosixHandle(nullptr, &self), FALSE);
    EXPECT_EQ(GetThreadPosixHandle(GetCurrentThread(), nullptr), FALSE);
}

TEST(ThreadPriority, MapsToNiceValuesAndRemembersTheLastOneSet) {
    Job job;
    unsigned id = 0;
    HANDLE h = job.Start(0, &id);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(GetThreadPriority(h), THREAD_PRIORITY_NORMAL);
    const int table[][2] = {{THREAD_PRIORITY_LOWEST, 10},        {THREAD_PRIORITY_IDLE, 19},
                            {THREAD_PRIORITY_BELOW_NORMAL, 5},   {THREAD_PRIORITY_NORMAL, 0},
                            {THREAD_PRIORITY_ABOVE_NORMAL, -5},  {THREAD_PRIORITY_HIGHEST, -10},
                            {THREAD_PRIORITY_TIME_CRITICAL, -20}};
    for (const auto& row : table) {
        SCOPED_TRACE(row[0]);
        if (!SetThreadPriority(h, row[0])) {
            // Raising a priority without privileges is refused, visibly.
            EXPECT_NE(geteuid(), 0u);
            EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
            continue;
        }
        EXPECT_EQ(getpriority(PRIO_PROCESS, id), row[1]);
        EXPECT_EQ(GetThreadPriority(h), row[0]);
    }
    for (int bad : {3, -16}) {
        SetLastError(0);
        EXPECT_EQ(SetThreadPriority(h, bad), FALSE);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    SetEvent(job.gate);
    EXPECT_EQ(WaitForSingleObject(h, 10000), WAIT_OBJECT_0);
    SetLastError(0);
    EXPECT_EQ(SetThreadPriority(h, THREAD_PRIORITY_LOWEST), FALSE) << "thread ended";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    CloseHandle(h);
    EXPECT_EQ(GetThreadPriority(h), THREAD_PRIORITY_ERROR_RETURN);
    // The pseudo handle changes the calling thread only.
    std::thread([] {
        EXPECT_EQ(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_LOWEST), TRUE);
        EXPECT_EQ(getpriority(PRIO_PROCESS, GetCurrentThreadId()), 10);
        EXPECT_EQ(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_LOWEST);
    }).join();
    EXPECT_EQ(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_NORMAL);
}

TEST(ThreadAffinity, ReturnsThePreviousMaskAndApplies) {
    Job job;
    HANDLE h = job.Start();
    cpu_set_t all;
    ASSERT_EQ(sched_getaffinity(0, sizeof(all), &all), 0);
    DWORD_PTR expected = 0;
    for (int cpu = 0; cpu < int(sizeof(DWORD_PTR) * 8); ++cpu)
        if (CPU_ISSET(cpu, &all))
            expected |= DWORD_PTR(1) << cpu;
    const DWORD_PTR first = expected & (~expected + 1); // lowest allowed processor
    EXPECT_EQ(SetThreadAffinityMask(h, first), expected);
    EXPECT_EQ(SetThreadAffinityMask(h, expected), first);
    SetLastError(0);
    EXPECT_EQ(SetThreadAffinityMask(h, 0), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(SetThreadAffinityMask(nullptr, first), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    std::thread([first, expected] {
        EXPECT_EQ(SetThreadAffinityMask(GetCurrentThread(), first), expected);
        EXPECT_EQ(sched_getcpu(), __builtin_ctzll(first));
    }).join();
    SetEvent(job.gate);
    WaitForSingleObject(h, 10000);
    CloseHandle(h);
}

} // namespace
