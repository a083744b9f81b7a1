// FinishesWithin: runs a test body on a thread of its own and waits a
// bounded time for it, so that a hang fails the test instead of stalling
// the test run.
//
// A body that finishes is joined. On a timeout its thread is left running
// (detached): whatever it uses must outlive the test. Keep such objects on the heap, delete them
// when the body finished and leak them when it did not.
#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace KxTest {

template <class Body>
bool FinishesWithin(std::chrono::seconds limit, Body body) {
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> finished = done->get_future();
    std::thread runner([done, body]() mutable {
        body();
        done->set_value();
    });
    if (finished.wait_for(limit) == std::future_status::ready) {
        runner.join(); // its thread-local state ends before the test goes on
        return true;
    }
    runner.detach();
    return false;
}

} // namespace KxTest
