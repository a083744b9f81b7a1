// The display-name/value string map: entries, appending assignment,
// validity checks and BuildFactorial.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "CBStringMap.h"

using namespace KxTamarind;

namespace {

std::wstring Text(BSTR s) {
    return s == nullptr ? std::wstring(L"<null>") : std::wstring(s);
}

std::vector<std::pair<std::wstring, std::wstring>> Pairs(const CBStringMap& map) {
    std::vector<std::pair<std::wstring, std::wstring>> out;
    for (const CBStringMapEntry& e : map) {
        out.emplace_back(Text(e.GetDisplayName()), Text(e.GetValue()));
    }
    return out;
}

} // namespace

TEST(CBStringMapEntry, ConstructionCopyAndCompare) {
    CBStringMapEntry empty;
    EXPECT_EQ(empty.GetDisplayName(), nullptr);
    EXPECT_EQ(empty.GetValue(), nullptr);

    CComBSTR name(3, L"a\0b");
    CBStringMapEntry fromBstr(name, CComBSTR(L"v"));
    EXPECT_EQ(SysStringLen(fromBstr.GetDisplayName()), 3u); // length-exact
    EXPECT_NE(fromBstr.GetDisplayName(), name.m_str);
    CBStringMapEntry nullName(CComBSTR(), CComBSTR(L"v"));
    EXPECT_EQ(nullName.GetDisplayName(), nullptr);

    CBStringMapEntry narrow("Gr\xC3\xBC\xC3\x9F", "1");
    EXPECT_EQ(Text(narrow.GetDisplayName()), L"Gr\u00FC\u00DF");
    EXPECT_EQ(SysStringLen(narrow.GetDisplayName()), 4u);

    CBStringMapEntry copy(narrow);
    EXPECT_EQ(Text(copy.GetValue()), L"1");
    EXPECT_NE(copy.GetValue(), narrow.GetValue());
    copy = copy;
    EXPECT_EQ(Text(copy.GetValue()), L"1");
    copy = fromBstr;
    EXPECT_EQ(SysStringLen(copy.GetDisplayName()), 3u);

    EXPECT_EQ(empty.CompareDisplayNames(CBStringMapEntry()), 0);
    EXPECT_EQ(empty.CompareDisplayNames(narrow), -1);
    EXPECT_EQ(narrow.CompareDisplayNames(empty), 1);
    CBStringMapEntry lowerB("b", "x");
    CBStringMapEntry upperB("B", "x");
    EXPECT_EQ(upperB.CompareDisplayNames(lowerB), -1); // by code point
    EXPECT_EQ(lowerB.CompareDisplayNames(upperB), 1);
    EXPECT_EQ(lowerB.CompareDisplayNames(CBStringMapEntry("b", "y")), 0);
}

TEST(CBStringMapEntry, ConcatUsesBstrSeparators) {
    CBStringMapEntry entry("Low", "L");
    CComBSTR blank(L" ");
    CComBSTR underscore(L"_");
    entry.Concat(CBStringMapEntry("A", "1"), blank, underscore);
    EXPECT_EQ(Text(entry.GetDisplayName()), L"Low A");
    EXPECT_EQ(Text(entry.GetValue()), L"L_1");

    CBStringMapEntry nulls;
    nulls.Concat(CBStringMapEntry("x", nullptr), nullptr, underscore);
    EXPECT_EQ(Text(nulls.GetDisplayName()), L"x");
    EXPECT_EQ(Text(nulls.GetValue()), L"_");
}

TEST(CBStringMap, AddAndAppendingAssignment) {
    CBStringMap three;
    three.Add("a", "1");
    three.Add(CComBSTR(L"b"), CComBSTR(L"2"));
    CBStringMapEntry c("c", "3");
    three.Add(&c);
    three.Add(static_cast<const CBStringMapEntry*>(nullptr));
    CBStringMap two;
    two.Add("a", "1"); // duplicates are kept
    two.Add("d", "4");
    three = two;
    EXPECT_EQ(three.GetCount(), 5u);
    EXPECT_EQ(Pairs(three).back(), std::make_pair(std::wstring(L"d"), std::wstring(L"4")));
    three = three; // itself: nothing
    EXPECT_EQ(three.GetCount(), 5u);

    CBStringMap copy(two);
    EXPECT_EQ(Pairs(copy), Pairs(two));
    copy.Add(three);
    EXPECT_EQ(copy.GetCount(), 7u);
    copy.Destroy();
    EXPECT_EQ(copy.GetCount(), 0u);
}

TEST(CBStringMap, ValidityChecks) {
    CBStringMap map;
    EXPECT_FALSE(map.IsValidDisplayName(CComBSTR()));
    EXPECT_FALSE(map.IsValidValue(CComBSTR(L"1")));
    map.Add("On", "1");
    EXPECT_TRUE(map.IsValidDisplayName(CComBSTR(L"On")));
    EXPECT_FALSE(map.IsValidDisplayName(CComBSTR(L"on")));
    EXPECT_FALSE(map.IsValidDisplayName(CComBSTR()));
    EXPECT_TRUE(map.IsValidValue(CComBSTR(L"1")));
    EXPECT_FALSE(map.IsValidValue(CComBSTR(L"2")));
    map.Add(nullptr, nullptr);
    EXPECT_TRUE(map.IsValidDisplayName(CComBSTR()));
    EXPECT_TRUE(map.IsValidValue(CComBSTR()));
}

TEST(CBStringMap, BuildFactorial) {
    CBStringMap levels;
    levels.Add("Low", "L");
    levels.Add("High", "H");
    CBStringMap parts;
    parts.Add("A", "1");
    parts.Add("B", "2");
    CComBSTR blank(L" ");
    CComBSTR underscore(L"_");
    levels.BuildFactorial(parts, blank, underscore);
    std::vector<std::pair<std::wstring, std::wstring>> expected = {
        {L"Low A", L"L_1"}, {L"Low B", L"L_2"}, {L"High A", L"H_1"}, {L"High B", L"H_2"}};
    EXPECT_EQ(Pairs(levels), expected);
    EXPECT_EQ(parts.GetCount(), 2u);

    CBStringMap self;
    self.Add("x", "1");
    self.Add("y", "2");
    self.BuildFactorial(self, blank, underscore);
    EXPECT_EQ(self.GetCount(), 4u);
    EXPECT_EQ(Pairs(self).back(), std::make_pair(std::wstring(L"y y"), std::wstring(L"2_2")));

    CBStringMap empty;
    levels.BuildFactorial(empty, blank, underscore);
    EXPECT_EQ(levels.GetCount(), 0u);
    empty.BuildFactorial(parts, blank, underscore);
    EXPECT_EQ(empty.GetCount(), 0u);
}
