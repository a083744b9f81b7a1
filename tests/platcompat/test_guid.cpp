// GUID creation, text forms and parsing.
#include <platcompat.h>

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

const GUID kSample = {0x01234567, 0x89AB, 0xCDEF, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};

std::wstring TextOf(REFGUID g) {
    LPOLESTR text = nullptr;
    EXPECT_EQ(StringFromCLSID(g, &text), S_OK);
    std::wstring result = text;
    CoTaskMemFree(text);
    return result;
}

TEST(GuidText, StringFromClsidIsBracedUpperCase) {
    EXPECT_EQ(TextOf(kSample), L"{01234567-89AB-CDEF-0123-456789ABCDEF}");
    EXPECT_EQ(TextOf(IID_IUnknown), L"{00000000-0000-0000-C000-000000000046}");
    EXPECT_EQ(StringFromCLSID(kSample, nullptr), E_POINTER);
}

TEST(GuidText, StringFromGuid2NeedsRoomForTerminator) {
    wchar_t buffer[39];
    EXPECT_EQ(StringFromGUID2(kSample, buffer, 38), 0);
    EXPECT_EQ(StringFromGUID2(kSample, buffer, 39), 39);
    EXPECT_STREQ(buffer, L"{01234567-89AB-CDEF-0123-456789ABCDEF}");
}

TEST(GuidText, ParseRoundTripsAndRejectsMalformedText) {
    GUID parsed;
    EXPECT_EQ(CLSIDFromString(L"{01234567-89ab-cdef-0123-456789ABCDEF}", &parsed), S_OK);
    EXPECT_TRUE(IsEqualGUID(parsed, kSample));
    for (const wchar_t* bad :
         {L"", L"{01234567-89AB-CDEF-0123-456789ABCDEF", L"01234567-89AB-CDEF-0123-456789ABCDEF",
          L"{01234567-89AB-CDEF-0123-456789ABCDEF}x", L"{0123456-789AB-CDEF-0123-456789ABCDEF}",
          L"{01234567-89AB-CDEF-0123-456789ABCDEG}", L"{01234567-89AB-CDEF-01234-56789ABCDEF}"}) {
        SCOPED_TRACE(std::wstring(bad).size());
        parsed = kSample;
        EXPECT_EQ(CLSIDFromString(bad, &parsed), CO_E_CLASSSTRING);
        EXPECT_TRUE(IsEqualGUID(parsed, GUID_NULL));
    }
    EXPECT_EQ(CLSIDFromString(nullptr, &parsed), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromString(L"{01234567-89AB-CDEF-0123-456789ABCDEF}", nullptr), E_INVALIDARG);
}

TEST(GuidCreate, RandomVersion4AndDistinctAcrossThreads) {
    EXPECT_EQ(CoCreateGuid(nullptr), E_POINTER);
    constexpr int kThreads = 4;
    constexpr int kPerThread = 2000;
    std::vector<std::vector<GUID>> made(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&made, t] {
            for (int i = 0; i < kPerThread; ++i) {
                GUID g;
                ASSERT_EQ(CoCreateGuid(&g), S_OK);
                made[t].push_back(g);
            }
        });
    }
    for (auto& th : threads) {
        th.join();
    }
    std::set<std::wstring> seen;
    for (const auto& list : made) {
        for (const GUID& g : list) {
            EXPECT_EQ(g.Data3 >> 12, 4);
            EXPECT_EQ(g.Data4[0] & 0xC0, 0x80);
            seen.insert(TextOf(g));
        }
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(kThreads * kPerThread));
}

TEST(GuidCompare, EqualityIsByteWise) {
    GUID other = kSample;
    EXPECT_TRUE(IsEqualGUID(other, kSample));
    other.Data4[7] ^= 1;
    EXPECT_FALSE(IsEqualGUID(other, kSample));
    EXPECT_TRUE(other != kSample);
    EXPECT_TRUE(IsEqualIID(__uuidof(IUnknown), IID_IUnknown));
}

} // namespace
