// CKxString: construction, BSTR ownership, appending, editing, extraction,
// case, white space and formatting.
#include <gtest/gtest.h>

#include <clocale>
#include <cwchar>
#include <stdexcept>
#include <string>

#include "CKxString.h"

using namespace KxTamarind;

namespace {

// U+00E9, U+20AC and U+1F600 in UTF-8 and as wide text.
const char kUtf8[] = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
const wchar_t kWide[] = L"\u00E9\u20AC\U0001F600";

std::wstring W(const CKxString& s) {
    return s.ToStdWString();
}

} // namespace

TEST(KxStringConstruct, NullAndEmptyDifferOnlyWhereStated) {
    CKxString null;
    CKxString empty(L"");
    EXPECT_TRUE(null.IsNull());
    EXPECT_FALSE(empty.IsNull());
    EXPECT_EQ(null.Length(), 0);
    EXPECT_EQ(empty.Length(), 0);
    EXPECT_TRUE(null.IsEqual(empty));
    EXPECT_TRUE(empty.IsEqual(null));
    EXPECT_FALSE(null == empty);
    EXPECT_FALSE(empty == null);
    EXPECT_TRUE(null != empty);
    EXPECT_TRUE(CKxString::null().IsNull());
    EXPECT_EQ(static_cast<wchar_t*>(null), nullptr);
}

TEST(KxStringConstruct, NarrowTextIsUtf8) {
    CKxString s(kUtf8);
    EXPECT_EQ(W(s), std::wstring(kWide));
    EXPECT_EQ(s.Length(), 3);
    EXPECT_EQ(s.ToStdString(), std::string(kUtf8));
    EXPECT_EQ(W(CKxString(std::string(kUtf8))), std::wstring(kWide));
    EXPECT_TRUE(CKxString(static_cast<const char*>(nullptr)).IsNull());
    EXPECT_TRUE(CKxString(static_cast<const wchar_t*>(nullptr)).IsNull());
    // std::string converts up to its first NUL.
    EXPECT_EQ(W(CKxString(std::string("ab\0cd", 5))), L"ab");
}

TEST(KxStringConstruct, OneCharacterConstructor) {
    EXPECT_EQ(W(CKxString('A')), L"A");
    CKxString nul('\0');
    EXPECT_FALSE(nul.IsNull());
    EXPECT_EQ(nul.Length(), 0);
    // A lone byte above 0x7F is no UTF-8 text.
    EXPECT_EQ(W(CKxString(static_cast<char>(0xE9))), L"\uFFFD");
    CKxString s;
    s = 'z';
    EXPECT_EQ(W(s), L"z");
}

TEST(KxStringConstruct, CopiesKeepEmbeddedNuls) {
    const std::wstring text(L"a\0b\0", 4);
    CKxString s(text);
    EXPECT_EQ(s.Length(), 4);
    CKxString copy(s);
    EXPECT_EQ(W(copy), text);
    CComBSTR bstr(4, text.data());
    EXPECT_EQ(W(CKxString(bstr)), text);
    CKxString assigned;
    assigned = bstr;
    EXPECT_EQ(W(assigned), text);
    EXPECT_EQ(s.ToStdString(), std::string("a\0b\0", 4));
    // const wchar_t* copies only up to the terminator.
    EXPECT_EQ(CKxString(text.c_str()).Length(), 1);
}

TEST(KxStringConstruct, MoveAndSelfAssignment) {
    CKxString a(L"abc");
    BSTR raw = a;
    CKxString b(std::move(a));
    EXPECT_TRUE(a.IsNull());
    EXPECT_EQ(static_cast<wchar_t*>(b), raw);
    b = b;
    EXPECT_EQ(W(b), L"abc");
    CKxString c;
    c = std::move(b);
    EXPECT_EQ(static_cast<wchar_t*>(c), raw);
}

TEST(KxStringBstr, DetachAttachCopyAssign) {
    CKxString s(L"abc");
    BSTR copy = s.CopyBSTR();
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, static_cast<wchar_t*>(s));
    EXPECT_EQ(SysStringLen(copy), 3u);
    EXPECT_EQ(std::wstring(copy), L"abc");

    BSTR detached = s.DetachBSTR();
    EXPECT_TRUE(s.IsNull());
    EXPECT_EQ(std::wstring(detached), L"abc");

    s.AttachBSTR(detached); // owns it again; freed by the destructor
    EXPECT_EQ(static_cast<wchar_t*>(s), detached);
    s.AttachBSTR(detached); // attaching its own BSTR must not free it
    EXPECT_EQ(W(s), L"abc");

    s.AssignBSTR(copy); // copies; `copy` stays ours
    EXPECT_NE(static_cast<wchar_t*>(s), copy);
    EXPECT_EQ(W(s), L"abc");
    s.AssignBSTR(s); // its own buffer
    EXPECT_EQ(W(s), L"abc");
    SysFreeString(copy);

    s.AssignBSTR(nullptr);
    EXPECT_TRUE(s.IsNull());
    EXPECT_EQ(CKxString().CopyBSTR(), nullptr);
}

TEST(KxStringBstr, AddressOperatorIsAnOutParameter) {
    CKxString s;
    BSTR* out = &s;
    *out = SysAllocString(L"out");
    EXPECT_EQ(W(s), L"out");
    s.Clear();
    EXPECT_TRUE(s.IsNull());
    CComBSTR c = CKxString(L"x\0y").ToCComBSTR();
    EXPECT_EQ(c.Length(), 1u);
    EXPECT_EQ(CKxString().ToCComBSTR().m_str, nullptr);
}

TEST(KxStringAccess, AtAndSetAt) {
    CKxString s(L"abc");
    EXPECT_EQ(s.At(0), L'a');
    EXPECT_EQ(s.At(2), L'c');
    EXPECT_EQ(s.At(3), L'\0');
    EXPECT_EQ(s.At(-1), L'\0');
    EXPECT_EQ(CKxString().At(0), L'\0');
    EXPECT_TRUE(s.SetAt(1, L'\u20AC'));
    EXPECT_TRUE(s.SetAt(0, 'X'));
    EXPECT_FALSE(s.SetAt(3, L'z'));
    EXPECT_FALSE(s.SetAt(-1, 'z'));
    EXPECT_EQ(W(s), L"X\u20ACc");
    CKxString null;
    EXPECT_FALSE(null.SetAt(0, L'a'));
    EXPECT_TRUE(null.IsNull());
}

TEST(KxStringAppend, CharAppendsACountOfZeros) {
    CKxString s(L"xy");
    EXPECT_EQ(s.Append('A'), S_OK);
    ASSERT_EQ(s.Length(), 2 + 65);
    EXPECT_EQ(s.At(1), L'y');
    for (int i = 2; i < 67; ++i) {
        ASSERT_EQ(s.At(i), L'\0') << i;
    }
    s += 'B';
    EXPECT_EQ(s.Length(), 67 + 66);
    EXPECT_EQ(s.Append(L'\x3'), S_OK);
    EXPECT_EQ(s.Length(), 133 + 3);
    // A byte above 0x7F is a negative count: nothing is appended.
    EXPECT_EQ(s.Append(static_cast<char>(0xE9)), S_OK);
    EXPECT_EQ(s.Length(), 136);
    // Too long: refused, value unchanged.
    EXPECT_EQ(s.Append(static_cast<wchar_t>(0x7FFFFFFF)), E_OUTOFMEMORY);
    EXPECT_EQ(s.Length(), 136);
}

TEST(KxStringAppend, TextAppends) {
    CKxString s(L"ab");
    EXPECT_EQ(s.Append(L"cd"), S_OK);
    EXPECT_EQ(s.Append(CKxString("e")), S_OK);
    EXPECT_EQ(s.Append(kUtf8), S_OK);
    EXPECT_EQ(s.Append(L"xyz", 2), S_OK);
    EXPECT_EQ(s.Append(static_cast<const wchar_t*>(nullptr)), S_OK);
    EXPECT_EQ(s.Append(static_cast<const char*>(nullptr)), S_OK);
    EXPECT_EQ(s.Append(L"q", -1), E_INVALIDARG);
    CComBSTR bstr(L"!");
    EXPECT_EQ(s.Append(bstr), S_OK);
    EXPECT_EQ(W(s), std::wstring(L"abcde") + kWide + L"xy!");

    BSTR withNul = SysAllocStringLen(L"1\0"
                                     L"2",
                                     3);
    EXPECT_EQ(s.AppendBSTR(withNul), S_OK);
    SysFreeString(withNul);
    EXPECT_EQ(s.Length(), 11 + 3);
    EXPECT_EQ(s.At(12), L'\0');
    EXPECT_EQ(s.At(13), L'2');

    CKxString self(L"ab");
    self.Append(self);
    EXPECT_EQ(W(self), L"abab");
    self += self;
    EXPECT_EQ(W(self), L"abababab");

    CKxString t;
    t += std::string("n");
    t += std::wstring(L"\0w", 2);
    t += L"x";
    t += "y";
    t += CComBSTR(L"z");
    EXPECT_EQ(W(t), std::wstring(L"n\0wxyz", 6));
}

TEST(KxStringAppend, AppendingNothingToNullGivesEmpty) {
    CKxString s;
    EXPECT_EQ(s.Append(CKxString()), S_OK);
    EXPECT_FALSE(s.IsNull());
    EXPECT_EQ(s.Length(), 0);
}

TEST(KxStringAppend, AppendBytesKeepsTheByteLength) {
    CKxString s;
    EXPECT_EQ(s.AppendBytes("\x41\x00", 2), S_OK);
    EXPECT_EQ(s.Length(), 0);
    EXPECT_EQ(SysStringByteLen(s), 2u);
    BSTR copy = s.CopyBSTR();
    EXPECT_EQ(SysStringByteLen(copy), 2u);
    SysFreeString(copy);
    EXPECT_EQ(s.AppendBytes("\x00\x00\x42\x00", 4), S_OK);
    EXPECT_EQ(SysStringByteLen(s), 6u);
    EXPECT_EQ(s.Length(), 1);
    EXPECT_EQ(s.At(0), L'A');
    EXPECT_EQ(s.AppendBytes("\x00\x00", 2), S_OK);
    EXPECT_EQ(W(s), L"AB");

    EXPECT_EQ(s.AppendBytes("x", -1), E_INVALIDARG);
    EXPECT_EQ(s.AppendBytes(nullptr, 3), E_POINTER);
    EXPECT_EQ(s.AppendBytes(nullptr, 0), S_OK);
    EXPECT_EQ(W(s), L"AB");
}

TEST(KxStringEdit, InsertAndPositionalReplace) {
    CKxString s(L"abc");
    s.Insert(1, L"X");
    EXPECT_EQ(W(s), L"aXbc");
    s.Insert(4, L"!");
    EXPECT_EQ(W(s), L"aXbc!");
    EXPECT_THROW(s.Insert(6, L"?"), std::out_of_range);
    EXPECT_THROW(s.Insert(-1, L"?"), std::out_of_range);
    EXPECT_EQ(W(s), L"aXbc!");

    s.Replace(1, 1, L"YZ");
    EXPECT_EQ(W(s), L"aYZbc!");
    s.Replace(3, -1, L"-");
    EXPECT_EQ(W(s), L"aYZ-");
    s.Replace(4, 0, L"+");
    EXPECT_EQ(W(s), L"aYZ-+");
    EXPECT_THROW(s.Replace(6, 1, L"?"), std::out_of_range);
    EXPECT_EQ(W(s), L"aYZ-+");

    CKxString null;
    null.Insert(0, L"n");
    EXPECT_EQ(W(null), L"n");
}

TEST(KxStringEdit, PrependFamily) {
    CKxString s(L"z");
    s.Prepend("y");
    s.Prepend('x');
    s.Prepend(L"w");
    BSTR b = SysAllocString(L"v");
    s.PrependBSTR(b);
    SysFreeString(b);
    s.Prepend(CComBSTR(L"u"));
    s.Prepend(CKxString(kUtf8));
    EXPECT_EQ(W(s), std::wstring(kWide) + L"uvwxyz");
}

TEST(KxStringEdit, ReplaceText) {
    CKxString s(L"a-b-c");
    s.Replace(L"-", L"--");
    EXPECT_EQ(W(s), L"a--b--c");
    CKxString t(L"aaa");
    t.Replace(L"aa", L"b");
    EXPECT_EQ(W(t), L"ba");
    t.Replace(L"", L"x");
    EXPECT_EQ(W(t), L"ba");
    t.Replace(L"bax", L"x");
    EXPECT_EQ(W(t), L"ba");
    t.Replace(L"bb", L"x");
    EXPECT_EQ(W(t), L"ba");
    t.Replace(L"ba", L"whole");
    EXPECT_EQ(W(t), L"whole");

    CKxString euro(L"1\u20AC 2\u20AC");
    euro.Replace(L"\u20AC", L"EUR");
    EXPECT_EQ(W(euro), L"1EUR 2EUR");
    // U+00AC shares the low byte of U+20AC: never replaced for it.
    CKxString notSign(L"a\u00ACb");
    notSign.Replace(L"\u20AC", L"EUR");
    EXPECT_EQ(W(notSign), L"a\u00ACb");
}

TEST(KxStringExtract, SubstrLeftMidRight) {
    CKxString s(L"abc");
    EXPECT_EQ(W(s.Right(10)), L"abc");
    EXPECT_TRUE(s.Substr(3, 1).IsNull());
    EXPECT_TRUE(s.Substr(-1, 1).IsNull());
    EXPECT_EQ(W(s.Substr(1, 1)), L"b");
    EXPECT_EQ(W(s.Substr(1, 10)), L"bc");
    EXPECT_EQ(W(s.Substr(1)), L"bc");
    EXPECT_EQ(W(s.Left(2)), L"ab");
    EXPECT_FALSE(s.Left(0).IsNull());
    EXPECT_EQ(s.Left(0).Length(), 0);
    EXPECT_EQ(W(s.Mid(1)), L"bc");
    EXPECT_EQ(W(s.Right(2)), L"bc");
    EXPECT_TRUE(s.Right(0).IsNull());
    EXPECT_TRUE(CKxString().Right(3).IsNull());
    const std::wstring nul(L"x\0y", 3);
    EXPECT_EQ(W(CKxString(nul).Substr(1, 2)), std::wstring(L"\0y", 2));
}

TEST(KxStringCase, LowerUpperLatin1) {
    CKxString s(L"AbC\u00C9");
    EXPECT_EQ(W(s.Lower()), L"abc\u00E9");
    EXPECT_EQ(W(s.Upper()), L"ABC\u00C9");
    EXPECT_EQ(W(s), L"AbC\u00C9");
    CKxString nul(std::wstring(L"AB\0CD", 5));
    nul.ConvertToLower();
    EXPECT_EQ(W(nul), L"ab");
    CKxString up(std::wstring(L"ab\0cd", 5));
    EXPECT_EQ(W(up.ConvertToUpper()), L"AB");
    CKxString null;
    EXPECT_TRUE(null.ConvertToLower().IsNull());
    EXPECT_EQ(W(CKxString(L"a\u00E9\u20AC\U0001F600\u00FF").Latin1()), L"a\u00E9??\u00FF");
}

TEST(KxStringSpace, TrimLeavesAllBlankAlone) {
    CKxString blanks(L"   ");
    blanks.Trim();
    EXPECT_EQ(W(blanks), L"   ");
    CKxString s(L" \t a b \n");
    EXPECT_EQ(W(s.Trimmed()), L"a b");
    EXPECT_EQ(W(s), L" \t a b \n");
    s.Trim();
    EXPECT_EQ(W(s), L"a b");
    CKxString null;
    EXPECT_TRUE(null.Trim().IsNull());
    EXPECT_EQ(W(CKxString(L"x ").Trimmed()), L"x");
}

TEST(KxStringSpace, SimplifyNarrowsThroughSignedChar) {
    CKxString s(L"  a \tb  ");
    s.Simplify();
    EXPECT_EQ(W(s), L"a b");
    // No white space: unchanged, also above U+007F.
    CKxString euro(L"a\u20AC");
    EXPECT_EQ(W(euro.Simplified()), L"a\u20AC");
    // With white space every character goes through a signed char.
    const std::wstring narrowed{static_cast<wchar_t>(-23), L' ', static_cast<wchar_t>(-84)};
    EXPECT_EQ(W(CKxString(L"\u00E9  \u20AC ").Simplified()), narrowed);
    CKxString blanks(L" \t ");
    blanks.Simplify();
    EXPECT_FALSE(blanks.IsNull());
    EXPECT_EQ(blanks.Length(), 0);
}

TEST(KxStringFormat, SprintfCutsAt999Bytes) {
    CKxString s;
    s.sprintf("%d-%s", 42, kUtf8);
    EXPECT_EQ(W(s), std::wstring(L"42-") + kWide);
    const std::string longText(1500, 'x');
    s.sprintf("%s", longText.c_str());
    EXPECT_EQ(s.Length(), 999);
    EXPECT_EQ(s.At(998), L'x');
    // A character the limit would cut in two is left out whole.
    s.sprintf("%s\xC3\xA9", std::string(998, 'x').c_str());
    EXPECT_EQ(W(s), std::wstring(998, L'x'));
    s.sprintf("%s\xC3\xA9", std::string(997, 'x').c_str());
    EXPECT_EQ(W(s), std::wstring(997, L'x') + L"\u00E9");
    s.sprintf("%s%ls", std::string(997, 'x').c_str(), L"\U0001F600");
    EXPECT_EQ(W(s), std::wstring(997, L'x'));
    s.sprintf("a%cb", 0); // up to the first NUL
    EXPECT_EQ(W(s), L"a");
    s.sprintf(nullptr);
    EXPECT_TRUE(s.IsNull());
    s.sprintf("%s", "");
    EXPECT_FALSE(s.IsNull());
    EXPECT_EQ(s.Length(), 0);
}

TEST(KxStringFormat, SprintfPrintsWideArgumentsAsUtf8InTheCLocale) {
    ASSERT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
    CKxString s;
    s.sprintf("<%ls|%S|%lc>", L"Me\u00DFkopf", kWide, static_cast<wint_t>(0x20AC));
    EXPECT_EQ(W(s), std::wstring(L"<Me\u00DFkopf|") + kWide + L"|\u20AC>");
    s.sprintf("[%.2ls|%3ls]", kWide, L"\u00E9");
    EXPECT_EQ(W(s), L"[\u00E9\u20AC|  \u00E9]");
}

TEST(KxStringFormat, SwprintfCutsAt3999Chars) {
    CKxString s;
    s.swprintf(L"%d %ls", 7, L"\u20AC");
    EXPECT_EQ(W(s), L"7 \u20AC");
    const std::wstring longText(5000, L'y');
    s.swprintf(L"%ls", longText.c_str());
    EXPECT_EQ(s.Length(), 3999);
    // Characters, not bytes: 5000 four-byte characters still give 3999.
    const std::wstring longEmoji(5000, L'\U0001F600');
    s.swprintf(L"%ls", longEmoji.c_str());
    EXPECT_EQ(W(s), std::wstring(3999, L'\U0001F600'));
    s.swprintf(L"a%lcb", static_cast<wint_t>(0)); // up to the first NUL
    EXPECT_EQ(W(s), L"a");
    s.swprintf(nullptr);
    EXPECT_TRUE(s.IsNull());
}

TEST(KxStringFormat, SwprintfKeepsNonAsciiNarrowArgumentsInTheCLocale) {
    ASSERT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
    struct Case {
        const char* name;
        CKxString (*format)();
        std::wstring expected;
    };
    const Case cases[] = {
        {"UTF-8 %s",
         [] {
             return CKxString().swprintf(L"<%s>", "Me\xC3\x9F"
                                                  "kopf");
         },
         L"<Me\u00DFkopf>"},
        {"Windows-1252 %s is no UTF-8", [] { return CKxString().swprintf(L"<%s>", "Me\xDF"); },
         L"<Me\uFFFD>"},
        {"%c of a non-ASCII byte", [] { return CKxString().swprintf(L"<%c>", '\xE9'); },
         L"<\uFFFD>"},
        {"%S and %ls are wide", [] { return CKxString().swprintf(L"%S|%ls", kWide, kWide); },
         std::wstring(kWide) + L"|" + kWide},
        {"format text beyond ASCII",
         [] { return CKxString().swprintf(L"\u00C4%s\U0001F600", "\xC3\xA9"); },
         L"\u00C4\u00E9\U0001F600"},
        {"width counts bytes of narrow text",
         [] { return CKxString().swprintf(L"[%4s]", "\xC3\xA9"); }, L"[  \u00E9]"},
        {"null narrow argument",
         [] { return CKxString().swprintf(L"%s", static_cast<const char*>(nullptr)); }, L"(null)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(W(c.format()), c.expected);
    }
}

TEST(KxStringFormat, Fill) {
    CKxString s(L"abc");
    const wchar_t* before = s;
    s.Fill('x');
    EXPECT_EQ(W(s), L"xxx");
    EXPECT_EQ(static_cast<wchar_t*>(s), before); // overwritten in place
    s.Fill('y', 2);
    EXPECT_EQ(W(s), L"yy");
    s.Fill('z', 0);
    EXPECT_TRUE(s.IsNull());
    CKxString empty(L"");
    empty.Fill('q');
    EXPECT_FALSE(empty.IsNull());
    EXPECT_EQ(empty.Length(), 0);
    s.Fill(static_cast<char>(0xE9), 1);
    EXPECT_EQ(W(s), std::wstring(1, static_cast<wchar_t>(-23)));
}
