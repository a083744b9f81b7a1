// The thread name that error records carry (library-internal).
#pragma once

#include <platcompat.h>

namespace KxTamarind {

// The calling thread as error records name it: "%d: %s" with the id and the
// name of a thread of the global pool, else "%d" with the id.
CAtlStringA CurrentThreadNameForErrors();

} // namespace KxTamarind
