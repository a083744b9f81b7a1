// The process-wide root object: the object at the top of the firmware's
// object tree, whose interface registry (IKXInterfaceRegistration) is the
// registry of last resort for the whole system.
//
// The component shell sets the root at start-up and releases it at
// shut-down; when the library is unloaded a root that is still set is
// released then. The root pointer holds one reference on the root's
// IKXInterfaceRegistration. It is an atomic pointer that every change
// exchanges, so a root is released exactly once even when SetRoot,
// ReleaseRoot and the unload race; callers still set and release it only at
// start-up and shut-down. A root object that dies before the library is
// unloaded (or the process ends) must be released with ReleaseRoot first.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

struct IKXInterfaceRegistration;

// Makes `root` the root: queries it for IKXInterfaceRegistration (the
// reference obtained stays with the library), then releases the previous
// root. A null `root` does nothing (the old root stays). A root that does
// not offer the interface leaves no root set.
KXTAMARIND_API void SetRoot(IUnknown* root);
// *ppRegistry = null, then, when a root is set, its interface registry (one
// reference for the caller). A null ppRegistry does nothing.
KXTAMARIND_API void GetRoot(IKXInterfaceRegistration** ppRegistry);
// Clears the root pointer, then releases the old root (nothing when none is
// set).
KXTAMARIND_API void ReleaseRoot();

} // namespace KxTamarind
