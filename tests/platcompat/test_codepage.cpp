// Code-page conversions, case mapping and string lengths.
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platcompat/strconv.h"

namespace {

// Converts with flags; returns the wide result, or sets `result` to 0.
std::wstring ToWide(const std::string& in, UINT cp = CP_UTF8, DWORD flags = 0,
                    int* result = nullptr) {
    const int n =
        MultiByteToWideChar(cp, flags, in.data(), static_cast<int>(in.size()), nullptr, 0);
    if (result != nullptr) {
        *result = n;
    }
    if (n <= 0) {
        return std::wstring();
    }
    std::wstring out(static_cast<std::size_t>(n), L'\0');
    EXPECT_EQ(MultiByteToWideChar(cp, flags, in.data(), static_cast<int>(in.size()), &out[0], n),
              n);
    return out;
}

std::string ToNarrow(const std::wstring& in, UINT cp = CP_UTF8, DWORD flags = 0,
                     int* result = nullptr) {
    const int n = WideCharToMultiByte(cp, flags, in.data(), static_cast<int>(in.size()), nullptr, 0,
                                      nullptr, nullptr);
    if (result != nullptr) {
        *result = n;
    }
    if (n <= 0) {
        return std::string();
    }
    std::string out(static_cast<std::size_t>(n), '\0');
    EXPECT_EQ(WideCharToMultiByte(cp, flags, in.data(), static_cast<int>(in.size()), &out[0], n,
                                  nullptr, nullptr),
              n);
    return out;
}

TEST(CodePage, Utf8RoundTripOneToFourBytes) {
    const std::string utf8 = "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF";
    const std::wstring wide = {L'A', 0xE9, 0x20AC, 0x1F600, 0x10FFFF};
    for (UINT cp : {CP_ACP, CP_OEMCP, CP_THREAD_ACP, CP_UTF8}) {
        SCOPED_TRACE(cp);
        EXPECT_EQ(ToWide(utf8, cp), wide); // one wchar_t per code point, no surrogates
        EXPECT_EQ(ToNarrow(wide, cp), utf8);
    }
}

struct InvalidCase {
    std::string bytes;
    std::wstring expected;
};

TEST(CodePage, InvalidUtf8BecomesReplacementOrFails) {
    const wchar_t R = 0xFFFD;
    const InvalidCase cases[] = {
        {"\xC0\x41\x42", {R, L'A', L'B'}},
        {"\x80", {R}}, // lone continuation byte
        {"a\xBF"
         "b",
         {L'a', R, L'b'}},
        {"\xC0\x80", {R, R}},               // overlong NUL
        {"\xE0\x80\xAF", {R, R, R}},        // overlong three-byte form
        {"\xED\xA0\x80", {R, R, R}},        // encoded surrogate
        {"\xF5\x80\x80\x80", {R, R, R, R}}, // lead byte above F4
        {"\xFF", {R}},
        {"\xF4\x90\x80\x80", {R, R, R, R}}, // above U+10FFFF
        {"A\xE2\x82", {L'A', R}},           // truncated at the end
        {"\xF0\x9F\x98", {R}},
        {"\xE2\x82"
         "A",
         {R, L'A'}}, // truncated before ASCII
    };
    for (const InvalidCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bytes));
        EXPECT_EQ(ToWide(c.bytes), c.expected);
        int result = -1;
        SetLastError(0);
        ToWide(c.bytes, CP_UTF8, MB_ERR_INVALID_CHARS, &result);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
    }
    // Valid input is unaffected by the flag.
    EXPECT_EQ(ToWide("\xE2\x82\xAC", CP_UTF8, MB_ERR_INVALID_CHARS), std::wstring(1, 0x20AC));
}

TEST(CodePage, LengthRulesNarrowToWide) {
    wchar_t buf[8] = {L'x', L'x', L'x', L'x', L'x', L'x', L'x', L'x'};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab\xC3\xA9", -1, nullptr, 0), 4);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab\xC3\xA9", -1, buf, 8), 4);
    EXPECT_EQ(std::wstring(buf, 4), std::wstring(L"ab\u00e9", 4)); // NUL included
    EXPECT_EQ(buf[4], L'x');

    SetLastError(0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, buf, 3), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);

    struct Bad {
        UINT cp;
        DWORD flags;
        const char* src;
        int srcLen;
        wchar_t* dst;
        int dstLen;
        DWORD error;
    };
    const Bad bad[] = {
        {CP_UTF8, 0, nullptr, 3, buf, 8, ERROR_INVALID_PARAMETER},
        {CP_UTF8, 0, "abc", 0, buf, 8, ERROR_INVALID_PARAMETER},
        {CP_UTF8, 0, "abc", -2, buf, 8, ERROR_INVALID_PARAMETER},
        {CP_UTF8, 0, "abc", 3, buf, -1, ERROR_INVALID_PARAMETER},
        {CP_UTF8, 0, "abc", 3, nullptr, 8, ERROR_INVALID_PARAMETER},
        {437, 0, "abc", 3, buf, 8, ERROR_INVALID_PARAMETER},
        {CP_UTF8, 0x2, "abc", 3, buf, 8, ERROR_INVALID_FLAGS},
    };
    for (const Bad& b : bad) {
        SCOPED_TRACE(testing::Message() << b.cp << " " << b.srcLen << " " << b.dstLen);
        SetLastError(0);
        EXPECT_EQ(MultiByteToWideChar(b.cp, b.flags, b.src, b.srcLen, b.dst, b.dstLen), 0);
        EXPECT_EQ(GetLastError(), b.error);
    }
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_PRECOMPOSED, "abc", 3, buf, 8), 3);
}

TEST(CodePage, LengthRulesWideToNarrow) {
    char buf[8];
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"a\u20ac", -1, nullptr, 0, nullptr, nullptr), 5);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"a\u20ac", -1, buf, 8, nullptr, nullptr), 5);
    EXPECT_EQ(std::string(buf, 5), std::string("a\xE2\x82\xAC\0", 5));
    SetLastError(0);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"a\u20ac", -1, buf, 4, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);

    // UTF-8 takes no default character, and the flag is UTF-8's only.
    BOOL used = FALSE;
    const struct {
        UINT cp;
        DWORD flags;
        const wchar_t* src;
        const char* def;
        BOOL* used;
        DWORD error;
    } bad[] = {{CP_UTF8, 0, L"a", nullptr, &used, ERROR_INVALID_PARAMETER},
               {CP_UTF8, 0, L"a", "?", nullptr, ERROR_INVALID_PARAMETER},
               {CP_UTF8, 0, nullptr, nullptr, nullptr, ERROR_INVALID_PARAMETER},
               {1252, WC_ERR_INVALID_CHARS, L"a", nullptr, nullptr, ERROR_INVALID_FLAGS}};
    for (const auto& b : bad) {
        SCOPED_TRACE(&b - bad);
        SetLastError(0);
        EXPECT_EQ(WideCharToMultiByte(b.cp, b.flags, b.src, 1, buf, 8, b.def, b.used), 0);
        EXPECT_EQ(GetLastError(), b.error);
    }
}

TEST(CodePage, InvalidWideCharacters) {
    for (wchar_t bad : {static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0xDFFF),
                        static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1)}) {
        SCOPED_TRACE(static_cast<long>(bad));
        const std::wstring in = {L'a', bad, L'b'};
        EXPECT_EQ(ToNarrow(in), "a\xEF\xBF\xBD"
                                "b");
        int result = -1;
        SetLastError(0);
        ToNarrow(in, CP_UTF8, WC_ERR_INVALID_CHARS, &result);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
    }
}

TEST(CodePage, SingleByteCodePagesRoundTripAllBytes) {
    std::string all;
    for (int b = 0; b < 256; ++b) {
        all += static_cast<char>(b);
    }
    const std::wstring w1252 = ToWide(all, 1252);
    ASSERT_EQ(w1252.size(), 256u);
    // Undefined bytes map to the same code point.
    const int table[][2] = {{0x80, 0x20AC}, {0x81, 0x81},  {0x8D, 0x8D}, {0x8F, 0x8F}, {0x90, 0x90},
                            {0x9D, 0x9D},   {0x9F, 0x178}, {0xE9, 0xE9}, {0x41, 0x41}};
    for (const auto& row : table)
        EXPECT_EQ(int(w1252[row[0]]), row[1]) << std::hex << row[0];
    EXPECT_EQ(ToNarrow(w1252, 1252), all);

    const std::wstring latin1 = ToWide(all, 28591);
    for (int b = 0; b < 256; ++b) {
        ASSERT_EQ(latin1[b], static_cast<wchar_t>(b)) << b;
    }
    EXPECT_EQ(ToNarrow(latin1, 28591), all);
}

TEST(CodePage, UnmappableCharactersUseDefault) {
    const wchar_t in[] = {L'a', 0x4E2D, 0x80, 0x20AC};
    char out[4];
    BOOL used = TRUE;
    EXPECT_EQ(WideCharToMultiByte(1252, 0, in, 4, out, 4, nullptr, &used), 4);
    EXPECT_EQ(std::string(out, 4), "a??\x80");
    EXPECT_EQ(used, TRUE);
    used = TRUE;
    EXPECT_EQ(WideCharToMultiByte(1252, 0, in, 1, out, 4, nullptr, &used), 1);
    EXPECT_EQ(used, FALSE);
    EXPECT_EQ(WideCharToMultiByte(28591, 0, in, 4, out, 4, "*", &used), 4);
    EXPECT_EQ(std::string(out, 4), "a*\x80*");
    EXPECT_EQ(used, TRUE);
}

TEST(CaseMap, CharLowerUpperAndBuffers) {
    wchar_t text[] = L"Ab\u00e4\u00c4\u0430\u0410\u00df\u00ff\u0130\U00010428";
    EXPECT_EQ(CharUpperW(text), text);
    EXPECT_STREQ(text, L"AB\u00c4\u00c4\u0410\u0410\u00df\u0178\u0130\U00010400");
    EXPECT_EQ(CharLower(text), text);
    EXPECT_STREQ(text, L"ab\u00e4\u00e4\u0430\u0430\u00df\u00ff\u0069\U00010428");

    // A pointer value below 0x10000 is one character.
    const auto packed = reinterpret_cast<LPWSTR>(static_cast<std::uintptr_t>(0xC4));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(CharLowerW(packed)), 0xE4u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(
                  CharUpper(reinterpret_cast<LPWSTR>(static_cast<std::uintptr_t>('q')))),
              static_cast<std::uintptr_t>('Q'));

    wchar_t buf[] = {L'a', L'\0', L'b', L'c'};
    EXPECT_EQ(CharUpperBuffW(buf, 3), 3u);
    EXPECT_EQ(std::wstring(buf, 4), std::wstring(L"A\0Bc", 4));
    EXPECT_EQ(CharLowerBuffW(buf, 4), 4u);
    EXPECT_EQ(std::wstring(buf, 4), std::wstring(L"a\0bc", 4));
    EXPECT_EQ(CharLowerBuffW(nullptr, 4), 0u);
}

TEST(CaseMap, IrregularMappingsFromTheGeneratedTable) {
    struct Case {
        wchar_t ch;
        wchar_t lower;
        wchar_t upper;
    };
    const Case cases[] = {
        {0x01C5, 0x01C6, 0x01C4}, // titlecase digraph has both mappings
        {0x03C2, 0x03C2, 0x03A3}, // final sigma
        {0x1F80, 0x1F80, 0x1F88}, // simple uppercase of a letter with ypogegrammeni
        {0x1E9E, 0x00DF, 0x1E9E}, // capital sharp s
        {0x0149, 0x0149, 0x0149}, // no one-character uppercase
        {0x2C2F, 0x2C5F, 0x2C2F}, // Glagolitic pair added in Unicode 14
        {0x0101, 0x0101, 0x0100}, // alternating run, odd member
        {0x0100, 0x0101, 0x0100}, // alternating run, even member
        {0xD800, 0xD800, 0xD800}, // surrogate value unchanged
        {0x110000, 0x110000, 0x110000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<long>(c.ch));
        wchar_t buf[2] = {c.ch, c.ch};
        CharLowerBuffW(buf, 1);
        CharUpperBuffW(buf + 1, 1);
        EXPECT_EQ(buf[0], c.lower);
        EXPECT_EQ(buf[1], c.upper);
    }
}

TEST(CodePage, ConcurrentConversionsShareNoState) {
    // No locale or static buffers: each thread gets its own exact results and
    // its own last error.
    std::vector<std::thread> threads;
    std::vector<int> failures(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &failures] {
            const std::string utf8 = t % 2 == 0 ? "\xE2\x82\xAC" : "\xF0\x9F\x98\x80";
            const wchar_t expected = t % 2 == 0 ? 0x20AC : 0x1F600;
            for (int i = 0; i < 2000; ++i) {
                wchar_t w[2] = {};
                char back[8] = {};
                const int n = MultiByteToWideChar(CP_UTF8, 0, utf8.data(),
                                                  static_cast<int>(utf8.size()), w, 2);
                const int m = WideCharToMultiByte(CP_UTF8, 0, w, 1, back, 8, nullptr, nullptr);
                const wchar_t converted = w[0];
                SetLastError(0);
                const int bad = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "\xFF", 1, w, 2);
                if (n != 1 || converted != expected || m != static_cast<int>(utf8.size()) ||
                    utf8 != std::string(back, static_cast<std::size_t>(m)) || bad != 0 ||
                    GetLastError() != ERROR_NO_UNICODE_TRANSLATION) {
                    ++failures[t];
                }
            }
        });
    }
    for (std::thread& th : threads) {
        th.join();
    }
    EXPECT_EQ(failures, std::vector<int>(4, 0));
}

TEST(StringLength, CountsAndNull) {
    EXPECT_EQ(lstrlenW(nullptr), 0);
    EXPECT_EQ(lstrlenW(L"\U0001F600ab"), 3);
    EXPECT_EQ(lstrlenA(nullptr), 0);
    EXPECT_EQ(lstrlenA("\xF0\x9F\x98\x80"), 4);
}

} // namespace
