// Reading of result codes as people paste them: from this platform's logs
// ("0x80000008"), from Windows tools (bare "80004005"), from a debugger
// (decimal, also negative: "-2147467259") or from 64-bit trace output that
// printed a negative code sign-extended ("0xffffffff80000008").
//
// Pure functions without state; safe from any thread.
#pragma once

#include <cstdint>
#include <string>

namespace KxTool {

enum class CodeForm {
    Hex,          // "0x" and 1 to 8 significant hexadecimal digits
    SignExtended, // "0x" and 16 digits, the upper 32 bits all ones
    BareHex,      // exactly 8 hexadecimal digits without "0x"
    Decimal       // decimal digits with an optional "-"
};

struct CodeReading {
    std::uint32_t value = 0;
    CodeForm form = CodeForm::Decimal;
    // Bare 8-digit text of decimal digits only reads as a different decimal
    // number too ("10000000"); `decimalValue` is that other reading.
    bool alsoDecimal = false;
    std::uint32_t decimalValue = 0;
};

// True and `reading` set when `text` is a 32-bit code in one of the forms
// above; otherwise false and `problem` says why (no text of its own: the
// caller names the argument).
bool ReadResultCode(const std::string& text, CodeReading& reading, std::string& problem);

// "0x8007000e": eight lower-case digits, the form the tool prints codes in.
std::string HexCode(std::uint32_t code);

} // namespace KxTool
