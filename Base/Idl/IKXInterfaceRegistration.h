// IKXInterfaceRegistration: the interface registry that every component (and
// the root of the whole system) offers: interface pointers published under
// their interface identifiers, so that others can ask which object
// implements an interface there. Pointers and records handed out belong to
// the caller. The order of the operations is a binary contract with the
// firmware's other modules; the identifier of this interface is fixed,
// because the root object is queried for it by modules built separately.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "IKXInterfaceEnumeration.h"
#include "KxIdentificationData.h"

namespace KxTamarind {

struct KXTAMARIND_API IKXInterfaceRegistration : public IUnknown {
    // Publishes pData->pIUnknown under pData->Iid; the registry takes its own
    // reference and its own copy of the name.
    STDMETHOD(RegisterInterface)(InterfaceIdentificationData* pData) = 0; // 1
    // S_OK when removed, S_FALSE when not registered.
    STDMETHOD(UnregisterInterface)(GUID const* pIid) = 0; // 2
    // *ppUnknown = the published pointer (one reference) and S_OK, or null
    // and S_FALSE.
    STDMETHOD(GetInterface)(GUID const* pIid, IUnknown** ppUnknown) = 0; // 3
    // The whole record (one reference, a copy of the name) and S_OK, or the
    // empty record (all-ones Iid) and S_FALSE; *pData is overwritten.
    STDMETHOD(GetInterfaceData)(GUID const* pIid, InterfaceIdentificationData* pData) = 0; // 4
    STDMETHOD(GetInterfaceCount)(long* pCount) = 0;                                        // 5
    // An enumerator (one reference) and S_OK, or null and S_FALSE when empty.
    STDMETHOD(EnumInterface)(IKXInterfaceEnumeration** ppEnum) = 0; // 6
};

} // namespace KxTamarind

template <>
KXTAMARIND_API const GUID hold_uuidof<KxTamarind::IKXInterfaceRegistration>::__IID;
