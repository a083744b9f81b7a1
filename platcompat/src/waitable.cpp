// The wait algorithm shared by events and thread handles, and Sleep.
#include "waitable.h"

#include <chrono>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include <sched.h>
#include <time.h>
#include <unistd.h>

#include "park.h"

#include "platcompat/synch.h"

namespace platcompat_detail {
namespace {

constexpr int kOpen = WaiterRecord::kOpen;
constexpr int kTimedOut = WaiterRecord::kTimedOut;
constexpr int kSleeping = WaiterRecord::kSleeping;

struct RecordPool {
    std::mutex lock;
    std::vector<WaiterRecord*> records;
};

RecordPool& recordPool() {
    static RecordPool* pool = new RecordPool; // never destroyed: threads exit late
    return *pool;
}

// The calling thread's record, returned to the pool when the thread exits.
struct RecordHolder {
    WaiterRecord* record = nullptr;
    ~RecordHolder() {
        if (record) {
            RecordPool& pool = recordPool();
            std::lock_guard<std::mutex> guard(pool.lock);
            pool.records.push_back(record);
        }
    }
};
thread_local RecordHolder t_record;

WaiterRecord* threadRecord() {
    if (t_record.record)
        return t_record.record;
    {
        RecordPool& pool = recordPool();
        std::lock_guard<std::mutex> guard(pool.lock);
        if (!pool.records.empty()) {
            t_record.record = pool.records.back();
            pool.records.pop_back();
            return t_record.record;
        }
        // Reserve room now so that returning the record at exit cannot fail.
        try {
            pool.records.reserve(pool.records.size() + 1);
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    t_record.record = new (std::nothrow) WaiterRecord;
    return t_record.record;
}

enum class Claim { Lost, Won, WonSleeping };

// Ends the open wait of `record` in favour of `index`. WonSleeping: the
// waiting thread sleeps and must be woken (after any lock is released).
Claim claim(WaiterRecord* record, int index) {
    int state = record->state.load(std::memory_order_relaxed);
    while (state == kOpen || state == kSleeping) {
        if (record->state.compare_exchange_weak(state, index, std::memory_order_acq_rel,
                                                std::memory_order_relaxed))
            return state == kSleeping ? Claim::WonSleeping : Claim::Won;
    }
    return Claim::Lost;
}

void wake(WaiterRecord* record) {
    ParkWake(record->state);
}

// The absolute monotonic time `milliseconds` from now.
timespec deadlineAfter(DWORD milliseconds) {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    t.tv_sec += static_cast<time_t>(milliseconds / 1000);
    t.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
    if (t.tv_nsec >= 1000000000L) {
        t.tv_nsec -= 1000000000L;
        ++t.tv_sec;
    }
    return t;
}

// Sleeps until the open wait of `record` ends; returns how it ended (the
// winning index, or kTimedOut once the deadline has passed).
int sleepUntilEnded(WaiterRecord* record, const timespec* deadline) {
    int state = kOpen;
    if (!record->state.compare_exchange_strong(state, kSleeping, std::memory_order_acq_rel,
                                               std::memory_order_acquire))
        return state; // ended before the thread could lie down
    for (;;) {
        const bool inTime = ParkWait(record->state, kSleeping, deadline);
        state = record->state.load(std::memory_order_acquire);
        if (state != kSleeping)
            return state;
        if (!inTime && record->state.compare_exchange_strong(
                           state, kTimedOut, std::memory_order_acq_rel, std::memory_order_acquire))
            return kTimedOut;
        if (state != kSleeping)
            return state; // a signal won the race with the timeout
    }
}

} // namespace

void Waitable::link(WaitNode* node) {
    node->prev = m_tail;
    node->next = nullptr;
    if (m_tail)
        m_tail->next = node;
    else
        m_head = node;
    m_tail = node;
    node->linked = true;
}

void Waitable::unlink(WaitNode* node) {
    if (node->prev)
        node->prev->next = node->next;
    else
        m_head = node->next;
    if (node->next)
        node->next->prev = node->prev;
    else
        m_tail = node->prev;
    node->linked = false;
}

unsigned Waitable::signalLocked(bool pulse, WaiterRecord** wakeList, unsigned capacity) {
    unsigned woken = 0;
    bool handedOver = false;
    for (WaitNode* node = m_head; node && (m_manual || !handedOver);) {
        WaitNode* const next = node->next;
        WaiterRecord* const record = node->record;
        const int index = node->index;
        // Every node met leaves the list; a wait that is already over (another
        // object, or timed out) finds `linked` false and skips it. Unlinked
        // before the claim: the owner of a wait this claim ends may return
        // at once, without this lock, and reuse the node's memory.
        unlink(node);
        const Claim result = claim(record, index);
        if (result != Claim::Lost)
            handedOver = true;
        if (result == Claim::WonSleeping) {
            if (woken < capacity)
                wakeList[woken++] = record;
            else
                wake(record);
        }
        node = next;
    }
    if (pulse || (!m_manual && handedOver))
        m_signalled.store(false, std::memory_order_release);
    else
        m_signalled.store(true, std::memory_order_release);
    return woken;
}

void Waitable::signal(bool pulse) {
    // A signalled object has no open wait in its list (see m_signalled), so
    // setting it again changes nothing.
    if (!pulse && m_signalled.load(std::memory_order_acquire))
        return;
    WaiterRecord* wakeList[16];
    unsigned n;
    {
        std::lock_guard<WordLock> guard(m_lock);
        n = signalLocked(pulse, wakeList, 16);
    }
    for (unsigned i = 0; i < n; ++i)
        wake(wakeList[i]);
}

unsigned long WaitAny(Waitable* const* objects, unsigned count, DWORD milliseconds) {
    // Index 0 is the lowest index, so a lock-free hit there is the answer.
    if (objects[0]->TryConsume())
        return WAIT_OBJECT_0;
    if (milliseconds == 0 && count == 1)
        return WAIT_TIMEOUT;
    const bool block = milliseconds != 0;
    const bool infinite = milliseconds == INFINITE;
    timespec deadline{};
    if (block && !infinite)
        deadline = deadlineAfter(milliseconds);

    WaiterRecord* record = threadRecord();
    if (!record) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return WAIT_FAILED;
    }
    // Only this thread opens its record's waits; the last one has ended.
    record->state.store(kOpen, std::memory_order_relaxed);

    WaitNode nodes[MAXIMUM_WAIT_OBJECTS];
    unsigned linkedCount = 0;
    for (unsigned i = 0; i < count; ++i) {
        if (record->state.load(std::memory_order_acquire) != kOpen)
            break; // an object linked before was signalled meanwhile
        Waitable* obj = objects[i];
        std::lock_guard<WordLock> guard(obj->m_lock);
        bool signalled = obj->m_signalled.load(std::memory_order_acquire);
        if (signalled && !obj->m_manual) {
            bool expected = true;
            signalled = obj->m_signalled.compare_exchange_strong(
                expected, false, std::memory_order_acquire, std::memory_order_relaxed);
        }
        if (signalled) {
            if (claim(record, static_cast<int>(i)) == Claim::Lost && !obj->m_manual) {
                // A lower index won meanwhile: put the signal back, handing
                // it to another wait if one is open. (A thread woken here is
                // woken under the lock; this race is rare.)
                obj->signalLocked(false, nullptr, 0);
            }
            break;
        }
        if (block) {
            nodes[i].record = record;
            nodes[i].index = static_cast<int>(i);
            obj->link(&nodes[i]);
        }
        linkedCount = i + 1;
    }

    int result;
    if (block) {
        result = sleepUntilEnded(record, infinite ? nullptr : &deadline);
    } else {
        result = kOpen;
        if (record->state.compare_exchange_strong(result, kTimedOut, std::memory_order_acq_rel,
                                                  std::memory_order_acquire))
            result = kTimedOut;
    }

    if (block) {
        for (unsigned i = 0; i < linkedCount; ++i) {
            // The object whose signal ended the wait unlinked that node
            // before its claim; the others may still hold theirs.
            if (static_cast<int>(i) == result)
                continue;
            Waitable* obj = objects[i];
            std::lock_guard<WordLock> guard(obj->m_lock);
            if (nodes[i].linked)
                obj->unlink(&nodes[i]);
        }
    }
    return result == kTimedOut ? WAIT_TIMEOUT : WAIT_OBJECT_0 + static_cast<unsigned>(result);
}

} // namespace platcompat_detail

using platcompat_detail::HandleUse;
using platcompat_detail::Waitable;

// Every object in the handle table is a Waitable.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    HandleUse use(handle);
    if (!use.get()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    Waitable* obj = static_cast<Waitable*>(use.get());
    return static_cast<DWORD>(platcompat_detail::WaitAny(&obj, 1, milliseconds));
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds) {
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || !handles) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    if (waitAll) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return WAIT_FAILED;
    }
    // HandleUse is not movable; keep the guards in raw storage on the stack.
    alignas(HandleUse) unsigned char storage[MAXIMUM_WAIT_OBJECTS][sizeof(HandleUse)];
    Waitable* objects[MAXIMUM_WAIT_OBJECTS];
    DWORD made = 0;
    bool valid = true;
    for (; made < count; ++made) {
        HandleUse* use = new (storage[made]) HandleUse(handles[made]);
        objects[made] = static_cast<Waitable*>(use->get());
        if (!objects[made]) {
            ++made;
            valid = false;
            break;
        }
    }
    DWORD result = WAIT_FAILED;
    if (valid)
        result = static_cast<DWORD>(platcompat_detail::WaitAny(objects, count, milliseconds));
    for (DWORD i = 0; i < made; ++i)
        reinterpret_cast<HandleUse*>(storage[i])->~HandleUse();
    if (!valid)
        SetLastError(ERROR_INVALID_HANDLE);
    return result;
}

void Sleep(DWORD milliseconds) {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    if (milliseconds == INFINITE) {
        for (;;)
            pause();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
