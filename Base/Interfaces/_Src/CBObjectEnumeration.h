// CBObjectEnumeration: the base implementation of IKXObjectEnumeration: an
// enumerator that walks an object registry's list in place, without a
// snapshot, over the records of one category (all ones: every record).
//
// The enumerator is its own validity flag (CObjectState). The list clears
// the flag whenever a record is added or removed; then Next, Skip and Clone
// answer S_FALSE and the position is not touched until Reset repositions at
// the first match. The maker (the registry's CreateObjectEnumeration)
// calls SetMember and adds the flag with CObjectList::AddEnumeration; the
// destructor removes it. The list must outlive the enumerator.
// IUnknown's three operations and CreateEnumeration stay abstract.
//
// Records from Next belong to the caller (one reference and the name each;
// the slots are overwritten, not released). Used by one client thread at a
// time; each call holds the list's lock while it checks its flag and moves,
// so a removal on another thread cannot free the record under it. A removal
// between SetMember and the maker's AddEnumeration (when the flag is not in
// the list's set yet) is caught the same way: the enumerator compares the
// list's removal count and treats a change as an invalidation.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "CObjectDataReferenceBase.h"
#include "CObjectList.h"
#include "CObjectState.h"
#include "IKXObjectEnumeration.h"

namespace KxTamarind {

class KXTAMARIND_API CBObjectEnumeration : public IKXObjectEnumeration,
                                           public CObjectState,
                                           public virtual CObjectDataReferenceBase {
public:
    CBObjectEnumeration();

    // Fetches up to celt records into pArray. *pFetched = count fetched (a
    // null pFetched is allowed). S_OK if celt records were fetched, else
    // S_FALSE (also for an invalid flag or an exhausted enumerator). A null
    // pArray with celt > 0: E_POINTER.
    STDMETHOD(Next)(long celt, long* pFetched, ObjectIdentificationData* pArray) override;
    // Moves over up to n matches. S_FALSE if invalid, exhausted, or fewer
    // than n steps could be made; n <= 0: S_OK without moving.
    STDMETHOD(Skip)(long n) override;
    // Back to the first match, flag valid again; S_OK if there is one.
    STDMETHOD(Reset)() override;
    // A new enumerator of the same category from CreateEnumeration, starting
    // at the first match; S_FALSE (and *ppEnum untouched) if invalid.
    STDMETHOD(Clone)(IKXObjectEnumeration** ppEnum) override;

    virtual ~CBObjectEnumeration();

    // Stores the category (a null catId means every record), the owner (a
    // plain back pointer, no reference) and the list (not owned), then
    // positions at the first match. Does not add the flag to the list.
    void SetMember(GUID* catId, IUnknown* owner, CObjectList* list);
    // False without a list; else true if the position is a record.
    bool CurrentObjectIsValid() const;
    // Positioning; both take the list's lock.
    void FindFirstObjectWithCatId();
    void FindNextObjectWithCatId();

    IUnknown* GetOwner() const { return m_pOwner; }
    const GUID& GetFilter() const { return m_Filter; }
    CObjectList* GetList() const { return m_pObjectList; }

protected:
    virtual IKXObjectEnumeration* CreateEnumeration(GUID* catId) = 0;

    CObjectList::iterator m_itCurrent;
    IUnknown* m_pOwner;
    GUID m_Filter;
    CObjectList* m_pObjectList;

private:
    // Under the list's lock: clears the flag if a record was removed since
    // the enumerator last positioned itself (see CObjectList::GetRemovalCount).
    void CheckRemovalsLocked();

    unsigned long m_ulRemovalsSeen;
};

} // namespace KxTamarind
