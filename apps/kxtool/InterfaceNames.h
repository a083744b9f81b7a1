// Interface names by identifier: the library's catalogue of the framework's
// interfaces, plus IUnknown with the platform's identifier.
//
// Pointers returned point into constant tables; safe from any thread.
#pragma once

#include <platcompat.h>

#include <string>

namespace KxTool {

// The name of the interface with this identifier, or null.
const char* InterfaceNameOf(const GUID& iid);
// The identifier of the interface with this exact name, or null.
const IID* InterfaceIdOf(const std::string& name);
// The catalogue name equal to `name` when case is ignored, or null: the
// suggestion for a name typed in the wrong case.
const char* InterfaceNameIgnoringCase(const std::string& name);

} // namespace KxTool
