// Parking a thread on a 32-bit word (internal).
//
// The waits of events and thread handles sleep through these two calls: a
// thread parks while a word holds the value it expects, and whoever changes
// the word wakes it. Both are thin: the caller keeps its own state in the
// word and re-checks it after every return, because ParkWait may also return
// early (a late or unrelated wake-up, a signal). The word must stay valid for
// as long as another thread may wake it.
//
// park_linux.cpp implements them on the futex system call, the primitive
// that the C library builds its own condition variables on; park_posix.cpp
// on a mutex and a condition variable per bucket of words, for other POSIX
// systems (CMake picks one).
#pragma once

#include <atomic>

#include <time.h>

namespace platcompat_detail {

// Sleeps while `word` holds `expected`, at most until `deadline` (absolute,
// CLOCK_MONOTONIC; null: no limit). Returns false once the deadline has
// passed, true otherwise (woken, or returned early for no reason).
bool ParkWait(std::atomic<int>& word, int expected, const timespec* deadline);

// Wakes a thread parked on `word` (one at least; the portable file wakes
// all). Call it after changing the word.
void ParkWake(std::atomic<int>& word);

// A lock in one word for short critical sections that never wait: 0 free,
// 1 held, 2 held with threads parked on it. Uncontended, locking and
// unlocking are one atomic operation each, inline; a contended lock parks.
class WordLock {
public:
    void lock() {
        int expected = 0;
        if (!m_word.compare_exchange_strong(expected, 1, std::memory_order_acquire,
                                            std::memory_order_relaxed))
            lockContended();
    }
    void unlock() {
        if (m_word.exchange(0, std::memory_order_release) == 2)
            ParkWake(m_word);
    }

private:
    void lockContended() {
        // Marking the word 2 makes the holder's unlock wake a parked thread.
        while (m_word.exchange(2, std::memory_order_acquire) != 0)
            ParkWait(m_word, 2, nullptr);
    }

    std::atomic<int> m_word{0};
};

} // namespace platcompat_detail
