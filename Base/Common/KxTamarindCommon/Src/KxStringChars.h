// Character rules shared by the CKxString sources (private to the library).
#pragma once

namespace KxTamarind {

// The largest character count whose byte count fits the 32-bit BSTR prefix.
constexpr long long kMaxChars = 0x3FFFFFFF;

// The low 8 bits of a character taken as a signed char: the character
// searches and Simplify look at characters this way.
inline char LowByte(wchar_t ch) {
    return static_cast<char>(static_cast<unsigned char>(static_cast<unsigned long>(ch) & 0xFFu));
}

} // namespace KxTamarind
