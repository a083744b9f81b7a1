// kxtool guid new|parse and kxtool iid: identifiers, and the interfaces of
// the catalogue they name.
#include <KxTamarindCommon.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "InterfaceNames.h"
#include "Tool.h"

namespace KxTool {

namespace {

using KxTamarind::CComGUID;
using KxTamarind::CStlExtensions;

bool ReadCount(const char* text, long& count) {
    if (text[0] < '0' || text[0] > '9' || std::strlen(text) > 5) {
        return false;
    }
    char* end = nullptr;
    count = std::strtol(text, &end, 10);
    return *end == '\0' && count >= 1 && count <= 10000;
}

int GuidNew(int argc, char** argv) {
    if (argc > 1) {
        return UsageError("guid", "new takes at most one count");
    }
    long count = 1;
    if (argc == 1 && !ReadCount(argv[0], count)) {
        Complain("guid", "not a count from 1 to 10000: '" + std::string(argv[0]) + "'");
        return kExitBadInput;
    }
    for (long i = 0; i < count; ++i) {
        CComGUID guid;
        const HRESULT hr = guid.Create();
        if (FAILED(hr)) {
            Complain("guid", "cannot make an identifier (" +
                                 std::to_string(static_cast<unsigned long>(hr)) + ")");
            return kExitBadInput;
        }
        std::printf("%s\n", guid.ToString().c_str());
    }
    return kExitOk;
}

int GuidParse(int argc, char** argv) {
    if (argc < 1) {
        return UsageError("guid", "parse needs at least one text");
    }
    int status = kExitOk;
    for (int i = 0; i < argc; ++i) {
        CComGUID guid;
        if (!guid.FromString(argv[i])) {
            Complain("guid", "not an identifier: '" + std::string(argv[i]) + "'");
            status = kExitBadInput;
            continue;
        }
        const GUID g = guid;
        std::printf("%s Data1=0x%08X Data2=0x%04X Data3=0x%04X "
                    "Data4=%02X%02X%02X%02X%02X%02X%02X%02X",
                    guid.ToString().c_str(), static_cast<unsigned>(g.Data1), g.Data2, g.Data3,
                    g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5],
                    g.Data4[6], g.Data4[7]);
        if (const char* name = InterfaceNameOf(g)) {
            std::printf(" interface=%s", name);
        }
        std::printf("\n");
    }
    return status;
}

} // namespace

int RunGuid(int argc, char** argv) {
    if (argc >= 1 && std::strcmp(argv[0], "new") == 0) {
        return GuidNew(argc - 1, argv + 1);
    }
    if (argc >= 1 && std::strcmp(argv[0], "parse") == 0) {
        return GuidParse(argc - 1, argv + 1);
    }
    return UsageError("guid", argc < 1 ? "needs 'new' or 'parse'"
                                       : "unknown subcommand '" + std::string(argv[0]) + "'");
}

int RunIid(int argc, char** argv) {
    if (argc < 1) {
        return UsageError("iid", "needs a name, an identifier or --list");
    }
    if (std::strcmp(argv[0], "--list") == 0) {
        if (argc != 1) {
            return UsageError("iid", "--list takes no names");
        }
        std::size_t count = 0;
        const KxTamarind::KxInterfaceIdEntry* entries = KxTamarind::GetInterfaceIdCatalogue(&count);
        for (std::size_t i = 0; i < count; ++i) {
            std::printf("%s %s\n", CStlExtensions::GUID2String(*entries[i].iid).c_str(),
                        entries[i].name);
        }
        return kExitOk;
    }
    int status = kExitOk;
    for (int i = 0; i < argc; ++i) {
        const std::string text = argv[i];
        CComGUID guid;
        if (guid.FromString(text)) {
            const char* name = InterfaceNameOf(guid);
            if (name == nullptr) {
                Complain("iid", "no interface of the catalogue has the identifier " +
                                    guid.ToString() + " ('" + text + "')");
                status = kExitBadInput;
                continue;
            }
            std::printf("%s %s\n", guid.ToString().c_str(), name);
            continue;
        }
        if (const IID* iid = InterfaceIdOf(text)) {
            std::printf("%s %s\n", CStlExtensions::GUID2String(*iid).c_str(), text.c_str());
            continue;
        }
        std::string message = "no interface named '" + text + "'";
        if (const char* suggestion = InterfaceNameIgnoringCase(text)) {
            message += std::string(" (did you mean ") + suggestion + "?)";
        } else {
            message += " (see: kxtool iid --list)";
        }
        Complain("iid", message);
        status = kExitBadInput;
    }
    return status;
}

} // namespace KxTool
