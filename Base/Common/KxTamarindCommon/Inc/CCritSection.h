// The library's lock and its scope lockers.
//
// CCritSection is a re-entrant critical section: the owning thread may enter
// it again while holding it (the thread object calls its own locking methods
// under its lock). lock()/unlock() are const so that const methods of
// derived classes can lock.
//
// CCritSectionLocker enters a section for a scope and counts how often it
// holds it: it may be unlocked and locked again, also nested, and its
// destructor leaves the section exactly as often as it still holds it. A
// locker on a null section does nothing. A locker belongs to one thread and
// lives on its stack; its count is not protected.
//
// CCritSectionLockerSupplier is a locker that remembers whether its user
// released it on purpose, so that code handed a locked supplier can restore
// the locked state with Relock() without locking twice.
//
// Lock order of the process, outermost first. A thread that holds a lock of
// one level may take locks of later levels (and its own again), never of an
// earlier one; no lock is held while waiting on an event.
//   1. A registry list's lock (CObjectList, CInterfaceList): held while a
//      removed record is destroyed, whose final Release may raise errors.
//      The library never holds two lists' locks at once.
//      A pool thread's worker link (CThread): held by the worker while it
//      checks for work, raises errors and hands itself back to the pool.
//   2. The error-reporting lock (KxErrorReporting): held while a thrown
//      error's record is made, which looks the calling thread up in the
//      pool, and while the system-error triggers and the start-up object
//      run.
//   3. The thread pool's lock (CThreadPool).
//   4. A thread's own lock (CThread).
//   5. Leaves, under which nothing else is locked and nothing is reported:
//      a list's enumeration flag set (CEnumList), the thread-handle registry
//      (CThread), a message queue's queue lock and then its results lock
//      (CMessageQueue), the modified-property list
//      (CObjectDataReferenceBase).
// What follows from it: a thrown error (ThrowError, OutOfMemoryError) is
// never raised while the pool's lock, a thread's lock or a leaf is held; a
// repaired error (RepairError, which takes the pool's lock and a thread's
// lock to name the thread) never while a thread's lock or a leaf is held.
// Code that runs under the error-reporting lock (triggers, the start-up
// object, a partner's GetObjectInfo) must not use a registry.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

class KXTAMARIND_API CCritSection {
public:
    CCritSection();
    virtual ~CCritSection();

    CCritSection(const CCritSection&) = delete;
    CCritSection& operator=(const CCritSection&) = delete;

    void lock() const;
    void unlock() const;

private:
    mutable CCriticalSection m_section;
};

class KXTAMARIND_API CCritSectionLocker {
public:
    explicit CCritSectionLocker(const CCritSection& section);
    explicit CCritSectionLocker(const CCritSection* section);
    virtual ~CCritSectionLocker();

    CCritSectionLocker(const CCritSectionLocker&) = delete;
    CCritSectionLocker& operator=(const CCritSectionLocker&) = delete;

    // Enters the section and counts it; nothing for a null section.
    void Lock();
    // Leaves the section once if this locker holds it; else nothing.
    void Unlock();
    unsigned long LockCount() const { return m_ulLockCount; }

protected:
    const CCritSection* m_pSection;
    unsigned long m_ulLockCount;
};

class KXTAMARIND_API CCritSectionLockerSupplier : public CCritSectionLocker {
public:
    explicit CCritSectionLockerSupplier(const CCritSection& section);
    explicit CCritSectionLockerSupplier(const CCritSection* section);

    void Lock();
    void Unlock();
    // Enters the section again only if it was released through Unlock().
    void Relock();
    bool IsUnlocked() const { return m_bUnlocked; }

private:
    bool m_bUnlocked;
};

} // namespace KxTamarind
