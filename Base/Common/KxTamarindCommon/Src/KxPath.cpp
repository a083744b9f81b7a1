// Path text, file-system helpers and path shortcuts.
#include "KxPath.h"

#include "CEmbeddedShell.h"
#include "CStlExtensions.h"
#include "KxErrorReporting.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace KxTamarind {

namespace {

const char kSource[] = "Base/Common/KxTamarindCommon/Src/KxBaseLib";

// Trees deeper than this are not descended: keeps the recursion of
// RecursiveDelDir bounded whatever the file system holds.
const int kMaxDeleteDepth = 256;

bool IsSep(wchar_t c) {
    return c == L'/' || c == L'\\';
}

std::wstring Wide(const CKxString& text) {
    const wchar_t* raw = text;
    return raw == nullptr ? std::wstring()
                          : std::wstring(raw, static_cast<std::size_t>(text.Length()));
}

// UTF-8 text of a path for POSIX; false for an empty path, one with a NUL
// inside (POSIX would silently cut it there) or one that is not valid text.
bool ToNarrowPath(const wchar_t* text, std::size_t length, std::string& narrow) {
    narrow.clear();
    if (text == nullptr || length == 0 || length > 0x7FFFFFFF) {
        return false;
    }
    for (std::size_t i = 0; i < length; ++i) {
        if (text[i] == 0) {
            return false;
        }
    }
    const int needed = WideCharToMultiByte(0, WC_ERR_INVALID_CHARS, text, static_cast<int>(length),
                                           nullptr, 0, nullptr, nullptr);
    if (needed <= 0) {
        return false;
    }
    narrow.resize(static_cast<std::size_t>(needed));
    return WideCharToMultiByte(0, WC_ERR_INVALID_CHARS, text, static_cast<int>(length), &narrow[0],
                               needed, nullptr, nullptr) == needed;
}

bool ToNarrowPath(const CKxString& path, std::string& narrow) {
    return ToNarrowPath(path, static_cast<std::size_t>(path.Length()), narrow);
}

bool ToNarrowPath(const wchar_t* path, std::string& narrow) {
    return path != nullptr && ToNarrowPath(path, std::wcslen(path), narrow);
}

void SetError(unsigned long* error, unsigned long value) {
    if (error != nullptr) {
        *error = value;
    }
}

// The shortcut table: prefix and runtime sub-directory, both created once.
struct Shortcut {
    const wchar_t* prefix;
    const wchar_t* subDirectory;
};

// The candidate selected by the second character, or null.
const Shortcut* CandidateFor(wchar_t second) {
    static const Shortcut kData = {L"@DATA", L"data"};
    static const Shortcut kKeys = {L"@KEYS", L"keys"};
    static const Shortcut kLog = {L"@LOG", L"log"};
    static const Shortcut kTemp = {L"@TEMP", L"temp"};
    static const Shortcut kUserData = {L"@UD", L"userdata"};
    switch (second) {
    case L'D':
        return &kData;
    case L'K':
        return &kKeys;
    case L'L':
        return &kLog;
    case L'T':
        return &kTemp;
    case L'U':
        return &kUserData;
    default:
        return nullptr;
    }
}

// The shortcut a path starts with (followed by its end or a separator), or
// null.
const Shortcut* MatchShortcut(const std::wstring& path) {
    if (path.size() < 3 || path[0] != L'@' || path[1] < L'D' || path[1] > L'U') {
        return nullptr;
    }
    const Shortcut* candidate = CandidateFor(path[1]);
    if (candidate == nullptr) {
        return nullptr;
    }
    const std::wstring prefix(candidate->prefix);
    if (path.compare(0, prefix.size(), prefix) != 0) {
        return nullptr;
    }
    if (path.size() == prefix.size() || IsSep(path[prefix.size()])) {
        return candidate;
    }
    return nullptr;
}

// Backslashes to "/" and every "//" after the first character reduced.
void NormaliseSeparators(std::wstring& path) {
    std::wstring out;
    out.reserve(path.size());
    for (std::size_t i = 0; i < path.size(); ++i) {
        const wchar_t c = path[i] == L'\\' ? L'/' : path[i];
        if (c == L'/' && out.size() >= 2 && out.back() == L'/') {
            continue;
        }
        out += c;
    }
    path.swap(out);
}

// Position of the last separator, or npos.
std::size_t LastSep(const std::wstring& path) {
    return path.find_last_of(L"/\\");
}

std::wstring FileNameOf(const std::wstring& path) {
    const std::size_t sep = LastSep(path);
    return sep == std::wstring::npos ? path : path.substr(sep + 1);
}

bool RemoveTree(const std::string& path, int depth) {
    struct stat info;
    if (lstat(path.c_str(), &info) != 0) {
        return errno == ENOENT;
    }
    if (!S_ISDIR(info.st_mode)) {
        // A link is removed as a link; its target is never touched.
        return S_ISLNK(info.st_mode) ? unlink(path.c_str()) == 0 : remove(path.c_str()) == 0;
    }
    if (depth >= kMaxDeleteDepth) {
        return false;
    }
    // Read the names first and close the directory before descending, so
    // that only one directory is open at any time.
    std::vector<std::string> names;
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) {
        return false;
    }
    while (struct dirent* entry = readdir(dir)) {
        const std::string name(entry->d_name);
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    closedir(dir);
    // The directory must still be the one examined above: if it was swapped
    // for a link meanwhile, the names would lead out of the tree.
    struct stat again;
    if (lstat(path.c_str(), &again) != 0 || !S_ISDIR(again.st_mode) ||
        again.st_dev != info.st_dev || again.st_ino != info.st_ino) {
        return false;
    }
    bool complete = true;
    const std::string base = path.back() == '/' ? path : path + "/";
    for (const std::string& name : names) {
        if (!RemoveTree(base + name, depth + 1)) {
            complete = false;
        }
    }
    return rmdir(path.c_str()) == 0 && complete;
}

} // namespace

// --- Separators and joining ----------------------------------------------------

const CKxString& GetSeparator() {
    static const CKxString separator(L"/");
    return separator;
}

const CKxString& GetNonSystemSeparator() {
    static const CKxString separator(L"\\");
    return separator;
}

void ConvertSeparators(CKxString& path) {
    path.Replace(GetNonSystemSeparator(), GetSeparator());
}

void DeleteTrailingSeparators(CKxString& path) {
    std::wstring text = Wide(path);
    std::size_t length = text.size();
    while (length > 1 && IsSep(text[length - 1])) {
        --length;
    }
    if (length != text.size()) {
        path = text.substr(0, length);
    }
}

void AppendSeparator(CKxString& path) {
    const std::wstring text = Wide(path);
    if (text.empty() || text.back() != L'/') {
        path = text + L"/";
    }
}

CKxString ConcatWithSeparator(const CKxString& a, const CKxString& b) {
    const std::wstring left = Wide(a);
    const std::wstring right = Wide(b);
    if (left.empty()) {
        return CKxString(right);
    }
    if (right.empty()) {
        return CKxString(left);
    }
    const bool leftSep = IsSep(left.back());
    const bool rightSep = IsSep(right.front());
    if (leftSep && rightSep) {
        return CKxString(left + right.substr(1));
    }
    if (leftSep || rightSep) {
        return CKxString(left + right);
    }
    return CKxString(left + L"/" + right);
}

// --- Normalisation ----------------------------------------------------------------

CKxString CleanPath(const CKxString& path) {
    std::wstring text = Wide(path);
    if (text.empty()) {
        return CKxString(text);
    }
    for (wchar_t& c : text) {
        if (c == L'\\') {
            c = L'/';
        }
    }
    std::wstring root;
    if (text.compare(0, 2, L"//") == 0) {
        root = L"//";
    } else if (text[0] == L'/') {
        root = L"/";
    }
    std::vector<std::wstring> parts;
    std::size_t position = root.size();
    while (position <= text.size()) {
        std::size_t next = text.find(L'/', position);
        if (next == std::wstring::npos) {
            next = text.size();
        }
        const std::wstring part = text.substr(position, next - position);
        position = next + 1;
        if (part.empty() || part == L".") {
            continue;
        }
        if (part == L"..") {
            if (!parts.empty() && parts.back() != L"..") {
                parts.pop_back();
            } else if (root.empty()) {
                parts.push_back(part);
            }
            continue;
        }
        parts.push_back(part);
    }
    std::wstring result = root;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0) {
            result += L'/';
        }
        result += parts[i];
    }
    if (result.empty()) {
        result = L".";
    }
    return CKxString(result);
}

CKxString CanonifyDir(const CKxString& path) {
    CKxString clean = CleanPath(path);
    if (clean.IsEmpty()) {
        return clean;
    }
    AppendSeparator(clean);
    return clean;
}

// --- Directories --------------------------------------------------------------------

bool MkDir(const CKxString& path) {
    if (DirExists(path)) {
        return true;
    }
    std::string narrow;
    return ToNarrowPath(path, narrow) && mkdir(narrow.c_str(), 0777) == 0;
}

bool RecursiveCreateDir(const CKxString& path, bool pathEndsWithFile) {
    std::string narrow;
    if (!ToNarrowPath(path, narrow)) {
        return false;
    }
    for (char& c : narrow) {
        if (c == '\\') {
            c = '/';
        }
    }
    std::size_t lastSep = std::string::npos;
    for (std::size_t i = 1; i < narrow.size(); ++i) {
        if (narrow[i] == '/') {
            // Errors are expected here (existing directories) and ignored;
            // the final check decides.
            (void)mkdir(narrow.substr(0, i).c_str(), 0700);
            lastSep = i;
        }
    }
    if (pathEndsWithFile) {
        if (lastSep == std::string::npos) {
            return true;
        }
        return access(narrow.substr(0, lastSep).c_str(), F_OK) == 0;
    }
    (void)mkdir(narrow.c_str(), 0700);
    return access(narrow.c_str(), F_OK) == 0;
}

bool RecursiveDelDir(const CKxString& path) {
    std::string narrow;
    if (!ToNarrowPath(path, narrow)) {
        return false;
    }
    struct stat info;
    if (lstat(narrow.c_str(), &info) != 0) {
        return false;
    }
    return RemoveTree(narrow, 0);
}

bool IsDirectory(const wchar_t* path) {
    std::string narrow;
    struct stat info;
    return ToNarrowPath(path, narrow) && stat(narrow.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool IsFileSystemObject(const wchar_t* path, unsigned long* error) {
    std::string narrow;
    if (!ToNarrowPath(path, narrow)) {
        SetError(error, EINVAL);
        return false;
    }
    struct stat info;
    if (lstat(narrow.c_str(), &info) != 0) {
        SetError(error, static_cast<unsigned long>(errno));
        return false;
    }
    SetError(error, 0);
    return true;
}

// --- Directory junctions ------------------------------------------------------------

bool IsDirectoryJunction(const wchar_t* path, wchar_t* target, unsigned long targetSize,
                         unsigned long* error) {
    if (target != nullptr && targetSize > 0) {
        target[0] = 0;
    }
    std::string narrow;
    if (!ToNarrowPath(path, narrow)) {
        SetError(error, EINVAL);
        return false;
    }
    struct stat info;
    if (lstat(narrow.c_str(), &info) != 0) {
        SetError(error, static_cast<unsigned long>(errno));
        return false;
    }
    if (!S_ISLNK(info.st_mode)) {
        SetError(error, 0);
        return false;
    }
    SetError(error, 0);
    if (target == nullptr) {
        return true;
    }
    // readlink does not tell when it cut the text: grow until it fits.
    std::string link;
    for (std::size_t size = 256; size <= 65536; size *= 2) {
        link.resize(size);
        const ssize_t count = readlink(narrow.c_str(), &link[0], size);
        if (count < 0) {
            SetError(error, static_cast<unsigned long>(errno));
            return true;
        }
        if (static_cast<std::size_t>(count) < size) {
            link.resize(static_cast<std::size_t>(count));
            break;
        }
        link.clear();
    }
    std::wstring wide;
    if (!link.empty()) {
        const int needed =
            MultiByteToWideChar(0, 0, link.c_str(), static_cast<int>(link.size()), nullptr, 0);
        wide.resize(needed > 0 ? static_cast<std::size_t>(needed) : 0);
        if (needed > 0) {
            MultiByteToWideChar(0, 0, link.c_str(), static_cast<int>(link.size()), &wide[0],
                                needed);
        }
    }
    if (wide.size() + 1 > targetSize) {
        SetError(error, ERROR_INSUFFICIENT_BUFFER);
        return true;
    }
    wide.copy(target, wide.size());
    target[wide.size()] = 0;
    return true;
}

bool CreateDirectoryJunction(const wchar_t* link, const wchar_t* target, unsigned long* error) {
    std::string narrowLink;
    std::string narrowTarget;
    if (!ToNarrowPath(link, narrowLink) || !ToNarrowPath(target, narrowTarget)) {
        SetError(error, EINVAL);
        return false;
    }
    if (symlink(narrowTarget.c_str(), narrowLink.c_str()) != 0) {
        SetError(error, static_cast<unsigned long>(errno));
        return false;
    }
    SetError(error, 0);
    return true;
}

bool RemoveDirectoryJunction(const wchar_t* link, unsigned long* error, bool onlyIfJunction) {
    std::string narrow;
    if (!ToNarrowPath(link, narrow)) {
        SetError(error, EINVAL);
        return false;
    }
    if (onlyIfJunction) {
        struct stat info;
        if (lstat(narrow.c_str(), &info) != 0) {
            SetError(error, static_cast<unsigned long>(errno));
            return false;
        }
        if (!S_ISLNK(info.st_mode)) {
            SetError(error, EINVAL);
            return false;
        }
    }
    if (unlink(narrow.c_str()) != 0) {
        SetError(error, static_cast<unsigned long>(errno));
        return false;
    }
    SetError(error, 0);
    return true;
}

// --- Predicates ----------------------------------------------------------------------

bool FileExists(const CKxString& path) {
    std::string narrow;
    struct stat info;
    return ToNarrowPath(path, narrow) && stat(narrow.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

bool DirExists(const CKxString& path) {
    std::string narrow;
    struct stat info;
    return ToNarrowPath(path, narrow) && stat(narrow.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool DirAccessible(const CKxString& path) {
    std::string narrow;
    return DirExists(path) && ToNarrowPath(path, narrow) &&
           access(narrow.c_str(), R_OK | W_OK | X_OK) == 0;
}

bool IsDot(const CKxString& name) {
    const std::wstring text = Wide(name);
    return text == L"." || text == L"..";
}

bool IsRelativePath(const CKxString& path) {
    const std::wstring text = Wide(path);
    return text.empty() || (!IsSep(text[0]) && MatchShortcut(text) == nullptr);
}

bool HasPath(const CKxString& path) {
    return LastSep(Wide(path)) != std::wstring::npos;
}

bool IsUncFormat(const CKxString& path) {
    const std::wstring text = Wide(path);
    return text.size() > 2 && IsSep(text[0]) && IsSep(text[1]) && !IsSep(text[2]);
}

bool IsDriveFormat(const CKxString& /*path*/) {
    return false;
}

// --- Name splitting -------------------------------------------------------------------

CKxString GetFilenameOfPath(const CKxString& path) {
    return CKxString(FileNameOf(Wide(path)));
}

CKxString GetPathOfFilename(const CKxString& path) {
    const std::wstring text = Wide(path);
    const std::size_t sep = LastSep(text);
    if (sep == std::wstring::npos) {
        return CKxString(std::wstring());
    }
    // A name directly below the root: the root, "/" whichever separator the
    // path used.
    return CKxString(sep == 0 ? std::wstring(L"/") : text.substr(0, sep));
}

CKxString GetBaseName(const CKxString& path) {
    const std::wstring name = FileNameOf(Wide(path));
    return CKxString(name.substr(0, name.find(L'.')));
}

CKxString GetCompleteBaseName(const CKxString& path) {
    const std::wstring name = FileNameOf(Wide(path));
    return CKxString(name.substr(0, name.rfind(L'.')));
}

CKxString GetExtension(const CKxString& path) {
    const std::wstring name = FileNameOf(Wide(path));
    const std::size_t dot = name.rfind(L'.');
    return CKxString(dot == std::wstring::npos ? std::wstring() : name.substr(dot + 1));
}

CKxString AddQuotes(const CKxString& path) {
    const std::wstring text = Wide(path);
    if (text.size() >= 2 && text.front() == L'"' && text.back() == L'"') {
        return CKxString(text);
    }
    return CKxString(L"\"" + text + L"\"");
}

// --- Runtime directories and shortcuts --------------------------------------------------

HRESULT GetRuntimeDir(const wchar_t* subDirectory, BSTR* result) {
    if (result == nullptr || subDirectory == nullptr) {
        return E_POINTER;
    }
    // Without a device table the shell would raise; a missing directory is
    // this function's ordinary failure.
    if (!CEmbeddedShell::HasDeviceCallbacks()) {
        return E_POINTER;
    }
    const std::string narrowSub = CKxString(subDirectory).ToStdString();
    const std::string directory = CEmbeddedShell::GetRuntimeDirectory(narrowSub);
    BSTR converted = nullptr;
    if (FAILED(CStlExtensions::string2bstr(converted, directory))) {
        return E_OUTOFMEMORY;
    }
    *result = converted;
    return S_OK;
}

HRESULT ReplacePathShortcuts(std::wstring& path) {
    const Shortcut* shortcut = MatchShortcut(path);
    if (shortcut != nullptr) {
        BSTR directory = nullptr;
        const HRESULT hr = GetRuntimeDir(shortcut->subDirectory, &directory);
        if (FAILED(hr)) {
            ThrowError("HResult was invalid", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr,
                       nullptr, nullptr, "", hr);
        }
        std::wstring expanded = CStlExtensions::bstr2wstring(directory);
        SysFreeString(directory);
        expanded += L'\\';
        expanded.append(path, std::wcslen(shortcut->prefix), std::wstring::npos);
        path.swap(expanded);
    }
    NormaliseSeparators(path);
    return S_OK;
}

} // namespace KxTamarind
