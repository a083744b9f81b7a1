// Bounded stress of events, waits and critical sections; meant to run clean
// under ThreadSanitizer. Every test has fixed counts and generous time caps.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platcompat.h"

namespace {

using Clock = std::chrono::steady_clock;

// Strict hand-over: every SetEvent must be matched by exactly one satisfied
// wait, since the setter only signals after the previous token was taken; a
// lost signal stalls a round, a duplicated one shows as a surplus. Waits use
// timeouts so that timing-out waiters race with the signal.
TEST(SyncStress, EveryHandOverIsTakenExactlyOnce) {
    constexpr int kRounds = 3000;
    HANDLE token = CreateEvent(NULL, FALSE, FALSE, NULL);
    HANDLE ack = CreateEvent(NULL, FALSE, FALSE, NULL);
    std::atomic<int> got{0};
    std::atomic<bool> done{false};
    std::vector<std::thread> takers;
    for (int i = 0; i < 3; ++i)
        takers.emplace_back([&, i] {
            while (!done.load()) {
                if (WaitForSingleObject(token, i + 1) == WAIT_OBJECT_0) {
                    got.fetch_add(1);
                    SetEvent(ack);
                }
            }
        });
    int acked = 0;
    for (int r = 0; r < kRounds; ++r) {
        SetEvent(token);
        if (WaitForSingleObject(ack, 10000) != WAIT_OBJECT_0)
            break;
        ++acked;
    }
    done.store(true);
    for (auto& t : takers)
        t.join();
    EXPECT_EQ(acked, kRounds);
    EXPECT_EQ(got.load(), kRounds);
    EXPECT_EQ(WaitForSingleObject(token, 0), WAIT_TIMEOUT);
    CloseHandle(token);
    CloseHandle(ack);
}

// Waiters on several objects at once (manual and automatic, pulses and
// sets); counts signals of the automatic events to check none is lost.
TEST(SyncStress, WaitAnyWithMixedEventsAndPulses) {
    constexpr int kSignals = 2000;
    HANDLE objs[4] = {CreateEvent(NULL, TRUE, FALSE, NULL), CreateEvent(NULL, FALSE, FALSE, NULL),
                      CreateEvent(NULL, FALSE, FALSE, NULL), CreateEvent(NULL, TRUE, FALSE, NULL)};
    HANDLE stop = objs[0]; // manual: set once at the end
    // Counted apart: a waiter released by a late pulse of objs[1] may count
    // after the pulser has ended, which must not disturb the count of objs[2].
    std::atomic<int> pulseTaken{0};
    std::atomic<int> autoTaken{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&, i] {
            for (;;) {
                DWORD r = WaitForMultipleObjects(4, objs, FALSE, 1 + i);
                if (r == WAIT_OBJECT_0)
                    return;
                ASSERT_TRUE(r == WAIT_OBJECT_0 + 1 || r == WAIT_OBJECT_0 + 2 ||
                            r == WAIT_OBJECT_0 + 3 || r == WAIT_TIMEOUT)
                    << r;
                if (r == WAIT_OBJECT_0 + 1)
                    pulseTaken.fetch_add(1);
                if (r == WAIT_OBJECT_0 + 2)
                    autoTaken.fetch_add(1);
            }
        });
    std::thread pulser([&] {
        for (int i = 0; i < 500; ++i) {
            PulseEvent(objs[3]);
            PulseEvent(objs[1]); // may release one waiter or nobody; not counted
            std::this_thread::yield();
        }
    });
    pulser.join();
    // A pulse never stays on an event.
    EXPECT_EQ(WaitForSingleObject(objs[1], 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(objs[3], 0), WAIT_TIMEOUT);
    // From here on the only signals of the automatic events are these.
    int taken0 = autoTaken.load();
    for (int i = 0; i < kSignals; ++i) {
        SetEvent(objs[2]);
        // Wait until this one is taken so that signals cannot merge.
        auto limit = Clock::now() + std::chrono::seconds(10);
        while (autoTaken.load() < taken0 + i + 1 && Clock::now() < limit)
            std::this_thread::yield();
    }
    SetEvent(stop);
    for (auto& t : waiters)
        t.join();
    EXPECT_EQ(autoTaken.load() - taken0, kSignals);
    EXPECT_EQ(WaitForSingleObject(objs[2], 0), WAIT_TIMEOUT);
    for (HANDLE h : objs)
        CloseHandle(h);
}

// Handles created, waited on and closed from several threads at once.
TEST(SyncStress, ConcurrentCreateWaitCloseKeepsHandlesConsistent) {
    std::vector<std::thread> threads;
    std::atomic<int> errors{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 3000; ++i) {
                HANDLE h = CreateEvent(NULL, i % 2, FALSE, NULL);
                if (!h || WaitForSingleObject(h, 0) != WAIT_TIMEOUT || !SetEvent(h) ||
                    WaitForSingleObject(h, 0) != WAIT_OBJECT_0 || !CloseHandle(h) ||
                    CloseHandle(h) || WaitForSingleObject(h, 0) != WAIT_FAILED)
                    errors.fetch_add(1);
            }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(errors.load(), 0);
}

// Threads started and waited on while their handles are closed by others.
TEST(SyncStress, ThreadHandlesWaitedAndClosedConcurrently) {
    std::atomic<int> ran{0};
    for (int round = 0; round < 100; ++round) {
        uintptr_t h = _beginthreadex(
            nullptr, 0,
            [](void* p) -> unsigned {
                static_cast<std::atomic<int>*>(p)->fetch_add(1);
                return 0;
            },
            &ran, 0, nullptr);
        ASSERT_NE(h, 0u);
        HANDLE handle = reinterpret_cast<HANDLE>(h);
        std::thread waiter([handle] {
            DWORD r = WaitForSingleObject(handle, 10000);
            EXPECT_TRUE(r == WAIT_OBJECT_0 || r == WAIT_FAILED) << r;
        });
        if (round % 2)
            WaitForSingleObject(handle, 10000);
        CloseHandle(handle);
        waiter.join();
    }
    auto limit = Clock::now() + std::chrono::seconds(10);
    while (ran.load() < 100 && Clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(ran.load(), 100);
}

TEST(SyncStress, CriticalSectionsNestedAcrossThreads) {
    CCriticalSection outer, inner;
    long a = 0, b = 0; // a guarded by outer, b by inner
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 10000; ++i) {
                outer.Lock();
                ++a;
                if ((i + t) % 3 == 0) {
                    inner.Lock();
                    outer.Lock(); // re-entry while holding both
                    ++b;
                    outer.Unlock();
                    inner.Unlock();
                }
                outer.Unlock();
            }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(a, 40000);
    EXPECT_EQ(b, 13334); // rounds with i + t divisible by 3
}

} // namespace
