// BSTR layout, allocation rules, VarBstrCmp, and CComBSTR ownership,
// appending and comparison.
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "platcompat/atlbase.h"
#include "platcompat/oleauto.h"

namespace {

std::uint32_t PrefixOf(BSTR s) {
    std::uint32_t bytes;
    std::memcpy(&bytes, reinterpret_cast<const unsigned char*>(s) - 4, 4);
    return bytes;
}

std::wstring Chars(BSTR b) {
    return std::wstring(b == nullptr ? L"" : b, SysStringLen(b));
}

// Every allocation: the prefix holds the byte count, the characters (embedded
// NULs included) are kept and a NUL follows; a null source gives zeroes.
TEST(Bstr, LengthPrefixTerminatorAndAlignmentOverSizes) {
    const std::wstring text(L"abc\u20ac\0d\0", 7);
    for (unsigned len : {0u, 1u, 4u, 7u}) {
        for (bool fromNull : {false, true}) {
            SCOPED_TRACE(testing::Message() << len << (fromNull ? " null source" : ""));
            BSTR s = SysAllocStringLen(fromNull ? nullptr : text.data(), len);
            ASSERT_NE(s, nullptr);
            EXPECT_EQ(SysStringLen(s), len);
            EXPECT_EQ(SysStringByteLen(s), len * sizeof(wchar_t));
            EXPECT_EQ(PrefixOf(s), len * sizeof(wchar_t));
            EXPECT_EQ(Chars(s), fromNull ? std::wstring(len, L'\0') : text.substr(0, len));
            EXPECT_EQ(s[len], L'\0');
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(s) % alignof(wchar_t), 0u);
            SysFreeString(s);
        }
    }
    BSTR s = SysAllocString(L"abc\u20ac");
    EXPECT_EQ(Chars(s), L"abc\u20ac");
    SysFreeString(s);
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr); // must not crash
    // Byte counts that do not fit in the 32-bit prefix.
    EXPECT_EQ(SysAllocStringLen(nullptr, 0x40000000u), nullptr);
    EXPECT_EQ(SysAllocStringLen(L"x", 0xFFFFFFFFu), nullptr);
}

TEST(Bstr, ByteLengthAllocationKeepsOddByteCounts) {
    BSTR s = SysAllocStringByteLen("abcdefg", 7);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SysStringByteLen(s), 7u);
    EXPECT_EQ(SysStringLen(s), 1u);
    const auto* bytes = reinterpret_cast<const unsigned char*>(s);
    EXPECT_EQ(std::memcmp(bytes, "abcdefg\0\0\0\0\0", 12),
              0); // rest of the last character and the NUL
    SysFreeString(s);
}

TEST(Bstr, Reallocation) {
    BSTR s = SysAllocString(L"hello world");
    // The source may point into the string being replaced.
    ASSERT_EQ(SysReAllocString(&s, s + 6), TRUE);
    EXPECT_EQ(Chars(s), L"world");
    ASSERT_EQ(SysReAllocStringLen(&s, nullptr, 7), TRUE);
    EXPECT_EQ(std::wmemcmp(s, L"world\0\0", 8), 0);
    ASSERT_EQ(SysReAllocStringLen(&s, nullptr, 2), TRUE);
    EXPECT_EQ(Chars(s), L"wo");
    EXPECT_EQ(SysReAllocString(nullptr, L"x"), FALSE);
    EXPECT_EQ(SysReAllocStringLen(&s, nullptr, 0x40000000u), FALSE);
    EXPECT_EQ(Chars(s), L"wo"); // unchanged after the failure
    ASSERT_EQ(SysReAllocString(&s, nullptr), TRUE);
    EXPECT_EQ(s, nullptr);
}

TEST(Bstr, VarBstrCmpTable) {
    struct Case {
        const wchar_t* left; // nullptr: NULL BSTR
        unsigned leftLen;
        const wchar_t* right;
        unsigned rightLen;
        ULONG flags;
        HRESULT expected;
    };
    const Case cases[] = {
        {nullptr, 0, nullptr, 0, 0, VARCMP_EQ},
        {nullptr, 0, L"", 0, 0, VARCMP_EQ},
        {L"", 0, nullptr, 0, 0, VARCMP_EQ},
        {nullptr, 0, L"x", 1, 0, VARCMP_LT},
        {L"x", 1, nullptr, 0, 0, VARCMP_GT},
        {L"abc", 3, L"abd", 3, 0, VARCMP_LT},
        {L"abc", 3, L"ab", 2, 0, VARCMP_GT},
        {L"a\0b", 3, L"a\0c", 3, 0, VARCMP_LT}, // characters after a NUL count
        {L"a\0", 2, L"a", 1, 0, VARCMP_GT},
        {L"ABC", 3, L"abc", 3, 0, VARCMP_LT},
        {L"ABC", 3, L"abc", 3, NORM_IGNORECASE, VARCMP_EQ},
        {L"\u00c4", 1, L"\u00e4", 1, 0, VARCMP_LT},
        {L"\u00c4", 1, L"\u00e4", 1, NORM_IGNORECASE, VARCMP_EQ},
        {L"\u0410\u0411", 2, L"\u0430\u0431", 2, NORM_IGNORECASE, VARCMP_EQ},
        {L"\u0410", 1, L"\u0431", 1, NORM_IGNORECASE, VARCMP_LT},
        {L"\U0001F600", 1, L"\uFFFF", 1, 0, VARCMP_GT}, // code point order
        {L"a", 1, L"B", 1, NORM_IGNORECASE, VARCMP_LT},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        BSTR left = c.left == nullptr ? nullptr : SysAllocStringLen(c.left, c.leftLen);
        BSTR right = c.right == nullptr ? nullptr : SysAllocStringLen(c.right, c.rightLen);
        EXPECT_EQ(VarBstrCmp(left, right, 0, c.flags), c.expected);
        EXPECT_EQ(VarBstrCmp(left, right, 0x409, c.flags), c.expected);
        SysFreeString(left);
        SysFreeString(right);
    }
}

TEST(ComBstr, ConstructionAndAssignment) {
    EXPECT_EQ(CComBSTR().m_str, nullptr);
    EXPECT_EQ(CComBSTR(static_cast<LPCOLESTR>(nullptr)).m_str, nullptr);
    EXPECT_EQ(CComBSTR(static_cast<LPCSTR>(nullptr)).m_str, nullptr);
    EXPECT_EQ(CComBSTR(0).m_str, nullptr);
    const CComBSTR wide(L"abc");
    EXPECT_EQ(wide.ByteLength(), 12u);
    EXPECT_EQ(Chars(CComBSTR(3, nullptr)), std::wstring(3, L'\0'));
    EXPECT_EQ(Chars(CComBSTR(2)), std::wstring(2, L'\0'));
    const CComBSTR part(2, L"xyz");
    EXPECT_EQ(Chars(part), L"xy");
    EXPECT_EQ(Chars(CComBSTR("\xC3\xA9\xE2\x82\xAC")), L"\u00e9\u20ac"); // narrow text is UTF-8
    const CComBSTR empty("");
    ASSERT_NE(empty.m_str, nullptr);
    EXPECT_EQ(empty.Length(), 0u);

    CComBSTR copy(part);
    EXPECT_NE(copy.m_str, part.m_str);
    CComBSTR moved(std::move(copy));
    EXPECT_EQ(copy.m_str, nullptr);
    EXPECT_EQ(Chars(moved), L"xy");
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
    EXPECT_EQ(Chars(copied), L"owned");
    EXPECT_EQ(a.CopyTo(nullptr), E_POINTER);
    SysFreeString(copied);

    BSTR raw = SysAllocString(L"attached");
    CComBSTR c;
    c.Attach(raw);
    EXPECT_EQ(c.m_str, raw); // taken over, not copied
    c.Attach(raw);           // attaching the owned string keeps it
    EXPECT_EQ(Chars(c), L"attached");
    EXPECT_EQ(c.Detach(), raw);
    EXPECT_EQ(c.m_str, nullptr);
    SysFreeString(raw);

    CComBSTR out;
    BSTR* slot = &out; // out-parameter helper: the address of m_str
    EXPECT_EQ(slot, &out.m_str);
    *slot = SysAllocString(L"filled");
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
    EXPECT_EQ(s.Append(static_cast<LPCOLESTR>(nullptr)), S_OK);
    EXPECT_EQ(s.Append(L"x", -1), E_INVALIDARG);
    EXPECT_EQ(Chars(s), std::wstring(L"abc\u20acd\0e", 7));

    CComBSTR t(L"12");
    EXPECT_EQ(t.Append(t), S_OK); // appending itself
    BSTR raw = SysAllocStringLen(L"\0z", 2);
    EXPECT_EQ(t.AppendBSTR(raw), S_OK);
    EXPECT_EQ(t.AppendBSTR(nullptr), S_OK);
    SysFreeString(raw);
    t += CComBSTR(L"!");
    t += L"?";
    EXPECT_EQ(Chars(t), std::wstring(L"1212\0z!?", 8));
    // A length too large to allocate fails before reading the source.
    const BSTR old = t.m_str;
    EXPECT_EQ(t.Append(L"x", INT_MAX), E_OUTOFMEMORY);
    EXPECT_EQ(t.m_str, old);
    EXPECT_EQ(t.Length(), 8u);
}

TEST(ComBstr, ComparisonAndCase) {
    const CComBSTR null, empty(L""), withNul(3, L"a\0b");
    const struct {
        const char* name;
        bool value;
    } checks[] = {
        {"null == empty", null == empty},
        {"null == L\"\"", null == L""},
        {"null == nullptr", null == static_cast<LPCOLESTR>(nullptr)},
        {"empty == nullptr", empty == static_cast<LPCOLESTR>(nullptr)},
        {"null < a", null < CComBSTR(L"a")},
        {"null != a", null != L"a"},
        {"!null", !null},
        {"!!empty", !(!empty)},
        {"a\\0b != a", !(withNul == CComBSTR(L"a"))},
        {"a\\0b != L\"a\"", !(withNul == L"a")}, // the BSTR side counts its NUL
        {"a < a\\0b", CComBSTR(L"a") < withNul},
        {"B < a", CComBSTR(L"B") < L"a"},
        {"!(b < b)", !(CComBSTR(L"b") < L"b")},
    };
    for (const auto& c : checks)
        EXPECT_TRUE(c.value) << c.name;

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
