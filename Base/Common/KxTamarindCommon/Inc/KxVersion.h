// Version of the library, for logs and compatibility checks.
#pragma once

#include "KxExport.h"

namespace KxTamarind {

// "major.minor.patch" of the library the process actually loaded.
KXTAMARIND_API const char* GetLibraryVersion();

} // namespace KxTamarind
