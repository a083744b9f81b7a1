// CObjectData: the runtime record of one component object: its names, its
// identity, its lifecycle state, its supervisor and linkage, and where it
// lives in the instrument.
//
// Owned by the component. It owns its two names (BSTRs), one reference on
// the supervisor and on the linkage, and the component's interface registry
// store (CInterfaceList); the destructor releases the linkage, then the
// supervisor, then frees the second name and the object name.
//
// Besides the fields it registers the object in its linkage under its GUID
// and answers questions about the logical instrument the object lives in
// (from the process-wide firmware info table and the linkage).
// Not synchronised: used on its component's thread.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "CInterfaceList.h"

namespace KxTamarind {

class CObjectDataReferenceBase;
struct CCoClassData;
struct ExtendedPropertyMapEntry;
struct IKXLinkage;
struct LiId;
struct KxPersistInstrumentInfo;
enum KxPersistApplicType : long;

enum InitializationState {
    InitializationState_Created = 1,
    InitializationState_Constructed = 2,
    InitializationState_Initialized = 3,
    InitializationState_Connected = 4
};

class KXTAMARIND_API CObjectData {
public:
    CObjectData();
    // Also makes `base` point at this record, the class data and the map.
    CObjectData(CObjectDataReferenceBase* base, CCoClassData* classData,
                ExtendedPropertyMapEntry* propertyMap);
    virtual ~CObjectData();

    CObjectData(const CObjectData&) = delete;
    CObjectData& operator=(const CObjectData&) = delete;

    // Registers ObjectGuid with the navigation handle in the linkage. True
    // at once (nothing done) when already registered, without a navigation
    // handle, without a linkage or with a GUID_NULL ObjectGuid. True when the
    // linkage registered it, false when the GUID is already taken there; any
    // other answer is raised ("HResult was invalid", that code).
    bool RegisterToLinkage();
    // Removes a registration made by RegisterToLinkage (nothing to do when
    // not registered). Raises when the linkage is gone (E_POINTER) or does
    // not answer S_OK (its code); the flag is cleared only on success.
    void UnregisterFromLinkage();
    bool IsRegisteredToLinkage() const { return m_bRegisteredToLinkage; }

    // The logical instrument number: the low 16 bits of the logical
    // location, counted from 1 (0: the object lives in no instrument).
    unsigned short GetMyLiNumber() const;

    // The firmware application the object's logical instrument belongs to,
    // from the process-wide firmware info table. GetMyFwAppName hands out a
    // copy of the name (caller frees with SysFreeString; null when the
    // application has none); both answer whether the application slot is in
    // use (a null out pointer is allowed). A logical location whose number
    // is no valid table identifier is raised by the table.
    bool GetMyFwAppName(wchar_t** pName) const;
    bool GetMyFwAppGUID(GUID* pGuid) const;
    KxPersistApplicType GetMyFwAppType() const;
    bool IsMyLiPartialLoaded() const;

    // The LiId of the object's logical instrument: the instrument's GUID
    // from the table and the index (low 8 bits of the location) - 1. *pId is
    // cleared first (GUID_NULL, index -1). True when the GUID is not
    // GUID_NULL; false for a null pId.
    bool GetMyLiId(LiId* pId) const;
    // The linkage's object of this logical location (one reference for the
    // caller). *ppUnknown = null first; true when the linkage answered S_OK;
    // false for a null ppUnknown or without a linkage.
    bool GetMyLiIUnknown(IUnknown** ppUnknown) const;
    // The twin of this object at `level` through the linkage (one reference
    // for the caller). True when the linkage answered S_OK; false otherwise
    // or without a linkage.
    bool GetMyTwin(long level, IUnknown** ppUnknown);
    // The name of the firmware application of a logical instrument, through
    // the linkage (the name belongs to the caller). True when the linkage
    // answered S_OK; false otherwise or without a linkage.
    bool GetFwAppName(const LiId& id, wchar_t** pName) const;

    // Instrument description and numbers of the object's logical location,
    // and the same by LiId: forwards to the free functions of
    // KxLinkagePartner.h.
    HRESULT GetMyInstrumentInfo(KxPersistInstrumentInfo* pInfo) const;
    long GetMyInstrumentNo() const;
    long GetMyVirtualLINumber() const;
    long GetMyAbsoluteLINumber() const;
    static HRESULT GetMyInstrumentInfo(const LiId& id, KxPersistInstrumentInfo* pInfo);
    static long GetMyInstrumentNo(const LiId& id);
    static long GetMyVirtualLINumber(const LiId& id);
    static long GetMyAbsoluteLINumber(const LiId& id);

    // The component's interface registry store.
    CInterfaceList& GetInterfaceList() { return m_InterfaceList; }

    BSTR m_bstrObjectName;
    GUID ObjectGuid;
    long m_lInstanceNumber;
    BSTR m_bstrSecondName;
    InitializationState m_eInitializationState;
    long m_lReserved1;
    long m_lReserved2;
    IUnknown* m_pIUnknownSupervisor;
    IKXLinkage* m_pIKXLinkage;
    bool m_bRegisteredToLinkage;
    long m_lNavigationHandle;
    // Low 16 bits: the logical instrument number, counted from 1.
    long m_lLogicalLocation;
    long m_lIdentification;
    CInterfaceList m_InterfaceList;
};

} // namespace KxTamarind
