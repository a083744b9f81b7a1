// CAtlStringA members that are not trivial enough for the header.
#include "platcompat/atlstr.h"

#include <cstring>

#include "format.h"
#include "platcompat/strconv.h"

namespace {

const char* OrEmpty(const char* str) {
    return str != nullptr ? str : "";
}

std::size_t Clamp(int value, std::size_t max) {
    if (value < 0) {
        return 0;
    }
    return static_cast<std::size_t>(value) < max ? static_cast<std::size_t>(value) : max;
}

// Wide text converted as code page 0 (UTF-8); NULL gives an empty string.
std::string FromWide(const wchar_t* str) {
    std::string out;
    if (str == nullptr || *str == L'\0') {
        return out;
    }
    const int n = WideCharToMultiByte(CP_ACP, 0, str, -1, nullptr, 0, nullptr, nullptr);
    if (n > 1) {
        out.resize(static_cast<std::size_t>(n));
        WideCharToMultiByte(CP_ACP, 0, str, -1, &out[0], n, nullptr, nullptr);
        out.resize(static_cast<std::size_t>(n) - 1); // drop the converted NUL
    }
    return out;
}

bool IsAsciiSpace(char ch) {
    return ch == ' ' || (ch >= '\t' && ch <= '\r');
}

char AsciiUpper(char ch) {
    return ch >= 'a' && ch <= 'z' ? static_cast<char>(ch - 'a' + 'A') : ch;
}

char AsciiLower(char ch) {
    return ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch - 'A' + 'a') : ch;
}

int CompareBytes(const char* a, std::size_t aLen, const char* b, std::size_t bLen, bool fold) {
    const std::size_t n = aLen < bLen ? aLen : bLen;
    for (std::size_t i = 0; i < n; ++i) {
        const auto ca = static_cast<unsigned char>(fold ? AsciiLower(a[i]) : a[i]);
        const auto cb = static_cast<unsigned char>(fold ? AsciiLower(b[i]) : b[i]);
        if (ca != cb) {
            return ca < cb ? -1 : 1;
        }
    }
    return aLen == bLen ? 0 : (aLen < bLen ? -1 : 1);
}

template <typename Pred>
void TrimWith(std::string& s, bool left, bool right, Pred drop) {
    std::size_t end = s.size();
    if (right) {
        while (end > 0 && drop(s[end - 1])) {
            --end;
        }
    }
    std::size_t begin = 0;
    if (left) {
        while (begin < end && drop(s[begin])) {
            ++begin;
        }
    }
    s = s.substr(begin, end - begin);
}

auto InSet(const char* targets) {
    return
        [targets](char ch) { return ch != '\0' && std::strchr(OrEmpty(targets), ch) != nullptr; };
}

auto Is(char target) {
    return [target](char ch) { return ch == target; };
}

} // namespace

CAtlStringA::CAtlStringA(const char* str) : m_str(OrEmpty(str)) {}

CAtlStringA::CAtlStringA(const char* str, int length)
    : m_str(str != nullptr && length > 0 ? std::string(str, static_cast<std::size_t>(length))
                                         : std::string()) {}

CAtlStringA::CAtlStringA(char ch, int repeat)
    : m_str(repeat > 0 ? static_cast<std::size_t>(repeat) : 0, ch) {}

CAtlStringA::CAtlStringA(const wchar_t* str) : m_str(FromWide(str)) {}

CAtlStringA& CAtlStringA::operator=(const char* str) {
    m_str.assign(OrEmpty(str)); // assign handles a source inside m_str
    return *this;
}

CAtlStringA& CAtlStringA::operator=(const wchar_t* str) {
    m_str = FromWide(str);
    return *this;
}

CAtlStringA& CAtlStringA::operator=(char ch) {
    m_str.assign(1, ch);
    return *this;
}

char CAtlStringA::GetAt(int index) const {
    return index >= 0 && static_cast<std::size_t>(index) < m_str.size() ? m_str[index] : '\0';
}

void CAtlStringA::SetAt(int index, char ch) {
    if (index >= 0 && static_cast<std::size_t>(index) < m_str.size()) {
        m_str[index] = ch;
    }
}

CAtlStringA& CAtlStringA::operator+=(const CAtlStringA& str) {
    m_str += str.m_str;
    return *this;
}

CAtlStringA& CAtlStringA::operator+=(const char* str) {
    Append(str);
    return *this;
}

CAtlStringA& CAtlStringA::operator+=(const wchar_t* str) {
    m_str += FromWide(str);
    return *this;
}

CAtlStringA& CAtlStringA::operator+=(char ch) {
    m_str += ch;
    return *this;
}

void CAtlStringA::Append(const char* str) {
    m_str.append(OrEmpty(str));
}

void CAtlStringA::Append(const char* str, int length) {
    if (str != nullptr && length > 0) {
        m_str.append(str, static_cast<std::size_t>(length));
    }
}

void CAtlStringA::Preallocate(int length) {
    if (length > 0) {
        m_str.reserve(static_cast<std::size_t>(length));
    }
}

char* CAtlStringA::GetBuffer(int minLength) {
    if (minLength > 0 && static_cast<std::size_t>(minLength) > m_str.size()) {
        m_str.resize(static_cast<std::size_t>(minLength));
    }
    return &m_str[0];
}

char* CAtlStringA::GetBufferSetLength(int length) {
    m_str.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return &m_str[0];
}

void CAtlStringA::ReleaseBuffer(int newLength) {
    if (newLength < 0) {
        m_str.resize(std::strlen(m_str.c_str())); // up to the first NUL
    } else {
        m_str.resize(Clamp(newLength, m_str.size()));
    }
}

CAtlStringA CAtlStringA::Left(int count) const {
    return CAtlStringA(m_str.data(), static_cast<int>(Clamp(count, m_str.size())));
}

CAtlStringA CAtlStringA::Mid(int first) const {
    return Mid(first, GetLength());
}

CAtlStringA CAtlStringA::Mid(int first, int count) const {
    const std::size_t start = Clamp(first, m_str.size());
    const std::size_t n = Clamp(count, m_str.size() - start);
    return CAtlStringA(m_str.data() + start, static_cast<int>(n));
}

CAtlStringA CAtlStringA::Right(int count) const {
    const std::size_t n = Clamp(count, m_str.size());
    return CAtlStringA(m_str.data() + (m_str.size() - n), static_cast<int>(n));
}

int CAtlStringA::Find(char ch, int start) const {
    if (start < 0 || static_cast<std::size_t>(start) > m_str.size()) {
        return -1;
    }
    const std::size_t pos = m_str.find(ch, static_cast<std::size_t>(start));
    return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

int CAtlStringA::Find(const char* sub, int start) const {
    if (sub == nullptr || start < 0 || static_cast<std::size_t>(start) > m_str.size()) {
        return -1;
    }
    const std::size_t pos = m_str.find(sub, static_cast<std::size_t>(start));
    return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

int CAtlStringA::ReverseFind(char ch) const {
    const std::size_t pos = m_str.rfind(ch);
    return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

int CAtlStringA::Replace(char oldCh, char newCh) {
    int count = 0;
    for (char& ch : m_str) {
        if (ch == oldCh) {
            ch = newCh;
            ++count;
        }
    }
    return count;
}

int CAtlStringA::Replace(const char* oldStr, const char* newStr) {
    if (oldStr == nullptr || *oldStr == '\0') {
        return 0;
    }
    const std::size_t oldLen = std::strlen(oldStr);
    const std::string replacement(OrEmpty(newStr)); // copy: newStr may point into m_str
    std::string result;
    int count = 0;
    std::size_t from = 0;
    for (std::size_t pos; (pos = m_str.find(oldStr, from, oldLen)) != std::string::npos;) {
        result.append(m_str, from, pos - from);
        result += replacement;
        from = pos + oldLen;
        ++count;
    }
    if (count > 0) {
        result.append(m_str, from, std::string::npos);
        m_str.swap(result);
    }
    return count;
}

CAtlStringA& CAtlStringA::MakeUpper() {
    for (char& ch : m_str) {
        ch = AsciiUpper(ch);
    }
    return *this;
}

CAtlStringA& CAtlStringA::MakeLower() {
    for (char& ch : m_str) {
        ch = AsciiLower(ch);
    }
    return *this;
}

CAtlStringA& CAtlStringA::Trim() {
    TrimWith(m_str, true, true, IsAsciiSpace);
    return *this;
}

CAtlStringA& CAtlStringA::Trim(char target) {
    TrimWith(m_str, true, true, Is(target));
    return *this;
}

CAtlStringA& CAtlStringA::Trim(const char* targets) {
    TrimWith(m_str, true, true, InSet(targets));
    return *this;
}

CAtlStringA& CAtlStringA::TrimLeft() {
    TrimWith(m_str, true, false, IsAsciiSpace);
    return *this;
}

CAtlStringA& CAtlStringA::TrimLeft(char target) {
    TrimWith(m_str, true, false, Is(target));
    return *this;
}

CAtlStringA& CAtlStringA::TrimLeft(const char* targets) {
    TrimWith(m_str, true, false, InSet(targets));
    return *this;
}

CAtlStringA& CAtlStringA::TrimRight() {
    TrimWith(m_str, false, true, IsAsciiSpace);
    return *this;
}

CAtlStringA& CAtlStringA::TrimRight(char target) {
    TrimWith(m_str, false, true, Is(target));
    return *this;
}

CAtlStringA& CAtlStringA::TrimRight(const char* targets) {
    TrimWith(m_str, false, true, InSet(targets));
    return *this;
}

int CAtlStringA::Compare(const char* str) const {
    const char* other = OrEmpty(str);
    return CompareBytes(m_str.data(), m_str.size(), other, std::strlen(other), false);
}

int CAtlStringA::Compare(const CAtlStringA& str) const {
    return CompareBytes(m_str.data(), m_str.size(), str.m_str.data(), str.m_str.size(), false);
}

int CAtlStringA::CompareNoCase(const char* str) const {
    const char* other = OrEmpty(str);
    return CompareBytes(m_str.data(), m_str.size(), other, std::strlen(other), true);
}

void CAtlStringA::Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    FormatV(format, args);
    va_end(args);
}

void CAtlStringA::AppendFormat(const char* format, ...) {
    va_list args;
    va_start(args, format);
    AppendFormatV(format, args);
    va_end(args);
}

void CAtlStringA::FormatV(const char* format, va_list args) {
    std::string out; // format first: an argument may be this string's own text
    PlatAppendFormatV(out, format, args);
    m_str.swap(out);
}

void CAtlStringA::AppendFormatV(const char* format, va_list args) {
    std::string out;
    PlatAppendFormatV(out, format, args);
    m_str += out;
}

CAtlStringA operator+(const CAtlStringA& a, const CAtlStringA& b) {
    CAtlStringA result(a);
    result += b;
    return result;
}

CAtlStringA operator+(const CAtlStringA& a, const char* b) {
    CAtlStringA result(a);
    result += b;
    return result;
}

CAtlStringA operator+(const char* a, const CAtlStringA& b) {
    CAtlStringA result(a);
    result += b;
    return result;
}

CAtlStringA operator+(const CAtlStringA& a, char b) {
    CAtlStringA result(a);
    result += b;
    return result;
}

CAtlStringA operator+(char a, const CAtlStringA& b) {
    CAtlStringA result(a);
    result += b;
    return result;
}
