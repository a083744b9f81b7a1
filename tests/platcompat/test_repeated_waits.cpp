// A thread's waits one after the other: the wait nodes of a thread stay with
// the objects of its last wait, so these check that a later wait is ended
// only by its own objects, at its own indexes, and that no signal is lost or
// taken twice while threads move between overlapping handle sets.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platcompat.h"

namespace {

using namespace std::chrono_literals;

struct AutoEvents {
    std::vector<HANDLE> h;
    explicit AutoEvents(int n) {
        for (int i = 0; i < n; ++i)
            h.push_back(CreateEvent(NULL, FALSE, FALSE, NULL));
    }
    ~AutoEvents() {
        for (HANDLE e : h)
            CloseHandle(e);
    }
};

TEST(RepeatedWaits, LaterWaitIsEndedOnlyByItsOwnObjectsAtItsOwnIndexes) {
    AutoEvents ev(3);
    HANDLE a = ev.h[0], b = ev.h[1], c = ev.h[2];
    std::atomic<int> step{0};
    DWORD results[4] = {};
    std::thread waiter([&] {
        HANDLE ab[] = {a, b};
        HANDLE ba[] = {b, a};
        results[0] = WaitForMultipleObjects(2, ab, FALSE, 20); // times out
        step = 1;
        results[1] = WaitForMultipleObjects(1, &c, FALSE, 300); // b is set meanwhile
        results[2] = WaitForMultipleObjects(2, ba, FALSE, 10000);
        step = 2;
        results[3] = WaitForMultipleObjects(2, ba, FALSE, 10000); // a is set
    });
    while (step.load() < 1)
        std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(50ms);
    SetEvent(b);
    while (step.load() < 2)
        std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(50ms);
    SetEvent(a);
    waiter.join();
    EXPECT_EQ(results[0], WAIT_TIMEOUT);
    EXPECT_EQ(results[1], WAIT_TIMEOUT) << "ended by an object of an earlier wait";
    EXPECT_EQ(results[2], WAIT_OBJECT_0) << "b's signal was not kept for it";
    EXPECT_EQ(results[3], WAIT_OBJECT_0 + 1);
    for (HANDLE e : ev.h)
        EXPECT_EQ(WaitForSingleObject(e, 0), WAIT_TIMEOUT);
}

// Waiters move between overlapping sets (different sizes, orders and
// timeouts) while single signals are handed out one at a time: each signal is
// taken exactly once, by a wait that had its object, and nothing is left.
TEST(RepeatedWaits, SignalsAreTakenOnceWhileWaitersMoveBetweenSets) {
    constexpr int kEvents = 6;
    constexpr int kSignals = 1500;
    AutoEvents ev(kEvents);
    std::atomic<int> taken{0};
    std::atomic<int> wrong{0};
    std::atomic<bool> done{false};
    std::vector<std::thread> waiters;
    for (int t = 0; t < 3; ++t)
        waiters.emplace_back([&, t] {
            for (unsigned round = 0; !done.load(); ++round) {
                // A rotating window of 1..kEvents events, in rotating order.
                const unsigned count = 1 + (round + t) % kEvents;
                HANDLE set[kEvents];
                for (unsigned i = 0; i < count; ++i)
                    set[i] = ev.h[(round * 5 + t + i) % kEvents];
                DWORD r = WaitForMultipleObjects(count, set, FALSE, round % 3);
                if (r == WAIT_TIMEOUT)
                    continue;
                if (r >= WAIT_OBJECT_0 + count)
                    wrong.fetch_add(1);
                taken.fetch_add(1);
            }
        });
    int lost = -1;
    for (int i = 0; i < kSignals && lost < 0 && wrong.load() == 0; ++i) {
        SetEvent(ev.h[(i * 7) % kEvents]);
        // One signal at a time, so that none can merge with another.
        auto limit = std::chrono::steady_clock::now() + 10s;
        while (taken.load() < i + 1 && std::chrono::steady_clock::now() < limit)
            std::this_thread::yield();
        if (taken.load() != i + 1)
            lost = i;
    }
    done = true;
    for (auto& w : waiters)
        w.join();
    EXPECT_EQ(lost, -1) << "signal " << lost << " was lost or taken twice";
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(taken.load(), kSignals);
    for (HANDLE e : ev.h)
        EXPECT_EQ(WaitForSingleObject(e, 0), WAIT_TIMEOUT);
}

} // namespace
