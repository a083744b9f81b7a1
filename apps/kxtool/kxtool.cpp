// kxtool: a companion for firmware developers reading logs.
//
//   kxtool hresult CODE...          result codes with their symbolic names
//   kxtool guid new [COUNT]         new identifiers
//   kxtool guid parse TEXT...       identifier text, checked and normalised
//   kxtool iid NAME...              identifiers of interfaces by name
//   kxtool iid --list               the whole interface catalogue
//   kxtool path --root DIR PATH...  paths with shortcuts (@DATA, @LOG, ...)
//                                   expanded below the runtime root DIR
//
// Exit status: 0 ok, 1 bad input (with a message on standard error), 2 bad
// usage.
#include <KxTamarindCommon.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace KxTamarind;

constexpr int kOk = 0;
constexpr int kBadInput = 1;
constexpr int kBadUsage = 2;

const char kUsage[] = "usage: kxtool hresult CODE...\n"
                      "       kxtool guid new [COUNT]\n"
                      "       kxtool guid parse TEXT...\n"
                      "       kxtool iid NAME...\n"
                      "       kxtool iid --list\n"
                      "       kxtool path --root DIR PATH...\n"
                      "CODE is hexadecimal with 0x (0x8007000E) or decimal (-2147024882).\n";

int Usage(const char* problem) {
    if (problem != nullptr) {
        std::fprintf(stderr, "kxtool: %s\n", problem);
    }
    std::fputs(kUsage, stderr);
    return kBadUsage;
}

// A 32-bit result code written in hexadecimal (0x...) or decimal.
bool ParseCode(const char* text, long& code) {
    errno = 0;
    char* end = nullptr;
    const bool hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (hex) {
        const unsigned long long value = std::strtoull(text + 2, &end, 16);
        if (text[2] == '\0' || *end != '\0' || errno != 0 || value > 0xFFFFFFFFull) {
            return false;
        }
        code = static_cast<long>(static_cast<std::int32_t>(static_cast<std::uint32_t>(value)));
        return true;
    }
    const long long value = std::strtoll(text, &end, 10);
    if (text[0] == '\0' || *end != '\0' || errno != 0 || value < INT32_MIN ||
        value > static_cast<long long>(UINT32_MAX)) {
        return false;
    }
    code = static_cast<long>(static_cast<std::int32_t>(static_cast<std::uint32_t>(value)));
    return true;
}

int Hresult(int argc, char** argv) {
    if (argc < 1) {
        return Usage("hresult needs at least one code");
    }
    int status = kOk;
    for (int i = 0; i < argc; ++i) {
        long code = 0;
        if (!ParseCode(argv[i], code)) {
            std::fprintf(stderr, "kxtool: not a result code: '%s'\n", argv[i]);
            status = kBadInput;
            continue;
        }
        CAtlStringA text;
        AppendResultCodeText(text, code);
        std::printf("%s\n", text.GetString());
    }
    return status;
}

int Guid(int argc, char** argv) {
    if (argc < 1) {
        return Usage("guid needs 'new' or 'parse'");
    }
    if (std::strcmp(argv[0], "new") == 0) {
        if (argc > 2) {
            return Usage("guid new takes at most one count");
        }
        long count = 1;
        if (argc == 2) {
            char* end = nullptr;
            count = std::strtol(argv[1], &end, 10);
            if (argv[1][0] == '\0' || *end != '\0' || count < 1 || count > 10000) {
                std::fprintf(stderr, "kxtool: not a count from 1 to 10000: '%s'\n", argv[1]);
                return kBadInput;
            }
        }
        for (long i = 0; i < count; ++i) {
            CComGUID guid;
            guid.Create();
            std::printf("%s\n", guid.ToString().c_str());
        }
        return kOk;
    }
    if (std::strcmp(argv[0], "parse") == 0) {
        if (argc < 2) {
            return Usage("guid parse needs at least one text");
        }
        int status = kOk;
        for (int i = 1; i < argc; ++i) {
            CComGUID guid;
            if (!guid.FromString(argv[i])) {
                std::fprintf(stderr, "kxtool: not an identifier: '%s'\n", argv[i]);
                status = kBadInput;
                continue;
            }
            const GUID g = guid;
            std::printf("%s Data1=0x%08X Data2=0x%04X Data3=0x%04X "
                        "Data4=%02X%02X%02X%02X%02X%02X%02X%02X\n",
                        guid.ToString().c_str(), static_cast<unsigned>(g.Data1), g.Data2, g.Data3,
                        g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5],
                        g.Data4[6], g.Data4[7]);
        }
        return status;
    }
    return Usage("guid needs 'new' or 'parse'");
}

int Iid(int argc, char** argv) {
    if (argc < 1) {
        return Usage("iid needs a name or --list");
    }
    if (std::strcmp(argv[0], "--list") == 0) {
        if (argc != 1) {
            return Usage("iid --list takes no names");
        }
        std::size_t count = 0;
        const KxInterfaceIdEntry* entries = GetInterfaceIdCatalogue(&count);
        for (std::size_t i = 0; i < count; ++i) {
            std::printf("%s %s\n", CStlExtensions::GUID2String(*entries[i].iid).c_str(),
                        entries[i].name);
        }
        return kOk;
    }
    int status = kOk;
    for (int i = 0; i < argc; ++i) {
        const IID* iid = FindInterfaceId(argv[i]);
        if (iid == nullptr) {
            std::fprintf(stderr, "kxtool: no interface named '%s' (see: kxtool iid --list)\n",
                         argv[i]);
            status = kBadInput;
            continue;
        }
        std::printf("%s %s\n", CStlExtensions::GUID2String(*iid).c_str(), argv[i]);
    }
    return status;
}

// Answers runtime directories below one root, as the device layer would.
class RootDirectories : public CEmbeddedShell::CDeviceCallbacks {
public:
    explicit RootDirectories(std::string root) : m_root(std::move(root)) {}
    std::string GetDeviceName() override { return "kxtool"; }
    std::string GetSoftwareVersion() override { return GetLibraryVersion(); }
    std::string GetSoftwareInstallationPath() override { return m_root; }
    std::string GetRuntimeDirectory(const std::string& subDirectory) override {
        return m_root + "/" + subDirectory;
    }
    void SendToInformationManagement(const CErrorObject* error) override {
        std::fprintf(stderr, "kxtool: %s\n", error->GetAdditionalInfo().GetString());
    }
    void TraceThreadMessage(const char*, const char*, int, const wchar_t*) override {}
    HRESULT ExecuteScpiSave(long, short&) override { return E_NOTIMPL; }
    HRESULT ExecuteScpiRecall(long, short&) override { return E_NOTIMPL; }
    HRESULT ExecuteScpiReset(short&) override { return E_NOTIMPL; }
    HRESULT ExecuteScpiPreset(short&) override { return E_NOTIMPL; }
    HRESULT AnnounceScpiError(short, const CComBSTR&, const CComBSTR&) override {
        return E_NOTIMPL;
    }
    HRESULT ShutdownDevice() override { return S_OK; }
    HRESULT RebootDevice(long) override { return E_NOTIMPL; }

private:
    std::string m_root;
};

int Path(int argc, char** argv) {
    if (argc < 3 || std::strcmp(argv[0], "--root") != 0) {
        return Usage("path needs --root DIR and at least one path");
    }
    std::string root = argv[1];
    while (root.size() > 1 && root.back() == '/') {
        root.pop_back();
    }
    RootDirectories directories(root);
    CEmbeddedShell::SetEmbeddedDeviceCallbacks(&directories);
    int status = kOk;
    for (int i = 2; i < argc; ++i) {
        CKxString wide(argv[i]);
        std::wstring path = wide.ToStdWString();
        try {
            ReplacePathShortcuts(path);
        } catch (CErrorObject* error) {
            std::fprintf(stderr, "kxtool: cannot expand '%s'\n", argv[i]);
            delete error;
            status = kBadInput;
            continue;
        }
        std::printf("%s\n", CKxString(path).ToStdString().c_str());
    }
    CEmbeddedShell::SetEmbeddedDeviceCallbacks(nullptr);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    // Line by line, so that results and messages interleave in input order.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (argc < 2) {
        return Usage(nullptr);
    }
    const char* command = argv[1];
    if (std::strcmp(command, "--help") == 0 || std::strcmp(command, "-h") == 0) {
        std::fputs(kUsage, stdout);
        return kOk;
    }
    if (std::strcmp(command, "hresult") == 0) {
        return Hresult(argc - 2, argv + 2);
    }
    if (std::strcmp(command, "guid") == 0) {
        return Guid(argc - 2, argv + 2);
    }
    if (std::strcmp(command, "iid") == 0) {
        return Iid(argc - 2, argv + 2);
    }
    if (std::strcmp(command, "path") == 0) {
        return Path(argc - 2, argv + 2);
    }
    return Usage("unknown command");
}
