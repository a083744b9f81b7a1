// CMessageQueue: ids, results back to their senders, the first result wins,
// and the closed state (queued messages answered with E_ABORT, later sends
// refused, later results dropped, the consumer told to stop).
#include <gtest/gtest.h>

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <future>
#include <thread>
#include <vector>

#include "CMessageQueue.h"
#include "threads/ThreadTestSupport.h"

using namespace KxTamarind;
using namespace std::chrono_literals;

namespace {

struct Message {
    unsigned long long id = 0;
    unsigned long message = 0;
    int p1 = 0;
    int p2 = 0;
};

bool Take(CMessageQueue& queue, Message& m) {
    return queue.WaitAndGetMessage(m.id, m.message, m.p1, m.p2);
}

// Waits (generously) until `value` reached `wanted`.
void WaitUntil(const std::atomic<int>& value, int wanted) {
    for (int i = 0; i < 30000 && value.load() < wanted; ++i) {
        std::this_thread::sleep_for(1ms);
    }
}

// CPU time a thread of this process has used so far.
std::chrono::nanoseconds ThreadCpuTime(std::thread& thread) {
    clockid_t clock;
    EXPECT_EQ(pthread_getcpuclockid(thread.native_handle(), &clock), 0);
    timespec used{};
    EXPECT_EQ(clock_gettime(clock, &used), 0);
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

} // namespace

TEST(MessageQueue, IdsStartAtOneAndResultsReachTheirSender) {
    CMessageQueue queue;
    std::vector<unsigned long long> ids;
    std::thread consumer([&] {
        Message m;
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(Take(queue, m));
            ids.push_back(m.id);
            queue.FinishMessage(m.id, static_cast<int>(m.message) * 1000 + m.p1 - m.p2);
        }
    });
    EXPECT_EQ(queue.SendMessage(7, 5, 2), 7003);
    EXPECT_EQ(queue.SendMessage(1, -4, 0), 996);
    EXPECT_EQ(queue.SendMessage(0, 0, 0x7FFFFFFF), -0x7FFFFFFF);
    consumer.join();
    EXPECT_EQ(ids, (std::vector<unsigned long long>{1, 2, 3}));
    EXPECT_EQ(queue.StoredResultCount(), 0u);
}

TEST(MessageQueue, FirstResultForAnIdWins) {
    CMessageQueue queue;
    std::thread consumer([&] {
        Message m;
        ASSERT_TRUE(Take(queue, m));
        // Both results are stored before the sender can look (same lock).
        queue.FinishMessage(m.id, 11);
        queue.FinishMessage(m.id, 22);
    });
    EXPECT_EQ(queue.SendMessage(1, 0, 0), 11);
    consumer.join();
}

TEST(MessageQueue, CloseAnswersQueuedMessagesWithAbort) {
    CMessageQueue queue;
    std::atomic<int> sending{0};
    auto send = [&](int p) {
        ++sending;
        return queue.SendMessage(1, p, 0);
    };
    auto first = std::async(std::launch::async, send, 1);
    auto second = std::async(std::launch::async, send, 2);
    WaitUntil(sending, 2);
    std::this_thread::sleep_for(50ms); // both are queued (nobody consumes)
    queue.Close();
    ASSERT_EQ(first.wait_for(30s), std::future_status::ready);
    ASSERT_EQ(second.wait_for(30s), std::future_status::ready);
    EXPECT_EQ(first.get(), E_ABORT);
    EXPECT_EQ(second.get(), E_ABORT);
    EXPECT_EQ(queue.StoredResultCount(), 0u);
    // The queue was emptied by Close: the consumer gets nothing.
    Message m;
    EXPECT_FALSE(Take(queue, m));
}

TEST(MessageQueue, ClosedQueueRefusesSendsAndDropsResults) {
    CMessageQueue queue;
    queue.Close();
    EXPECT_EQ(queue.SendMessage(3, 1, 1), E_ABORT);
    Message m;
    EXPECT_FALSE(Take(queue, m)); // nothing was queued
    queue.FinishMessage(1, 5);
    EXPECT_EQ(queue.StoredResultCount(), 0u);
    queue.Close(); // closing twice is harmless
    EXPECT_EQ(queue.SendMessage(3, 1, 1), E_ABORT);
}

TEST(MessageQueue, CloseReleasesSenderWhoseMessageIsBeingProcessed) {
    CMessageQueue queue;
    Message taken;
    auto sender = std::async(std::launch::async, [&] { return queue.SendMessage(9, 0, 0); });
    ASSERT_TRUE(Take(queue, taken));
    EXPECT_EQ(taken.id, 1u);
    queue.Close();
    ASSERT_EQ(sender.wait_for(30s), std::future_status::ready);
    EXPECT_EQ(sender.get(), E_ABORT);
    queue.FinishMessage(taken.id, 1); // too late: dropped
    EXPECT_EQ(queue.StoredResultCount(), 0u);
}

TEST(MessageQueue, SenderWaitingBesideAnUncollectedResultReturnsOnClose) {
    // Beside a result for an id nobody collects, a sender whose own result
    // never comes still returns on Close.
    CMessageQueue queue;
    std::thread consumer([&] {
        Message m;
        ASSERT_TRUE(Take(queue, m));
        queue.FinishMessage(m.id, 1);
        queue.FinishMessage(1000, 2); // no sender waits for id 1000
        ASSERT_TRUE(Take(queue, m));  // taken, never finished
    });
    EXPECT_EQ(queue.SendMessage(1, 0, 0), 1);
    auto blocked = std::async(std::launch::async, [&] { return queue.SendMessage(2, 0, 0); });
    consumer.join();
    EXPECT_EQ(blocked.wait_for(100ms), std::future_status::timeout);
    queue.Close();
    ASSERT_EQ(blocked.wait_for(30s), std::future_status::ready);
    EXPECT_EQ(blocked.get(), E_ABORT);
}

TEST(MessageQueue, DestructorClosesTheQueue) {
    auto* queue = new CMessageQueue;
    std::atomic<bool> stopped{false};
    std::thread consumer([&] {
        Message m;
        while (Take(*queue, m)) {
            queue->FinishMessage(m.id, 0);
        }
        stopped = true;
    });
    EXPECT_EQ(queue->SendMessage(1, 0, 0), 0);
    queue->Close();
    consumer.join();
    EXPECT_TRUE(stopped.load());
    delete queue; // closed already: waits on nothing, frees everything
}

// Issue 11, fault 3: a result nobody collects (for an id never handed out, or
// a second one after the sender took the first) left the processed event
// signalled for good, and every sender that waited from then on spun on it:
// one full core each, and the stray results stayed stored. A waiting
// sender must sleep (its CPU time stays far below the wall time it waits:
// a spin detector, not a speed assumption) and strays must not be stored.
TEST(MessageQueue, StrayResultDoesNotMakeSendersSpin) {
    CMessageQueue queue;
    Message m;
    auto first = std::async(std::launch::async, [&] { return queue.SendMessage(1, 0, 0); });
    ASSERT_TRUE(Take(queue, m));
    queue.FinishMessage(m.id, 5);
    ASSERT_EQ(first.wait_for(30s), std::future_status::ready);
    EXPECT_EQ(first.get(), 5);
    queue.FinishMessage(m.id, 6); // a second result after the sender took the first
    queue.FinishMessage(1000, 7); // an id that was never handed out
    EXPECT_EQ(queue.StoredResultCount(), 0u);

    std::promise<HRESULT> answered;
    std::thread sender([&] { answered.set_value(queue.SendMessage(2, 0, 0)); });
    ASSERT_TRUE(Take(queue, m)); // the message is queued: its sender waits
    const auto cpuStart = ThreadCpuTime(sender);
    const auto wallStart = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(1s);
    const auto cpuMs =
        std::chrono::duration_cast<std::chrono::milliseconds>(ThreadCpuTime(sender) - cpuStart)
            .count();
    const auto wallMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::steady_clock::now() - wallStart)
                            .count();
    EXPECT_LT(cpuMs * 5, wallMs) << "the waiting sender used " << cpuMs << " ms of CPU in "
                                 << wallMs << " ms";

    queue.FinishMessage(m.id, 9);
    auto result = answered.get_future();
    const bool returned = result.wait_for(30s) == std::future_status::ready;
    if (!returned) {
        queue.Close(); // release the sender so that the test can end
    }
    sender.join();
    ASSERT_TRUE(returned);
    EXPECT_EQ(result.get(), 9);
    EXPECT_EQ(queue.StoredResultCount(), 0u);
}

TEST(MessageQueue, StrayResultsAreDroppedAndNeverAnswerALaterSender) {
    CMessageQueue queue;
    std::thread consumer([&] {
        Message m;
        ASSERT_TRUE(Take(queue, m));
        // Strays while sender 1 waits (so ids 2 and 3 are not handed out
        // yet): ids never handed out, the next ones among them, each many
        // times over.
        const unsigned long long strays[] = {0, m.id + 1, m.id + 2, ULLONG_MAX};
        for (int round = 0; round < 1000; ++round) {
            for (unsigned long long id : strays) {
                queue.FinishMessage(id, -1);
            }
        }
        EXPECT_EQ(queue.StoredResultCount(), 0u); // nothing piled up
        queue.FinishMessage(m.id, 100);
        for (int round = 0; round < 1000; ++round) {
            queue.FinishMessage(m.id, -1); // the first result wins
        }
        ASSERT_TRUE(Take(queue, m));
        EXPECT_EQ(m.id, 2u);
        queue.FinishMessage(m.id, 200);
        ASSERT_TRUE(Take(queue, m));
        EXPECT_EQ(m.id, 3u);
        queue.FinishMessage(m.id, 300);
    });
    EXPECT_EQ(queue.SendMessage(1, 0, 0), 100);
    // Ids 2 and 3 were finished with -1 before they were handed out: their
    // senders get the consumer's answers to their own messages.
    EXPECT_EQ(queue.SendMessage(2, 0, 0), 200);
    EXPECT_EQ(queue.SendMessage(3, 0, 0), 300);
    consumer.join();
    EXPECT_EQ(queue.StoredResultCount(), 0u);
}
