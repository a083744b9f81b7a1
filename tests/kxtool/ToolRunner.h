// RunTool runs kxtool (through the emulator where the tests run under one)
// with `args` as shell words and collects its exit status and both outputs.
// TempDir is a fresh directory below /tmp, removed with its contents.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace KxToolTest {

struct ToolResult {
    int status = -1; // exit status; -1 when the program did not exit normally
    std::string out, err;
};

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class TempDir {
public:
    TempDir() {
        char name[] = "/tmp/kxtool_test_XXXXXX";
        m_path = mkdtemp(name) != nullptr ? name : "";
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_path; }
    // Writes `content` to a file of this directory; answers its path.
    std::string Write(const std::string& name, const std::string& content) const {
        std::ofstream(m_path + "/" + name, std::ios::binary) << content;
        return m_path + "/" + name;
    }

private:
    std::string m_path;
};

inline ToolResult RunTool(const std::string& args) {
    const TempDir dir;
    const int status = std::system((std::string(KXTOOL_PATH) + " " + args + " >" + dir.Path() +
                                    "/out 2>" + dir.Path() + "/err")
                                       .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(dir.Path() + "/out"),
            ReadFile(dir.Path() + "/err")};
}

} // namespace KxToolTest
