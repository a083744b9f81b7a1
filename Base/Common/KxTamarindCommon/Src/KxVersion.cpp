#include "KxVersion.h"

namespace KxTamarind {

const char* GetLibraryVersion() { return KXT_VERSION_STRING; }

} // namespace KxTamarind
