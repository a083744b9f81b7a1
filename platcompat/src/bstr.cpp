// BSTR blocks: [uint32 byte length][characters][NUL wchar_t], malloc'd.
#include "platcompat/oleauto.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "casemap.h"

namespace {

constexpr std::size_t kPrefix = sizeof(std::uint32_t);
static_assert(kPrefix % alignof(wchar_t) == 0, "characters stay aligned after the prefix");

// Allocates a zeroed block for `bytes` bytes of characters (rounded up to
// whole characters) plus the NUL, stores the byte length and returns the
// string pointer; NULL on overflow or allocation failure.
BSTR AllocBlock(std::uint64_t bytes) {
    if (bytes > UINT32_MAX) {
        return nullptr;
    }
    const std::uint64_t chars = (bytes + sizeof(wchar_t) - 1) / sizeof(wchar_t);
    const std::uint64_t total = kPrefix + (chars + 1) * sizeof(wchar_t);
    if (total > SIZE_MAX) {
        return nullptr;
    }
    void* block = std::calloc(1, static_cast<std::size_t>(total));
    if (block == nullptr) {
        return nullptr;
    }
    const auto length = static_cast<std::uint32_t>(bytes);
    std::memcpy(block, &length, kPrefix);
    return reinterpret_cast<BSTR>(static_cast<unsigned char*>(block) + kPrefix);
}

std::uint32_t ByteLengthOf(BSTR bstr) {
    std::uint32_t length;
    std::memcpy(&length, reinterpret_cast<const unsigned char*>(bstr) - kPrefix, kPrefix);
    return length;
}

} // namespace

BSTR SysAllocString(const OLECHAR* source) {
    if (source == nullptr) {
        return nullptr;
    }
    const std::size_t length = std::wcslen(source);
    if (length > UINT32_MAX) {
        return nullptr;
    }
    return SysAllocStringLen(source, static_cast<UINT>(length));
}

BSTR SysAllocStringLen(const OLECHAR* source, UINT length) {
    BSTR result = AllocBlock(std::uint64_t{length} * sizeof(wchar_t));
    if (result != nullptr && source != nullptr) {
        std::memcpy(result, source, std::size_t{length} * sizeof(wchar_t));
    }
    return result;
}

BSTR SysAllocStringByteLen(LPCSTR source, UINT length) {
    BSTR result = AllocBlock(length);
    if (result != nullptr && source != nullptr) {
        std::memcpy(result, source, length);
    }
    return result;
}

INT SysReAllocString(BSTR* bstr, const OLECHAR* source) {
    if (bstr == nullptr) {
        return FALSE;
    }
    if (source == nullptr) {
        SysFreeString(*bstr);
        *bstr = nullptr;
        return TRUE;
    }
    BSTR fresh = SysAllocString(source);
    if (fresh == nullptr) {
        return FALSE;
    }
    SysFreeString(*bstr); // after the copy: source may point into *bstr
    *bstr = fresh;
    return TRUE;
}

// Resizes the block of `bstr` to `length` characters in place where the heap
// allows (realloc), keeping the characters it had and zeroing the new ones;
// NULL (and `bstr` untouched) on overflow or allocation failure.
BSTR ResizeBlock(BSTR bstr, UINT length) {
    const std::uint64_t bytes = std::uint64_t{length} * sizeof(wchar_t);
    const std::uint64_t total = kPrefix + bytes + sizeof(wchar_t);
    if (bytes > UINT32_MAX || total > SIZE_MAX) {
        return nullptr;
    }
    const UINT oldLength = ByteLengthOf(bstr) / sizeof(wchar_t);
    void* block = std::realloc(reinterpret_cast<unsigned char*>(bstr) - kPrefix,
                               static_cast<std::size_t>(total));
    if (block == nullptr) {
        return nullptr;
    }
    BSTR fresh = reinterpret_cast<BSTR>(static_cast<unsigned char*>(block) + kPrefix);
    if (length > oldLength) {
        std::memset(fresh + oldLength, 0, std::size_t{length - oldLength} * sizeof(wchar_t));
    }
    fresh[length] = L'\0';
    const auto byteLength = static_cast<std::uint32_t>(bytes);
    std::memcpy(block, &byteLength, kPrefix);
    return fresh;
}

INT SysReAllocStringLen(BSTR* bstr, const OLECHAR* source, UINT length) {
    if (bstr == nullptr) {
        return FALSE;
    }
    if (source == nullptr && *bstr != nullptr) {
        // Keeping the old characters: grow or shrink the block itself, so
        // that repeated appends do not copy the whole string each time.
        BSTR resized = ResizeBlock(*bstr, length);
        if (resized == nullptr) {
            return FALSE;
        }
        *bstr = resized;
        return TRUE;
    }
    BSTR fresh = SysAllocStringLen(source, length);
    if (fresh == nullptr) {
        return FALSE;
    }
    if (source == nullptr && *bstr != nullptr) {
        const UINT keep = SysStringLen(*bstr) < length ? SysStringLen(*bstr) : length;
        std::memcpy(fresh, *bstr, std::size_t{keep} * sizeof(wchar_t));
    }
    SysFreeString(*bstr);
    *bstr = fresh;
    return TRUE;
}

UINT SysStringLen(BSTR bstr) {
    return bstr == nullptr ? 0 : ByteLengthOf(bstr) / sizeof(wchar_t);
}

UINT SysStringByteLen(BSTR bstr) {
    return bstr == nullptr ? 0 : ByteLengthOf(bstr);
}

void SysFreeString(BSTR bstr) {
    if (bstr != nullptr) {
        std::free(reinterpret_cast<unsigned char*>(bstr) - kPrefix);
    }
}

HRESULT VarBstrCmp(BSTR left, BSTR right, LCID /*lcid*/, ULONG flags) {
    // NULL has length 0, so it compares as the empty string.
    const int order = PlatCompareWide(left, SysStringLen(left), right, SysStringLen(right),
                                      (flags & NORM_IGNORECASE) != 0);
    return order < 0 ? VARCMP_LT : (order == 0 ? VARCMP_EQ : VARCMP_GT);
}
