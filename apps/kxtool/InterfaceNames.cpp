// Look-ups in the interface catalogue by identifier and by name.
#include "InterfaceNames.h"

#include <KxTamarindCommon.h>

#include <strings.h>

#include <cstring>

namespace KxTool {

namespace {

const char kUnknownName[] = "IUnknown";

const KxTamarind::KxInterfaceIdEntry* Catalogue(std::size_t& count) {
    return KxTamarind::GetInterfaceIdCatalogue(&count);
}

} // namespace

const char* InterfaceNameOf(const GUID& iid) {
    if (std::memcmp(&iid, &IID_IUnknown, sizeof(GUID)) == 0) {
        return kUnknownName;
    }
    std::size_t count = 0;
    const KxTamarind::KxInterfaceIdEntry* entries = Catalogue(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (std::memcmp(entries[i].iid, &iid, sizeof(GUID)) == 0) {
            return entries[i].name;
        }
    }
    return nullptr;
}

const IID* InterfaceIdOf(const std::string& name) {
    if (name == kUnknownName) {
        return &IID_IUnknown;
    }
    return KxTamarind::FindInterfaceId(name.c_str());
}

const char* InterfaceNameIgnoringCase(const std::string& name) {
    if (strcasecmp(name.c_str(), kUnknownName) == 0) {
        return kUnknownName;
    }
    std::size_t count = 0;
    const KxTamarind::KxInterfaceIdEntry* entries = Catalogue(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (strcasecmp(entries[i].name, name.c_str()) == 0) {
            return entries[i].name;
        }
    }
    return nullptr;
}

} // namespace KxTool
