// CKxEvent: constructor mapping of initial state and reset mode, the wait
// results, IsSet consuming an automatic-reset signal, Pulse and the raw
// handle.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "CKxEvent.h"

using namespace KxTamarind;

namespace {

using namespace std::chrono_literals;

constexpr unsigned long kSignalled = 0;
constexpr unsigned long kTimedOut = 258;

} // namespace

TEST(KxEvent, ConstructorMapsStateAndMode) {
    CKxEvent signalledManual(CKxEvent::InitialState_Signaled, CKxEvent::ResetMode_Manual);
    EXPECT_EQ(signalledManual.Wait(0), kSignalled);
    EXPECT_EQ(signalledManual.Wait(0), kSignalled); // manual reset stays signalled

    CKxEvent quietManual(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual);
    EXPECT_EQ(quietManual.Wait(0), kTimedOut);
    EXPECT_TRUE(quietManual.Set());
    EXPECT_EQ(quietManual.Wait(0), kSignalled);
    EXPECT_EQ(quietManual.Wait(10), kSignalled);
    EXPECT_TRUE(quietManual.Reset());
    EXPECT_EQ(quietManual.Wait(0), kTimedOut);

    CKxEvent signalledAuto(CKxEvent::InitialState_Signaled, CKxEvent::ResetMode_Automatic);
    EXPECT_EQ(signalledAuto.Wait(0), kSignalled);
    EXPECT_EQ(signalledAuto.Wait(0), kTimedOut); // the wait consumed the signal

    CKxEvent quietAuto(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Automatic, nullptr,
                       nullptr);
    EXPECT_EQ(quietAuto.Wait(0), kTimedOut);
    EXPECT_EQ(quietAuto.Wait(20), kTimedOut);
    EXPECT_TRUE(quietAuto.Set());
    EXPECT_EQ(quietAuto.Wait(0), kSignalled);
    EXPECT_EQ(quietAuto.Wait(0), kTimedOut);
}

TEST(KxEvent, IsSetConsumesAutomaticSignal) {
    CKxEvent automatic(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Automatic);
    EXPECT_FALSE(automatic.IsSet());
    automatic.Set();
    EXPECT_TRUE(automatic.IsSet());
    EXPECT_FALSE(automatic.IsSet());
    EXPECT_EQ(automatic.Wait(0), kTimedOut);

    CKxEvent manual(CKxEvent::InitialState_Signaled, CKxEvent::ResetMode_Manual);
    EXPECT_TRUE(manual.IsSet());
    EXPECT_TRUE(manual.IsSet());
}

TEST(KxEvent, PulseReleasesWaiterAndLeavesNotSignalled) {
    CKxEvent event(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual);
    // A pulse without waiters leaves nothing behind.
    EXPECT_TRUE(event.Pulse());
    EXPECT_EQ(event.Wait(0), kTimedOut);

    std::atomic<unsigned long> result{12345};
    std::thread waiter([&] { result.store(event.Wait(60000), std::memory_order_relaxed); });
    // The waiter may not be waiting yet: pulse until it was released.
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (result.load(std::memory_order_relaxed) == 12345 &&
           std::chrono::steady_clock::now() < end) {
        EXPECT_TRUE(event.Pulse());
        std::this_thread::sleep_for(5ms);
    }
    if (result.load(std::memory_order_relaxed) == 12345) {
        event.Set(); // let the waiter finish before failing
    }
    waiter.join();
    EXPECT_EQ(result.load(std::memory_order_relaxed), kSignalled);
    EXPECT_EQ(event.Wait(0), kTimedOut);
}

TEST(KxEvent, WaitWithoutLimitReturnsWhenSetFromAnotherThread) {
    CKxEvent event(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Automatic);
    std::thread setter([&] {
        std::this_thread::sleep_for(20ms);
        event.Set();
    });
    EXPECT_EQ(event.Wait(), kSignalled);
    setter.join();
    EXPECT_EQ(event.Wait(0), kTimedOut);
}

TEST(KxEvent, HandleIsWaitable) {
    CKxEvent first(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Manual);
    CKxEvent second(CKxEvent::InitialState_NotSignaled, CKxEvent::ResetMode_Automatic);
    ASSERT_NE(first.Handle(), nullptr);
    EXPECT_EQ(static_cast<void*>(first), first.Handle());
    EXPECT_NE(first.Handle(), second.Handle());
    EXPECT_EQ(WaitForSingleObject(first.Handle(), 0), WAIT_TIMEOUT);
    EXPECT_TRUE(first.Set());
    EXPECT_EQ(WaitForSingleObject(first.Handle(), 0), WAIT_OBJECT_0);
    // Operations on the raw handle are seen by the object.
    EXPECT_NE(ResetEvent(first.Handle()), FALSE);
    EXPECT_FALSE(first.IsSet());
    second.Set();
    const HANDLE handles[] = {first.Handle(), second};
    EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, 0), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, 0), WAIT_TIMEOUT);
}
