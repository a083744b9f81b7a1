// Decomposition and names of result codes.
#include "ResultCodeInfo.h"

#include <KxTamarindCommon.h>

#include <cstdio>

#include "NumberText.h"
#include "WindowsNames.h"

namespace KxTool {

namespace {

constexpr std::uint32_t kFacilityWin32 = 7;
const char kUnknown[] = "Unknown or new error";

// The layout of winerror.h: HRESULT_SEVERITY, HRESULT_FACILITY, HRESULT_CODE.
std::uint32_t Severity(std::uint32_t code) {
    return code >> 31;
}
std::uint32_t Facility(std::uint32_t code) {
    return code >> 16 & 0x1FFF;
}
std::uint32_t Low16(std::uint32_t code) {
    return code & 0xFFFF;
}

std::string Hex4(std::uint32_t value) {
    char text[8];
    std::snprintf(text, sizeof(text), "0x%04x", static_cast<unsigned>(value & 0xFFFF));
    return text;
}

// The library's text after "0x...: ".
std::string LibraryName(std::uint32_t code) {
    const std::string text = LibraryText(code);
    const std::size_t colon = text.find(": ");
    return colon == std::string::npos ? text : text.substr(colon + 2);
}

} // namespace

std::string LibraryText(std::uint32_t code) {
    CAtlStringA text;
    KxTamarind::AppendResultCodeText(text, static_cast<long>(static_cast<std::int32_t>(code)));
    return text.GetString();
}

std::string ShortName(std::uint32_t code) {
    if (Facility(code) == kFacilityWin32) {
        if (const char* name = Win32ErrorName(Low16(code))) {
            return name;
        }
    }
    const std::string name = LibraryName(code);
    if (name == kUnknown) {
        return "unknown";
    }
    if (name.find(' ') != std::string::npos) {
        // An empty name followed by the facility's sentence.
        const char* facility = FacilityName(Facility(code));
        return facility != nullptr ? facility : "unknown";
    }
    return name;
}

std::vector<std::string> Explain(std::uint32_t code) {
    std::vector<std::string> lines;
    const char* facility = FacilityName(Facility(code));
    lines.push_back("severity " + std::to_string(Severity(code)) +
                    (Severity(code) != 0 ? " (failure)" : " (success)") + ", facility " +
                    std::to_string(Facility(code)) + " (" +
                    (facility != nullptr ? facility : "no facility name") + "), code " +
                    std::to_string(Low16(code)) + " (" + Hex4(Low16(code)) + ")");
    if (Facility(code) == kFacilityWin32) {
        const char* name = Win32ErrorName(Low16(code));
        lines.push_back("Win32 error " + std::to_string(Low16(code)) + ": " +
                        (name != nullptr ? name : "no name in winerror.h"));
    } else if (code <= 0xFFFF) {
        if (const char* name = Win32ErrorName(code)) {
            lines.push_back("as a Win32 error number, " + std::to_string(code) + " is " + name +
                            " (as a result code: " + HexCode(0x80070000u | code) + ")");
        }
    }
    for (const WindowsValue* w : NamesWithWindowsValue(code)) {
        lines.push_back(std::string("on Windows, ") + HexCode(code) + " is " + w->name +
                        "; this platform's " + w->name + " is " + HexCode(w->platformValue));
    }
    for (const WindowsValue* w : NamesWithPlatformValue(code)) {
        lines.push_back(std::string("Windows numbers ") + w->name + " " + HexCode(w->windowsValue));
    }
    return lines;
}

} // namespace KxTool
