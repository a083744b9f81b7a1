// Parking on Linux: one futex word, woken by FUTEX_WAKE. Timeouts are
// absolute on the monotonic clock (FUTEX_WAIT_BITSET without
// FUTEX_CLOCK_REALTIME), so a change of the wall clock does not move them.
#include <cerrno>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "park.h"

namespace platcompat_detail {
namespace {

static_assert(sizeof(std::atomic<int>) == sizeof(int) && std::atomic<int>::is_always_lock_free,
              "a futex is a plain int");

long futex(std::atomic<int>& word, int op, int value, const timespec* timeout) {
    // A 32-bit build with a 64-bit time_t needs the 64-bit-time entry.
#if defined(SYS_futex_time64)
    if (sizeof(timeout->tv_sec) > sizeof(long))
        return syscall(SYS_futex_time64, reinterpret_cast<int*>(&word), op, value, timeout, nullptr,
                       FUTEX_BITSET_MATCH_ANY);
#endif
    return syscall(SYS_futex, reinterpret_cast<int*>(&word), op, value, timeout, nullptr,
                   FUTEX_BITSET_MATCH_ANY);
}

} // namespace

bool ParkWait(std::atomic<int>& word, int expected, const timespec* deadline) {
    if (futex(word, FUTEX_WAIT_BITSET_PRIVATE, expected, deadline) == 0)
        return true;
    // EAGAIN: the word changed before the sleep; EINTR: a signal.
    return errno != ETIMEDOUT;
}

void ParkWake(std::atomic<int>& word) {
    futex(word, FUTEX_WAKE_PRIVATE, 1, nullptr);
}

} // namespace platcompat_detail
