// Helpers of the thread tests: a thread-safe recording device table, run
// objects that block on a gate, and the system's view of a thread (its name,
// whether it exists, whether it sleeps).
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CErrorObject.h"
#include "CThread.h"
#include "common/RecordingDeviceCallbacks.h"

namespace KxThreadTest {

using namespace std::chrono_literals;

// Error records may arrive from worker threads: record them under a lock.
class LockedRecorder : public KxTest::RecordingDeviceCallbacks {
public:
    void SendToInformationManagement(const KxTamarind::CErrorObject* error) override {
        std::lock_guard<std::mutex> guard(m_lock);
        sent.push_back(*error);
    }
    std::vector<KxTamarind::CErrorObject> Records() {
        std::lock_guard<std::mutex> guard(m_lock);
        return sent;
    }
    size_t Count() {
        std::lock_guard<std::mutex> guard(m_lock);
        return sent.size();
    }
    // Waits (generously) until at least `count` records arrived.
    bool WaitForCount(size_t count, std::chrono::milliseconds limit = 20s) {
        auto end = std::chrono::steady_clock::now() + limit;
        while (Count() < count) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }

private:
    std::mutex m_lock;
};

// A one-way gate for tests.
class Gate {
public:
    void Open() {
        std::lock_guard<std::mutex> guard(m_lock);
        m_open = true;
        m_cv.notify_all();
    }
    bool WaitOpen(std::chrono::milliseconds limit = 30s) {
        std::unique_lock<std::mutex> guard(m_lock);
        return m_cv.wait_for(guard, limit, [this] { return m_open; });
    }
    bool IsOpen() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_open;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_cv;
    bool m_open = false;
};

// Run object that records where it ran and blocks until its gate opens
// (unless built open). Abort() counts and, if asked, opens the gate.
class GateRunObject : public KxTamarind::CThreadRunObject {
public:
    explicit GateRunObject(bool finishedEvent = true, bool startOpen = true,
                           bool abortOpensGate = true, std::atomic<int>* destroyed = nullptr)
        : CThreadRunObject(finishedEvent), m_abortOpensGate(abortOpensGate),
          m_destroyed(destroyed) {
        if (startOpen) {
            gate.Open();
        }
    }
    ~GateRunObject() override {
        if (m_destroyed != nullptr) {
            ++*m_destroyed;
        }
    }
    void Run() override {
        runThreadId.store(GetCurrentThreadId());
        callingThread.store(CallingThread());
        started.Open();
        gate.WaitOpen(60s);
        ++runs;
    }
    void Abort() override {
        ++aborts;
        if (m_abortOpensGate) {
            gate.Open();
        }
    }

    Gate gate;
    Gate started;
    std::atomic<int> runs{0};
    std::atomic<int> aborts{0};
    std::atomic<unsigned long> runThreadId{0};
    std::atomic<KxTamarind::CThread*> callingThread{nullptr};

private:
    bool m_abortOpensGate;
    std::atomic<int>* m_destroyed;
};

// The name the system shows for a thread of this process.
inline std::string SystemThreadName(unsigned long tid) {
    std::ifstream comm("/proc/self/task/" + std::to_string(tid) + "/comm");
    std::string name;
    std::getline(comm, name);
    return name;
}

inline bool ThreadExists(unsigned long tid) {
    std::ifstream comm("/proc/self/task/" + std::to_string(tid) + "/comm");
    return comm.good();
}

// The scheduler state of a thread of this process ('R' running, 'S'
// sleeping, ...), or 0 when it cannot be read.
inline char ThreadState(unsigned long tid) {
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string line;
    std::getline(stat, line);
    const std::string::size_type close = line.rfind(')');
    return close == std::string::npos || close + 2 >= line.size() ? 0 : line[close + 2];
}

// Waits until the thread sleeps (blocked in a wait), at most `limit`.
inline void WaitUntilAsleep(unsigned long tid, std::chrono::milliseconds limit = 10s) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
        const char state = ThreadState(tid);
        if (state == 'S') {
            return;
        }
        if (state == 0) {
            std::this_thread::sleep_for(200ms); // no /proc: give it time
            return;
        }
        std::this_thread::sleep_for(1ms);
    }
}

} // namespace KxThreadTest
