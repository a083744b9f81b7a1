// CCriticalSection: re-entrancy, exclusion, misuse by non-owners.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platcompat.h"

namespace {

// Starts a thread that enters `cs` (bumping `inside`) and leaves it again.
struct Contender {
    std::atomic<bool> trying{false};
    std::atomic<bool> inside{false};
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
        constexpr int kDepth = 5;
        for (int i = 0; i < kDepth; ++i)
            cs.Lock();
        Contender other(cs);
        for (int i = 0; i < kDepth - 1; ++i) {
            cs.Unlock();
            std::this_thread::sleep_for(std::chrono::milliseconds(40));
            EXPECT_FALSE(other.inside.load()) << "got in after " << i + 1 << " leaves";
        }
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

TEST(CritSec, InitAndTermReturnSokAndKeepTheSectionUsable) {
    CCriticalSection cs;
    EXPECT_EQ(cs.Init(), S_OK);
    cs.Lock();
    EXPECT_EQ(cs.Term(), S_OK);
    cs.Unlock();
    cs.Lock();
    cs.Unlock();
}

TEST(CritSec, ExcludesOtherThreads) {
    CCriticalSection cs;
    long counter = 0; // guarded by cs; a data race shows under ThreadSanitizer
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                cs.Lock();
                cs.Lock();
                long v = counter;
                counter = v + 1;
                cs.Unlock();
                cs.Unlock();
            }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(counter, 80000);
}

} // namespace
