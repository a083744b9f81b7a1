// CBInterfaceRegistration: the base implementation of
// IKXInterfaceRegistration over the interface list of the component's
// object data (CObjectData::GetInterfaceList, reached through the
// CObjectDataReferenceBase).
//
// It turns the list's answers into the interface's results and calls three
// hooks of the concrete component: OnInterfaceRegistered after a record was
// stored, OnInterfaceUnregistered after one was removed, and
// CreateInterfaceEnumeration to make an enumerator (a CBInterfaceEnumeration
// over the same list, set up with SetMember and added with
// CInterfaceList::AddEnumeration). IUnknown's three operations stay
// abstract.
//
// Results: S_OK, S_FALSE (nothing found / nothing to enumerate), E_POINTER
// for a null argument, E_FAIL when the component has no object data (no
// list). Unregistering from, or asking for the data of, an empty registry
// is raised ("iInterfaceCount > 0", E_KX_HRESULT_ASSERT_FAILED); a failing
// count or hook result is raised ("HResult was invalid", its code); the
// change made before a hook stays. Pointers and records handed out belong
// to the caller; out-records are overwritten without releasing what they
// held.
//
// Thread safety: the list's lock protects each list step; the count check
// and the following look-up are separate steps.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "CInterfaceList.h"
#include "CObjectDataReferenceBase.h"
#include "IKXInterfaceRegistration.h"

namespace KxTamarind {

class KXTAMARIND_API CBInterfaceRegistration : public IKXInterfaceRegistration,
                                               public virtual CObjectDataReferenceBase {
public:
    CBInterfaceRegistration();

    // Stores its own reference and its own copy of the name (no duplicate
    // check: look-ups see the first of several records with one Iid), then
    // OnInterfaceRegistered; S_OK. Null record: E_POINTER.
    STDMETHOD(RegisterInterface)(InterfaceIdentificationData* pData) override;
    // Empty registry: raised. Not registered: S_FALSE (no hook). Removes the
    // first match, then OnInterfaceUnregistered; S_OK. Null iid: E_POINTER.
    STDMETHOD(UnregisterInterface)(GUID const* pIid) override;
    // *ppUnknown = the pointer with an AddRef and S_OK, or null and S_FALSE.
    STDMETHOD(GetInterface)(GUID const* pIid, IUnknown** ppUnknown) override;
    // Empty registry: raised. Found: *pData = Iid, pointer with an AddRef and
    // a copy of the name, S_OK; else null pointer, all-ones Iid, null name,
    // S_FALSE.
    STDMETHOD(GetInterfaceData)(GUID const* pIid, InterfaceIdentificationData* pData) override;
    // The number of records, S_OK (no lock).
    STDMETHOD(GetInterfaceCount)(long* pCount) override;
    // *ppEnum = null; empty registry: S_FALSE; else CreateInterfaceEnumeration()
    // and S_OK.
    STDMETHOD(EnumInterface)(IKXInterfaceEnumeration** ppEnum) override;

    virtual ~CBInterfaceRegistration();

protected:
    virtual HRESULT OnInterfaceRegistered(InterfaceIdentificationData* pData) = 0;
    virtual HRESULT OnInterfaceUnregistered(GUID const* pIid) = 0;
    virtual IKXInterfaceEnumeration* CreateInterfaceEnumeration() = 0;

    // The list served, or null when the component has no object data.
    CInterfaceList* GetInterfaceList() const;
};

} // namespace KxTamarind
