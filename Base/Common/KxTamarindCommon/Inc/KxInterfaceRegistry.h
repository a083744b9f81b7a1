// Publishing an interface in an interface registry: in the registry of a
// given object (one that offers IKXInterfaceRegistration) or, when no object
// is given, in the registry of the process-wide root (KxRoot.h).
//
// The registry takes its own reference on the published pointer and its own
// copy of the name; the caller keeps its own. E_POINTER means that no
// interface registry could be reached (no root set, or the object offers
// none) or that the iid is null; nothing is changed then. Otherwise the
// registry's answer is returned. Thread safety: as safe as the registry.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

// Publishes `unknown` under *iid with `name` in the registry of `registry`
// (null: the root's).
KXTAMARIND_API HRESULT KxRegisterInterface(IUnknown* registry, IUnknown* unknown, GUID const* iid,
                                           wchar_t* name);
KXTAMARIND_API HRESULT KxRegisterInterface(IUnknown* unknown, GUID const* iid, wchar_t* name);

// Removes the first record published under *iid from the registry of
// `registry` (null: the root's): S_OK, or S_FALSE when none was published.
KXTAMARIND_API HRESULT KxUnregisterInterface(IUnknown* registry, GUID const* iid);
KXTAMARIND_API HRESULT KxUnregisterInterface(GUID const* iid);

} // namespace KxTamarind
