// Waiters: threads that each run one blocking wait (on an event, a set of
// objects or a thread handle) and count how it ended. The constructor returns
// once every thread is about to wait plus a generous pause, so that the waits
// are really blocked before the test signals; the destructor joins.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "platcompat.h"

namespace KxPlatTest {

using Clock = std::chrono::steady_clock;

inline long long MsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

class Waiters {
public:
    // Each of `n` threads calls `wait` once; `expected` is the result that
    // counts as released.
    Waiters(int n, std::function<DWORD()> wait, DWORD expected = WAIT_OBJECT_0) {
        for (int i = 0; i < n; ++i)
            m_threads.emplace_back([this, wait, expected] {
                m_entered.fetch_add(1);
                const DWORD r = wait();
                (r == expected ? m_released : r == WAIT_TIMEOUT ? m_timedOut : m_failed)++;
            });
        while (m_entered.load() < n)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    // Waits on one handle.
    Waiters(HANDLE h, int n, DWORD timeout = INFINITE)
        : Waiters(n, [h, timeout] { return WaitForSingleObject(h, timeout); }) {}
    ~Waiters() { Join(); }
    void Join() {
        for (auto& t : m_threads)
            if (t.joinable())
                t.join();
    }
    // Polls (up to 10 s) until `count` waits were released.
    bool ReleasedReaches(int count) {
        const auto start = Clock::now();
        while (m_released.load() < count && MsSince(start) < 10000)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return m_released.load() >= count;
    }
    int Released() const { return m_released.load(); }
    int TimedOut() const { return m_timedOut.load(); }
    int Failed() const { return m_failed.load(); }

private:
    std::vector<std::thread> m_threads;
    std::atomic<int> m_entered{0}, m_released{0}, m_timedOut{0}, m_failed{0};
};

} // namespace KxPlatTest
