// CMessageQueue: ids, results back to their senders, the first result wins,
// and the closed state (queued messages answered with E_ABORT, later sends
// refused, later results dropped, the consumer told to stop).
#include <gtest/gtest.h>

#include <atomic>
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
    // A result for an id nobody collects keeps the processed event signalled;
    // a sender whose own result never comes must still return on Close.
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
