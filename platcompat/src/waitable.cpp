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

constexpr unsigned kStatusBits = WaiterRecord::kStatusBits;
constexpr unsigned kOpen = WaiterRecord::kOpen;
constexpr unsigned kSleeping = WaiterRecord::kSleeping;
constexpr unsigned kTimedOut = WaiterRecord::kTimedOut;

int pack(std::uint32_t epoch, unsigned status) {
    return static_cast<int>((epoch << kStatusBits) | status);
}
unsigned statusOf(int word) {
    return static_cast<unsigned>(word) & ((1u << kStatusBits) - 1);
}
std::uint32_t epochOf(int word) {
    return static_cast<unsigned>(word) >> kStatusBits;
}

void detachAll(WaiterRecord* record) {
    for (WaitNode& node : record->nodes)
        if (node.object)
            Detach(node);
}

struct RecordPool {
    std::mutex lock;
    std::vector<WaiterRecord*> records;
};

RecordPool& recordPool() {
    static RecordPool* pool = new RecordPool; // never destroyed: threads exit late
    return *pool;
}

// The calling thread's record, returned to the pool, holding no object, when
// the thread exits.
struct RecordHolder {
    WaiterRecord* record = nullptr;
    ~RecordHolder() {
        if (record) {
            detachAll(record);
            RecordPool& pool = recordPool();
            std::lock_guard<std::mutex> guard(pool.lock);
            pool.records.push_back(record);
            record = nullptr; // a wait from a later destructor takes another
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

// Opens the record's next wait. When the epochs run out, every node is
// detached first, so that no node can still be armed for a reused epoch.
std::uint32_t openWait(WaiterRecord* record) {
    if (++record->epoch == WaiterRecord::kEpochLimit) {
        detachAll(record);
        record->epoch = 1;
    }
    record->state.store(pack(record->epoch, kOpen), std::memory_order_release);
    return record->epoch;
}

enum class Claim { Lost, Won, WonSleeping };

// Ends the wait `epoch` of `record`, if it is still open, in favour of
// `index`. WonSleeping: the waiting thread sleeps and must be woken (after
// any lock is released).
Claim claim(WaiterRecord* record, std::uint32_t epoch, int index) {
    int word = record->state.load(std::memory_order_relaxed);
    for (;;) {
        const unsigned status = statusOf(word);
        if (epochOf(word) != epoch || (status != kOpen && status != kSleeping))
            return Claim::Lost;
        if (record->state.compare_exchange_weak(word, pack(epoch, static_cast<unsigned>(index)),
                                                std::memory_order_acq_rel,
                                                std::memory_order_relaxed))
            return status == kSleeping ? Claim::WonSleeping : Claim::Won;
    }
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

// Ends the wait `epoch` of `record` without an object unless it has ended;
// returns its final status.
unsigned endWait(WaiterRecord* record, std::uint32_t epoch, int word) {
    for (;;) {
        const unsigned status = statusOf(word);
        if (status != kOpen && status != kSleeping)
            return status;
        if (record->state.compare_exchange_weak(
                word, pack(epoch, kTimedOut), std::memory_order_acq_rel, std::memory_order_acquire))
            return kTimedOut;
    }
}

// Sleeps until the wait `epoch` of `record` ends; returns how it ended (the
// winning index, or kTimedOut once the deadline has passed).
unsigned sleepUntilEnded(WaiterRecord* record, std::uint32_t epoch, const timespec* deadline) {
    const int sleeping = pack(epoch, kSleeping);
    int word = pack(epoch, kOpen);
    if (!record->state.compare_exchange_strong(word, sleeping, std::memory_order_acq_rel,
                                               std::memory_order_acquire))
        return statusOf(word); // ended before the thread could lie down
    for (;;) {
        const bool inTime = ParkWait(record->state, sleeping, deadline);
        word = record->state.load(std::memory_order_acquire);
        if (word != sleeping)
            return statusOf(word);
        if (!inTime)
            return endWait(record, epoch, word); // a signal may still win the race
    }
}

} // namespace

void Detach(WaitNode& node) {
    Waitable* object = node.object;
    if (node.maybeLinked) {
        std::lock_guard<WordLock> guard(object->m_lock);
        if (node.linked)
            object->unlink(&node);
    }
    node.object = nullptr;
    node.maybeLinked = false;
    object->Release();
}

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
        // Every node met leaves the list: the wait it was armed for is over
        // now, and its thread links it again when it waits here again.
        unlink(node);
        const Claim result = claim(node->record, node->epoch, node->index);
        if (result != Claim::Lost)
            handedOver = true;
        if (result == Claim::WonSleeping) {
            if (woken < capacity)
                wakeList[woken++] = node->record;
            else
                wake(node->record);
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
    // A signalled object has no node armed for an open wait (see
    // m_signalled), so setting it again changes nothing.
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
    const std::uint32_t epoch = openWait(record);

    // In index order: an object is checked, and its node armed, under the
    // object's lock, so a signal either is seen here or finds the node.
    unsigned attached = 0;
    bool ownClaim = false;
    for (unsigned i = 0; i < count; ++i) {
        if (statusOf(record->state.load(std::memory_order_acquire)) != kOpen)
            break; // an object armed before was signalled meanwhile
        Waitable* obj = objects[i];
        WaitNode& node = record->nodes[i];
        if (block && node.object != obj) {
            if (node.object)
                Detach(node);
            obj->AddRef();
            node.object = obj;
        }
        attached = i + 1;
        std::lock_guard<WordLock> guard(obj->m_lock);
        bool signalled = obj->m_signalled.load(std::memory_order_acquire);
        if (signalled && !obj->m_manual) {
            bool expected = true;
            signalled = obj->m_signalled.compare_exchange_strong(
                expected, false, std::memory_order_acquire, std::memory_order_relaxed);
        }
        if (signalled) {
            if (claim(record, epoch, static_cast<int>(i)) != Claim::Lost) {
                ownClaim = true;
            } else if (!obj->m_manual) {
                // A lower index won meanwhile: put the signal back, handing
                // it to another wait if one is open. (A thread woken here is
                // woken under the lock; this race is rare.)
                obj->signalLocked(false, nullptr, 0);
            }
            break;
        }
        if (block) {
            if (!node.linked)
                obj->link(&node);
            node.epoch = epoch;
            node.maybeLinked = true;
        }
    }

    unsigned result;
    if (block)
        result = sleepUntilEnded(record, epoch, infinite ? nullptr : &deadline);
    else
        result = endWait(record, epoch, record->state.load(std::memory_order_acquire));

    if (block) {
        // The setter that ended the wait took that node out of its list.
        if (result < static_cast<unsigned>(MAXIMUM_WAIT_OBJECTS) && !ownClaim)
            record->nodes[result].maybeLinked = false;
        for (unsigned i = 0; i < attached; ++i)
            if (record->nodes[i].object->kind() == HandleObject::Kind::Thread)
                Detach(record->nodes[i]);
    }
    return result == kTimedOut ? WAIT_TIMEOUT : WAIT_OBJECT_0 + result;
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
