// Reference conversions the fuzz targets compare the library against. They
// are written from the public definitions (RFC 3629 for UTF-8, with one
// U+FFFD per maximal ill-formed subpart as Unicode recommends and as the
// WHATWG decoder does; the Windows-1252 code chart), in a shape of their own,
// so that they share no code and no table with what they check.
#pragma once

#include <cstdint>
#include <string>

namespace KxFuzz {

constexpr std::uint32_t kReplacement = 0xFFFD;

inline bool IsScalarValue(std::uint32_t cp) {
    return cp <= 0x10FFFF && !(cp >= 0xD800 && cp <= 0xDFFF);
}

// UTF-8 of one code point; a value that is no Unicode scalar value is
// written as U+FFFD.
inline void AppendUtf8(std::string& out, std::uint32_t cp) {
    if (!IsScalarValue(cp)) {
        cp = kReplacement;
    }
    if (cp < 0x80) {
        out += static_cast<char>(cp);
        return;
    }
    int trail = cp < 0x800 ? 1 : cp < 0x10000 ? 2 : 3;
    static const unsigned char kLead[4] = {0, 0xC0, 0xE0, 0xF0};
    out += static_cast<char>(kLead[trail] | (cp >> (6 * trail)));
    while (trail-- > 0) {
        out += static_cast<char>(0x80 | ((cp >> (6 * trail)) & 0x3F));
    }
}

inline std::string Utf8Of(const std::wstring& text) {
    std::string out;
    for (wchar_t c : text) {
        AppendUtf8(out, static_cast<std::uint32_t>(c));
    }
    return out;
}

// Decodes UTF-8 the WHATWG way: each maximal ill-formed subpart becomes one
// U+FFFD. `valid` tells whether the bytes were well-formed throughout.
inline std::wstring DecodeUtf8(const std::string& bytes, bool& valid) {
    std::wstring out;
    valid = true;
    std::uint32_t cp = 0;
    int needed = 0;
    int seen = 0;
    unsigned lower = 0x80;
    unsigned upper = 0xBF;
    std::size_t i = 0;
    while (i < bytes.size()) {
        const unsigned b = static_cast<unsigned char>(bytes[i]);
        if (needed == 0) {
            ++i;
            if (b <= 0x7F) {
                out += static_cast<wchar_t>(b);
            } else if (b >= 0xC2 && b <= 0xDF) {
                needed = 1;
                cp = b & 0x1F;
            } else if (b >= 0xE0 && b <= 0xEF) {
                lower = b == 0xE0 ? 0xA0 : 0x80;
                upper = b == 0xED ? 0x9F : 0xBF;
                needed = 2;
                cp = b & 0x0F;
            } else if (b >= 0xF0 && b <= 0xF4) {
                lower = b == 0xF0 ? 0x90 : 0x80;
                upper = b == 0xF4 ? 0x8F : 0xBF;
                needed = 3;
                cp = b & 0x07;
            } else {
                out += static_cast<wchar_t>(kReplacement);
                valid = false;
            }
            continue;
        }
        if (b < lower || b > upper) {
            // The sequence broke off: one U+FFFD, and the byte is looked at
            // again as the start of something new.
            needed = seen = 0;
            cp = 0;
            lower = 0x80;
            upper = 0xBF;
            out += static_cast<wchar_t>(kReplacement);
            valid = false;
            continue;
        }
        ++i;
        lower = 0x80;
        upper = 0xBF;
        cp = (cp << 6) | (b & 0x3F);
        if (++seen == needed) {
            out += static_cast<wchar_t>(cp);
            needed = seen = 0;
            cp = 0;
        }
    }
    if (needed != 0) {
        out += static_cast<wchar_t>(kReplacement);
        valid = false;
    }
    return out;
}

// Windows-1252: the code points of bytes 0x80..0x9F from the code chart;
// the five bytes the chart leaves empty keep their own value. Every other
// byte is its own code point.
inline std::uint32_t Cp1252ToUnicode(unsigned char b) {
    switch (b) {
    case 0x80:
        return 0x20AC; // euro sign
    case 0x82:
        return 0x201A;
    case 0x83:
        return 0x0192;
    case 0x84:
        return 0x201E;
    case 0x85:
        return 0x2026;
    case 0x86:
        return 0x2020;
    case 0x87:
        return 0x2021;
    case 0x88:
        return 0x02C6;
    case 0x89:
        return 0x2030;
    case 0x8A:
        return 0x0160;
    case 0x8B:
        return 0x2039;
    case 0x8C:
        return 0x0152;
    case 0x8E:
        return 0x017D;
    case 0x91:
        return 0x2018;
    case 0x92:
        return 0x2019;
    case 0x93:
        return 0x201C;
    case 0x94:
        return 0x201D;
    case 0x95:
        return 0x2022;
    case 0x96:
        return 0x2013;
    case 0x97:
        return 0x2014;
    case 0x98:
        return 0x02DC;
    case 0x99:
        return 0x2122;
    case 0x9A:
        return 0x0161;
    case 0x9B:
        return 0x203A;
    case 0x9C:
        return 0x0153;
    case 0x9E:
        return 0x017E;
    case 0x9F:
        return 0x0178;
    default:
        return b;
    }
}

// The 1252 byte of a code point, or -1 when there is none (found by
// searching the forward mapping, so both directions agree by construction).
inline int UnicodeToCp1252(std::uint32_t cp) {
    for (unsigned b = 0; b < 256; ++b) {
        if (Cp1252ToUnicode(static_cast<unsigned char>(b)) == cp) {
            return static_cast<int>(b);
        }
    }
    return -1;
}

} // namespace KxFuzz
