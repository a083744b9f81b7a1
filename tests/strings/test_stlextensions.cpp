// Narrow/wide/BSTR conversions, comparisons and text helpers of CStlExtensions.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "CStlExtensions.h"

using namespace KxTamarind;

namespace {

// The public Windows-1252 code chart, 0x80 to 0x9F (0 marks the five bytes
// the chart leaves undefined); every other byte is its own code point.
const std::uint32_t kCp1252High[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178,
};

std::uint32_t Cp1252(unsigned byte) {
    if (byte >= 0x80 && byte <= 0x9F && kCp1252High[byte - 0x80] != 0) {
        return kCp1252High[byte - 0x80];
    }
    return byte;
}

std::string AllBytes() {
    std::string all(256, '\0');
    for (unsigned i = 0; i < 256; ++i) {
        all[i] = static_cast<char>(i);
    }
    return all;
}

} // namespace

TEST(StlExtensionsCodePage, WideningFollowsWindows1252ForAllBytes) {
    const std::wstring wide = CStlExtensions::string2wstring(AllBytes());
    ASSERT_EQ(wide.size(), 256u);
    for (unsigned i = 0; i < 256; ++i) {
        EXPECT_EQ(static_cast<std::uint32_t>(wide[i]), Cp1252(i)) << "byte " << i;
        EXPECT_EQ(static_cast<std::uint32_t>(CStlExtensions::WidenChar(static_cast<char>(i))),
                  Cp1252(i));
    }
    for (unsigned undefined : {0x81u, 0x8Du, 0x8Fu, 0x90u, 0x9Du}) {
        EXPECT_EQ(static_cast<std::uint32_t>(wide[undefined]), undefined);
    }
    EXPECT_EQ(wide[0x80], L'\x20AC');
}

TEST(StlExtensionsCodePage, NarrowingRoundTripsEveryByte) {
    const std::string all = AllBytes();
    EXPECT_EQ(CStlExtensions::wstring2string(CStlExtensions::string2wstring(all)), all);
}

TEST(StlExtensionsCodePage, NarrowingMapsTheTwentySevenHighCodePointsBack) {
    unsigned mapped = 0;
    for (unsigned i = 0x80; i <= 0x9F; ++i) {
        if (kCp1252High[i - 0x80] == 0) {
            continue;
        }
        const wchar_t cp = static_cast<wchar_t>(kCp1252High[i - 0x80]);
        EXPECT_EQ(static_cast<unsigned char>(CStlExtensions::NarrowChar(cp)), i);
        // The C1 control with the same number has no byte of its own.
        EXPECT_EQ(CStlExtensions::NarrowChar(static_cast<wchar_t>(i)), '?') << i;
        ++mapped;
    }
    EXPECT_EQ(mapped, 27u);
}

TEST(StlExtensionsCodePage, NarrowingOfEveryOtherCodePointIsQuestionMark) {
    EXPECT_EQ(CStlExtensions::NarrowChar(L'\x20AC'), '\x80');
    EXPECT_EQ(CStlExtensions::NarrowChar(L'\x0080'), '?');
    EXPECT_EQ(CStlExtensions::NarrowChar(L'\x00E9'), '\xE9');
    EXPECT_EQ(CStlExtensions::NarrowChar(L'\x0081'), '\x81');
    EXPECT_EQ(CStlExtensions::NarrowChar(L'\x0100'), '?');
    EXPECT_EQ(CStlExtensions::NarrowChar(L'\x4E2D'), '?');
    EXPECT_EQ(CStlExtensions::NarrowChar(static_cast<wchar_t>(0x10FFFF)), '?');
    EXPECT_EQ(CStlExtensions::NarrowChar(static_cast<wchar_t>(-23)), '?');
    // The result keeps the input's length, embedded NULs included.
    const std::wstring wide(L"a\0\x20AC\x4E2D", 4);
    EXPECT_EQ(CStlExtensions::wstring2string(wide), std::string("a\0\x80?", 4));
}

TEST(StlExtensionsConversion, BstrToNarrowAndWideUseTheWholeLength) {
    BSTR bstr = SysAllocStringLen(L"x\0\x20AC", 3);
    ASSERT_NE(bstr, nullptr);
    EXPECT_EQ(CStlExtensions::bstr2string(bstr), std::string("x\0\x80", 3));
    EXPECT_EQ(CStlExtensions::bstr2wstring(bstr), std::wstring(L"x\0\x20AC", 3));
    SysFreeString(bstr);
    BSTR null = nullptr;
    EXPECT_EQ(CStlExtensions::bstr2string(null), "");
    EXPECT_EQ(CStlExtensions::bstr2wstring(null), L"");
    EXPECT_EQ(CStlExtensions::pchar2wstring(nullptr), L"");
    EXPECT_EQ(CStlExtensions::pchar2wstring("A\x9F"), L"A\x0178");
}

TEST(StlExtensionsConversion, String2BstrUsesUtf8AndReplacesTheTarget) {
    BSTR target = SysAllocString(L"old");
    EXPECT_EQ(CStlExtensions::string2bstr(target, "\xC3\xA9t\xC3\xA9"), S_OK);
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(SysStringLen(target), 3u);
    EXPECT_EQ(std::wstring(target), L"\x00E9t\x00E9");
    // Conversion stops at the first NUL (length -1).
    EXPECT_EQ(CStlExtensions::string2bstr(target, std::string("ab\0cd", 5)), S_OK);
    EXPECT_EQ(SysStringLen(target), 2u);
    EXPECT_EQ(CStlExtensions::string2bstr(target, ""), S_OK);
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(SysStringLen(target), 0u);
    SysFreeString(target);

    CComBSTR owned(L"previous");
    EXPECT_EQ(CStlExtensions::string2bstr(owned, "new"), S_OK);
    EXPECT_TRUE(owned == L"new");
    BSTR returned = CStlExtensions::string2bstr(std::string("r"));
    EXPECT_EQ(std::wstring(returned), L"r");
    SysFreeString(returned);
}

TEST(StlExtensionsConversion, Wstring2BstrKeepsEmbeddedNuls) {
    BSTR target = nullptr;
    EXPECT_EQ(CStlExtensions::wstring2bstr(target, std::wstring(L"a\0b", 3)), S_OK);
    EXPECT_EQ(SysStringLen(target), 3u);
    EXPECT_EQ(CStlExtensions::bstr2wstring(target), std::wstring(L"a\0b", 3));
    EXPECT_EQ(CStlExtensions::wstring2bstr(target, L"z"), S_OK);
    EXPECT_EQ(std::wstring(target), L"z");
    SysFreeString(target);
    CComBSTR owned;
    EXPECT_EQ(CStlExtensions::wstring2bstr(owned, L"w"), S_OK);
    EXPECT_TRUE(owned == L"w");
}

TEST(StlExtensionsIsEqual, WideAgainstNarrow) {
    EXPECT_TRUE(CStlExtensions::IsEqual(L"a?", "a\xE9"));
    EXPECT_FALSE(CStlExtensions::IsEqual(L"a\x00E9", "a\xE9"));
    EXPECT_FALSE(CStlExtensions::IsEqual(L"ab", "a"));
    EXPECT_FALSE(CStlExtensions::IsEqual(L"a", "ab"));
    EXPECT_TRUE(CStlExtensions::IsEqual(L"", ""));
    EXPECT_TRUE(CStlExtensions::IsEqual(static_cast<const wchar_t*>(nullptr), ""));
    EXPECT_FALSE(CStlExtensions::IsEqual(L"A", "a"));
    EXPECT_TRUE(CStlExtensions::IsEqual(std::wstring(L"abc"), std::string("abc")));
    EXPECT_TRUE(CStlExtensions::IsEqual(std::wstring(L"x?"), "x\x80"));
    EXPECT_FALSE(CStlExtensions::IsEqual(std::wstring(L"x\x20AC"), "x\x80"));
}

TEST(StlExtensionsIsEqual, BstrFormsCompareLengthFirst) {
    CComBSTR abc(L"abc");
    EXPECT_TRUE(CStlExtensions::IsEqual(abc.m_str, "abc"));
    EXPECT_TRUE(CStlExtensions::IsEqual(abc, std::string("abc")));
    EXPECT_FALSE(CStlExtensions::IsEqual(abc, "ab"));
    EXPECT_FALSE(CStlExtensions::IsEqual(abc, "abcd"));
    // An embedded NUL never matches a narrow byte.
    CComBSTR withNul(3, L"a\0c");
    EXPECT_FALSE(CStlExtensions::IsEqual(withNul, "abc"));
    EXPECT_TRUE(CStlExtensions::IsEqual(withNul, std::wstring(L"a\0c", 3)));
    EXPECT_FALSE(CStlExtensions::IsEqual(withNul, L"a"));
    // Null BSTRs are empty texts.
    BSTR null = nullptr;
    EXPECT_TRUE(CStlExtensions::IsEqual(null, ""));
    EXPECT_TRUE(CStlExtensions::IsEqual(null, L""));
    EXPECT_FALSE(CStlExtensions::IsEqual(null, "x"));
    EXPECT_TRUE(CStlExtensions::IsEqual(abc, L"abc"));
    EXPECT_FALSE(CStlExtensions::IsEqual(abc, L"abC"));
    EXPECT_TRUE(CStlExtensions::IsEqual(abc.m_str, std::wstring(L"abc")));
}

TEST(StlExtensionsText, CaseStartsEnds) {
    EXPECT_EQ(CStlExtensions::ToUpper(std::string("aBc1")), "ABC1");
    EXPECT_EQ(CStlExtensions::ToLower(std::string("aBc1")), "abc1");
    EXPECT_EQ(CStlExtensions::ToUpper(std::wstring(L"a\x00E9")), L"A\x00C9");
    std::string s("xY");
    CStlExtensions::MakeUppercase(s);
    EXPECT_EQ(s, "XY");
    CStlExtensions::MakeLowercase(s);
    EXPECT_EQ(s, "xy");
    EXPECT_TRUE(CStlExtensions::StartsWith(std::string("abc"), std::string("ab")));
    EXPECT_TRUE(CStlExtensions::StartsWith(std::string("abc"), std::string("")));
    EXPECT_FALSE(CStlExtensions::StartsWith(std::string("ab"), std::string("abc")));
    EXPECT_TRUE(CStlExtensions::EndsWith(std::string("abc"), std::string("bc")));
    EXPECT_FALSE(CStlExtensions::EndsWith(std::string("abc"), std::string("ab")));
    EXPECT_FALSE(CStlExtensions::EndsWith(std::string("c"), std::string("bc")));
    EXPECT_TRUE(CStlExtensions::EndsWith(std::wstring(L"abc"), std::wstring(L"c")));
}

TEST(StlExtensionsText, TrimWithDefaultAndExplicitSets) {
    std::string s(" \t\r\n\v\fmid dle \f\v\n\r\t ");
    EXPECT_EQ(CStlExtensions::Trim(s), "mid dle");
    std::string front("  x  ");
    EXPECT_EQ(CStlExtensions::TrimFront(front), "x  ");
    std::string end("  x  ");
    EXPECT_EQ(CStlExtensions::TrimEnd(end), "  x");
    std::string braces("{{a}}");
    EXPECT_EQ(CStlExtensions::Trim(braces, "{}"), "a");
    std::string all("   ");
    EXPECT_EQ(CStlExtensions::Trim(all), "");
    std::wstring w(L"\t w \n");
    EXPECT_EQ(CStlExtensions::Trim(w), L"w");
}

TEST(StlExtensionsText, SplitString) {
    typedef CStlExtensions::StringList L;
    EXPECT_EQ(CStlExtensions::SplitString("a,,b", ",", false), (L{"a", "b"}));
    EXPECT_EQ(CStlExtensions::SplitString("a,,b", ",", true), (L{"a", "", "b"}));
    EXPECT_EQ(CStlExtensions::SplitString("", ",", false), L{});
    EXPECT_EQ(CStlExtensions::SplitString("", ",", true), (L{""}));
    EXPECT_EQ(CStlExtensions::SplitString("a,b,", ",", true), (L{"a", "b"}));
    EXPECT_EQ(CStlExtensions::SplitString(",a", ",", true), (L{"", "a"}));
    EXPECT_EQ(CStlExtensions::SplitString("a;b c", "; ", false), (L{"a", "b", "c"}));
    EXPECT_EQ(CStlExtensions::SplitString("abc", "", false), (L{"abc"}));
    EXPECT_EQ(CStlExtensions::SplitString(std::wstring(L"x/y"), std::wstring(L"/"), false),
              (CStlExtensions::WStringList{L"x", L"y"}));
}

TEST(StlExtensionsText, MergeString) {
    EXPECT_EQ(CStlExtensions::MergeString({"a", "", "b"}, ',', true), "a,,b");
    EXPECT_EQ(CStlExtensions::MergeString({"a", "", "b"}, ',', false), "a,b");
    EXPECT_EQ(CStlExtensions::MergeString({"", "a"}, ',', false), "a");
    EXPECT_EQ(CStlExtensions::MergeString({"", ""}, ',', true), ",");
    EXPECT_EQ(CStlExtensions::MergeString(CStlExtensions::StringList{}, ',', true), "");
    EXPECT_EQ(CStlExtensions::MergeString(CStlExtensions::WStringList{L"p", L"q"}, L'/', false),
              L"p/q");
}

TEST(StlExtensionsText, ReplaceString) {
    EXPECT_EQ(CStlExtensions::ReplaceString(std::string("aaaa"), "aa", "b"), "bb");
    EXPECT_EQ(CStlExtensions::ReplaceString(std::string("aaa"), "aa", "b"), "ba");
    // The replacement is not searched again.
    EXPECT_EQ(CStlExtensions::ReplaceString(std::string("ab"), "a", "aa"), "aab");
    EXPECT_EQ(CStlExtensions::ReplaceString(std::string("abc"), "", "x"), "abc");
    EXPECT_EQ(CStlExtensions::ReplaceString(std::string("abc"), "b", ""), "ac");
    EXPECT_EQ(CStlExtensions::ReplaceString(std::wstring(L"a\\b\\\\c"), L"\\", L"/"), L"a/b//c");
    EXPECT_EQ(CStlExtensions::ReplaceString(std::wstring(L"x"), L"", L"y"), L"x");
}

TEST(StlExtensionsText, Long2String) {
    EXPECT_EQ(CStlExtensions::long2string(0), "0");
    EXPECT_EQ(CStlExtensions::long2string(-42), "-42");
    EXPECT_EQ(CStlExtensions::long2string(2147483647L), "2147483647");
}

namespace {
void CaptureSink(const char* text, void* context) {
    static_cast<std::string*>(context)->append(text);
}
} // namespace

TEST(StlExtensionsText, DebugPrintWritesToDebugOutput) {
    std::string captured;
    DebugOutputSink previous = SetDebugOutputSink(&CaptureSink, &captured);
    CStlExtensions::DebugPrint("hello\n");
    SetDebugOutputSink(previous, nullptr);
    EXPECT_EQ(captured, "hello\n");
}

TEST(StlExtensionsBstr, CopyAndClearArrays) {
    BSTR single = SysAllocString(L"s");
    BSTR copy = SysAllocString(L"replaced");
    EXPECT_EQ(CStlExtensions::CopyBSTR(copy, single), S_OK);
    EXPECT_NE(copy, single);
    EXPECT_EQ(std::wstring(copy), L"s");
    EXPECT_EQ(CStlExtensions::CopyBSTR(copy, copy), S_OK);
    EXPECT_EQ(std::wstring(copy), L"s");
    BSTR null = nullptr;
    EXPECT_EQ(CStlExtensions::CopyBSTR(copy, null), S_OK);
    EXPECT_EQ(copy, nullptr);
    CStlExtensions::ClearBSTR(single);
    EXPECT_EQ(single, nullptr);

    BSTR* created = CStlExtensions::CreateArrayOfBSTR(3);
    ASSERT_NE(created, nullptr);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(created[i], nullptr);
    }
    created[0] = SysAllocString(L"zero");
    created[2] = SysAllocStringLen(L"t\0o", 3);
    long count = 3;
    long copyCount = 0;
    BSTR* copies = nullptr;
    EXPECT_EQ(CStlExtensions::CopyBSTRs(copyCount, copies, count, created), S_OK);
    ASSERT_EQ(copyCount, 3);
    EXPECT_EQ(std::wstring(copies[0]), L"zero");
    EXPECT_EQ(copies[1], nullptr);
    EXPECT_EQ(CStlExtensions::bstr2wstring(copies[2]), std::wstring(L"t\0o", 3));
    EXPECT_NE(copies[0], created[0]);
    // Copying an array onto itself keeps its content.
    EXPECT_EQ(CStlExtensions::CopyBSTRs(copyCount, copies, copyCount, copies), S_OK);
    EXPECT_EQ(std::wstring(copies[0]), L"zero");
    EXPECT_EQ(CStlExtensions::CopyBSTRs(copyCount, copies, -1, created), E_INVALIDARG);
    EXPECT_EQ(CStlExtensions::CopyBSTRs(copyCount, copies, 2, nullptr), E_POINTER);
    EXPECT_EQ(copyCount, 3);
    CStlExtensions::ClearBSTRs(copyCount, copies);
    EXPECT_EQ(copyCount, 0);
    EXPECT_EQ(copies, nullptr);
    CStlExtensions::ClearBSTRs(count, created);
    EXPECT_EQ(created, nullptr);
}
