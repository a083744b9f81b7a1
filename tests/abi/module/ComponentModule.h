// A component module of its own: a second shared library built on the
// common base library, as the firmware's component modules are. The tests
// use it to cross the library boundary the way components do.
#pragma once

#include <KxTamarindCommon.h>

#define KXT_MODULE_API __attribute__((visibility("default")))

namespace KxModuleTest {

// A component whose class is defined in this module (lifecycle and class
// information from the library's CB* bases). The caller owns the one
// reference it gets.
KXT_MODULE_API KxTamarind::IKXComponentManagement* CreateModuleComponent();

// Raises an error through the library (ThrowError with `code`) and catches
// the CErrorObject* here; returns the caught record's code, or 0 when no
// CErrorObject* arrived.
KXT_MODULE_API long ThrowAndCatchInModule(long code);

// Raises an error through the library and lets it pass on to the caller.
[[noreturn]] KXT_MODULE_API void ThrowThroughModule(long code);

} // namespace KxModuleTest
