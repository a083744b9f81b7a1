// Events and single waits: reset modes, pulses, timeouts, invalid handles.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "Waiters.h"

namespace {

using KxPlatTest::Clock;
using KxPlatTest::MsSince;
using KxPlatTest::Waiters;

// Values the firmware's binaries were compiled against.
static_assert(WAIT_OBJECT_0 == 0 && WAIT_ABANDONED_0 == 0x80 && WAIT_TIMEOUT == 258 &&
              WAIT_FAILED == 0xFFFFFFFF && INFINITE == 0xFFFFFFFF && MAXIMUM_WAIT_OBJECTS == 64 &&
              STILL_ACTIVE == 259 && CREATE_SUSPENDED == 4 &&
              STACK_SIZE_PARAM_IS_A_RESERVATION == 0x10000 && THREAD_PRIORITY_IDLE == -15 &&
              THREAD_PRIORITY_LOWEST == -2 && THREAD_PRIORITY_BELOW_NORMAL == -1 &&
              THREAD_PRIORITY_NORMAL == 0 && THREAD_PRIORITY_ABOVE_NORMAL == 1 &&
              THREAD_PRIORITY_HIGHEST == 2 && THREAD_PRIORITY_TIME_CRITICAL == 15 &&
              THREAD_PRIORITY_ERROR_RETURN == 0x7FFFFFFF);

TEST(EventCreate, NamesAreRefusedAndBothNameKindsCompile) {
    SetLastError(0);
    EXPECT_EQ(CreateEvent(NULL, FALSE, FALSE, L"name"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    SetLastError(0);
    EXPECT_EQ(CreateEvent(NULL, FALSE, FALSE, "name"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    const wchar_t* noName = nullptr;
    HANDLE b = CreateEvent(nullptr, TRUE, FALSE, noName);
    HANDLE c = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    ASSERT_NE(b, nullptr);
    ASSERT_NE(c, nullptr);
    EXPECT_NE(b, c);
    EXPECT_EQ(WaitForSingleObject(c, 0), WAIT_OBJECT_0); // created signalled
    EXPECT_EQ(WaitForSingleObject(b, 0), WAIT_TIMEOUT);
    EXPECT_EQ(CloseHandle(b), TRUE);
    EXPECT_EQ(CloseHandle(c), TRUE);
}

TEST(EventHandles, InvalidClosedAndForeignHandlesFail) {
    HANDLE ev = CreateEvent(NULL, TRUE, TRUE, NULL);
    ASSERT_EQ(CloseHandle(ev), TRUE);
    const HANDLE bad[] = {nullptr,
                          INVALID_HANDLE_VALUE,
                          ev,
                          reinterpret_cast<HANDLE>(0x12345678),
                          reinterpret_cast<HANDLE>(0x10),
                          reinterpret_cast<HANDLE>(~std::uintptr_t(3))};
    for (HANDLE h : bad) {
        SCOPED_TRACE(reinterpret_cast<std::uintptr_t>(h));
        const std::pair<const char*, std::function<bool()>> calls[] = {
            {"wait 0", [h] { return WaitForSingleObject(h, 0) == WAIT_FAILED; }},
            {"wait 50", [h] { return WaitForSingleObject(h, 50) == WAIT_FAILED; }},
            {"set", [h] { return !SetEvent(h); }},
            {"reset", [h] { return !ResetEvent(h); }},
            {"pulse", [h] { return !PulseEvent(h); }},
            {"close", [h] { return !CloseHandle(h); }}}; // includes the double close
        for (const auto& call : calls) {
            SetLastError(0);
            EXPECT_TRUE(call.second()) << call.first;
            EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE) << call.first;
        }
    }
}

TEST(EventHandles, ClosedHandleStaysInvalidAfterItsSlotIsReused) {
    HANDLE old = CreateEvent(NULL, TRUE, TRUE, NULL);
    ASSERT_EQ(CloseHandle(old), TRUE);
    std::vector<HANDLE> fresh;
    for (int i = 0; i < 300; ++i) {
        fresh.push_back(CreateEvent(NULL, TRUE, TRUE, NULL));
        ASSERT_NE(fresh.back(), nullptr);
        ASSERT_NE(fresh.back(), old);
    }
    EXPECT_EQ(WaitForSingleObject(old, 0), WAIT_FAILED);
    EXPECT_EQ(CloseHandle(old), FALSE);
    for (HANDLE h : fresh)
        EXPECT_EQ(CloseHandle(h), TRUE);
}

// Single-threaded state changes: each row is a sequence of operations on a
// fresh event and the result every wait must give.
TEST(EventState, SetResetPulseAndWaitSequences) {
    enum Op { Set, Reset, Pulse, Wait0, Wait20 };
    struct Case {
        const char* name;
        BOOL manual, initial;
        std::vector<std::pair<Op, DWORD>> steps; // wait result expected, or TRUE
    };
    const DWORD S = WAIT_OBJECT_0, T = WAIT_TIMEOUT;
    const Case cases[] = {
        {"manual wait keeps the signal", TRUE, FALSE, {{Set, TRUE}, {Wait0, S}, {Wait0, S}}},
        {"automatic wait consumes it", FALSE, FALSE, {{Set, TRUE}, {Wait0, S}, {Wait0, T}}},
        {"signals do not accumulate",
         FALSE,
         FALSE,
         {{Set, TRUE}, {Set, TRUE}, {Wait0, S}, {Wait20, T}}},
        {"reset of unsignalled", TRUE, FALSE, {{Reset, TRUE}, {Wait0, T}, {Set, TRUE}, {Wait0, S}}},
        {"reset clears", TRUE, TRUE, {{Reset, TRUE}, {Wait0, T}}},
        {"manual pulse, no waiter", TRUE, FALSE, {{Pulse, TRUE}, {Wait0, T}}},
        {"automatic pulse, no waiter", FALSE, FALSE, {{Pulse, TRUE}, {Wait0, T}}},
        {"pulse of signalled manual resets", TRUE, TRUE, {{Pulse, TRUE}, {Wait0, T}}},
        {"pulse of signalled automatic resets",
         FALSE,
         TRUE,
         {{Pulse, TRUE}, {Wait0, T}, {Set, TRUE}, {Wait0, S}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        HANDLE ev = CreateEvent(NULL, c.manual, c.initial, NULL);
        ASSERT_NE(ev, nullptr);
        int step = 0;
        for (const auto& s : c.steps) {
            SCOPED_TRACE(step++);
            switch (s.first) {
            case Set:
                EXPECT_EQ(DWORD(SetEvent(ev)), s.second);
                break;
            case Reset:
                EXPECT_EQ(DWORD(ResetEvent(ev)), s.second);
                break;
            case Pulse:
                EXPECT_EQ(DWORD(PulseEvent(ev)), s.second);
                break;
            case Wait0:
                EXPECT_EQ(WaitForSingleObject(ev, 0), s.second);
                break;
            case Wait20:
                EXPECT_EQ(WaitForSingleObject(ev, 20), s.second);
                break;
            }
        }
        EXPECT_EQ(CloseHandle(ev), TRUE);
    }
}

// Set releases every manual waiter and stays, or exactly one automatic
// waiter and is consumed; a pulse releases every blocked manual waiter (at
// most one automatic one) and leaves the event reset.
TEST(EventWake, SetAndPulseReleaseBlockedWaiters) {
    struct Case {
        BOOL manual;
        bool pulse;
        DWORD timeout;
        int released, timedOut;
        DWORD after;
    };
    const Case cases[] = {{TRUE, false, INFINITE, 5, 0, WAIT_OBJECT_0},
                          {TRUE, true, INFINITE, 5, 0, WAIT_TIMEOUT},
                          {FALSE, false, 1500, 1, 3, WAIT_TIMEOUT},
                          {FALSE, true, 1500, 1, 3, WAIT_TIMEOUT}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "manual " << c.manual << " pulse " << c.pulse);
        HANDLE ev = CreateEvent(NULL, c.manual, FALSE, NULL);
        {
            Waiters w(ev, c.released + c.timedOut, c.timeout);
            EXPECT_EQ(w.Released(), 0);
            EXPECT_EQ(c.pulse ? PulseEvent(ev) : SetEvent(ev), TRUE);
            w.Join();
            EXPECT_EQ(w.Released(), c.released);
            EXPECT_EQ(w.TimedOut(), c.timedOut);
            EXPECT_EQ(w.Failed(), 0);
        }
        EXPECT_EQ(WaitForSingleObject(ev, 0), c.after);
        CloseHandle(ev);
    }
}

TEST(EventTimeout, TimedWaitsLastAtLeastTheirTimeAndInfiniteEndsOnSignal) {
    HANDLE ev = CreateEvent(NULL, FALSE, FALSE, NULL);
    auto start = Clock::now();
    EXPECT_EQ(WaitForSingleObject(ev, 100), WAIT_TIMEOUT);
    EXPECT_GE(MsSince(start), 100);
    start = Clock::now();
    Sleep(50);
    EXPECT_GE(MsSince(start), 50);
    std::thread setter([ev] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        SetEvent(ev);
    });
    start = Clock::now();
    EXPECT_EQ(WaitForSingleObject(ev, INFINITE), WAIT_OBJECT_0);
    EXPECT_GE(MsSince(start), 100);
    setter.join();
    CloseHandle(ev);
}

TEST(EventTimeout, ZeroWaitOnSignalledEventSucceedsUnderContention) {
    HANDLE manual = CreateEvent(NULL, TRUE, TRUE, NULL);
    std::atomic<bool> stop{false};
    std::vector<std::thread> noise;
    for (int i = 0; i < 3; ++i)
        noise.emplace_back([&] {
            while (!stop.load()) {
                SetEvent(manual);
                WaitForSingleObject(manual, 1);
            }
        });
    int failures = 0;
    for (int i = 0; i < 20000; ++i)
        failures += WaitForSingleObject(manual, 0) != WAIT_OBJECT_0;
    stop.store(true);
    for (auto& t : noise)
        t.join();
    EXPECT_EQ(failures, 0);
    CloseHandle(manual);
}

TEST(EventClose, ClosingAHandleAnotherThreadWaitsOnDoesNotWakeIt) {
    HANDLE ev = CreateEvent(NULL, TRUE, FALSE, NULL);
    {
        Waiters w(ev, 2, 600);
        EXPECT_EQ(CloseHandle(ev), TRUE);
        EXPECT_EQ(SetEvent(ev), FALSE); // the handle is gone for everybody
        w.Join();
        EXPECT_EQ(w.TimedOut(), 2);
    }
    EXPECT_EQ(CloseHandle(ev), FALSE);
}

TEST(EventClose, ConcurrentCloseOfOneHandleSucceedsOnce) {
    for (int round = 0; round < 200; ++round) {
        HANDLE ev = CreateEvent(NULL, FALSE, FALSE, NULL);
        std::atomic<int> closed{0};
        std::vector<std::thread> closers;
        for (int i = 0; i < 3; ++i)
            closers.emplace_back([&] {
                closed += CloseHandle(ev) ? 1 : 0;
                WaitForSingleObject(ev, 0);
            });
        for (auto& t : closers)
            t.join();
        ASSERT_EQ(closed.load(), 1);
    }
}

TEST(EventRace, SignalRacingWithTimeoutIsNeverLost) {
    HANDLE ev = CreateEvent(NULL, FALSE, FALSE, NULL);
    for (int i = 0; i < 300; ++i) {
        std::atomic<bool> go{false};
        DWORD result = WAIT_FAILED;
        std::thread waiter([&] {
            go.store(true);
            result = WaitForSingleObject(ev, 1);
        });
        while (!go.load()) {
        }
        std::this_thread::sleep_for(std::chrono::microseconds(i % 3 * 500));
        SetEvent(ev);
        waiter.join();
        const bool onObject = WaitForSingleObject(ev, 0) == WAIT_OBJECT_0;
        ASSERT_TRUE(result == WAIT_OBJECT_0 || result == WAIT_TIMEOUT) << result;
        // Exactly one of: reported to the waiter, or still on the event.
        ASSERT_NE(result == WAIT_OBJECT_0, onObject) << "round " << i;
    }
    CloseHandle(ev);
}

} // namespace
