// CKxString: searching, comparing, concatenation, token counting, Split and
// Section, on ASCII, non-ASCII and embedded-NUL text.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "CKxString.h"
#include "CKxStringList.h"
#include "common/BstrAllocationCounter.h"

using namespace KxTamarind;

namespace {

std::wstring W(const CKxString& s) {
    return s.ToStdWString();
}

std::wstring WN(const wchar_t* text, std::size_t n) {
    return std::wstring(text, n);
}

// The list as wide texts, a null element written as "<null>".
std::vector<std::wstring> Items(const CKxStringList& list) {
    std::vector<std::wstring> out;
    for (unsigned int i = 0; i < list.GetSize(); ++i) {
        out.push_back(list[i].IsNull() ? std::wstring(L"<null>") : W(list[i]));
    }
    return out;
}

using V = std::vector<std::wstring>;

} // namespace

TEST(KxStringFind, CharacterForward) {
    CKxString s(L"abcabc");
    EXPECT_EQ(s.Find('b'), 1);
    EXPECT_EQ(s.Find('b', 2), 4);
    EXPECT_EQ(s.Find('b', -5), 1);
    EXPECT_EQ(s.Find('b', 5), -1);
    EXPECT_EQ(s.Find('b', 6), -1);
    EXPECT_EQ(s.Find('B'), -1);
    EXPECT_EQ(s.Find('B', 0, false), 1);
    EXPECT_EQ(CKxString().Find('a'), -1);
    EXPECT_EQ(CKxString(L"").Find('a'), -1);
}

TEST(KxStringFind, CharacterSearchLooksAtTheLowByte) {
    // U+0141 has 0x41 ('A') as low byte; U+00E9 is 0xE9 as a signed char.
    CKxString s(L"x\u0141y\u00E9");
    EXPECT_EQ(s.Find('A'), 1);
    EXPECT_EQ(s.Find(static_cast<char>(0xE9)), 3);
    EXPECT_EQ(s.Find('A', 0, false), 1);
    EXPECT_EQ(CKxString(L"xAy").Find('a', 0, false), 1);
    EXPECT_EQ(s.FindRev('A'), 1);
    EXPECT_EQ(CKxString(std::wstring(L"a\0b", 3)).Find('\0'), 1);
}

TEST(KxStringFind, CharacterBackward) {
    CKxString s(L"abcabc");
    EXPECT_EQ(s.FindRev('b'), 4);
    EXPECT_EQ(s.FindRev('b', 3), 1);
    EXPECT_EQ(s.FindRev('b', 100), 4);
    EXPECT_EQ(s.FindRev('b', -3), 1);
    EXPECT_EQ(s.FindRev('b', -7), -1);
    EXPECT_EQ(s.FindRev('a', 0), 0);
    EXPECT_EQ(s.FindRev('C', -1, false), 5);
    EXPECT_EQ(s.FindRev('C'), -1);
    EXPECT_EQ(CKxString().FindRev('a'), -1);
}

TEST(KxStringFind, TextForward) {
    CKxString s(L"hello world hello");
    EXPECT_EQ(s.Find(CKxString(L"hello")), 0);
    EXPECT_EQ(s.Find(CKxString(L"hello"), 1), 12);
    EXPECT_EQ(s.Find(CKxString(L"WORLD")), -1);
    EXPECT_EQ(s.Find(CKxString(L"WORLD"), 0, false), 6);
    // A match that ends at the last character, in both scans.
    EXPECT_EQ(s.Find(CKxString(L"llo"), 13), 14);
    EXPECT_EQ(s.Find(CKxString(L"LLO"), 13, false), 14);
    EXPECT_EQ(s.Find(CKxString(L""), 3), 3);
    EXPECT_EQ(s.Find(CKxString(), 3), 3);
    EXPECT_EQ(s.Find(CKxString(L"hello"), 17), -1);
    EXPECT_EQ(s.Find(CKxString(L"hello"), 13), -1);
    EXPECT_EQ(CKxString(L"ab").Find(CKxString(L"abc")), -1);
    EXPECT_EQ(CKxString(L"").Find(CKxString(L"")), -1);
    EXPECT_EQ(s.Find("wor"), 6);
    EXPECT_EQ(s.Find("o", 5), 7);
    EXPECT_EQ(s.Find(static_cast<const char*>(nullptr)), -1);
}

TEST(KxStringFind, TextWithNulsAndNonAscii) {
    CKxString nul(WN(L"a\0bc\0bd", 7));
    const CKxString needle(WN(L"\0b", 2));
    EXPECT_EQ(nul.Find(needle), 1);
    EXPECT_EQ(nul.Find(needle, 2), 4);
    EXPECT_EQ(nul.FindRev(needle), 4);
    EXPECT_EQ(nul.FindRev(needle, 3), 1);

    CKxString text(L"a\u00E9\u20AC\U0001F600b\u20AC\U0001F600");
    EXPECT_EQ(text.Find(CKxString(L"\u20AC\U0001F600")), 2);
    EXPECT_EQ(text.FindRev(CKxString(L"\u20AC\U0001F600")), 5);
    EXPECT_EQ(text.Find("\xF0\x9F\x98\x80"), 3);
    EXPECT_EQ(text.Find(CKxString(L"\u00E9\u20AC\U0001F601")), -1);
}

TEST(KxStringFind, TextBackward) {
    CKxString s(L"hello world hello");
    EXPECT_EQ(s.FindRev(CKxString(L"hello")), 12);
    EXPECT_EQ(s.FindRev(CKxString(L"hello"), 11), 0);
    EXPECT_EQ(s.FindRev(CKxString(L"lo")), 15);
    EXPECT_EQ(s.FindRev(CKxString(L"HELLO"), -1, false), 12);
    EXPECT_EQ(s.FindRev(CKxString(L"HELLO")), -1);
    EXPECT_EQ(s.FindRev("l"), 15);
    EXPECT_EQ(s.FindRev("xyz"), -1);
    EXPECT_EQ(s.FindRev(CKxString(L""), 4), 4);
}

TEST(KxStringContains, CountsNarrowOccurrences) {
    CKxString s(L"a,b,,C");
    EXPECT_EQ(s.Contains(','), 3);
    EXPECT_EQ(s.Contains('c'), 0);
    EXPECT_EQ(s.Contains('c', false), 1);
    EXPECT_EQ(s.Contains(",,"), 1);
    EXPECT_EQ(s.Contains(""), 0);
    EXPECT_EQ(s.Contains(static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(s.Contains(CKxString(L"B,"), false), 1);
    EXPECT_EQ(s.Contains(CKxString(L"B,")), 0);
    CKxString e(L"\u00E9 x \u00E9");
    EXPECT_EQ(e.Contains("\xC3\xA9"), 2);
    EXPECT_EQ(e.Contains(CKxString(L"\u00E9")), 2);
    EXPECT_EQ(CKxString(L"aaaa").Contains("aa"), 2);
}

TEST(KxStringCompare, IsEqualStartsEnds) {
    CKxString s(L"Hello\u20AC");
    EXPECT_TRUE(s.IsEqual(CKxString(L"hELLO\u20AC"), false));
    EXPECT_FALSE(s.IsEqual(CKxString(L"hELLO\u20AC")));
    EXPECT_FALSE(s.IsEqual(CKxString(L"Hello")));
    EXPECT_TRUE(s.StartsWith(CKxString(L"He")));
    EXPECT_FALSE(s.StartsWith(CKxString(L"he")));
    EXPECT_TRUE(s.StartsWith(CKxString(L"he"), false));
    EXPECT_FALSE(s.StartsWith(CKxString(L"")));
    EXPECT_FALSE(s.StartsWith(CKxString()));
    EXPECT_FALSE(s.StartsWith(CKxString(L"Hello\u20AC!")));
    EXPECT_TRUE(s.EndsWith(CKxString(L"o\u20AC")));
    EXPECT_FALSE(s.EndsWith(CKxString(L"")));
    EXPECT_TRUE(s.StartsWith('H'));
    EXPECT_TRUE(s.StartsWith('h', false));
    EXPECT_FALSE(s.StartsWith('h'));
    EXPECT_TRUE(CKxString(L"xyz").EndsWith('z'));
    EXPECT_FALSE(CKxString(L"xyz").EndsWith('\0'));
    EXPECT_TRUE(s.IsEqual(s));
}

TEST(KxStringCompare, EmbeddedNulSeparatesIsEqualFromEquality) {
    CKxString a(WN(L"a\0b", 3));
    CKxString b(WN(L"a\0c", 3));
    EXPECT_FALSE(a.IsEqual(b));
    // operator== compares with wcscmp, which stops at the NUL.
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a < b);
}

TEST(KxStringCompare, NullSortsFirst) {
    CKxString null;
    CKxString empty(L"");
    CKxString a(L"a");
    EXPECT_TRUE(null == CKxString());
    EXPECT_TRUE(null < empty);
    EXPECT_FALSE(empty < null);
    EXPECT_FALSE(null < null);
    EXPECT_TRUE(empty < a);
    EXPECT_TRUE(a > null);
    EXPECT_TRUE(null <= null);
    EXPECT_TRUE(null >= null);
    EXPECT_FALSE(null >= empty);
    EXPECT_TRUE(CKxString(L"\u00E9") > CKxString(L"z"));

    std::vector<CKxString> v{CKxString(L"b"), CKxString(), CKxString(L""), CKxString(L"a")};
    std::sort(v.begin(), v.end());
    EXPECT_TRUE(v[0].IsNull());
    EXPECT_FALSE(v[1].IsNull());
    EXPECT_EQ(W(v[1]), L"");
    EXPECT_EQ(W(v[2]), L"a");
    EXPECT_EQ(W(v[3]), L"b");

    std::map<CKxString, int> m;
    m[CKxString()] = 1;
    m[CKxString(L"")] = 2;
    EXPECT_EQ(m.size(), 2u);
}

TEST(KxStringCompare, EveryOperandTypeOnEitherSide) {
    const CKxString s(L"abc");
    const CComBSTR bstr(L"abc");
    EXPECT_TRUE(s == "abc");
    EXPECT_TRUE("abc" == s);
    EXPECT_TRUE(s == L"abc");
    EXPECT_TRUE(L"abc" == s);
    EXPECT_TRUE(s == std::string("abc"));
    EXPECT_TRUE(std::string("abc") == s);
    EXPECT_TRUE(s == std::wstring(L"abc"));
    EXPECT_TRUE(std::wstring(L"abc") == s);
    EXPECT_TRUE(s == bstr);
    EXPECT_TRUE(bstr == s);
    EXPECT_TRUE(CKxString(L"a") == 'a');
    EXPECT_TRUE('a' == CKxString(L"a"));
    EXPECT_TRUE(s != "abd");
    EXPECT_TRUE("abd" != s);
    EXPECT_TRUE(s < "abd");
    EXPECT_TRUE("abb" < s);
    EXPECT_TRUE(s > L"abb");
    EXPECT_TRUE(L"abd" > s);
    EXPECT_TRUE(s <= std::string("abc"));
    EXPECT_TRUE(std::wstring(L"abc") >= s);
    EXPECT_TRUE(s < 'b');
    EXPECT_TRUE('b' > s);
    EXPECT_FALSE(s == static_cast<const char*>(nullptr));
    EXPECT_TRUE(CKxString() == static_cast<const char*>(nullptr));
    EXPECT_TRUE(CKxString() != "");
}

TEST(KxStringConcat, BothOrders) {
    const CKxString s(L"b");
    EXPECT_EQ(W(s + s), L"bb");
    EXPECT_EQ(W(s + "c"), L"bc");
    EXPECT_EQ(W("a" + s), L"ab");
    EXPECT_EQ(W(s + L"\u20AC"), L"b\u20AC");
    EXPECT_EQ(W(L"\u20AC" + s), L"\u20ACb");
    // A char is one character here, not a count.
    EXPECT_EQ(W(s + 'A'), L"bA");
    EXPECT_EQ(W('A' + s), L"Ab");
    EXPECT_EQ(W(s + std::string("\xC3\xA9")), L"b\u00E9");
    EXPECT_EQ(W(std::string("x") + s), L"xb");
    EXPECT_EQ(W(s + WN(L"\0z", 2)), WN(L"b\0z", 3));
    EXPECT_EQ(W(std::wstring(L"w") + s), L"wb");
    EXPECT_EQ(W(s + CComBSTR(L"q")), L"bq");
    EXPECT_EQ(W(CComBSTR(L"q") + s), L"qb");
    EXPECT_EQ(W(s), L"b");
}

TEST(KxStringTokens, CalcTokenCountCountsSeparators) {
    EXPECT_EQ(CKxString(L"a,b,,c,").CalcTokenCount(CKxString(L",")), 4);
    EXPECT_EQ(CKxString(L"a,b,,c,").CalcTokenCount(CKxString(L",;")), 4);
    EXPECT_EQ(CKxString(L"abc").CalcTokenCount(CKxString(L",")), 0);
    EXPECT_EQ(CKxString(L"a,b").CalcTokenCount(CKxString(L"")), 0);
    EXPECT_EQ(CKxString().CalcTokenCount(CKxString(L",")), 0);
    // Exact characters here, not low bytes.
    EXPECT_EQ(CKxString(L"\u20AC\u00AC\u20AC").CalcTokenCount(CKxString(L"\u20AC")), 2);
}

TEST(KxStringSplit, DropsTrailingEmptyPiece) {
    CKxStringList list;
    EXPECT_EQ(CKxString(L"a,,b,").Split(list, CKxString(L","), true), 5);
    EXPECT_EQ(Items(list), (V{L"a", L"<null>", L"b"}));
    EXPECT_EQ(Items(CKxString(L"a,,b,").Split(CKxString(L","), false)), (V{L"a", L"b"}));
    EXPECT_EQ(Items(CKxString(L",a,").Split(CKxString(L","), true)), (V{L"<null>", L"a"}));
    EXPECT_EQ(Items(CKxString(L",").Split(CKxString(L","), true)), (V{L"<null>"}));
    EXPECT_EQ(Items(CKxString(L",").Split(CKxString(L","), false)), (V{}));
}

TEST(KxStringSplit, WholeStringWhenNothingToSplit) {
    EXPECT_EQ(Items(CKxString(L"abc").Split(CKxString(L","))), (V{L"abc"}));
    EXPECT_EQ(Items(CKxString(L"abc").Split(CKxString(L""))), (V{L"abc"}));
    EXPECT_EQ(Items(CKxString(L"").Split(CKxString(L","))), (V{L""}));
    EXPECT_EQ(Items(CKxString().Split(CKxString(L","))), (V{L"<null>"}));
    // Split appends to what the list holds.
    CKxStringList list;
    list += CKxString(L"old");
    EXPECT_EQ(CKxString(L"x;y").Split(list, CKxString(L";")), 3);
    EXPECT_EQ(Items(list), (V{L"old", L"x", L"y"}));
}

TEST(KxStringSplit, NonAsciiAndNulSeparators) {
    EXPECT_EQ(Items(CKxString(L"x\u20ACy\u20AC\u20ACz\u20AC").Split(CKxString(L"\u20AC"), true)),
              (V{L"x", L"y", L"<null>", L"z"}));
    // Only the first separator character counts.
    EXPECT_EQ(Items(CKxString(L"a;b-c").Split(CKxString(L";-"))), (V{L"a", L"b-c"}));
    EXPECT_EQ(Items(CKxString(WN(L"a\0b\0", 4)).Split(CKxString(WN(L"\0", 1)))), (V{L"a", L"b"}));
    EXPECT_EQ(Items(CKxString(L"\U0001F600,\u00E9").Split(CKxString(L","))),
              (V{L"\U0001F600", L"\u00E9"}));
}

TEST(KxStringSection, StringSeparator) {
    CKxString s(L"a,b,c,d");
    EXPECT_EQ(W(s.Section(CKxString(L","), 1, 2)), L"b,c");
    EXPECT_EQ(W(s.Section(CKxString(L","), 1)), L"b,c,d");
    EXPECT_EQ(W(s.Section(CKxString(L","), 3, 99)), L"d");
    EXPECT_TRUE(s.Section(CKxString(L","), 4).IsNull());
    EXPECT_TRUE(s.Section(CKxString(L","), -1).IsNull());
    EXPECT_TRUE(s.Section(CKxString(L","), 2, 1).IsNull());
    // Joined with the whole separator, split at its first character.
    EXPECT_EQ(W(CKxString(L"a;b;c").Section(CKxString(L";-"), 0, 1)), L"a;-b");
    CKxString gaps(L",a,,b,");
    EXPECT_TRUE(gaps.Section(CKxString(L","), 0, 0).IsNull());
    EXPECT_EQ(W(gaps.Section(CKxString(L","), 0, 0, 1)), L"a");
    EXPECT_EQ(W(gaps.Section(CKxString(L","), 1, 1, 1)), L"b");
    EXPECT_EQ(W(gaps.Section(CKxString(L","), 1, 3)), L"a,,b");
}

// Section as it is defined: Split into a list, then join parts start..end
// with the whole separator by appending.
CKxString SplitThenJoin(const CKxString& text, const CKxString& separator, int start, int end,
                        int flags) {
    CKxStringList parts;
    text.Split(parts, separator, (flags & 1) == 0);
    const int count = static_cast<int>(parts.GetSize());
    if (start < 0 || start >= count) {
        return CKxString();
    }
    if (end < 0 || end >= count) {
        end = count - 1;
    }
    if (end < start) {
        return CKxString();
    }
    CKxString result = parts[static_cast<unsigned int>(start)];
    for (int i = start + 1; i <= end; ++i) {
        result += separator;
        result += parts[static_cast<unsigned int>(i)];
    }
    return result;
}

// The characters as code points, for failure messages.
std::string Codes(const CKxString& s) {
    if (s.IsNull()) {
        return "<null>";
    }
    std::string out = "[";
    for (int i = 0; i < s.Length(); ++i) {
        out += (i > 0 ? " " : "") + std::to_string(static_cast<unsigned long>(s.At(i)));
    }
    return out + "]";
}

// Equal including null-ness and embedded NULs.
bool Same(const CKxString& a, const CKxString& b) {
    return a.IsNull() == b.IsNull() && a.Length() == b.Length() &&
           std::equal(static_cast<wchar_t*>(a), static_cast<wchar_t*>(a) + a.Length(),
                      static_cast<wchar_t*>(b));
}

TEST(KxStringSection, EqualsSplitThenJoinOnEveryShortText) {
    // U+012C has the low byte of ',' and so splits like it; NUL is kept.
    const wchar_t alphabet[] = {L'a', L',', L'\u012C', L'\0'};
    std::vector<CKxString> texts{CKxString()};
    std::vector<std::wstring> level{L""};
    for (int length = 0; length <= 4; ++length) {
        std::vector<std::wstring> longer;
        for (const std::wstring& text : level) {
            texts.emplace_back(text);
            for (wchar_t c : alphabet) {
                longer.push_back(text + c);
            }
        }
        level.swap(longer);
    }
    const CKxString separators[] = {CKxString(L","), CKxString(L",;"), CKxString(L"\u012C"),
                                    CKxString(L""), CKxString()};
    int checked = 0;
    for (const CKxString& text : texts) {
        for (const CKxString& separator : separators) {
            for (int flags = 0; flags <= 1; ++flags) {
                for (int start = -1; start <= 5; ++start) {
                    for (int end = -1; end <= 5; ++end) {
                        const CKxString got = text.Section(separator, start, end, flags);
                        const CKxString expected =
                            SplitThenJoin(text, separator, start, end, flags);
                        if (!Same(got, expected)) {
                            ADD_FAILURE()
                                << "text " << Codes(text) << " separator " << Codes(separator)
                                << " start " << start << " end " << end << " flags " << flags
                                << ": got " << Codes(got) << ", expected " << Codes(expected);
                            return;
                        }
                        ++checked;
                    }
                }
            }
        }
    }
    EXPECT_EQ(checked, 342 * 5 * 2 * 7 * 7);
}

TEST(KxStringSection, IsLinearInTheTextLength) {
    // 20000 one-character parts. Joining them by repeated appends asks the
    // allocator for about 2 * 10000^2 characters (each append grows the whole
    // result); linear work asks for a small multiple of the length.
    std::wstring text;
    for (int i = 0; i < 10000; ++i) {
        text += L"a,";
    }
    const CKxString s(text);
    const CKxString separator(L",");
    CKxString all;
    long long characters = 0;
    {
        KxTest::BstrAllocationCounter counter;
        all = s.Section(separator, 0);
        characters = counter.Characters();
        ASSERT_GT(counter.Calls(), 0) << "the counter is not in place";
    }
    EXPECT_EQ(all.Length(), 19999);
    EXPECT_LE(characters, 2 * static_cast<long long>(text.size()));
}

TEST(KxStringSection, CharSeparator) {
    EXPECT_EQ(W(CKxString(L"key=value").Section('=', 0, 0)), L"key");
    EXPECT_TRUE(CKxString(L"=v").Section('=', 0, 0).IsNull());
    EXPECT_EQ(W(CKxString(L"none").Section('=', 0, 0)), L"none");
    EXPECT_TRUE(CKxString(L",a").Section(',', 0, 0, 1).IsNull());
    EXPECT_EQ(W(CKxString(L",a").Section(',', 0, 1, 1)), L"a");
    EXPECT_EQ(W(CKxString(L"a=b=c").Section('=', 1)), L"b=c");
    EXPECT_EQ(W(CKxString(L"\u00E9/\u20AC/x").Section('/', 1, 1)), L"\u20AC");
}
