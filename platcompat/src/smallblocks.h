// Small heap blocks with a per-thread cache (platform-internal).
//
// A small block is a malloc'd block of one of kSmallBlockClasses sizes:
// SmallBlockSize(k) = 16 x k bytes for the class k = 1 .. kSmallBlockClasses.
// SmallBlockAlloc takes a block of class k from the calling thread's cache,
// or from malloc when the cache has none; SmallBlockFree puts it into the
// calling thread's cache, or gives it back to free() when the cache is full.
// So a block freed on one thread is reused by the next allocation of its size
// on that thread, without the heap's own bookkeeping.
//
// Blocks may be freed on any thread, not only the one that allocated them:
// every block is an ordinary malloc'd block and stays one while cached. A
// cache holds at most kSmallBlockCacheBytes; a thread gives its cached blocks
// back to the heap when it ends (also the main thread, at exit), and frees
// after that go straight to free(). Under AddressSanitizer the cached blocks
// are poisoned past their first word (the cache's link), so a use after free
// is still reported.
//
// Thread safety: each cache belongs to one thread; nothing is shared.
#pragma once

#include <cstddef>

namespace platcompat_detail {

constexpr std::size_t kSmallBlockClasses = 16;
constexpr std::size_t kSmallBlockCacheBytes = 64 * 1024;

constexpr std::size_t SmallBlockSize(std::size_t k) {
    return 16 * k;
}

// The smallest class whose blocks hold `bytes`, or 0 when no class does.
constexpr std::size_t SmallBlockClass(std::size_t bytes) {
    return bytes <= SmallBlockSize(kSmallBlockClasses) ? (bytes + 15) / 16 + (bytes == 0) : 0;
}

// A block of SmallBlockSize(k) bytes (1 <= k <= kSmallBlockClasses), its
// contents undefined; null when the heap is exhausted.
void* SmallBlockAlloc(std::size_t k);

// Gives back a block of class k that SmallBlockAlloc (or malloc with exactly
// SmallBlockSize(k) bytes) returned; null does nothing.
void SmallBlockFree(void* block, std::size_t k);

} // namespace platcompat_detail
