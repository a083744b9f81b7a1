// The demo instrument's SCPI server as a process of its own (--serve
// --port 0 in a fresh runtime root) and a line-based SCPI client over
// loopback; shared by the end-to-end tests and the benchmark.
//
// Every wait is bounded (socket timeouts, a limit on the server's start and
// stop) far above the real durations, so a fault fails instead of hanging.
// DEMO_PATH names the demo_instrument program.
#pragma once

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

namespace DemoTest {

// A fresh directory below /tmp, removed with everything in it.
class TempRoot {
public:
    TempRoot() {
        char name[] = "/tmp/kxt_demo_XXXXXX";
        m_Path = mkdtemp(name) != nullptr ? name : "";
    }
    ~TempRoot() {
        std::error_code ec;
        std::filesystem::remove_all(m_Path, ec);
    }
    const std::string& Path() const { return m_Path; }

private:
    std::string m_Path;
};

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// demo_instrument --serve --port 0 in a fresh root; output (stdout and
// stderr) goes to <root>/server.log. Port() is 0 when it did not start.
class Server {
public:
    Server() {
        std::string root = m_Root.Path();
        const char* argv[] = {DEMO_PATH, "--root", root.c_str(), "--serve", "--port", "0", nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, LogPath().c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
        if (posix_spawn(&m_Pid, DEMO_PATH, &actions, nullptr, const_cast<char* const*>(argv),
                        environ) != 0) {
            m_Pid = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        const std::string marker = "listening on 127.0.0.1:";
        for (int i = 0; m_Pid > 0 && i < 6000 && m_iPort == 0; ++i) {
            std::string output = Output();
            size_t at = output.find(marker);
            if (at != std::string::npos && output.find('\n', at) != std::string::npos) {
                m_iPort = std::atoi(output.c_str() + at + marker.size());
            } else {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        }
    }
    ~Server() { Stop(SIGKILL); }

    int Port() const { return m_iPort; }
    const std::string& Root() const { return m_Root.Path(); }
    std::string LogPath() const { return m_Root.Path() + "/server.log"; }
    std::string Output() const { return ReadFile(LogPath()); }

    // Sends `signal` and waits (at most 60 s, then kills) for the exit
    // status; -1 when the server did not exit normally.
    int Stop(int signal = SIGTERM) {
        if (m_Pid <= 0) {
            return -1;
        }
        kill(m_Pid, signal);
        int status = 0;
        pid_t ended = 0;
        for (int i = 0; i < 6000 && (ended = waitpid(m_Pid, &status, WNOHANG)) == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (ended != m_Pid) {
            kill(m_Pid, SIGKILL);
            waitpid(m_Pid, &status, 0);
        }
        bool exited = ended == m_Pid && WIFEXITED(status);
        m_Pid = -1;
        return exited ? WEXITSTATUS(status) : -1;
    }

private:
    TempRoot m_Root;
    pid_t m_Pid = -1;
    int m_iPort = 0;
};

// A blocking client with 30 s send and receive timeouts.
class Client {
public:
    explicit Client(int port) : m_Fd(socket(AF_INET, SOCK_STREAM, 0)) {
        timeval timeout{30, 0};
        setsockopt(m_Fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
        setsockopt(m_Fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout));
        int on = 1;
        setsockopt(m_Fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(m_Fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
            Close();
        }
    }
    ~Client() { Close(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    int Fd() const { return m_Fd; }
    bool Send(const std::string& data) {
        for (size_t sent = 0; sent < data.size();) {
            ssize_t n = send(m_Fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
            if (n <= 0) {
                return false;
            }
            sent += static_cast<size_t>(n);
        }
        return true;
    }
    // The next line without its '\n'; "<eof>" when the server closed the
    // connection, "<timeout>" when nothing came in time.
    std::string ReadLine() {
        for (;;) {
            size_t end = m_Buffer.find('\n');
            if (end != std::string::npos) {
                std::string line = m_Buffer.substr(0, end);
                m_Buffer.erase(0, end + 1);
                return line;
            }
            char chunk[4096];
            ssize_t n = recv(m_Fd, chunk, sizeof(chunk), 0);
            if (n <= 0) {
                return n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) ? "<timeout>" : "<eof>";
            }
            m_Buffer.append(chunk, static_cast<size_t>(n));
        }
    }
    std::string Query(const std::string& line) {
        return Send(line + "\n") ? ReadLine() : "<send failed>";
    }
    void Close() {
        if (m_Fd >= 0) {
            close(m_Fd);
            m_Fd = -1;
        }
    }

private:
    int m_Fd;
    std::string m_Buffer;
};

} // namespace DemoTest
