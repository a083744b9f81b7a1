// CKxString text operations: Find/FindRev (text and character), Contains,
// Split, Section, CalcTokenCount, Replace (by text and by position), Insert,
// Substr/Left/Mid/Right, StartsWith/EndsWith/IsEqual, Trim and Simplify.
//
// Each result is compared with a plain reference written from the class's
// documented rules (one loop each, no shortcuts), including which results
// are null strings. Positions come from the whole int range as well as from
// around the text, and the text holds what the field sends: NULs, non-ASCII,
// characters whose low byte aliases ASCII, surrogates, negative values.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdint>
#include <cwchar>
#include <cwctype>
#include <stdexcept>
#include <string>
#include <vector>

#include "CKxString.h"
#include "FuzzCheck.h"
#include "FuzzText.h"
#include "ReferenceText.h"

using KxFuzz::Chars;
using KxFuzz::Holds;
using KxTamarind::CKxString;
using KxTamarind::CKxStringList;

namespace {

// A string value of the reference side: its characters, and whether it is
// a null string.
struct Ref {
    bool null;
    std::wstring text;
};

bool Is(const CKxString& s, const Ref& expected) {
    return Holds(s, expected.text, expected.null);
}

char LowByte(wchar_t c) {
    return static_cast<char>(static_cast<std::uint32_t>(c) & 0xFFu);
}

// The character search's comparison: the low byte as a signed char, and
// case-insensitively also the low byte of towlower against tolower.
bool CharMatches(wchar_t ch, char c, bool caseSensitive) {
    if (LowByte(ch) == c) {
        return true;
    }
    return !caseSensitive &&
           LowByte(static_cast<wchar_t>(std::towlower(static_cast<wint_t>(ch)))) ==
               static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

bool CharsEqual(wchar_t a, wchar_t b, bool caseSensitive) {
    return a == b || (!caseSensitive && std::towlower(static_cast<wint_t>(a)) ==
                                            std::towlower(static_cast<wint_t>(b)));
}

bool MatchesAt(const std::wstring& text, std::size_t at, const std::wstring& needle,
               bool caseSensitive) {
    for (std::size_t i = 0; i < needle.size(); ++i) {
        if (!CharsEqual(text[at + i], needle[i], caseSensitive)) {
            return false;
        }
    }
    return true;
}

int RefFindChar(const std::wstring& text, char c, int from, bool caseSensitive) {
    const int length = static_cast<int>(text.size());
    from = from < 0 ? 0 : from;
    for (int i = from; i < length; ++i) {
        if (CharMatches(text[static_cast<std::size_t>(i)], c, caseSensitive)) {
            return i;
        }
    }
    return -1;
}

int RefFindRevChar(const std::wstring& text, char c, int from, bool caseSensitive) {
    const long long length = static_cast<long long>(text.size());
    long long start = from;
    if (start < 0) {
        start += length;
    } else if (start >= length) {
        start = length - 1;
    }
    for (long long i = start; i >= 0; --i) {
        if (CharMatches(text[static_cast<std::size_t>(i)], c, caseSensitive)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int RefFind(const std::wstring& text, const std::wstring& needle, int from, bool caseSensitive) {
    const long long length = static_cast<long long>(text.size());
    const long long n = static_cast<long long>(needle.size());
    if (length < n || length == 0) {
        return -1;
    }
    long long start = from < 0 ? 0 : from;
    if (start >= length) {
        return -1;
    }
    if (n == 1) {
        return RefFindChar(text, LowByte(needle[0]), static_cast<int>(start), caseSensitive);
    }
    if (n == 0) {
        return static_cast<int>(start);
    }
    for (; start + n <= length; ++start) {
        if (MatchesAt(text, static_cast<std::size_t>(start), needle, caseSensitive)) {
            return static_cast<int>(start);
        }
    }
    return -1;
}

int RefFindRev(const std::wstring& text, const std::wstring& needle, int from, bool caseSensitive) {
    const long long length = static_cast<long long>(text.size());
    const long long n = static_cast<long long>(needle.size());
    if (length < n || length == 0) {
        return -1;
    }
    long long start = from;
    if (start < 0) {
        start += length;
        if (start < 0) {
            return -1;
        }
    } else if (start >= length) {
        start = length - 1;
    }
    if (n == 1) {
        return RefFindRevChar(text, LowByte(needle[0]), static_cast<int>(start), caseSensitive);
    }
    if (n == 0) {
        return static_cast<int>(start);
    }
    for (long long s = std::min(start, length - n); s >= 0; --s) {
        if (MatchesAt(text, static_cast<std::size_t>(s), needle, caseSensitive)) {
            return static_cast<int>(s);
        }
    }
    return -1;
}

std::string LowerAscii(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

// Non-overlapping occurrences in the UTF-8 forms of both texts.
int RefContains(const std::wstring& text, const std::wstring& needle, bool caseSensitive) {
    std::string hay = KxFuzz::Utf8Of(text);
    std::string pin = KxFuzz::Utf8Of(needle);
    if (!caseSensitive) {
        hay = LowerAscii(hay);
        pin = LowerAscii(pin);
    }
    if (pin.empty()) {
        return 0;
    }
    int count = 0;
    for (std::size_t at = 0; at + pin.size() <= hay.size();) {
        if (hay.compare(at, pin.size(), pin) == 0) {
            ++count;
            at += pin.size();
        } else {
            ++at;
        }
    }
    return count;
}

std::vector<Ref> RefSplit(const Ref& text, const std::wstring& separator, bool keepEmpty) {
    const std::wstring& s = text.text;
    if (s.empty() || separator.empty()) {
        return {text};
    }
    const char c = LowByte(separator[0]);
    std::vector<Ref> parts;
    bool found = false;
    for (wchar_t ch : s) {
        found = found || LowByte(ch) == c;
    }
    if (!found) {
        return {text};
    }
    std::size_t pos = 0;
    while (pos < s.size()) {
        std::size_t next = pos;
        while (next < s.size() && LowByte(s[next]) != c) {
            ++next;
        }
        if (next > pos) {
            parts.push_back({false, s.substr(pos, next - pos)});
        } else if (keepEmpty) {
            parts.push_back({true, std::wstring()});
        }
        pos = next + 1;
    }
    return parts;
}

Ref RefSection(const Ref& text, const std::wstring& separator, int start, int end, int flags) {
    const std::vector<Ref> parts = RefSplit(text, separator, (flags & 1) == 0);
    const long long count = static_cast<long long>(parts.size());
    if (start < 0 || start >= count) {
        return {true, std::wstring()};
    }
    long long last = end;
    if (last < 0 || last >= count) {
        last = count - 1;
    }
    if (last < start) {
        return {true, std::wstring()};
    }
    Ref result = parts[static_cast<std::size_t>(start)];
    for (long long i = start + 1; i <= last; ++i) {
        result.null = false;
        result.text += separator + parts[static_cast<std::size_t>(i)].text;
    }
    return result;
}

// The one-character string of a char: '\0' gives the empty string, an
// ASCII byte itself, any other byte (no UTF-8 on its own) U+FFFD.
std::wstring OneChar(char c) {
    if (c == 0) {
        return std::wstring();
    }
    return std::wstring(1, c > 0 ? static_cast<wchar_t>(c) : static_cast<wchar_t>(0xFFFD));
}

Ref RefSectionChar(const Ref& text, char separator, int start, int end, int flags) {
    if (start == 0 && end == 0) {
        const int pos = RefFindChar(text.text, separator, 0, true);
        if (pos < 0) {
            return text;
        }
        if (pos == 0) {
            return {true, std::wstring()};
        }
        return {false, text.text.substr(0, static_cast<std::size_t>(pos))};
    }
    return RefSection(text, OneChar(separator), start, end, flags);
}

Ref RefSubstr(const Ref& text, int pos, int count) {
    const long long length = static_cast<long long>(text.text.size());
    if (pos < 0 || pos >= length) {
        return {true, std::wstring()};
    }
    long long n = length - pos;
    if (count >= 0 && count < n) {
        n = count;
    }
    return {false, text.text.substr(static_cast<std::size_t>(pos), static_cast<std::size_t>(n))};
}

Ref RefReplace(const Ref& text, const Ref& oldText, const Ref& newText) {
    const std::wstring& s = text.text;
    const std::wstring& what = oldText.text;
    if (what.empty() || what.size() > s.size()) {
        return text;
    }
    if (what.size() == s.size()) {
        // Equality here is operator==: wcscmp, which stops at a NUL.
        return std::wcscmp(s.c_str(), what.c_str()) == 0 ? newText : text;
    }
    std::wstring out;
    std::size_t at = 0;
    while (at < s.size()) {
        if (at + what.size() <= s.size() && s.compare(at, what.size(), what) == 0) {
            out += newText.text;
            at += what.size();
        } else {
            out += s[at++];
        }
    }
    return {false, out};
}

bool RefIsEqual(const std::wstring& a, const std::wstring& b, bool caseSensitive) {
    return a.size() == b.size() && MatchesAt(a, 0, b, caseSensitive);
}

Ref RefTrim(const Ref& text) {
    const std::wstring& s = text.text;
    std::size_t first = 0;
    while (first < s.size() && std::iswspace(static_cast<wint_t>(s[first]))) {
        ++first;
    }
    if (first == s.size()) {
        return text; // empty or only white space: unchanged
    }
    std::size_t last = s.size();
    while (std::iswspace(static_cast<wint_t>(s[last - 1]))) {
        --last;
    }
    return {false, s.substr(first, last - first)};
}

Ref RefSimplify(const Ref& text) {
    bool any = false;
    for (wchar_t c : text.text) {
        any = any || std::iswspace(static_cast<wint_t>(c));
    }
    if (!any) {
        return text;
    }
    const auto space = [](wchar_t c) {
        return static_cast<std::uint32_t>(c) < 256 && std::isspace(static_cast<int>(c));
    };
    std::wstring out;
    bool pending = false;
    for (wchar_t c : text.text) {
        if (space(c)) {
            pending = !out.empty();
            continue;
        }
        if (pending) {
            out += L' ';
            pending = false;
        }
        out += static_cast<wchar_t>(static_cast<signed char>(LowByte(c)));
    }
    return {false, out};
}

int RefContainsChar(const std::wstring& text, char c, bool caseSensitive) {
    std::string hay = KxFuzz::Utf8Of(text);
    if (!caseSensitive) {
        hay = LowerAscii(hay);
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return static_cast<int>(std::count(hay.begin(), hay.end(), c));
}

int Position(FuzzedDataProvider& in, std::size_t length) {
    if (in.ConsumeBool()) {
        return in.ConsumeIntegralInRange<int>(-3, static_cast<int>(length) + 3);
    }
    return in.ConsumeIntegral<int>();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const bool caseSensitive = in.ConsumeBool();
    const bool keepEmpty = in.ConsumeBool();
    const int flags = in.ConsumeIntegral<int>();
    const Ref text{in.ConsumeIntegralInRange(0, 15) == 0, KxFuzz::ConsumeWide(in, 512)};
    const Ref needle{in.ConsumeIntegralInRange(0, 15) == 0, KxFuzz::ConsumeWide(in, 16)};
    const std::wstring separator = KxFuzz::ConsumeWide(in, 6);
    const Ref with{in.ConsumeIntegralInRange(0, 15) == 0, KxFuzz::ConsumeWide(in, 16)};
    const char sepChar = in.ConsumeIntegral<char>();
    const std::size_t length = text.null ? 0 : text.text.size();
    const int from = Position(in, length);
    const int start = Position(in, 8);
    const int end = Position(in, 8);
    const int count = Position(in, length);
    // A null string has no characters.
    const Ref t = text.null ? Ref{true, std::wstring()} : text;
    const Ref n = needle.null ? Ref{true, std::wstring()} : needle;
    const Ref w = with.null ? Ref{true, std::wstring()} : with;

    const CKxString s = KxFuzz::MakeKx(t.text, t.null);
    const CKxString ns = KxFuzz::MakeKx(n.text, n.null);
    const CKxString ws = KxFuzz::MakeKx(w.text, w.null);
    const CKxString seps(separator);

    FUZZ_CHECK(s.Find(ns, from, caseSensitive) == RefFind(t.text, n.text, from, caseSensitive),
               "Find(text)");
    FUZZ_CHECK(s.FindRev(ns, from, caseSensitive) ==
                   RefFindRev(t.text, n.text, from, caseSensitive),
               "FindRev(text)");
    FUZZ_CHECK(s.Find(sepChar, from, caseSensitive) ==
                   (t.text.empty() ? -1 : RefFindChar(t.text, sepChar, from, caseSensitive)),
               "Find(char)");
    FUZZ_CHECK(s.FindRev(sepChar, from, caseSensitive) ==
                   (t.text.empty() ? -1 : RefFindRevChar(t.text, sepChar, from, caseSensitive)),
               "FindRev(char)");
    FUZZ_CHECK(s.Contains(ns, caseSensitive) == RefContains(t.text, n.text, caseSensitive),
               "Contains(text)");
    FUZZ_CHECK(s.Contains(sepChar, caseSensitive) ==
                   RefContainsChar(t.text, sepChar, caseSensitive),
               "Contains(char)");

    // Split appends to the list it is given and answers the length.
    CKxStringList list;
    list.AppendDataByCopy(CKxString(L"first"));
    FUZZ_CHECK(s.Split(list, seps, keepEmpty) == static_cast<int>(t.text.size()),
               "Split answers the length");
    const std::vector<Ref> parts = RefSplit(t, separator, keepEmpty);
    FUZZ_CHECK(list.GetSize() == parts.size() + 1, "Split: number of parts");
    FUZZ_CHECK(Holds(*list.At(0), L"first"), "Split keeps what the list held");
    for (std::size_t i = 0; i < parts.size(); ++i) {
        FUZZ_CHECK(Is(*list.At(static_cast<unsigned int>(i + 1)), parts[i]), "Split: part");
    }
    FUZZ_CHECK(s.CalcTokenCount(seps) ==
                   (t.text.empty() || separator.empty()
                        ? 0
                        : static_cast<int>(std::count(t.text.begin(), t.text.end(), separator[0]))),
               "CalcTokenCount counts separators");
    FUZZ_CHECK(Is(s.Section(seps, start, end, flags), RefSection(t, separator, start, end, flags)),
               "Section(text)");
    FUZZ_CHECK(
        Is(s.Section(sepChar, start, end, flags), RefSectionChar(t, sepChar, start, end, flags)),
        "Section(char)");
    FUZZ_CHECK(Is(s.Section(sepChar, 0, 0, flags), RefSectionChar(t, sepChar, 0, 0, flags)),
               "Section(char, 0, 0)");

    {
        CKxString replaced(s);
        replaced.Replace(ns, ws);
        FUZZ_CHECK(Is(replaced, RefReplace(t, n, w)), "Replace(old, new)");
    }
    {
        CKxString replaced(s);
        bool thrown = false;
        try {
            replaced.Replace(from, count, ws);
        } catch (const std::out_of_range&) {
            thrown = true;
        }
        const bool valid = from >= 0 && static_cast<std::size_t>(from) <= t.text.size();
        FUZZ_CHECK(thrown == !valid, "Replace(pos, count) throws exactly for a bad position");
        if (valid) {
            std::wstring expected = t.text;
            expected.replace(static_cast<std::size_t>(from),
                             count < 0 ? std::wstring::npos : static_cast<std::size_t>(count),
                             w.text);
            FUZZ_CHECK(Holds(replaced, expected), "Replace(pos, count)");
        } else {
            FUZZ_CHECK(Is(replaced, t), "a refused Replace(pos, count) changes nothing");
        }
    }
    {
        CKxString inserted(s);
        bool thrown = false;
        try {
            inserted.Insert(from, ws);
        } catch (const std::out_of_range&) {
            thrown = true;
        }
        const bool valid = from >= 0 && static_cast<std::size_t>(from) <= t.text.size();
        FUZZ_CHECK(thrown == !valid, "Insert throws exactly for a bad position");
        if (valid) {
            std::wstring expected = t.text;
            expected.insert(static_cast<std::size_t>(from), w.text);
            FUZZ_CHECK(Holds(inserted, expected), "Insert");
        } else {
            FUZZ_CHECK(Is(inserted, t), "a refused Insert changes nothing");
        }
    }

    FUZZ_CHECK(Is(s.Substr(from, count), RefSubstr(t, from, count)), "Substr");
    FUZZ_CHECK(Is(s.Left(count), RefSubstr(t, 0, count)), "Left");
    FUZZ_CHECK(Is(s.Mid(from), RefSubstr(t, from, -1)), "Mid");
    {
        const long long len = static_cast<long long>(t.text.size());
        const long long take = (count < 0 || count > len) ? len : count;
        FUZZ_CHECK(
            Is(s.Right(count), RefSubstr(t, static_cast<int>(len - take), static_cast<int>(take))),
            "Right");
    }

    const bool startsExpected = !n.text.empty() && n.text.size() <= t.text.size() &&
                                MatchesAt(t.text, 0, n.text, caseSensitive);
    const bool endsExpected =
        !n.text.empty() && n.text.size() <= t.text.size() &&
        MatchesAt(t.text, t.text.size() - n.text.size(), n.text, caseSensitive);
    FUZZ_CHECK(s.StartsWith(ns, caseSensitive) == startsExpected, "StartsWith");
    FUZZ_CHECK(s.EndsWith(ns, caseSensitive) == endsExpected, "EndsWith");
    FUZZ_CHECK(s.IsEqual(ns, caseSensitive) == RefIsEqual(t.text, n.text, caseSensitive),
               "IsEqual");
    FUZZ_CHECK(Is(s.Trimmed(), RefTrim(t)), "Trimmed");
    FUZZ_CHECK(Is(s.Simplified(), RefSimplify(t)), "Simplified");
    return 0;
}
