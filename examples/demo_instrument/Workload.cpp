// Sender threads, progress line and round-trip statistics.
#include "Workload.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "Components.h"

using namespace KxTamarind;

namespace Demo {

namespace {

struct SenderLog {
    std::vector<long long> ticks;
    long verified = 0;
    long failed = 0;
};

void Sender(CMessageQueue& queue, int index, int channels, int commands, SenderLog& log,
            std::atomic<long>& done) {
    log.ticks.reserve(static_cast<size_t>(commands));
    for (int k = 0; k < commands; ++k) {
        int channel = (index + k) % channels;
        int sample = index * commands + k;
        long long start = CPerformanceDiagnose::GetPerfCounter();
        HRESULT hr = queue.SendMessage(kMeasureMessage, channel, sample);
        log.ticks.push_back(CPerformanceDiagnose::GetPerfCounter() - start);
        if (hr == SimulatedReading(channel, sample)) {
            ++log.verified;
        } else {
            ++log.failed;
        }
        done.fetch_add(1, std::memory_order_relaxed);
    }
}

} // namespace

void RunWorkload(CMessageQueue& queue, int channels, int senders, int commands,
                 WorkloadResult& result) {
    const long total = static_cast<long>(senders) * commands;
    std::atomic<long> done{0};
    std::vector<SenderLog> logs(static_cast<size_t>(senders));
    std::vector<std::thread> threads;
    auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < senders; ++i) {
        threads.emplace_back(Sender, std::ref(queue), i, channels, commands,
                             std::ref(logs[static_cast<size_t>(i)]), std::ref(done));
    }
    long shown = -1;
    for (;;) {
        long now = done.load(std::memory_order_relaxed);
        if (now != shown) {
            std::printf("\rprogress: %ld/%ld", now, total);
            std::fflush(stdout);
            shown = now;
        }
        if (now >= total) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    std::printf("\n");
    for (std::thread& t : threads) {
        t.join();
    }
    result.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    for (const SenderLog& log : logs) {
        for (long long ticks : log.ticks) {
            result.roundTrip.Push(ticks);
        }
        result.verified += log.verified;
        result.failed += log.failed;
    }
    result.sent = total;
}

} // namespace Demo
