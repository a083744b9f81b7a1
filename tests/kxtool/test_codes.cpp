// Reading of result codes, and the tool's names of codes against the
// library's table.
#include <gtest/gtest.h>

#include <string>

#include "NumberText.h"
#include "ResultCodeInfo.h"
#include "WindowsNames.h"

namespace {

using namespace KxTool;

TEST(ReadResultCode, ReadsEachFormAndRefusesTheRest) {
    const CodeForm hex = CodeForm::Hex, bare = CodeForm::BareHex, dec = CodeForm::Decimal;
    const struct {
        const char* text;
        std::uint32_t value;
        CodeForm form;
        bool alsoDecimal;
    } cases[] = {
        // clang-format off
        {"0x80000008", 0x80000008u, hex, false}, {"0X8000fFfF", 0x8000FFFFu, hex, false},
        {"0x0", 0, hex, false}, {"0x000000000000000080070005", 0x80070005u, hex, false},
        {"0xffffffff80000008", 0x80000008u, CodeForm::SignExtended, false},
        {"8007000e", 0x8007000Eu, bare, false}, {"80004005", 0x80004005u, bare, true},
        {"00000005", 5, bare, false}, // the same value either way
        {"8007000", 8007000, dec, false}, {"4294967295", 0xFFFFFFFFu, dec, false},
        {"-1", 0xFFFFFFFFu, dec, false}, {"-0", 0, dec, false},
        {"-2147483648", 0x80000000u, dec, false},
        // clang-format on
    };
    CodeReading reading;
    std::string problem;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        ASSERT_TRUE(ReadResultCode(c.text, reading, problem));
        EXPECT_EQ(reading.value, c.value);
        EXPECT_EQ(reading.form, c.form);
        EXPECT_EQ(reading.alsoDecimal, c.alsoDecimal);
        EXPECT_EQ(problem, "");
    }
    // Not a sign extension, too large, not hexadecimal, not a plain number,
    // an Arabic-Indic digit.
    for (const char* text :
         {"0xffffffff7fffffff", "0x100000000", "0x", "0xg", "8007000e0", "4294967296",
          "99999999999999999999999", "-2147483649", "-0x5", "-", "+5", " 5", "", "\xD9\xA3"}) {
        SCOPED_TRACE(text);
        problem.clear();
        EXPECT_FALSE(ReadResultCode(text, reading, problem));
        EXPECT_NE(problem, "");
    }
}

TEST(ShortName, PrefersTheMostTellingName) {
    const struct {
        std::uint32_t code;
        const char* name;
    } cases[] = {
        // clang-format off
        {0, "S_OK"}, {0x80001008u, "E_KX_HRESULT_ASSERT_REPAIRED"},
        {0x80070005u, "ERROR_ACCESS_DENIED"}, // the library says "5L"
        {0x00070005u, "ERROR_ACCESS_DENIED"}, // severity is not looked at
        {0x800705B4u, "ERROR_TIMEOUT"},       // the library has no text
        {0x80040200u, "FACILITY_ITF"}, {0x800A0258u, "FACILITY_CONTROL"},
        {0x80004005u, "unknown"}, {0x8007FFFFu, "unknown"},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(HexCode(c.code));
        EXPECT_EQ(ShortName(c.code), c.name);
    }
}

// Every entry of the tool's tables is found by its look-up (they are sorted
// for it); every Win32 number the library prints as "<n>L" has a name in the
// tool's table (both come from the same headers); the platform values of the
// codes Windows numbers otherwise are those the library names.
TEST(WindowsNames, AgreeWithTheLibrarysTable) {
    for (std::size_t i = 0; i < Detail::g_win32ErrorNameCount; ++i) {
        EXPECT_EQ(Win32ErrorName(Detail::g_win32ErrorNames[i].number),
                  Detail::g_win32ErrorNames[i].name);
    }
    for (std::size_t i = 0; i < Detail::g_facilityNameCount; ++i) {
        EXPECT_EQ(FacilityName(Detail::g_facilityNames[i].number), Detail::g_facilityNames[i].name);
    }
    int named = 0;
    for (std::uint32_t n = 0; n <= 0xFFFF; ++n) {
        const std::string text = LibraryText(0x80070000u | n);
        if (text.find(": Unknown or new error") == std::string::npos) {
            ++named;
            EXPECT_NE(Win32ErrorName(n), nullptr) << text;
        }
    }
    EXPECT_EQ(named, 676);
    ASSERT_GT(Detail::g_windowsValueCount, 0u);
    for (std::size_t i = 0; i < Detail::g_windowsValueCount; ++i) {
        const WindowsValue& w = Detail::g_windowsValues[i];
        SCOPED_TRACE(w.name);
        EXPECT_NE(w.windowsValue, w.platformValue);
        EXPECT_EQ(ShortName(w.platformValue), w.name);
        EXPECT_FALSE(NamesWithWindowsValue(w.windowsValue).empty());
        EXPECT_EQ(NamesWithPlatformValue(w.platformValue), std::vector<const WindowsValue*>{&w});
    }
}

} // namespace
