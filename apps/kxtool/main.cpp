// kxtool: reads what an instrument leaves behind: result codes, identifiers,
// path shortcuts and the XML error log. See Tool.h for the commands' common
// rules and kxtool.1 for the manual.
#include <KxTamarindCommon.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "Tool.h"

#ifndef KXTOOL_VERSION
#define KXTOOL_VERSION "unknown"
#endif

namespace KxTool {

namespace {

struct Command {
    const char* name;
    const char* usage;
    int (*run)(int, char**);
};

const Command kCommands[] = {
    {"hresult", "kxtool hresult CODE...", RunHresult},
    {"guid", "kxtool guid new [COUNT]\nkxtool guid parse TEXT...", RunGuid},
    {"iid", "kxtool iid NAME|GUID...\nkxtool iid --list", RunIid},
    {"path", "kxtool path --root DIR PATH...", RunPath},
    {"log",
     "kxtool log [--since TIME] [--code CODE]... [--component NAME]... [--summary] [--json] "
     "FILE...",
     RunLog},
};

const char kHelpDetails[] =
    "\n"
    "Commands:\n"
    "  hresult     The library's text of each code, then its severity, facility and\n"
    "              code, the Win32 error name of a FACILITY_WIN32 code or Win32 number,\n"
    "              and a note where Windows numbers the code otherwise (E_FAIL is\n"
    "              0x80004005 on Windows, 0x80000008 here). CODE is hexadecimal with\n"
    "              0x (0x80000008), exactly 8 hexadecimal digits (80000008), or decimal,\n"
    "              also negative (-2147483640); 8 decimal digits are read as hexadecimal\n"
    "              and the decimal reading is mentioned.\n"
    "  guid new    COUNT new identifiers (1 to 10000, default 1).\n"
    "  guid parse  Each identifier checked, normalised and split into its fields,\n"
    "              with the interface it names when it is in the catalogue.\n"
    "  iid         The identifier of an interface by name, or the interface of an\n"
    "              identifier; --list prints the whole catalogue.\n"
    "  path        Each PATH with its shortcut expanded below the runtime root DIR\n"
    "              and its separators normalised. The shortcuts:\n"
    "                @DATA  DIR/data    @KEYS  DIR/keys    @LOG  DIR/log\n"
    "                @TEMP  DIR/temp    @UD    DIR/userdata\n"
    "              A shortcut is upper case and ends the path or is followed by / or \\;\n"
    "              any other path that starts with @ is refused.\n"
    "  log         The records of XML error logs (such as @LOG/errors.xml), one line\n"
    "              each: time, kind (error or repaired), code and name, component,\n"
    "              object, location, source and message. FILE - is standard input.\n"
    "                --since TIME      only records at or after TIME: 2024-05-01,\n"
    "                                  '2024-05-01 13:05', '2024-05-01T13:05:30.250'\n"
    "                --code CODE       only records with this code (a number as for\n"
    "                                  hresult, or a name such as E_FAIL); repeatable\n"
    "                --component NAME  only records of this component; repeatable\n"
    "                --summary         counts by code and by component instead\n"
    "                --json            JSON lines: one object per record (or the summary)\n"
    "              A broken or cut-off log prints the records it could read and names\n"
    "              the line where it became unreadable (exit status 1).\n"
    "  --version   The versions of kxtool and of the library it loaded.\n"
    "\n"
    "Exit status: 0 ok, 1 bad input (a message on standard error names the\n"
    "argument or the line), 2 bad usage.\n";

// "usage: " before the first line, blanks before the others.
std::string Indented(const char* lines, bool first) {
    std::string text;
    const char* start = lines;
    for (;;) {
        const char* end = std::strchr(start, '\n');
        text += first ? "usage: " : "       ";
        first = false;
        text.append(start,
                    end != nullptr ? static_cast<std::size_t>(end - start) : std::strlen(start));
        text += "\n";
        if (end == nullptr) {
            return text;
        }
        start = end + 1;
    }
}

} // namespace

std::string UsageText(const char* command) {
    std::string text;
    for (const Command& c : kCommands) {
        if (command == nullptr || std::strcmp(command, c.name) == 0) {
            text += Indented(c.usage, text.empty());
        }
    }
    if (command == nullptr) {
        text += Indented("kxtool --help | --version", false);
    }
    return text;
}

int UsageError(const char* command, const std::string& problem) {
    Complain(command, problem);
    std::fputs(UsageText(command).c_str(), stderr);
    return kExitUsage;
}

void Complain(const char* command, const std::string& message) {
    std::fprintf(stderr, "kxtool: %s%s%s\n", command != nullptr ? command : "",
                 command != nullptr ? ": " : "", message.c_str());
}

} // namespace KxTool

int main(int argc, char** argv) {
    using namespace KxTool;
    if (argc < 2) {
        return UsageError(nullptr, "no command");
    }
    const std::string command = argv[1];
    // Line by line, so that results and messages interleave in input order.
    // The log command keeps the default buffering for its large outputs and
    // flushes before each message itself.
    if (command != "log") {
        std::setvbuf(stdout, nullptr, _IOLBF, 0);
    }
    if (command == "--help" || command == "-h") {
        std::fputs(UsageText(nullptr).c_str(), stdout);
        std::fputs(kHelpDetails, stdout);
        return kExitOk;
    }
    if (command == "--version") {
        std::printf("kxtool %s (library %s)\n", KXTOOL_VERSION, KxTamarind::GetLibraryVersion());
        return kExitOk;
    }
    for (const Command& c : kCommands) {
        if (command == c.name) {
            return c.run(argc - 2, argv + 2);
        }
    }
    return UsageError(nullptr, "unknown command '" + command + "'");
}
