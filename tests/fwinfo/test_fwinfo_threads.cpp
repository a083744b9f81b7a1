// TCD switching reported from several threads at once must count exactly.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "CFwInfoTable.h"

using namespace KxTamarind;

namespace {
constexpr int kThreads = 4;
constexpr int kRounds = 10000;
} // namespace

TEST(FwInfoTableThreadsTest, ConcurrentTCDSwitchingCountsExactly) {
    CFwInfoTable table;
    const unsigned short app = table.NewFwAppId(0);
    const unsigned short li = table.NewLiId(app);
    table.SetUnloadLogicalInstrumentWhenTCDsOff(true, li);

    // Every thread first switches its TCDs on, then (after all have) off.
    std::atomic<int> onDone{0};
    std::atomic<int> lastOffReports{0};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                if (!table.TCDOff2On(li)) {
                    failures.fetch_add(1);
                }
            }
            onDone.fetch_add(1);
            while (onDone.load() < kThreads) {
                std::this_thread::yield();
            }
            for (int i = 0; i < kRounds; ++i) {
                bool lastOff = false;
                bool unload = false;
                if (!table.TCDOn2Off(li, lastOff, unload)) {
                    failures.fetch_add(1);
                }
                if (lastOff) {
                    lastOffReports.fetch_add(1);
                    if (!unload) {
                        failures.fetch_add(1);
                    }
                }
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(table.GetLiInfo(li)->GetTCDCount(), 0);
    // Exactly one decrement reached 0: lost or doubled updates would change it.
    EXPECT_EQ(lastOffReports.load(), 1);
}

TEST(FwInfoTableThreadsTest, InterleavedOnOffEndsBalanced) {
    CFwInfoTable table;
    const unsigned short app = table.NewFwAppId(0);
    const unsigned short li = table.NewLiId(app);
    table.TCDOff2On(li); // one TCD stays on throughout: no lastOff expected

    std::atomic<int> lastOffReports{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                table.TCDOff2On(li);
                bool lastOff = false;
                bool unload = false;
                table.TCDOn2Off(li, lastOff, unload);
                if (lastOff) {
                    lastOffReports.fetch_add(1);
                }
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    EXPECT_EQ(table.GetLiInfo(li)->GetTCDCount(), 1);
    EXPECT_EQ(lastOffReports.load(), 0);
}
