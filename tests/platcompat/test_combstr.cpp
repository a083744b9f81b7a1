// CComBSTR: ownership, appending and comparison.
#include <climits>
#include <cstring>

#include <gtest/gtest.h>

#include "platcompat/atlbase.h"

namespace {

std::wstring Chars(const CComBSTR& b) {
    return std::wstring(b.m_str == nullptr ? L"" : b.m_str, b.Length());
}

TEST(ComBstr, Construction) {
    EXPECT_EQ(CComBSTR().m_str, nullptr);
    EXPECT_EQ(CComBSTR(static_cast<LPCOLESTR>(nullptr)).m_str, nullptr);
    EXPECT_EQ(CComBSTR(static_cast<LPCSTR>(nullptr)).m_str, nullptr);
    EXPECT_EQ(CComBSTR(0).m_str, nullptr);

    const CComBSTR wide(L"abc");
    EXPECT_EQ(wide.Length(), 3u);
    EXPECT_EQ(wide.ByteLength(), 12u);
    const CComBSTR zeroed(3, nullptr);
    EXPECT_EQ(Chars(zeroed), std::wstring(3, L'\0'));
    const CComBSTR sized(2);
    EXPECT_EQ(Chars(sized), std::wstring(2, L'\0'));
    const CComBSTR part(2, L"xyz");
    EXPECT_EQ(Chars(part), L"xy");
    const CComBSTR narrow("\xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(Chars(narrow), L"\u00e9\u20ac");
    const CComBSTR empty("");
    ASSERT_NE(empty.m_str, nullptr);
    EXPECT_EQ(empty.Length(), 0u);

    CComBSTR copy(part);
    EXPECT_NE(copy.m_str, part.m_str);
    EXPECT_EQ(Chars(copy), L"xy");
    CComBSTR moved(std::move(copy));
    EXPECT_EQ(copy.m_str, nullptr);
    EXPECT_EQ(Chars(moved), L"xy");
    moved = L"w";
    EXPECT_EQ(Chars(moved), L"w");
    moved = "n";
    EXPECT_EQ(Chars(moved), L"n");
    moved = wide;
    EXPECT_EQ(Chars(moved), L"abc");
    moved = moved.m_str + 1; // source inside the owned string
    EXPECT_EQ(Chars(moved), L"bc");
}

TEST(ComBstr, OwnershipTransfers) {
    CComBSTR a(L"owned");
    BSTR copied = nullptr;
    EXPECT_EQ(a.CopyTo(&copied), S_OK);
    ASSERT_NE(copied, nullptr);
    EXPECT_NE(copied, a.m_str); // a new string the caller frees
    EXPECT_STREQ(copied, L"owned");
    EXPECT_EQ(a.CopyTo(nullptr), E_POINTER);
    SysFreeString(copied);

    BSTR raw = SysAllocString(L"attached");
    CComBSTR c;
    c.Attach(raw);
    EXPECT_EQ(c.m_str, raw); // taken over, not copied
    c.Attach(raw);           // attaching the owned string keeps it
    EXPECT_STREQ(c.m_str, L"attached");
    EXPECT_EQ(c.Detach(), raw);
    EXPECT_EQ(c.m_str, nullptr);
    SysFreeString(raw);

    CComBSTR out;
    BSTR* slot = &out; // out-parameter helper: the address of m_str
    EXPECT_EQ(slot, &out.m_str);
    *slot = SysAllocString(L"filled");
    EXPECT_EQ(out.Length(), 6u);
    out.Empty();
    EXPECT_EQ(out.m_str, nullptr);

    CComBSTR n;
    wchar_t sentinel[] = L"s";
    BSTR fromNull = sentinel;
    EXPECT_EQ(n.CopyTo(&fromNull), S_OK);
    EXPECT_EQ(fromNull, nullptr);
    EXPECT_EQ(n.Copy(), nullptr);
}

TEST(ComBstr, AppendFamily) {
    CComBSTR s;
    EXPECT_EQ(s.Append(L"ab"), S_OK);
    EXPECT_EQ(s.Append('c'), S_OK); // one character, not a length
    EXPECT_EQ(s.Append(L'\u20ac'), S_OK);
    EXPECT_EQ(s.Append(L"d\0e", 3), S_OK);
    EXPECT_EQ(Chars(s), std::wstring(L"abc\u20acd\0e", 7));
    EXPECT_EQ(s.Append(static_cast<LPCOLESTR>(nullptr)), S_OK);
    EXPECT_EQ(s.Append(L"x", -1), E_INVALIDARG);
    EXPECT_EQ(s.Length(), 7u);

    CComBSTR t(L"12");
    EXPECT_EQ(t.Append(t), S_OK); // appending itself
    EXPECT_EQ(Chars(t), L"1212");
    BSTR raw = SysAllocStringLen(L"\0z", 2);
    EXPECT_EQ(t.AppendBSTR(raw), S_OK);
    EXPECT_EQ(t.AppendBSTR(nullptr), S_OK);
    SysFreeString(raw);
    EXPECT_EQ(Chars(t), std::wstring(L"1212\0z", 6));
    t += CComBSTR(L"!");
    t += L"?";
    EXPECT_EQ(t.Length(), 8u);
    EXPECT_EQ(t.m_str[7], L'?');

    // A length too large to allocate fails before reading the source.
    const BSTR old = t.m_str;
    EXPECT_EQ(t.Append(L"x", INT_MAX), E_OUTOFMEMORY);
    EXPECT_EQ(t.m_str, old);
    EXPECT_EQ(t.Length(), 8u);
}

TEST(ComBstr, ComparisonAndCase) {
    const CComBSTR null;
    const CComBSTR empty(L"");
    EXPECT_TRUE(null == empty);
    EXPECT_TRUE(null == L"");
    EXPECT_TRUE(null == static_cast<LPCOLESTR>(nullptr));
    EXPECT_TRUE(empty == static_cast<LPCOLESTR>(nullptr));
    EXPECT_TRUE(null < CComBSTR(L"a"));
    EXPECT_TRUE(null != L"a");
    EXPECT_TRUE(!null);
    EXPECT_FALSE(!empty);

    const CComBSTR withNul(3, L"a\0b");
    EXPECT_FALSE(withNul == CComBSTR(L"a"));
    EXPECT_FALSE(withNul == L"a"); // the BSTR side counts its NUL
    EXPECT_TRUE(CComBSTR(L"a") < withNul);
    EXPECT_TRUE(CComBSTR(L"B") < L"a");
    EXPECT_FALSE(CComBSTR(L"b") < L"b");

    CComBSTR mixed(L"Stra\u00dfe \u0410\u0431 \u00c4");
    EXPECT_EQ(mixed.ToUpper(), S_OK);
    EXPECT_EQ(Chars(mixed), L"STRA\u00dfE \u0410\u0411 \u00c4");
    EXPECT_EQ(mixed.ToLower(), S_OK);
    EXPECT_EQ(Chars(mixed), L"stra\u00dfe \u0430\u0431 \u00e4");
    CComBSTR none;
    EXPECT_EQ(none.ToLower(), S_OK);
    EXPECT_EQ(static_cast<BSTR>(none), nullptr);
}

} // namespace
