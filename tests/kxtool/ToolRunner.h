// Runs kxtool as a command and collects what it prints; a temporary
// directory for the files it reads.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace KxToolTest {

struct ToolResult {
    int status = -1; // exit status; -1 when the program did not exit normally
    std::string out;
    std::string err;
};

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

// Runs `kxtool <args>` through the shell (`args` are shell words).
inline ToolResult RunTool(const std::string& args) {
    char errName[] = "/tmp/kxtool_err_XXXXXX";
    const int errFile = mkstemp(errName);
    ToolResult result;
    if (errFile < 0) {
        return result;
    }
    close(errFile);
    const std::string command = std::string(KXTOOL_PATH) + " " + args + " 2>" + errName;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe != nullptr) {
        std::array<char, 4096> buffer{};
        std::size_t n = 0;
        while ((n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) {
            result.out.append(buffer.data(), n);
        }
        const int status = pclose(pipe);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    result.err = ReadFile(errName);
    unlink(errName);
    return result;
}

// A fresh directory below /tmp, removed with everything in it.
class TempDir {
public:
    TempDir() {
        char name[] = "/tmp/kxtool_test_XXXXXX";
        const char* made = mkdtemp(name);
        m_path = made != nullptr ? made : "";
    }
    ~TempDir() {
        if (!m_path.empty()) {
            std::error_code ec;
            std::filesystem::remove_all(m_path, ec);
        }
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_path; }
    // Writes `content` to a file of this directory; returns its path.
    std::string Write(const std::string& name, const std::string& content) const {
        const std::string path = m_path + "/" + name;
        WriteFile(path, content);
        return path;
    }

private:
    std::string m_path;
};

// Whether `text` has the shape of `pattern`, where "#" stands for one
// decimal digit and "*" for any run of characters (std::regex draws false
// warnings from the sanitizer builds).
inline bool Matches(const char* text, const char* pattern) {
    if (*pattern == '\0') {
        return *text == '\0';
    }
    if (*pattern == '*') {
        for (const char* t = text;; ++t) {
            if (Matches(t, pattern + 1)) {
                return true;
            }
            if (*t == '\0') {
                return false;
            }
        }
    }
    if (*text == '\0') {
        return false;
    }
    const bool same = *pattern == '#' ? (*text >= '0' && *text <= '9') : *text == *pattern;
    return same && Matches(text + 1, pattern + 1);
}

inline std::size_t CountLines(const std::string& text) {
    std::size_t lines = 0;
    for (char c : text) {
        lines += c == '\n';
    }
    return lines;
}

} // namespace KxToolTest
