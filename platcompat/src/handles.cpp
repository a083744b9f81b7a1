// Process-wide handle table: segments of slots made on demand, never freed,
// so a look-up with any handle value touches only valid memory.
#include "handles.h"

#include <deque>
#include <mutex>
#include <new>

#include "platcompat/hresult.h"
#include "platcompat/synch.h" // the exported declaration of CloseHandle

namespace platcompat_detail {
namespace {

constexpr unsigned kSegmentBits = 10;
constexpr unsigned kSegmentSize = 1u << kSegmentBits;
constexpr unsigned kSegmentCount = 256;
constexpr unsigned kIndexBits = 18; // kSegmentCount * kSegmentSize slots
static_assert((1u << kIndexBits) == kSegmentCount * kSegmentSize, "index width");

// Handle value: (generation << (kIndexBits + 2)) | ((index + 1) << 2). The two
// low bits stay 0, so a handle is never NULL, INVALID_HANDLE_VALUE (-1) or the
// current-thread pseudo-handle (-2). On 32-bit hosts only the low 12 bits of
// the generation fit; slot reuse is first-in first-out to make a stale handle
// meeting the same slot and generation unlikely.
constexpr unsigned kGenShift = kIndexBits + 2;
constexpr std::uint64_t kGenMask =
    sizeof(std::uintptr_t) >= 8 ? 0xFFFFFFFFu : ((1u << (32 - kGenShift)) - 1);

constexpr std::uint64_t kRefMask = 0xFFFFFFFFu;

struct Slot {
    // (generation << 32) | users; users counts the handle's own reference
    // (until closed) and every HandleUse in flight.
    std::atomic<std::uint64_t> state{0};
    std::atomic<HandleObject*> object{nullptr};
};

// The segments, zero before any handle exists: constant-initialised, so a
// look-up needs no initialisation check, and trivially destructible, so they
// outlive every handle used at exit.
std::atomic<Slot*> g_segments[kSegmentCount];

struct Table {
    std::mutex lock; // guards the fields below; creation and freeing are rare
    std::deque<std::uint32_t> freeSlots;
    std::uint32_t nextUnused = 0;
};

Table& table() {
    static Table* t = new Table; // never destroyed: handles may be used at exit
    return *t;
}

Slot* slotAt(std::uint32_t index) {
    Slot* seg = g_segments[index >> kSegmentBits].load(std::memory_order_acquire);
    return seg ? &seg[index & (kSegmentSize - 1)] : nullptr;
}

bool decode(HANDLE handle, std::uint32_t* index, std::uint64_t* gen) {
    auto v = reinterpret_cast<std::uintptr_t>(handle);
    if ((v & 3) != 0)
        return false;
    std::uintptr_t idx1 = (v >> 2) & ((std::uintptr_t(1) << kIndexBits) - 1);
    if (idx1 == 0)
        return false;
    *index = static_cast<std::uint32_t>(idx1 - 1);
    *gen = static_cast<std::uint64_t>(v >> kGenShift);
    return true;
}

HANDLE encode(std::uint32_t index, std::uint64_t gen) {
    std::uintptr_t v = (static_cast<std::uintptr_t>(gen & kGenMask) << kGenShift) |
                       (static_cast<std::uintptr_t>(index + 1) << 2);
    return reinterpret_cast<HANDLE>(v);
}

// Called by whoever drops the slot's user count to zero: nobody else can
// reach the slot now (its generation moved on when it was closed).
void freeSlot(Slot* slot, std::uint32_t index) {
    HandleObject* obj = slot->object.exchange(nullptr, std::memory_order_acq_rel);
    {
        std::lock_guard<std::mutex> guard(table().lock);
        table().freeSlots.push_back(index);
    }
    if (obj)
        obj->Release();
}

void dropUser(Slot* slot, std::uint32_t index) {
    if ((slot->state.fetch_sub(1, std::memory_order_acq_rel) & kRefMask) == 1)
        freeSlot(slot, index);
}

// Adds a user to the slot named by `handle`; null when the handle is not open.
Slot* acquire(HANDLE handle, std::uint32_t* indexOut) {
    std::uint32_t index;
    std::uint64_t gen;
    if (!decode(handle, &index, &gen))
        return nullptr;
    Slot* slot = slotAt(index);
    if (!slot)
        return nullptr;
    std::uint64_t s = slot->state.load(std::memory_order_acquire);
    for (;;) {
        if (((s >> 32) & kGenMask) != gen || (s & kRefMask) == 0)
            return nullptr;
        if (slot->state.compare_exchange_weak(s, s + 1, std::memory_order_acquire,
                                              std::memory_order_acquire))
            break;
    }
    *indexOut = index;
    return slot;
}

} // namespace

HANDLE HandleCreate(HandleObject* object) {
    Table& t = table();
    std::uint32_t index;
    Slot* slot;
    {
        std::lock_guard<std::mutex> guard(t.lock);
        // Prefer fresh slots while the free queue is short, so that a closed
        // handle value is not handed out again soon.
        if (t.nextUnused < kSegmentCount * kSegmentSize && t.freeSlots.size() < 64) {
            index = t.nextUnused;
            Slot* seg = g_segments[index >> kSegmentBits].load(std::memory_order_relaxed);
            if (!seg) {
                seg = new (std::nothrow) Slot[kSegmentSize];
                if (!seg) {
                    object->Release();
                    return nullptr;
                }
                g_segments[index >> kSegmentBits].store(seg, std::memory_order_release);
            }
            ++t.nextUnused;
        } else if (!t.freeSlots.empty()) {
            index = t.freeSlots.front();
            t.freeSlots.pop_front();
        } else {
            object->Release();
            return nullptr;
        }
        slot = slotAt(index);
    }
    std::uint64_t gen = slot->state.load(std::memory_order_relaxed) >> 32;
    slot->object.store(object, std::memory_order_relaxed);
    slot->state.store((gen << 32) | 1, std::memory_order_release);
    return encode(index, gen);
}

bool HandleClose(HANDLE handle) {
    std::uint32_t index;
    std::uint64_t gen;
    if (!decode(handle, &index, &gen))
        return false;
    Slot* slot = slotAt(index);
    if (!slot)
        return false;
    std::uint64_t s = slot->state.load(std::memory_order_acquire);
    for (;;) {
        if (((s >> 32) & kGenMask) != gen || (s & kRefMask) == 0)
            return false;
        // Next generation, one user less (the handle's own): look-ups with
        // this value fail from now on, users in flight keep the object.
        std::uint64_t next = ((((s >> 32) + 1) & 0xFFFFFFFFu) << 32) | ((s & kRefMask) - 1);
        if (slot->state.compare_exchange_weak(s, next, std::memory_order_acq_rel,
                                              std::memory_order_acquire)) {
            if ((next & kRefMask) == 0)
                freeSlot(slot, index);
            return true;
        }
    }
}

// Each thread keeps the events it used last, direct-mapped by slot index,
// each with a reference of its own: a repeated use of the same open handle
// then checks the slot's generation and object with two plain loads instead
// of taking and dropping a slot user (two atomic read-modify-writes per
// handle, which made up most of a wait for several events). A cached event
// whose handle was closed lives on until its entry is replaced or the thread
// ends; thread objects are never cached, their end must not wait for that.
namespace {

constexpr unsigned kCacheSize = 32;

struct CacheEntry {
    HANDLE handle;
    HandleObject* object; // one reference, the cache's
    unsigned uses;        // HandleUses of this thread relying on the entry
};

// Trivially destructible and zero-initialised: no initialisation check on
// the way in. The retirer empties the cache when the thread ends; a use
// after that (another thread-local destructor) bypasses the cache.
thread_local CacheEntry t_cache[kCacheSize];
thread_local bool t_cacheRetired = false;

struct CacheRetirer {
    bool armed = false;
    ~CacheRetirer() {
        t_cacheRetired = true;
        for (CacheEntry& entry : t_cache) {
            if (entry.object && entry.uses == 0) {
                entry.object->Release();
                entry.object = nullptr;
                entry.handle = nullptr;
            }
        }
    }
};
thread_local CacheRetirer t_retirer;

} // namespace

HandleUse::HandleUse(HANDLE handle) {
    std::uint32_t index;
    std::uint64_t gen;
    if (!decode(handle, &index, &gen))
        return;
    // One look-up of the thread's cache (a call in a shared library).
    CacheEntry* const cache = t_cache;
    CacheEntry& entry = cache[index % kCacheSize];
    if (entry.handle == handle && entry.object) {
        Slot* slot = slotAt(index);
        const std::uint64_t s = slot->state.load(std::memory_order_acquire);
        // The cache's reference keeps the object alive, so an equal pointer
        // means the slot still holds this object under this generation.
        if (((s >> 32) & kGenMask) == gen && (s & kRefMask) != 0 &&
            slot->object.load(std::memory_order_relaxed) == entry.object) {
            ++entry.uses;
            m_entry = &entry;
            m_object = entry.object;
            return;
        }
    }
    Slot* slot = acquire(handle, &m_index);
    if (!slot)
        return;
    m_slot = slot;
    m_object = slot->object.load(std::memory_order_relaxed);
    // Remember an event, unless a use still relies on the entry it would
    // replace (the same slot index twice in one wait).
    if (m_object->kind() != HandleObject::Kind::Event || entry.uses != 0 || t_cacheRetired)
        return;
    if (!t_retirer.armed)
        t_retirer.armed = true; // registers the retirer for this thread's end
    HandleObject* old = entry.object;
    m_object->AddRef();
    entry.handle = handle;
    entry.object = m_object;
    if (old)
        old->Release();
}

HandleUse::~HandleUse() {
    if (m_entry)
        --static_cast<CacheEntry*>(m_entry)->uses;
    else if (m_slot)
        dropUser(static_cast<Slot*>(m_slot), m_index);
}

} // namespace platcompat_detail

BOOL CloseHandle(HANDLE handle) {
    if (!platcompat_detail::HandleClose(handle)) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}
