// Version of the library, for logs and compatibility checks.
//
// KxTamarindVersion.h gives the version of these headers at compile time
// (KXTAMARIND_VERSION_MAJOR/MINOR/PATCH, the combined KXTAMARIND_VERSION and
// KXTAMARIND_VERSION_STRING); GetLibraryVersion() the version of the library
// the process loaded, which may be a later compatible one.
#pragma once

#include "KxExport.h"
#include "KxTamarindVersion.h"

namespace KxTamarind {

// "major.minor.patch" of the library the process actually loaded; a string
// constant of the library, valid as long as it is loaded.
KXTAMARIND_API const char* GetLibraryVersion();

} // namespace KxTamarind
