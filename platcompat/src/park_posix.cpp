// Parking on any POSIX system: portable code only. Words are spread over a
// fixed table of buckets, each a mutex and a condition variable; a waker
// takes its word's bucket lock, so a parking thread either sees the changed
// word or is already waiting when the notification comes.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "park.h"

namespace platcompat_detail {
namespace {

struct Bucket {
    std::mutex lock;
    std::condition_variable cv;
};

Bucket& bucketOf(const std::atomic<int>& word) {
    static Bucket* buckets = new Bucket[64]; // never destroyed: threads exit late
    return buckets[(reinterpret_cast<std::uintptr_t>(&word) >> 4) % 64];
}

std::chrono::nanoseconds untilDeadline(const timespec& deadline) {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(deadline.tv_sec - now.tv_sec) +
           std::chrono::nanoseconds(deadline.tv_nsec - now.tv_nsec);
}

} // namespace

bool ParkWait(std::atomic<int>& word, int expected, const timespec* deadline) {
    Bucket& bucket = bucketOf(word);
    std::unique_lock<std::mutex> guard(bucket.lock);
    if (word.load(std::memory_order_acquire) != expected)
        return true;
    if (!deadline) {
        bucket.cv.wait(guard);
        return true;
    }
    const std::chrono::nanoseconds left = untilDeadline(*deadline);
    if (left <= std::chrono::nanoseconds::zero())
        return false;
    // wait_for measures on the steady clock.
    return bucket.cv.wait_for(guard, left) == std::cv_status::no_timeout ||
           untilDeadline(*deadline) > std::chrono::nanoseconds::zero();
}

void ParkWake(std::atomic<int>& word) {
    Bucket& bucket = bucketOf(word);
    { std::lock_guard<std::mutex> guard(bucket.lock); }
    bucket.cv.notify_all();
}

} // namespace platcompat_detail
