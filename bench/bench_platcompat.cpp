// Lock and wake-up costs of the platform layer against standard-library
// baselines and against a raw futex hand-off, the least a wake-up costs on
// this system. The ping-pong benchmarks take one argument: 0 runs both threads
// on the same processor (the meaningful comparison on small virtual
// machines, where a cross-processor wake-up dominates), 1 puts the partner on
// another processor.
#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platcompat.h"

namespace {

// Pins the calling thread to one processor; false when it does not exist.
bool pinTo(int cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    return pthread_setaffinity_np(pthread_self(), sizeof(set), &set) == 0;
}

void unpin() {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
        CPU_SET(cpu, &set);
    pthread_setaffinity_np(pthread_self(), sizeof(set), &set);
}

// Pins the benchmark thread to processor 0 and tells which processor the
// partner takes; skips the run when it needs a second processor that is not
// there.
bool placeThreads(benchmark::State& state, int* partnerCpu) {
    *partnerCpu = static_cast<int>(state.range(0));
    if (!pinTo(0) || (*partnerCpu != 0 && std::thread::hardware_concurrency() < 2)) {
        state.SkipWithError("needs two processors");
        return false;
    }
    return true;
}

void BM_CritSec_LockUnlock(benchmark::State& state) {
    CCriticalSection cs;
    for (auto _ : state) {
        cs.Lock();
        cs.Unlock();
    }
}
BENCHMARK(BM_CritSec_LockUnlock);

void BM_StdRecursiveMutex_LockUnlock(benchmark::State& state) {
    std::recursive_mutex m;
    for (auto _ : state) {
        m.lock();
        m.unlock();
    }
}
BENCHMARK(BM_StdRecursiveMutex_LockUnlock);

// The limit of a hand-off: one futex word per direction, set and woken by
// one side, waited on and cleared by the other. Nothing portable does less.
long Futex(std::atomic<int>* word, int op, int value) {
    return syscall(SYS_futex, reinterpret_cast<int*>(word), op, value, nullptr, nullptr, 0);
}

void FutexPost(std::atomic<int>& word) {
    word.store(1, std::memory_order_release);
    Futex(&word, FUTEX_WAKE_PRIVATE, 1);
}

void FutexTake(std::atomic<int>& word) {
    while (word.load(std::memory_order_acquire) == 0)
        Futex(&word, FUTEX_WAIT_PRIVATE, 0);
    word.store(0, std::memory_order_relaxed);
}

void BM_Futex_PingPong(benchmark::State& state) {
    int partnerCpu;
    if (!placeThreads(state, &partnerCpu))
        return;
    std::atomic<int> ping{0};
    std::atomic<int> pong{0};
    std::atomic<bool> stop{false};
    std::thread partner([&] {
        pinTo(partnerCpu);
        for (;;) {
            FutexTake(ping);
            if (stop.load(std::memory_order_relaxed))
                return;
            FutexPost(pong);
        }
    });
    for (auto _ : state) {
        FutexPost(ping);
        FutexTake(pong);
    }
    stop.store(true, std::memory_order_relaxed);
    FutexPost(ping);
    partner.join();
    unpin();
}
BENCHMARK(BM_Futex_PingPong)->Arg(0)->Arg(1)->UseRealTime();

// Baseline: a plain condition-variable ping-pong, one condition variable per
// direction, notified after the mutex is released.
void BM_CondVar_PingPong(benchmark::State& state) {
    int partnerCpu;
    if (!placeThreads(state, &partnerCpu))
        return;
    std::mutex m;
    std::condition_variable toPartner;
    std::condition_variable toMain;
    bool ping = false;
    bool pong = false;
    bool stop = false;
    std::thread partner([&] {
        pinTo(partnerCpu);
        for (;;) {
            {
                std::unique_lock<std::mutex> lock(m);
                toPartner.wait(lock, [&] { return ping || stop; });
                if (stop)
                    return;
                ping = false;
                pong = true;
            }
            toMain.notify_one();
        }
    });
    for (auto _ : state) {
        {
            std::lock_guard<std::mutex> lock(m);
            ping = true;
        }
        toPartner.notify_one();
        std::unique_lock<std::mutex> lock(m);
        toMain.wait(lock, [&] { return pong; });
        pong = false;
    }
    {
        std::lock_guard<std::mutex> lock(m);
        stop = true;
    }
    toPartner.notify_one();
    partner.join();
    unpin();
}
BENCHMARK(BM_CondVar_PingPong)->Arg(0)->Arg(1)->UseRealTime();

// Two automatic-reset events: ping wakes the partner, pong answers.
void BM_Event_PingPong(benchmark::State& state) {
    int partnerCpu;
    if (!placeThreads(state, &partnerCpu))
        return;
    HANDLE ping = CreateEvent(NULL, FALSE, FALSE, NULL);
    HANDLE pong = CreateEvent(NULL, FALSE, FALSE, NULL);
    std::atomic<bool> stop{false};
    std::thread partner([&] {
        pinTo(partnerCpu);
        for (;;) {
            WaitForSingleObject(ping, INFINITE);
            if (stop.load(std::memory_order_relaxed))
                return;
            SetEvent(pong);
        }
    });
    for (auto _ : state) {
        SetEvent(ping);
        WaitForSingleObject(pong, INFINITE);
    }
    stop.store(true, std::memory_order_relaxed);
    SetEvent(ping);
    partner.join();
    CloseHandle(ping);
    CloseHandle(pong);
    unpin();
}
BENCHMARK(BM_Event_PingPong)->Arg(0)->Arg(1)->UseRealTime();

// The same through WaitForMultipleObjects over `count` events, the live one
// last (the others never signalled), on both sides.
template <int count>
void BM_WaitMultiple_PingPong(benchmark::State& state) {
    int partnerCpu;
    if (!placeThreads(state, &partnerCpu))
        return;
    std::vector<HANDLE> pingSet, pongSet;
    for (int i = 0; i < count; ++i) {
        pingSet.push_back(CreateEvent(NULL, FALSE, FALSE, NULL));
        pongSet.push_back(CreateEvent(NULL, FALSE, FALSE, NULL));
    }
    HANDLE ping = pingSet.back();
    HANDLE pong = pongSet.back();
    std::atomic<bool> stop{false};
    std::thread partner([&] {
        pinTo(partnerCpu);
        for (;;) {
            WaitForMultipleObjects(count, pingSet.data(), FALSE, INFINITE);
            if (stop.load(std::memory_order_relaxed))
                return;
            SetEvent(pong);
        }
    });
    for (auto _ : state) {
        SetEvent(ping);
        if (WaitForMultipleObjects(count, pongSet.data(), FALSE, INFINITE) !=
            WAIT_OBJECT_0 + count - 1)
            state.SkipWithError("wrong wait result");
    }
    stop.store(true, std::memory_order_relaxed);
    SetEvent(ping);
    partner.join();
    for (int i = 0; i < count; ++i) {
        CloseHandle(pingSet[i]);
        CloseHandle(pongSet[i]);
    }
    unpin();
}
BENCHMARK_TEMPLATE(BM_WaitMultiple_PingPong, 2)->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK_TEMPLATE(BM_WaitMultiple_PingPong, 8)->Arg(0)->Arg(1)->UseRealTime();

// A 0 ms wait on a signalled manual-reset event: the lock-free path.
void BM_Event_WaitSignalled(benchmark::State& state) {
    HANDLE event = CreateEvent(NULL, TRUE, TRUE, NULL);
    for (auto _ : state)
        benchmark::DoNotOptimize(WaitForSingleObject(event, 0));
    CloseHandle(event);
}
BENCHMARK(BM_Event_WaitSignalled);

} // namespace
