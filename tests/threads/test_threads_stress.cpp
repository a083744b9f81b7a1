// Bounded stress tests (also run under ThreadSanitizer): many senders on one
// consumer, Close() in the middle of traffic, and many threads cycling pool
// threads.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "CMessageQueue.h"
#include "CThreadPool.h"
#include "threads/ThreadTestSupport.h"

using namespace KxTamarind;
using namespace KxThreadTest;

namespace {

int Answer(unsigned long message, int p1, int p2) {
    return static_cast<int>(message * 7919u) ^ (p1 * 31 + p2);
}

} // namespace

// Many senders on one consumer; with `duplicates` the consumer answers every
// message three times and throws in results for ids nobody will ever send.
// Each sender still gets exactly the first answer to its own message, and
// nothing stays stored.
class SendersGetExactlyTheirResults : public ::testing::TestWithParam<bool> {};

TEST_P(SendersGetExactlyTheirResults, UnderLoad) {
    const bool duplicates = GetParam();
    const int senders = duplicates ? 6 : 8;
    const int messages = duplicates ? 500 : 2000;
    CMessageQueue queue;
    std::atomic<int> processed{0};
    std::thread consumer([&] {
        unsigned long long id;
        unsigned long message;
        int p1, p2;
        while (queue.WaitAndGetMessage(id, message, p1, p2)) {
            queue.FinishMessage(id, Answer(message, p1, p2));
            if (duplicates) {
                queue.FinishMessage(id, -1);
                queue.FinishMessage(id + 1000000000ull, -2);
                queue.FinishMessage(id, -3);
            }
            ++processed;
        }
    });
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int s = 0; s < senders; ++s) {
        threads.emplace_back([&, s] {
            for (int i = 0; i < messages; ++i) {
                unsigned long message = static_cast<unsigned long>(s * messages + i);
                wrong += queue.SendMessage(message, s, i) != Answer(message, s, i);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(queue.StoredResultCount(), 0u);
    queue.Close();
    consumer.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(processed.load(), senders * messages);
}

INSTANTIATE_TEST_SUITE_P(ThreadsStress, SendersGetExactlyTheirResults, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "WithDuplicateAndStrayResults" : "Plain";
                         });

TEST(ThreadsStress, CloseWhileSendersAreBlockedAndMessagesQueued) {
    constexpr int kSenders = 8;
    for (int round = 0; round < 5; ++round) {
        CMessageQueue queue;
        std::atomic<int> processed{0};
        std::atomic<int> wrong{0};
        std::atomic<int> aborted{0};
        // A slow consumer that stops after a while, leaving senders blocked
        // and messages queued.
        std::thread consumer([&] {
            unsigned long long id;
            unsigned long message;
            int p1, p2;
            while (processed.load() < 200 && queue.WaitAndGetMessage(id, message, p1, p2)) {
                queue.FinishMessage(id, Answer(message, p1, p2));
                ++processed;
            }
        });
        std::vector<std::thread> senders;
        for (int s = 0; s < kSenders; ++s) {
            senders.emplace_back([&, s] {
                for (int i = 0;; ++i) {
                    HRESULT hr = queue.SendMessage(static_cast<unsigned long>(i), s, i);
                    if (hr == E_ABORT) {
                        ++aborted;
                        break;
                    }
                    if (hr != Answer(static_cast<unsigned long>(i), s, i)) {
                        ++wrong;
                    }
                }
            });
        }
        consumer.join();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        queue.Close();
        for (auto& sender : senders) {
            sender.join(); // every sender returns
        }
        EXPECT_EQ(wrong.load(), 0);
        EXPECT_EQ(aborted.load(), kSenders);
        EXPECT_EQ(queue.StoredResultCount(), 0u);
        unsigned long long id;
        unsigned long message;
        int p1, p2;
        EXPECT_FALSE(queue.WaitAndGetMessage(id, message, p1, p2));
    }
}

TEST(ThreadsStress, PoolCyclesLoseNoThread) {
    constexpr int kClients = 6;
    constexpr int kCycles = 150;
    CThreadPool& pool = *GetGlobalThreadPool();
    std::atomic<int> runs{0};
    std::atomic<int> failures{0};
    class CountingRun : public CThreadRunObject {
    public:
        explicit CountingRun(std::atomic<int>& runs) : CThreadRunObject(true), m_runs(runs) {}
        void Run() override { ++m_runs; }

    private:
        std::atomic<int>& m_runs;
    };
    std::vector<std::thread> clients;
    for (int c = 0; c < kClients; ++c) {
        clients.emplace_back([&, c] {
            for (int i = 0; i < kCycles; ++i) {
                KXApartmentModelType model = (c + i) % 2 == 0 ? KXApartmentModel_MultiThreaded
                                                              : KXApartmentModel_SingleThreaded;
                CThread* thread = pool.GetThread(model, "stress", nullptr);
                CountingRun run(runs);
                thread->Start(&run, false);
                if (!run.WaitRunFinished(60000)) {
                    ++failures;
                    return; // the run object must not go away while it runs
                }
            }
        });
    }
    for (auto& client : clients) {
        client.join();
    }
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(runs.load(), kClients * kCycles);

    // Every thread created is back in exactly one idle list, once. (The
    // last release may still hold the pool's lock after its run finished.)
    CCritSectionLocker locked(pool);
    std::set<long> ids;
    size_t idle = 0;
    for (KXApartmentModelType model :
         {KXApartmentModel_MultiThreaded, KXApartmentModel_SingleThreaded}) {
        EXPECT_TRUE(pool[model].m_Dictionary.empty());
        for (CThreadPoolElement* thread : pool[model].m_IdleList) {
            ids.insert(thread->ThreadId());
            EXPECT_EQ(thread->State(), eThreadState_Idle);
            EXPECT_FALSE(thread->Reserved());
            EXPECT_EQ(thread->ApartmentModel(), model);
            ++idle;
        }
    }
    EXPECT_EQ(ids.size(), idle);
    ASSERT_FALSE(ids.empty());
    EXPECT_EQ(*ids.begin(), 0);
    EXPECT_EQ(*ids.rbegin(), static_cast<long>(idle) - 1);
    EXPECT_LE(idle, static_cast<size_t>(2 * kClients));
}
