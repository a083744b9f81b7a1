// ScpiConnection: one client of the SCPI server, served on a thread of the
// process-wide pool (it is that thread's run object, deleted after its run).
//
// The socket is non-blocking and watched with poll() together with the
// server's stop descriptor, so neither a slow client nor a silent one can
// hold the thread anywhere else. Per client at most:
//   - kMaxLine bytes of a line: a longer line is dropped whole and answered
//     with -223 "Too much data" when its terminator arrives;
//   - kMaxPendingOutput bytes of answers waiting to be sent (plus the
//     answers of one line): while more are waiting, nothing more is read,
//     so a client that never reads its answers stalls only itself.
// A line is executed only once its '\n' has arrived; a trailing '\r' is
// white space. When the client closes, lines already received are answered
// as far as the client still takes them. When the server stops, lines
// already received are executed, their answers get kDrainMilliseconds to
// leave, and the connection is closed.
// Thread safety: used by its pool thread only; the server is told when the
// run ends (ScpiServer::ConnectionEnded, the run's last access to it).
#pragma once

#include <KxTamarindCommon.h>

#include <deque>
#include <string>

#include "ScpiInterpreter.h"

namespace Demo {

class ScpiServer;

class ScpiConnection : public KxTamarind::CThreadRunObject {
public:
    static constexpr size_t kMaxLine = 64 * 1024;
    static constexpr size_t kMaxPendingOutput = 64 * 1024;
    static constexpr int kDrainMilliseconds = 2000;

    // Takes ownership of `socket` (closed at the end of the run or by the
    // destructor).
    ScpiConnection(int socket, const std::string& peer, ScpiInstrument& instrument,
                   ScpiServer& server);
    ~ScpiConnection() override;

    void Run() override;

private:
    struct Line {
        std::string text;
        bool tooLong; // dropped for its length: only its error is left
    };

    void Serve();
    // Splits received bytes into lines, dropping over-long ones.
    void Feed(const char* data, size_t size);
    // Executes waiting lines while the answers fit (all when `all`).
    void ExecuteLines(bool all);
    // Sends what the socket takes; false when the client is gone.
    bool Flush();
    void CloseSocket();

    int m_iSocket;
    const std::string m_strPeer;
    ScpiServer& m_Server;
    ScpiInterpreter m_Interpreter;
    std::string m_strPartial;
    bool m_bDiscarding = false;
    std::deque<Line> m_Lines;
    std::string m_strOutput;
    size_t m_OutputSent = 0;
};

} // namespace Demo
