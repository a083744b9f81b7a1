// CKxEvent: what each pairing of initial state and reset mode answers to
// waits, IsSet, Set, Reset and Pulse; waiters on other threads; the raw handle.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "CKxEvent.h"
#include "threads/ThreadTestSupport.h"

using namespace KxTamarind;
using namespace KxThreadTest;

namespace {
constexpr unsigned long kSignalled = 0;
constexpr unsigned long kTimedOut = 258;
} // namespace

TEST(KxEvent, StateAndModeTable) {
    // Each row: the event, then a script of operations and what each answers:
    // 'w' Wait(0) signalled, 't' Wait(0) timed out, 'i'/'n' IsSet true/false,
    // 'S' Set, 'R' Reset, 'P' Pulse (no waiter).
    struct Case {
        CKxEvent::InitialState state;
        CKxEvent::ResetMode mode;
        const char* script;
    } cases[] = {
        {CKxEvent::InitialState_Signaled, CKxEvent::ResetMode_Manual, "wwiiRtnSwPt"},
        {CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual, "tnSwwRtPtn"},
        {CKxEvent::InitialState_Signaled, CKxEvent::ResetMode_Automatic, "wtSintSRt"},
        {CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Automatic, "tnSwtSPt"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.script);
        CKxEvent event(c.state, c.mode, nullptr, nullptr);
        for (const char* op = c.script; *op != '\0'; ++op) {
            SCOPED_TRACE(std::string("at ") + *op + " (" + std::to_string(op - c.script) + ")");
            switch (*op) {
            case 'w':
                EXPECT_EQ(event.Wait(0), kSignalled);
                break;
            case 't':
                EXPECT_EQ(event.Wait(0), kTimedOut);
                break;
            case 'i':
                EXPECT_TRUE(event.IsSet());
                break;
            case 'n':
                EXPECT_FALSE(event.IsSet());
                break;
            case 'S':
                EXPECT_TRUE(event.Set());
                break;
            case 'R':
                EXPECT_TRUE(event.Reset());
                break;
            case 'P':
                EXPECT_TRUE(event.Pulse());
                break;
            }
        }
        EXPECT_EQ(event.Wait(20), kTimedOut); // a timed wait on nothing times out
    }
}

TEST(KxEvent, WaitersOnOtherThreads) {
    // A pulse releases a waiter and leaves the event unsignalled; the waiter
    // may not be waiting yet, so pulse until it was released.
    CKxEvent event(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual);
    std::atomic<unsigned long> result{12345};
    std::thread waiter([&] { result.store(event.Wait(60000)); });
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (result.load() == 12345 && std::chrono::steady_clock::now() < end) {
        EXPECT_TRUE(event.Pulse());
        std::this_thread::sleep_for(5ms);
    }
    if (result.load() == 12345) {
        event.Set(); // let the waiter finish before failing
    }
    waiter.join();
    EXPECT_EQ(result.load(), kSignalled);
    EXPECT_EQ(event.Wait(0), kTimedOut);

    CKxEvent automatic(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Automatic);
    std::thread setter([&] {
        std::this_thread::sleep_for(20ms);
        automatic.Set();
    });
    EXPECT_EQ(automatic.Wait(), kSignalled); // without a limit
    setter.join();
    EXPECT_EQ(automatic.Wait(0), kTimedOut);
}

TEST(KxEvent, HandleIsWaitable) {
    CKxEvent first(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual);
    CKxEvent second(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Automatic);
    ASSERT_NE(first.Handle(), nullptr);
    EXPECT_EQ(static_cast<void*>(first), first.Handle());
    EXPECT_NE(first.Handle(), second.Handle());
    EXPECT_TRUE(first.Set());
    EXPECT_EQ(WaitForSingleObject(first.Handle(), 0), WAIT_OBJECT_0);
    EXPECT_NE(ResetEvent(first.Handle()), FALSE); // seen by the object
    EXPECT_FALSE(first.IsSet());
    second.Set();
    const HANDLE handles[] = {first.Handle(), second};
    EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, 0), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, 0), WAIT_TIMEOUT);
}
