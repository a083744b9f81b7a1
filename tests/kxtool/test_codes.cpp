// Reading of result codes, and the tool's names of codes against the
// library's table.
#include <gtest/gtest.h>

#include <KxTamarindCommon.h>

#include <string>

#include "NumberText.h"
#include "ResultCodeInfo.h"
#include "WindowsNames.h"

namespace {

using namespace KxTool;

TEST(ReadResultCode, ReadsEachFormAndRefusesTheRest) {
    const struct {
        const char* text;
        bool ok;
        std::uint32_t value;
        CodeForm form;
        bool alsoDecimal;
    } cases[] = {
        {"0x80000008", true, 0x80000008u, CodeForm::Hex, false},
        {"0X8000fFfF", true, 0x8000FFFFu, CodeForm::Hex, false},
        {"0x0", true, 0, CodeForm::Hex, false},
        {"0x000000000000000080070005", true, 0x80070005u, CodeForm::Hex, false},
        {"0xffffffff80000008", true, 0x80000008u, CodeForm::SignExtended, false},
        {"0xffffffff7fffffff", false, 0, CodeForm::Hex, false}, // not a sign extension
        {"0x100000000", false, 0, CodeForm::Hex, false},
        {"0x", false, 0, CodeForm::Hex, false},
        {"0xg", false, 0, CodeForm::Hex, false},
        {"8007000e", true, 0x8007000Eu, CodeForm::BareHex, false},
        {"80004005", true, 0x80004005u, CodeForm::BareHex, true},
        {"00000005", true, 5, CodeForm::BareHex, false}, // same value either way
        {"8007000", true, 8007000, CodeForm::Decimal, false},
        {"8007000e0", false, 0, CodeForm::Hex, false},
        {"4294967295", true, 0xFFFFFFFFu, CodeForm::Decimal, false},
        {"4294967296", false, 0, CodeForm::Hex, false},
        {"99999999999999999999999", false, 0, CodeForm::Hex, false},
        {"-1", true, 0xFFFFFFFFu, CodeForm::Decimal, false},
        {"-0", true, 0, CodeForm::Decimal, false},
        {"-2147483648", true, 0x80000000u, CodeForm::Decimal, false},
        {"-2147483649", false, 0, CodeForm::Hex, false},
        {"-0x5", false, 0, CodeForm::Hex, false},
        {"-", false, 0, CodeForm::Hex, false},
        {"+5", false, 0, CodeForm::Hex, false},
        {" 5", false, 0, CodeForm::Hex, false},
        {"", false, 0, CodeForm::Hex, false},
        {"\xD9\xA3", false, 0, CodeForm::Hex, false}, // an Arabic-Indic digit
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        CodeReading reading;
        std::string problem;
        ASSERT_EQ(ReadResultCode(c.text, reading, problem), c.ok);
        EXPECT_EQ(problem.empty(), c.ok);
        if (c.ok) {
            EXPECT_EQ(reading.value, c.value);
            EXPECT_EQ(reading.form, c.form);
            EXPECT_EQ(reading.alsoDecimal, c.alsoDecimal);
        }
    }
}

TEST(ShortName, PrefersTheMostTellingName) {
    const struct {
        std::uint32_t code;
        const char* name;
    } cases[] = {
        {0, "S_OK"},
        {0x80000008u, "E_FAIL"},
        {0x80001008u, "E_KX_HRESULT_ASSERT_REPAIRED"},
        {0x80070005u, "ERROR_ACCESS_DENIED"}, // the library says "5L"
        {0x00070005u, "ERROR_ACCESS_DENIED"}, // severity is not looked at
        {0x800705B4u, "ERROR_TIMEOUT"},       // the library has no text
        {0x80040200u, "FACILITY_ITF"},
        {0x800A0258u, "FACILITY_CONTROL"},
        {0x80004005u, "unknown"},
        {0x8007FFFFu, "unknown"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(HexCode(c.code));
        EXPECT_EQ(ShortName(c.code), c.name);
    }
}

// Every Win32 number the library prints as "<n>L" has a name in the tool's
// table, and both tables come from the same headers.
TEST(WindowsNames, NameEveryWin32NumberTheLibraryKnows) {
    int named = 0;
    for (std::uint32_t n = 0; n <= 0xFFFF; ++n) {
        const std::string text = LibraryText(0x80070000u | n);
        if (text.find(": Unknown or new error") != std::string::npos) {
            continue;
        }
        SCOPED_TRACE(text);
        ++named;
        EXPECT_EQ(text.substr(text.find(": ") + 2), std::to_string(n) + "L");
        EXPECT_NE(Win32ErrorName(n), nullptr);
    }
    EXPECT_EQ(named, 676);
}

TEST(WindowsNames, TablesAreSortedForTheirSearch) {
    for (std::size_t i = 1; i < Detail::g_win32ErrorNameCount; ++i) {
        EXPECT_LT(Detail::g_win32ErrorNames[i - 1].number, Detail::g_win32ErrorNames[i].number);
    }
    for (std::size_t i = 1; i < Detail::g_facilityNameCount; ++i) {
        EXPECT_LT(Detail::g_facilityNames[i - 1].number, Detail::g_facilityNames[i].number);
    }
}

// The platform values in the tool's table are those the library names.
TEST(WindowsNames, PlatformValuesAgreeWithTheLibrary) {
    ASSERT_GT(Detail::g_windowsValueCount, 0u);
    for (std::size_t i = 0; i < Detail::g_windowsValueCount; ++i) {
        const WindowsValue& w = Detail::g_windowsValues[i];
        SCOPED_TRACE(w.name);
        EXPECT_NE(w.windowsValue, w.platformValue);
        EXPECT_EQ(ShortName(w.platformValue), w.name);
        ASSERT_EQ(NamesWithWindowsValue(w.windowsValue).empty(), false);
        ASSERT_EQ(NamesWithPlatformValue(w.platformValue).size(), 1u);
        EXPECT_EQ(NamesWithPlatformValue(w.platformValue)[0], &w);
    }
}

} // namespace
