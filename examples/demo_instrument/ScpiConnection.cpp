// One client: non-blocking reads and writes, bounded buffers, clean end.
#include "ScpiConnection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <vector>

#include "ScpiErrors.h"
#include "ScpiServer.h"
#include "ScpiTrace.h"

using namespace KxTamarind;

namespace Demo {

ScpiConnection::ScpiConnection(int socket, const std::string& peer, ScpiInstrument& instrument,
                               ScpiServer& server)
    : CThreadRunObject(false), m_iSocket(socket), m_strPeer(peer), m_Server(server),
      m_Interpreter(instrument) {}

ScpiConnection::~ScpiConnection() {
    CloseSocket();
}

void ScpiConnection::Run() {
    // Nothing may escape the run: the pool thread would end with it.
    try {
        SCPI_TRACE(ConnectionTraceEnabled(), "connection from " + m_strPeer);
        Serve();
        SCPI_TRACE(ConnectionTraceEnabled(), "connection from " + m_strPeer + " closed");
    } catch (CErrorObject* error) {
        error->SetIsRepairedError(true);
        HandleError(error, nullptr);
    } catch (...) {
        // Out of memory for this client's buffers: the client is dropped.
    }
    CloseSocket();
    m_Server.ConnectionEnded();
}

void ScpiConnection::Serve() {
    using Clock = std::chrono::steady_clock;
    const int stop = m_Server.StopDescriptor();
    bool stopping = false;
    bool peerClosed = false;
    Clock::time_point drainEnd;
    std::vector<char> buffer(16 * 1024);
    for (;;) {
        ExecuteLines(stopping);
        if (!Flush()) {
            return;
        }
        bool pending = m_OutputSent < m_strOutput.size();
        if (!pending && (stopping || (peerClosed && m_Lines.empty()))) {
            return;
        }
        int timeout = -1;
        if (stopping) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(drainEnd - Clock::now());
            if (left.count() <= 0) {
                return;
            }
            timeout = static_cast<int>(left.count());
        }
        bool reading = !stopping && !peerClosed && m_Lines.empty();
        pollfd fds[2] = {
            {m_iSocket, static_cast<short>((reading ? POLLIN : 0) | (pending ? POLLOUT : 0)), 0},
            {stop, POLLIN, 0}};
        if (poll(fds, stopping ? 1 : 2, timeout) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return;
        }
        if (!stopping && (fds[1].revents & POLLIN) != 0) {
            stopping = true;
            drainEnd = Clock::now() + std::chrono::milliseconds(kDrainMilliseconds);
            continue;
        }
        short events = fds[0].revents;
        if ((events & (POLLERR | POLLNVAL)) != 0 || ((events & POLLHUP) != 0 && !reading)) {
            return; // the client is gone both ways: nothing can be delivered
        }
        if (reading && (events & (POLLIN | POLLHUP)) != 0) {
            ssize_t got = recv(m_iSocket, buffer.data(), buffer.size(), 0);
            if (got > 0) {
                Feed(buffer.data(), static_cast<size_t>(got));
            } else if (got == 0) {
                // A line without its terminator is never executed.
                peerClosed = true;
                m_strPartial.clear();
            } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                return;
            }
        }
    }
}

void ScpiConnection::Feed(const char* data, size_t size) {
    size_t pos = 0;
    while (pos < size) {
        const char* end = static_cast<const char*>(std::memchr(data + pos, '\n', size - pos));
        size_t length = (end != nullptr ? static_cast<size_t>(end - data) : size) - pos;
        if (!m_bDiscarding) {
            m_strPartial.append(data + pos, length);
            if (m_strPartial.size() > kMaxLine) {
                m_strPartial.clear();
                m_strPartial.shrink_to_fit();
                m_bDiscarding = true;
            }
        }
        if (end == nullptr) {
            return;
        }
        m_Lines.push_back(Line{std::move(m_strPartial), m_bDiscarding});
        m_strPartial.clear();
        m_bDiscarding = false;
        pos += length + 1;
    }
}

void ScpiConnection::ExecuteLines(bool all) {
    std::string response;
    while (!m_Lines.empty() && (all || m_strOutput.size() - m_OutputSent < kMaxPendingOutput)) {
        Line line = std::move(m_Lines.front());
        m_Lines.pop_front();
        if (line.tooLong) {
            SCPI_TRACE(InputTraceEnabled(),
                       "< line longer than " + std::to_string(kMaxLine) + " bytes dropped");
            m_Interpreter.ReportError(kScpiTooMuchData);
            continue;
        }
        SCPI_TRACE(InputTraceEnabled(), "< " + Printable(line.text));
        if (m_Interpreter.Execute(line.text, response)) {
            SCPI_TRACE(OutputTraceEnabled(), "> " + Printable(response));
            m_strOutput += response;
            m_strOutput += '\n';
        }
    }
}

bool ScpiConnection::Flush() {
    while (m_OutputSent < m_strOutput.size()) {
        ssize_t sent = send(m_iSocket, m_strOutput.data() + m_OutputSent,
                            m_strOutput.size() - m_OutputSent, MSG_NOSIGNAL);
        if (sent > 0) {
            m_OutputSent += static_cast<size_t>(sent);
        } else if (sent < 0 && errno == EINTR) {
            continue;
        } else if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            break;
        } else {
            return false;
        }
    }
    if (m_OutputSent == m_strOutput.size()) {
        m_strOutput.clear();
        m_OutputSent = 0;
    } else if (m_OutputSent >= kMaxPendingOutput) {
        m_strOutput.erase(0, m_OutputSent);
        m_OutputSent = 0;
    }
    return true;
}

void ScpiConnection::CloseSocket() {
    if (m_iSocket >= 0) {
        close(m_iSocket);
        m_iSocket = -1;
    }
}

} // namespace Demo
