// Finding the linkage partners of an object, and the description of the
// instrument an object belongs to.
//
// The linkage (IKXLinkage) knows every registered object by its GUID. The
// search functions reach an object's linkage through its
// IKXComponentManagement (or, for the far search of a null object, through
// the root's) and ask it. Partners handed out carry one reference for the
// caller.
//
// The instrument functions describe one fixed instrument: this firmware
// runs on a single instrument without virtual or numbered logical
// instruments, so the key they take is not consulted.
//
// Failures: missing pointers are E_POINTER results or, where the object
// itself cannot be navigated, raised with ThrowError (a heap CErrorObject*
// with code E_POINTER). Thread safety: as safe as the linkage they call.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <cstdint>

namespace KxTamarind {

struct IKXLinkage;
struct LiId;

// The persistent description of an instrument: nine 32-bit fields in this
// order (the layout is shared with the device layer).
struct KxPersistInstrumentInfo {
    int32_t InstrumentType;     // kind of instrument (0: the base instrument)
    int32_t InstrumentFamily;   // family code of the instrument
    int32_t InstrumentNo;       // -1: no instrument number assigned
    int32_t Options;            // option bits
    int32_t VirtualLINumber;    // -1: no virtual logical instrument
    int32_t AbsoluteLINumber;   // -1: no absolute logical instrument number
    int32_t Flags;              // state bits
    int32_t ParentInstrumentNo; // -1: no parent instrument
    int32_t InstrumentCount;    // number of instruments described
};

// The partner registered under *pGuid in `pLinkage` (its answer is
// returned). Any null argument: E_POINTER.
KXTAMARIND_API HRESULT SearchLinkagePartner(IKXLinkage* pLinkage, GUID* pGuid,
                                            IUnknown** ppPartner);
// The same through the linkage of `pObject`. Raises "pICM == NULL" when the
// object is null or has no IKXComponentManagement, "pIKXLinkage == NULL"
// when it has no linkage (both E_POINTER).
KXTAMARIND_API HRESULT SearchLinkagePartner(IUnknown* pObject, GUID* pGuid, IUnknown** ppPartner);

// A partner found across levels of the object tree (the linkage's far
// search with (pGuid, level, pGuid2, ppPartner, no name)); its answer is
// returned. A null `pObject` searches through the root's linkage: no root
// gives E_POINTER. Raises like SearchLinkagePartner when the object (or the
// root) has no IKXComponentManagement or no linkage.
KXTAMARIND_API HRESULT SearchFarLinkagePartner(IUnknown* pObject, GUID* pGuid, long level,
                                               GUID* pGuid2, IUnknown** ppPartner);
KXTAMARIND_API HRESULT SearchFarLinkagePartner(IUnknown* pObject, GUID* pGuid, long level,
                                               IUnknown** ppPartner);

// Objects have no parent search in the linkage: always S_FALSE, nothing
// handed out.
KXTAMARIND_API HRESULT SearchParent(IUnknown* pObject, GUID* pGuid, GUID* pGuid2,
                                    IUnknown** ppParent);

// Fills *pInfo with the fixed description (0, 6, -1, 0, -1, -1, 0, -1, 1);
// a null pInfo is allowed. Always S_OK.
KXTAMARIND_API HRESULT GetInstrumentInfo(const LiId& id, KxPersistInstrumentInfo* pInfo);
KXTAMARIND_API HRESULT GetInstrumentInfo(long logicalLocation, KxPersistInstrumentInfo* pInfo);
// No instrument or logical-instrument numbers exist: always -1.
KXTAMARIND_API long GetInstrumentNo(const LiId& id);
KXTAMARIND_API long GetInstrumentNo(long logicalLocation);
KXTAMARIND_API long GetVirtualLINumber(const LiId& id);
KXTAMARIND_API long GetVirtualLINumber(long logicalLocation);
KXTAMARIND_API long GetAbsoluteLINumber(const LiId& id);
KXTAMARIND_API long GetAbsoluteLINumber(long logicalLocation);

} // namespace KxTamarind
