// CBCoClassInfo: the base implementation of IKXCoClassInfo, which answers
// questions about a component's class (identification texts, class
// identifier, categories, characteristics, image name, threading model).
//
// Everything is read from the component's static CCoClassData, reached
// through the shared CObjectDataReferenceBase; the class keeps no state of
// its own. It is abstract: IUnknown's operations belong to the concrete
// component (see CKxComObject).
//
// Ownership: BSTRs and arrays handed out belong to the caller (SysFreeString,
// CoTaskMemFree). Failures: a failed array allocation is raised (E_POINTER),
// as is a failing hook behind QueryImplementedCatIdList and
// QueryCharacteristicsList ("HResult was invalid"); null out-pointers and a
// missing class description answer E_POINTER.
//
// Thread safety: all data read is static, so any thread may call.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "CObjectDataReference.h"
#include "IKXCoClassInfo.h"

namespace KxTamarind {

class KXTAMARIND_API CBCoClassInfo : public IKXCoClassInfo, public CObjectDataReference {
public:
    CBCoClassInfo();

    // --- IKXCoClassInfo, in table order ---
    STDMETHOD(GetIdentification)
    (wchar_t** pName, GUID* pClsid, wchar_t** pText) override;
    // Only *ppDescriptions is cleared (count and identifiers are left alone);
    // S_OK.
    STDMETHOD(QueryAllInterfacesDescription)
    (long* pCount, GUID** ppIids, wchar_t*** ppDescriptions) override;
    // Only *ppIids is cleared; S_OK.
    STDMETHOD(QueryAllInterfaces)(long* pCount, GUID** ppIids) override;
    STDMETHOD(QueryLinkageList)
    (long* pCount, LinkageData** ppLinkages) override; // S_OK
    // S_OK without calling DoQueryOutgoingCatIdList.
    STDMETHOD(QueryOutgoingCatIdList)(long* pCount, GUID** ppCatIds) override;
    // DoQueryImplementedCatIdList; any other result than S_OK is raised.
    STDMETHOD(QueryImplementedCatIdList)(long* pCount, GUID** ppCatIds) override;
    STDMETHOD(ImplementsCatId)(GUID catId) override; // DoImplementsCatId
    // DoQueryCharacteristicsList; any other result than S_OK is raised.
    STDMETHOD(QueryCharacteristicsList)
    (long* pCount, GUID** ppCharacteristics) override;
    STDMETHOD(GetImageName)(wchar_t** pName) override; // DoGetImageName
    // S_OK; no argument is touched.
    STDMETHOD(GetComponentInfo)
    (wchar_t** pName, GUID* pClsid, wchar_t** pText, long* pCharacteristicsCount,
     GUID** ppCharacteristics, long* pImplementedCount, GUID** ppImplemented, long* pOutgoingCount,
     GUID** ppOutgoing, long* pParentCount, GUID** ppParent, long* pLinkageCount,
     LinkageData** ppLinkages, wchar_t** pImageName, wchar_t** pThreadingModel,
     ConfigFrequency* pFrequency) override;
    STDMETHOD(GetMainCatid)(GUID* pCatId) override; // DoGetMainCatid

    // --- Hooks, in table order after the interface's operations ---

    // New BSTR copies of the first and third identification texts (null
    // when the class has none) and the class identifier; S_OK. Null
    // out-pointers are skipped.
    virtual HRESULT DoGetIdentification(wchar_t** pName, GUID* pClsid, wchar_t** pText);
    // S_OK when `catId` is one of the implemented categories, else S_FALSE.
    virtual HRESULT DoImplementsCatId(GUID& catId);
    virtual HRESULT DoQueryOutgoingCatIdList(long* pCount,
                                             GUID** ppCatIds); // S_OK
    // Array copies (CoTaskMemAlloc, count x 16 bytes; the caller frees the
    // array). A failed allocation is raised; S_OK.
    virtual HRESULT DoQueryImplementedCatIdList(long* pCount, GUID** ppCatIds);
    virtual HRESULT DoQueryCharacteristicsList(long* pCount, GUID** ppCharacteristics);
    // A new BSTR copy of the image name; S_OK.
    virtual HRESULT DoGetImageName(wchar_t** pName);
    // The first implemented category (the main one); S_OK.
    virtual HRESULT DoGetMainCatid(GUID* pCatId);
    virtual HRESULT DoGetParentCatIdList(long* pCount, GUID** ppCatIds);
    // Always a new BSTR "Apartment"; S_OK.
    virtual HRESULT GetThreadingModel(wchar_t** pModel);
    // Declared last: its slot follows the hooks'.
    ~CBCoClassInfo() override;

    // Forwards to DoGetParentCatIdList and returns its result unchecked.
    HRESULT GetParentCatIdList(long* pCount, GUID** ppCatIds);

private:
    CObjectDataReferenceBase* Origin() { return static_cast<CObjectDataReferenceBase*>(this); }
    HRESULT CopyArray(long count, const GUID* source, const char* allocationCondition, int line,
                      long* pCount, GUID** ppArray);
};

} // namespace KxTamarind
