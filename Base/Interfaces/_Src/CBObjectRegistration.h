// CBObjectRegistration: the base implementation of IKXObjectRegistration
// on top of a CObjectList that the component owns and hands over with
// SetObjectList.
//
// It turns the list's answers into the interface's results and calls three
// hooks of the concrete component: OnObjectRegistered after a record was
// stored, OnObjectUnregistered after one was removed, and
// CreateObjectEnumeration to make an enumerator (a CBObjectEnumeration over
// the same list, whose flag the maker adds with CObjectList::AddEnumeration).
// IUnknown's three operations stay abstract.
//
// Results: S_OK, S_FALSE (nothing found), E_FAIL (no list where stated),
// E_POINTER for a null argument the operation cannot do without. A failing
// hook result (and a failing count inside GetObject/GetObjectData) is
// raised with ThrowError ("HResult was invalid"); the change made before the
// hook stays. Records, pointers and arrays handed out belong to the caller;
// out-records are overwritten without releasing what they held.
//
// Thread safety: any thread may call; the list's lock protects each step.
// The list pointer itself is set once before the registry is published.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "CObjectDataReferenceBase.h"
#include "CObjectList.h"
#include "IKXObjectRegistration.h"

namespace KxTamarind {

class KXTAMARIND_API CBObjectRegistration : public IKXObjectRegistration,
                                            public virtual CObjectDataReferenceBase {
public:
    CBObjectRegistration();

    // No list: E_FAIL; null record: E_POINTER. Stores a deep copy (no
    // duplicate check), then OnObjectRegistered; S_OK.
    STDMETHOD(RegisterObject)(ObjectIdentificationData* pData) override;
    // No list or key not found: S_FALSE (no hook). Removes the first match,
    // then OnObjectUnregistered with the same key; S_OK. Null key: E_POINTER.
    STDMETHOD(UnregisterObject)(GUID* pObjectGuid, long instanceNumber) override;
    // *ppUnknown = the first match with an AddRef and S_OK, else null and
    // S_FALSE. Raises when the count cannot be read (no list).
    STDMETHOD(GetObject)(GUID* pObjectGuid, long instanceNumber, IUnknown** ppUnknown) override;
    // Found: the record moves into *pData, S_OK. Else *pData = defaults,
    // S_FALSE. Raises when the count cannot be read (no list).
    STDMETHOD(GetObjectData)
    (GUID* pObjectGuid, long instanceNumber, ObjectIdentificationData* pData) override;
    // No list: E_FAIL; null pointer: E_POINTER; else the count and S_OK.
    STDMETHOD(GetObjectCount)(long* pCount) override;
    // *ppEnum = null first. An enumerator (CreateObjectEnumeration) and S_OK
    // only if some record matches *pCatId (all ones matches every record);
    // else S_FALSE. Null pointers: E_POINTER.
    STDMETHOD(EnumObject)(GUID* pCatId, IKXObjectEnumeration** ppEnum) override;
    // Bulk copies, see CObjectList: a null or GUID_NULL filter selects all.
    // S_OK (also with no list: count 0, array null); E_OUTOFMEMORY when the
    // array cannot be allocated. With a null ppArray and selected records
    // THE LIST'S LOCK STAYS HELD (see CObjectList).
    STDMETHOD(GetObjects)(GUID* pFilter, long* pCount, ObjectIdentificationData** ppArray) override;
    STDMETHOD(GetObjectsIUnknown)(GUID* pFilter, long* pCount, IUnknown*** ppArray) override;
    // Null pData: S_FALSE. Found (exact, case-sensitive name): moved into
    // *pData, S_OK; else *pData = defaults, S_FALSE.
    STDMETHOD(GetObjectDataByName)(wchar_t* name, ObjectIdentificationData* pData) override;
    // Null ppUnknown: S_FALSE. *ppUnknown = the match with an AddRef, S_OK
    // if not null, else S_FALSE.
    STDMETHOD(GetObjectByName)(wchar_t* name, IUnknown** ppUnknown) override;

    virtual ~CBObjectRegistration();

    // The list served; not owned (the component keeps it alive longer).
    void SetObjectList(CObjectList* list) { m_pObjectList = list; }
    CObjectList* GetObjectList() const { return m_pObjectList; }

protected:
    virtual HRESULT OnObjectRegistered(ObjectIdentificationData* pData) = 0;
    virtual HRESULT OnObjectUnregistered(GUID* pObjectGuid, long instanceNumber) = 0;
    virtual IKXObjectEnumeration* CreateObjectEnumeration(GUID* pCatId) = 0;

    CObjectList* m_pObjectList;
};

} // namespace KxTamarind
