// Text from fuzzer bytes, and small helpers shared by the fuzz targets.
//
// ConsumeWide turns bytes into wide text in a way that reaches every kind of
// character a firmware meets: bytes 0x00..0xF7 stand for themselves (ASCII,
// C1 controls, Latin-1, the NUL), 0xF8 and 0xF9 take the next two or three
// bytes as a code point (BMP, surrogates, values beyond 0x10FFFF), 0xFA the
// next four as any 32-bit value (negative ones included), and 0xFB..0xFF
// stand for characters that expose classic mistakes: U+20AC (a 1252 byte
// that is not Latin-1), U+00DF (non-ASCII letter), U+0141 (low byte 'A'),
// U+D800 (a lone surrogate) and U+FFFD.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "CKxString.h"

namespace KxFuzz {

inline std::wstring WideFromBytes(const std::string& bytes) {
    std::wstring out;
    std::size_t i = 0;
    const auto byte = [&](std::size_t at) -> std::uint32_t {
        return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0u;
    };
    while (i < bytes.size()) {
        const std::uint32_t b = byte(i);
        switch (b) {
        case 0xF8:
            out += static_cast<wchar_t>((byte(i + 1) << 8) | byte(i + 2));
            i += 3;
            break;
        case 0xF9:
            out += static_cast<wchar_t>((byte(i + 1) << 16) | (byte(i + 2) << 8) | byte(i + 3));
            i += 4;
            break;
        case 0xFA:
            out += static_cast<wchar_t>((byte(i + 1) << 24) | (byte(i + 2) << 16) |
                                        (byte(i + 3) << 8) | byte(i + 4));
            i += 5;
            break;
        case 0xFB:
            out += static_cast<wchar_t>(0x20AC);
            ++i;
            break;
        case 0xFC:
            out += static_cast<wchar_t>(0x00DF);
            ++i;
            break;
        case 0xFD:
            out += static_cast<wchar_t>(0x0141);
            ++i;
            break;
        case 0xFE:
            out += static_cast<wchar_t>(0xD800);
            ++i;
            break;
        case 0xFF:
            out += static_cast<wchar_t>(0xFFFD);
            ++i;
            break;
        default:
            out += static_cast<wchar_t>(b);
            ++i;
            break;
        }
    }
    return out;
}

// Wide text from at most `maxBytes` bytes of the input.
inline std::wstring ConsumeWide(FuzzedDataProvider& in, std::size_t maxBytes) {
    return WideFromBytes(in.ConsumeRandomLengthString(maxBytes));
}

// A CKxString holding exactly `text` (embedded NULs included), or a null
// string when `null` is set.
inline KxTamarind::CKxString MakeKx(const std::wstring& text, bool null = false) {
    return null ? KxTamarind::CKxString() : KxTamarind::CKxString(text);
}

// All characters of a CKxString (embedded NULs included).
inline std::wstring Chars(const KxTamarind::CKxString& s) {
    const wchar_t* raw = s;
    return raw == nullptr ? std::wstring()
                          : std::wstring(raw, static_cast<std::size_t>(s.Length()));
}

// True when `s` holds exactly `expected` and is null exactly when `null`.
inline bool Holds(const KxTamarind::CKxString& s, const std::wstring& expected, bool null = false) {
    return s.IsNull() == null && Chars(s) == expected;
}

} // namespace KxFuzz
