// Interlocked operations: return values, wrap-around and atomicity.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platcompat.h"

namespace {

// Each row: the value before, the call, what it must return and leave.
TEST(Interlocked, ReturnValuesAndResults) {
    struct Case {
        const char* name;
        LONG before;
        LONG (*op)(LONG*);
        LONG returned, after;
    };
    const Case cases[] = {
        {"increment returns the new value", 5, [](LONG* v) { return InterlockedIncrement(v); }, 6,
         6},
        {"increment wraps like Win32", 0x7FFFFFFF, [](LONG* v) { return InterlockedIncrement(v); },
         LONG(0x80000000u), LONG(0x80000000u)},
        {"decrement below zero", 0, [](LONG* v) { return InterlockedDecrement(v); }, -1, -1},
        {"exchange returns the old value", 10, [](LONG* v) { return InterlockedExchange(v, 3); },
         10, 3},
        {"add returns the old value", 7, [](LONG* v) { return InterlockedExchangeAdd(v, -10); }, 7,
         -3},
        {"compare-exchange without match", 1,
         [](LONG* v) { return InterlockedCompareExchange(v, 9, 2); }, 1, 1},
        {"compare-exchange with match", 1,
         [](LONG* v) { return InterlockedCompareExchange(v, 9, 1); }, 1, 9},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LONG v = c.before;
        EXPECT_EQ(c.op(&v), c.returned);
        EXPECT_EQ(v, c.after);
    }
    int a = 0, b = 0;
    void* volatile p = &a;
    EXPECT_EQ(InterlockedExchangePointer(&p, &b), &a);
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
