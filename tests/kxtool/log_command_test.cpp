// kxtool log as a command: records of the demo's log and of library-rendered
// logs, filters, JSON and summary output, and logs that are empty, missing,
// cut off or damaged.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SampleLog.h"
#include "ToolRunner.h"

namespace {

using KxToolTest::CountLines;
using KxToolTest::RunTool;
using KxToolTest::SampleRecord;
using KxToolTest::TempDir;
using KxToolTest::ToolResult;

// Three records of two days, two components and three codes.
std::string ThreeRecords() {
    SampleRecord first;
    SampleRecord second;
    second.repaired = true;
    second.code = static_cast<long>(0x80070005);
    second.component = "Save & Recall";
    second.object = "Store";
    second.message = "3.5 \xC2\xB5V \xB0"
                     "C\x01\nsecond line\n";
    second.method = "CList<int>::Add";
    second.line = 0;
    second.date = "2024-05-02";
    second.time = "08:00:00.000";
    SampleRecord third;
    third.repaired = true;
    third.code = static_cast<long>(0x80001008);
    third.object = "Channel4";
    third.message = "DeletePropertyDependentDynamicObbjects failed";
    third.date = "2024-05-02";
    third.time = "09:30:00.000";
    return first.Xml() + second.Xml() + third.Xml();
}

const char kFirstLine[] =
    "2024-05-01 13:05:30.250 error 0x80000008 E_FAIL component=DemoChannel object=Channel1 "
    "source=Src/Channel.cpp:262 message=DoConnect failed\n";
const char kSecondLine[] =
    "2024-05-02 08:00:00.000 repaired 0x80070005 ERROR_ACCESS_DENIED component=Save & Recall "
    "object=Store source=Src/Channel.cpp message=3.5 \xC2\xB5V \xC2\xB0"
    "C\\x01 | second line\n";
const char kThirdLine[] =
    "2024-05-02 09:30:00.000 repaired 0x80001008 E_KX_HRESULT_ASSERT_REPAIRED "
    "component=DemoChannel object=Channel4 source=Src/Channel.cpp:262 "
    "message=DeletePropertyDependentDynamicObbjects failed\n";

TEST(KxToolLog, ReadsTheLogTheDemoWrote) {
    TempDir root;
    const std::string demo = std::string("'") + DEMO_PATH + "' --root '" + root.Path() + "'";
    ASSERT_EQ(std::system((demo + " --commands 5 >/dev/null 2>&1").c_str()), 0);
    std::system((demo + " --commands 5 --fail-connect >/dev/null 2>&1").c_str());
    const ToolResult r = RunTool("log '" + root.Path() + "/log/errors.xml'");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    ASSERT_EQ(CountLines(r.out), 3u) << r.out;
    const std::string first = r.out.substr(0, r.out.find('\n') + 1);
    const std::string second =
        r.out.substr(first.size(), r.out.find('\n', first.size()) + 1 - first.size());
    EXPECT_TRUE(KxToolTest::Matches(
        first.c_str(), "####-##-## ##:##:##.### repaired 0x80001008 E_KX_HRESULT_ASSERT_REPAIRED "
                       "component=DemoChannel object=Channel4 location=DemoApp[1] "
                       "source=Base/Interfaces/_Src/CBComponentManagement:#* "
                       "message=DeletePropertyDependentDynamicObbjects failed*\n"))
        << first;
    EXPECT_TRUE(KxToolTest::Matches(
        second.c_str(), "####-##-## ##:##:##.### error 0x80000008 E_FAIL "
                        "component=DemoChannel object=Channel1 location=DemoApp[0] *\n"))
        << second;
}

TEST(KxToolLog, PrintsOneLinePerRecordAsTextJsonOrSummary) {
    TempDir dir;
    const std::string log = dir.Write("errors.xml", ThreeRecords());
    const std::string all = std::string(kFirstLine) + kSecondLine + kThirdLine;
    const struct {
        std::string args;
        std::string out;
    } cases[] = {
        {"log " + log, all},
        // Non-ASCII output does not depend on the locale.
        {"log " + log + " | LC_ALL=C cat", all},
        {"log - < " + log, all},
        {"log --summary " + log, "3 records: 1 error, 2 repaired in 1 file\n"
                                 "by code:\n"
                                 "       1  0x80000008 E_FAIL\n"
                                 "       1  0x80001008 E_KX_HRESULT_ASSERT_REPAIRED\n"
                                 "       1  0x80070005 ERROR_ACCESS_DENIED\n"
                                 "by component:\n"
                                 "       2  DemoChannel\n"
                                 "       1  Save & Recall\n"},
        {"log --summary --json " + log + " " + log,
         "{\"files\":2,\"records\":6,\"errors\":2,\"repaired\":4,\"byCode\":["
         "{\"code\":\"0x80000008\",\"name\":\"E_FAIL\",\"count\":2},"
         "{\"code\":\"0x80001008\",\"name\":\"E_KX_HRESULT_ASSERT_REPAIRED\",\"count\":2},"
         "{\"code\":\"0x80070005\",\"name\":\"ERROR_ACCESS_DENIED\",\"count\":2}],"
         "\"byComponent\":[{\"component\":\"DemoChannel\",\"count\":4},"
         "{\"component\":\"Save & Recall\",\"count\":2}]}\n"},
        {"log --json --code 0x80070005 " + log,
         "{\"file\":\"" + log +
             "\",\"line\":13,\"date\":\"2024-05-02\",\"time\":\"08:00:00.000\","
             "\"kind\":\"repaired\",\"code\":\"0x80070005\",\"name\":\"ERROR_ACCESS_DENIED\","
             "\"component\":\"Save & Recall\",\"object\":\"Store\",\"location\":null,"
             "\"source\":\"Src/Channel.cpp\","
             "\"message\":\"3.5 \\u00b5V \\u00b0C\\u0001\\nsecond line\\n\","
             "\"fields\":{\"CoClassName\":\"Save & Recall\",\"ObjectName\":\"Store\","
             "\"ObjectGuid\":\"{3F2504E0-4F89-11D3-9A0C-0305E82C3301}\",\"Condition\":\"check()\","
             "\"Description\":\"3.5 \\u00b5V \\u00b0C\\u0001\\nsecond line\\n\","
             "\"FileName\":\"Src/Channel.cpp\",\"FileTime\":\"Mon May  1 10:00:00 2024\","
             "\"MethodName\":\"CList<int>::Add\",\"Thread\":\"Worker\","
             "\"ErrorCode\":\"0x80070005: 5L\"}}\n"},
        // Several files: each line names its file and line.
        {"log --code E_FAIL " + log + " " + log,
         log + ":1: " + kFirstLine + log + ":1: " + kFirstLine},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const ToolResult r = RunTool(c.args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, "");
        EXPECT_EQ(r.out, c.out);
    }
}

TEST(KxToolLog, FiltersByTimeCodeAndComponent) {
    TempDir dir;
    const std::string log = " " + dir.Write("errors.xml", ThreeRecords());
    const struct {
        const char* options;
        std::string out;
    } cases[] = {
        {"--since 2024-05-02", std::string(kSecondLine) + kThirdLine},
        {"--since '2024-05-02 08:00:00.001'", kThirdLine},
        {"--since=2024-05-02T09:30", kThirdLine},
        {"--since 2024-05-03", ""},
        {"--code E_FAIL", kFirstLine},
        {"--code 80070005", kSecondLine},
        {"--code ERROR_ACCESS_DENIED --code=-2147479544", std::string(kSecondLine) + kThirdLine},
        {"--component 'Save & Recall'", kSecondLine},
        {"--component DemoChannel --code 0x80001008", kThirdLine},
        {"--component DemoChannel --component Nobody", std::string(kFirstLine) + kThirdLine},
        {"--since 2024-05-02 --component DemoChannel --code E_FAIL", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options);
        const ToolResult r = RunTool(std::string("log ") + c.options + log);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, "");
        EXPECT_EQ(r.out, c.out);
    }
}

TEST(KxToolLog, MissingEmptyCutAndDamagedFiles) {
    TempDir dir;
    const std::string records = ThreeRecords();
    const std::string good = dir.Write("good.xml", records);
    const std::string empty = dir.Write("empty.xml", "");
    const std::size_t second = records.find("\n    <Error ") + 1;
    const std::size_t third = records.find("\n    <Error ", second) + 1;
    // Killed while writing the third record (which starts at line 27).
    const std::string cut = dir.Write("cut.xml", records.substr(0, third + 300));
    // The second record replaced by one with a raw ampersand in an escaped
    // element (starting at line 13).
    const std::string broken =
        dir.Write("broken.xml", records.substr(0, second) +
                                    "    <Error ErrorLevel=\"SystemError\">\n"
                                    "      <Description>a & b</Description>\n    </Error>\n" +
                                    records.substr(third));
    const struct {
        std::string args;
        int status;
        std::string out;
        std::string err;
    } cases[] = {
        {"log " + empty, 0, "", ""},
        {"log --summary " + empty, 0, "0 records: 0 errors, 0 repaired in 1 file\n", ""},
        // The other file is still read.
        {"log " + dir.Path() + "/missing.xml " + good, 1,
         good + ":1: " + kFirstLine + good + ":13: " + kSecondLine + good + ":27: " + kThirdLine,
         "kxtool: log: cannot open '" + dir.Path() + "/missing.xml': No such file or directory\n"},
        {"log " + cut, 1, std::string(kFirstLine) + kSecondLine,
         "kxtool: log: " + cut +
             ":27: the record that starts here is cut off by the end of the "
             "file\n"},
        {"log " + broken, 1, std::string(kFirstLine) + kThirdLine,
         "kxtool: log: " + broken +
             ":14: unreadable from here (not well-formed (invalid token)); the record that "
             "starts at line 13 is lost\n"},
        {"log " + dir.Path(), 1, "",
         "kxtool: log: cannot read '" + dir.Path() + "': Is a directory\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const ToolResult r = RunTool(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.out, c.out);
        EXPECT_EQ(r.err, c.err);
    }
}

TEST(KxToolLog, BadOptionsAreNamed) {
    const struct {
        const char* args;
        int status;
        const char* firstLine;
    } cases[] = {
        {"log", 2, "kxtool: log: needs at least one file"},
        {"log --frob x.xml", 2, "kxtool: log: unknown option '--frob'"},
        {"log -x x.xml", 2, "kxtool: log: unknown option '-x'"},
        {"log --json=yes x.xml", 2, "kxtool: log: --json takes no value"},
        {"log x.xml --since", 2, "kxtool: log: --since needs a value"},
        {"log --since yesterday x.xml", 1,
         "kxtool: log: --since 'yesterday': not a time (YYYY-MM-DD, 'YYYY-MM-DD HH:MM' or "
         "'YYYY-MM-DD HH:MM:SS.mmm')"},
        {"log --code 'E FAIL' x.xml", 1,
         "kxtool: log: --code 'E FAIL': not a result code or name: not a number (0x80000008, "
         "80000008 or -2147483640)"},
        {"log --component '' x.xml", 1, "kxtool: log: --component needs a name"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const ToolResult r = RunTool(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err.substr(0, r.err.find('\n')), c.firstLine);
    }
}

} // namespace
