// CKxString: searching, comparing, token counting, Split and Section.
#include "CKxString.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CKxStringList.h"
#include "KxStringChars.h"

namespace KxTamarind {

namespace {

bool CharMatches(wchar_t ch, char c, bool caseSensitive) {
    if (LowByte(ch) == c) {
        return true;
    }
    if (caseSensitive) {
        return false;
    }
    const char lowered = LowByte(static_cast<wchar_t>(towlower(static_cast<wint_t>(ch))));
    return lowered == static_cast<char>(tolower(static_cast<unsigned char>(c)));
}

bool CharsEqual(wchar_t a, wchar_t b, bool caseSensitive) {
    if (a == b) {
        return true;
    }
    return !caseSensitive && towlower(static_cast<wint_t>(a)) == towlower(static_cast<wint_t>(b));
}

std::string LowerNarrow(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

int CountOccurrences(const std::string& text, const std::string& needle) {
    if (needle.empty()) {
        return 0;
    }
    int count = 0;
    for (std::size_t pos = text.find(needle); pos != std::string::npos;
         pos = text.find(needle, pos + needle.size())) {
        ++count;
    }
    return count;
}

// The pieces between separators in a text that holds the separator character
// (compared through the low byte, as the character search does): calls
// piece(pos, count) for each non-empty piece and, when keepEmpty is true,
// piece(pos, 0) for each empty one. A separator at the very end yields no
// trailing piece. One pass over the text.
template <typename Piece>
void ForEachPiece(const wchar_t* text, int length, char separator, bool keepEmpty, Piece piece) {
    int pos = 0;
    while (pos < length) {
        int next = pos;
        while (next < length && LowByte(text[next]) != separator) {
            ++next;
        }
        if (next > pos) {
            piece(pos, next - pos);
        } else if (keepEmpty) {
            piece(pos, 0);
        }
        pos = next + 1;
    }
}

} // namespace

// --- Split and Section -------------------------------------------------------

int CKxString::Split(CKxStringList& list, const CKxString& separator, bool keepEmpty) const {
    const int length = Length();
    if (length == 0 || separator.Length() == 0) {
        list.AppendDataByCopy(*this);
        return length;
    }
    const char sep = LowByte(separator.m_bstr[0]);
    if (Find(sep, 0, true) < 0) {
        list.AppendDataByCopy(*this);
        return length;
    }
    // Room for every piece first (at most one more than the separators),
    // then each piece is allocated once, straight into its list element.
    std::size_t pieces = 1;
    for (int i = 0; i < length; ++i) {
        pieces += LowByte(m_bstr[i]) == sep;
    }
    list.m_elements.reserve(list.m_elements.size() + pieces);
    ForEachPiece(m_bstr, length, sep, keepEmpty, [&](int pos, int count) {
        std::unique_ptr<CKxString> element(new CKxString()); // an empty piece stays null
        if (count > 0) {
            element->m_bstr = SysAllocStringLen(m_bstr + pos, static_cast<UINT>(count));
        }
        list.m_elements.push_back(element.release()); // reserved: cannot throw
    });
    return length;
}

CKxStringList CKxString::Split(const CKxString& separator, bool keepEmpty) const {
    CKxStringList list;
    Split(list, separator, keepEmpty);
    return list;
}

int CKxString::CalcTokenCount(const CKxString& separator) const {
    const int length = Length();
    if (length == 0 || separator.Length() == 0) {
        return 0;
    }
    const wchar_t sep = separator.m_bstr[0];
    return static_cast<int>(std::count(m_bstr, m_bstr + length, sep));
}

CKxString CKxString::Section(const CKxString& separator, int start, int end, int flags) const {
    // The parts are those of Split; only their positions are collected, and
    // the result is built in one allocation, so the work is linear in the
    // text's length.
    const int length = Length();
    const int separatorLength = separator.Length();
    const char sep = separatorLength > 0 ? LowByte(separator.m_bstr[0]) : '\0';
    if (length == 0 || separatorLength == 0 || Find(sep, 0, true) < 0) {
        // Split gives one part: a copy of the whole string.
        return start == 0 ? *this : CKxString();
    }
    std::vector<std::pair<int, int>> parts; // position and length; length 0 is a null part
    ForEachPiece(m_bstr, length, sep, (flags & 1) == 0,
                 [&parts](int pos, int count) { parts.emplace_back(pos, count); });
    const int count = static_cast<int>(parts.size());
    if (start < 0 || start >= count) {
        return CKxString();
    }
    if (end < 0 || end >= count) {
        end = count - 1;
    }
    if (end < start) {
        return CKxString();
    }
    if (start == end) {
        return parts[start].second > 0 ? Substr(parts[start].first, parts[start].second)
                                       : CKxString();
    }
    long long total = static_cast<long long>(end - start) * separatorLength;
    for (int i = start; i <= end; ++i) {
        total += parts[i].second;
    }
    if (total > kMaxChars) {
        return CKxString();
    }
    BSTR joined = SysAllocStringLen(nullptr, static_cast<UINT>(total));
    if (joined == nullptr) {
        return CKxString();
    }
    wchar_t* out = joined;
    for (int i = start; i <= end; ++i) {
        if (i > start) {
            out = std::copy(separator.m_bstr, separator.m_bstr + separatorLength, out);
        }
        out = std::copy(m_bstr + parts[i].first, m_bstr + parts[i].first + parts[i].second, out);
    }
    CKxString result;
    result.AttachBSTR(joined);
    return result;
}

CKxString CKxString::Section(char separator, int start, int end, int flags) const {
    if (start == 0 && end == 0) {
        const int pos = Find(separator, 0, true);
        if (pos < 0) {
            return *this;
        }
        return pos == 0 ? CKxString() : Substr(0, pos);
    }
    return Section(CKxString(separator), start, end, flags);
}
// --- Searching ---------------------------------------------------------------

int CKxString::Find(char c, int from, bool caseSensitive) const {
    const int length = Length();
    if (from < 0) {
        from = 0;
    }
    if (length == 0 || from >= length) {
        return -1;
    }
    for (int i = from; i < length; ++i) {
        if (CharMatches(m_bstr[i], c, caseSensitive)) {
            return i;
        }
    }
    return -1;
}

int CKxString::FindRev(char c, int from, bool caseSensitive) const {
    const int length = Length();
    if (length == 0) {
        return -1;
    }
    if (from < 0) {
        from += length;
        if (from < 0) {
            return -1;
        }
    } else if (from >= length) {
        from = length - 1;
    }
    for (int i = from; i >= 0; --i) {
        if (CharMatches(m_bstr[i], c, caseSensitive)) {
            return i;
        }
    }
    return -1;
}

int CKxString::Find(const CKxString& needle, int from, bool caseSensitive) const {
    const int length = Length();
    const int needleLength = needle.Length();
    if (length < needleLength || length == 0) {
        return -1;
    }
    if (from < 0) {
        from = 0;
    }
    if (from >= length) {
        return -1;
    }
    if (needleLength == 1) {
        return Find(LowByte(needle.m_bstr[0]), from, caseSensitive);
    }
    if (needleLength == 0) {
        return from;
    }
    if (caseSensitive) {
        // Same scan, with the library's memory search for the first
        // character (embedded NULs are ordinary characters here).
        const wchar_t* const end = m_bstr + length - needleLength + 1;
        for (const wchar_t* p = m_bstr + from; p < end; ++p) {
            p = std::wmemchr(p, needle.m_bstr[0], static_cast<std::size_t>(end - p));
            if (p == nullptr) {
                return -1;
            }
            if (std::wmemcmp(p, needle.m_bstr, static_cast<std::size_t>(needleLength)) == 0) {
                return static_cast<int>(p - m_bstr);
            }
        }
        return -1;
    }
    for (int start = from; start + needleLength <= length; ++start) {
        int i = 0;
        while (i < needleLength && CharsEqual(m_bstr[start + i], needle.m_bstr[i], caseSensitive)) {
            ++i;
        }
        if (i == needleLength) {
            return start;
        }
    }
    return -1;
}

int CKxString::FindRev(const CKxString& needle, int from, bool caseSensitive) const {
    const int length = Length();
    const int needleLength = needle.Length();
    if (length < needleLength || length == 0) {
        return -1;
    }
    if (from < 0) {
        from += length;
        if (from < 0) {
            return -1;
        }
    } else if (from >= length) {
        from = length - 1;
    }
    if (needleLength == 1) {
        return FindRev(LowByte(needle.m_bstr[0]), from, caseSensitive);
    }
    if (needleLength == 0) {
        return from;
    }
    for (int start = std::min(from, length - needleLength); start >= 0; --start) {
        int i = 0;
        while (i < needleLength && CharsEqual(m_bstr[start + i], needle.m_bstr[i], caseSensitive)) {
            ++i;
        }
        if (i == needleLength) {
            return start;
        }
    }
    return -1;
}

int CKxString::Find(const char* needle, int from) const {
    return needle ? Find(CKxString(needle), from, true) : -1;
}

int CKxString::FindRev(const char* needle, int from) const {
    return needle ? FindRev(CKxString(needle), from, true) : -1;
}

int CKxString::Contains(char c, bool caseSensitive) const {
    std::string text = ToStdString();
    if (!caseSensitive) {
        text = LowerNarrow(text);
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    }
    return static_cast<int>(std::count(text.begin(), text.end(), c));
}

int CKxString::Contains(const char* needle, bool caseSensitive) const {
    if (needle == nullptr) {
        return 0;
    }
    if (caseSensitive) {
        return CountOccurrences(ToStdString(), needle);
    }
    return CountOccurrences(LowerNarrow(ToStdString()), LowerNarrow(needle));
}

int CKxString::Contains(const CKxString& needle, bool caseSensitive) const {
    const std::string narrow = needle.ToStdString();
    if (caseSensitive) {
        return CountOccurrences(ToStdString(), narrow);
    }
    return CountOccurrences(LowerNarrow(ToStdString()), LowerNarrow(narrow));
}

// --- Comparing ---------------------------------------------------------------

bool CKxString::IsEqual(const CKxString& other, bool caseSensitive) const {
    const int length = Length();
    if (length != other.Length()) {
        return false;
    }
    for (int i = 0; i < length; ++i) {
        if (!CharsEqual(m_bstr[i], other.m_bstr[i], caseSensitive)) {
            return false;
        }
    }
    return true;
}

bool CKxString::StartsWith(const CKxString& prefix, bool caseSensitive) const {
    const int n = prefix.Length();
    if (n == 0 || n > Length()) {
        return false;
    }
    return Substr(0, n).IsEqual(prefix, caseSensitive);
}

bool CKxString::EndsWith(const CKxString& suffix, bool caseSensitive) const {
    const int n = suffix.Length();
    if (n == 0 || n > Length()) {
        return false;
    }
    return Right(n).IsEqual(suffix, caseSensitive);
}

bool CKxString::StartsWith(char c, bool caseSensitive) const {
    return StartsWith(CKxString(c), caseSensitive);
}

bool CKxString::EndsWith(char c, bool caseSensitive) const {
    return EndsWith(CKxString(c), caseSensitive);
}

bool operator==(const CKxString& a, const CKxString& b) {
    const wchar_t* left = a;
    const wchar_t* right = b;
    if (right == nullptr) {
        return left == nullptr;
    }
    if (left == nullptr) {
        return false;
    }
    return std::wcscmp(left, right) == 0;
}

bool operator<(const CKxString& a, const CKxString& b) {
    const wchar_t* left = a;
    const wchar_t* right = b;
    if (right == nullptr) {
        return false;
    }
    if (left == nullptr) {
        return true;
    }
    return std::wcscmp(left, right) < 0;
}

} // namespace KxTamarind
