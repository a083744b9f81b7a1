// CInterfaceList: the store behind an interface registry: interface
// pointers published under their interface identifiers, in registration
// order, and the validity flags of the enumerators that walk it.
//
// Ownership: every record owns one reference on its pointer and its name;
// Add copies both. Pointers and records handed out belong to the caller.
// Registering an Iid twice stores two records; look-ups see the first.
//
// Thread safety: the list is its own re-entrant lock. Add, CheckExistance,
// GetData, GetIUnknown, Remove and GetPointedData hold it for their
// duration; GetCount (a relaxed atomic), FindIndex and Skip do not lock.
// Changes clear the flags of all live enumerators: Add after releasing the
// list's lock, Remove while holding it (lock order: list, then flag set).
// The list's lock comes first in the process's lock order (see
// CCritSection.h): a removed record is released under it, and its final
// Release may raise errors.
// The list must outlive its enumerators; it does not notify them when it is
// destroyed.
//
// An index beside the list (a hash of the Iids to the first record in list
// order, and a balanced tree of the list order for positions) keeps
// look-ups, registration, removal and positioned fetches independent of the
// number of records. Records must not be changed in place.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <atomic>
#include <list>
#include <memory>

#include "CCritSection.h"
#include "CEnumList.h"
#include "CInterfaceIdentificationData.h"

namespace KxTamarind {

class CInterfaceListIndex;

class KXTAMARIND_API CInterfaceList : public CCritSection {
public:
    typedef std::list<CInterfaceIdentificationData> records;
    typedef records::iterator iterator;

    CInterfaceList();
    // Releases every record (name, then pointer), then forgets the flags.
    ~CInterfaceList() override;

    // Appends a record with its own reference on `unknown` and its own copy
    // of `name`; E_POINTER for a null `iid` (nothing stored), else S_OK.
    // Throws std::bad_alloc when no node can be allocated.
    HRESULT Add(IUnknown* unknown, const wchar_t* name, const GUID* iid);
    // Number of records; no lock needed.
    long GetCount() const;
    // No lock. First record with that Iid (all 16 bytes), or End().
    iterator FindIndex(const GUID* iid);
    iterator End() { return m_Records.end(); }
    // Locks. True if a record has that Iid.
    bool CheckExistance(const GUID* iid);
    // Locks. Found: assigns the record to *out; not found: *out is set to
    // the empty state (its old pointer released, name freed). True if found.
    bool GetData(const GUID* iid, CInterfaceIdentificationData* out);
    // Locks. The found pointer with an AddRef (caller releases), else null.
    IUnknown* GetIUnknown(const GUID* iid);
    // Locks. Removes the first match and clears the enumeration flags while
    // holding the lock; true if one was removed.
    bool Remove(const GUID* iid);
    // Locks. Assigns the record n steps from the first (backward for
    // negative n; the ring of count + 1 positions passes through the end
    // position) to *out; the end position gives the empty state. True if a
    // record was assigned. Any n is exact and costs at most half a lap.
    bool GetPointedData(long n, CInterfaceIdentificationData* out);
    // No lock. True if *index + n is less than the count, compared exactly:
    // negative sums count as inside (also below LONG_MIN), sums above
    // LONG_MAX never do. False for a null index.
    bool Skip(long n, long* index) const;

    void AddEnumeration(CObjectState* state);
    void DeleteEnumeration(CObjectState* state);

private:
    CEnumList m_Enumerations;
    records m_Records;
    std::atomic<long> m_lCount;
    // Declared last: destroyed first, before the records it refers to.
    std::unique_ptr<CInterfaceListIndex> m_pIndex;
};

} // namespace KxTamarind
