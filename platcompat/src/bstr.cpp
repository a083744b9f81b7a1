// BSTR blocks and the functions that allocate, resize, measure, free and
// compare them.
//
// A block is [uint32 capacity][uint32 byte length][characters][NUL][spare]:
// the BSTR points at the first character, the published byte length sits in
// the 4 bytes before it, and the capacity (in characters, not counting the
// NUL, which always fits after them) in the 4 bytes before that, known only
// to this file. Growing a string within its capacity costs no reallocation;
// growing beyond it doubles the capacity, so that a string grown by repeated
// appends (SysReAllocStringLen with a NULL source) is copied a bounded number
// of times per character. Blocks of up to 256 bytes are small blocks
// (smallblocks.h), recycled through a per-thread cache; their capacity is
// whatever their size class holds.
//
// Every byte after the byte length, up to the end of the NUL character after
// the capacity, is kept zero. So the NUL is always in place, and a string
// that grows within its capacity finds its new characters zeroed already.
#include "platcompat/oleauto.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "casemap.h"
#include "smallblocks.h"

namespace {

using platcompat_detail::kSmallBlockClasses;
using platcompat_detail::SmallBlockAlloc;
using platcompat_detail::SmallBlockClass;
using platcompat_detail::SmallBlockFree;
using platcompat_detail::SmallBlockSize;

constexpr std::size_t kHeader = 2 * sizeof(std::uint32_t);
constexpr std::size_t kChar = sizeof(wchar_t);
static_assert(kHeader % alignof(wchar_t) == 0, "characters stay aligned after the header");
// The largest length whose byte count the 32-bit prefix can hold.
constexpr std::uint64_t kMaxChars = UINT32_MAX / kChar;

unsigned char* BlockOf(BSTR bstr) {
    return reinterpret_cast<unsigned char*>(bstr) - kHeader;
}

BSTR StringOf(void* block) {
    return reinterpret_cast<BSTR>(static_cast<unsigned char*>(block) + kHeader);
}

unsigned char* BytesOf(BSTR bstr) {
    return reinterpret_cast<unsigned char*>(bstr);
}

std::uint32_t CapacityOf(BSTR bstr) {
    std::uint32_t capacity;
    std::memcpy(&capacity, BlockOf(bstr), sizeof capacity);
    return capacity;
}

std::uint32_t ByteLengthOf(BSTR bstr) {
    std::uint32_t length;
    std::memcpy(&length, BlockOf(bstr) + sizeof(std::uint32_t), sizeof length);
    return length;
}

void SetCapacity(void* block, std::uint32_t capacity) {
    std::memcpy(block, &capacity, sizeof capacity);
}

void SetByteLength(BSTR bstr, std::uint32_t byteLength) {
    std::memcpy(BlockOf(bstr) + sizeof(std::uint32_t), &byteLength, sizeof byteLength);
}

// Bytes of characters (with the NUL after them) that a capacity gives.
std::uint64_t CharBytes(std::uint64_t capacity) {
    return (capacity + 1) * kChar;
}

// Zeroes n bytes; the short runs of the tail of a new block without a call.
void ZeroBytes(unsigned char* p, std::size_t n) {
    static const unsigned char zeros[8] = {};
    if (n >= 8 && n <= 16) {
        std::memcpy(p, zeros, 8);
        std::memcpy(p + n - 8, zeros, 8);
    } else if (n >= 4 && n < 8) {
        std::memcpy(p, zeros, 4);
        std::memcpy(p + n - 4, zeros, 4);
    } else if (n != 0) {
        std::memset(p, 0, n);
    }
}

// The block that holds at least `chars` characters: its size and the
// capacity it gives. Small blocks take their class's size, so that a block's
// size can always be told from its capacity. Size 0: too large.
struct BlockShape {
    std::size_t size;
    std::uint32_t capacity;
};

BlockShape ShapeFor(std::uint64_t chars) {
    if (chars > kMaxChars || kHeader + CharBytes(chars) > SIZE_MAX) {
        return {0, 0};
    }
    const auto exact = static_cast<std::size_t>(kHeader + CharBytes(chars));
    const std::size_t k = SmallBlockClass(exact);
    if (k == 0) {
        return {exact, static_cast<std::uint32_t>(chars)};
    }
    const std::size_t size = SmallBlockSize(k);
    return {size, static_cast<std::uint32_t>((size - kHeader) / kChar - 1)};
}

// The small-block class of a block with this capacity, 0 for a large block.
std::size_t ClassOf(std::uint32_t capacity) {
    const std::uint64_t size = kHeader + CharBytes(capacity);
    if (size > SmallBlockSize(kSmallBlockClasses)) {
        return 0;
    }
    const std::size_t k = SmallBlockClass(static_cast<std::size_t>(size));
    return SmallBlockSize(k) == size ? k : 0;
}

// A large block that would stay less than a quarter used is given back.
bool Sparse(std::uint32_t capacity, std::uint64_t length) {
    return ClassOf(capacity) == 0 && length < capacity / 4;
}

void FreeBlock(BSTR bstr) {
    const std::size_t k = ClassOf(CapacityOf(bstr));
    if (k != 0) {
        SmallBlockFree(BlockOf(bstr), k);
    } else {
        std::free(BlockOf(bstr));
    }
}

// A block whose byte length is `bytes`, with every byte after them zero;
// the bytes themselves are left for the caller. NULL on overflow or
// exhausted memory.
BSTR Allocate(std::uint64_t bytes) {
    if (bytes > UINT32_MAX) {
        return nullptr;
    }
    const BlockShape shape = ShapeFor((bytes + kChar - 1) / kChar);
    if (shape.size == 0) {
        return nullptr;
    }
    const std::size_t k = SmallBlockClass(shape.size);
    void* block = k != 0 ? SmallBlockAlloc(k) : std::malloc(shape.size);
    if (block == nullptr) {
        return nullptr;
    }
    SetCapacity(block, shape.capacity);
    BSTR result = StringOf(block);
    SetByteLength(result, static_cast<std::uint32_t>(bytes));
    ZeroBytes(BytesOf(result) + bytes, static_cast<std::size_t>(CharBytes(shape.capacity) - bytes));
    return result;
}

BSTR AllocateChars(const OLECHAR* source, std::uint64_t length) {
    BSTR result = Allocate(length * kChar);
    if (result == nullptr) {
        return nullptr;
    }
    const std::size_t bytes = static_cast<std::size_t>(length) * kChar;
    if (source != nullptr) {
        std::memcpy(result, source, bytes);
    } else {
        std::memset(result, 0, bytes);
    }
    return result;
}

// The common case of an append: `bstr` grows to `length` characters within
// its capacity, where the new characters are zero already. False (nothing
// done) when the length is outside [current length, capacity].
inline bool GrowInPlace(BSTR bstr, std::uint64_t length) {
    const std::uint32_t oldLength = ByteLengthOf(bstr) / kChar;
    if (length > CapacityOf(bstr) || length < oldLength) {
        return false;
    }
    // A partial last character (an odd byte length) is not kept; the old
    // NUL's place is zeroed too, whatever was written there.
    bstr[oldLength] = L'\0';
    bstr[length] = L'\0';
    SetByteLength(bstr, static_cast<std::uint32_t>(length * kChar));
    return true;
}

// Gives `bstr` room for `length` characters, keeping the characters it has
// up to that length and zeroing the ones beyond them. Within the capacity
// nothing moves; beyond it the capacity at least doubles. A large block that
// would stay less than a quarter used shrinks. NULL (and `bstr` untouched)
// on overflow or exhausted memory.
BSTR Resize(BSTR bstr, std::uint64_t length) {
    if (length > kMaxChars) {
        return nullptr;
    }
    const std::uint32_t oldCapacity = CapacityOf(bstr);
    const std::uint32_t oldBytes = ByteLengthOf(bstr);
    std::uint32_t capacity = oldCapacity;
    BSTR result = bstr;
    if (length > oldCapacity || Sparse(oldCapacity, length)) {
        std::uint64_t want = length;
        if (length > oldCapacity) {
            want = std::max<std::uint64_t>(length, 2 * std::uint64_t{oldCapacity} + 4);
            want = std::min(want, kMaxChars);
        }
        BlockShape shape = ShapeFor(want);
        void* block = shape.size != 0 ? std::realloc(BlockOf(bstr), shape.size) : nullptr;
        if (block == nullptr && want != length) {
            shape = ShapeFor(length); // without the reserve
            block = shape.size != 0 ? std::realloc(BlockOf(bstr), shape.size) : nullptr;
        }
        if (block == nullptr) {
            return nullptr;
        }
        SetCapacity(block, shape.capacity);
        capacity = shape.capacity;
        result = StringOf(block);
    }
    const std::uint64_t end = CharBytes(capacity);
    const std::uint64_t oldEnd = CharBytes(oldCapacity);
    // The characters given up, a partial last character among them; then
    // what the block gained (the rest was zero already).
    const std::uint64_t keep = std::min<std::uint64_t>(oldBytes / kChar, length) * kChar;
    const std::uint64_t dropped =
        std::min<std::uint64_t>(std::max<std::uint64_t>(oldBytes, keep), end);
    std::memset(BytesOf(result) + keep, 0, static_cast<std::size_t>(dropped - keep));
    if (end > oldEnd) {
        std::memset(BytesOf(result) + oldEnd, 0, static_cast<std::size_t>(end - oldEnd));
    }
    SetByteLength(result, static_cast<std::uint32_t>(length * kChar));
    return result;
}

// Replaces the characters of `bstr` by `length` characters from `source`
// (which may point into `bstr`) when they fit in its capacity; false when
// they do not (or when a large block would stay mostly unused).
bool AssignInPlace(BSTR bstr, const OLECHAR* source, std::uint64_t length) {
    const std::uint32_t capacity = CapacityOf(bstr);
    if (length > capacity || Sparse(capacity, length)) {
        return false;
    }
    const std::uint32_t oldBytes = ByteLengthOf(bstr);
    const std::uint64_t bytes = length * kChar;
    std::memmove(bstr, source, static_cast<std::size_t>(bytes));
    if (bytes < oldBytes) {
        std::memset(BytesOf(bstr) + bytes, 0, static_cast<std::size_t>(oldBytes - bytes));
    }
    bstr[length] = L'\0';
    SetByteLength(bstr, static_cast<std::uint32_t>(bytes));
    return true;
}

void Free(BSTR bstr) {
    if (bstr != nullptr) {
        FreeBlock(bstr);
    }
}

INT Reassign(BSTR* bstr, const OLECHAR* source, std::uint64_t length) {
    if (*bstr != nullptr && AssignInPlace(*bstr, source, length)) {
        return TRUE;
    }
    BSTR fresh = AllocateChars(source, length);
    if (fresh == nullptr) {
        return FALSE;
    }
    Free(*bstr); // after the copy: source may point into *bstr
    *bstr = fresh;
    return TRUE;
}

// SysReAllocStringLen beyond GrowInPlace; kept out of line so that the
// common append stays a short call.
__attribute__((noinline)) INT ReAllocLen(BSTR* bstr, const OLECHAR* source, UINT length) {
    if (bstr == nullptr) {
        return FALSE;
    }
    if (source == nullptr && *bstr != nullptr) {
        // Keeping the old characters: the block itself grows or shrinks.
        BSTR resized = Resize(*bstr, length);
        if (resized == nullptr) {
            return FALSE;
        }
        *bstr = resized;
        return TRUE;
    }
    return Reassign(bstr, source, length);
}

} // namespace

BSTR SysAllocString(const OLECHAR* source) {
    if (source == nullptr) {
        return nullptr;
    }
    return AllocateChars(source, std::wcslen(source));
}

BSTR SysAllocStringLen(const OLECHAR* source, UINT length) {
    return AllocateChars(source, length);
}

BSTR SysAllocStringByteLen(LPCSTR source, UINT length) {
    BSTR result = Allocate(length);
    if (result == nullptr) {
        return nullptr;
    }
    if (source != nullptr) {
        std::memcpy(result, source, length);
    } else {
        std::memset(result, 0, length);
    }
    return result;
}

INT SysReAllocString(BSTR* bstr, const OLECHAR* source) {
    if (bstr == nullptr) {
        return FALSE;
    }
    if (source == nullptr) {
        Free(*bstr);
        *bstr = nullptr;
        return TRUE;
    }
    return Reassign(bstr, source, std::wcslen(source));
}

INT SysReAllocStringLen(BSTR* bstr, const OLECHAR* source, UINT length) {
    if (bstr != nullptr && source == nullptr && *bstr != nullptr && GrowInPlace(*bstr, length)) {
        return TRUE;
    }
    return ReAllocLen(bstr, source, length);
}

UINT SysStringLen(BSTR bstr) {
    return bstr == nullptr ? 0 : ByteLengthOf(bstr) / kChar;
}

UINT SysStringByteLen(BSTR bstr) {
    return bstr == nullptr ? 0 : ByteLengthOf(bstr);
}

void SysFreeString(BSTR bstr) {
    Free(bstr);
}

HRESULT VarBstrCmp(BSTR left, BSTR right, LCID /*lcid*/, ULONG flags) {
    // NULL has length 0, so it compares as the empty string.
    const int order = PlatCompareWide(left, SysStringLen(left), right, SysStringLen(right),
                                      (flags & NORM_IGNORECASE) != 0);
    return order < 0 ? VARCMP_LT : (order == 0 ? VARCMP_EQ : VARCMP_GT);
}
