// IKXNotificationSink: the callback object a component registers with a
// notifier. The notifier calls Execute with a notification code, and
// DetachNotificationSink when it lets the sink go. The order of the
// operations is a binary contract with the firmware's other modules.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

struct KXTAMARIND_API IKXNotificationSink : public IUnknown {
    STDMETHOD(Execute)(long code) = 0;                // 1
    STDMETHOD(DetachNotificationSink)(long code) = 0; // 2
};

} // namespace KxTamarind

template <>
KXTAMARIND_API const GUID hold_uuidof<KxTamarind::IKXNotificationSink>::__IID;
