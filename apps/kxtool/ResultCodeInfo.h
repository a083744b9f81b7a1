// What kxtool says about a result code beyond the library's own text: the
// parts of the code, Win32 error names and the codes Windows numbers
// differently.
//
// Pure functions; safe from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace KxTool {

// The library's text, unchanged: "0x80000008: E_FAIL".
std::string LibraryText(std::uint32_t code);

// A name for one-line displays: the Win32 error name of a FACILITY_WIN32
// code (ERROR_ACCESS_DENIED rather than the library's "5L"), else the
// library's name (E_FAIL), the facility name for an interface- or
// control-specific code (FACILITY_ITF), or "unknown".
std::string ShortName(std::uint32_t code);

// The lines `kxtool hresult` prints under the library's text, without
// indentation: the decomposition (severity, facility with its name, code),
// the Win32 error name where the code is a FACILITY_WIN32 code or a Win32
// number, and a note for each name that Windows numbers otherwise.
std::vector<std::string> Explain(std::uint32_t code);

} // namespace KxTool
