// End-to-end tests of the demo instrument: each test runs the program in a
// fresh runtime root and checks what it prints, its exit status and the
// error log it leaves behind (parsed as XML).
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "DemoSupport.h"

using namespace DemoTest;

namespace {

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
    std::string args = "--root '" + root.Path() + "' --senders 3 --commands 5 --channels 2";
    DemoRun first = RunDemo(args);
    ASSERT_EQ(first.status, 0) << first.output;
    EXPECT_TRUE(Contains(first.output, "run number 1\n"));
    DemoRun second = RunDemo(args);
    ASSERT_EQ(second.status, 0) << second.output;
    EXPECT_TRUE(Contains(second.output, "run number 2\n")) << second.output;
    // As many channels and senders as asked.
    EXPECT_TRUE(Contains(second.output, "components (3 registered at the controller)"));
    EXPECT_TRUE(Contains(second.output, "round trips: count 15,")) << second.output;
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

    const char* bad[] = {"--bogus",         "--channels 0", "--channels",    "--commands 12x",
                         "--senders 65",    "--root ''",    "--port 65536",  "--port -1",
                         "--max-clients 0", "--bind ''",    "--serve --port"};
    for (const char* args : bad) {
        DemoRun run = RunDemo(args);
        EXPECT_EQ(run.status, 2) << args << "\n" << run.output;
        EXPECT_TRUE(Contains(run.output, "demo_instrument: ")) << args << "\n" << run.output;
        EXPECT_FALSE(Contains(run.output, "run number")) << args;
    }
}

TEST(Demo, ServerThatCannotListenExits3) {
    Server first;
    TempRoot root;
    const std::string cases[][2] = {
        {"--port " + std::to_string(first.Port()), "Address already in use"},
        {"--bind 300.1.2.3", "'300.1.2.3' is no numeric IPv4 or IPv6 address"}};
    for (const auto& c : cases) {
        DemoRun run = RunDemo("--root '" + root.Path() + "' --serve " + c[0]);
        EXPECT_EQ(run.status, 3) << c[0] << "\n" << run.output;
        EXPECT_TRUE(Contains(run.output, c[1])) << run.output;
        EXPECT_FALSE(Contains(run.output, "run number")) << run.output;
    }
}
