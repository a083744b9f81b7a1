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
