// kxtool path --root DIR PATH...: path shortcuts expanded by the library
// below a runtime root, as the device layer of an instrument would answer.
#include <KxTamarindCommon.h>

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "Tool.h"

namespace KxTool {

namespace {

using namespace KxTamarind;

// The shortcuts, for messages only: whether a path starts with one is the
// library's decision (IsRelativePath).
const char* const kShortcuts[] = {"@DATA", "@KEYS", "@LOG", "@TEMP", "@UD"};

// Answers runtime directories below one root.
class RootDirectories : public CEmbeddedShell::CDeviceCallbacks {
public:
    explicit RootDirectories(std::string root) : m_root(std::move(root)) {}
    std::string GetDeviceName() override { return "kxtool"; }
    std::string GetSoftwareVersion() override { return GetLibraryVersion(); }
    std::string GetSoftwareInstallationPath() override { return m_root; }
    std::string GetRuntimeDirectory(const std::string& subDirectory) override {
        return m_root == "/" ? "/" + subDirectory : m_root + "/" + subDirectory;
    }
    void SendToInformationManagement(const CErrorObject* error) override {
        std::fprintf(stderr, "kxtool: path: %s\n", error->GetAdditionalInfo().GetString());
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

// Installs the device table for the lifetime of the object.
class InstalledCallbacks {
public:
    explicit InstalledCallbacks(CEmbeddedShell::CDeviceCallbacks* callbacks) {
        CEmbeddedShell::SetEmbeddedDeviceCallbacks(callbacks);
    }
    ~InstalledCallbacks() { CEmbeddedShell::SetEmbeddedDeviceCallbacks(nullptr); }
    InstalledCallbacks(const InstalledCallbacks&) = delete;
    InstalledCallbacks& operator=(const InstalledCallbacks&) = delete;
};

std::string ShortcutList() {
    std::string list;
    for (const char* shortcut : kShortcuts) {
        list += list.empty() ? shortcut : std::string(", ") + shortcut;
    }
    return list;
}

// The message for a path that starts with "@" but with no shortcut.
std::string UnknownShortcut(const std::string& path) {
    const std::string word = path.substr(0, path.find_first_of("/\\"));
    std::string message = "unknown path shortcut '" + word + "' in '" + path + "'";
    for (const char* shortcut : kShortcuts) {
        if (strcasecmp(shortcut, word.c_str()) == 0) {
            return message + " (shortcuts are upper case: " + shortcut + ")";
        }
    }
    return message + " (shortcuts: " + ShortcutList() + ")";
}

// Paths reach POSIX as UTF-8, as the library passes them (code page 0).
bool Utf8ToWide(const std::string& text, std::wstring& wide) {
    const int n = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                      static_cast<int>(text.size()), nullptr, 0);
    if (n <= 0) {
        return false;
    }
    wide.assign(static_cast<std::size_t>(n), L'\0');
    return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                               static_cast<int>(text.size()), &wide[0], n) == n;
}

std::string WideToUtf8(const std::wstring& wide) {
    if (wide.empty()) {
        return std::string();
    }
    const int n = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                      nullptr, 0, nullptr, nullptr);
    std::string text(n > 0 ? static_cast<std::size_t>(n) : 0, '\0');
    if (n > 0) {
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), &text[0], n,
                            nullptr, nullptr);
    }
    return text;
}

} // namespace

int RunPath(int argc, char** argv) {
    std::string root;
    int first = 0;
    if (argc >= 1 && std::strncmp(argv[0], "--root=", 7) == 0) {
        root = argv[0] + 7;
        first = 1;
    } else if (argc >= 2 && std::strcmp(argv[0], "--root") == 0) {
        root = argv[1];
        first = 2;
    } else {
        return UsageError("path", "needs --root DIR first");
    }
    if (root.empty()) {
        return UsageError("path", "--root needs a directory");
    }
    if (first >= argc) {
        return UsageError("path", "needs at least one path");
    }
    while (root.size() > 1 && root.back() == '/') {
        root.pop_back();
    }
    RootDirectories directories(root);
    InstalledCallbacks installed(&directories);
    int status = kExitOk;
    for (int i = first; i < argc; ++i) {
        const std::string text = argv[i];
        if (text.empty()) {
            Complain("path", "empty path");
            status = kExitBadInput;
            continue;
        }
        std::wstring path;
        if (!Utf8ToWide(text, path)) {
            Complain("path", "not UTF-8 text: '" + text + "'");
            status = kExitBadInput;
            continue;
        }
        if (text[0] == '@' && IsRelativePath(CKxString(path))) {
            Complain("path", UnknownShortcut(text));
            status = kExitBadInput;
            continue;
        }
        try {
            ReplacePathShortcuts(path);
        } catch (CErrorObject* error) {
            Complain("path", "cannot expand '" + text + "'");
            delete error;
            status = kExitBadInput;
            continue;
        }
        std::printf("%s\n", WideToUtf8(path).c_str());
    }
    return status;
}

} // namespace KxTool
