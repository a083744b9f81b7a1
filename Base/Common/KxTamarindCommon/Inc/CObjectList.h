// CObjectList: the store behind an object registry: an ordered, lockable
// list of CObjectIdentificationData records with look-ups by key, name, sort
// index and interface pointer, bulk copies into task-memory arrays, and the
// validity flags of the enumerators that walk it.
//
// Ownership: every stored record owns one reference on its interface and its
// name; the list makes its own deep copy of what it is given and releases
// both when a record is removed or the list is destroyed. Results handed out
// (interface pointers, records, arrays) belong to the caller.
//
// Thread safety: the list is its own re-entrant lock (CCritSection). Every
// operation documented as "locks" holds it for its whole duration. GetCount,
// GetListStart, IsValid, FindIndexForInsert and the FindIndex forms take no
// lock: they are for callers that hold it already (iterators stay usable
// only while the lock is held, or while the caller knows no record is
// removed). Changes clear the flags of all live enumerators: an insertion
// after releasing the list's lock, a removal while still holding it (lock
// order: list, then flag set). The list's lock comes first in the process's
// lock order (see CCritSection.h): a removed record is destroyed under it,
// and its final Release may raise errors, which take the error-reporting
// lock and the pool's lock after it.
//
// Positions are iterators; end() is the not-found and past-the-end position.
// Stepping treats the list as a ring through its end position: one step
// beyond the last record reaches the end, one more the first record again.
// A ring of count records has count + 1 positions, so n steps land where
// n modulo (count + 1) forward steps land; the list moves that way, never
// walking more than half a lap, whatever n is.
//
// Keys (ObjectGuid, InstanceNumber) are not unique: the list never refuses a
// record and every look-up finds the first match in list order. An
// InstanceNumber of -1 in a look-up matches any instance.
//
// An index beside the list keeps the key look-ups, insertion (also by sort
// index), removal and long moves independent of the number of records:
// a hash of the keys to the first match in list order, and a balanced tree
// of the list order for positions. It costs one node per record and two
// small table slots per distinct key (together about 160 bytes per record
// on 64-bit hosts; bench_registry's BM_RegistryMemory measures it). Records
// must not be changed in place (through iterators) while they are in the
// list. The look-ups by name, by sort index and by pointer still walk it.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <atomic>
#include <list>
#include <memory>

#include "CCritSection.h"
#include "CEnumList.h"
#include "CObjectIdentificationData.h"

namespace KxTamarind {

class CObjectListIndex;

class KXTAMARIND_API CObjectList : public CCritSection {
public:
    typedef std::list<CObjectIdentificationData> records;
    typedef records::iterator iterator;

    CObjectList();
    // Forgets the enumeration flags (live enumerators are not told), then
    // releases every record.
    ~CObjectList() override;

    // Number of records. No lock needed: kept in a relaxed atomic.
    long GetCount() const;
    // `it` = first record; true if the list is not empty. No lock.
    bool GetListStart(iterator& it);
    // True if `it` is not the end. No lock.
    bool IsValid(const iterator& it) const;
    // The end position. No lock.
    iterator End() { return m_Records.end(); }

    // Locks. `to` = `from` moved n steps (backward for negative n) around
    // the ring; true if `to` is a record. Any n is exact, LONG_MIN and
    // LONG_MAX included, and costs at most half a lap of the ring.
    bool Skip(long n, iterator from, iterator& to);
    // Locks. Clears *out, then assigns the record n steps from the first
    // record, if that is a record. False for a null `out` or no record.
    bool GetPointedData(long n, CObjectIdentificationData* out);
    // Locks. Clears *out, then assigns the record at `it` unless it is the
    // end. `it` must refer to a record of this list or be its end.
    bool GetPointedData(iterator it, CObjectIdentificationData* out);

    // Stores a deep copy of `data`. SortIndex -2 appends; any other sort
    // index inserts just before the position FindIndexForInsert gives.
    // Locks; clears the enumeration flags after releasing the lock. Throws
    // std::bad_alloc when no node can be allocated (nothing stored).
    void Add(const ObjectIdentificationData& data);
    // No lock. The first record if the list is empty or `sortIndex` is less
    // than the first record's; otherwise the LAST record of the leading run
    // whose sort indexes are not greater than `sortIndex`. Add inserts
    // before that record, so 5 into (0, 1, 2) gives (0, 1, 5, 2), 1 into
    // (0, 1, 2) gives (0, 1 new, 1, 2) and 7 into (3) gives (7, 3). Only
    // records with sort index -2 keep their arrival order.
    iterator FindIndexForInsert(long sortIndex);

    // --- by key (ObjectGuid, InstanceNumber; -1 matches any instance) ---
    // No lock. The first match or the end.
    iterator FindIndex(const GUID& objectGuid, long instance);
    // Locks. True if a record has that key.
    bool CheckExistance(const GUID& objectGuid, long instance);
    // Locks. Clears *out (if not null), then assigns the first match; true
    // if found.
    bool GetData(const GUID& objectGuid, long instance, CObjectIdentificationData* out);
    // Locks. The first match's interface with an AddRef (the caller
    // releases it); null if not found or the record has none.
    IUnknown* GetIUnknown(const GUID& objectGuid, long instance);
    // Locks. Removes the first match and clears the enumeration flags while
    // still holding the lock; true if one was removed. A miss changes
    // nothing.
    bool Remove(const GUID& objectGuid, long instance);

    // --- by name (exact, case-sensitive; a null name finds nothing) ---
    iterator FindIndex(const wchar_t* name);
    bool GetData(const wchar_t* name, CObjectIdentificationData* out);
    IUnknown* GetIUnknown(const wchar_t* name);
    bool Remove(const wchar_t* name);
    // Locks. Writes the first match's ObjectGuid and InstanceNumber (null
    // out-pointers are skipped); true if found, outputs untouched otherwise.
    bool GetGuid(const wchar_t* name, GUID* objectGuid, long* instance);

    // --- by sort index ---
    iterator FindIndex(long sortIndex);
    bool GetData(long sortIndex, CObjectIdentificationData* out);
    IUnknown* GetIUnknown(long sortIndex);
    bool Remove(long sortIndex);

    // --- by interface pointer (identity, no QueryInterface) ---
    iterator FindIndex(IUnknown* unknown);
    bool Remove(IUnknown* unknown);

    // Number of removals since construction (a relaxed atomic, raised under
    // the lock). An enumerator compares it under the lock with the value it
    // saw when it positioned itself, which closes the window between its
    // set-up and the moment its maker adds its flag.
    unsigned long GetRemovalCount() const;

    // The flags of live enumerators (the flag set's own lock).
    void AddEnumeration(CObjectState* state);
    void DeleteEnumeration(CObjectState* state);

    // Bulk copies into a CoTaskMemAlloc array that the caller owns.
    //
    // Selection: a null `filter` or GUID_NULL selects every record, any
    // other filter the records whose CatId equals it. (Enumerations use the
    // all-ones GUID as their wildcard instead.) *count and *array are set
    // to 0 / null first (null pointers are skipped); with no selected record
    // nothing is allocated.
    //
    // Record form: each entry is a deep copy (an AddRef on its interface and
    // a length-exact copy of its name); the caller releases each pIUnknown,
    // frees each Name and then the array with CoTaskMemFree.
    // Interface form: each entry is the record's pIUnknown with an AddRef
    // (null for a record without one); the caller releases each entry and
    // frees the array.
    //
    // !!! WARNING: LOCK KEPT ON THE COUNT-ONLY PATH !!!
    // When `array` is null but records are selected, the call writes the
    // count and returns WITH THE LIST'S LOCK STILL HELD (once more than
    // before the call). The calling thread can go on using the list (the
    // lock is re-entrant), but every other thread blocks until the caller
    // has called unlock() once for each such call. This behaviour is
    // required by existing callers and is kept deliberately.
    //
    // Results: S_OK; E_OUTOFMEMORY when the array cannot be allocated
    // (then *count is 0, *array null and the lock is released).
    HRESULT GetFilteredObjects_CoTaskMemAlloc(const GUID* filter, long* count,
                                              ObjectIdentificationData** array);
    HRESULT GetFilteredObjectsIUnknown_CoTaskMemAlloc(const GUID* filter, long* count,
                                                      IUnknown*** array);

private:
    friend class CObjectListIndex;

    long CountSelected(const GUID* filter) const;
    static bool IsSelected(const CObjectIdentificationData& record, const GUID* filter);
    // The shared body of the two bulk copies: `copy(record, slot)` fills one
    // element of the task-memory array for each selected record.
    template <class Element, class Copy>
    HRESULT CopyFiltered(const GUID* filter, long* count, Element** array, Copy copy);
    // Erases `it` (releasing its interface, freeing its name) and clears the
    // enumeration flags; the caller holds the lock.
    void EraseLocked(iterator it);

    records m_Records;
    std::atomic<long> m_lCount;
    std::atomic<unsigned long> m_ulRemovals;
    CEnumList m_Enumerations;
    // Declared last: destroyed first, before the records it refers to.
    std::unique_ptr<CObjectListIndex> m_pIndex;
};

} // namespace KxTamarind
