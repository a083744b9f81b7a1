// Small heap blocks with a per-thread cache; see smallblocks.h.
#include "smallblocks.h"

#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__)
#define PLATCOMPAT_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PLATCOMPAT_ASAN 1
#endif
#endif

#if defined(PLATCOMPAT_ASAN)
#include <sanitizer/asan_interface.h>
#define PLATCOMPAT_POISON(p, n) ASAN_POISON_MEMORY_REGION((p), (n))
#define PLATCOMPAT_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION((p), (n))
#else
#define PLATCOMPAT_POISON(p, n) ((void)(p), (void)(n))
#define PLATCOMPAT_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace platcompat_detail {

namespace {

// A cached block holds the link to the next one of its class.
struct FreeBlock {
    FreeBlock* next;
};
static_assert(sizeof(FreeBlock) <= SmallBlockSize(1), "the smallest block holds a link");

enum class CacheState : unsigned char { Unused, Active, Closed };

// The cache itself is trivially constructed and destroyed, so that it can be
// read at any time of the thread's life, also after the releaser below ran.
struct Cache {
    FreeBlock* heads[kSmallBlockClasses];
    std::size_t bytes;
    CacheState state;
};
thread_local Cache t_cache;

void Drain(Cache& cache) {
    for (std::size_t i = 0; i < kSmallBlockClasses; ++i) {
        FreeBlock* block = cache.heads[i];
        while (block != nullptr) {
            PLATCOMPAT_UNPOISON(block, SmallBlockSize(i + 1));
            FreeBlock* next = block->next;
            std::free(block);
            block = next;
        }
        cache.heads[i] = nullptr;
    }
    cache.bytes = 0;
}

// Gives the thread's cached blocks back when the thread ends. Constructed
// (and so registered) by the first block a thread caches; from its
// destruction on, the thread's frees go straight to the heap.
struct CacheReleaser {
    CacheReleaser() = default;
    CacheReleaser(const CacheReleaser&) = delete;
    CacheReleaser& operator=(const CacheReleaser&) = delete;
    ~CacheReleaser() {
        t_cache.state = CacheState::Closed;
        Drain(t_cache);
    }
};
thread_local CacheReleaser t_releaser;

} // namespace

void* SmallBlockAlloc(std::size_t k) {
    Cache& cache = t_cache;
    FreeBlock* block = cache.heads[k - 1];
    if (block == nullptr) {
        return std::malloc(SmallBlockSize(k));
    }
    PLATCOMPAT_UNPOISON(block, SmallBlockSize(k));
    cache.heads[k - 1] = block->next;
    cache.bytes -= SmallBlockSize(k);
    return block;
}

void SmallBlockFree(void* memory, std::size_t k) {
    if (memory == nullptr) {
        return;
    }
    Cache& cache = t_cache;
    if (cache.state != CacheState::Active) {
        if (cache.state == CacheState::Closed) {
            std::free(memory);
            return;
        }
        // First use on this thread: construct the releaser, which registers
        // its destructor for the thread's end.
        static_cast<void>(&t_releaser);
        cache.state = CacheState::Active;
    }
    if (cache.bytes + SmallBlockSize(k) > kSmallBlockCacheBytes) {
        std::free(memory);
        return;
    }
    auto* block = static_cast<FreeBlock*>(memory);
    block->next = cache.heads[k - 1];
    cache.heads[k - 1] = block;
    cache.bytes += SmallBlockSize(k);
    // The link stays readable: LeakSanitizer ignores pointers kept in
    // poisoned memory, and would report every cached block behind the first
    // of its class as leaked.
    PLATCOMPAT_POISON(reinterpret_cast<unsigned char*>(block) + sizeof(FreeBlock),
                      SmallBlockSize(k) - sizeof(FreeBlock));
}

} // namespace platcompat_detail
