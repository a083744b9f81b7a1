// RunWithHangWatchdog: makes a call that might hang fail its test instead of
// blocking the suite.
//
// The body runs on a thread of its own; the caller waits for it up to the
// given limit. A body still running then has hung: the failure is printed
// and the process ends at once with status 1, because the hung thread can
// neither be joined nor safely left behind. Choose a limit orders of
// magnitude above the body's real duration (the tests' own timeout is 120 s)
// so that a slow machine never trips it. The body must not throw.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>
#include <utility>

namespace KxTest {

template <typename Body>
void RunWithHangWatchdog(std::chrono::seconds limit, Body body) {
    std::promise<void> done;
    std::future<void> finished = done.get_future();
    std::thread worker([&body, &done] {
        body();
        done.set_value();
    });
    if (finished.wait_for(limit) != std::future_status::ready) {
        ADD_FAILURE() << "still running after " << limit.count() << " s: the call hangs";
        std::fflush(stdout);
        std::fflush(stderr);
        std::_Exit(1);
    }
    worker.join();
}

} // namespace KxTest
