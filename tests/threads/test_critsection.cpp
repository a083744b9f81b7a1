// CCritSection and its lockers: re-entrancy, lock counting, what the
// destructor leaves, and the supplier's Relock.
//
// "Free" and "held" are proven from a second thread: it blocks in lock()
// while the section is held and gets in once it is free. Negative checks
// wait a short while; positive ones wait with a generous bound.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "CCritSection.h"

using namespace KxTamarind;

namespace {

using namespace std::chrono_literals;

// A thread that enters the section, notes it and leaves at once.
class Contender {
public:
    explicit Contender(const CCritSection& section)
        : m_thread([this, &section] {
              section.lock();
              m_entered.store(true, std::memory_order_relaxed);
              section.unlock();
          }) {}
    ~Contender() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    // Whether it got in within `bound`.
    bool EnteredWithin(std::chrono::milliseconds bound) const {
        const auto end = std::chrono::steady_clock::now() + bound;
        while (!m_entered.load(std::memory_order_relaxed)) {
            if (std::chrono::steady_clock::now() >= end) {
                return false;
            }
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }

private:
    std::atomic<bool> m_entered{false};
    std::thread m_thread;
};

constexpr auto kBlockedFor = 100ms; // a held section keeps the contender out this long
constexpr auto kGenerous = 10s;     // a free section lets it in within this

} // namespace

TEST(CritSectionLocker, NullSectionDoesNothing) {
    CCritSectionLocker locker(static_cast<const CCritSection*>(nullptr));
    EXPECT_EQ(locker.LockCount(), 0u);
    locker.Lock();
    EXPECT_EQ(locker.LockCount(), 0u);
    locker.Unlock();
    locker.Unlock();
    EXPECT_EQ(locker.LockCount(), 0u);
    CCritSectionLockerSupplier supplier(static_cast<const CCritSection*>(nullptr));
    supplier.Unlock();
    supplier.Relock();
    EXPECT_EQ(supplier.LockCount(), 0u);
}

TEST(CritSectionLocker, UnlockAtZeroDoesNotLeave) {
    CCritSection section;
    section.lock(); // held by this thread outside the locker
    {
        CCritSectionLocker locker(section);
        EXPECT_EQ(locker.LockCount(), 1u);
        locker.Unlock();
        locker.Unlock(); // count is 0: must not take away the outer hold
        EXPECT_EQ(locker.LockCount(), 0u);
    }
    Contender contender(section);
    EXPECT_FALSE(contender.EnteredWithin(kBlockedFor));
    section.unlock();
    EXPECT_TRUE(contender.EnteredWithin(kGenerous));
}

TEST(CritSectionLocker, DestructorLeavesExactlyAsOftenAsHeld) {
    CCritSection section;
    section.lock(); // outer hold: an extra leave by the destructor would free the section
    auto locker = std::make_unique<CCritSectionLocker>(&section);
    locker->Lock();
    locker->Lock();
    EXPECT_EQ(locker->LockCount(), 3u);
    locker->Unlock();
    EXPECT_EQ(locker->LockCount(), 2u);
    Contender contender(section);
    EXPECT_FALSE(contender.EnteredWithin(kBlockedFor)); // not free before
    locker.reset();
    EXPECT_FALSE(contender.EnteredWithin(kBlockedFor)); // outer hold kept
    section.unlock();
    const bool entered = contender.EnteredWithin(kGenerous);
    EXPECT_TRUE(entered) << "the destructor left the section fewer than two times";
    if (!entered) {
        section.unlock(); // let the contender finish
        section.unlock();
    }
}

TEST(CritSectionLocker, RelockAfterUnlockThroughSupplier) {
    CCritSection section;
    // Counts are asserted: a wrong count would leave a contender blocked.
    {
        CCritSectionLockerSupplier supplier(section);
        ASSERT_EQ(supplier.LockCount(), 1u);
        EXPECT_FALSE(supplier.IsUnlocked());
        supplier.Relock(); // never unlocked: nothing
        ASSERT_EQ(supplier.LockCount(), 1u);
        supplier.Unlock();
        ASSERT_TRUE(supplier.IsUnlocked());
        ASSERT_EQ(supplier.LockCount(), 0u);
        {
            Contender contender(section); // free while unlocked
            EXPECT_TRUE(contender.EnteredWithin(kGenerous));
        }
        supplier.Relock();
        EXPECT_FALSE(supplier.IsUnlocked());
        ASSERT_EQ(supplier.LockCount(), 1u);
        supplier.Relock(); // only once
        ASSERT_EQ(supplier.LockCount(), 1u);
        supplier.Lock();
        ASSERT_EQ(supplier.LockCount(), 2u);
        // An unlock through the base class does not mark the supplier.
        static_cast<CCritSectionLocker&>(supplier).Unlock();
        EXPECT_FALSE(supplier.IsUnlocked());
        supplier.Relock();
        ASSERT_EQ(supplier.LockCount(), 1u);
    }
    Contender contender(section); // the destructor left it
    EXPECT_TRUE(contender.EnteredWithin(kGenerous));
}

TEST(CritSection, ReentrantWhileAnotherThreadWaits) {
    CCritSection section;
    CCritSectionLocker outer(section);
    Contender contender(section);
    EXPECT_FALSE(contender.EnteredWithin(kBlockedFor));
    {
        CCritSectionLocker inner(section); // same thread: must not deadlock
        section.lock();
        section.unlock();
        EXPECT_EQ(inner.LockCount(), 1u);
    }
    EXPECT_FALSE(contender.EnteredWithin(kBlockedFor)); // still held by `outer`
    outer.Unlock();
    EXPECT_TRUE(contender.EnteredWithin(kGenerous));
}

TEST(CritSection, StressNestedLockersSerialise) {
    CCritSection section;
    long counter = 0; // protected by `section` only
    constexpr int kThreads = 4;
    constexpr int kRounds = 5000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                CCritSectionLocker locker(section);
                CCritSectionLocker nested(&section);
                const long seen = counter;
                nested.Unlock();
                locker.Lock();
                counter = seen + 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, kThreads * kRounds);
}
