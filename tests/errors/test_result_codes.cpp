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

// Counts heap allocations: rendering a code allocates nothing beyond growing
// the caller's string.
static std::atomic<long> g_allocations{0};
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

namespace Detail = KxTamarind::Detail;

const char kUnknown[] = "Unknown or new error";
const char kItf[] =
    "This is a FACILITY_ITF error that is specific to the interface that returned this error. See "
    "the documentation of the interface that returned this error for information about this "
    "HRESULT.";
const char kControl[] =
    "This is a FACILITY_CONTROL error that is specific to the control's interface that returned "
    "this error. See the documentation of the interface that returned this error for information "
    "about this HRESULT.";

// The text of a code passed as callers pass an HRESULT: widened to long, so
// that a failure arrives negative.
std::string TextOf(std::uint32_t code) {
    CAtlStringA text;
    KxTamarind::AppendResultCodeText(text, static_cast<long>(static_cast<HRESULT>(code)));
    return text.GetString();
}

// "0x<lower-case hex without leading zeros>: <name>".
std::string Expected(std::uint32_t code, const std::string& name) {
    char hex[16];
    std::snprintf(hex, sizeof(hex), "0x%x: ", static_cast<unsigned>(code));
    return hex + name;
}

#define KX_OWN(name)                                                                               \
    { static_cast<std::uint32_t>(KxTamarind::name), #name }

} // namespace

// Names of several families (the platform's values for E_, S_ and
// EXCEPTION_, the published ones for the others), the program's own codes by
// the constants of its header, codes without a name, Win32 numbers whatever
// the severity (the facility is 13 bits), and exact names before the
// facility sentences, which start above 0x1FF (interfaces) and 0x257
// (controls).
TEST(ResultCodeText, NamesAndFallbacksOfEveryStage) {
    const struct {
        std::uint32_t code;
        const char* name;
    } cases[] = {
        // clang-format off
        {0x00000000u, "S_OK"},         {0x00000001u, "S_FALSE"},       {0x80000008u, "E_FAIL"},
        {0x8000FFFFu, "E_UNEXPECTED"}, {0xC0000105u, "EXCEPTION_ACCESS_VIOLATION"},
        {0x80000101u, "EXCEPTION_GUARD_PAGE"}, {0x00080012u, "CO_S_NOTALLINTERFACES"},
        {0x8001FFFFu, "RPC_E_UNEXPECTED"}, {0x80029C84u, "TYPE_E_CIRCULARTYPE"},
        {0x000401C0u, "CONVERT10_S_NO_PRESENTATION"}, {0x800B0100u, "TRUST_E_NOSIGNATURE"},
        {0x00040130u, "DATA_S_SAMEFORMATETC"}, {0x800401FFu, "CO_E_RELEASED"},
        {0x800A02EAu, "CTL_E_REPLACEMENTSTOOLONG"},
        KX_OWN(E_KX_HRESULT_INVALID_ERROR),           KX_OWN(E_KX_HRESULT_UNKNOWN_EXCEPTION),
        KX_OWN(E_KX_HRESULT_INVALID_PROPERTY_MAP),    KX_OWN(E_KX_HRESULT_VALUE_OUT_OF_RANGE),
        KX_OWN(E_KX_HRESULT_CHECK_FCT_FAILED),        KX_OWN(E_KX_HRESULT_ASSERT_FAILED),
        KX_OWN(E_KX_HRESULT_ASSERT_REPAIRED),         KX_OWN(E_KX_HRESULT_INVALID_LINE),
        KX_OWN(E_KX_HRESULT_INDEX_OUT_OF_BOUNDS),     KX_OWN(E_KX_HRESULT_CONVERSION_NOT_SUPPORTED),
        KX_OWN(E_KX_HRESULT_PRECONDITION_FAILED),     KX_OWN(E_KX_HRESULT_POSTCONDITION_FAILED),
        KX_OWN(E_KX_HRESULT_NOT_IMPLEMENTED),         KX_OWN(E_KX_HRESULT_PRECONDITION_REPAIRED),
        KX_OWN(E_KX_HRESULT_POSTCONDITION_REPAIRED),
        KX_OWN(E_KX_HRESULT_PRINTING_NO_PRINTERCHANNEL),
        KX_OWN(E_KX_HRESULT_PRINTING_NOTHING_TO_PRINT),
        KX_OWN(E_KX_HRESULT_PRINTING_ITEM_LARGER_THAN_PAGE),
        {0x8000101Bu, kUnknown}, {1502u, kUnknown},       {0x80001000u, kUnknown},
        {0x80001001u, kUnknown}, {0x8000100Cu, kUnknown}, {0x80004005u, kUnknown},
        {0x8007000Eu, "14L"},    {0x00070005u, "5L"},     {0x20070005u, "5L"}, {0xE0070005u, "5L"},
        {0x8007FFFFu, kUnknown}, {0x90070005u, kUnknown}, {0x80270005u, kUnknown},
        {0x80040200u, kItf},     {0x80040206u, kItf},     {0x8004FFFFu, kItf}, {0x00040200u, kItf},
        {0x000401FFu, kUnknown}, {0x80040013u, kUnknown}, {0x800A0258u, kControl},
        {0x800AFFFFu, kControl}, {0x800A0257u, kUnknown}, {0x800A0000u, kUnknown},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Expected(c.code, c.name));
        EXPECT_EQ(TextOf(c.code), Expected(c.code, c.name));
        CAtlStringA positive; // the same bits as a positive (64-bit) long
        KxTamarind::AppendResultCodeText(positive, static_cast<long>(c.code));
        EXPECT_EQ(positive.GetString(), Expected(c.code, c.name));
    }
    // Appends to what is there; allocates only to grow the caller's string.
    CAtlStringA text("Error ");
    text.Preallocate(1024);
    const long before = g_allocations.load(std::memory_order_relaxed);
    KxTamarind::AppendResultCodeText(text, static_cast<long>(E_POINTER));
    KxTamarind::AppendResultCodeText(text, static_cast<long>(0x80040300u));
    KxTamarind::AppendResultCodeText(text, static_cast<long>(0x800A0258u));
    KxTamarind::AppendResultCodeText(text, static_cast<long>(0x80004005u));
    EXPECT_EQ(g_allocations.load(std::memory_order_relaxed) - before, 0);
    EXPECT_EQ(std::string(text.GetString()),
              std::string("Error 0x80000005: E_POINTER0x80040300: ") + kItf +
                  "0x800a0258: " + kControl + "0x80004005: " + kUnknown);
}

// Every exact name renders; name count, lowest and highest value of every
// family; sorted for the search, no name twice.
TEST(ResultCodeTable, FamiliesHaveTheirSizesAndRangesAndEveryNameRenders) {
    const struct {
        const char* prefix; // a name belongs to the first family whose prefix + "_" starts it
        std::size_t count;
        std::uint32_t lowest, highest;
    } families[] = {
        // clang-format off
        {"CO", 52, 0x00080012u, 0x80080008u},      {"RPC", 49, 0x80010001u, 0x8001FFFFu},
        {"STG", 42, 0x00030200u, 0x80030202u},     {"CTL", 40, 0x800A0005u, 0x800A02EAu},
        {"NTE", 33, 0x80090001u, 0x80090021u},     {"TYPE", 25, 0x80028016u, 0x80029C84u},
        {"OLE", 22, 0x00040000u, 0x80040012u},     {"MK", 22, 0x000401E2u, 0x80080007u},
        {"DISP", 16, 0x80020001u, 0x80020011u},    {"DV", 10, 0x80040064u, 0x8004006Du},
        {"CERT", 10, 0x800B0101u, 0x800B010Au},    {"CONVERT10", 8, 0x000401C0u, 0x800401C6u},
        {"DRAGDROP", 6, 0x00040100u, 0x80040102u}, {"REGDB", 6, 0x80040150u, 0x80040155u},
        {"OLEOBJ", 5, 0x00040180u, 0x80040181u},   {"CLIPBRD", 5, 0x800401D0u, 0x800401D4u},
        {"TRUST", 5, 0x800B0001u, 0x800B0100u},    {"CACHE", 4, 0x00040170u, 0x80040170u},
        {"DIGSIG", 4, 0x800B0005u, 0x800B0008u},   {"INPLACE", 3, 0x000401A0u, 0x800401A1u},
        {"CLASS", 3, 0x80040110u, 0x80040112u},    {"MEM", 3, 0x80080009u, 0x80080011u},
        {"PERSIST", 3, 0x800B0009u, 0x800B000Bu},  {"VIEW", 2, 0x00040140u, 0x80040140u},
        {"DATA", 1, 0x00040130u, 0x00040130u},     {"E_KX_HRESULT", 18, 0x80001002u, 0x80040A03u},
        {"EXCEPTION", 22, 0x80000101u, 0xC00001FDu}, {"E", 11, 0x80000001u, 0x8000FFFFu},
        {"S", 2, 0x00000000u, 0x00000001u},
        // clang-format on
    };
    ASSERT_EQ(Detail::g_resultCodeNameCount, 432u);
    std::map<std::string, std::vector<std::uint32_t>> byFamily;
    std::set<std::string> names;
    for (std::size_t i = 0; i < Detail::g_resultCodeNameCount; ++i) {
        const Detail::ResultCodeName& entry = Detail::g_resultCodeNames[i];
        SCOPED_TRACE(entry.name);
        EXPECT_TRUE(i == 0 || Detail::g_resultCodeNames[i - 1].code < entry.code) << "not sorted";
        EXPECT_TRUE(names.insert(entry.name).second) << "name listed twice";
        EXPECT_EQ(TextOf(entry.code), Expected(entry.code, entry.name));
        const auto family = std::find_if(std::begin(families), std::end(families), [&](auto& f) {
            return std::string(entry.name).rfind(std::string(f.prefix) + "_", 0) == 0;
        });
        ASSERT_NE(family, std::end(families)) << "name of no known family";
        byFamily[family->prefix].push_back(entry.code);
    }
    for (const auto& f : families) {
        SCOPED_TRACE(f.prefix);
        const std::vector<std::uint32_t>& codes = byFamily[f.prefix];
        ASSERT_EQ(codes.size(), f.count);
        EXPECT_EQ(*std::min_element(codes.begin(), codes.end()), f.lowest);
        EXPECT_EQ(*std::max_element(codes.begin(), codes.end()), f.highest);
    }
}

// Exactly the listed Win32 numbers render as "<n>L", in failure and success
// codes; every other number gets the fallback name.
TEST(ResultCodeTable, Win32NumbersAreExactlyTheListedRanges) {
    std::istringstream ranges(
        "0-34, 36, 38-39, 50-72, 80, 82-89, 100-114, 117-162, 164, 167, 170, 173-174, 180, "
        "182-183, 186-203, 205-210, 212, 214-216, 230-234, 240, 254-255, 259, 266-267, 275-278, "
        "282, 288, 298-299, 317, 487, 534-536, 994-999, 1001-1022, 1051-1079, 1100-1132, "
        "1140-1142, 1150-1157, 1200-1248, 1300-1338, 1340-1395, 1400-1459, 1500-1503, 1700-1728, "
        "1730, 1732-1737, 1739-1775, 1777-1832, 1898-1913, 2000-2005, 2202, 2250, 2401-2402, "
        "2404, 3000-3011, 4000-4006, 6118");
    std::set<unsigned> listed;
    for (std::string part; std::getline(ranges, part, ',');) {
        unsigned low = 0, high = 0;
        if (std::sscanf(part.c_str(), " %u-%u", &low, &high) == 1) {
            high = low;
        }
        for (unsigned n = low; n <= high; ++n) {
            listed.insert(n);
        }
    }
    ASSERT_EQ(listed.size(), 676u);
    ASSERT_EQ(Detail::g_win32NumberTextCount, 676u);
    for (std::uint32_t n = 0; n <= 0xFFFF; ++n) {
        const std::string name = listed.count(n) != 0 ? std::to_string(n) + "L" : kUnknown;
        ASSERT_EQ(TextOf(0x80070000u | n), Expected(0x80070000u | n, name));
        ASSERT_EQ(TextOf(0x00070000u | n), Expected(0x00070000u | n, name));
    }
}
