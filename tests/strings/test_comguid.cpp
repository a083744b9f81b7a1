// GUID text forms: GUID2String/String2GUID, CComGUID and the byte order.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "CComGUID.h"
#include "CStlExtensions.h"

using namespace KxTamarind;

namespace {

const GUID kSample = {0x0123ABCD, 0x4567, 0x89EF, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
const char kSampleText[] = "{0123ABCD-4567-89EF-0123-456789ABCDEF}";

bool Same(const GUID& a, const GUID& b) {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

GUID Parsed(const std::string& text) {
    GUID guid = kSample;
    CStlExtensions::String2GUID(text, guid);
    return guid;
}

} // namespace

TEST(GuidText, FormatIsBracedUpperCase) {
    EXPECT_EQ(CStlExtensions::GUID2String(kSample), kSampleText);
    EXPECT_EQ(CStlExtensions::GUID2String(GUID_NULL), "{00000000-0000-0000-0000-000000000000}");
    EXPECT_EQ(CComGUID(kSample).ToString(), kSampleText);
}

TEST(GuidText, RandomIdentifiersRoundTrip) {
    for (int i = 0; i < 200; ++i) {
        GUID guid;
        ASSERT_EQ(CoCreateGuid(&guid), S_OK);
        const std::string text = CStlExtensions::GUID2String(guid);
        ASSERT_EQ(text.size(), 38u);
        GUID back;
        EXPECT_TRUE(CStlExtensions::String2GUID(text, back));
        EXPECT_TRUE(Same(back, guid)) << text;
        CComGUID object(guid);
        EXPECT_EQ(object.ToString(), text);
        CComGUID other;
        EXPECT_TRUE(other.FromString(text));
        EXPECT_TRUE(other == object);
        std::string lower = CStlExtensions::ToLower(text);
        EXPECT_TRUE(Same(Parsed(lower), guid)) << lower;
    }
}

TEST(GuidText, String2GuidRejectsHostileText) {
    GUID out = kSample;
    EXPECT_FALSE(CStlExtensions::String2GUID("0123ABCD-4567-89EF-0123-456789ABCDEF", out));
    EXPECT_TRUE(Same(out, GUID_NULL));
    const char* bad[] = {
        "",
        "{",
        "{0123ABCD",
        "{0123ABCD4-567-89EF-0123-456789ABCDEF}", // nine digits in the first field
        "{0123ABCD-45678-9EF-0123-456789ABCDEF}",
        "{0123ABCD-4567-89EF-01234-56789ABCDEF}",
        "{0123ABCD-4567-89EF0-123-456789ABCDEF}",
        "{0123ABCG-4567-89EF-0123-456789ABCDEF}",
        "{0123ABCD-4567-89EF-0123-456789ABCDXF}",
        "{0123ABCD_4567-89EF-0123-456789ABCDEF}",
        " {0123ABCD-4567-89EF-0123-456789ABCDEF}",
    };
    for (const char* text : bad) {
        const std::string s(text);
        GUID g = kSample;
        EXPECT_FALSE(CStlExtensions::String2GUID(s, g)) << s;
        EXPECT_TRUE(Same(g, GUID_NULL)) << s;
    }
    std::string withNul(kSampleText);
    withNul[10] = '\0';
    EXPECT_TRUE(Same(Parsed(withNul), GUID_NULL));
    withNul = kSampleText;
    withNul[1] = '\0';
    EXPECT_TRUE(Same(Parsed(withNul), GUID_NULL));
    // A text that stops right after a hyphen must not be read beyond.
    EXPECT_TRUE(Same(Parsed(std::string(kSampleText, 15)), GUID_NULL));
}

TEST(GuidText, String2GuidAcceptsWhatTheFieldConversionsAccept) {
    // White space before a field, a shorter field and text after the last
    // field are what the field-by-field scan reads.
    GUID g;
    EXPECT_TRUE(CStlExtensions::String2GUID("{ 123ABCD-4567-89EF-0123-456789ABCDEF}", g));
    EXPECT_EQ(g.Data1, 0x123ABCDu);
    EXPECT_TRUE(CStlExtensions::String2GUID("{0123ABCD-4567-89EF-0123-456789ABCDEF}trailing", g));
    EXPECT_TRUE(Same(g, kSample));
    EXPECT_TRUE(CStlExtensions::String2GUID("{0x23ABCD-4567-89EF-0123-456789ABCDEF}", g));
    EXPECT_EQ(g.Data1, 0x23ABCDu);
    // The last field may be shorter than its width and the brace may be missing.
    EXPECT_TRUE(CStlExtensions::String2GUID("{0123ABCD-4567-89EF-0123-456789ABCDE", g));
    EXPECT_EQ(g.Data4[7], 0x0E);
}

TEST(ComGuid, FromStringAcceptedForms) {
    const std::string lower = "0123abcd-4567-89ef-0123-456789abcdef";
    for (const std::string& text :
         {lower, std::string("{") + lower + "}", std::string("  {") + lower + "}  ",
          CStlExtensions::ToUpper(lower), std::string(kSampleText)}) {
        CComGUID g;
        EXPECT_TRUE(g.FromString(text)) << text;
        EXPECT_TRUE(g == kSample) << text;
    }
}

TEST(ComGuid, FromStringRejectsAndLeavesTheObjectUnchanged) {
    const std::string good = "0123ABCD-4567-89EF-0123-456789ABCDEF";
    std::string nul = good;
    nul[3] = '\0';
    std::string tab = std::string("\t") + good;
    const std::string bad[] = {
        good.substr(0, 35),
        good + "0",
        "0123ABC-D4567-89EF-0123-456789ABCDEF",
        "0123ABCD-4567-89EF-0123-456789ABCD-F",
        "0123ABCD-456789EF-0123-4567-89ABCDEF",
        "0123ABCD-4567-89EF-0123-456789ABCDEG",
        "0123ABCD-4567-89EF-0123+456789ABCDEF",
        nul,
        tab,
        "",
        "{}",
    };
    GUID created;
    ASSERT_EQ(CoCreateGuid(&created), S_OK);
    for (const std::string& text : bad) {
        CComGUID g(created);
        EXPECT_FALSE(g.FromString(text)) << text;
        EXPECT_TRUE(g == created) << text;
    }
    // Every single position other than the hyphens rejects a hyphen.
    for (std::size_t i = 0; i < good.size(); ++i) {
        if (good[i] == '-') {
            continue;
        }
        std::string moved = good;
        moved[i] = '-';
        CComGUID g(created);
        EXPECT_FALSE(g.FromString(moved)) << moved;
        EXPECT_TRUE(g == created);
    }
}

TEST(ComGuid, ValueOperations) {
    CComGUID g;
    EXPECT_TRUE(g.IsNull());
    EXPECT_EQ(static_cast<unsigned int>(g), 16u);
    EXPECT_EQ(g.Create(), S_OK);
    EXPECT_FALSE(g.IsNull());
    CComGUID copy(g);
    EXPECT_TRUE(copy == g);
    EXPECT_FALSE(copy != g);
    const GUID plain = copy;
    EXPECT_TRUE(Same(plain, static_cast<GUID>(g)));
    EXPECT_TRUE(plain == copy);
    copy.Empty();
    EXPECT_TRUE(copy.IsNull());
    EXPECT_TRUE(copy != g);
    // operator& hands out the member for out-parameters.
    EXPECT_EQ(CoCreateGuid(&copy), S_OK);
    EXPECT_FALSE(copy.IsNull());
    EXPECT_EQ(CoCreateGuid(&g), S_OK);
    EXPECT_TRUE(copy != g);
}

TEST(ComGuid, OrderIsStorageByteOrderNotTextOrder) {
    // Data1 is stored little-endian: 0x00000100 has storage bytes 00 01 00 00
    // and 0x00000001 has 01 00 00 00, so byte order and text order differ.
    const GUID small = {0x00000100, 0, 0, {0}};
    const GUID large = {0x00000001, 0, 0, {0}};
    CStlExtensions::LessGuid less;
    EXPECT_TRUE(less(small, large));
    EXPECT_FALSE(less(large, small));
    EXPECT_GT(CStlExtensions::GUID2String(small), CStlExtensions::GUID2String(large));
    EXPECT_TRUE(CComGUID(small) < CComGUID(large));
    for (int field = 2; field <= 3; ++field) {
        GUID a = GUID_NULL;
        GUID b = GUID_NULL;
        (field == 2 ? a.Data2 : a.Data3) = 0x0100;
        (field == 2 ? b.Data2 : b.Data3) = 0x0001;
        EXPECT_TRUE(less(a, b)) << field;
        EXPECT_GT(CStlExtensions::GUID2String(a), CStlExtensions::GUID2String(b)) << field;
    }
    // Unsigned bytes: 0x80 sorts after 0x7F.
    GUID high = GUID_NULL;
    GUID low = GUID_NULL;
    high.Data4[7] = 0x80;
    low.Data4[7] = 0x7F;
    EXPECT_TRUE(less(low, high));
    EXPECT_FALSE(less(high, high));
    std::map<GUID, int, CStlExtensions::LessGuid> keyed;
    keyed[large] = 1;
    keyed[small] = 2;
    EXPECT_EQ(keyed.begin()->second, 2);
}
