// Result-code texts: AppendResultCodeText and the tables behind it.
#include "KxResultCodes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Base/Common/KxTamarindCommon/Src/KxResultCodeTable.h"

// Counts heap allocations so a test can show that rendering a code allocates
// nothing beyond growing the caller's string.
namespace {
std::atomic<long> g_allocations{0};
}

// The replacements pair malloc with free; GCC cannot see that through the
// replaced operators and warns at -O1.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
#pragma GCC diagnostic pop

namespace {

using KxTamarind::AppendResultCodeText;
namespace Detail = KxTamarind::Detail;

const char kUnknown[] = "Unknown or new error";
const char kItfText[] =
    "This is a FACILITY_ITF error that is specific to the interface that returned this error. See "
    "the documentation of the interface that returned this error for information about this "
    "HRESULT.";
const char kControlText[] =
    "This is a FACILITY_CONTROL error that is specific to the control's interface that returned "
    "this error. See the documentation of the interface that returned this error for information "
    "about this HRESULT.";

// Passes the code the way callers do: an HRESULT widened to long, so failure
// codes arrive negative.
std::string TextOf(std::uint32_t code) {
    CAtlStringA text;
    AppendResultCodeText(text, static_cast<long>(static_cast<HRESULT>(code)));
    return text.GetString();
}

std::string Expected(std::uint32_t code, const std::string& name) {
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "0x%x: ", static_cast<unsigned>(code));
    return buffer + name;
}

struct NamedCode {
    std::uint32_t code;
    const char* text;
};

// One code of every family, with the value the published headers give it (or
// the platform value for E_*, S_* and EXCEPTION_*).
TEST(ResultCodeText, NamesOneCodeOfEveryFamily) {
    const NamedCode cases[] = {
        {0x00000000u, "0x0: S_OK"},
        {0x00000001u, "0x1: S_FALSE"},
        {0x80000008u, "0x80000008: E_FAIL"},
        {0x8000FFFFu, "0x8000ffff: E_UNEXPECTED"},
        {0xC0000105u, "0xc0000105: EXCEPTION_ACCESS_VIOLATION"},
        {0x80000101u, "0x80000101: EXCEPTION_GUARD_PAGE"},
        {0x80001002u, "0x80001002: E_KX_HRESULT_INVALID_ERROR"},
        {0x80040A03u, "0x80040a03: E_KX_HRESULT_PRINTING_ITEM_LARGER_THAN_PAGE"},
        {0x00080012u, "0x80012: CO_S_NOTALLINTERFACES"},
        {0x800401F0u, "0x800401f0: CO_E_NOTINITIALIZED"},
        {0x80010106u, "0x80010106: RPC_E_CHANGED_MODE"},
        {0x8001FFFFu, "0x8001ffff: RPC_E_UNEXPECTED"},
        {0x80030002u, "0x80030002: STG_E_FILENOTFOUND"},
        {0x800A0006u, "0x800a0006: CTL_E_OVERFLOW"},
        {0x80090001u, "0x80090001: NTE_BAD_UID"},
        {0x80029C84u, "0x80029c84: TYPE_E_CIRCULARTYPE"},
        {0x80040000u, "0x80040000: OLE_E_OLEVERB"},
        {0x80080007u, "0x80080007: MK_E_NO_NORMALIZED"},
        {0x80020009u, "0x80020009: DISP_E_EXCEPTION"},
        {0x80040064u, "0x80040064: DV_E_FORMATETC"},
        {0x800B0101u, "0x800b0101: CERT_E_EXPIRED"},
        {0x000401C0u, "0x401c0: CONVERT10_S_NO_PRESENTATION"},
        {0x00040100u, "0x40100: DRAGDROP_S_DROP"},
        {0x80040154u, "0x80040154: REGDB_E_CLASSNOTREG"},
        {0x80040180u, "0x80040180: OLEOBJ_E_NOVERBS"},
        {0x800401D0u, "0x800401d0: CLIPBRD_E_CANT_OPEN"},
        {0x800B0100u, "0x800b0100: TRUST_E_NOSIGNATURE"},
        {0x80040170u, "0x80040170: CACHE_E_NOCACHE_UPDATED"},
        {0x800B0008u, "0x800b0008: DIGSIG_E_CRYPTO"},
        {0x800401A0u, "0x800401a0: INPLACE_E_NOTUNDOABLE"},
        {0x80040110u, "0x80040110: CLASS_E_NOAGGREGATION"},
        {0x80080009u, "0x80080009: MEM_E_INVALID_ROOT"},
        {0x800B000Bu, "0x800b000b: PERSIST_E_NOTSELFSIZING"},
        {0x80040140u, "0x80040140: VIEW_E_DRAW"},
        {0x00040130u, "0x40130: DATA_S_SAMEFORMATETC"},
    };
    for (const NamedCode& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(TextOf(c.code), c.text);
    }
}

TEST(ResultCodeText, EdgeCases) {
    // The Windows value of a general failure is not a name on this platform.
    EXPECT_EQ(TextOf(0x80004005u), Expected(0x80004005u, kUnknown));
    EXPECT_EQ(TextOf(0x8007000Eu), "0x8007000e: 14L");
    EXPECT_EQ(TextOf(0x8007FFFFu), Expected(0x8007FFFFu, kUnknown));
    EXPECT_EQ(TextOf(0x00070005u), "0x70005: 5L"); // success code, facility 7
    EXPECT_EQ(TextOf(0x80040200u), std::string("0x80040200: ") + kItfText);
    EXPECT_EQ(TextOf(0x80040201u), "0x80040201: E_KX_HRESULT_PRECONDITION_FAILED");
    EXPECT_EQ(TextOf(0x800401FFu), "0x800401ff: CO_E_RELEASED");
    EXPECT_EQ(TextOf(0x800A0258u), std::string("0x800a0258: ") + kControlText);
    EXPECT_EQ(TextOf(0x800A0257u), Expected(0x800A0257u, kUnknown));
    EXPECT_EQ(TextOf(0x800A0000u), Expected(0x800A0000u, kUnknown));
    EXPECT_EQ(TextOf(0x80001004u), "0x80001004: E_KX_HRESULT_INVALID_PROPERTY_MAP");
    EXPECT_EQ(TextOf(0x80001006u), "0x80001006: E_KX_HRESULT_CHECK_FCT_FAILED");
    EXPECT_EQ(TextOf(0x8000100Cu), Expected(0x8000100Cu, kUnknown));
    EXPECT_EQ(TextOf(0x80001000u), Expected(0x80001000u, kUnknown));
    EXPECT_EQ(TextOf(0x80001001u), Expected(0x80001001u, kUnknown));
}

TEST(ResultCodeText, ExactNamesComeBeforeFacilityTexts) {
    // A named control code above 0x257 keeps its name.
    EXPECT_EQ(TextOf(0x800A02EAu), "0x800a02ea: CTL_E_REPLACEMENTSTOOLONG");
    // Named interface codes above 0x1FF keep theirs.
    EXPECT_EQ(TextOf(0x80040A01u), "0x80040a01: E_KX_HRESULT_PRINTING_NO_PRINTERCHANNEL");
    // Unnamed neighbours get the facility sentence, success codes included.
    EXPECT_EQ(TextOf(0x80040206u), std::string("0x80040206: ") + kItfText);
    EXPECT_EQ(TextOf(0x8004FFFFu), std::string("0x8004ffff: ") + kItfText);
    EXPECT_EQ(TextOf(0x00040200u), std::string("0x40200: ") + kItfText);
    EXPECT_EQ(TextOf(0x800AFFFFu), std::string("0x800affff: ") + kControlText);
    EXPECT_EQ(TextOf(0x80040013u), Expected(0x80040013u, kUnknown));
    // 0x1FF is the last system code of FACILITY_ITF (unnamed as a success code).
    EXPECT_EQ(TextOf(0x000401FFu), Expected(0x000401FFu, kUnknown));
}

TEST(ResultCodeText, FacilityIsThirteenBitsOfTheHighWord) {
    // Bits 29..31 are not part of the facility ...
    EXPECT_EQ(TextOf(0x20070005u), "0x20070005: 5L");
    EXPECT_EQ(TextOf(0xE0070005u), "0xe0070005: 5L");
    // ... bit 28 is, so this is facility 0x1007 and has no text.
    EXPECT_EQ(TextOf(0x90070005u), Expected(0x90070005u, kUnknown));
    EXPECT_EQ(TextOf(0x80270005u), Expected(0x80270005u, kUnknown));
}

TEST(ResultCodeText, NegativeAndPositiveLongPrintTheSame32BitValue) {
    CAtlStringA negative;
    AppendResultCodeText(negative, static_cast<long>(E_FAIL));
    CAtlStringA positive;
    AppendResultCodeText(positive, static_cast<long>(0x80000008u));
    EXPECT_STREQ(negative.GetString(), "0x80000008: E_FAIL");
    EXPECT_STREQ(positive.GetString(), "0x80000008: E_FAIL");
}

TEST(ResultCodeText, AppendsToExistingText) {
    CAtlStringA text("Error ");
    AppendResultCodeText(text, static_cast<long>(E_POINTER));
    EXPECT_STREQ(text.GetString(), "Error 0x80000005: E_POINTER");
    AppendResultCodeText(text, static_cast<long>(0x80040300u));
    EXPECT_EQ(std::string(text.GetString()),
              std::string("Error 0x80000005: E_POINTER0x80040300: ") + kItfText);
}

TEST(ResultCodeText, AllocatesOnlyToGrowTheCallersString) {
    CAtlStringA text;
    text.Preallocate(1024);
    const std::uint32_t codes[] = {0x80000008u, 0x8007000Eu, 0x80040200u,
                                   0x800A0258u, 0x80004005u, 0x80001004u};
    const long before = g_allocations.load(std::memory_order_relaxed);
    for (std::uint32_t code : codes) {
        AppendResultCodeText(text, static_cast<long>(static_cast<HRESULT>(code)));
    }
    const long after = g_allocations.load(std::memory_order_relaxed);
    EXPECT_EQ(after - before, 0);
    EXPECT_GT(text.GetLength(), 400); // the texts really were appended
}

TEST(ResultCodes, OwnCodesRenderWithTheirNames) {
    const std::pair<HRESULT, const char*> codes[] = {
        {KxTamarind::E_KX_HRESULT_INVALID_ERROR, "E_KX_HRESULT_INVALID_ERROR"},
        {KxTamarind::E_KX_HRESULT_UNKNOWN_EXCEPTION, "E_KX_HRESULT_UNKNOWN_EXCEPTION"},
        {KxTamarind::E_KX_HRESULT_INVALID_PROPERTY_MAP, "E_KX_HRESULT_INVALID_PROPERTY_MAP"},
        {KxTamarind::E_KX_HRESULT_VALUE_OUT_OF_RANGE, "E_KX_HRESULT_VALUE_OUT_OF_RANGE"},
        {KxTamarind::E_KX_HRESULT_CHECK_FCT_FAILED, "E_KX_HRESULT_CHECK_FCT_FAILED"},
        {KxTamarind::E_KX_HRESULT_ASSERT_FAILED, "E_KX_HRESULT_ASSERT_FAILED"},
        {KxTamarind::E_KX_HRESULT_ASSERT_REPAIRED, "E_KX_HRESULT_ASSERT_REPAIRED"},
        {KxTamarind::E_KX_HRESULT_INVALID_LINE, "E_KX_HRESULT_INVALID_LINE"},
        {KxTamarind::E_KX_HRESULT_INDEX_OUT_OF_BOUNDS, "E_KX_HRESULT_INDEX_OUT_OF_BOUNDS"},
        {KxTamarind::E_KX_HRESULT_CONVERSION_NOT_SUPPORTED,
         "E_KX_HRESULT_CONVERSION_NOT_SUPPORTED"},
        {KxTamarind::E_KX_HRESULT_PRECONDITION_FAILED, "E_KX_HRESULT_PRECONDITION_FAILED"},
        {KxTamarind::E_KX_HRESULT_POSTCONDITION_FAILED, "E_KX_HRESULT_POSTCONDITION_FAILED"},
        {KxTamarind::E_KX_HRESULT_NOT_IMPLEMENTED, "E_KX_HRESULT_NOT_IMPLEMENTED"},
        {KxTamarind::E_KX_HRESULT_PRECONDITION_REPAIRED, "E_KX_HRESULT_PRECONDITION_REPAIRED"},
        {KxTamarind::E_KX_HRESULT_POSTCONDITION_REPAIRED, "E_KX_HRESULT_POSTCONDITION_REPAIRED"},
        {KxTamarind::E_KX_HRESULT_PRINTING_NO_PRINTERCHANNEL,
         "E_KX_HRESULT_PRINTING_NO_PRINTERCHANNEL"},
        {KxTamarind::E_KX_HRESULT_PRINTING_NOTHING_TO_PRINT,
         "E_KX_HRESULT_PRINTING_NOTHING_TO_PRINT"},
        {KxTamarind::E_KX_HRESULT_PRINTING_ITEM_LARGER_THAN_PAGE,
         "E_KX_HRESULT_PRINTING_ITEM_LARGER_THAN_PAGE"},
    };
    for (const auto& c : codes) {
        SCOPED_TRACE(c.second);
        EXPECT_EQ(TextOf(static_cast<std::uint32_t>(c.first)),
                  Expected(static_cast<std::uint32_t>(c.first), c.second));
    }
    EXPECT_EQ(TextOf(static_cast<std::uint32_t>(KxTamarind::E_KX_HRESULT_DESTRUCTOR_EXCEPTION)),
              Expected(0x8000101Bu, kUnknown));
    EXPECT_EQ(TextOf(static_cast<std::uint32_t>(KxTamarind::E_KX_HRESULT_TOO_MANY_ERRORS)),
              "0x5de: Unknown or new error");
}

// --- Table-wide checks -----------------------------------------------------------

struct Family {
    const char* prefix; // a name belongs to the family whose prefix + "_" starts it
    std::size_t count;
    std::uint32_t lowest;
    std::uint32_t highest;
};

const Family kFamilies[] = {
    {"CO", 52, 0x00080012u, 0x80080008u},        {"RPC", 49, 0x80010001u, 0x8001FFFFu},
    {"STG", 42, 0x00030200u, 0x80030202u},       {"CTL", 40, 0x800A0005u, 0x800A02EAu},
    {"NTE", 33, 0x80090001u, 0x80090021u},       {"TYPE", 25, 0x80028016u, 0x80029C84u},
    {"OLE", 22, 0x00040000u, 0x80040012u},       {"MK", 22, 0x000401E2u, 0x80080007u},
    {"DISP", 16, 0x80020001u, 0x80020011u},      {"DV", 10, 0x80040064u, 0x8004006Du},
    {"CERT", 10, 0x800B0101u, 0x800B010Au},      {"CONVERT10", 8, 0x000401C0u, 0x800401C6u},
    {"DRAGDROP", 6, 0x00040100u, 0x80040102u},   {"REGDB", 6, 0x80040150u, 0x80040155u},
    {"OLEOBJ", 5, 0x00040180u, 0x80040181u},     {"CLIPBRD", 5, 0x800401D0u, 0x800401D4u},
    {"TRUST", 5, 0x800B0001u, 0x800B0100u},      {"CACHE", 4, 0x00040170u, 0x80040170u},
    {"DIGSIG", 4, 0x800B0005u, 0x800B0008u},     {"INPLACE", 3, 0x000401A0u, 0x800401A1u},
    {"CLASS", 3, 0x80040110u, 0x80040112u},      {"MEM", 3, 0x80080009u, 0x80080011u},
    {"PERSIST", 3, 0x800B0009u, 0x800B000Bu},    {"VIEW", 2, 0x00040140u, 0x80040140u},
    {"DATA", 1, 0x00040130u, 0x00040130u},       {"E_KX_HRESULT", 18, 0x80001002u, 0x80040A03u},
    {"EXCEPTION", 22, 0x80000101u, 0xC00001FDu},
};

// E_ and S_ are matched last so that E_KX_HRESULT_* stays its own family.
const Family kGeneralFamilies[] = {
    {"E", 11, 0x80000001u, 0x8000FFFFu},
    {"S", 2, 0x00000000u, 0x00000001u},
};

bool HasPrefix(const char* name, const char* prefix) {
    const std::string p = std::string(prefix) + "_";
    return std::string(name).compare(0, p.size(), p) == 0;
}

TEST(ResultCodeTable, FamiliesHaveTheirSizesAndRanges) {
    std::map<std::string, std::vector<std::uint32_t>> byFamily;
    for (std::size_t i = 0; i < Detail::g_resultCodeNameCount; ++i) {
        const Detail::ResultCodeName& entry = Detail::g_resultCodeNames[i];
        SCOPED_TRACE(entry.name);
        const char* family = nullptr;
        for (const Family& f : kFamilies) {
            if (HasPrefix(entry.name, f.prefix)) {
                family = f.prefix;
                break;
            }
        }
        for (const Family& f : kGeneralFamilies) {
            if (family == nullptr && HasPrefix(entry.name, f.prefix)) {
                family = f.prefix;
            }
        }
        ASSERT_NE(family, nullptr) << "name of no known family";
        byFamily[family].push_back(entry.code);
    }
    std::size_t total = 0;
    auto check = [&](const Family& f) {
        SCOPED_TRACE(f.prefix);
        const std::vector<std::uint32_t>& codes = byFamily[f.prefix];
        ASSERT_EQ(codes.size(), f.count);
        std::uint32_t lowest = codes.front();
        std::uint32_t highest = codes.front();
        for (std::uint32_t code : codes) {
            lowest = std::min(lowest, code);
            highest = std::max(highest, code);
        }
        EXPECT_EQ(lowest, f.lowest);
        EXPECT_EQ(highest, f.highest);
        total += codes.size();
    };
    for (const Family& f : kFamilies) {
        check(f);
    }
    for (const Family& f : kGeneralFamilies) {
        check(f);
    }
    EXPECT_EQ(total, 432u);
}

TEST(ResultCodeTable, ExactCodesAreSortedUniqueAndRenderTheirNames) {
    ASSERT_EQ(Detail::g_resultCodeNameCount, 432u);
    std::set<std::string> names;
    for (std::size_t i = 0; i < Detail::g_resultCodeNameCount; ++i) {
        const Detail::ResultCodeName& entry = Detail::g_resultCodeNames[i];
        SCOPED_TRACE(entry.name);
        if (i > 0) {
            EXPECT_LT(Detail::g_resultCodeNames[i - 1].code, entry.code);
        }
        EXPECT_TRUE(names.insert(entry.name).second) << "name listed twice";
        EXPECT_EQ(TextOf(entry.code), Expected(entry.code, entry.name));
    }
}

// The Win32 numbers with a text, as decimal ranges.
const char kWin32Ranges[] =
    "0-34, 36, 38-39, 50-72, 80, 82-89, 100-114, 117-162, 164, 167, 170, 173-174, 180, 182-183, "
    "186-203, 205-210, 212, 214-216, 230-234, 240, 254-255, 259, 266-267, 275-278, 282, 288, "
    "298-299, 317, 487, 534-536, 994-999, 1001-1022, 1051-1079, 1100-1132, 1140-1142, 1150-1157, "
    "1200-1248, 1300-1338, 1340-1395, 1400-1459, 1500-1503, 1700-1728, 1730, 1732-1737, "
    "1739-1775, 1777-1832, 1898-1913, 2000-2005, 2202, 2250, 2401-2402, 2404, 3000-3011, "
    "4000-4006, 6118";

std::vector<unsigned> ParseRanges(const char* text) {
    std::vector<unsigned> numbers;
    std::istringstream in(text);
    std::string part;
    while (std::getline(in, part, ',')) {
        unsigned low = 0;
        unsigned high = 0;
        const int fields = std::sscanf(part.c_str(), " %u-%u", &low, &high);
        if (fields == 1) {
            high = low;
        }
        for (unsigned n = low; n <= high; ++n) {
            numbers.push_back(n);
        }
    }
    return numbers;
}

TEST(ResultCodeTable, Win32NumbersAreExactlyTheListedRanges) {
    const std::vector<unsigned> expected = ParseRanges(kWin32Ranges);
    ASSERT_EQ(expected.size(), 676u);
    ASSERT_EQ(Detail::g_win32NumberTextCount, 676u);
    std::vector<unsigned> actual;
    for (std::size_t i = 0; i < Detail::g_win32NumberTextCount; ++i) {
        actual.push_back(Detail::g_win32NumberTexts[i].number);
    }
    EXPECT_EQ(actual, expected);
}

TEST(ResultCodeTable, EveryWin32NumberRendersAsItsNumberWithL) {
    const std::vector<unsigned> listed = ParseRanges(kWin32Ranges);
    const std::set<unsigned> numbers(listed.begin(), listed.end());
    // Every number up past the last listed one: listed numbers give "<n>L" in
    // failure and success codes, the others the fallback name.
    for (unsigned n = 0; n <= 6200; ++n) {
        const std::uint32_t failure = 0x80070000u | n;
        const std::uint32_t success = 0x00070000u | n;
        if (numbers.count(n) != 0) {
            const std::string text = std::to_string(n) + "L";
            SCOPED_TRACE(text);
            EXPECT_EQ(TextOf(failure), Expected(failure, text));
            EXPECT_EQ(TextOf(success), Expected(success, text));
        } else {
            SCOPED_TRACE(n);
            EXPECT_EQ(TextOf(failure), Expected(failure, kUnknown));
        }
    }
}

} // namespace
