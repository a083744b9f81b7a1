#include "NotifyInterposer.h"

std::vector<RecordedNotification>& InterposedNotifications() {
    static std::vector<RecordedNotification> calls;
    return calls;
}

namespace KxTamarind {

// Same symbol as the library's empty sink; loaded ahead of the library, so
// the dynamic linker binds the library's calls here.
void CObjectDataReferenceBase::NotifyError(const CObjectDataReferenceBase* origin,
                                           TamarindErrorType type, TamarindErrorEvent event,
                                           const void* property, IUnknown* partner,
                                           const CAtlStringA& text) {
    InterposedNotifications().push_back({origin, static_cast<int>(type), static_cast<int>(event),
                                         property, partner, text.GetString()});
}

} // namespace KxTamarind
