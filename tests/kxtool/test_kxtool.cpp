// kxtool as a command: output, messages and exit status of hresult, guid,
// iid, path, --help and --version.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ToolRunner.h"

namespace {

using KxToolTest::CountLines;
using KxToolTest::RunTool;
using KxToolTest::ToolResult;

struct Case {
    const char* args;
    int status;
    const char* out;
    const char* err;
};

void ExpectCases(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        const ToolResult r = RunTool(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.out, c.out);
        EXPECT_EQ(r.err, c.err);
    }
}

TEST(KxToolHresult, ExplainsCodesBeyondTheLibraryText) {
    ExpectCases({
        {"hresult 0x80070005", 0,
         "0x80070005: 5L\n"
         "  severity 1 (failure), facility 7 (FACILITY_WIN32), code 5 (0x0005)\n"
         "  Win32 error 5: ERROR_ACCESS_DENIED\n"
         "  on Windows, 0x80070005 is E_ACCESSDENIED; this platform's E_ACCESSDENIED is "
         "0x80000009\n",
         ""},
        // The Windows value of E_FAIL, pasted as bare hex: not decimal.
        {"hresult 80004005", 0,
         "0x80004005: Unknown or new error\n"
         "  read '80004005' as 8 hexadecimal digits; as a decimal number it is 0x04c4c3a5\n"
         "  severity 1 (failure), facility 0 (FACILITY_NULL), code 16389 (0x4005)\n"
         "  on Windows, 0x80004005 is E_FAIL; this platform's E_FAIL is 0x80000008\n",
         ""},
        {"hresult 0x80000008", 0,
         "0x80000008: E_FAIL\n"
         "  severity 1 (failure), facility 0 (FACILITY_NULL), code 8 (0x0008)\n"
         "  Windows numbers E_FAIL 0x80004005\n",
         ""},
        // This platform's E_NOTIMPL is EXCEPTION_GUARD_PAGE on Windows.
        {"hresult 0X80000001", 0,
         "0x80000001: E_NOTIMPL\n"
         "  severity 1 (failure), facility 0 (FACILITY_NULL), code 1 (0x0001)\n"
         "  on Windows, 0x80000001 is EXCEPTION_GUARD_PAGE; this platform's "
         "EXCEPTION_GUARD_PAGE is 0x80000101\n"
         "  Windows numbers E_NOTIMPL 0x80004001\n",
         ""},
        {"hresult -2147024882 0xffffffff8007000E", 0,
         "0x8007000e: 14L\n"
         "  severity 1 (failure), facility 7 (FACILITY_WIN32), code 14 (0x000e)\n"
         "  Win32 error 14: ERROR_OUTOFMEMORY\n"
         "  on Windows, 0x8007000e is E_OUTOFMEMORY; this platform's E_OUTOFMEMORY is "
         "0x80000002\n"
         "0x8007000e: 14L\n"
         "  read '0xffffffff8007000E' as a 32-bit code sign-extended to 64 bits\n"
         "  severity 1 (failure), facility 7 (FACILITY_WIN32), code 14 (0x000e)\n"
         "  Win32 error 14: ERROR_OUTOFMEMORY\n"
         "  on Windows, 0x8007000e is E_OUTOFMEMORY; this platform's E_OUTOFMEMORY is "
         "0x80000002\n",
         ""},
        // A Win32 number the library has no text for.
        {"hresult 0x800705B4 0x8007FFFF", 0,
         "0x800705b4: Unknown or new error\n"
         "  severity 1 (failure), facility 7 (FACILITY_WIN32), code 1460 (0x05b4)\n"
         "  Win32 error 1460: ERROR_TIMEOUT\n"
         "0x8007ffff: Unknown or new error\n"
         "  severity 1 (failure), facility 7 (FACILITY_WIN32), code 65535 (0xffff)\n"
         "  Win32 error 65535: no name in winerror.h\n",
         ""},
        // A small decimal number may be a Win32 error number.
        {"hresult 5", 0,
         "0x5: Unknown or new error\n"
         "  severity 0 (success), facility 0 (FACILITY_NULL), code 5 (0x0005)\n"
         "  as a Win32 error number, 5 is ERROR_ACCESS_DENIED (as a result code: 0x80070005)\n",
         ""},
        {"hresult 10000000 00000000", 0,
         "0x10000000: Unknown or new error\n"
         "  read '10000000' as 8 hexadecimal digits; as a decimal number it is 0x00989680\n"
         "  severity 0 (success), facility 4096 (no facility name), code 0 (0x0000)\n"
         "0x0: S_OK\n"
         "  severity 0 (success), facility 0 (FACILITY_NULL), code 0 (0x0000)\n"
         "  as a Win32 error number, 0 is ERROR_SUCCESS (as a result code: 0x80070000)\n",
         ""},
        {"hresult 0x80040200", 0,
         "0x80040200: This is a FACILITY_ITF error that is specific to the interface that "
         "returned this error. See the documentation of the interface that returned this error "
         "for information about this HRESULT.\n"
         "  severity 1 (failure), facility 4 (FACILITY_ITF), code 512 (0x0200)\n",
         ""},
    });
}

TEST(KxToolHresult, BadCodesAreNamedAndTheOthersStillPrint) {
    ExpectCases({
        {"hresult 0x80000008 0x1FFFFFFFF nonsense 8007000E0 ''", 1,
         "0x80000008: E_FAIL\n"
         "  severity 1 (failure), facility 0 (FACILITY_NULL), code 8 (0x0008)\n"
         "  Windows numbers E_FAIL 0x80004005\n",
         "kxtool: hresult: not a result code: '0x1FFFFFFFF': more than 32 bits\n"
         "kxtool: hresult: not a result code: 'nonsense': not a number (0x80000008, 80000008 "
         "or -2147483640)\n"
         "kxtool: hresult: not a result code: '8007000E0': hexadecimal needs 0x or exactly 8 "
         "digits\n"
         "kxtool: hresult: not a result code: '': empty text\n"},
    });
}

const char kRegistrationIid[] = "{E4F67E3F-13A0-11D5-99E4-00C04F306F62}";

TEST(KxToolIid, LooksUpByNameAndByIdentifier) {
    const std::string line = std::string(kRegistrationIid) + " IKXInterfaceRegistration\n";
    ExpectCases({
        {"iid IKXInterfaceRegistration", 0, line.c_str(), ""},
        {"iid '{e4f67e3f-13a0-11d5-99e4-00c04f306f62}'", 0, line.c_str(), ""},
        {"iid IUnknown", 0, "{00000000-0000-0000-C000-000000000046} IUnknown\n", ""},
        {"iid ikxinterfaceregistration IKXNoSuchThing", 1, "",
         "kxtool: iid: no interface named 'ikxinterfaceregistration' (did you mean "
         "IKXInterfaceRegistration?)\n"
         "kxtool: iid: no interface named 'IKXNoSuchThing' (see: kxtool iid --list)\n"},
        {"iid 00000000-0000-0000-0000-000000000001", 1, "",
         "kxtool: iid: no interface of the catalogue has the identifier "
         "{00000000-0000-0000-0000-000000000001} ('00000000-0000-0000-0000-000000000001')\n"},
    });
}

TEST(KxToolIid, EveryIdentifierOfTheCatalogueLeadsBackToItsName) {
    const ToolResult list = RunTool("iid --list");
    ASSERT_EQ(list.status, 0);
    EXPECT_EQ(CountLines(list.out), 134u);
    std::istringstream lines(list.out);
    std::string guid, name, guids;
    while (lines >> guid >> name) {
        guids += " '" + guid + "'";
    }
    const ToolResult back = RunTool("iid" + guids);
    EXPECT_EQ(back.status, 0);
    EXPECT_EQ(back.out, list.out);
}

TEST(KxToolGuid, MakesAndParsesIdentifiersAndNamesInterfaces) {
    const ToolResult made = RunTool("guid new 3");
    EXPECT_EQ(made.status, 0);
    ASSERT_EQ(made.out.size(), 3u * 39u);
    std::set<std::string> distinct;
    for (int i = 0; i < 3; ++i) {
        const std::string guid = made.out.substr(39u * i, 38);
        distinct.insert(guid);
        EXPECT_EQ(RunTool("guid parse ' " + guid + " '").out.substr(0, 38), guid);
    }
    EXPECT_EQ(distinct.size(), 3u);
    ExpectCases({
        {"guid parse 12345678-9abc-def0-1234-56789abcdef0", 0,
         "{12345678-9ABC-DEF0-1234-56789ABCDEF0} Data1=0x12345678 Data2=0x9ABC Data3=0xDEF0 "
         "Data4=123456789ABCDEF0\n",
         ""},
        {"guid parse e4f67e3f-13a0-11d5-99e4-00c04f306f62", 0,
         "{E4F67E3F-13A0-11D5-99E4-00C04F306F62} Data1=0xE4F67E3F Data2=0x13A0 Data3=0x11D5 "
         "Data4=99E400C04F306F62 interface=IKXInterfaceRegistration\n",
         ""},
        {"guid parse {B66E5114-DB27-5FA3-9EED-54A2DFC2E8A}", 1, "",
         "kxtool: guid: not an identifier: '{B66E5114-DB27-5FA3-9EED-54A2DFC2E8A}'\n"},
        {"guid new 0", 1, "", "kxtool: guid: not a count from 1 to 10000: '0'\n"},
        {"guid new 10001", 1, "", "kxtool: guid: not a count from 1 to 10000: '10001'\n"},
        {"guid new -1", 1, "", "kxtool: guid: not a count from 1 to 10000: '-1'\n"},
        {"guid new 99999999999999999999", 1, "",
         "kxtool: guid: not a count from 1 to 10000: '99999999999999999999'\n"},
    });
}

TEST(KxToolPath, ExpandsShortcutsAndRefusesUnknownOnes) {
    ExpectCases({
        {"path --root /opt/kx/ @LOG/errors.xml '@DATA\\sub\\f.txt' @KEYS/k @TEMP/t @UD "
         "'a\\\\b//c'",
         0,
         "/opt/kx/log/errors.xml\n/opt/kx/data/sub/f.txt\n/opt/kx/keys/k\n/opt/kx/temp/t\n"
         "/opt/kx/userdata/\na/b/c\n",
         ""},
        {"path --root=/ @LOG/x", 0, "/log/x\n", ""},
        // Non-ASCII in the root and the path stays UTF-8.
        {"path --root '/opt/k\xC3\xBC' '@DATA/\xC2\xB5.txt'", 0,
         "/opt/k\xC3\xBC/data/\xC2\xB5.txt\n", ""},
        {"path --root /opt/kx @log/x @LOGS/x @NOSUCH @ '' \"$(printf '@LOG/\\377')\" @LOG/ok", 1,
         "/opt/kx/log/ok\n",
         "kxtool: path: unknown path shortcut '@log' in '@log/x' (shortcuts are upper case: "
         "@LOG)\n"
         "kxtool: path: unknown path shortcut '@LOGS' in '@LOGS/x' (shortcuts: @DATA, @KEYS, "
         "@LOG, @TEMP, @UD)\n"
         "kxtool: path: unknown path shortcut '@NOSUCH' in '@NOSUCH' (shortcuts: @DATA, @KEYS, "
         "@LOG, @TEMP, @UD)\n"
         "kxtool: path: unknown path shortcut '@' in '@' (shortcuts: @DATA, @KEYS, @LOG, @TEMP, "
         "@UD)\n"
         "kxtool: path: empty path\n"
         "kxtool: path: not UTF-8 text: '@LOG/\xff'\n"},
    });
}

TEST(KxToolUsage, BadCommandLinesExitWithTwoAndNameTheProblem) {
    const struct {
        const char* args;
        const char* firstLine;
    } cases[] = {
        {"", "kxtool: no command"},
        {"frobnicate", "kxtool: unknown command 'frobnicate'"},
        {"hresult", "kxtool: hresult: needs at least one code"},
        {"guid", "kxtool: guid: needs 'new' or 'parse'"},
        {"guid make", "kxtool: guid: unknown subcommand 'make'"},
        {"guid new 1 2", "kxtool: guid: new takes at most one count"},
        {"guid parse", "kxtool: guid: parse needs at least one text"},
        {"iid", "kxtool: iid: needs a name, an identifier or --list"},
        {"iid --list IKXLinkage", "kxtool: iid: --list takes no names"},
        {"path /tmp @LOG", "kxtool: path: needs --root DIR first"},
        {"path --root /tmp", "kxtool: path: needs at least one path"},
        {"path --root= @LOG", "kxtool: path: --root needs a directory"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const ToolResult r = RunTool(c.args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err.substr(0, r.err.find('\n')), c.firstLine);
        EXPECT_NE(r.err.find("\nusage: kxtool "), std::string::npos) << r.err;
    }
}

TEST(KxToolUsage, HelpListsEveryCommandShortcutAndExitStatus) {
    const ToolResult help = RunTool("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    for (const char* part :
         {"usage: kxtool hresult CODE...\n", "       kxtool guid new [COUNT]\n",
          "       kxtool guid parse TEXT...\n", "       kxtool iid NAME|GUID...\n",
          "       kxtool iid --list\n", "       kxtool path --root DIR PATH...\n",
          "       kxtool log [--since TIME] [--code CODE]... [--component NAME]... [--summary] "
          "[--json] FILE...\n",
          "       kxtool --help | --version\n", "@DATA  DIR/data", "@KEYS  DIR/keys",
          "@LOG  DIR/log", "@TEMP  DIR/temp", "@UD    DIR/userdata",
          "Exit status: 0 ok, 1 bad input", "2 bad usage."}) {
        EXPECT_NE(help.out.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(RunTool("-h").out, help.out);
}

TEST(KxToolUsage, VersionNamesToolAndLibrary) {
    const ToolResult version = RunTool("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(KxToolTest::Matches(version.out.c_str(), "kxtool #*.#*.#* (library #*.#*.#*)\n"))
        << version.out;
}

} // namespace
