#include "KxVersion.h"

namespace KxTamarind {

// The header's text as this library was built with it.
const char* GetLibraryVersion() {
    return KXTAMARIND_VERSION_STRING;
}

} // namespace KxTamarind
