// Path text functions of KxPath.h (nothing that touches the file system):
// ReplacePathShortcuts, CleanPath, CanonifyDir, ConvertSeparators,
// DeleteTrailingSeparators, AppendSeparator, ConcatWithSeparator, the name
// splitters, AddQuotes and the predicates.
//
// The runtime directory that a shortcut expands to comes from the input
// too (a device table answers it), so expansion meets non-ASCII, invalid
// UTF-8, separators and empty directories. Checked:
// - ReplacePathShortcuts equals a reference written from its rule (expand a
//   leading shortcut followed by the end or a separator, backslashes to
//   "/", then reduce "//" after the first character until none is left),
//   and is idempotent;
// - CleanPath has no backslash, no "//" but a leading one, no "." or
//   misplaced ".." component, no trailing separator but the root; it is
//   idempotent and ignores a trailing "/", "/." or "/name/.."; CanonifyDir
//   is CleanPath with one trailing "/";
// - every other function equals a one-line reference of its contract.
#include <platcompat.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <string>
#include <vector>

#include "CEmbeddedShell.h"
#include "FuzzCheck.h"
#include "FuzzText.h"
#include "KxPath.h"
#include "ReferenceText.h"

using KxFuzz::Chars;
using KxFuzz::Holds;
using KxTamarind::CKxString;

namespace {

// A device table that answers `s_runtimeRoot` + "/" + sub-directory for
// every runtime directory; the rest is never called by the path functions.
class RuntimeDirectories : public KxTamarind::CEmbeddedShell::CDeviceCallbacks {
public:
    std::string root;

    std::string GetDeviceName() override { return "fuzz"; }
    std::string GetSoftwareVersion() override { return "0"; }
    std::string GetSoftwareInstallationPath() override { return "/"; }
    std::string GetRuntimeDirectory(const std::string& subDirectory) override {
        return root + subDirectory;
    }
    void SendToInformationManagement(const KxTamarind::CErrorObject*) override {}
    void TraceThreadMessage(const char*, const char*, int, const wchar_t*) override {}
    HRESULT ExecuteScpiSave(long, short&) override { return S_OK; }
    HRESULT ExecuteScpiRecall(long, short&) override { return S_OK; }
    HRESULT ExecuteScpiReset(short&) override { return S_OK; }
    HRESULT ExecuteScpiPreset(short&) override { return S_OK; }
    HRESULT AnnounceScpiError(short, const CComBSTR&, const CComBSTR&) override { return S_OK; }
    HRESULT ShutdownDevice() override { return S_OK; }
    HRESULT RebootDevice(long) override { return S_OK; }
};

RuntimeDirectories& Device() {
    static RuntimeDirectories* device = [] {
        auto* d = new RuntimeDirectories;
        KxTamarind::CEmbeddedShell::SetEmbeddedDeviceCallbacks(d);
        return d;
    }();
    return *device;
}

bool IsSep(wchar_t c) {
    return c == L'/' || c == L'\\';
}

struct Shortcut {
    const wchar_t* prefix;
    const char* subDirectory;
};

// The shortcut the path starts with, followed by its end or a separator.
const Shortcut* RefShortcut(const std::wstring& path) {
    static const Shortcut kTable[] = {{L"@DATA", "data"},
                                      {L"@KEYS", "keys"},
                                      {L"@LOG", "log"},
                                      {L"@TEMP", "temp"},
                                      {L"@UD", "userdata"}};
    if (path.size() < 3) {
        return nullptr;
    }
    for (const Shortcut& s : kTable) {
        const std::wstring prefix(s.prefix);
        if (path.compare(0, prefix.size(), prefix) == 0 &&
            (path.size() == prefix.size() || IsSep(path[prefix.size()]))) {
            return &s;
        }
    }
    return nullptr;
}

std::wstring RefNormalise(std::wstring path) {
    for (wchar_t& c : path) {
        if (c == L'\\') {
            c = L'/';
        }
    }
    for (std::size_t at = path.find(L"//", 1); at != std::wstring::npos; at = path.find(L"//", 1)) {
        path.erase(at, 1);
    }
    return path;
}

std::wstring RefReplacePathShortcuts(const std::wstring& path) {
    const Shortcut* shortcut = RefShortcut(path);
    if (shortcut == nullptr) {
        return RefNormalise(path);
    }
    // The directory reaches the path through code page 0, up to its NUL.
    const std::string directory = std::string((Device().root + shortcut->subDirectory).c_str());
    bool valid = true;
    const std::wstring wideDirectory = KxFuzz::DecodeUtf8(directory, valid);
    return RefNormalise(wideDirectory + L"\\" + path.substr(std::wcslen(shortcut->prefix)));
}

std::vector<std::wstring> Components(const std::wstring& path) {
    std::vector<std::wstring> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find(L'/', start);
        if (end == std::wstring::npos) {
            end = path.size();
        }
        parts.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

void CheckCleanPath(const std::wstring& path) {
    const CKxString clean = KxTamarind::CleanPath(CKxString(path));
    const std::wstring c = Chars(clean);
    FUZZ_CHECK(c.empty() == path.empty(), "CleanPath is empty exactly for an empty path");
    if (c.empty()) {
        return;
    }
    FUZZ_CHECK(c.find(L'\\') == std::wstring::npos, "CleanPath leaves no backslash");
    FUZZ_CHECK(c.find(L"//", 1) == std::wstring::npos, "CleanPath leaves no inner //");
    const bool absolute = c[0] == L'/';
    const bool root = c == L"/" || c == L"//";
    FUZZ_CHECK(root || c.back() != L'/', "CleanPath leaves no trailing separator");
    if (!root) {
        const std::size_t rootLength = c.compare(0, 2, L"//") == 0 ? 2 : absolute ? 1 : 0;
        const std::vector<std::wstring> parts = Components(c.substr(rootLength));
        bool named = false;
        for (const std::wstring& part : parts) {
            FUZZ_CHECK(!part.empty(), "CleanPath leaves no empty component");
            FUZZ_CHECK(part != L"." || c == L".", "CleanPath leaves no '.' component");
            if (part == L"..") {
                FUZZ_CHECK(!absolute, "an absolute CleanPath has no '..'");
                FUZZ_CHECK(!named, "'..' never follows a name");
            } else {
                named = true;
            }
        }
    }
    FUZZ_CHECK(Holds(KxTamarind::CleanPath(clean), c), "CleanPath is idempotent");
    const bool oneSeparator = path.size() == 1 && IsSep(path[0]);
    if (!oneSeparator) {
        FUZZ_CHECK(Holds(KxTamarind::CleanPath(CKxString(path + L"/")), c),
                   "a trailing separator changes nothing");
        FUZZ_CHECK(Holds(KxTamarind::CleanPath(CKxString(path + L"/.")), c),
                   "a trailing '/.' changes nothing");
        FUZZ_CHECK(Holds(KxTamarind::CleanPath(CKxString(path + L"\\name/..")), c),
                   "a trailing 'name/..' changes nothing");
    }
    const std::wstring dir = Chars(KxTamarind::CanonifyDir(CKxString(path)));
    FUZZ_CHECK(dir == (c.back() == L'/' ? c : c + L"/"), "CanonifyDir = CleanPath + one '/'");
}

std::wstring FileName(const std::wstring& path) {
    const std::size_t sep = path.find_last_of(L"/\\");
    return sep == std::wstring::npos ? path : path.substr(sep + 1);
}

void CheckSplitters(const std::wstring& path) {
    const CKxString p(path);
    const std::wstring name = FileName(path);
    const std::size_t sep = path.find_last_of(L"/\\");
    FUZZ_CHECK(Holds(KxTamarind::GetFilenameOfPath(p), name), "GetFilenameOfPath");
    const std::wstring dir = sep == std::wstring::npos ? L""
                             : sep == 0                ? L"/"
                                                       : path.substr(0, sep);
    FUZZ_CHECK(Holds(KxTamarind::GetPathOfFilename(p), dir), "GetPathOfFilename");
    FUZZ_CHECK(Holds(KxTamarind::GetBaseName(p), name.substr(0, name.find(L'.'))), "GetBaseName");
    const std::size_t dot = name.rfind(L'.');
    FUZZ_CHECK(Holds(KxTamarind::GetCompleteBaseName(p), name.substr(0, dot)),
               "GetCompleteBaseName");
    FUZZ_CHECK(
        Holds(KxTamarind::GetExtension(p), dot == std::wstring::npos ? L"" : name.substr(dot + 1)),
        "GetExtension");
    const bool quoted = path.size() >= 2 && path.front() == L'"' && path.back() == L'"';
    FUZZ_CHECK(Holds(KxTamarind::AddQuotes(p), quoted ? path : L"\"" + path + L"\""), "AddQuotes");
    FUZZ_CHECK(KxTamarind::IsDot(p) == (path == L"." || path == L".."), "IsDot");
    FUZZ_CHECK(KxTamarind::HasPath(p) == (sep != std::wstring::npos), "HasPath");
    FUZZ_CHECK(KxTamarind::IsUncFormat(p) ==
                   (path.size() > 2 && IsSep(path[0]) && IsSep(path[1]) && !IsSep(path[2])),
               "IsUncFormat");
    FUZZ_CHECK(!KxTamarind::IsDriveFormat(p), "IsDriveFormat");
    FUZZ_CHECK(KxTamarind::IsRelativePath(p) ==
                   (path.empty() || (!IsSep(path[0]) && RefShortcut(path) == nullptr)),
               "IsRelativePath");
}

void CheckSeparators(const std::wstring& a, const std::wstring& b) {
    {
        CKxString p(a);
        KxTamarind::ConvertSeparators(p);
        std::wstring expected = a;
        for (wchar_t& c : expected) {
            if (c == L'\\') {
                c = L'/';
            }
        }
        FUZZ_CHECK(Holds(p, expected), "ConvertSeparators");
    }
    {
        CKxString p(a);
        KxTamarind::DeleteTrailingSeparators(p);
        std::size_t length = a.size();
        while (length > 1 && IsSep(a[length - 1])) {
            --length;
        }
        FUZZ_CHECK(Holds(p, a.substr(0, length)), "DeleteTrailingSeparators");
    }
    {
        CKxString p(a);
        KxTamarind::AppendSeparator(p);
        FUZZ_CHECK(Holds(p, !a.empty() && a.back() == L'/' ? a : a + L"/"), "AppendSeparator");
    }
    std::wstring joined;
    if (a.empty() || b.empty()) {
        joined = a + b;
    } else if (IsSep(a.back()) && IsSep(b.front())) {
        joined = a + b.substr(1);
    } else if (IsSep(a.back()) || IsSep(b.front())) {
        joined = a + b;
    } else {
        joined = a + L"/" + b;
    }
    FUZZ_CHECK(Holds(KxTamarind::ConcatWithSeparator(CKxString(a), CKxString(b)), joined),
               "ConcatWithSeparator");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    Device().root = in.ConsumeRandomLengthString(24) + "/";
    const std::wstring path = KxFuzz::ConsumeWide(in, 256);
    const std::wstring other = KxFuzz::ConsumeWide(in, 64);

    std::wstring expanded = path;
    FUZZ_CHECK(KxTamarind::ReplacePathShortcuts(expanded) == S_OK, "ReplacePathShortcuts: S_OK");
    FUZZ_CHECK(expanded == RefReplacePathShortcuts(path), "ReplacePathShortcuts = reference");
    std::wstring again = expanded;
    KxTamarind::ReplacePathShortcuts(again);
    FUZZ_CHECK(again == expanded || RefShortcut(expanded) != nullptr,
               "ReplacePathShortcuts is idempotent (unless the directory starts with a shortcut)");

    CheckCleanPath(path);
    CheckSplitters(path);
    CheckSeparators(path, other);
    return 0;
}
