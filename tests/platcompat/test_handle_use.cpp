// Handles a thread has used before: the platform remembers recent handles per
// thread, so these check that a used handle fails like any other once it is
// closed (by its user or by another thread, also after its slot was given to
// a new event), and that many handles, more than are remembered, work
// together in one wait.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platcompat.h"

namespace {

void ExpectClosed(HANDLE h) {
    SetLastError(0);
    EXPECT_EQ(SetEvent(h), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(ResetEvent(h), FALSE);
    SetLastError(0);
    EXPECT_EQ(WaitForSingleObject(h, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(WaitForMultipleObjects(1, &h, FALSE, 0), WAIT_FAILED);
}

TEST(HandleUse, UsedHandleFailsOnceClosedAlsoAfterItsSlotIsReused) {
    for (bool closedElsewhere : {false, true}) {
        SCOPED_TRACE(closedElsewhere);
        HANDLE used = CreateEvent(NULL, FALSE, FALSE, NULL);
        ASSERT_NE(used, nullptr);
        ASSERT_EQ(SetEvent(used), TRUE);
        ASSERT_EQ(WaitForSingleObject(used, 0), WAIT_OBJECT_0);
        if (closedElsewhere) {
            std::thread([used] { EXPECT_EQ(CloseHandle(used), TRUE); }).join();
        } else {
            ASSERT_EQ(CloseHandle(used), TRUE);
        }
        ExpectClosed(used);
        // Enough events made, used and closed that closed slots are given
        // out again: the old value keeps failing, each new event works.
        for (int i = 0; i < 200; ++i) {
            HANDLE fresh = CreateEvent(NULL, FALSE, TRUE, NULL);
            ASSERT_NE(fresh, nullptr);
            ASSERT_NE(fresh, used);
            EXPECT_EQ(WaitForSingleObject(fresh, 0), WAIT_OBJECT_0);
            EXPECT_EQ(WaitForSingleObject(fresh, 0), WAIT_TIMEOUT);
            ExpectClosed(used);
            ASSERT_EQ(CloseHandle(fresh), TRUE);
        }
        EXPECT_EQ(CloseHandle(used), FALSE);
    }
}

// 64 events, more than a thread remembers: every index is found, from a
// blocked wait and from an immediate one, round after round.
TEST(HandleUse, WaitOverSixtyFourUsedEventsFindsEachIndex) {
    std::vector<HANDLE> events;
    for (DWORD i = 0; i < MAXIMUM_WAIT_OBJECTS; ++i) {
        events.push_back(CreateEvent(NULL, FALSE, FALSE, NULL));
        ASSERT_NE(events.back(), nullptr);
    }
    for (int round = 0; round < 3; ++round) {
        for (DWORD index = 0; index < MAXIMUM_WAIT_OBJECTS; ++index) {
            SCOPED_TRACE(index);
            ASSERT_EQ(SetEvent(events[index]), TRUE);
            EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS, events.data(), FALSE, 0),
                      WAIT_OBJECT_0 + index);
            std::thread setter([&events, index] { SetEvent(events[index]); });
            EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS, events.data(), FALSE, 10000),
                      WAIT_OBJECT_0 + index);
            setter.join();
        }
    }
    for (HANDLE h : events) {
        EXPECT_EQ(CloseHandle(h), TRUE);
    }
}

} // namespace
