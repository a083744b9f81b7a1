// AppendResultCodeText: a result code as "0x<hex>: <name>".
#include "KxResultCodes.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "KxResultCodeTable.h"

namespace KxTamarind {

namespace {

constexpr const char kUnknownName[] = "Unknown or new error";

constexpr const char kControlText[] =
    "This is a FACILITY_CONTROL error that is specific to the control's interface that returned "
    "this error. See the documentation of the interface that returned this error for information "
    "about this HRESULT.";

constexpr const char kInterfaceText[] =
    "This is a FACILITY_ITF error that is specific to the interface that returned this error. See "
    "the documentation of the interface that returned this error for information about this "
    "HRESULT.";

// Lower codes of these facilities are reserved for the system, so only the
// codes above them are an interface's own.
constexpr std::uint32_t kLastSystemControlCode = 0x257;
constexpr std::uint32_t kLastSystemInterfaceCode = 0x1FF;

// Every name is far shorter than this, so the text is never cut.
constexpr std::size_t kTextBufferSize = 212;

const char* FindExactName(std::uint32_t code) {
    const Detail::ResultCodeName* first = Detail::g_resultCodeNames;
    const Detail::ResultCodeName* last = first + Detail::g_resultCodeNameCount;
    const Detail::ResultCodeName* found = std::lower_bound(
        first, last, code,
        [](const Detail::ResultCodeName& entry, std::uint32_t key) { return entry.code < key; });
    return found != last && found->code == code ? found->name : nullptr;
}

const char* FindWin32Text(std::uint32_t number) {
    const Detail::Win32NumberText* first = Detail::g_win32NumberTexts;
    const Detail::Win32NumberText* last = first + Detail::g_win32NumberTextCount;
    const Detail::Win32NumberText* found = std::lower_bound(
        first, last, number,
        [](const Detail::Win32NumberText& entry, std::uint32_t key) { return entry.number < key; });
    return found != last && found->number == number ? found->text : nullptr;
}

} // namespace

void AppendResultCodeText(CAtlStringA& text, long code) {
    // Result codes are 32-bit: a negative HRESULT widened to a 64-bit long is
    // taken back to its 32-bit pattern.
    const std::uint32_t value = static_cast<std::uint32_t>(code);
    const char* name = FindExactName(value);
    const char* extra = "";
    if (name == nullptr) {
        const std::uint32_t facility = (value >> 16) & 0x1FFF;
        const std::uint32_t low = value & 0xFFFF;
        name = kUnknownName;
        if (facility == FACILITY_WIN32) {
            // The severity bit is ignored: success codes of this facility
            // carry Win32 numbers just the same.
            if (const char* win32 = FindWin32Text(low)) {
                name = win32;
            }
        } else if (facility == FACILITY_CONTROL) {
            if (low > kLastSystemControlCode) {
                name = "";
                extra = kControlText;
            }
        } else if (facility == FACILITY_ITF) {
            if (low > kLastSystemInterfaceCode) {
                name = "";
                extra = kInterfaceText;
            }
        }
    }

    char buffer[kTextBufferSize];
    std::snprintf(buffer, sizeof(buffer), "0x%lx: %s", static_cast<unsigned long>(value), name);
    text += buffer;
    text += extra;
}

} // namespace KxTamarind
