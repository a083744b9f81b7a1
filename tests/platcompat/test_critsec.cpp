// CCriticalSection: re-entrancy and misuse by non-owners. Exclusion under
// load is in test_sync_stress.cpp.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "platcompat.h"

namespace {

// Starts a thread that enters `cs` (setting `inside`) and leaves it again.
struct Contender {
    std::atomic<bool> trying{false}, inside{false};
    std::thread thread;
    explicit Contender(CCriticalSection& cs) {
        thread = std::thread([this, &cs] {
            trying.store(true);
            cs.Lock();
            inside.store(true);
            cs.Unlock();
        });
        while (!trying.load())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~Contender() {
        if (thread.joinable())
            thread.join();
    }
};

TEST(CritSec, OwnerMustLeaveAsOftenAsItEnteredBeforeOthersGetIn) {
    for (bool flag : {true, false}) { // always re-entrant, whatever the flag
        SCOPED_TRACE(flag);
        CCriticalSection cs(flag);
        EXPECT_EQ(cs.Init(), S_OK);
        constexpr int kDepth = 5;
        for (int i = 0; i < kDepth; ++i)
            cs.Lock();
        Contender other(cs);
        for (int i = 0; i < kDepth - 1; ++i) {
            cs.Unlock();
            std::this_thread::sleep_for(std::chrono::milliseconds(40));
            EXPECT_FALSE(other.inside.load()) << "got in after " << i + 1 << " leaves";
        }
        EXPECT_EQ(cs.Term(), S_OK); // keeps the section usable
        cs.Unlock();
        other.thread.join();
        EXPECT_TRUE(other.inside.load());
    }
}

TEST(CritSec, UnlockByANonOwnerIsIgnored) {
    CCriticalSection cs;
    cs.Lock();
    std::thread intruder([&] { cs.Unlock(); });
    intruder.join();
    Contender other(cs);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(other.inside.load()) << "a foreign unlock released the owner's hold";
    cs.Unlock();
    other.thread.join();
    EXPECT_TRUE(other.inside.load());
}

} // namespace
