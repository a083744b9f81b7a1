// kxtool as a command: output, messages and exit status of hresult, guid,
// iid, path, --help and --version.
#include <gtest/gtest.h>

#include <fnmatch.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>

#include "ToolRunner.h"

namespace {

using KxToolTest::RunTool;
using KxToolTest::ToolResult;

const char kShortcuts[] = "(shortcuts: @DATA, @KEYS, @LOG, @TEMP, @UD)\n";

TEST(KxTool, EachCommandsOutputMessagesAndExitStatus) {
    const struct {
        std::string args;
        int status;
        std::string out, err;
    } cases[] = {
        {"hresult 0x80070005 0X80000001", 0,
         "0x80070005: 5L\n"
         "  severity 1 (failure), facility 7 (FACILITY_WIN32), code 5 (0x0005)\n"
         "  Win32 error 5: ERROR_ACCESS_DENIED\n"
         "  on Windows, 0x80070005 is E_ACCESSDENIED; this platform's E_ACCESSDENIED is "
         "0x80000009\n"
         "0x80000001: E_NOTIMPL\n"
         "  severity 1 (failure), facility 0 (FACILITY_NULL), code 1 (0x0001)\n"
         "  on Windows, 0x80000001 is EXCEPTION_GUARD_PAGE; this platform's "
         "EXCEPTION_GUARD_PAGE is 0x80000101\n"
         "  Windows numbers E_NOTIMPL 0x80004001\n",
         ""},
        // Bare hex, not decimal: the Windows value of E_FAIL, pasted.
        {"hresult 80004005 10000000", 0,
         "0x80004005: Unknown or new error\n"
         "  read '80004005' as 8 hexadecimal digits; as a decimal number it is 0x04c4c3a5\n"
         "  severity 1 (failure), facility 0 (FACILITY_NULL), code 16389 (0x4005)\n"
         "  on Windows, 0x80004005 is E_FAIL; this platform's E_FAIL is 0x80000008\n"
         "0x10000000: Unknown or new error\n"
         "  read '10000000' as 8 hexadecimal digits; as a decimal number it is 0x00989680\n"
         "  severity 0 (success), facility 4096 (no facility name), code 0 (0x0000)\n",
         ""},
        {"hresult 0xffffffff8007000E 0x8007FFFF 5", 0,
         "0x8007000e: 14L\n"
         "  read '0xffffffff8007000E' as a 32-bit code sign-extended to 64 bits\n"
         "  severity 1 (failure), facility 7 (FACILITY_WIN32), code 14 (0x000e)\n"
         "  Win32 error 14: ERROR_OUTOFMEMORY\n"
         "  on Windows, 0x8007000e is E_OUTOFMEMORY; this platform's E_OUTOFMEMORY is "
         "0x80000002\n"
         "0x8007ffff: Unknown or new error\n"
         "  severity 1 (failure), facility 7 (FACILITY_WIN32), code 65535 (0xffff)\n"
         "  Win32 error 65535: no name in winerror.h\n"
         "0x5: Unknown or new error\n"
         "  severity 0 (success), facility 0 (FACILITY_NULL), code 5 (0x0005)\n"
         "  as a Win32 error number, 5 is ERROR_ACCESS_DENIED (as a result code: 0x80070005)\n",
         ""},
        // Bad codes are named and the others still print.
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
        {"iid IKXInterfaceRegistration '{e4f67e3f-13a0-11d5-99e4-00c04f306f62}' IUnknown", 0,
         "{E4F67E3F-13A0-11D5-99E4-00C04F306F62} IKXInterfaceRegistration\n"
         "{E4F67E3F-13A0-11D5-99E4-00C04F306F62} IKXInterfaceRegistration\n"
         "{00000000-0000-0000-C000-000000000046} IUnknown\n",
         ""},
        {"iid ikxinterfaceregistration IKXNoSuchThing 00000000-0000-0000-0000-000000000001", 1, "",
         "kxtool: iid: no interface named 'ikxinterfaceregistration' (did you mean "
         "IKXInterfaceRegistration?)\n"
         "kxtool: iid: no interface named 'IKXNoSuchThing' (see: kxtool iid --list)\n"
         "kxtool: iid: no interface of the catalogue has the identifier "
         "{00000000-0000-0000-0000-000000000001} ('00000000-0000-0000-0000-000000000001')\n"},
        {"guid parse 12345678-9abc-def0-1234-56789abcdef0 e4f67e3f-13a0-11d5-99e4-00c04f306f62 "
         "{B66E5114-DB27-5FA3-9EED-54A2DFC2E8A}",
         1,
         "{12345678-9ABC-DEF0-1234-56789ABCDEF0} Data1=0x12345678 Data2=0x9ABC Data3=0xDEF0 "
         "Data4=123456789ABCDEF0\n"
         "{E4F67E3F-13A0-11D5-99E4-00C04F306F62} Data1=0xE4F67E3F Data2=0x13A0 Data3=0x11D5 "
         "Data4=99E400C04F306F62 interface=IKXInterfaceRegistration\n",
         "kxtool: guid: not an identifier: '{B66E5114-DB27-5FA3-9EED-54A2DFC2E8A}'\n"},
        {"path --root /opt/kx/ @LOG/errors.xml '@DATA\\sub\\f.txt' @KEYS/k @TEMP/t @UD "
         "'a\\\\b//c'",
         0,
         "/opt/kx/log/errors.xml\n/opt/kx/data/sub/f.txt\n/opt/kx/keys/k\n/opt/kx/temp/t\n"
         "/opt/kx/userdata/\na/b/c\n",
         ""},
        // Non-ASCII in the root and the path stays UTF-8.
        {"path --root=/ @LOG/x", 0, "/log/x\n", ""},
        {"path --root '/opt/k\xC3\xBC' '@DATA/\xC2\xB5.txt'", 0,
         "/opt/k\xC3\xBC/data/\xC2\xB5.txt\n", ""},
        {"path --root /opt/kx @log/x @LOGS/x @NOSUCH @ '' \"$(printf '@LOG/\\377')\" @LOG/ok", 1,
         "/opt/kx/log/ok\n",
         "kxtool: path: unknown path shortcut '@log' in '@log/x' (shortcuts are upper case: "
         "@LOG)\n"
         "kxtool: path: unknown path shortcut '@LOGS' in '@LOGS/x' " +
             std::string(kShortcuts) +
             "kxtool: path: unknown path shortcut '@NOSUCH' in '@NOSUCH' " + kShortcuts +
             "kxtool: path: unknown path shortcut '@' in '@' " + kShortcuts +
             "kxtool: path: empty path\nkxtool: path: not UTF-8 text: '@LOG/\xff'\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const ToolResult r = RunTool(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.out, c.out);
        EXPECT_EQ(r.err, c.err);
    }
}

// Bad command lines exit with 2 and show the usage; a bad value exits with 1.
TEST(KxTool, BadCommandLinesAndValuesAreNamed) {
    const struct {
        const char* args;
        int status;
        const char* firstLine;
    } cases[] = {
        {"guid new 10001", 1, "kxtool: guid: not a count from 1 to 10000: '10001'"},
        {"guid new 0", 1, "kxtool: guid: not a count from 1 to 10000: '0'"},
        {"guid new -1", 1, "kxtool: guid: not a count from 1 to 10000: '-1'"},
        {"guid new 99999999999999999999", 1,
         "kxtool: guid: not a count from 1 to 10000: '99999999999999999999'"},
        {"", 2, "kxtool: no command"},
        {"frobnicate", 2, "kxtool: unknown command 'frobnicate'"},
        {"hresult", 2, "kxtool: hresult: needs at least one code"},
        {"guid", 2, "kxtool: guid: needs 'new' or 'parse'"},
        {"guid make", 2, "kxtool: guid: unknown subcommand 'make'"},
        {"guid new 1 2", 2, "kxtool: guid: new takes at most one count"},
        {"guid parse", 2, "kxtool: guid: parse needs at least one text"},
        {"iid", 2, "kxtool: iid: needs a name, an identifier or --list"},
        {"iid --list IKXLinkage", 2, "kxtool: iid: --list takes no names"},
        {"path /tmp @LOG", 2, "kxtool: path: needs --root DIR first"},
        {"path --root /tmp", 2, "kxtool: path: needs at least one path"},
        {"path --root= @LOG", 2, "kxtool: path: --root needs a directory"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const ToolResult r = RunTool(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err.substr(0, r.err.find('\n')), c.firstLine);
        EXPECT_EQ(r.err.find("\nusage: kxtool ") != std::string::npos, c.status == 2) << r.err;
    }
}

TEST(KxTool, HelpListsEveryCommandShortcutAndExitStatusAndVersionNamesBoth) {
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
    const ToolResult version = RunTool("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(fnmatch("kxtool [0-9]*.[0-9]*.[0-9]* (library [0-9]*.[0-9]*.[0-9]*)\n",
                      version.out.c_str(), 0),
              0)
        << version.out;
}

// Every identifier of the catalogue leads back to its name; new identifiers
// are distinct and parse back to themselves.
TEST(KxTool, IdentifiersRoundTrip) {
    const ToolResult list = RunTool("iid --list");
    ASSERT_EQ(list.status, 0);
    EXPECT_EQ(std::count(list.out.begin(), list.out.end(), '\n'), 134);
    std::istringstream lines(list.out);
    std::string guid, name, guids;
    while (lines >> guid >> name) {
        guids += " '" + guid + "'";
    }
    EXPECT_EQ(RunTool("iid" + guids).out, list.out);
    const ToolResult made = RunTool("guid new 3");
    EXPECT_EQ(made.status, 0);
    ASSERT_EQ(made.out.size(), 3u * 39u);
    std::set<std::string> distinct;
    for (int i = 0; i < 3; ++i) {
        distinct.insert(made.out.substr(39u * i, 38));
        EXPECT_EQ(RunTool("guid parse ' " + made.out.substr(39u * i, 38) + " '").out.substr(0, 38),
                  made.out.substr(39u * i, 38));
    }
    EXPECT_EQ(distinct.size(), 3u);
}

} // namespace
