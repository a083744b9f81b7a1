// Conversions between narrow code pages and wide (UTF-32) strings.
//
// Each conversion runs one decoding pass that counts the whole output and
// writes only what fits, so the size query, the conversion and the error
// checks share one code path. Nothing here touches the C locale.
#include "platcompat/strconv.h"

#include <climits>
#include <cstring>
#include <cwchar>

namespace {

enum class Charset { Utf8, Cp1252, Latin1, Unsupported };

Charset CharsetOf(UINT codePage) {
    switch (codePage) {
    case CP_ACP:
    case CP_OEMCP:
    case CP_THREAD_ACP:
    case CP_UTF8:
        return Charset::Utf8;
    case 1252:
        return Charset::Cp1252;
    case 28591:
        return Charset::Latin1;
    default:
        return Charset::Unsupported;
    }
}

constexpr wchar_t kReplacement = 0xFFFD;

// Code points of the bytes 0x80..0x9F in Windows-1252. The five bytes that
// code page leaves undefined map to the C1 control with the same value.
constexpr wchar_t kCp1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

// Byte of a code point in 1252, or -1 when the code page has none.
int Cp1252Byte(std::uint32_t cp) {
    if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) {
        return static_cast<int>(cp);
    }
    for (int i = 0; i < 32; ++i) {
        if (static_cast<std::uint32_t>(kCp1252High[i]) == cp) {
            return 0x80 + i;
        }
    }
    return -1;
}

bool IsValidCodePoint(std::uint32_t cp) {
    return cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF);
}

// Collects output: counts everything, stores what fits into dst.
template <typename T>
struct Sink {
    T* dst;
    std::size_t capacity;
    std::size_t count = 0;

    void Put(T value) {
        if (count < capacity) {
            dst[count] = value;
        }
        ++count;
    }
};

// Decodes one UTF-8 sequence at s[i] (i < n). Returns the code point, or -1
// for an ill-formed sequence; advances i past the sequence or past its
// maximal ill-formed subpart.
long DecodeUtf8(const unsigned char* s, std::size_t n, std::size_t& i) {
    const unsigned char lead = s[i];
    if (lead < 0x80) {
        ++i;
        return lead;
    }
    int trail = 0;
    unsigned char lo = 0x80;
    unsigned char hi = 0xBF;
    std::uint32_t cp = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        trail = 1;
        cp = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        trail = 2;
        cp = lead & 0x0Fu;
        if (lead == 0xE0) {
            lo = 0xA0; // reject overlong forms
        } else if (lead == 0xED) {
            hi = 0x9F; // reject surrogates
        }
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        trail = 3;
        cp = lead & 0x07u;
        if (lead == 0xF0) {
            lo = 0x90; // reject overlong forms
        } else if (lead == 0xF4) {
            hi = 0x8F; // reject values above 0x10FFFF
        }
    } else {
        ++i; // C0, C1, F5..FF and stray continuation bytes
        return -1;
    }
    std::size_t j = i + 1;
    for (int k = 0; k < trail; ++k, ++j) {
        if (j >= n || s[j] < lo || s[j] > hi) {
            i = j; // resume at the byte that broke the sequence
            return -1;
        }
        cp = (cp << 6) | (s[j] & 0x3Fu);
        lo = 0x80;
        hi = 0xBF;
    }
    i = j;
    return static_cast<long>(cp);
}

void EncodeUtf8(std::uint32_t cp, Sink<char>& out) {
    if (cp < 0x80) {
        out.Put(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.Put(static_cast<char>(0xC0 | (cp >> 6)));
        out.Put(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.Put(static_cast<char>(0xE0 | (cp >> 12)));
        out.Put(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.Put(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.Put(static_cast<char>(0xF0 | (cp >> 18)));
        out.Put(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.Put(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.Put(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

// Common length checks. Returns 0 when the arguments are valid, otherwise the
// last error to report.
template <typename C>
DWORD CheckLengths(const C* src, int srcLen, const void* dst, int dstLen) {
    if (src == nullptr || srcLen == 0 || srcLen < -1 || dstLen < 0 ||
        (dst == nullptr && dstLen > 0)) {
        return ERROR_INVALID_PARAMETER;
    }
    return 0;
}

// Maps the outcome of a pass to the Win32 result in one place.
template <typename T>
int Finish(const Sink<T>& sink, bool invalid, int dstLen) {
    if (invalid) {
        SetLastError(ERROR_NO_UNICODE_TRANSLATION);
        return 0;
    }
    if (sink.count > static_cast<std::size_t>(INT_MAX)) {
        SetLastError(ERROR_INVALID_PARAMETER); // result cannot be counted in an int
        return 0;
    }
    if (dstLen != 0 && sink.count > static_cast<std::size_t>(dstLen)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    return static_cast<int>(sink.count);
}

} // namespace

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR src, int srcLen, LPWSTR dst,
                        int dstLen) {
    if (const DWORD error = CheckLengths(src, srcLen, dst, dstLen)) {
        SetLastError(error);
        return 0;
    }
    const Charset charset = CharsetOf(codePage);
    if (charset == Charset::Unsupported) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if ((flags & ~(MB_PRECOMPOSED | MB_ERR_INVALID_CHARS)) != 0) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    const std::size_t n = srcLen == -1 ? std::strlen(src) + 1 : static_cast<std::size_t>(srcLen);
    const auto* s = reinterpret_cast<const unsigned char*>(src);
    Sink<wchar_t> sink{dst, static_cast<std::size_t>(dstLen)};
    bool invalid = false;
    if (charset == Charset::Utf8) {
        const bool strict = (flags & MB_ERR_INVALID_CHARS) != 0;
        for (std::size_t i = 0; i < n && !invalid;) {
            const long cp = DecodeUtf8(s, n, i);
            if (cp < 0) {
                invalid = strict;
                sink.Put(kReplacement);
            } else {
                sink.Put(static_cast<wchar_t>(cp));
            }
        }
    } else {
        for (std::size_t i = 0; i < n; ++i) {
            const unsigned char b = s[i];
            const bool high = charset == Charset::Cp1252 && b >= 0x80 && b <= 0x9F;
            sink.Put(high ? kCp1252High[b - 0x80] : static_cast<wchar_t>(b));
        }
    }
    return Finish(sink, invalid, dstLen);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR src, int srcLen, LPSTR dst, int dstLen,
                        LPCSTR defaultChar, BOOL* usedDefault) {
    if (const DWORD error = CheckLengths(src, srcLen, dst, dstLen)) {
        SetLastError(error);
        return 0;
    }
    const Charset charset = CharsetOf(codePage);
    if (charset == Charset::Unsupported ||
        (charset == Charset::Utf8 && (defaultChar != nullptr || usedDefault != nullptr))) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const DWORD allowed = charset == Charset::Utf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
    if ((flags & ~allowed) != 0) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    const std::size_t n = srcLen == -1 ? std::wcslen(src) + 1 : static_cast<std::size_t>(srcLen);
    Sink<char> sink{dst, static_cast<std::size_t>(dstLen)};
    bool invalid = false;
    if (charset == Charset::Utf8) {
        const bool strict = (flags & WC_ERR_INVALID_CHARS) != 0;
        for (std::size_t i = 0; i < n && !invalid; ++i) {
            const auto cp = static_cast<std::uint32_t>(src[i]);
            if (IsValidCodePoint(cp)) {
                EncodeUtf8(cp, sink);
            } else {
                invalid = strict;
                EncodeUtf8(static_cast<std::uint32_t>(kReplacement), sink);
            }
        }
    } else {
        const char fallback = defaultChar != nullptr ? *defaultChar : '?';
        BOOL defaulted = FALSE;
        for (std::size_t i = 0; i < n; ++i) {
            const auto cp = static_cast<std::uint32_t>(src[i]);
            const int b = charset == Charset::Cp1252 ? Cp1252Byte(cp) : (cp <= 0xFF ? int(cp) : -1);
            if (b < 0) {
                defaulted = TRUE;
                sink.Put(fallback);
            } else {
                sink.Put(static_cast<char>(b));
            }
        }
        if (usedDefault != nullptr) {
            *usedDefault = defaulted;
        }
    }
    return Finish(sink, invalid, dstLen);
}

int lstrlenW(LPCWSTR str) {
    return str == nullptr ? 0 : static_cast<int>(std::wcslen(str));
}

int lstrlenA(LPCSTR str) {
    return str == nullptr ? 0 : static_cast<int>(std::strlen(str));
}
