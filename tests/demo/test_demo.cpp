// End-to-end tests of the demo instrument: each test runs the program in a
// fresh runtime root and checks what it prints, its exit status and the
// error log it leaves behind (parsed as XML).
#include <gtest/gtest.h>

#include <expat.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

// A fresh directory below /tmp, removed with everything in it.
class TempRoot {
public:
    TempRoot() {
        char name[] = "/tmp/kxt_demo_XXXXXX";
        const char* made = mkdtemp(name);
        m_Path = made != nullptr ? made : "";
    }
    ~TempRoot() {
        if (!m_Path.empty()) {
            std::error_code ec;
            std::filesystem::remove_all(m_Path, ec);
        }
    }
    const std::string& Path() const { return m_Path; }

private:
    std::string m_Path;
};

struct DemoRun {
    int status = -1; // exit status, -1 when the program did not exit normally
    std::string output;
};

DemoRun RunDemo(const std::string& arguments) {
    DemoRun run;
    std::string command = std::string("'") + DEMO_PATH + "' " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return run;
    }
    char buffer[4096];
    size_t n = 0;
    while ((n = fread(buffer, 1, sizeof(buffer), pipe)) > 0) {
        run.output.append(buffer, n);
    }
    int status = pclose(pipe);
    if (status != -1 && WIFEXITED(status)) {
        run.status = WEXITSTATUS(status);
    }
    return run;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The ErrorLevel of every Error element of a log (the log is a sequence of
// elements without a document element, so it is wrapped in one).
struct ErrorLog {
    bool parsed = false;
    std::vector<std::string> levels;
};

void XMLCALL StartElement(void* data, const XML_Char* name, const XML_Char** attributes) {
    if (std::string(name) != "Error") {
        return;
    }
    auto* log = static_cast<ErrorLog*>(data);
    std::string level;
    for (int i = 0; attributes[i] != nullptr; i += 2) {
        if (std::string(attributes[i]) == "ErrorLevel") {
            level = attributes[i + 1];
        }
    }
    log->levels.push_back(level);
}

ErrorLog ParseErrorLog(const std::string& path) {
    ErrorLog log;
    std::string document = "<ErrorLog>\n" + ReadFile(path) + "</ErrorLog>\n";
    XML_Parser parser = XML_ParserCreate("UTF-8");
    XML_SetUserData(parser, &log);
    XML_SetStartElementHandler(parser, StartElement);
    log.parsed =
        XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1) == XML_STATUS_OK;
    XML_ParserFree(parser);
    return log;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The line of `text` that starts with `prefix` (after leading blanks).
std::string LineStartingWith(const std::string& text, const std::string& prefix) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        size_t first = line.find_first_not_of(" \r");
        if (first != std::string::npos && line.compare(first, prefix.size(), prefix) == 0) {
            return line.substr(first);
        }
    }
    return std::string();
}

} // namespace

TEST(Demo, RunsTheTreeTheWorkloadAndTheTearDown) {
    TempRoot root;
    ASSERT_FALSE(root.Path().empty());
    DemoRun run = RunDemo("--root '" + root.Path() + "' --commands 25");
    ASSERT_EQ(run.status, 0) << run.output;

    EXPECT_TRUE(Contains(run.output, "run number 1\n")) << run.output;
    // The table: every channel, from the controller's registry, connected,
    // in DemoApp; channels alternate between the two instruments.
    for (int i = 1; i <= 4; ++i) {
        std::string row = LineStartingWith(run.output, "Channel" + std::to_string(i) + " ");
        ASSERT_FALSE(row.empty()) << "no table row for channel " << i << "\n" << run.output;
        EXPECT_TRUE(Contains(row, "Connected")) << row;
        EXPECT_TRUE(Contains(row, "DemoApp")) << row;
        EXPECT_TRUE(Contains(row, i % 2 == 1 ? "0x0101" : "0x0102")) << row;
    }
    EXPECT_TRUE(LineStartingWith(run.output, "Channel5 ").empty());
    EXPECT_FALSE(LineStartingWith(run.output, "Executor ").empty());
    EXPECT_TRUE(Contains(run.output, "components (5 registered at the controller)"));
    EXPECT_TRUE(Contains(run.output, "root registry: 2 interfaces published"));

    // 4 senders x 25 commands, all answered with the right reading.
    std::string stats = LineStartingWith(run.output, "round trips:");
    EXPECT_EQ(stats.rfind("round trips: count 100, mean ", 0), 0u) << run.output;
    EXPECT_TRUE(Contains(stats, " sdev ") && Contains(stats, " max ")) << stats;
    EXPECT_TRUE(Contains(run.output, "progress: 100/100\n"));
    EXPECT_TRUE(Contains(run.output, "100 verified, 0 failed, 100 executed"));

    // The failing deletion of the last channel is repaired, not fatal.
    std::string repaired = LineStartingWith(run.output, "repaired error:");
    EXPECT_TRUE(Contains(repaired, "DeletePropertyDependentDynamicObbjects failed")) << repaired;
    EXPECT_TRUE(Contains(repaired, "Channel4")) << repaired;
    EXPECT_FALSE(Contains(run.output, "device shutdown"));
    EXPECT_TRUE(Contains(run.output, "leak check: all 7 components released\n"));

    ErrorLog log = ParseErrorLog(root.Path() + "/log/errors.xml");
    ASSERT_TRUE(log.parsed);
    ASSERT_EQ(log.levels.size(), 1u);
    EXPECT_EQ(log.levels[0], "RepairedError");
}

TEST(Demo, CountsItsRunsAcrossRestarts) {
    TempRoot root;
    std::string args = "--root '" + root.Path() + "' --senders 1 --commands 5 --channels 2";
    DemoRun first = RunDemo(args);
    ASSERT_EQ(first.status, 0) << first.output;
    EXPECT_TRUE(Contains(first.output, "run number 1\n"));
    DemoRun second = RunDemo(args);
    ASSERT_EQ(second.status, 0) << second.output;
    EXPECT_TRUE(Contains(second.output, "run number 2\n")) << second.output;
    EXPECT_TRUE(Contains(second.output, "leak check: all 5 components released\n"));
    EXPECT_EQ(ReadFile(root.Path() + "/parameters.txt"), "runs=2\n");
    // Each run appended its own repaired error.
    ErrorLog log = ParseErrorLog(root.Path() + "/log/errors.xml");
    ASSERT_TRUE(log.parsed);
    EXPECT_EQ(log.levels, (std::vector<std::string>{"RepairedError", "RepairedError"}));
}

TEST(Demo, FailedConnectShutsTheDeviceDownAndExits3) {
    TempRoot root;
    DemoRun run = RunDemo("--root '" + root.Path() + "' --fail-connect --commands 5");
    EXPECT_EQ(run.status, 3) << run.output;
    EXPECT_TRUE(Contains(run.output, "CONDITION:\t(DoConnect() == S_OK) failed\n")) << run.output;
    EXPECT_TRUE(Contains(run.output, "OBJECTNAME:\tChannel1\n")) << run.output;
    EXPECT_TRUE(Contains(run.output, "\nerror: ")) << run.output;
    EXPECT_TRUE(Contains(run.output, "device shutdown\n")) << run.output;
    // No workload ran, and the tree was still taken down completely.
    EXPECT_FALSE(Contains(run.output, "round trips:"));
    EXPECT_TRUE(Contains(run.output, "leak check: all 7 components released\n")) << run.output;

    ErrorLog log = ParseErrorLog(root.Path() + "/log/errors.xml");
    ASSERT_TRUE(log.parsed);
    EXPECT_EQ(log.levels, (std::vector<std::string>{"SystemError", "RepairedError"}));
}

TEST(Demo, HelpAndBadOptions) {
    DemoRun help = RunDemo("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.output.rfind("usage: demo_instrument", 0), 0u) << help.output;

    const char* bad[] = {"--bogus",        "--channels 0", "--channels",
                         "--commands 12x", "--senders 65", "--root ''"};
    for (const char* args : bad) {
        DemoRun run = RunDemo(args);
        EXPECT_EQ(run.status, 2) << args << "\n" << run.output;
        EXPECT_TRUE(Contains(run.output, "demo_instrument: ")) << args << "\n" << run.output;
        EXPECT_FALSE(Contains(run.output, "run number")) << args;
    }
}

TEST(Demo, HostsAsManyChannelsAsAsked) {
    TempRoot root;
    DemoRun run = RunDemo("--root '" + root.Path() + "' --channels 9 --senders 3 --commands 10");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_FALSE(LineStartingWith(run.output, "Channel9 ").empty()) << run.output;
    EXPECT_TRUE(Contains(run.output, "components (10 registered at the controller)"));
    EXPECT_TRUE(Contains(run.output, "round trips: count 30,"));
    EXPECT_TRUE(Contains(run.output, "leak check: all 12 components released\n"));
}
