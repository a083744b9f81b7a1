// Registering a firmware application's own info messages with its message
// component (the component offering IKXInfoControlling), and the two
// system-error messages that the start-up code registers.
//
// Finding the message component from an origin object:
//   1. the origin's IKXComponentManagement gives its linkage and its logical
//      location;
//   2. the linkage's object of the location (location & 0xFF00, 0) is the
//      firmware application's root object (the application identifier with
//      logical-instrument slot 0);
//   3. that object's interface registry (IKXInterfaceRegistration) is asked
//      for the interface published under IID_IKXInfoControlling, which is
//      then queried for IKXInfoControlling.
// When the origin is null, offers no IKXComponentManagement or has no
// linkage, the interface is looked up in the registry of the process-wide
// root (KxRoot.h) instead. An application whose root object is not found,
// or whose registry has no message component, has none: there is no
// fall-back to another application's list. Every reference taken during the
// search is released.
//
// Thread safety: as safe as the objects asked; the per-code values are
// relaxed atomics.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "IKXInfoControlling.h"

namespace KxTamarind {

// Registers `count` messages with the message component of the origin's
// firmware application (see above); the records stay the caller's.
//  - count not positive: a repaired error "iMsgCount > 0", result S_OK;
//  - messages null (count positive): E_POINTER, nothing reported;
//  - no message component: a repaired error "pIControl != __null", result
//    E_NOINTERFACE;
//  - the component does not answer S_OK: raised with ThrowError (its code);
//  - else S_OK.
// The origin is named as the partner of the reports.
KXTAMARIND_API HRESULT RegisterInfoMessages(long count, KxInfoMessageData* messages,
                                            IUnknown* origin);

// Registers the message of a system error (257 or 258: E_POINTER for any
// other code) with the message component found from the root: one record
// with the code, the value set for it (SetSysErrorValue) and its fixed
// message GUID. Returns the component's answer, or E_NOINTERFACE when no
// message component is found (nothing reported).
KXTAMARIND_API HRESULT RegisterSysError(unsigned long code);

// The value registered with a system-error code, set at start-up (default
// 0). The setter answers E_INVALIDARG for codes other than 257 and 258
// (nothing stored); the getter answers 0 for them.
KXTAMARIND_API HRESULT SetSysErrorValue(unsigned long code, long value);
KXTAMARIND_API long GetSysErrorValue(unsigned long code);

// The message GUIDs of the two system errors.
extern KXTAMARIND_API const GUID
    KX_SYSERROR_257_MESSAGE_GUID; // {E86824BE-644B-408C-B23A-162D95778DE1}
extern KXTAMARIND_API const GUID
    KX_SYSERROR_258_MESSAGE_GUID; // {62CAC29C-0E30-4CF1-A690-493DC8100195}

} // namespace KxTamarind
