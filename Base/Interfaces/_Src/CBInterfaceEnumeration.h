// CBInterfaceEnumeration: the base implementation of
// IKXInterfaceEnumeration: an enumerator that walks an interface registry's
// list by position (index counted from 0; -2 means exhausted).
//
// The enumerator is its own validity flag (CObjectState), cleared by the
// list whenever a record is added or removed; then Next, Skip and Clone
// answer S_FALSE until Reset. The maker (the registry's
// CreateInterfaceEnumeration) calls SetMember and adds the flag with
// CInterfaceList::AddEnumeration; the destructor removes it. The list must
// outlive the enumerator. IUnknown's three operations and CreateEnumeration
// stay abstract.
//
// Walk: after each record Next advances with NextInterfaceIdx, which gives
// up when index + 1 reaches the count. So a walk from Reset over n
// interfaces delivers the first n - 1 of them when n is 2 or more and the
// single one when n is 1: the last interface of a longer list is never
// delivered by Next. Existing callers depend on this and it is kept.
//
// Records from Next belong to the caller (one reference and the name each;
// the slots are overwritten, not released). Used by one client thread at a
// time; each fetch takes the list's lock.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "CInterfaceList.h"
#include "CObjectDataReferenceBase.h"
#include "CObjectState.h"
#include "IKXInterfaceEnumeration.h"

namespace KxTamarind {

class KXTAMARIND_API CBInterfaceEnumeration : public IKXInterfaceEnumeration,
                                              public CObjectState,
                                              public virtual CObjectDataReferenceBase {
public:
    CBInterfaceEnumeration();

    // Fetches records into pArray from the current index; *pFetched = count
    // fetched (a null pFetched is allowed). S_OK if celt were fetched, else
    // S_FALSE (also when invalid or exhausted). Null pArray with celt > 0:
    // E_POINTER.
    STDMETHOD(Next)(long celt, long* pFetched, InterfaceIdentificationData* pArray) override;
    // Invalid or exhausted: S_FALSE. index + n below the count (compared
    // exactly, see CInterfaceList::Skip): moves, S_OK; else exhausted and
    // S_FALSE. An index pushed below LONG_MIN is kept as the nearest value
    // with the same ring position, so Next fetches what it would fetch.
    STDMETHOD(Skip)(long n) override;
    // Flag valid, index 0; S_FALSE (and exhausted) for an empty list.
    STDMETHOD(Reset)() override;
    // Invalid: S_FALSE, *ppEnum untouched; else CreateEnumeration(), S_OK.
    STDMETHOD(Clone)(IKXInterfaceEnumeration** ppEnum) override;

    virtual ~CBInterfaceEnumeration();

    // Stores the owner (back pointer, no reference) and the list (not
    // owned), then Reset(). Any result other than S_OK is raised with
    // ThrowError ("HResult was invalid", the result as code): an interface
    // enumerator cannot be set up over an empty list. After such a failure
    // the enumerator is attached to no list (owner and list null).
    void SetMember(IUnknown* owner, CInterfaceList* list);
    // index += 1; exhausted when index + 1 is not below the count. True
    // while not exhausted.
    bool NextInterfaceIdx();

    long GetIndex() const { return m_lIndex; }
    IUnknown* GetOwner() const { return m_pOwner; }
    CInterfaceList* GetList() const { return m_pInterfaceList; }

protected:
    virtual IKXInterfaceEnumeration* CreateEnumeration() = 0;

    CInterfaceList* m_pInterfaceList;
    long m_lIndex;
    IUnknown* m_pOwner;
};

} // namespace KxTamarind
