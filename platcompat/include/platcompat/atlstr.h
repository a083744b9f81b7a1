// CAtlStringA (CStringA): a narrow string value class.
//
// A value type over std::string holding bytes (UTF-8 when converted from wide
// text). It is not thread-safe: share an instance between threads only under
// a lock. A NULL const char* argument counts as the empty string. Allocation
// failure throws std::bad_alloc; the string is then unchanged. Indexes out of
// range are clamped by Left/Mid/Right, read as '\0' by GetAt/operator[] and
// ignored by SetAt.
//
// Formatting: Format/AppendFormat follow printf, except that %S, %ls and %lS
// print a wide string argument converted as code page 0 (UTF-8) and %C, %lc
// a wide character, whatever the process's C locale; %hs/%hS and %hc/%hC are
// narrow. A NULL string prints "(null)". For wide arguments the precision
// counts characters and the width pads the result to that many characters.
// Length modifiers hh h l ll L z j t and I64/I32/I are understood; %n
// consumes its pointer argument and writes nothing. Output has no length
// limit.
#pragma once

#include <cstdarg>
#include <string>

#include "platcompat/types.h"

class PLATCOMPAT_API CAtlStringA {
public:
    CAtlStringA() = default;
    CAtlStringA(const char* str);
    CAtlStringA(const char* str, int length);
    CAtlStringA(char ch, int repeat = 1);
    CAtlStringA(const wchar_t* str);
    CAtlStringA(const CAtlStringA&) = default;
    CAtlStringA(CAtlStringA&&) noexcept = default;
    ~CAtlStringA() = default;

    CAtlStringA& operator=(const CAtlStringA&) = default;
    CAtlStringA& operator=(CAtlStringA&&) noexcept = default;
    CAtlStringA& operator=(const char* str);
    CAtlStringA& operator=(const wchar_t* str);
    CAtlStringA& operator=(char ch);

    int GetLength() const { return static_cast<int>(m_str.size()); }
    bool IsEmpty() const { return m_str.empty(); }
    void Empty() { m_str.clear(); }
    const char* GetString() const { return m_str.c_str(); }
    operator const char*() const { return m_str.c_str(); }

    char GetAt(int index) const;
    char operator[](int index) const { return GetAt(index); }
    void SetAt(int index, char ch);

    CAtlStringA& operator+=(const CAtlStringA& str);
    CAtlStringA& operator+=(const char* str);
    CAtlStringA& operator+=(const wchar_t* str);
    CAtlStringA& operator+=(char ch);
    void Append(const CAtlStringA& str) { m_str += str.m_str; }
    void Append(const char* str);
    void Append(const char* str, int length);
    void AppendChar(char ch) { m_str += ch; }

    // Buffer access: the pointer stays valid until the next non-const call.
    // GetBuffer keeps the content and makes room for at least minLength
    // characters plus a NUL; GetBufferSetLength sets the length to `length`.
    // ReleaseBuffer(-1) takes the length up to the first NUL; ReleaseBuffer(n)
    // sets it to n (clamped to the buffer).
    void Preallocate(int length);
    char* GetBuffer(int minLength = 0);
    char* GetBufferSetLength(int length);
    void ReleaseBuffer(int newLength = -1);

    CAtlStringA Left(int count) const;
    CAtlStringA Mid(int first) const;
    CAtlStringA Mid(int first, int count) const;
    CAtlStringA Right(int count) const;

    // Index of the first match at or after `start`, or -1.
    int Find(char ch, int start = 0) const;
    int Find(const char* sub, int start = 0) const;
    int ReverseFind(char ch) const;

    // Replace every occurrence; return how many were replaced. An empty or
    // NULL `oldStr` replaces nothing.
    int Replace(char oldCh, char newCh);
    int Replace(const char* oldStr, const char* newStr);

    // ASCII only and independent of the C locale.
    CAtlStringA& MakeUpper();
    CAtlStringA& MakeLower();

    // Without arguments these trim ASCII white space (space, \t \n \v \f \r).
    CAtlStringA& Trim();
    CAtlStringA& Trim(char target);
    CAtlStringA& Trim(const char* targets);
    CAtlStringA& TrimLeft();
    CAtlStringA& TrimLeft(char target);
    CAtlStringA& TrimLeft(const char* targets);
    CAtlStringA& TrimRight();
    CAtlStringA& TrimRight(char target);
    CAtlStringA& TrimRight(const char* targets);

    // Byte-wise comparison as unsigned char; CompareNoCase folds ASCII only.
    // Return <0, 0 or >0.
    int Compare(const char* str) const;
    int Compare(const CAtlStringA& str) const;
    int CompareNoCase(const char* str) const;

    void Format(const char* format, ...);
    void AppendFormat(const char* format, ...);
    void FormatV(const char* format, va_list args);
    void AppendFormatV(const char* format, va_list args);

private:
    std::string m_str;
};

typedef CAtlStringA CStringA;

PLATCOMPAT_API CAtlStringA operator+(const CAtlStringA& a, const CAtlStringA& b);
PLATCOMPAT_API CAtlStringA operator+(const CAtlStringA& a, const char* b);
PLATCOMPAT_API CAtlStringA operator+(const char* a, const CAtlStringA& b);
PLATCOMPAT_API CAtlStringA operator+(const CAtlStringA& a, char b);
PLATCOMPAT_API CAtlStringA operator+(char a, const CAtlStringA& b);

inline bool operator==(const CAtlStringA& a, const CAtlStringA& b) {
    return a.Compare(b) == 0;
}
inline bool operator==(const CAtlStringA& a, const char* b) {
    return a.Compare(b) == 0;
}
inline bool operator==(const char* a, const CAtlStringA& b) {
    return b.Compare(a) == 0;
}
inline bool operator!=(const CAtlStringA& a, const CAtlStringA& b) {
    return !(a == b);
}
inline bool operator!=(const CAtlStringA& a, const char* b) {
    return !(a == b);
}
inline bool operator!=(const char* a, const CAtlStringA& b) {
    return !(a == b);
}
inline bool operator<(const CAtlStringA& a, const CAtlStringA& b) {
    return a.Compare(b) < 0;
}
inline bool operator<(const CAtlStringA& a, const char* b) {
    return a.Compare(b) < 0;
}
inline bool operator<(const char* a, const CAtlStringA& b) {
    return b.Compare(a) > 0;
}
