// WaitForMultipleObjects: parameter checks, order, consumption, timeouts.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platcompat.h"

namespace {

using Clock = std::chrono::steady_clock;

long long msSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

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
    DWORD count() const { return static_cast<DWORD>(h.size()); }
};

TEST(WaitMultipleParams, BadCountsAndNullArrayFail) {
    Events ev(65, TRUE, TRUE);
    for (DWORD n : {0u, 65u, 1000u}) {
        SCOPED_TRACE(n);
        SetLastError(0);
        EXPECT_EQ(WaitForMultipleObjects(n, ev.h.data(), FALSE, 0), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    SetLastError(0);
    EXPECT_EQ(WaitForMultipleObjects(2, nullptr, FALSE, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WaitForMultipleObjects(64, ev.h.data(), FALSE, 0), WAIT_OBJECT_0);
}

TEST(WaitMultipleParams, WaitAllIsRefusedAndChangesNothing) {
    Events ev(2, FALSE, TRUE);
    SetLastError(0);
    EXPECT_EQ(WaitForMultipleObjects(2, ev.h.data(), TRUE, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(WaitForSingleObject(ev.h[0], 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(ev.h[1], 0), WAIT_OBJECT_0);
}

TEST(WaitMultipleParams, AnyInvalidHandleFailsTheWaitAndConsumesNothing) {
    Events ev(3, FALSE, TRUE);
    HANDLE closed = CreateEvent(NULL, FALSE, TRUE, NULL);
    CloseHandle(closed);
    for (HANDLE bad : {HANDLE(nullptr), INVALID_HANDLE_VALUE, closed}) {
        std::vector<HANDLE> arr = {ev.h[0], ev.h[1], bad, ev.h[2]};
        SetLastError(0);
        EXPECT_EQ(WaitForMultipleObjects(4, arr.data(), FALSE, 0), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
    for (HANDLE e : ev.h)
        EXPECT_EQ(WaitForSingleObject(e, 0), WAIT_OBJECT_0);
}

TEST(WaitMultipleOrder, ReturnsLowestSignalledIndexAndConsumesOnlyIt) {
    Events ev(6, FALSE);
    SetEvent(ev.h[4]);
    SetEvent(ev.h[2]);
    SetEvent(ev.h[5]);
    EXPECT_EQ(WaitForMultipleObjects(6, ev.h.data(), FALSE, 0), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(WaitForMultipleObjects(6, ev.h.data(), FALSE, INFINITE), WAIT_OBJECT_0 + 4);
    EXPECT_EQ(WaitForMultipleObjects(6, ev.h.data(), FALSE, 10), WAIT_OBJECT_0 + 5);
    EXPECT_EQ(WaitForMultipleObjects(6, ev.h.data(), FALSE, 0), WAIT_TIMEOUT);
}

TEST(WaitMultipleOrder, ManualEventAtLowerIndexWinsAndStaysSignalled) {
    HANDLE manual = CreateEvent(NULL, TRUE, TRUE, NULL);
    HANDLE automatic = CreateEvent(NULL, FALSE, TRUE, NULL);
    HANDLE arr[] = {automatic, manual};
    HANDLE rev[] = {manual, automatic};
    EXPECT_EQ(WaitForMultipleObjects(2, rev, FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjects(2, rev, FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(automatic, 0), WAIT_OBJECT_0) << "index 1 was consumed";
    SetEvent(automatic);
    EXPECT_EQ(WaitForMultipleObjects(2, arr, FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjects(2, arr, FALSE, 0), WAIT_OBJECT_0 + 1);
    CloseHandle(manual);
    CloseHandle(automatic);
}

TEST(WaitMultipleWake, BlockedWaiterIsReleasedByAnyObjectWithItsIndex) {
    Events ev(8, FALSE);
    for (int idx : {7, 0, 3}) {
        SCOPED_TRACE(idx);
        std::atomic<bool> entered{false};
        std::atomic<DWORD> result{WAIT_FAILED - 1};
        std::thread waiter([&] {
            entered.store(true);
            result.store(WaitForMultipleObjects(ev.count(), ev.h.data(), FALSE, INFINITE));
        });
        while (!entered.load())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        EXPECT_EQ(result.load(), WAIT_FAILED - 1) << "returned before the signal";
        SetEvent(ev.h[idx]);
        waiter.join();
        EXPECT_EQ(result.load(), WAIT_OBJECT_0 + idx);
        // Consumed, and no other object was touched.
        EXPECT_EQ(WaitForMultipleObjects(ev.count(), ev.h.data(), FALSE, 0), WAIT_TIMEOUT);
    }
}

TEST(WaitMultipleWake, PulseOfManualEventReleasesMultiObjectWaiters) {
    Events ev(3, TRUE);
    std::atomic<int> entered{0}, released{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            entered.fetch_add(1);
            if (WaitForMultipleObjects(3, ev.h.data(), FALSE, INFINITE) == WAIT_OBJECT_0 + 1)
                released.fetch_add(1);
        });
    while (entered.load() < 3)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(released.load(), 0);
    PulseEvent(ev.h[1]);
    for (auto& t : waiters)
        t.join();
    EXPECT_EQ(released.load(), 3);
    EXPECT_EQ(WaitForMultipleObjects(3, ev.h.data(), FALSE, 0), WAIT_TIMEOUT);
}

TEST(WaitMultipleTimeout, TimesOutAfterTheTimeAndConsumesNothing) {
    Events ev(4, FALSE);
    auto start = Clock::now();
    EXPECT_EQ(WaitForMultipleObjects(4, ev.h.data(), FALSE, 100), WAIT_TIMEOUT);
    long long took = msSince(start);
    EXPECT_GE(took, 100);
    EXPECT_LT(took, 10000);
    // Signals arriving after the timeout stay on the objects.
    SetEvent(ev.h[1]);
    SetEvent(ev.h[3]);
    EXPECT_EQ(WaitForSingleObject(ev.h[3], 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(ev.h[1], 0), WAIT_OBJECT_0);
}

TEST(WaitMultipleRace, SignalsRacingWithTimeoutAreNeverLost) {
    Events ev(3, FALSE);
    for (int i = 0; i < 300; ++i) {
        std::atomic<bool> go{false};
        DWORD result = WAIT_FAILED;
        std::thread waiter([&] {
            go.store(true);
            result = WaitForMultipleObjects(3, ev.h.data(), FALSE, 1);
        });
        while (!go.load()) {
        }
        std::this_thread::sleep_for(std::chrono::microseconds(i % 3 * 500));
        SetEvent(ev.h[2]);
        SetEvent(ev.h[1]);
        waiter.join();
        int left = 0;
        for (HANDLE e : ev.h)
            left += WaitForSingleObject(e, 0) == WAIT_OBJECT_0;
        ASSERT_TRUE(result == WAIT_TIMEOUT || result == WAIT_OBJECT_0 + 1 ||
                    result == WAIT_OBJECT_0 + 2)
            << result;
        // Two signals: each was either taken by the wait or is still there.
        ASSERT_EQ(left + (result != WAIT_TIMEOUT), 2) << "round " << i;
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
            result = WaitForMultipleObjects(2, ev.h.data(), FALSE, 10000);
        });
        std::thread setA([&] {
            gate();
            SetEvent(ev.h[0]);
        });
        std::thread setB([&] {
            gate();
            SetEvent(ev.h[1]);
        });
        waiter.join();
        setA.join();
        setB.join();
        ASSERT_TRUE(result == WAIT_OBJECT_0 || result == WAIT_OBJECT_0 + 1) << result;
        DWORD other = result == WAIT_OBJECT_0 ? 1 : 0;
        ASSERT_EQ(WaitForSingleObject(ev.h[other], 0), WAIT_OBJECT_0)
            << "round " << i << ": the signal of index " << other << " was lost";
        ASSERT_EQ(WaitForSingleObject(ev.h[1 - other], 0), WAIT_TIMEOUT) << "round " << i;
    }
}

} // namespace
