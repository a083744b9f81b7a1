// CKxString: number text in both directions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "CKxString.h"

using namespace KxTamarind;

namespace {

std::wstring W(const CKxString& s) {
    return s.ToStdWString();
}

CKxString FromStd(const std::string& text) {
    return CKxString(text);
}

} // namespace

TEST(KxStringNumber, IntegersInBases) {
    EXPECT_EQ(W(CKxString::Number(0)), L"0");
    EXPECT_EQ(W(CKxString::Number(255, 16)), L"ff");
    EXPECT_EQ(W(CKxString::Number(-255, 16)), L"-ff");
    EXPECT_EQ(W(CKxString::Number(5, 2)), L"101");
    EXPECT_EQ(W(CKxString::Number(35, 36)), L"z");
    EXPECT_EQ(W(CKxString::Number(std::numeric_limits<int>::min())), L"-2147483648");
    EXPECT_EQ(W(CKxString::Number(std::numeric_limits<long long>::min())), L"-9223372036854775808");
    EXPECT_EQ(W(CKxString::Number(std::numeric_limits<unsigned long long>::max(), 36)),
              L"3w5e11264sgsf");
    EXPECT_EQ(W(CKxString::Number(4294967295u)), L"4294967295");
    EXPECT_EQ(W(CKxString::Number(-1L)), L"-1");
    EXPECT_EQ(W(CKxString::Number(18UL, 8)), L"22");
    EXPECT_TRUE(CKxString::Number(5, 1).IsNull());
    EXPECT_TRUE(CKxString::Number(5, 37).IsNull());
    EXPECT_TRUE(CKxString::Number(5, 0).IsNull());
    CKxString s(L"old");
    EXPECT_EQ(W(s.SetNum(-42)), L"-42");
    EXPECT_EQ(W(s), L"-42");
    EXPECT_EQ(W(s.SetNum(10LL, 16)), L"a");
}

TEST(KxStringNumber, DoublesUseAPointAndPrintfRules) {
    EXPECT_EQ(W(CKxString::Number(1.5)), L"1.5");
    EXPECT_EQ(W(CKxString::Number(0.1, 'f', 3)), L"0.100");
    EXPECT_EQ(W(CKxString::Number(1234.5, 'e', 2)), L"1.23e+03");
    EXPECT_EQ(W(CKxString::Number(1234.5, 'E', 2)), L"1.23E+03");
    EXPECT_EQ(W(CKxString::Number(1e21)), L"1e+21");
    EXPECT_EQ(W(CKxString::Number(-0.000012345, 'G', 3)), L"-1.23E-05");
    EXPECT_EQ(W(CKxString::Number(1.0 / 3.0, 'f', -1)), L"0.333333");
    EXPECT_EQ(W(CKxString::Number(std::numeric_limits<double>::infinity())), L"inf");
    EXPECT_EQ(W(CKxString::Number(-std::numeric_limits<double>::infinity(), 'G')), L"-INF");
    EXPECT_TRUE(CKxString::Number(1.5, 'x').IsNull());
    EXPECT_EQ(CKxString::Number(1e308, 'f', 2000).Length(), 309 + 1 + 1100);
    CKxString s;
    EXPECT_EQ(W(s.SetNum(2.25, 'f', 1)), L"2.2"); // round half to even, as printf
}

TEST(KxStringNumber, DoubleRoundTrip) {
    const double values[] = {0.1 + 0.2, -1e-300, 123456789.125, 5e-324, 1.7976931348623157e308};
    for (double v : values) {
        bool ok = false;
        EXPECT_EQ(CKxString::Number(v, 'g', 17).ToDouble(&ok), v);
        EXPECT_TRUE(ok);
    }
}

TEST(KxStringNumber, ToIntAcceptsWhiteSpaceSignAndBases) {
    bool ok = false;
    EXPECT_EQ(CKxString(L"42").ToInt(&ok), 42);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L" \t-42 \n").ToInt(&ok), -42);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"+7").ToInt(&ok), 7);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"ff").ToInt(&ok, 16), 255);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"0xFF").ToInt(&ok, 16), 255);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"-0x1A").ToInt(&ok, 0), -26);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"017").ToInt(&ok, 0), 15);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"0").ToInt(&ok, 0), 0);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"Zz").ToInt(&ok, 36), 35 * 36 + 35);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"101").ToInt(&ok, 2), 5);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"-2147483648").ToInt(&ok), std::numeric_limits<int>::min());
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"-2147483647").ToInt(&ok), -2147483647); // one above the minimum
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"2147483647").ToInt(&ok), std::numeric_limits<int>::max());
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"12").ToInt(), 12);
}

TEST(KxStringNumber, ToIntRejectsWithZeroAndFalse) {
    const wchar_t* bad[] = {L"",    L"   ", L"12a", L"a12",        L"- 1",         L"1 2",
                            L"+-1", L"--1", L"0x",  L"2147483648", L"-2147483649", L"\uFF11",
                            L"1.0"};
    for (const wchar_t* text : bad) {
        bool ok = true;
        EXPECT_EQ(CKxString(text).ToInt(&ok), 0) << CKxString(text).ToStdString();
        EXPECT_FALSE(ok) << CKxString(text).ToStdString();
    }
    bool ok = true;
    EXPECT_EQ(CKxString().ToInt(&ok), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(CKxString(std::wstring(L"1\0", 2)).ToInt(&ok), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(CKxString(L"08").ToInt(&ok, 0), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(CKxString(L"10").ToInt(&ok, 1), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(CKxString(L"10").ToInt(&ok, 37), 0);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(CKxString(L"2").ToInt(&ok, 2), 0);
    EXPECT_FALSE(ok);
}

TEST(KxStringNumber, WiderTypesAndTheirLimits) {
    bool ok = false;
    const long lmax = std::numeric_limits<long>::max();
    const long lmin = std::numeric_limits<long>::min();
    EXPECT_EQ(FromStd(std::to_string(lmax)).ToLong(&ok), lmax);
    EXPECT_TRUE(ok);
    EXPECT_EQ(FromStd(std::to_string(lmin)).ToLong(&ok), lmin);
    EXPECT_TRUE(ok);
    EXPECT_EQ(FromStd(std::to_string(static_cast<unsigned long>(lmax) + 1)).ToLong(&ok), 0);
    EXPECT_FALSE(ok);

    const unsigned long umax = std::numeric_limits<unsigned long>::max();
    EXPECT_EQ(FromStd(std::to_string(umax)).ToULong(&ok), umax);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"+5").ToULong(&ok), 5u);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"-1").ToULong(&ok), 0u);
    EXPECT_FALSE(ok);

    EXPECT_EQ(CKxString(L"-9223372036854775808").ToLongLong(&ok),
              std::numeric_limits<long long>::min());
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"9223372036854775808").ToLongLong(&ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(CKxString(L"18446744073709551615").ToULongLong(&ok),
              std::numeric_limits<unsigned long long>::max());
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"18446744073709551616").ToULongLong(&ok), 0u);
    EXPECT_FALSE(ok);
    EXPECT_EQ(CKxString(L"ffffffffffffffff").ToULongLong(&ok, 16),
              std::numeric_limits<unsigned long long>::max());
    EXPECT_TRUE(ok);
}

TEST(KxStringNumber, ToDouble) {
    bool ok = false;
    EXPECT_EQ(CKxString(L"1.5").ToDouble(&ok), 1.5);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L" -2.5e3 ").ToDouble(&ok), -2500.0);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L"+1").ToDouble(&ok), 1.0);
    EXPECT_TRUE(ok);
    EXPECT_EQ(CKxString(L".5").ToDouble(&ok), 0.5);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(std::isinf(CKxString(L"inf").ToDouble(&ok)));
    EXPECT_TRUE(ok);
    EXPECT_TRUE(std::isnan(CKxString(L"nan").ToDouble(&ok)));
    EXPECT_TRUE(ok);
    const wchar_t* bad[] = {L"", L"1,5", L"abc", L"1.5x", L"+-1", L"1e400", L"0x10", L"1 .5"};
    for (const wchar_t* text : bad) {
        ok = true;
        EXPECT_EQ(CKxString(text).ToDouble(&ok), 0.0) << CKxString(text).ToStdString();
        EXPECT_FALSE(ok) << CKxString(text).ToStdString();
    }
    ok = true;
    EXPECT_EQ(CKxString().ToDouble(&ok), 0.0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(CKxString(L"0.25").ToDouble(), 0.25);
}
