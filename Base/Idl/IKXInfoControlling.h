// IKXInfoControlling: the message component of a firmware application. It
// keeps the list of the application's own info messages (codes, values and
// message GUIDs) that the information management can show; components add
// their messages to it at start-up. The order of the operations is a binary
// contract with the firmware's other modules.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

// One info message to be registered: a plain record passed by value in
// arrays; it owns nothing.
struct KxInfoMessageData {
    long MessageCode;  // the application-specific message number
    long MessageValue; // a value that goes with the code (e.g. a severity)
    GUID MessageGuid;  // identity of the message across applications
};

struct KXTAMARIND_API IKXInfoControlling : public IUnknown {
    // Adds `count` records from `pMessages` to the application's message
    // list; the records are copied, the array stays the caller's.
    STDMETHOD(RegisterMessages)(long count, KxInfoMessageData* pMessages) = 0; // 1
};

} // namespace KxTamarind

template <>
KXTAMARIND_API const GUID hold_uuidof<KxTamarind::IKXInfoControlling>::__IID;
