// Character rules shared by the CKxString sources (private to the library).
#pragma once

#include <platcompat.h>

#include <cstdint>
#include <cstring>

namespace KxTamarind {

// The largest character count whose byte count fits the 32-bit BSTR prefix.
constexpr long long kMaxChars = 0x3FFFFFFF;

// Characters of a BSTR, read from the byte length in the 4 bytes before it
// (the platform's published layout), without a call into the platform; 0
// for a null BSTR. The same as SysStringLen.
inline long long CharCount(BSTR bstr) {
    if (bstr == nullptr) {
        return 0;
    }
    std::uint32_t bytes;
    std::memcpy(&bytes, reinterpret_cast<const unsigned char*>(bstr) - sizeof bytes, sizeof bytes);
    return bytes / sizeof(wchar_t);
}

// The low 8 bits of a character taken as a signed char: the character
// searches and Simplify look at characters this way.
inline char LowByte(wchar_t ch) {
    return static_cast<char>(static_cast<unsigned char>(static_cast<unsigned long>(ch) & 0xFFu));
}

} // namespace KxTamarind
