// CCriticalSection: the platform's re-entrant lock.
//
// The owning thread may Lock N times and must Unlock N times before another
// thread gets in. Sections are always re-entrant, as Win32 critical sections
// are; the constructor flag is accepted for source compatibility only.
// Unlock by a thread that does not own the section is ignored and changes
// nothing. Not copyable or movable; destroy it only when no thread holds it.
//
// Lock and Unlock are inline: a plain mutex plus owner and recursion count,
// so the uncontended path is one owner test and one mutex call.
#pragma once

#include <atomic>

#include <pthread.h>

#include "platcompat/hresult.h"
#include "platcompat/types.h"

class PLATCOMPAT_API CCriticalSection {
public:
    explicit CCriticalSection(bool bRecursive = true);
    ~CCriticalSection();
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    // Enters the section, blocking while another thread owns it.
    void Lock() {
        const unsigned long me = static_cast<unsigned long>(pthread_self());
        if (m_owner.load(std::memory_order_relaxed) == me) {
            ++m_count;
            return;
        }
        pthread_mutex_lock(&m_mutex);
        m_owner.store(me, std::memory_order_relaxed);
        m_count = 1;
    }
    // Leaves the section once; ignored when the caller is not the owner, so
    // a foreign Unlock never reaches the mutex.
    void Unlock() {
        if (m_owner.load(std::memory_order_relaxed) != static_cast<unsigned long>(pthread_self()))
            return;
        if (--m_count == 0) {
            m_owner.store(0, std::memory_order_relaxed);
            pthread_mutex_unlock(&m_mutex);
        }
    }
    // The section is ready from construction on: both return S_OK and
    // change nothing.
    HRESULT Init();
    HRESULT Term();

private:
    static_assert(sizeof(pthread_t) <= sizeof(unsigned long), "pthread_t fits the owner field");
    pthread_mutex_t m_mutex; // plain mutex, held while m_count > 0
    // The owning thread (pthread_self) or 0. Only the owner stores its own
    // id, so a thread that reads its own id is the owner; relaxed suffices.
    std::atomic<unsigned long> m_owner{0};
    unsigned m_count = 0; // recursion depth; touched by the owner only
};
