// WaitForMultipleObjects: parameter checks, order, consumption, timeouts.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "Waiters.h"

namespace {

using KxPlatTest::Clock;
using KxPlatTest::MsSince;
using KxPlatTest::Waiters;

// A set of events closed at the end of the test.
struct Events {
    std::vector<HANDLE> h;
    Events(int n, BOOL manual, BOOL initial = FALSE) {
        for (int i = 0; i < n; ++i)
            h.push_back(CreateEvent(NULL, manual, initial, NULL));
    }
    ~Events() {
        for (HANDLE e : h)
            CloseHandle(e);
    }
    DWORD Wait(DWORD timeout, DWORD n = 0) const {
        return WaitForMultipleObjects(n ? n : DWORD(h.size()), h.data(), FALSE, timeout);
    }
    int Signalled() const { // consumes automatic signals
        int n = 0;
        for (HANDLE e : h)
            n += WaitForSingleObject(e, 0) == WAIT_OBJECT_0;
        return n;
    }
};

// Every refused call fails with its own error and consumes no signal.
TEST(WaitMultipleParams, BadArgumentsFailAndConsumeNothing) {
    Events ev(65, FALSE, TRUE);
    HANDLE closed = CreateEvent(NULL, FALSE, TRUE, NULL);
    CloseHandle(closed);
    struct Case {
        DWORD n;
        std::vector<HANDLE> handles; // empty: a null array
        BOOL all;
        DWORD error;
    };
    const std::vector<HANDLE> three(ev.h.begin(), ev.h.begin() + 3);
    const Case cases[] = {
        {0, ev.h, FALSE, ERROR_INVALID_PARAMETER},
        {65, ev.h, FALSE, ERROR_INVALID_PARAMETER},
        {1000, ev.h, FALSE, ERROR_INVALID_PARAMETER},
        {2, {}, FALSE, ERROR_INVALID_PARAMETER},
        {2, three, TRUE, ERROR_NOT_SUPPORTED},
        {4, {three[0], three[1], nullptr, three[2]}, FALSE, ERROR_INVALID_HANDLE},
        {4, {three[0], three[1], INVALID_HANDLE_VALUE, three[2]}, FALSE, ERROR_INVALID_HANDLE},
        {4, {three[0], three[1], closed, three[2]}, FALSE, ERROR_INVALID_HANDLE},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        SetLastError(0);
        EXPECT_EQ(
            WaitForMultipleObjects(c.n, c.handles.empty() ? nullptr : c.handles.data(), c.all, 0),
            WAIT_FAILED);
        EXPECT_EQ(GetLastError(), c.error);
    }
    EXPECT_EQ(ev.Signalled(), 65);
    for (HANDLE e : ev.h)
        SetEvent(e);
    EXPECT_EQ(ev.Wait(0, 64), WAIT_OBJECT_0); // the largest count is allowed
}

TEST(WaitMultipleOrder, ReturnsLowestSignalledIndexAndConsumesOnlyIt) {
    Events ev(6, FALSE);
    SetEvent(ev.h[4]);
    SetEvent(ev.h[2]);
    SetEvent(ev.h[5]);
    EXPECT_EQ(ev.Wait(0), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(ev.Wait(INFINITE), WAIT_OBJECT_0 + 4);
    EXPECT_EQ(ev.Wait(10), WAIT_OBJECT_0 + 5);
    EXPECT_EQ(ev.Wait(0), WAIT_TIMEOUT);
    // A manual event at a lower index wins and stays signalled.
    HANDLE manual = CreateEvent(NULL, TRUE, TRUE, NULL);
    SetEvent(ev.h[0]);
    HANDLE rev[] = {manual, ev.h[0]};
    EXPECT_EQ(WaitForMultipleObjects(2, rev, FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjects(2, rev, FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(ev.h[0], 0), WAIT_OBJECT_0) << "index 1 was consumed";
    CloseHandle(manual);
}

TEST(WaitMultipleWake, BlockedWaiterIsReleasedByAnyObjectWithItsIndex) {
    Events ev(8, FALSE);
    for (int idx : {7, 0, 3}) {
        SCOPED_TRACE(idx);
        Waiters w(
            1, [&ev] { return ev.Wait(INFINITE); }, WAIT_OBJECT_0 + idx);
        EXPECT_EQ(w.Released() + w.Failed(), 0) << "returned before the signal";
        SetEvent(ev.h[idx]);
        w.Join();
        EXPECT_EQ(w.Released(), 1);
        EXPECT_EQ(ev.Wait(0), WAIT_TIMEOUT) << "the signal stayed or another object was touched";
    }
}

TEST(WaitMultipleWake, PulseOfManualEventReleasesMultiObjectWaiters) {
    Events ev(3, TRUE);
    {
        Waiters w(
            3, [&ev] { return ev.Wait(INFINITE); }, WAIT_OBJECT_0 + 1);
        EXPECT_EQ(w.Released(), 0);
        PulseEvent(ev.h[1]);
        w.Join();
        EXPECT_EQ(w.Released(), 3);
    }
    EXPECT_EQ(ev.Wait(0), WAIT_TIMEOUT);
}

TEST(WaitMultipleTimeout, TimesOutAfterTheTimeAndConsumesNothing) {
    Events ev(4, FALSE);
    const auto start = Clock::now();
    EXPECT_EQ(ev.Wait(100), WAIT_TIMEOUT);
    EXPECT_GE(MsSince(start), 100);
    SetEvent(ev.h[1]);
    SetEvent(ev.h[3]);
    EXPECT_EQ(ev.Signalled(), 2);
}

TEST(WaitMultipleRace, SignalsRacingWithTimeoutAreNeverLost) {
    Events ev(3, FALSE);
    for (int i = 0; i < 300; ++i) {
        std::atomic<bool> go{false};
        DWORD result = WAIT_FAILED;
        std::thread waiter([&] {
            go.store(true);
            result = ev.Wait(1);
        });
        while (!go.load()) {
        }
        std::this_thread::sleep_for(std::chrono::microseconds(i % 3 * 500));
        SetEvent(ev.h[2]);
        SetEvent(ev.h[1]);
        waiter.join();
        ASSERT_TRUE(result == WAIT_TIMEOUT || result == WAIT_OBJECT_0 + 1 ||
                    result == WAIT_OBJECT_0 + 2)
            << result;
        // Two signals: each was either taken by the wait or is still there.
        ASSERT_EQ(ev.Signalled() + (result != WAIT_TIMEOUT), 2) << "round " << i;
    }
}

// Two signals arrive while a wait for any of the two registers itself: one
// is taken by the wait, the other must stay on its event, whichever index
// the wait reports.
TEST(WaitMultipleRace, ConcurrentSignalsDuringRegistrationLeaveTheOtherOne) {
    Events ev(2, FALSE);
    for (int i = 0; i < 400; ++i) {
        std::atomic<int> ready{0};
        DWORD result = WAIT_FAILED;
        auto gate = [&ready] {
            ready.fetch_add(1);
            while (ready.load() < 3)
                std::this_thread::yield();
        };
        std::thread waiter([&] {
            gate();
            result = ev.Wait(10000);
        });
        std::thread setA([&] {
            gate();
            SetEvent(ev.h[0]);
        });
        gate();
        SetEvent(ev.h[1]);
        waiter.join();
        setA.join();
        ASSERT_TRUE(result == WAIT_OBJECT_0 || result == WAIT_OBJECT_0 + 1) << result;
        const DWORD other = result == WAIT_OBJECT_0 ? 1 : 0;
        ASSERT_EQ(WaitForSingleObject(ev.h[other], 0), WAIT_OBJECT_0)
            << "round " << i << ": the signal of index " << other << " was lost";
        ASSERT_EQ(WaitForSingleObject(ev.h[1 - other], 0), WAIT_TIMEOUT) << "round " << i;
    }
}

} // namespace
