// The SCPI listener: accepting, refusing, signals and the orderly stop.
#include "ScpiServer.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "ScpiConnection.h"

using namespace KxTamarind;

namespace Demo {

namespace {

// The stop signals. They are blocked in every thread and taken by one
// thread with sigwait(), so no thread is ever interrupted by a handler.
sigset_t StopSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

bool SetDescriptorFlags(int fd) {
    return fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK) == 0 &&
           fcntl(fd, F_SETFD, FD_CLOEXEC) == 0;
}

bool MakePipe(int fds[2]) {
    return pipe(fds) == 0 && SetDescriptorFlags(fds[0]) && SetDescriptorFlags(fds[1]);
}

void ClosePair(int fds[2]) {
    for (int i = 0; i < 2; ++i) {
        if (fds[i] >= 0) {
            close(fds[i]);
            fds[i] = -1;
        }
    }
}

std::string AddressText(const sockaddr* address, socklen_t length) {
    char host[NI_MAXHOST];
    char port[NI_MAXSERV];
    if (getnameinfo(address, length, host, sizeof(host), port, sizeof(port),
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "?";
    }
    bool v6 = address->sa_family == AF_INET6;
    return (v6 ? "[" : "") + std::string(host) + (v6 ? "]:" : ":") + port;
}

} // namespace

ScpiServer::ScpiServer(size_t maxClients) : m_MaxClients(maxClients) {}

ScpiServer::~ScpiServer() {
    if (m_SignalThread.joinable()) {
        m_bQuit.store(true);
        pthread_kill(m_SignalThread.native_handle(), SIGTERM);
        m_SignalThread.join();
    }
    if (m_iListen >= 0) {
        close(m_iListen);
    }
    ClosePair(m_iSignalPipe);
    ClosePair(m_iStopPipe);
}

bool ScpiServer::Listen(const std::string& address, int port, std::string& error) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    addrinfo* found = nullptr;
    std::string service = std::to_string(port);
    if (getaddrinfo(address.c_str(), service.c_str(), &hints, &found) != 0 || found == nullptr) {
        error = "'" + address + "' is no numeric IPv4 or IPv6 address";
        return false;
    }
    int fd = socket(found->ai_family, SOCK_STREAM, 0);
    int on = 1;
    bool bound = fd >= 0 && setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) == 0 &&
                 bind(fd, found->ai_addr, found->ai_addrlen) == 0 && listen(fd, 64) == 0 &&
                 SetDescriptorFlags(fd);
    int cause = errno;
    freeaddrinfo(found);
    if (!bound) {
        error = "cannot listen on " + address + " port " + service + ": " + std::strerror(cause);
        if (fd >= 0) {
            close(fd);
        }
        return false;
    }
    m_iListen = fd;
    sockaddr_storage local{};
    socklen_t length = sizeof(local);
    getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length);
    m_strAddress = AddressText(reinterpret_cast<sockaddr*>(&local), length);
    if (!MakePipe(m_iStopPipe) || !MakePipe(m_iSignalPipe)) {
        error = std::string("cannot create a pipe: ") + std::strerror(errno);
        return false;
    }
    // Blocked before any other thread exists, so every later thread
    // inherits the mask and only the signal thread takes them.
    sigset_t signals = StopSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    m_SignalThread = std::thread([this, signals] {
        int signal = 0;
        while (sigwait(&signals, &signal) == 0 && !m_bQuit.load()) {
            char byte = 's';
            ssize_t written = write(m_iSignalPipe[1], &byte, 1);
            (void)written; // a full pipe already holds a stop request
        }
    });
    // A client that goes away must not end the process; sends use
    // MSG_NOSIGNAL, this covers every other write.
    signal(SIGPIPE, SIG_IGN);
    return true;
}

void ScpiServer::Serve(ScpiInstrument& instrument) {
    pollfd fds[2] = {{m_iListen, POLLIN, 0}, {m_iSignalPipe[0], POLLIN, 0}};
    for (;;) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            std::perror("demo_instrument: poll");
            break;
        }
        if ((fds[1].revents & POLLIN) != 0) {
            break;
        }
        if ((fds[0].revents & POLLIN) != 0) {
            Accept(instrument);
        }
    }
    // Stop accepting, then let every connection finish.
    close(m_iListen);
    m_iListen = -1;
    char byte = 's';
    if (write(m_iStopPipe[1], &byte, 1) != 1) {
        std::perror("demo_instrument: stop pipe");
    }
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Ended.wait(lock, [this] { return m_Active == 0; });
}

void ScpiServer::Accept(ScpiInstrument& instrument) {
    sockaddr_storage peer{};
    socklen_t length = sizeof(peer);
    int fd = accept(m_iListen, reinterpret_cast<sockaddr*>(&peer), &length);
    if (fd < 0) {
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            // No descriptor now: the client stays in the backlog. Pause
            // (a stop signal cuts the pause short) instead of spinning.
            pollfd signalOnly{m_iSignalPipe[0], POLLIN, 0};
            poll(&signalOnly, 1, 100);
        }
        return;
    }
    std::string name = AddressText(reinterpret_cast<sockaddr*>(&peer), length);
    int on = 1;
    if (!SetDescriptorFlags(fd) || setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)) != 0) {
        close(fd);
        return;
    }
    bool admitted = false;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        admitted = m_Active < m_MaxClients;
        m_Active += admitted ? 1 : 0;
    }
    if (!admitted) {
        close(fd);
        ++m_lRefused;
        std::printf("refused %s: %zu clients connected\n", name.c_str(), m_MaxClients);
        std::fflush(stdout);
        return;
    }
    ScpiConnection* connection = nullptr;
    CThread* thread = nullptr;
    try {
        connection = new ScpiConnection(fd, name, instrument, *this);
        thread = GetGlobalThreadPool()->GetThread(KXApartmentModel_MultiThreaded, "SCPI client",
                                                  nullptr);
    } catch (CErrorObject* error) {
        // No thread for this client; the server itself goes on.
        error->SetIsRepairedError(true);
        HandleError(error, nullptr);
    } catch (const std::bad_alloc&) {
    }
    if (thread == nullptr) {
        if (connection != nullptr) {
            delete connection; // closes the socket
        } else {
            close(fd);
        }
        ConnectionEnded();
        ++m_lRefused;
        std::printf("refused %s: no thread to serve it\n", name.c_str());
        std::fflush(stdout);
        return;
    }
    ++m_lServed;
    thread->Start(connection, true, KXThreadPriority_Normal);
}

void ScpiServer::ConnectionEnded() {
    std::lock_guard<std::mutex> lock(m_Mutex);
    --m_Active;
    m_Ended.notify_all();
}

} // namespace Demo
