// IKXObjectRegistration: the object registry that every supervisor offers.
// Components register a record naming themselves; others look them up by
// key (ObjectGuid, InstanceNumber), by name or by category, or enumerate
// them. Records and pointers handed out belong to the caller; arrays are
// allocated with CoTaskMemAlloc. The order of the operations is a binary
// contract with the firmware's other modules.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "IKXObjectEnumeration.h"
#include "KxIdentificationData.h"

namespace KxTamarind {

struct KXTAMARIND_API IKXObjectRegistration : public IUnknown {
    STDMETHOD(RegisterObject)(ObjectIdentificationData* pData) = 0;                         // 1
    STDMETHOD(UnregisterObject)(GUID* pObjectGuid, long instanceNumber) = 0;                // 2
    STDMETHOD(GetObject)(GUID* pObjectGuid, long instanceNumber, IUnknown** ppUnknown) = 0; // 3
    STDMETHOD(GetObjectData)
    (GUID* pObjectGuid, long instanceNumber,
     ObjectIdentificationData* pData) = 0;                                                      // 4
    STDMETHOD(GetObjectCount)(long* pCount) = 0;                                                // 5
    STDMETHOD(EnumObject)(GUID* pCatId, IKXObjectEnumeration** ppEnum) = 0;                     // 6
    STDMETHOD(GetObjects)(GUID* pFilter, long* pCount, ObjectIdentificationData** ppArray) = 0; // 7
    STDMETHOD(GetObjectsIUnknown)(GUID* pFilter, long* pCount, IUnknown*** ppArray) = 0;        // 8
    STDMETHOD(GetObjectDataByName)(wchar_t* name, ObjectIdentificationData* pData) = 0;         // 9
    STDMETHOD(GetObjectByName)(wchar_t* name, IUnknown** ppUnknown) = 0; // 10
};

} // namespace KxTamarind

template <>
KXTAMARIND_API const GUID hold_uuidof<KxTamarind::IKXObjectRegistration>::__IID;
