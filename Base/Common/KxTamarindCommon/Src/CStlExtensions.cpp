// Conversions, text helpers, BSTR arrays and GUID text of CStlExtensions.
#include "CStlExtensions.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <sstream>

namespace KxTamarind {

namespace {

// Code points of the bytes 0x80 to 0x9F in Windows-1252; the five undefined
// bytes keep their own value so that every byte survives a round trip.
const std::uint32_t kHighControls[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, // 0x80
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F, // 0x88
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, // 0x90
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178, // 0x98
};

std::uint32_t WidenByte(unsigned char byte) {
    if (byte >= 0x80 && byte <= 0x9F) {
        return kHighControls[byte - 0x80];
    }
    return byte;
}

char NarrowCodePoint(std::uint32_t cp) {
    if (cp <= 0xFF) {
        // Bytes whose table entry is themselves (everything but the 27
        // remapped positions of 0x80 to 0x9F).
        return WidenByte(static_cast<unsigned char>(cp)) == cp ? static_cast<char>(cp) : '?';
    }
    for (unsigned i = 0; i < 32; ++i) {
        if (kHighControls[i] == cp) {
            return static_cast<char>(0x80 + i);
        }
    }
    return '?';
}

std::uint32_t CodePoint(wchar_t c) {
    return static_cast<std::uint32_t>(c);
}

const std::wstring& DefaultWideTrimSet() {
    static const std::wstring set(L" \t\r\n\v\f");
    return set;
}

// Compares `length` wide characters with a NUL-terminated narrow text whose
// length is known to be `length`.
bool EqualsNarrow(const wchar_t* a, std::size_t length, const char* b) {
    for (std::size_t i = 0; i < length; ++i) {
        const wchar_t widened = static_cast<wchar_t>(static_cast<signed char>(b[i]));
        if (CodePoint(a[i]) != static_cast<unsigned char>(NarrowCodePoint(CodePoint(widened)))) {
            return false;
        }
    }
    return true;
}

template <class S>
S& TrimFrontImpl(S& text, const S& set) {
    text.erase(0, std::min(text.find_first_not_of(set), text.size()));
    return text;
}

template <class S>
S& TrimEndImpl(S& text, const S& set) {
    const typename S::size_type last = text.find_last_not_of(set);
    text.erase(last == S::npos ? 0 : last + 1);
    return text;
}

template <class S>
std::vector<S> SplitImpl(const S& text, const S& separators, bool keepEmpty) {
    std::vector<S> pieces;
    typename S::size_type position = 0;
    do {
        typename S::size_type next = text.find_first_of(separators, position);
        if (next == S::npos) {
            next = text.size();
        }
        if (next > position || keepEmpty) {
            pieces.push_back(text.substr(position, next - position));
        }
        position = next + 1;
    } while (position < text.size());
    return pieces;
}

template <class S, class C>
S MergeImpl(const std::vector<S>& pieces, C separator, bool keepEmpty) {
    S result;
    bool first = true;
    for (const S& piece : pieces) {
        if (piece.empty() && !keepEmpty) {
            continue;
        }
        if (!first) {
            result += separator;
        }
        result += piece;
        first = false;
    }
    return result;
}

template <class S>
S ReplaceImpl(const S& text, const S& what, const S& with) {
    if (what.empty()) {
        return text;
    }
    S result;
    typename S::size_type position = 0;
    for (;;) {
        const typename S::size_type found = text.find(what, position);
        if (found == S::npos) {
            break;
        }
        result.append(text, position, found - position);
        result += with;
        position = found + what.size();
    }
    result.append(text, position, S::npos);
    return result;
}

// One numeric field of the GUID scan, with the rules of a scanf "%<width>X"
// conversion: optional white space (not counted), optional sign, optional
// 0x prefix, then one to `width` hexadecimal digits, all within the width.
bool ScanHexField(const std::string& text, std::size_t& position, unsigned width,
                  std::uint64_t& value) {
    const std::size_t size = text.size();
    while (position < size &&
           (text[position] == ' ' || (text[position] >= '\t' && text[position] <= '\r'))) {
        ++position;
    }
    const auto isHex = [&](std::size_t at) {
        return at < size && std::isxdigit(static_cast<unsigned char>(text[at])) != 0;
    };
    unsigned used = 0;
    bool negative = false;
    if (position < size && (text[position] == '+' || text[position] == '-')) {
        negative = text[position] == '-';
        ++position;
        ++used;
    }
    // The prefix is taken only when a digit still fits after it.
    if (used + 2 < width && position + 1 < size && text[position] == '0' &&
        (text[position + 1] == 'x' || text[position + 1] == 'X') && isHex(position + 2)) {
        position += 2;
        used += 2;
    }
    std::uint64_t result = 0;
    unsigned digits = 0;
    while (used < width && isHex(position)) {
        const char c = text[position];
        const unsigned digit = (c >= '0' && c <= '9')   ? static_cast<unsigned>(c - '0')
                               : (c >= 'a' && c <= 'f') ? static_cast<unsigned>(c - 'a' + 10)
                                                        : static_cast<unsigned>(c - 'A' + 10);
        result = (result << 4) | digit;
        ++position;
        ++used;
        ++digits;
    }
    if (digits == 0) {
        return false;
    }
    value = negative ? (~result + 1) : result;
    return true;
}

bool ScanLiteral(const std::string& text, std::size_t& position, char literal) {
    if (position < text.size() && text[position] == literal) {
        ++position;
        return true;
    }
    return false;
}

} // namespace

// --- Single characters -------------------------------------------------------

wchar_t CStlExtensions::WidenChar(char c) {
    return static_cast<wchar_t>(WidenByte(static_cast<unsigned char>(c)));
}

char CStlExtensions::NarrowChar(wchar_t c) {
    return NarrowCodePoint(CodePoint(c));
}

// --- Character conversions ---------------------------------------------------

void CStlExtensions::wstring2string(const std::wstring& source, std::string& result) {
    result.resize(source.size());
    for (std::size_t i = 0; i < source.size(); ++i) {
        result[i] = NarrowChar(source[i]);
    }
}

std::string CStlExtensions::wstring2string(const std::wstring& source) {
    std::string result;
    wstring2string(source, result);
    return result;
}

void CStlExtensions::bstr2string(const BSTR& source, std::string& result) {
    const UINT length = SysStringLen(source);
    result.resize(length);
    for (UINT i = 0; i < length; ++i) {
        result[i] = NarrowChar(source[i]);
    }
}

std::string CStlExtensions::bstr2string(const BSTR& source) {
    std::string result;
    bstr2string(source, result);
    return result;
}

void CStlExtensions::pchar2wstring(const char* source, std::wstring& result) {
    result.clear();
    if (source == nullptr) {
        return;
    }
    const std::size_t length = std::strlen(source);
    result.resize(length);
    for (std::size_t i = 0; i < length; ++i) {
        result[i] = WidenChar(source[i]);
    }
}

std::wstring CStlExtensions::pchar2wstring(const char* source) {
    std::wstring result;
    pchar2wstring(source, result);
    return result;
}

void CStlExtensions::string2wstring(const std::string& source, std::wstring& result) {
    result.resize(source.size());
    for (std::size_t i = 0; i < source.size(); ++i) {
        result[i] = WidenChar(source[i]);
    }
}

std::wstring CStlExtensions::string2wstring(const std::string& source) {
    std::wstring result;
    string2wstring(source, result);
    return result;
}

HRESULT CStlExtensions::string2bstr(BSTR& target, const std::string& source) {
    if (target != nullptr) {
        SysFreeString(target);
        target = nullptr;
    }
    // The counted length includes the terminator, which SysAllocStringLen
    // adds itself.
    const int counted = MultiByteToWideChar(0, 0, source.c_str(), -1, nullptr, 0);
    if (counted <= 0) {
        return E_OUTOFMEMORY;
    }
    BSTR converted = SysAllocStringLen(nullptr, static_cast<UINT>(counted - 1));
    if (converted == nullptr) {
        return E_OUTOFMEMORY;
    }
    if (counted > 1 &&
        MultiByteToWideChar(0, 0, source.c_str(), -1, converted, counted) != counted) {
        SysFreeString(converted);
        return E_OUTOFMEMORY;
    }
    target = converted;
    return S_OK;
}

HRESULT CStlExtensions::string2bstr(CComBSTR& target, const std::string& source) {
    target.Empty();
    BSTR converted = nullptr;
    const HRESULT hr = string2bstr(converted, source);
    target.Attach(converted);
    return hr;
}

BSTR CStlExtensions::string2bstr(const std::string& source) {
    BSTR converted = nullptr;
    string2bstr(converted, source);
    return converted;
}

std::wstring CStlExtensions::bstr2wstring(const BSTR& source) {
    if (source == nullptr) {
        return std::wstring();
    }
    return std::wstring(source, SysStringLen(source));
}

HRESULT CStlExtensions::wstring2bstr(BSTR& target, const std::wstring& source) {
    if (target != nullptr) {
        SysFreeString(target);
        target = nullptr;
    }
    if (source.size() > std::numeric_limits<UINT>::max()) {
        return E_OUTOFMEMORY;
    }
    target = SysAllocStringLen(source.data(), static_cast<UINT>(source.size()));
    return target != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CStlExtensions::wstring2bstr(CComBSTR& target, const std::wstring& source) {
    target.Empty();
    BSTR converted = nullptr;
    const HRESULT hr = wstring2bstr(converted, source);
    target.Attach(converted);
    return hr;
}

BSTR CStlExtensions::wstring2bstr(const std::wstring& source) {
    BSTR converted = nullptr;
    wstring2bstr(converted, source);
    return converted;
}

// --- Comparison -----------------------------------------------------------------

bool CStlExtensions::IsEqual(const wchar_t* a, const char* b) {
    if (a == nullptr) {
        a = L"";
    }
    if (b == nullptr) {
        b = "";
    }
    std::size_t i = 0;
    for (; a[i] != 0 && b[i] != 0; ++i) {
        if (!EqualsNarrow(a + i, 1, b + i)) {
            return false;
        }
    }
    return a[i] == 0 && b[i] == 0;
}

bool CStlExtensions::IsEqual(const wchar_t* a, const std::string& b) {
    return IsEqual(a, b.c_str());
}

bool CStlExtensions::IsEqual(BSTR a, const char* b) {
    if (b == nullptr) {
        b = "";
    }
    const std::size_t length = SysStringLen(a);
    if (length != std::strlen(b)) {
        return false;
    }
    return length == 0 || EqualsNarrow(a, length, b);
}

bool CStlExtensions::IsEqual(BSTR a, const std::string& b) {
    return IsEqual(a, b.c_str());
}

bool CStlExtensions::IsEqual(const CComBSTR& a, const char* b) {
    return IsEqual(a.m_str, b);
}

bool CStlExtensions::IsEqual(const CComBSTR& a, const std::string& b) {
    return IsEqual(a.m_str, b.c_str());
}

bool CStlExtensions::IsEqual(const std::wstring& a, const char* b) {
    return IsEqual(a.c_str(), b);
}

bool CStlExtensions::IsEqual(const std::wstring& a, const std::string& b) {
    return IsEqual(a.c_str(), b.c_str());
}

bool CStlExtensions::IsEqual(BSTR a, const wchar_t* b) {
    if (b == nullptr) {
        b = L"";
    }
    const std::size_t length = SysStringLen(a);
    return length == std::wcslen(b) && (length == 0 || std::wmemcmp(a, b, length) == 0);
}

bool CStlExtensions::IsEqual(BSTR a, const std::wstring& b) {
    const std::size_t length = SysStringLen(a);
    return length == b.size() && (length == 0 || std::wmemcmp(a, b.data(), length) == 0);
}

bool CStlExtensions::IsEqual(const CComBSTR& a, const wchar_t* b) {
    return IsEqual(a.m_str, b);
}

bool CStlExtensions::IsEqual(const CComBSTR& a, const std::wstring& b) {
    return IsEqual(a.m_str, b);
}

// --- Text helpers -----------------------------------------------------------------

std::string CStlExtensions::ToUpper(const std::string& text) {
    std::string result(text);
    MakeUppercase(result);
    return result;
}

std::string CStlExtensions::ToLower(const std::string& text) {
    std::string result(text);
    MakeLowercase(result);
    return result;
}

std::wstring CStlExtensions::ToUpper(const std::wstring& text) {
    std::wstring result(text);
    MakeUppercase(result);
    return result;
}

std::wstring CStlExtensions::ToLower(const std::wstring& text) {
    std::wstring result(text);
    MakeLowercase(result);
    return result;
}

void CStlExtensions::MakeUppercase(std::string& text) {
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
}

void CStlExtensions::MakeLowercase(std::string& text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
}

void CStlExtensions::MakeUppercase(std::wstring& text) {
    if (!text.empty()) {
        CharUpperBuffW(&text[0], static_cast<DWORD>(text.size()));
    }
}

void CStlExtensions::MakeLowercase(std::wstring& text) {
    if (!text.empty()) {
        CharLowerBuffW(&text[0], static_cast<DWORD>(text.size()));
    }
}

bool CStlExtensions::StartsWith(const std::string& text, const std::string& prefix) {
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

bool CStlExtensions::EndsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool CStlExtensions::StartsWith(const std::wstring& text, const std::wstring& prefix) {
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

bool CStlExtensions::EndsWith(const std::wstring& text, const std::wstring& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

const std::string& CStlExtensions::DefaultTrimSet() {
    static const std::string set(" \t\r\n\v\f");
    return set;
}

std::string& CStlExtensions::Trim(std::string& text, const std::string& set) {
    return TrimFrontImpl(TrimEndImpl(text, set), set);
}

std::string& CStlExtensions::TrimFront(std::string& text, const std::string& set) {
    return TrimFrontImpl(text, set);
}

std::string& CStlExtensions::TrimEnd(std::string& text, const std::string& set) {
    return TrimEndImpl(text, set);
}

std::string& CStlExtensions::Trim(std::string& text) {
    return Trim(text, DefaultTrimSet());
}

std::string& CStlExtensions::TrimFront(std::string& text) {
    return TrimFront(text, DefaultTrimSet());
}

std::string& CStlExtensions::TrimEnd(std::string& text) {
    return TrimEnd(text, DefaultTrimSet());
}

std::wstring& CStlExtensions::Trim(std::wstring& text, const std::wstring& set) {
    return TrimFrontImpl(TrimEndImpl(text, set), set);
}

std::wstring& CStlExtensions::TrimFront(std::wstring& text, const std::wstring& set) {
    return TrimFrontImpl(text, set);
}

std::wstring& CStlExtensions::TrimEnd(std::wstring& text, const std::wstring& set) {
    return TrimEndImpl(text, set);
}

std::wstring& CStlExtensions::Trim(std::wstring& text) {
    return Trim(text, DefaultWideTrimSet());
}

std::wstring& CStlExtensions::TrimFront(std::wstring& text) {
    return TrimFront(text, DefaultWideTrimSet());
}

std::wstring& CStlExtensions::TrimEnd(std::wstring& text) {
    return TrimEnd(text, DefaultWideTrimSet());
}

CStlExtensions::StringList CStlExtensions::SplitString(const std::string& text,
                                                       const std::string& separators,
                                                       bool keepEmpty) {
    return SplitImpl(text, separators, keepEmpty);
}

CStlExtensions::WStringList CStlExtensions::SplitString(const std::wstring& text,
                                                        const std::wstring& separators,
                                                        bool keepEmpty) {
    return SplitImpl(text, separators, keepEmpty);
}

std::string CStlExtensions::MergeString(const StringList& pieces, char separator, bool keepEmpty) {
    return MergeImpl(pieces, separator, keepEmpty);
}

std::wstring CStlExtensions::MergeString(const WStringList& pieces, wchar_t separator,
                                         bool keepEmpty) {
    return MergeImpl(pieces, separator, keepEmpty);
}

std::string CStlExtensions::ReplaceString(const std::string& text, const std::string& what,
                                          const std::string& with) {
    return ReplaceImpl(text, what, with);
}

std::wstring CStlExtensions::ReplaceString(const std::wstring& text, const std::wstring& what,
                                           const std::wstring& with) {
    return ReplaceImpl(text, what, with);
}

std::string CStlExtensions::long2string(long value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

void CStlExtensions::DebugPrint(const std::string& text) {
    OutputDebugStringA(text.c_str());
}

// --- BSTR arrays ------------------------------------------------------------------

void CStlExtensions::ClearBSTR(BSTR& bstr) {
    SysFreeString(bstr);
    bstr = nullptr;
}

HRESULT CStlExtensions::CopyBSTR(BSTR& dst, const BSTR& src) {
    // Copy first: src may be dst itself.
    BSTR copy = nullptr;
    if (src != nullptr) {
        copy = SysAllocStringLen(src, SysStringLen(src));
    }
    const bool failed = src != nullptr && copy == nullptr;
    SysFreeString(dst);
    dst = copy;
    return failed ? E_OUTOFMEMORY : S_OK;
}

void CStlExtensions::ClearBSTRs(long& count, BSTR*& array) {
    if (array != nullptr) {
        for (long i = 0; i < count; ++i) {
            SysFreeString(array[i]);
        }
        CoTaskMemFree(array);
    }
    array = nullptr;
    count = 0;
}

HRESULT CStlExtensions::CopyBSTRs(long& count, BSTR*& array, long srcCount, const BSTR* src) {
    if (srcCount < 0) {
        return E_INVALIDARG;
    }
    if (srcCount > 0 && src == nullptr) {
        return E_POINTER;
    }
    BSTR* copies = CreateArrayOfBSTR(static_cast<unsigned long>(srcCount));
    if (copies == nullptr) {
        return E_OUTOFMEMORY;
    }
    for (long i = 0; i < srcCount; ++i) {
        if (src[i] != nullptr) {
            copies[i] = SysAllocStringLen(src[i], SysStringLen(src[i]));
            if (copies[i] == nullptr) {
                long made = i;
                ClearBSTRs(made, copies);
                return E_OUTOFMEMORY;
            }
        }
    }
    ClearBSTRs(count, array);
    array = copies;
    count = srcCount;
    return S_OK;
}

BSTR* CStlExtensions::CreateArrayOfBSTR(unsigned long n) {
    if (n > std::numeric_limits<SIZE_T>::max() / sizeof(BSTR)) {
        return nullptr;
    }
    BSTR* array = static_cast<BSTR*>(CoTaskMemAlloc(static_cast<SIZE_T>(n) * sizeof(BSTR)));
    if (array != nullptr) {
        std::fill(array, array + n, nullptr);
    }
    return array;
}

// --- GUID text --------------------------------------------------------------------

void CStlExtensions::GUID2String(const GUID& guid, std::string& text) {
    char buffer[40];
    std::snprintf(buffer, sizeof(buffer), "{%.8lX-%.4X-%.4X-%.2X%.2X-%.2X%.2X%.2X%.2X%.2X%.2X}",
                  static_cast<unsigned long>(guid.Data1), static_cast<unsigned>(guid.Data2),
                  static_cast<unsigned>(guid.Data3), static_cast<unsigned>(guid.Data4[0]),
                  static_cast<unsigned>(guid.Data4[1]), static_cast<unsigned>(guid.Data4[2]),
                  static_cast<unsigned>(guid.Data4[3]), static_cast<unsigned>(guid.Data4[4]),
                  static_cast<unsigned>(guid.Data4[5]), static_cast<unsigned>(guid.Data4[6]),
                  static_cast<unsigned>(guid.Data4[7]));
    text = buffer;
}

std::string CStlExtensions::GUID2String(const GUID& guid) {
    std::string text;
    GUID2String(guid, text);
    return text;
}

bool CStlExtensions::String2GUID(const std::string& text, GUID& guid) {
    guid = GUID_NULL;
    // The fields in order with their widths, and the literal that precedes
    // each ('\0' for none).
    static const unsigned kWidths[11] = {8, 4, 4, 2, 2, 2, 2, 2, 2, 2, 2};
    static const char kLead[11] = {'{', '-', '-', '-', 0, '-', 0, 0, 0, 0, 0};
    std::uint64_t fields[11];
    std::size_t position = 0;
    for (unsigned i = 0; i < 11; ++i) {
        if (kLead[i] != 0 && !ScanLiteral(text, position, kLead[i])) {
            return false;
        }
        if (!ScanHexField(text, position, kWidths[i], fields[i])) {
            return false;
        }
    }
    guid.Data1 = static_cast<std::uint32_t>(fields[0]);
    guid.Data2 = static_cast<std::uint16_t>(fields[1]);
    guid.Data3 = static_cast<std::uint16_t>(fields[2]);
    for (unsigned i = 0; i < 8; ++i) {
        guid.Data4[i] = static_cast<std::uint8_t>(fields[3 + i]);
    }
    return true;
}

bool CStlExtensions::LessGuid::operator()(const GUID& a, const GUID& b) const {
    return std::memcmp(&a, &b, sizeof(GUID)) < 0;
}

} // namespace KxTamarind
