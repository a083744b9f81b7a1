// CKxString: construction, conversion, editing, searching and comparison of
// the library's wide text type.
#include "CKxString.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "CKxStringList.h"
#include "CStlExtensions.h"
#include "KxStringChars.h"

namespace KxTamarind {

namespace {

// Code page 0 conversion up to the first NUL; null for a null text or a
// failed allocation.
BSTR AllocFromNarrow(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const int needed = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    if (needed <= 0) {
        return nullptr;
    }
    BSTR result = SysAllocStringLen(nullptr, static_cast<UINT>(needed - 1));
    if (result != nullptr) {
        MultiByteToWideChar(CP_ACP, 0, text, -1, result, needed);
    }
    return result;
}

// The output limits of sprintf (bytes) and swprintf (characters), each
// counting the terminator of the buffers they once were.
constexpr std::size_t kSprintfBytes = 1000;
constexpr std::size_t kSwprintfChars = 4000;

// Formats with the platform's formatter (wide arguments as UTF-8, in any
// locale); false when memory ran out.
bool FormatInto(CAtlStringA& text, const char* format, va_list args) {
    try {
        text.FormatV(format, args);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// The number of bytes of `text` (`length` bytes) to keep for at most `limit`:
// `limit`, or less when that would cut a UTF-8 sequence in two, so that the
// cut character is dropped whole instead of decoding as U+FFFD.
std::size_t CutUtf8(const char* text, std::size_t length, std::size_t limit) {
    if (length <= limit) {
        return length;
    }
    auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    if ((byte(limit) & 0xC0) != 0x80) {
        return limit; // the first byte left out starts a character
    }
    std::size_t lead = limit;
    while (lead > 0 && limit - lead < 3 && (byte(lead - 1) & 0xC0) == 0x80) {
        --lead;
    }
    if (lead == 0) {
        return limit;
    }
    --lead; // the byte before the continuation bytes kept
    const unsigned char first = byte(lead);
    const std::size_t sequence = first >= 0xF0 && first <= 0xF4   ? 4
                                 : first >= 0xE0 && first <= 0xEF ? 3
                                 : first >= 0xC2 && first <= 0xDF ? 2
                                                                  : 0;
    return sequence > limit - lead ? lead : limit;
}

// A copy that keeps the exact byte length, so that a partial last character
// left by AppendBytes survives copies.
BSTR DupBSTR(BSTR source) {
    if (source == nullptr) {
        return nullptr;
    }
    const UINT bytes = SysStringByteLen(source);
    if (bytes % sizeof(wchar_t) == 0) {
        return SysAllocStringLen(source, bytes / sizeof(wchar_t));
    }
    return SysAllocStringByteLen(reinterpret_cast<LPCSTR>(source), bytes);
}

BSTR AllocChars(const wchar_t* text, long long count) {
    if (count < 0 || count > kMaxChars) {
        return nullptr;
    }
    return SysAllocStringLen(text, static_cast<UINT>(count));
}

// Appends `count` characters of `text` (zeroed characters for a null
// `text`; a negative count appends nothing) to `bstr`; a null `bstr` becomes
// a new string. S_OK, or E_OUTOFMEMORY with `bstr` unchanged. File-local, so
// that every append form reaches it without a call through the library's
// symbol table.
HRESULT AppendTo(BSTR& bstr, const wchar_t* text, long long count) {
    if (count < 0) {
        count = 0;
    }
    const long long oldLength = CharCount(bstr);
    if (oldLength + count > kMaxChars) {
        return E_OUTOFMEMORY;
    }
    if (bstr == nullptr) {
        BSTR result = SysAllocStringLen(text, static_cast<UINT>(count));
        if (result == nullptr) {
            return E_OUTOFMEMORY;
        }
        bstr = result;
        return S_OK;
    }
    // The platform grows the block within its hidden capacity, or by half
    // again beyond it, so repeated appends copy each character a bounded
    // number of times. `text` may lie in the string itself: its offset
    // survives the reallocation. On failure the string keeps its value.
    const auto start = reinterpret_cast<std::uintptr_t>(bstr);
    const auto at = reinterpret_cast<std::uintptr_t>(text);
    const bool inside = text != nullptr && at >= start &&
                        at <= start + static_cast<std::uintptr_t>(oldLength) * sizeof(wchar_t);
    const std::size_t offset = inside ? static_cast<std::size_t>(text - bstr) : 0;
    if (!SysReAllocStringLen(&bstr, nullptr, static_cast<UINT>(oldLength + count))) {
        return E_OUTOFMEMORY;
    }
    if (text != nullptr && count > 0) {
        const wchar_t* from = inside ? bstr + offset : text;
        std::memmove(bstr + oldLength, from, static_cast<std::size_t>(count) * sizeof(wchar_t));
    }
    return S_OK;
}

} // namespace

// --- Construction and assignment ---------------------------------------------

CKxString::CKxString(const CKxString& other) : m_bstr(DupBSTR(other.m_bstr)) {}
CKxString::CKxString(const CComBSTR& other) : m_bstr(DupBSTR(other.m_str)) {}
CKxString::CKxString(const wchar_t* text) : m_bstr(text ? SysAllocString(text) : nullptr) {}
CKxString::CKxString(const std::wstring& text)
    : m_bstr(AllocChars(text.data(), static_cast<long long>(text.size()))) {}
CKxString::CKxString(const char* text) : m_bstr(AllocFromNarrow(text)) {}
CKxString::CKxString(const std::string& text) : m_bstr(AllocFromNarrow(text.c_str())) {}
CKxString::CKxString(char c) : m_bstr(nullptr) {
    const char text[2] = {c, 0};
    m_bstr = AllocFromNarrow(text);
}

CKxString::~CKxString() {
    SysFreeString(m_bstr);
}

void CKxString::Reset(BSTR bstr) noexcept {
    if (bstr != m_bstr) {
        SysFreeString(m_bstr);
        m_bstr = bstr;
    }
}

CKxString& CKxString::operator=(const CKxString& other) {
    if (this != std::addressof(other)) {
        Reset(DupBSTR(other.m_bstr));
    }
    return *this;
}

CKxString& CKxString::operator=(CKxString&& other) noexcept {
    if (this != std::addressof(other)) {
        Reset(other.m_bstr);
        other.m_bstr = nullptr;
    }
    return *this;
}

CKxString& CKxString::operator=(const CComBSTR& other) {
    Reset(DupBSTR(other.m_str));
    return *this;
}

CKxString& CKxString::operator=(const wchar_t* text) {
    Reset(text ? SysAllocString(text) : nullptr);
    return *this;
}

CKxString& CKxString::operator=(const std::wstring& text) {
    Reset(AllocChars(text.data(), static_cast<long long>(text.size())));
    return *this;
}

CKxString& CKxString::operator=(const char* text) {
    Reset(AllocFromNarrow(text));
    return *this;
}

CKxString& CKxString::operator=(const std::string& text) {
    Reset(AllocFromNarrow(text.c_str()));
    return *this;
}

CKxString& CKxString::operator=(char c) {
    const char text[2] = {c, 0};
    Reset(AllocFromNarrow(text));
    return *this;
}

int CKxString::Length() const {
    return static_cast<int>(CharCount(m_bstr));
}

// --- Conversions out ---------------------------------------------------------

std::string CKxString::ToStdString() const {
    const int length = Length();
    if (length == 0) {
        return std::string();
    }
    const int needed = WideCharToMultiByte(CP_ACP, 0, m_bstr, length, nullptr, 0, nullptr, nullptr);
    if (needed <= 0) {
        return std::string();
    }
    std::string result(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_ACP, 0, m_bstr, length, &result[0], needed, nullptr, nullptr);
    return result;
}

std::wstring CKxString::ToStdWString() const {
    return m_bstr ? std::wstring(m_bstr, static_cast<std::size_t>(Length())) : std::wstring();
}

CComBSTR CKxString::ToCComBSTR() const {
    // Attach instead of constructing from the characters: CComBSTR's
    // constructors throw on allocation failure, this gives an empty one.
    CComBSTR result;
    result.Attach(CopyBSTR());
    return result;
}

BSTR CKxString::CopyBSTR() const {
    return DupBSTR(m_bstr);
}

BSTR CKxString::DetachBSTR() {
    BSTR result = m_bstr;
    m_bstr = nullptr;
    return result;
}

void CKxString::AttachBSTR(BSTR bstr) {
    Reset(bstr);
}

void CKxString::AssignBSTR(BSTR bstr) {
    // Copy before freeing: `bstr` may be our own buffer.
    Reset(DupBSTR(bstr));
}

void CKxString::Clear() {
    Reset(nullptr);
}

// --- Element access ----------------------------------------------------------

wchar_t CKxString::At(int index) const {
    return (index >= 0 && index < Length()) ? m_bstr[index] : L'\0';
}

bool CKxString::SetAt(int index, wchar_t c) {
    if (index < 0 || index >= Length()) {
        return false;
    }
    m_bstr[index] = c;
    return true;
}

bool CKxString::SetAt(int index, char c) {
    return SetAt(index, CKxString(c).At(0));
}

// --- Appending ---------------------------------------------------------------

HRESULT CKxString::AppendChars(const wchar_t* text, long long count) {
    return AppendTo(m_bstr, text, count);
}

HRESULT CKxString::Append(const CKxString& text) {
    return AppendTo(m_bstr, text.m_bstr, CharCount(text.m_bstr));
}

HRESULT CKxString::Append(const CComBSTR& text) {
    return AppendBSTR(text.m_str);
}

HRESULT CKxString::Append(const wchar_t* text) {
    return AppendTo(m_bstr, text, text ? static_cast<long long>(std::wcslen(text)) : 0);
}

HRESULT CKxString::AppendBSTR(BSTR text) {
    return AppendTo(m_bstr, text, CharCount(text));
}

HRESULT CKxString::Append(const wchar_t* text, int count) {
    if (count < 0) {
        return E_INVALIDARG;
    }
    return AppendTo(m_bstr, text, text ? count : 0);
}

HRESULT CKxString::Append(const char* text) {
    const CKxString converted(text);
    if (text != nullptr && converted.IsNull()) {
        return E_OUTOFMEMORY;
    }
    return Append(converted);
}

HRESULT CKxString::Append(char c) {
    // The character's code is the count (sign-extended: a byte above 0x7F
    // is negative and appends nothing).
    return AppendTo(m_bstr, nullptr, static_cast<long long>(c));
}

HRESULT CKxString::Append(wchar_t c) {
    return AppendTo(m_bstr, nullptr, static_cast<long long>(c));
}

HRESULT CKxString::AppendBytes(const char* bytes, int count) {
    if (count < 0) {
        return E_INVALIDARG;
    }
    if (count == 0) {
        return S_OK;
    }
    if (bytes == nullptr) {
        return E_POINTER;
    }
    const unsigned long long oldBytes = SysStringByteLen(m_bstr);
    const unsigned long long total = oldBytes + static_cast<unsigned long long>(count);
    if (total > static_cast<unsigned long long>(kMaxChars) * sizeof(wchar_t)) {
        return E_OUTOFMEMORY;
    }
    BSTR result = SysAllocStringByteLen(nullptr, static_cast<UINT>(total));
    if (result == nullptr) {
        return E_OUTOFMEMORY;
    }
    char* raw = reinterpret_cast<char*>(result);
    if (oldBytes > 0) {
        std::memcpy(raw, m_bstr, static_cast<std::size_t>(oldBytes));
    }
    std::memcpy(raw + oldBytes, bytes, static_cast<std::size_t>(count));
    Reset(result);
    return S_OK;
}

CKxString& CKxString::operator+=(const CKxString& text) {
    AppendTo(m_bstr, text.m_bstr, CharCount(text.m_bstr));
    return *this;
}

CKxString& CKxString::operator+=(const CComBSTR& text) {
    Append(text);
    return *this;
}

CKxString& CKxString::operator+=(const wchar_t* text) {
    AppendTo(m_bstr, text, text ? static_cast<long long>(std::wcslen(text)) : 0);
    return *this;
}

CKxString& CKxString::operator+=(const char* text) {
    Append(text);
    return *this;
}

CKxString& CKxString::operator+=(const std::string& text) {
    Append(text.c_str());
    return *this;
}

CKxString& CKxString::operator+=(const std::wstring& text) {
    AppendTo(m_bstr, text.data(), static_cast<long long>(text.size()));
    return *this;
}

CKxString& CKxString::operator+=(char c) {
    Append(c);
    return *this;
}

// --- Insertion and replacement -----------------------------------------------

CKxString& CKxString::Insert(int pos, const CKxString& text) {
    std::wstring work = ToStdWString();
    // A negative position becomes huge and is rejected by the same check.
    work.insert(static_cast<std::size_t>(static_cast<long long>(pos)), text.ToStdWString());
    BSTR result = AllocChars(work.data(), static_cast<long long>(work.size()));
    if (result != nullptr) {
        Reset(result);
    }
    return *this;
}

CKxString& CKxString::Prepend(const char* text) {
    return Insert(0, CKxString(text));
}

CKxString& CKxString::Prepend(char c) {
    return Insert(0, CKxString(c));
}

CKxString& CKxString::PrependBSTR(BSTR text) {
    return Insert(0, CKxString(text));
}

CKxString& CKxString::Prepend(const wchar_t* text) {
    return Insert(0, CKxString(text));
}

CKxString& CKxString::Prepend(const CComBSTR& text) {
    return Insert(0, CKxString(text));
}

CKxString& CKxString::Prepend(const CKxString& text) {
    return Insert(0, text);
}

CKxString& CKxString::Replace(int pos, int count, const CKxString& text) {
    std::wstring work = ToStdWString();
    const std::size_t n = count < 0 ? std::wstring::npos : static_cast<std::size_t>(count);
    work.replace(static_cast<std::size_t>(static_cast<long long>(pos)), n, text.ToStdWString());
    BSTR result = AllocChars(work.data(), static_cast<long long>(work.size()));
    if (result != nullptr) {
        Reset(result);
    }
    return *this;
}

CKxString& CKxString::Replace(const CKxString& oldText, const CKxString& newText) {
    const int oldLength = oldText.Length();
    const int length = Length();
    if (oldLength == 0 || oldLength > length) {
        return *this;
    }
    if (oldLength == length) {
        if (*this == oldText) {
            *this = newText;
        }
        return *this;
    }
    if (Find(oldText, 0, true) < 0) {
        return *this;
    }
    const std::wstring result = CStlExtensions::ReplaceString(
        ToStdWString(), oldText.ToStdWString(), newText.ToStdWString());
    BSTR replaced = AllocChars(result.data(), static_cast<long long>(result.size()));
    if (replaced != nullptr) {
        Reset(replaced);
    }
    return *this;
}

// --- Extraction --------------------------------------------------------------

CKxString CKxString::Substr(int pos, int count) const {
    const int length = Length();
    CKxString result;
    if (pos < 0 || pos >= length) {
        return result;
    }
    int n = length - pos;
    if (count >= 0 && count < n) {
        n = count;
    }
    result.m_bstr = (pos == 0 && n == length) ? DupBSTR(m_bstr) : AllocChars(m_bstr + pos, n);
    return result;
}

CKxString CKxString::Right(int n) const {
    const int length = Length();
    const int take = (n < 0 || n > length) ? length : n;
    return Substr(length - take, take);
}

// --- Case and character set --------------------------------------------------

CKxString& CKxString::ConvertToLower() {
    if (m_bstr != nullptr) {
        CharLowerW(m_bstr);
        // The re-copy ends the result at the first embedded NUL.
        Reset(SysAllocString(m_bstr));
    }
    return *this;
}

CKxString& CKxString::ConvertToUpper() {
    if (m_bstr != nullptr) {
        CharUpperW(m_bstr);
        Reset(SysAllocString(m_bstr));
    }
    return *this;
}

CKxString CKxString::Lower() const {
    CKxString copy(*this);
    return copy.ConvertToLower();
}

CKxString CKxString::Upper() const {
    CKxString copy(*this);
    return copy.ConvertToUpper();
}

CKxString CKxString::Latin1() const {
    CKxString copy(*this);
    const int length = copy.Length();
    for (int i = 0; i < length; ++i) {
        if (static_cast<unsigned long>(copy.m_bstr[i]) > 0xFFu) {
            copy.m_bstr[i] = L'?';
        }
    }
    return copy;
}

// --- White space -------------------------------------------------------------

CKxString& CKxString::Trim() {
    const int length = Length();
    int first = 0;
    while (first < length && iswspace(static_cast<wint_t>(m_bstr[first]))) {
        ++first;
    }
    if (first == length) {
        // Empty or only white space: deliberately left as it is.
        return *this;
    }
    int last = length - 1;
    while (last > first && iswspace(static_cast<wint_t>(m_bstr[last]))) {
        --last;
    }
    if (first == 0 && last == length - 1) {
        return *this;
    }
    BSTR result = AllocChars(m_bstr + first, last - first + 1);
    if (result != nullptr) {
        Reset(result);
    }
    return *this;
}

CKxString CKxString::Trimmed() const {
    CKxString copy(*this);
    return copy.Trim();
}

CKxString& CKxString::Simplify() {
    const int length = Length();
    bool anySpace = false;
    for (int i = 0; i < length && !anySpace; ++i) {
        anySpace = iswspace(static_cast<wint_t>(m_bstr[i])) != 0;
    }
    if (!anySpace) {
        return *this;
    }
    std::wstring out;
    out.reserve(static_cast<std::size_t>(length));
    bool pendingBlank = false;
    for (int i = 0; i < length; ++i) {
        const wchar_t ch = m_bstr[i];
        const unsigned long code = static_cast<unsigned long>(ch);
        if (code < 256 && isspace(static_cast<int>(code))) {
            pendingBlank = !out.empty();
            continue;
        }
        if (pendingBlank) {
            out += L' ';
            pendingBlank = false;
        }
        // Through a signed 8-bit char: the established narrowing.
        out += static_cast<wchar_t>(static_cast<signed char>(LowByte(ch)));
    }
    BSTR result = AllocChars(out.data(), static_cast<long long>(out.size()));
    if (result != nullptr) {
        Reset(result);
    }
    return *this;
}

CKxString CKxString::Simplified() const {
    CKxString copy(*this);
    return copy.Simplify();
}

// --- Formatting --------------------------------------------------------------

CKxString& CKxString::sprintf(const char* format, ...) {
    if (format == nullptr) {
        Clear();
        return *this;
    }
    CAtlStringA text;
    va_list args;
    va_start(args, format);
    const bool formatted = FormatInto(text, format, args);
    va_end(args);
    if (!formatted) {
        Clear();
        return *this;
    }
    // As narrow text: up to the first NUL and at most 999 bytes.
    const char* bytes = text.GetString();
    try {
        *this = std::string(bytes, CutUtf8(bytes, std::strlen(bytes), kSprintfBytes - 1));
    } catch (const std::bad_alloc&) {
        Clear();
    }
    return *this;
}

CKxString& CKxString::swprintf(const wchar_t* format, ...) {
    if (format == nullptr) {
        Clear();
        return *this;
    }
    // The same formatter as sprintf: the format is taken to UTF-8, formatted,
    // and the result read back as UTF-8, so narrow arguments are UTF-8 text
    // like every narrow text of this class, whatever the process locale.
    try {
        const int formatBytes =
            WideCharToMultiByte(CP_UTF8, 0, format, -1, nullptr, 0, nullptr, nullptr);
        std::string narrowFormat(formatBytes > 0 ? static_cast<std::size_t>(formatBytes) : 1, '\0');
        WideCharToMultiByte(CP_UTF8, 0, format, -1, &narrowFormat[0], formatBytes, nullptr,
                            nullptr);
        CAtlStringA text;
        va_list args;
        va_start(args, format);
        const bool formatted = FormatInto(text, narrowFormat.c_str(), args);
        va_end(args);
        if (!formatted) {
            Clear();
            return *this;
        }
        // Up to the first NUL and at most 3999 characters. No character takes
        // more than 4 bytes, so the first 4 x 3999 bytes give them all (a
        // sequence cut at that byte count lies beyond the last character kept).
        const char* bytes = text.GetString();
        const int count =
            static_cast<int>(std::min<std::size_t>(std::strlen(bytes), (kSwprintfChars - 1) * 4));
        const int chars = count > 0 ? MultiByteToWideChar(CP_UTF8, 0, bytes, count, nullptr, 0) : 0;
        std::wstring wide(static_cast<std::size_t>(chars), L'\0');
        if (chars > 0) {
            MultiByteToWideChar(CP_UTF8, 0, bytes, count, &wide[0], chars);
        }
        if (wide.size() > kSwprintfChars - 1) {
            wide.resize(kSwprintfChars - 1);
        }
        *this = wide;
    } catch (const std::bad_alloc&) {
        Clear();
    }
    return *this;
}

CKxString& CKxString::Fill(char c, int count) {
    const int length = Length();
    if (count < 0) {
        count = length;
    }
    const wchar_t fill = static_cast<wchar_t>(static_cast<signed char>(c));
    if (count == length && m_bstr != nullptr) {
        std::fill(m_bstr, m_bstr + length, fill);
        return *this;
    }
    if (count < 1) {
        Clear();
        return *this;
    }
    BSTR result = AllocChars(nullptr, count);
    if (result != nullptr) {
        std::fill(result, result + count, fill);
    }
    Reset(result);
    return *this;
}

CKxString operator+(const CKxString& a, const CKxString& b) {
    CKxString result(a);
    result.Append(b);
    return result;
}

} // namespace KxTamarind
