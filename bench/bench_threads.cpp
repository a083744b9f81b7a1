// Costs of the library's thread subsystem against standard-library baselines
// of the same shape, measured in the same run:
// - a synchronous message round trip (CMessageQueue::SendMessage to one
//   consumer thread) with 1, 2, 4 and 8 senders, against a queue built from
//   std::mutex, std::condition_variable and std::promise/std::future;
// - a pool cycle (GetThread, Start, WaitRunFinished) against creating and
//   joining a std::thread, and against the least such a cycle can cost: a
//   waiting worker fed through a mutex and a condition variable.
// The argument 0 pins every thread of the benchmark to processor 0 (the
// meaningful comparison on small virtual machines, where a wake-up across
// processors dominates); 1 leaves them unpinned.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <thread>

#include <pthread.h>
#include <sched.h>

#include "CMessageQueue.h"
#include "CThreadPool.h"

using namespace KxTamarind;

namespace {

void Place(bool pinned) {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (pinned) {
        CPU_SET(0, &set);
    } else {
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
            CPU_SET(cpu, &set);
        }
    }
    pthread_setaffinity_np(pthread_self(), sizeof(set), &set);
}

int Answer(unsigned long message, int p1, int p2) {
    return static_cast<int>(message) + p1 - p2;
}

// --- the library's queue ---------------------------------------------------------

struct LibraryQueue {
    CMessageQueue queue;
    std::thread consumer;
    explicit LibraryQueue(bool pinned) {
        consumer = std::thread([this, pinned] {
            Place(pinned);
            unsigned long long id;
            unsigned long message;
            int p1, p2;
            while (queue.WaitAndGetMessage(id, message, p1, p2)) {
                queue.FinishMessage(id, Answer(message, p1, p2));
            }
        });
    }
    ~LibraryQueue() {
        queue.Close();
        consumer.join();
    }
};

LibraryQueue* g_libraryQueue = nullptr;

void BM_MessageQueue_SendMessage(benchmark::State& state) {
    bool pinned = state.range(0) == 0;
    Place(pinned);
    if (state.thread_index() == 0) {
        g_libraryQueue = new LibraryQueue(pinned);
    }
    int i = 0;
    for (auto _ : state) {
        HRESULT hr = g_libraryQueue->queue.SendMessage(1, i, 0);
        if (hr != Answer(1, i, 0)) {
            state.SkipWithError("wrong result");
            break;
        }
        ++i;
    }
    if (state.thread_index() == 0) {
        delete g_libraryQueue;
        g_libraryQueue = nullptr;
    }
    Place(false);
}
BENCHMARK(BM_MessageQueue_SendMessage)->Arg(0)->Arg(1)->ThreadRange(1, 8)->UseRealTime();

// --- the baseline: mutex, condition variable, promise/future ----------------------

struct StdQueue {
    struct Entry {
        unsigned long message;
        int p1, p2;
        std::promise<int>* result;
    };
    std::mutex lock;
    std::condition_variable available;
    std::deque<Entry> entries;
    bool closed = false;
    std::thread consumer;

    explicit StdQueue(bool pinned) {
        consumer = std::thread([this, pinned] {
            Place(pinned);
            for (;;) {
                Entry entry;
                {
                    std::unique_lock<std::mutex> guard(lock);
                    available.wait(guard, [this] { return closed || !entries.empty(); });
                    if (entries.empty()) {
                        return;
                    }
                    entry = entries.front();
                    entries.pop_front();
                }
                entry.result->set_value(Answer(entry.message, entry.p1, entry.p2));
            }
        });
    }
    ~StdQueue() {
        {
            std::lock_guard<std::mutex> guard(lock);
            closed = true;
        }
        available.notify_all();
        consumer.join();
    }
    int Send(unsigned long message, int p1, int p2) {
        std::promise<int> result;
        std::future<int> future = result.get_future();
        {
            std::lock_guard<std::mutex> guard(lock);
            entries.push_back(Entry{message, p1, p2, &result});
        }
        available.notify_one();
        return future.get();
    }
};

StdQueue* g_stdQueue = nullptr;

void BM_StdPromiseQueue_Send(benchmark::State& state) {
    bool pinned = state.range(0) == 0;
    Place(pinned);
    if (state.thread_index() == 0) {
        g_stdQueue = new StdQueue(pinned);
    }
    int i = 0;
    for (auto _ : state) {
        if (g_stdQueue->Send(1, i, 0) != Answer(1, i, 0)) {
            state.SkipWithError("wrong result");
            break;
        }
        ++i;
    }
    if (state.thread_index() == 0) {
        delete g_stdQueue;
        g_stdQueue = nullptr;
    }
    Place(false);
}
BENCHMARK(BM_StdPromiseQueue_Send)->Arg(0)->Arg(1)->ThreadRange(1, 8)->UseRealTime();

// --- pool cycle against thread creation --------------------------------------------

class NoWork : public CThreadRunObject {
public:
    NoWork() : CThreadRunObject(true) {}
    void Run() override { benchmark::ClobberMemory(); }
};

void BM_ThreadPool_Cycle(benchmark::State& state) {
    bool pinned = state.range(0) == 0;
    Place(pinned);
    NoWork work;
    {
        // The pool hands out the thread released last, so this one thread
        // serves the whole loop; place it like the benchmark thread.
        CThread* thread =
            CComponentShellThreadPool::GetThread(KXApartmentModel_MultiThreaded, "bench", nullptr);
        SetThreadAffinityMask(thread->ThreadHandle(),
                              pinned ? 1
                                     : (DWORD_PTR(1) << std::thread::hardware_concurrency()) - 1);
        thread->Start(&work, false);
        work.WaitRunFinished(60000);
    }
    for (auto _ : state) {
        CThread* thread =
            CComponentShellThreadPool::GetThread(KXApartmentModel_MultiThreaded, "bench", nullptr);
        thread->Start(&work, false);
        if (!work.WaitRunFinished(60000)) {
            state.SkipWithError("run did not finish");
            break;
        }
    }
    Place(false);
}
BENCHMARK(BM_ThreadPool_Cycle)->Arg(0)->Arg(1)->UseRealTime();

// The least a pool cycle can cost: one waiting worker thread, handed each
// job through a mutex and a condition variable and answering through a
// second one (notified after the mutex is released).
struct CondVarWorker {
    std::mutex lock;
    std::condition_variable workReady;
    std::condition_variable workDone;
    void (*job)() = nullptr;
    bool done = false;
    bool stop = false;
    std::thread worker;

    explicit CondVarWorker(bool pinned) {
        worker = std::thread([this, pinned] {
            Place(pinned);
            for (;;) {
                void (*run)() = nullptr;
                {
                    std::unique_lock<std::mutex> guard(lock);
                    workReady.wait(guard, [this] { return job != nullptr || stop; });
                    if (stop) {
                        return;
                    }
                    run = job;
                    job = nullptr;
                }
                run();
                {
                    std::lock_guard<std::mutex> guard(lock);
                    done = true;
                }
                workDone.notify_one();
            }
        });
    }
    ~CondVarWorker() {
        {
            std::lock_guard<std::mutex> guard(lock);
            stop = true;
        }
        workReady.notify_one();
        worker.join();
    }
    void Cycle(void (*run)()) {
        {
            std::lock_guard<std::mutex> guard(lock);
            job = run;
        }
        workReady.notify_one();
        std::unique_lock<std::mutex> guard(lock);
        workDone.wait(guard, [this] { return done; });
        done = false;
    }
};

void BM_CondVarWorker_Cycle(benchmark::State& state) {
    bool pinned = state.range(0) == 0;
    Place(pinned);
    {
        CondVarWorker worker(pinned);
        for (auto _ : state) {
            worker.Cycle([] { benchmark::ClobberMemory(); });
        }
    }
    Place(false);
}
BENCHMARK(BM_CondVarWorker_Cycle)->Arg(0)->Arg(1)->UseRealTime();

void BM_StdThread_CreateJoin(benchmark::State& state) {
    Place(state.range(0) == 0);
    for (auto _ : state) {
        std::thread thread([] { benchmark::ClobberMemory(); });
        thread.join();
    }
    Place(false);
}
BENCHMARK(BM_StdThread_CreateJoin)->Arg(0)->Arg(1)->UseRealTime();

} // namespace
