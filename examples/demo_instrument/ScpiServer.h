// ScpiServer: the SCPI socket listener of the demo instrument.
//
// Listen() binds a TCP socket (IPv4 or IPv6 numeric address; port 0 picks
// a free port) and blocks SIGINT and SIGTERM in the calling thread (and so
// in every thread started after it); a thread of its own takes them with
// sigwait() and writes to a self-pipe. No thread ever runs a signal handler,
// so no system call or lock is interrupted by one. Serve() accepts clients until such a signal
// arrives; each client gets an ScpiConnection on a thread of the process-wide pool. Up to
// `maxClients` clients are served at once; a client beyond that is accepted
// and closed at once, so it learns immediately instead of waiting in the
// backlog for a place that may never come free (the same happens when the
// pool cannot supply a thread). On the signal Serve() closes the listening
// socket, tells every connection to finish (the stop descriptor becomes
// readable for good) and returns when the last one has ended.
//
// One server per process (the signal mask is process-wide); call Listen
// before any other thread is started.
// Thread safety: Listen and Serve on one thread; ConnectionEnded and
// StopDescriptor from any connection's thread.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "ScpiCommands.h"

namespace Demo {

class ScpiServer {
public:
    explicit ScpiServer(size_t maxClients);
    ~ScpiServer();
    ScpiServer(const ScpiServer&) = delete;
    ScpiServer& operator=(const ScpiServer&) = delete;

    // False with a message in `error` when the address is no numeric
    // address or the socket cannot be bound.
    bool Listen(const std::string& address, int port, std::string& error);
    // "ADDR:PORT" ("[ADDR]:PORT" for IPv6) of the bound socket.
    const std::string& Address() const { return m_strAddress; }
    // Serves until SIGINT or SIGTERM; returns after every connection ended.
    void Serve(ScpiInstrument& instrument);

    int StopDescriptor() const { return m_iStopPipe[0]; }
    void ConnectionEnded();
    long ConnectionsServed() const { return m_lServed; }
    long ConnectionsRefused() const { return m_lRefused; }

private:
    void Accept(ScpiInstrument& instrument);

    const size_t m_MaxClients;
    int m_iListen = -1;
    int m_iStopPipe[2] = {-1, -1};
    int m_iSignalPipe[2] = {-1, -1};
    std::thread m_SignalThread;
    std::atomic<bool> m_bQuit{false};
    std::string m_strAddress;
    std::mutex m_Mutex;
    std::condition_variable m_Ended;
    size_t m_Active = 0; // guarded by m_Mutex
    long m_lServed = 0;  // Serve's thread only
    long m_lRefused = 0; // Serve's thread only
};

} // namespace Demo
