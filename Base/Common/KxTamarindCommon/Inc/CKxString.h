// CKxString: the library's wide text type.
//
// A CKxString owns exactly one BSTR (32-bit wchar_t characters, length
// prefixed), so that it can be handed to and taken from COM-style interfaces
// without copying. A default-constructed or cleared string holds no BSTR at
// all (IsNull()); most operations treat that null string like an empty one,
// the exceptions are stated where they matter (operator== and the ordering
// operators, Substr and the results of Section).
//
// Narrow text is converted with MultiByteToWideChar in code page 0 (UTF-8 on
// this platform) and back with WideCharToMultiByte in code page 0.
//
// Several rules below are long-established behaviour that callers rely on and
// must not be "fixed": Append(char)/Append(wchar_t)/operator+=(char) append a
// COUNT of characters, Trim leaves an all-blank string alone, Simplify and the
// character searches look at the low 8 bits of each character, Split drops a
// trailing empty piece and CalcTokenCount counts separators.
//
// Failures: appends return E_OUTOFMEMORY and keep the old value; other
// operations whose allocation fails leave a null string (or, where the old
// value can be kept cheaply, keep it). The only exceptions thrown are
// std::out_of_range from Insert and the positional Replace.
//
// Thread safety: none. A CKxString is a value; share one instance between
// threads only under a lock.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <string>

namespace KxTamarind {

class CKxStringList;

class KXTAMARIND_API CKxString {
public:
    // --- Construction and assignment -------------------------------------
    // Every assignment frees the old BSTR and builds a new one.
    // - CKxString / CComBSTR: a copy of the same length (embedded NULs kept).
    // - const wchar_t*: up to the terminator; std::wstring: the whole string.
    // - const char* / std::string: converted as code page 0 up to the first
    //   NUL; a null char* gives a null string.
    // - char: the one-character narrow text {c, 0} converted the same way
    //   (so '\0' gives an empty string and a byte above 0x7F, which is not
    //   UTF-8 on its own, gives U+FFFD).
    CKxString() noexcept : m_bstr(nullptr) {}
    CKxString(const CKxString& other);
    CKxString(CKxString&& other) noexcept : m_bstr(other.m_bstr) { other.m_bstr = nullptr; }
    CKxString(const CComBSTR& other);
    CKxString(const wchar_t* text);
    CKxString(const std::wstring& text);
    CKxString(const char* text);
    CKxString(const std::string& text);
    CKxString(char c);
    ~CKxString();

    CKxString& operator=(const CKxString& other);
    CKxString& operator=(CKxString&& other) noexcept;
    CKxString& operator=(const CComBSTR& other);
    CKxString& operator=(const wchar_t* text);
    CKxString& operator=(const std::wstring& text);
    CKxString& operator=(const char* text);
    CKxString& operator=(const std::string& text);
    CKxString& operator=(char c);

    // A null string (no BSTR).
    static CKxString null() { return CKxString(); }

    bool IsNull() const { return m_bstr == nullptr; }
    // True for a null and for an empty string.
    bool IsEmpty() const { return Length() == 0; }
    // Characters, 0 for a null string.
    int Length() const;

    // The raw BSTR (null for a null string); it stays owned by this object.
    operator wchar_t*() const { return m_bstr; }

    // Address of the owned BSTR member, for out-parameters of COM-style
    // calls. It frees nothing: a value the string already holds is leaked
    // when the callee overwrites it, so call Clear() first.
    BSTR* operator&() { return &m_bstr; }

    // --- Conversions out --------------------------------------------------
    // Code page 0 over all characters (embedded NULs included).
    std::string ToStdString() const;
    std::wstring ToStdWString() const;
    CComBSTR ToCComBSTR() const;
    // A new BSTR with the same content (null for a null string or when the
    // allocation fails); the caller frees it with SysFreeString.
    BSTR CopyBSTR() const;
    // Hands the owned BSTR to the caller (who frees it) and becomes null.
    BSTR DetachBSTR();
    // Frees the owned BSTR (unless it is `bstr` itself) and takes ownership
    // of `bstr`.
    void AttachBSTR(BSTR bstr);
    // Replaces the content with a copy of `bstr` (a null BSTR gives a null
    // string); `bstr` stays the caller's.
    void AssignBSTR(BSTR bstr);
    // Frees the BSTR; the string becomes null.
    void Clear();

    // --- Element access ---------------------------------------------------
    // The character at `index`, or 0 for a null string or an index outside
    // [0, Length()).
    wchar_t At(int index) const;
    // Change one character; nothing happens (false) for a null string or an
    // index outside [0, Length()). The char form stores the character the
    // one-character constructor would give for `c`.
    bool SetAt(int index, wchar_t c);
    bool SetAt(int index, char c);

    // --- Appending --------------------------------------------------------
    // Each builds a new BSTR of the summed length, copies both parts and
    // frees the old one, so the result is never null on success. S_OK, or
    // E_OUTOFMEMORY (string unchanged) when the new length does not fit.
    HRESULT Append(const CKxString& text);
    HRESULT Append(const CComBSTR& text);
    HRESULT Append(const wchar_t* text);
    HRESULT AppendBSTR(BSTR text);
    // Exactly `count` characters of `text` (embedded NULs included); a null
    // `text` appends nothing; a negative count is E_INVALIDARG (unchanged).
    HRESULT Append(const wchar_t* text, int count);
    HRESULT Append(const char* text);
    // Appends `c` characters, NOT the character c: the count is the
    // character's code (sign-extended for char), the added characters are
    // zero. A count below 0 (a char above 0x7F) appends nothing.
    HRESULT Append(char c);
    HRESULT Append(wchar_t c);
    // Appends `count` raw bytes to the string's BYTE length (SysStringByteLen,
    // 4 bytes per character). The byte length is kept exactly, so a byte
    // count that is not a multiple of 4 leaves a partial last character that
    // Length() does not count but later AppendBytes calls and copies keep
    // (appending characters drops it).
    // Never reads more than `count` bytes. count 0: S_OK, no change;
    // count < 0: E_INVALIDARG; null `bytes` with count > 0: E_POINTER.
    HRESULT AppendBytes(const char* bytes, int count);

    // As the matching Append; failures leave the string unchanged.
    // operator+=(char) is Append(char): it appends c characters.
    CKxString& operator+=(const CKxString& text);
    CKxString& operator+=(const CComBSTR& text);
    CKxString& operator+=(const wchar_t* text);
    CKxString& operator+=(const char* text);
    CKxString& operator+=(const std::string& text);
    CKxString& operator+=(const std::wstring& text);
    CKxString& operator+=(char c);

    // --- Insertion and replacement ----------------------------------------
    // Insert `text` before position `pos`; pos > Length() (or negative)
    // throws std::out_of_range. On allocation failure the old value is kept.
    CKxString& Insert(int pos, const CKxString& text);
    // Insert(0, CKxString(x)).
    CKxString& Prepend(const char* text);
    CKxString& Prepend(char c);
    CKxString& PrependBSTR(BSTR text);
    CKxString& Prepend(const wchar_t* text);
    CKxString& Prepend(const CComBSTR& text);
    CKxString& Prepend(const CKxString& text);
    // Replace `count` characters at `pos` (a negative count means to the
    // end); pos > Length() (or negative) throws std::out_of_range.
    CKxString& Replace(int pos, int count, const CKxString& text);
    // Replace every occurrence of `oldText`, left to right without overlap,
    // by `newText`. An empty `oldText` changes nothing.
    CKxString& Replace(const CKxString& oldText, const CKxString& newText);

    // --- Extraction -------------------------------------------------------
    // Null when pos is negative or not below Length(); otherwise
    // min(Length() - pos, count) characters from pos (a negative count means
    // to the end).
    CKxString Substr(int pos, int count = -1) const;
    CKxString Left(int n) const { return Substr(0, n); }
    CKxString Mid(int pos, int n = -1) const { return Substr(pos, n); }
    // The last min(Length(), n) characters (a negative n means all of them).
    CKxString Right(int n) const;

    // Parts between separators; see Split. Only bit 0 of `flags` is used:
    // set, empty parts are skipped. Parts start..end (end negative or past
    // the last part means the last part) joined with the whole separator;
    // null when start is negative or past the last part, or end < start.
    CKxString Section(const CKxString& separator, int start, int end = -1, int flags = 0) const;
    // With start == end == 0: the text before the first separator (null
    // when the text starts with it, the whole text when there is none),
    // flags ignored. Otherwise the string version with a one-character
    // separator.
    CKxString Section(char separator, int start, int end = -1, int flags = 0) const;

    // Append the pieces between separators to `list`. Only the separator's
    // first character is used, found by the character search (low 8 bits).
    // With an empty string or separator, or no separator in the text, one
    // element (a copy of the whole string) is appended. Otherwise empty
    // pieces are appended as null strings only when keepEmpty is true; a
    // separator at the very end yields no trailing element. Returns Length().
    int Split(CKxStringList& list, const CKxString& separator, bool keepEmpty = true) const;
    CKxStringList Split(const CKxString& separator, bool keepEmpty = true) const;
    // 0 when the string or the separator is empty, else the number of
    // characters equal to the separator's first character (separators, not
    // tokens).
    int CalcTokenCount(const CKxString& separator) const;

    // --- Case and character set -------------------------------------------
    // In place with CharLowerW/CharUpperW, then re-copied up to the first
    // embedded NUL (the result ends there).
    CKxString& ConvertToLower();
    CKxString& ConvertToUpper();
    CKxString Lower() const;
    CKxString Upper() const;
    // A copy in which every character above U+00FF becomes '?'.
    CKxString Latin1() const;

    // --- White space ------------------------------------------------------
    // Cut leading and trailing characters for which iswspace holds; a
    // string made only of white space is left unchanged.
    CKxString& Trim();
    CKxString Trimmed() const;
    // If any character is white space (iswspace): drop leading and trailing
    // white space and turn each inner run into one blank, where white space
    // is a character below 256 for which isspace holds. Every other
    // character is copied through a signed 8-bit char, so characters above
    // U+007F become their low byte sign-extended (U+00E9 becomes
    // 0xFFFFFFE9). Without white space nothing changes.
    CKxString& Simplify();
    CKxString Simplified() const;

    // --- Formatting -------------------------------------------------------
    // Both format with the platform's formatter (CAtlStringA::Format), which
    // does not depend on the process locale: %ls, %S, %lc and %C take wide
    // arguments and print them as UTF-8 (code points that are no characters
    // as U+FFFD); %s and %c take narrow ones, copied as they are. Width and
    // precision count bytes for narrow arguments and characters for wide
    // ones. No argument makes formatting fail or drops text silently.
    // Running out of memory gives a null string.
    //
    // sprintf: the output up to its first NUL, then at most 999 bytes of it
    // (a UTF-8 character the limit would cut in two is left out whole),
    // converted as narrow text (code page 0, UTF-8). A null format gives a
    // null string.
    CKxString& sprintf(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // swprintf: the wide format is taken to UTF-8 and formatted as above;
    // the output, up to its first NUL, is read back as UTF-8 and at most its
    // first 3999 characters are kept. So narrow arguments are UTF-8 text in
    // every locale: bytes that are not UTF-8 (Windows-1252 text, say) come
    // out as U+FFFD instead of being dropped. A null format gives a null
    // string.
    CKxString& swprintf(const wchar_t* format, ...);
    // `count` copies of c (sign-extended); a negative count means Length().
    // A count below 1 gives a null string, except that a count equal to the
    // current length overwrites the buffer in place.
    CKxString& Fill(char c, int count = -1);

    // --- Searching --------------------------------------------------------
    // Character search compares the low 8 bits of each character, taken as
    // a signed char, with c; case-insensitive also accepts a character whose
    // towlower has tolower(c) as low byte. A negative `from` counts as 0;
    // -1 when nothing is found or from is not below Length().
    int Find(char c, int from = 0, bool caseSensitive = true) const;
    // Backwards from `from`: a negative from counts from the end (-1 is the
    // last character), a from past the end starts at the last character.
    int FindRev(char c, int from = -1, bool caseSensitive = true) const;
    // Text search: first start position at or after `from` (last at or
    // before `from` for FindRev). A one-character needle uses the character
    // search above; an empty needle is found at `from`; otherwise characters
    // are equal, or equal after towlower when case-insensitive.
    int Find(const CKxString& needle, int from = 0, bool caseSensitive = true) const;
    int FindRev(const CKxString& needle, int from = -1, bool caseSensitive = true) const;
    // Narrow needle, case-sensitive; a null needle is never found (-1).
    int Find(const char* needle, int from = 0) const;
    int FindRev(const char* needle, int from = -1) const;

    // Number of non-overlapping occurrences in ToStdString() (non-zero means
    // contained); case-insensitive lowers both sides with tolower. An empty
    // or null needle occurs 0 times.
    int Contains(char c, bool caseSensitive = true) const;
    int Contains(const char* needle, bool caseSensitive = true) const;
    int Contains(const CKxString& needle, bool caseSensitive = true) const;

    // --- Comparing --------------------------------------------------------
    // Same length and same characters (towlower-equal when
    // case-insensitive); a null and an empty string are equal here.
    bool IsEqual(const CKxString& other, bool caseSensitive = true) const;
    // False for an empty prefix/suffix or one longer than the string.
    bool StartsWith(const CKxString& prefix, bool caseSensitive = true) const;
    bool EndsWith(const CKxString& suffix, bool caseSensitive = true) const;
    bool StartsWith(char c, bool caseSensitive = true) const;
    bool EndsWith(char c, bool caseSensitive = true) const;

    // --- Numbers ------------------------------------------------------------
    // Text of an integer in `base` 2..36 (lower-case digits, a '-' before the
    // magnitude of a negative value). A bad base gives a null string.
    CKxString& SetNum(int value, int base = 10);
    CKxString& SetNum(unsigned int value, int base = 10);
    CKxString& SetNum(long value, int base = 10);
    CKxString& SetNum(unsigned long value, int base = 10);
    CKxString& SetNum(long long value, int base = 10);
    CKxString& SetNum(unsigned long long value, int base = 10);
    // Text of a double as printf would give it with %e, %E, %f, %F, %g or
    // %G ('g' with precision 6 by default; a negative precision is 6, a
    // precision above 1100 is 1100), always with '.' as decimal point and
    // independent of the process locale. Another format gives a null string.
    CKxString& SetNum(double value, char format = 'g', int precision = 6);

    static CKxString Number(int value, int base = 10);
    static CKxString Number(unsigned int value, int base = 10);
    static CKxString Number(long value, int base = 10);
    static CKxString Number(unsigned long value, int base = 10);
    static CKxString Number(long long value, int base = 10);
    static CKxString Number(unsigned long long value, int base = 10);
    static CKxString Number(double value, char format = 'g', int precision = 6);

    // Parse the whole text as an integer: optional leading/trailing ASCII
    // white space, optional sign ('-' only for the signed types), digits of
    // `base` 2..36; base 16 accepts a "0x" prefix and base 0 detects "0x"
    // (hexadecimal), "0" (octal) or decimal. Never throws: an empty text,
    // garbage, a value out of the type's range or a bad base give 0 and set
    // *ok (when given) to false; success sets it to true.
    int ToInt(bool* ok = nullptr, int base = 10) const;
    long ToLong(bool* ok = nullptr, int base = 10) const;
    unsigned long ToULong(bool* ok = nullptr, int base = 10) const;
    long long ToLongLong(bool* ok = nullptr, int base = 10) const;
    unsigned long long ToULongLong(bool* ok = nullptr, int base = 10) const;
    // Decimal or exponent notation with '.' as decimal point (also "inf" and
    // "nan"), whatever the process locale; white space and sign as above. A
    // magnitude that does not fit a double (overflow, or underflow that
    // strtod reports as out of range) gives 0 and false.
    double ToDouble(bool* ok = nullptr) const;

private:
    // Replace the owned BSTR by `bstr` (owned from now on).
    void Reset(BSTR bstr) noexcept;
    // Allocate old + `count` characters and copy `text` (may alias the
    // owned buffer) behind them; text may be null (zero characters added).
    HRESULT AppendChars(const wchar_t* text, long long count);

    BSTR m_bstr;
};

// Ordering and equality: a null string equals only a null string and sorts
// before everything else, the empty string included; otherwise wcscmp
// (which stops at the first embedded NUL).
KXTAMARIND_API bool operator==(const CKxString& a, const CKxString& b);
KXTAMARIND_API bool operator<(const CKxString& a, const CKxString& b);
inline bool operator>(const CKxString& a, const CKxString& b) {
    return b < a;
}
inline bool operator!=(const CKxString& a, const CKxString& b) {
    return !(a == b);
}
inline bool operator>=(const CKxString& a, const CKxString& b) {
    return !(a < b);
}
inline bool operator<=(const CKxString& a, const CKxString& b) {
    return !(a > b);
}

// Every comparison also takes const char*, const wchar_t*, char, std::string,
// std::wstring and CComBSTR on either side; that operand is made a CKxString
// first. Exact overloads keep the raw-pointer conversion of CKxString out of
// overload resolution.
#define KX_STRING_COMPARE_WITH(T)                                                                  \
    inline bool operator==(const CKxString& a, T b) {                                              \
        return a == CKxString(b);                                                                  \
    }                                                                                              \
    inline bool operator==(T a, const CKxString& b) {                                              \
        return CKxString(a) == b;                                                                  \
    }                                                                                              \
    inline bool operator!=(const CKxString& a, T b) {                                              \
        return a != CKxString(b);                                                                  \
    }                                                                                              \
    inline bool operator!=(T a, const CKxString& b) {                                              \
        return CKxString(a) != b;                                                                  \
    }                                                                                              \
    inline bool operator<(const CKxString& a, T b) {                                               \
        return a < CKxString(b);                                                                   \
    }                                                                                              \
    inline bool operator<(T a, const CKxString& b) {                                               \
        return CKxString(a) < b;                                                                   \
    }                                                                                              \
    inline bool operator>(const CKxString& a, T b) {                                               \
        return a > CKxString(b);                                                                   \
    }                                                                                              \
    inline bool operator>(T a, const CKxString& b) {                                               \
        return CKxString(a) > b;                                                                   \
    }                                                                                              \
    inline bool operator<=(const CKxString& a, T b) {                                              \
        return a <= CKxString(b);                                                                  \
    }                                                                                              \
    inline bool operator<=(T a, const CKxString& b) {                                              \
        return CKxString(a) <= b;                                                                  \
    }                                                                                              \
    inline bool operator>=(const CKxString& a, T b) {                                              \
        return a >= CKxString(b);                                                                  \
    }                                                                                              \
    inline bool operator>=(T a, const CKxString& b) {                                              \
        return CKxString(a) >= b;                                                                  \
    }
KX_STRING_COMPARE_WITH(const char*)
KX_STRING_COMPARE_WITH(const wchar_t*)
KX_STRING_COMPARE_WITH(char)
KX_STRING_COMPARE_WITH(const std::string&)
KX_STRING_COMPARE_WITH(const std::wstring&)
KX_STRING_COMPARE_WITH(const CComBSTR&)
#undef KX_STRING_COMPARE_WITH

// Concatenation: a copy of the left operand with the right one appended. A
// char on either side is one character (the one-character constructor), not
// a count as in Append(char).
KXTAMARIND_API CKxString operator+(const CKxString& a, const CKxString& b);
#define KX_STRING_CONCAT_WITH(T)                                                                   \
    inline CKxString operator+(const CKxString& a, T b) {                                          \
        return a + CKxString(b);                                                                   \
    }                                                                                              \
    inline CKxString operator+(T a, const CKxString& b) {                                          \
        return CKxString(a) + b;                                                                   \
    }
KX_STRING_CONCAT_WITH(const char*)
KX_STRING_CONCAT_WITH(const wchar_t*)
KX_STRING_CONCAT_WITH(char)
KX_STRING_CONCAT_WITH(const std::string&)
KX_STRING_CONCAT_WITH(const std::wstring&)
KX_STRING_CONCAT_WITH(const CComBSTR&)
#undef KX_STRING_CONCAT_WITH

} // namespace KxTamarind

// Split and Section work with the string list; including it here lets every
// user of CKxString call them.
#include "CKxStringList.h"
