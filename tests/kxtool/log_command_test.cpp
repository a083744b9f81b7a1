// kxtool log as a command: records of the demo's log and of library-rendered
// logs, filters, JSON and summary output, and logs that are empty, missing,
// cut off or damaged.
#include <gtest/gtest.h>

#include <fnmatch.h>

#include <algorithm>
#include <string>

#include "SampleLog.h"
#include "ToolRunner.h"

namespace {

using KxToolTest::RunTool;
using KxToolTest::SampleRecord;
using KxToolTest::TempDir;
using KxToolTest::ToolResult;

// Three records of two days, two components and three codes.
std::string ThreeRecords() {
    SampleRecord first, second, third;
    second.repaired = third.repaired = true;
    second.code = static_cast<long>(0x80070005);
    second.component = "Save & Recall"; // written raw by the library
    second.object = "Store <1> & 'x' \"y\"";
    second.message = "3.5 \xC2\xB5V \xB0"
                     "C\x01\nsecond line\n"; // UTF-8, Windows-1252, a control, line breaks
    second.method = "CList<int>::Add";       // written raw
    second.line = 0;
    second.date = third.date = "2024-05-02";
    second.time = "08:00:00.000";
    third.code = static_cast<long>(0x80001008);
    third.object = "Channel4";
    third.message = "DeletePropertyDependentDynamicObbjects failed";
    third.time = "09:30:00.000";
    return first.Xml() + second.Xml() + third.Xml();
}

const std::string kFirst =
    "2024-05-01 13:05:30.250 error 0x80000008 E_FAIL component=DemoChannel object=Channel1 "
    "source=Src/Channel.cpp:262 message=DoConnect failed\n";
const std::string kSecond =
    "2024-05-02 08:00:00.000 repaired 0x80070005 ERROR_ACCESS_DENIED component=Save & Recall "
    "object=Store <1> & 'x' \"y\" source=Src/Channel.cpp message=3.5 \xC2\xB5V \xC2\xB0"
    "C\\x01 | second line\n";
const std::string kThird =
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
    ASSERT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 3) << r.out;
    EXPECT_EQ(fnmatch("[0-9-]* [0-9:.]* repaired 0x80001008 E_KX_HRESULT_ASSERT_REPAIRED "
                      "component=DemoChannel object=Channel4 location=DemoApp[[]1] "
                      "source=Base/Interfaces/_Src/CBComponentManagement:[0-9]* "
                      "message=DeletePropertyDependentDynamicObbjects failed*\n"
                      "[0-9-]* [0-9:.]* error 0x80000008 E_FAIL component=DemoChannel "
                      "object=Channel1 location=DemoApp[[]0] *\n*",
                      r.out.c_str(), 0),
              0)
        << r.out;
}

TEST(KxToolLog, OutputFiltersAndDamageWithExitStatus) {
    TempDir dir;
    const std::string records = ThreeRecords();
    const std::string log = dir.Write("errors.xml", records);
    // Records the library never writes: another level, a code printed by a
    // 64-bit build, a location without a name, an unreadable code, no code
    // (0) and a time of another form.
    const std::string odd = dir.Write(
        "odd.xml", "<Error ErrorLevel=\"Other\"><LogicalLocation>513</LogicalLocation><ErrorCode>"
                   "0xffffffff80000008: E_FAIL</ErrorCode></Error>\n<Error><ErrorCode>garbage"
                   "</ErrorCode></Error>\n<Error ErrorLevel=\"SystemError\" Date=\" 999-01-01\" "
                   "Time=\"bad\"></Error>\n");
    const std::string empty = dir.Write("empty.xml", "");
    const std::size_t second = records.find("\n    <Error ") + 1;
    const std::size_t third = records.find("\n    <Error ", second) + 1;
    // Killed while writing the third record (which starts at line 27).
    const std::string cut = dir.Write("cut.xml", records.substr(0, third + 300));
    // The second record (line 13) replaced by one with a raw ampersand in an
    // escaped element.
    const std::string broken = dir.Write(
        "broken.xml", records.substr(0, second) +
                          "    <Error ErrorLevel=\"SystemError\">\n      <Description>a & b"
                          "</Description>\n    </Error>\n" +
                          records.substr(third));
    const struct {
        std::string args;
        int status;
        std::string out, err;
    } cases[] = {
        {"log " + log, 0, kFirst + kSecond + kThird, ""},
        {"log - < " + log, 0, kFirst + kSecond + kThird, ""},
        {"log " + odd, 0,
         "- Other 0x80000008 E_FAIL location=0x0201\n- unknown garbage unreadable\n"
         " 999-01-01 bad error 0x00000000 S_OK\n",
         ""},
        {"log --summary " + log, 0,
         "3 records: 1 error, 2 repaired in 1 file\nby code:\n       1  0x80000008 E_FAIL\n"
         "       1  0x80001008 E_KX_HRESULT_ASSERT_REPAIRED\n"
         "       1  0x80070005 ERROR_ACCESS_DENIED\nby component:\n       2  DemoChannel\n"
         "       1  Save & Recall\n",
         ""},
        {"log --summary --json " + log + " " + log, 0,
         "{\"files\":2,\"records\":6,\"errors\":2,\"repaired\":4,\"byCode\":["
         "{\"code\":\"0x80000008\",\"name\":\"E_FAIL\",\"count\":2},"
         "{\"code\":\"0x80001008\",\"name\":\"E_KX_HRESULT_ASSERT_REPAIRED\",\"count\":2},"
         "{\"code\":\"0x80070005\",\"name\":\"ERROR_ACCESS_DENIED\",\"count\":2}],"
         "\"byComponent\":[{\"component\":\"DemoChannel\",\"count\":4},"
         "{\"component\":\"Save & Recall\",\"count\":2}]}\n",
         ""},
        // Every element the reader read back from the record, as written.
        {"log --json --code 0x80070005 " + log, 0,
         "{\"file\":\"" + log +
             "\",\"line\":13,\"date\":\"2024-05-02\",\"time\":\"08:00:00.000\","
             "\"kind\":\"repaired\",\"code\":\"0x80070005\",\"name\":\"ERROR_ACCESS_DENIED\","
             "\"component\":\"Save & Recall\",\"object\":\"Store <1> & 'x' \\\"y\\\"\","
             "\"location\":null,\"source\":\"Src/Channel.cpp\","
             "\"message\":\"3.5 \\u00b5V \\u00b0C\\u0001\\nsecond line\\n\","
             "\"fields\":{\"CoClassName\":\"Save & Recall\",\"ObjectName\":\"Store <1> & 'x' "
             "\\\"y\\\"\",\"ObjectGuid\":\"{3F2504E0-4F89-11D3-9A0C-0305E82C3301}\","
             "\"Condition\":\"check()\",\"Description\":\"3.5 \\u00b5V \\u00b0C\\u0001\\n"
             "second line\\n\",\"FileName\":\"Src/Channel.cpp\",\"FileTime\":\"Mon May  1 "
             "10:00:00 2024\",\"MethodName\":\"CList<int>::Add\",\"Thread\":\"Worker\","
             "\"ErrorCode\":\"0x80070005: 5L\"}}\n",
         ""},
        // Several files: each line names its file and line.
        {"log --code E_FAIL " + log + " " + log, 0, log + ":1: " + kFirst + log + ":1: " + kFirst,
         ""},
        // Filters of one kind: any; of different kinds: all.
        {"log --since 2024-05-02 " + log + " " + odd, 0,
         log + ":13: " + kSecond + log + ":27: " + kThird, ""},
        {"log --since '2024-05-02 08:00:00.001' " + log, 0, kThird, ""},
        {"log --since=2024-05-02T09:30 " + log, 0, kThird, ""},
        {"log --code 80070005 " + log, 0, kSecond, ""},
        {"log --code ERROR_ACCESS_DENIED --code=-2147479544 " + log, 0, kSecond + kThird, ""},
        {"log --code E_FAIL " + odd, 0, "- Other 0x80000008 E_FAIL location=0x0201\n", ""},
        {"log --component 'Save & Recall' " + log, 0, kSecond, ""},
        {"log --component DemoChannel --code 0x80001008 " + log, 0, kThird, ""},
        {"log --component DemoChannel --component Nobody " + log, 0, kFirst + kThird, ""},
        {"log --since 2024-05-02 --component DemoChannel --code E_FAIL " + log, 0, "", ""},
        // Empty, missing, cut, broken and unreadable files; the others are
        // still read.
        {"log " + empty, 0, "", ""},
        {"log --summary " + empty, 0, "0 records: 0 errors, 0 repaired in 1 file\n", ""},
        {"log " + dir.Path() + "/missing.xml " + log, 1,
         log + ":1: " + kFirst + log + ":13: " + kSecond + log + ":27: " + kThird,
         "kxtool: log: cannot open '" + dir.Path() + "/missing.xml': No such file or directory\n"},
        {"log " + cut, 1, kFirst + kSecond,
         "kxtool: log: " + cut +
             ":27: the record that starts here is cut off by the end of the file\n"},
        {"log " + broken, 1, kFirst + kThird,
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
        {"log --code 5L x.xml", 1,
         "kxtool: log: --code '5L': not a result code or name: not a number (0x80000008, "
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
