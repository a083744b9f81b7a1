// The library's own error-notification sink, alone in its unit so that every
// caller reaches it through the dynamic symbol table: an error manager loaded
// ahead of this library defines the same symbol and receives the calls.
#include "CObjectDataReferenceBase.h"

namespace KxTamarind {

void CObjectDataReferenceBase::NotifyError(const CObjectDataReferenceBase* /*origin*/,
                                           TamarindErrorType /*type*/, TamarindErrorEvent /*event*/,
                                           const void* /*property*/, IUnknown* /*partner*/,
                                           const CAtlStringA& /*text*/) {}

} // namespace KxTamarind
