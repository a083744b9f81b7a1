// Interlocked operations: return values and atomicity.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platcompat.h"

namespace {

TEST(Interlocked, IncrementAndDecrementReturnTheNewValue) {
    LONG v = 5;
    EXPECT_EQ(InterlockedIncrement(&v), 6);
    EXPECT_EQ(v, 6);
    EXPECT_EQ(InterlockedDecrement(&v), 5);
    EXPECT_EQ(InterlockedDecrement(&v), 4);
    LONG top = 0x7FFFFFFF;
    EXPECT_EQ(InterlockedIncrement(&top), LONG(0x80000000u)); // wraps like Win32
    LONG zero = 0;
    EXPECT_EQ(InterlockedDecrement(&zero), -1);
}

TEST(Interlocked, ExchangeFamilyReturnsTheOldValue) {
    LONG v = 10;
    EXPECT_EQ(InterlockedExchange(&v, 3), 10);
    EXPECT_EQ(v, 3);
    EXPECT_EQ(InterlockedExchangeAdd(&v, 4), 3);
    EXPECT_EQ(v, 7);
    EXPECT_EQ(InterlockedExchangeAdd(&v, -10), 7);
    EXPECT_EQ(v, -3);
}

TEST(Interlocked, CompareExchangeStoresOnlyOnMatchAndReturnsTheOldValue) {
    LONG v = 1;
    EXPECT_EQ(InterlockedCompareExchange(&v, 9, 2), 1); // no match
    EXPECT_EQ(v, 1);
    EXPECT_EQ(InterlockedCompareExchange(&v, 9, 1), 1); // match
    EXPECT_EQ(v, 9);
}

TEST(Interlocked, PointerFormsReturnTheOldPointer) {
    int a = 0, b = 0;
    void* volatile p = &a;
    EXPECT_EQ(InterlockedExchangePointer(&p, &b), &a);
    EXPECT_EQ(p, &b);
    EXPECT_EQ(InterlockedCompareExchangePointer(&p, nullptr, &a), &b); // no match
    EXPECT_EQ(p, &b);
    EXPECT_EQ(InterlockedCompareExchangePointer(&p, nullptr, &b), &b);
    EXPECT_EQ(p, nullptr);
}

TEST(Interlocked, ConcurrentUpdatesLoseNothing) {
    LONG counter = 0, added = 0, casCounter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 50000; ++i) {
                InterlockedIncrement(&counter);
                InterlockedExchangeAdd(&added, 3);
                InterlockedDecrement(&counter);
                InterlockedIncrement(&counter);
                LONG seen = InterlockedExchangeAdd(&casCounter, 0); // an atomic read
                LONG found;
                while ((found = InterlockedCompareExchange(&casCounter, seen + 1, seen)) != seen)
                    seen = found;
            }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(counter, 200000);
    EXPECT_EQ(added, 600000);
    EXPECT_EQ(casCounter, 200000);
}

} // namespace
