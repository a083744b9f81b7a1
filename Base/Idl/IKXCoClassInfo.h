// IKXCoClassInfo: questions about a component's class rather than the
// object: its identification texts and class identifier, the categories it
// implements, those of its parent, its characteristics, its image name, its
// main category and its threading model. The order of the operations is a
// binary contract with the firmware's other modules.
//
// Strings and arrays handed out belong to the caller (SysFreeString,
// CoTaskMemFree).
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

// Defined with the component description outside this library; only
// pointers to them travel through this interface.
struct LinkageData;
struct ConfigFrequency;

struct KXTAMARIND_API IKXCoClassInfo : public IUnknown {
    STDMETHOD(GetIdentification)(wchar_t** pName, GUID* pClsid, wchar_t** pText) = 0; // 1
    STDMETHOD(QueryAllInterfacesDescription)
    (long* pCount, GUID** ppIids,
     wchar_t*** ppDescriptions) = 0;                                                 // 2
    STDMETHOD(QueryAllInterfaces)(long* pCount, GUID** ppIids) = 0;                  // 3
    STDMETHOD(QueryLinkageList)(long* pCount, LinkageData** ppLinkages) = 0;         // 4
    STDMETHOD(QueryOutgoingCatIdList)(long* pCount, GUID** ppCatIds) = 0;            // 5
    STDMETHOD(QueryImplementedCatIdList)(long* pCount, GUID** ppCatIds) = 0;         // 6
    STDMETHOD(ImplementsCatId)(GUID catId) = 0;                                      // 7
    STDMETHOD(QueryCharacteristicsList)(long* pCount, GUID** ppCharacteristics) = 0; // 8
    STDMETHOD(GetImageName)(wchar_t** pName) = 0;                                    // 9
    STDMETHOD(GetComponentInfo)
    (wchar_t** pName, GUID* pClsid, wchar_t** pText, long* pCharacteristicsCount,
     GUID** ppCharacteristics, long* pImplementedCount, GUID** ppImplemented, long* pOutgoingCount,
     GUID** ppOutgoing, long* pParentCount, GUID** ppParent, long* pLinkageCount,
     LinkageData** ppLinkages, wchar_t** pImageName, wchar_t** pThreadingModel,
     ConfigFrequency* pFrequency) = 0;         // 10
    STDMETHOD(GetMainCatid)(GUID* pCatId) = 0; // 11
};

} // namespace KxTamarind

template <>
KXTAMARIND_API const GUID hold_uuidof<KxTamarind::IKXCoClassInfo>::__IID;
