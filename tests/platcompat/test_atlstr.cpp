// CAtlStringA: value operations and locale-independent formatting.
#include <climits>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platcompat/atlstr.h"

namespace {

std::string Bytes(const CAtlStringA& s) {
    return std::string(s.GetString(), static_cast<std::size_t>(s.GetLength()));
}

// Edges only: null and out-of-range arguments, wide sources, embedded NULs,
// arguments aliasing the string, bytes above 0x7F.
TEST(AtlString, ValueOperationsAtTheirEdges) {
    EXPECT_TRUE(CAtlStringA(static_cast<const char*>(nullptr)).IsEmpty());
    EXPECT_EQ(Bytes(CAtlStringA("abcdef", 3) + CAtlStringA('z', 2)), "abczz");
    EXPECT_EQ(Bytes(CAtlStringA(L"\u00e9\U0001F600")), "\xC3\xA9\xF0\x9F\x98\x80");
    CAtlStringA s("first");
    CAtlStringA moved(std::move(s));
    EXPECT_EQ(moved, "first");
    s = L"\u20ac";
    EXPECT_EQ(Bytes(s), "\xE2\x82\xAC");
    s = static_cast<const char*>(nullptr);
    EXPECT_TRUE(s.IsEmpty());

    s = "abc";
    EXPECT_EQ(s.GetAt(3), '\0'); // out of range reads as NUL
    s.SetAt(0, 'X');
    s.SetAt(9, 'Y'); // ignored
    s += 'd';
    s.Append("efg", 2);
    EXPECT_EQ("<" + s + '>', "<Xbcdef>");
    char* buf = s.GetBuffer(20);
    std::strcpy(buf, "raw");
    s.ReleaseBuffer();
    EXPECT_EQ(s.GetLength(), 3);
    std::memcpy(s.GetBufferSetLength(5), "12345", 5);
    s.ReleaseBuffer(4);
    EXPECT_EQ(s, "1234");

    const CAtlStringA h("hello world");
    EXPECT_EQ(h.Left(50) + "|" + h.Mid(3, 2) + "|" + h.Mid(20, 2) + "|" + h.Right(3) + "|" +
                  h.Right(-1),
              "hello world|lo||rld|");
    const int finds[] = {h.Find('o', 5),  h.Find("wor"),      h.Find("xyz"),
                         h.Find('h', 99), h.ReverseFind('o'), h.ReverseFind('q')};
    EXPECT_EQ(std::vector<int>(finds, finds + 6), (std::vector<int>{7, 6, -1, -1, 7, -1}));

    CAtlStringA r("a.b.c");
    EXPECT_EQ(r.Replace('.', '/'), 2);
    EXPECT_EQ(r.Replace("/", "::"), 2);
    EXPECT_EQ(r, "a::b::c");
    EXPECT_EQ(r.Replace("::", ""), 2);
    EXPECT_EQ(r.Replace("", "x"), 0);
    EXPECT_EQ(r.Replace("b", r.GetString()), 1); // replacement aliases the string
    EXPECT_EQ(r, "aabcc");
}

TEST(AtlString, CaseTrimAndCompare) {
    CAtlStringA s("MiXeD \xC3\x84");
    EXPECT_EQ(Bytes(s.MakeUpper()), "MIXED \xC3\x84"); // non-ASCII bytes untouched
    EXPECT_EQ(Bytes(s.MakeLower()), "mixed \xC3\x84");
    CAtlStringA t(" \t\r\nab c \v\f");
    EXPECT_EQ(CAtlStringA(t).TrimLeft(), "ab c \v\f");
    EXPECT_EQ(t.Trim(), "ab c");
    EXPECT_EQ(CAtlStringA("xxaxx").Trim('x'), "a");
    EXPECT_EQ(CAtlStringA("-+a+-").TrimRight("+-"), "-+a");

    EXPECT_GT(CAtlStringA("abc").Compare("ab"), 0);
    EXPECT_GT(CAtlStringA("\xE9").Compare("z"), 0); // bytes compare unsigned
    EXPECT_EQ(CAtlStringA("").Compare(nullptr), 0);
    EXPECT_LT(CAtlStringA("a").CompareNoCase("B"), 0);
    EXPECT_TRUE("a" < CAtlStringA("b"));
    EXPECT_FALSE(CAtlStringA("a\0b", 3) == CAtlStringA("a")); // embedded NUL counts
}

TEST(AtlStringFormat, WideArgumentsUnderTheCLocale) {
    ASSERT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
    const wchar_t* text = L"\u00e9\u20ac\U0001F600";
    const std::string utf8 = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
    CAtlStringA s;
    s.Format("[%S]", text);
    EXPECT_EQ(Bytes(s), "[" + utf8 + "]");
    s.Format("%ls|%lS|%hs|%hS", text, text, "n", "m");
    EXPECT_EQ(Bytes(s), utf8 + "|" + utf8 + "|n|m");
    s.Format("%C%lc%c%hC", static_cast<wint_t>(0x20AC), static_cast<wint_t>(0x1F600), 'x', 'y');
    EXPECT_EQ(Bytes(s), "\xE2\x82\xAC\xF0\x9F\x98\x80xy");
    s.Format("%S|%s", static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr));
    EXPECT_EQ(Bytes(s), "(null)|(null)");
    // Precision counts characters; width pads to characters.
    s.Format("%.2S|%5S|%-4S|%*S", text, L"ab", L"\u00e9", 3, L"\u20ac");
    EXPECT_EQ(Bytes(s), "\xC3\xA9\xE2\x82\xAC|   ab|\xC3\xA9   |  \xE2\x82\xAC");
    const wchar_t unterminated[2] = {L'x', L'y'};
    s.Format("%.2S", unterminated);
    EXPECT_EQ(s, "xy");
}

TEST(AtlStringFormat, PrintfConversions) {
    CAtlStringA s;
    s.Format("%d %5d|%-5d|%05d %+d %x %X %o %u", -7, 42, 42, 42, 3, 255, 255, 8, 4000000000u);
    EXPECT_EQ(s, "-7    42|42   |00042 +3 ff FF 10 4000000000");
    s.Format("%*d|%-*d|%*d|%.*f|%.*f", 4, 1, 4, 2, -4, 3, 2, 3.14159, -1, 0.5);
    EXPECT_EQ(s, "   1|2   |3   |3.14|0.500000");
    s.Format("%lld %I64d %I64u %llx", LLONG_MIN, static_cast<long long>(-5),
             static_cast<unsigned long long>(ULLONG_MAX), 0x1234567890ULL);
    EXPECT_EQ(s, "-9223372036854775808 -5 18446744073709551615 1234567890");
    s.Format("%zu %ld %hd %hhd %jd %td", static_cast<std::size_t>(12), 123456L, 70000, 300,
             static_cast<intmax_t>(-9), static_cast<std::ptrdiff_t>(-3));
    EXPECT_EQ(s, "12 123456 4464 44 -9 -3");
    s.Format("%%|%5.1f|%e|%g|%Lf|%c|%-3s|%.2s", 2.25, 1.5, 0.0001, 1.5L, 'q', "a", "abc");
    EXPECT_EQ(s, "%|  2.2|1.500000e+00|0.0001|1.500000|q|a  |ab");
    int untouched = 77;
    s.Format("a%nb%d", &untouched, 5); // %n consumes its pointer but writes nothing
    EXPECT_EQ(s, "ab5");
    EXPECT_EQ(untouched, 77);
    s.Format("%y|%d|%", 1); // unknown and incomplete conversions stay as text
    EXPECT_EQ(s, "%y|1|%");
    s.AppendFormat("+%s", "tail");
    EXPECT_EQ(s, "%y|1|%+tail");
}

TEST(AtlStringFormat, LongOutputsHaveNoLimit) {
    const std::string big(10000, 'x');
    CAtlStringA s;
    s.Format("<%s>", big.c_str());
    EXPECT_EQ(Bytes(s), "<" + big + ">");
    s.Format("%6000d", 7);
    EXPECT_EQ(s.GetLength(), 6000);
    EXPECT_EQ(s.Right(2), " 7");
    const std::wstring wide(5000, L'\u20ac');
    s.Format("%S", wide.c_str());
    EXPECT_EQ(s.GetLength(), 15000);
    s.Format("%s", s.GetString()); // an argument aliasing the target
    EXPECT_EQ(s.GetLength(), 15000);
}

} // namespace
