// Simple case mapping by binary search over the generated run tables, and
// the Win32 character case functions built on it.
#include "casemap.h"

#include "platcompat/strconv.h"

namespace {

using platcompat_detail::CaseRun;

wchar_t MapThrough(const CaseRun* runs, std::size_t count, wchar_t ch) {
    const auto cp = static_cast<std::uint32_t>(ch);
    // Find the last run whose first code point is <= cp.
    std::size_t lo = 0;
    std::size_t hi = count;
    while (lo < hi) {
        const std::size_t mid = lo + (hi - lo) / 2;
        if (runs[mid].first <= cp) {
            lo = mid + 1;
        } else {
            hi = mid;
        }
    }
    if (lo == 0) {
        return ch;
    }
    const CaseRun& run = runs[lo - 1];
    if (cp > run.last || (cp - run.first) % run.stride != 0) {
        return ch;
    }
    return static_cast<wchar_t>(static_cast<std::int32_t>(cp) + run.delta);
}

// True when the pointer value is a single character packed into the pointer
// (Win32: values below 0x10000 are never valid string addresses).
bool IsPackedChar(const wchar_t* p) {
    return reinterpret_cast<std::uintptr_t>(p) < 0x10000u;
}

template <wchar_t (*Map)(wchar_t)>
LPWSTR MapString(LPWSTR str) {
    if (IsPackedChar(str)) {
        const auto ch = static_cast<wchar_t>(reinterpret_cast<std::uintptr_t>(str));
        return reinterpret_cast<LPWSTR>(static_cast<std::uintptr_t>(Map(ch)));
    }
    for (wchar_t* p = str; *p != L'\0'; ++p) {
        *p = Map(*p);
    }
    return str;
}

template <wchar_t (*Map)(wchar_t)>
DWORD MapBuffer(LPWSTR str, DWORD length) {
    if (str == nullptr) {
        return 0;
    }
    for (DWORD i = 0; i < length; ++i) {
        str[i] = Map(str[i]);
    }
    return length;
}

} // namespace

wchar_t PlatToLower(wchar_t ch) {
    return MapThrough(platcompat_detail::kToLowerRuns, platcompat_detail::kToLowerRunsCount, ch);
}

wchar_t PlatToUpper(wchar_t ch) {
    return MapThrough(platcompat_detail::kToUpperRuns, platcompat_detail::kToUpperRunsCount, ch);
}

int PlatCompareWide(const wchar_t* a, std::size_t aLen, const wchar_t* b, std::size_t bLen,
                    bool ignoreCase) {
    const std::size_t n = aLen < bLen ? aLen : bLen;
    for (std::size_t i = 0; i < n; ++i) {
        wchar_t ca = a[i];
        wchar_t cb = b[i];
        if (ignoreCase) {
            ca = PlatToLower(ca);
            cb = PlatToLower(cb);
        }
        // Order by code point: compare as unsigned 32-bit values.
        const auto ua = static_cast<std::uint32_t>(ca);
        const auto ub = static_cast<std::uint32_t>(cb);
        if (ua != ub) {
            return ua < ub ? -1 : 1;
        }
    }
    if (aLen == bLen) {
        return 0;
    }
    return aLen < bLen ? -1 : 1;
}

LPWSTR CharLowerW(LPWSTR str) {
    return MapString<PlatToLower>(str);
}

LPWSTR CharUpperW(LPWSTR str) {
    return MapString<PlatToUpper>(str);
}

DWORD CharLowerBuffW(LPWSTR str, DWORD length) {
    return MapBuffer<PlatToLower>(str, length);
}

DWORD CharUpperBuffW(LPWSTR str, DWORD length) {
    return MapBuffer<PlatToUpper>(str, length);
}
