#include "KxErrorThreadName.h"

#include "CThreadPool.h"

namespace KxTamarind {

// Error records name the thread they arose on: a pool thread by its id and
// name, any other thread by its id.
CAtlStringA CurrentThreadNameForErrors() {
    DWORD threadId = GetCurrentThreadId();
    CAtlStringA name;
    CThread* thread = GetGlobalThreadPool()->GetThreadById(static_cast<long>(threadId));
    if (thread != nullptr) {
        name.Format("%d: %s", static_cast<int>(threadId), thread->GetThreadName().c_str());
    } else {
        name.Format("%d", static_cast<int>(threadId));
    }
    return name;
}

} // namespace KxTamarind
