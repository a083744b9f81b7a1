// Locale-independent simple case mapping shared inside the platform layer.
//
// The mapping is Unicode's simple (one character to one character) lowercase
// and uppercase mapping over all code points, generated into
// casemap_table.cpp by tools/gen_casemap.py. It never consults the process
// locale, allocates nothing and is safe to call from any thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platcompat_detail {

// Code points c in [first, last] with (c - first) % stride == 0 map to
// c + delta; the tables are sorted by first and do not overlap.
struct CaseRun {
    std::uint32_t first;
    std::uint32_t last;
    std::int32_t delta;
    std::uint32_t stride;
};

extern const CaseRun kToLowerRuns[];
extern const std::size_t kToLowerRunsCount;
extern const CaseRun kToUpperRuns[];
extern const std::size_t kToUpperRunsCount;

} // namespace platcompat_detail

// Simple lowercase/uppercase of one character; characters without a mapping
// (including values that are not code points) are returned unchanged.
wchar_t PlatToLower(wchar_t ch);
wchar_t PlatToUpper(wchar_t ch);

// Compares two counted wide strings by code point (after PlatToLower of both
// sides when ignoreCase). Embedded NULs count. Returns <0, 0 or >0.
int PlatCompareWide(const wchar_t* a, std::size_t aLen, const wchar_t* b, std::size_t bLen,
                    bool ignoreCase);
