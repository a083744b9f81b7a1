// BSTR layout, allocation rules and VarBstrCmp.
#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

#include "platcompat/oleauto.h"

namespace {

std::uint32_t PrefixOf(BSTR s) {
    std::uint32_t bytes;
    std::memcpy(&bytes, reinterpret_cast<const unsigned char*>(s) - 4, 4);
    return bytes;
}

TEST(Bstr, LengthPrefixTerminatorAndAlignment) {
    BSTR s = SysAllocString(L"abc\u20ac");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SysStringLen(s), 4u);
    EXPECT_EQ(SysStringByteLen(s), 16u);
    EXPECT_EQ(PrefixOf(s), 16u);
    EXPECT_EQ(s[3], L'\u20ac');
    EXPECT_EQ(s[4], L'\0');
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(s) % alignof(wchar_t), 0u);
    SysFreeString(s);

    BSTR empty = SysAllocString(L"");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(PrefixOf(empty), 0u);
    EXPECT_EQ(empty[0], L'\0');
    SysFreeString(empty);
}

TEST(Bstr, NullArguments) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr); // must not crash

    BSTR zeroed = SysAllocStringLen(nullptr, 5);
    ASSERT_NE(zeroed, nullptr);
    EXPECT_EQ(SysStringLen(zeroed), 5u);
    for (int i = 0; i <= 5; ++i) {
        EXPECT_EQ(zeroed[i], L'\0') << i;
    }
    SysFreeString(zeroed);
}

TEST(Bstr, EmbeddedNulsAreKept) {
    const wchar_t text[] = {L'a', L'\0', L'b', L'\0', L'c'};
    BSTR s = SysAllocStringLen(text, 5);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SysStringLen(s), 5u);
    EXPECT_EQ(std::memcmp(s, text, sizeof(text)), 0);
    EXPECT_EQ(s[5], L'\0');
    SysFreeString(s);
}

TEST(Bstr, ByteLengthAllocationKeepsOddByteCounts) {
    BSTR s = SysAllocStringByteLen("abcdefg", 7);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SysStringByteLen(s), 7u);
    EXPECT_EQ(SysStringLen(s), 1u);
    const auto* bytes = reinterpret_cast<const unsigned char*>(s);
    EXPECT_EQ(std::memcmp(bytes, "abcdefg", 7), 0);
    for (int i = 7; i < 12; ++i) {
        EXPECT_EQ(bytes[i], 0) << i; // rest of the last character and the NUL
    }
    SysFreeString(s);
}

TEST(Bstr, OversizedLengthsGiveNull) {
    // Byte counts that do not fit in the 32-bit prefix.
    EXPECT_EQ(SysAllocStringLen(nullptr, 0x40000000u), nullptr);
    EXPECT_EQ(SysAllocStringLen(L"x", 0xFFFFFFFFu), nullptr);
}

TEST(Bstr, Reallocation) {
    BSTR s = SysAllocString(L"hello world");
    // The source may point into the string being replaced.
    ASSERT_EQ(SysReAllocString(&s, s + 6), TRUE);
    EXPECT_EQ(SysStringLen(s), 5u);
    EXPECT_STREQ(s, L"world");

    ASSERT_EQ(SysReAllocStringLen(&s, nullptr, 7), TRUE);
    EXPECT_EQ(SysStringLen(s), 7u);
    EXPECT_EQ(std::wmemcmp(s, L"world\0\0", 8), 0);
    ASSERT_EQ(SysReAllocStringLen(&s, nullptr, 2), TRUE);
    EXPECT_EQ(SysStringLen(s), 2u);
    EXPECT_STREQ(s, L"wo");

    EXPECT_EQ(SysReAllocString(nullptr, L"x"), FALSE);
    EXPECT_EQ(SysReAllocStringLen(&s, nullptr, 0x40000000u), FALSE);
    EXPECT_STREQ(s, L"wo"); // unchanged after the failure
    ASSERT_EQ(SysReAllocString(&s, nullptr), TRUE);
    EXPECT_EQ(s, nullptr);
}

struct CmpCase {
    const wchar_t* left; // nullptr: NULL BSTR
    unsigned leftLen;
    const wchar_t* right;
    unsigned rightLen;
    ULONG flags;
    HRESULT expected;
};

TEST(Bstr, VarBstrCmpTable) {
    const CmpCase cases[] = {
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
    int index = 0;
    for (const CmpCase& c : cases) {
        SCOPED_TRACE(index++);
        BSTR left = c.left == nullptr ? nullptr : SysAllocStringLen(c.left, c.leftLen);
        BSTR right = c.right == nullptr ? nullptr : SysAllocStringLen(c.right, c.rightLen);
        EXPECT_EQ(VarBstrCmp(left, right, 0, c.flags), c.expected);
        EXPECT_NE(VarBstrCmp(left, right, 0x409, c.flags), VARCMP_NULL);
        SysFreeString(left);
        SysFreeString(right);
    }
}

} // namespace
