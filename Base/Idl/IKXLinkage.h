// IKXLinkage: the linkage in which components register under their object
// GUID and find their partners. It is implemented outside this library; the
// positions of its operations in the table are a binary contract, the names
// are this library's. Operations whose use lies outside this library are
// declared as reserved entries so that every position stays where it is.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

struct KXTAMARIND_API IKXLinkage : public IUnknown {
    STDMETHOD(Reserved1)() = 0;
    // 2: registers an object under its GUID and navigation handle: S_OK when
    // registered, S_FALSE when the GUID is already taken, else a failure.
    STDMETHOD(RegisterObject)(GUID* pObjectGuid, long navigationHandle) = 0;
    // 3: removes the registration of a GUID.
    STDMETHOD(UnregisterObject)(GUID* pObjectGuid) = 0;
    // 4: the linkage partner registered under a GUID (one reference for the caller).
    STDMETHOD(SearchPartner)(GUID* pGuid, IUnknown** ppPartner) = 0;
    STDMETHOD(Reserved5)() = 0;
    STDMETHOD(Reserved6)() = 0;
    // 7: a partner found across levels: (GUID, level, second GUID, object, name).
    STDMETHOD(SearchFarPartner)
    (GUID* pGuid, long level, GUID* pGuid2, IUnknown** ppPartner, wchar_t** pName) = 0;
    STDMETHOD(Reserved8)() = 0;
    STDMETHOD(Reserved9)() = 0;
    STDMETHOD(Reserved10)() = 0;
    // 11: the object of a logical location.
    STDMETHOD(GetLocationObject)(long logicalLocation, long reserved, IUnknown** ppObject) = 0;
    STDMETHOD(Reserved12)() = 0;
    STDMETHOD(Reserved13)() = 0;
    // 14, 15: the partial-load flag of a navigation handle.
    STDMETHOD(SetPartialLoad)(long navigationHandle, short value) = 0;
    STDMETHOD(GetPartialLoad)(long navigationHandle, short* pValue) = 0;
};

} // namespace KxTamarind
