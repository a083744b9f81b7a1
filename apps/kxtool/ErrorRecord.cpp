// Field access of an error-log record.
#include "ErrorRecord.h"

#include <cstring>

namespace KxTool {

bool ErrorRecord::HasField(const char* name) const {
    for (const auto& item : fields) {
        if (item.first == name) {
            return true;
        }
    }
    return false;
}

const std::string& ErrorRecord::Find(const Items& items, const char* name) {
    static const std::string kEmpty;
    for (const auto& item : items) {
        if (item.first == name) {
            return item.second;
        }
    }
    return kEmpty;
}

} // namespace KxTool
