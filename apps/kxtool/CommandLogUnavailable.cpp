// kxtool log in a build without an XML parser for the target (expat is not
// installed for every architecture).
#include "Tool.h"

namespace KxTool {

int RunLog(int /*argc*/, char** /*argv*/) {
    Complain("log", "not available: this kxtool was built without expat");
    return kExitUsage;
}

} // namespace KxTool
