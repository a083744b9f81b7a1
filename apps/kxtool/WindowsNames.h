// Names from the public Win32 SDK headers that kxtool shows beside the
// library's own result-code texts: Win32 error names (the library prints a
// Win32 number as "5L", the tool adds ERROR_ACCESS_DENIED), facility names,
// and the codes that Windows numbers differently from this platform (E_FAIL
// is 0x80004005 on Windows and 0x80000008 here).
//
// The tables are constant, generated into WindowsNameTable.cpp by
// tools/gen_windows_names.py; every look-up is safe from any thread and
// returns pointers into them (never null inside a returned entry).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KxTool {

struct NumberName {
    std::uint32_t number;
    const char* name;
};

// A general or structured-exception code whose Windows value differs from
// the value this platform (and the whole library) uses.
struct WindowsValue {
    const char* name;
    std::uint32_t windowsValue;
    std::uint32_t platformValue;
};

// The Win32 error name of a number (the low 16 bits of a FACILITY_WIN32
// code), or null when winerror.h names none.
const char* Win32ErrorName(std::uint32_t number);
// "FACILITY_WIN32" for 7, or null for a facility without a name.
const char* FacilityName(std::uint32_t facility);
// The codes whose Windows value is `value` (E_FAIL for 0x80004005).
std::vector<const WindowsValue*> NamesWithWindowsValue(std::uint32_t value);
// The codes whose value on this platform is `value` and which Windows numbers
// otherwise (E_FAIL for 0x80000008).
std::vector<const WindowsValue*> NamesWithPlatformValue(std::uint32_t value);

namespace Detail {
extern const NumberName g_win32ErrorNames[];
extern const std::size_t g_win32ErrorNameCount;
extern const NumberName g_facilityNames[];
extern const std::size_t g_facilityNameCount;
extern const WindowsValue g_windowsValues[];
extern const std::size_t g_windowsValueCount;
} // namespace Detail

} // namespace KxTool
