// The demo instrument's SCPI server under load over loopback: queries per
// second and round-trip latency percentiles (p50, p99) for 1, 4 and 16
// clients, each client sending one query and waiting for its answer.
// Baseline in the same run: a minimal echo server with the same framing
// (newline-terminated lines, one thread per client), which answers each line
// with itself; it costs the loopback round trip and one thread wake-up per
// query, where the instrument adds parsing and a round trip through the
// executor's message queue. The server is the demo_instrument program
// (started once, --port 0); the echo server runs in this process.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "tests/demo/ServerProcess.h"

using DemoTest::Client;

namespace {

constexpr int kQueriesPerClient = 1000;

class EchoServer {
public:
    EchoServer() : m_Listen(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        bind(m_Listen, reinterpret_cast<sockaddr*>(&address), length);
        listen(m_Listen, 64);
        getsockname(m_Listen, reinterpret_cast<sockaddr*>(&address), &length);
        m_iPort = ntohs(address.sin_port);
        m_Acceptor = std::thread([this] {
            for (int fd; (fd = accept(m_Listen, nullptr, nullptr)) >= 0;) {
                int on = 1;
                setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
                std::lock_guard<std::mutex> lock(m_Mutex);
                m_Clients.emplace_back([fd] { Echo(fd); });
            }
        });
    }
    ~EchoServer() {
        shutdown(m_Listen, SHUT_RDWR); // wakes accept()
        m_Acceptor.join();
        close(m_Listen);
        for (std::thread& t : m_Clients) {
            t.join(); // each ends when its client has closed
        }
    }
    int Port() const { return m_iPort; }

private:
    static void Echo(int fd) {
        std::string pending;
        char buffer[4096];
        for (ssize_t n; (n = recv(fd, buffer, sizeof(buffer), 0)) > 0;) {
            pending.append(buffer, static_cast<size_t>(n));
            size_t end = pending.rfind('\n');
            if (end != std::string::npos) {
                send(fd, pending.data(), end + 1, MSG_NOSIGNAL);
                pending.erase(0, end + 1);
            }
        }
        close(fd);
    }

    int m_Listen;
    int m_iPort = 0;
    std::thread m_Acceptor;
    std::mutex m_Mutex;
    std::vector<std::thread> m_Clients;
};

// `clients` threads, connected and answered once before the clock starts,
// each with
// kQueriesPerClient round trips; sets the time and the counters.
void RunClients(benchmark::State& state, int port, const std::string& query) {
    const int clients = static_cast<int>(state.range(0));
    std::vector<std::vector<double>> latencies(static_cast<size_t>(clients));
    std::mutex mutex;
    std::condition_variable go;
    int ready = 0;
    bool started = false;
    std::vector<std::thread> threads;
    for (int c = 0; c < clients; ++c) {
        threads.emplace_back([&, c] {
            Client client(port);
            std::vector<double>& mine = latencies[static_cast<size_t>(c)];
            mine.reserve(kQueriesPerClient);
            client.Query(query); // the server's thread for this client is up
            {
                std::unique_lock<std::mutex> lock(mutex);
                ++ready;
                go.notify_all();
                go.wait(lock, [&] { return started; });
            }
            for (int i = 0; i < kQueriesPerClient; ++i) {
                auto start = std::chrono::steady_clock::now();
                if (client.Query(query).empty()) {
                    return;
                }
                mine.push_back(std::chrono::duration<double, std::micro>(
                                   std::chrono::steady_clock::now() - start)
                                   .count());
            }
        });
    }
    {
        std::unique_lock<std::mutex> lock(mutex);
        go.wait(lock, [&] { return ready == clients; });
        started = true;
    }
    go.notify_all();
    auto start = std::chrono::steady_clock::now();
    for (std::thread& t : threads) {
        t.join();
    }
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::vector<double> all;
    for (const auto& mine : latencies) {
        all.insert(all.end(), mine.begin(), mine.end());
    }
    if (all.size() != static_cast<size_t>(clients) * kQueriesPerClient) {
        state.SkipWithError("a query was not answered");
        return;
    }
    std::sort(all.begin(), all.end());
    state.SetIterationTime(seconds);
    state.counters["qps"] = static_cast<double>(all.size()) / seconds;
    state.counters["p50_us"] = all[all.size() / 2];
    state.counters["p99_us"] = all[all.size() * 99 / 100];
}

DemoTest::Server& Instrument() {
    static DemoTest::Server server;
    return server;
}

void BM_ScpiServer_Query(benchmark::State& state) {
    if (Instrument().Port() == 0) {
        state.SkipWithError("the demo instrument did not start");
        return;
    }
    for (auto _ : state) {
        RunClients(state, Instrument().Port(), "MEAS:VOLT? 1");
    }
}

void BM_EchoServer_Query(benchmark::State& state) {
    static EchoServer echo;
    for (auto _ : state) {
        RunClients(state, echo.Port(), "MEAS:VOLT? 1");
    }
}

BENCHMARK(BM_ScpiServer_Query)->Arg(1)->Arg(4)->Arg(16)->UseManualTime()->Iterations(1);
BENCHMARK(BM_EchoServer_Query)->Arg(1)->Arg(4)->Arg(16)->UseManualTime()->Iterations(1);

} // namespace
