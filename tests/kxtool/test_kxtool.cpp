// The command-line companion: output, messages and exit codes.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

namespace {

struct Result {
    int status;
    std::string out;
};

// Runs kxtool with `args` (shell words); standard error goes to standard
// output when `withErrors` is set.
Result RunTool(const std::string& args, bool withErrors = false) {
    const std::string command =
        std::string(KXTOOL_PATH) + " " + args + (withErrors ? " 2>&1" : " 2>/dev/null");
    FILE* pipe = popen(command.c_str(), "r");
    Result result{-1, ""};
    if (pipe == nullptr) {
        return result;
    }
    std::array<char, 4096> buffer{};
    std::size_t n;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) {
        result.out.append(buffer.data(), n);
    }
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

TEST(KxTool, DecodesSeveralResultCodesInHexAndDecimal) {
    const Result r = RunTool("hresult 0x8007000E 0x80000008 0 -2147024882 0x80040200");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out,
              "0x8007000e: 14L\n0x80000008: E_FAIL\n0x0: S_OK\n0x8007000e: 14L\n"
              "0x80040200: This is a FACILITY_ITF error that is specific to the interface that "
              "returned this error. See the documentation of the interface that returned this "
              "error for information about this HRESULT.\n");
}

TEST(KxTool, BadResultCodeIsBadInputButOthersStillPrint) {
    const Result r = RunTool("hresult 0x80000008 0x1FFFFFFFF nonsense", true);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "0x80000008: E_FAIL\nkxtool: not a result code: '0x1FFFFFFFF'\n"
                     "kxtool: not a result code: 'nonsense'\n");
}

TEST(KxTool, GuidsAreMadeAndParsed) {
    const Result made = RunTool("guid new 3");
    EXPECT_EQ(made.status, 0);
    ASSERT_EQ(made.out.size(), 3u * 39u);
    const std::string first = made.out.substr(0, 38);
    const Result parsed = RunTool("guid parse ' " + first + " '");
    EXPECT_EQ(parsed.status, 0);
    EXPECT_EQ(parsed.out.substr(0, 38), first);

    const Result lower = RunTool("guid parse b66e5114-db27-5fa3-9eed-54a2dfc2e8a0");
    EXPECT_EQ(lower.out, "{B66E5114-DB27-5FA3-9EED-54A2DFC2E8A0} Data1=0xB66E5114 Data2=0xDB27 "
                         "Data3=0x5FA3 Data4=9EED54A2DFC2E8A0\n");
    EXPECT_EQ(RunTool("guid parse {B66E5114-DB27-5FA3-9EED-54A2DFC2E8A}").status, 1);
    EXPECT_EQ(RunTool("guid new 0").status, 1);
}

TEST(KxTool, InterfaceIdentifiersByNameAndCatalogue) {
    const Result one = RunTool("iid IKXInterfaceRegistration");
    EXPECT_EQ(one.status, 0);
    EXPECT_EQ(one.out, "{E4F67E3F-13A0-11D5-99E4-00C04F306F62} IKXInterfaceRegistration\n");
    const Result list = RunTool("iid --list");
    EXPECT_EQ(list.status, 0);
    std::size_t lines = 0;
    for (char c : list.out) {
        lines += c == '\n';
    }
    EXPECT_EQ(lines, 134u);
    EXPECT_NE(list.out.find("IKXComponentManagement\n"), std::string::npos);
    const Result unknown = RunTool("iid IKXNoSuchThing", true);
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(unknown.out,
              "kxtool: no interface named 'IKXNoSuchThing' (see: kxtool iid --list)\n");
}

TEST(KxTool, PathsExpandBelowTheRuntimeRoot) {
    const Result r = RunTool("path --root /opt/kx/ @LOG/errors.xml '@DATA\\sub\\f.txt' @LOGS/x "
                             "'a\\\\b//c'");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "/opt/kx/log/errors.xml\n/opt/kx/data/sub/f.txt\n@LOGS/x\na/b/c\n");
}

TEST(KxTool, UsageErrorsExitWithTwo) {
    EXPECT_EQ(RunTool("").status, 2);
    EXPECT_EQ(RunTool("frobnicate").status, 2);
    EXPECT_EQ(RunTool("hresult").status, 2);
    EXPECT_EQ(RunTool("guid").status, 2);
    EXPECT_EQ(RunTool("path /tmp @LOG").status, 2);
    const Result help = RunTool("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind("usage: kxtool hresult CODE...", 0), 0u);
}

} // namespace
