// Look-ups in the generated Windows name tables.
#include "WindowsNames.h"

#include <algorithm>

namespace KxTool {

namespace {

const char* FindNumber(const NumberName* table, std::size_t count, std::uint32_t number) {
    const NumberName* end = table + count;
    const NumberName* it = std::lower_bound(
        table, end, number, [](const NumberName& e, std::uint32_t n) { return e.number < n; });
    return it != end && it->number == number ? it->name : nullptr;
}

} // namespace

const char* Win32ErrorName(std::uint32_t number) {
    return FindNumber(Detail::g_win32ErrorNames, Detail::g_win32ErrorNameCount, number);
}

const char* FacilityName(std::uint32_t facility) {
    return FindNumber(Detail::g_facilityNames, Detail::g_facilityNameCount, facility);
}

std::vector<const WindowsValue*> NamesWithWindowsValue(std::uint32_t value) {
    std::vector<const WindowsValue*> result;
    for (std::size_t i = 0; i < Detail::g_windowsValueCount; ++i) {
        if (Detail::g_windowsValues[i].windowsValue == value) {
            result.push_back(&Detail::g_windowsValues[i]);
        }
    }
    return result;
}

std::vector<const WindowsValue*> NamesWithPlatformValue(std::uint32_t value) {
    std::vector<const WindowsValue*> result;
    for (std::size_t i = 0; i < Detail::g_windowsValueCount; ++i) {
        if (Detail::g_windowsValues[i].platformValue == value) {
            result.push_back(&Detail::g_windowsValues[i]);
        }
    }
    return result;
}

} // namespace KxTool
