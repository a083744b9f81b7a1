// IKXInterfaceEnumeration: walks the records of an interface registry by
// position. Next hands out records that the caller owns (one reference and
// the name each); an enumerator whose registry changed answers S_FALSE until
// Reset. The order of the operations is a binary contract with the
// firmware's other modules.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "KxIdentificationData.h"

namespace KxTamarind {

struct KXTAMARIND_API IKXInterfaceEnumeration : public IUnknown {
    STDMETHOD(Next)(long celt, long* pFetched, InterfaceIdentificationData* pArray) = 0; // 1
    STDMETHOD(Skip)(long celt) = 0;                                                      // 2
    STDMETHOD(Reset)() = 0;                                                              // 3
    STDMETHOD(Clone)(IKXInterfaceEnumeration** ppEnum) = 0;                              // 4
};

} // namespace KxTamarind

template <>
KXTAMARIND_API const GUID hold_uuidof<KxTamarind::IKXInterfaceEnumeration>::__IID;
