// Code-page conversions, character case mapping and string lengths.
//
// Decisions of this platform:
// - Code pages CP_ACP (0), CP_OEMCP (1), CP_THREAD_ACP (3) and CP_UTF8 (65001)
//   are UTF-8. Windows-1252 (1252; its undefined bytes 0x81, 0x8D, 0x8F, 0x90
//   and 0x9D map to the same code points) and Latin-1 (28591) are supported
//   too. Any other code page fails with ERROR_INVALID_PARAMETER.
// - A wchar_t holds one code point: a 4-byte UTF-8 sequence is ONE wchar_t,
//   never a surrogate pair, and converts back to the same 4 bytes.
// - Invalid UTF-8 becomes U+FFFD, one per maximal ill-formed subpart
//   ("\xC0\x41\x42" gives U+FFFD 'A' 'B'); with MB_ERR_INVALID_CHARS the call
//   fails instead (ERROR_NO_UNICODE_TRANSLATION). Wide surrogates and values
//   above 0x10FFFF are invalid in the same way for WideCharToMultiByte
//   (WC_ERR_INVALID_CHARS makes them fail).
// - Conversions never call setlocale and do not depend on the process locale;
//   all functions here are safe to call from many threads at once.
//
// Failures return 0 and set the thread's last error: ERROR_INVALID_PARAMETER
// (NULL source, length 0 or below -1, NULL destination with a size, unknown
// code page, default-character arguments with UTF-8), ERROR_INVALID_FLAGS,
// ERROR_INSUFFICIENT_BUFFER (destination too small; it may hold a partial
// result) or ERROR_NO_UNICODE_TRANSLATION.
#pragma once

#include "platcompat/hresult.h"
#include "platcompat/types.h"

constexpr UINT CP_ACP = 0;
constexpr UINT CP_OEMCP = 1;
constexpr UINT CP_THREAD_ACP = 3;
constexpr UINT CP_UTF8 = 65001;

constexpr DWORD MB_PRECOMPOSED = 0x1;
constexpr DWORD MB_ERR_INVALID_CHARS = 0x8;
constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;
constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;

// Narrow to wide. srcLen -1 converts up to and including the terminating NUL
// (which is counted in the result); dstLen 0 returns the number of wide
// characters needed. MB_PRECOMPOSED is accepted and changes nothing (no
// composition is done); flags other than it and MB_ERR_INVALID_CHARS fail with
// ERROR_INVALID_FLAGS. Returns the number of wide characters written.
PLATCOMPAT_API int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR src, int srcLen,
                                       LPWSTR dst, int dstLen);

// Wide to narrow. Same length rules as MultiByteToWideChar. For UTF-8,
// defaultChar and usedDefault must be NULL and flags 0 or WC_ERR_INVALID_CHARS.
// For 1252 and 28591 a character without a byte becomes *defaultChar (or '?')
// and sets *usedDefault (set to FALSE first when given); flags may be 0 or
// WC_NO_BEST_FIT_CHARS (no best-fit mapping is ever done). Returns the number
// of bytes written.
PLATCOMPAT_API int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR src, int srcLen,
                                       LPSTR dst, int dstLen, LPCSTR defaultChar,
                                       BOOL* usedDefault);

// Case mapping with the layer's locale-independent simple Unicode mapping.
// CharLowerW/CharUpperW convert a NUL-terminated string in place and return
// it; a pointer value below 0x10000 is a single character instead, which is
// converted and returned in the pointer value. The Buff forms convert exactly
// `length` characters (embedded NULs included) and return `length` (0 for a
// NULL buffer).
PLATCOMPAT_API LPWSTR CharLowerW(LPWSTR str);
PLATCOMPAT_API LPWSTR CharUpperW(LPWSTR str);
PLATCOMPAT_API DWORD CharLowerBuffW(LPWSTR str, DWORD length);
PLATCOMPAT_API DWORD CharUpperBuffW(LPWSTR str, DWORD length);
inline LPWSTR CharLower(LPWSTR str) {
    return CharLowerW(str);
}
inline LPWSTR CharUpper(LPWSTR str) {
    return CharUpperW(str);
}

// Length in characters without the terminating NUL; NULL gives 0.
PLATCOMPAT_API int lstrlenW(LPCWSTR str);
PLATCOMPAT_API int lstrlenA(LPCSTR str);
