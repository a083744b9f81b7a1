// Version of the library, for logs and compatibility checks.
#pragma once

namespace KxTamarind {

// "major.minor.patch" of the library the process actually loaded.
const char* GetLibraryVersion();

} // namespace KxTamarind
