// Process-wide handle table (internal).
//
// A handle value encodes a slot index and the slot's generation, so stale,
// closed and made-up values are recognised. Each slot keeps one reference
// to its object plus a count of callers that are using the slot right now;
// CloseHandle bumps the generation (new look-ups fail at once) and the last
// user returns the slot and drops the object reference.
#pragma once

#include <atomic>
#include <cstdint>

#include "platcompat/types.h"

namespace platcompat_detail {

// Base of every object a handle can name. Intrusively reference counted so
// that a thread can keep its own thread object alive after its handle closed.
class HandleObject {
public:
    enum class Kind { Event, Thread };

    explicit HandleObject(Kind kind) : m_kind(kind) {}
    HandleObject(const HandleObject&) = delete;
    HandleObject& operator=(const HandleObject&) = delete;

    Kind kind() const { return m_kind; }

    // Relaxed increment: a new reference is always made from an existing one.
    void AddRef() { m_refs.fetch_add(1, std::memory_order_relaxed); }
    // Release decrement with acquire: the deleting thread sees every write
    // made by the other holders before they let go. (Acquire on the RMW, not
    // a separate fence, which ThreadSanitizer does not model.)
    void Release() {
        if (m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }

protected:
    virtual ~HandleObject() = default;

private:
    std::atomic<std::uint32_t> m_refs{1};
    const Kind m_kind;
};

// Adopts one reference of `object` into a new handle. Returns NULL when the
// table is full or memory is exhausted (the reference is then released).
HANDLE HandleCreate(HandleObject* object);

// Closes a handle; false if it was not open.
bool HandleClose(HANDLE handle);

// Uses the object behind a handle for the scope of the guard. While the guard
// lives the object stays alive even if another thread closes the handle. A
// guard belongs to the thread that made it.
class HandleUse {
public:
    explicit HandleUse(HANDLE handle);
    ~HandleUse();
    HandleUse(const HandleUse&) = delete;
    HandleUse& operator=(const HandleUse&) = delete;

    // Null when the handle is not open.
    HandleObject* get() const { return m_object; }

private:
    void* m_slot = nullptr;  // a slot user taken for this use, or
    void* m_entry = nullptr; // this thread's cache entry relied on
    HandleObject* m_object = nullptr;
    std::uint32_t m_index = 0;
};

} // namespace platcompat_detail
