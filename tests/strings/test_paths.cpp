// Path helpers: separators, normalisation, name splitting, shortcut expansion
// with a fake device, and directory creation and removal in a temporary
// folder (symbolic links inside a deleted tree must survive as targets).
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "CEmbeddedShell.h"
#include "CErrorObject.h"
#include "KxErrorReporting.h"
#include "KxPath.h"

using namespace KxTamarind;

// Entries the file system refuses to remove (for root too): this remove()
// takes the place of the C library's for the library under test, refuses
// names that end in "/stuck" while g_refuseStuck is set and hands every
// other call on.
static std::atomic<bool> g_refuseStuck{false};

extern "C" int remove(const char* path) {
    using RemoveFn = int (*)(const char*);
    static const auto next = reinterpret_cast<RemoveFn>(dlsym(RTLD_NEXT, "remove"));
    const std::size_t n = path != nullptr ? std::strlen(path) : 0;
    if (g_refuseStuck && n >= 6 && std::strcmp(path + n - 6, "/stuck") == 0) {
        errno = EPERM;
        return -1;
    }
    return next(path);
}

namespace {

std::wstring W(const CKxString& s) {
    return s.ToStdWString();
}

std::wstring Widen(const std::string& s) {
    return CKxString(s).ToStdWString();
}

bool Exists(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

bool IsDir(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

void WriteFile(const std::string& path, const char* text) {
    FILE* f = std::fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr) << path;
    std::fputs(text, f);
    std::fclose(f);
}

// A temporary folder removed at the end of the test (with plain POSIX calls,
// not with the code under test).
class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/kxpath_XXXXXX";
        const char* made = mkdtemp(pattern);
        path = made != nullptr ? made : "";
    }
    ~TempDir() {
        if (!path.empty()) {
            const std::string command = "rm -rf '" + path + "'";
            if (std::system(command.c_str()) != 0) {
                std::fprintf(stderr, "could not remove %s\n", path.c_str());
            }
        }
    }
    std::string path;
};

// Answers runtime directories below a root folder; everything else is unused.
class FakeDevice : public CEmbeddedShell::CDeviceCallbacks {
public:
    explicit FakeDevice(std::string root) : m_root(std::move(root)) {}
    std::vector<std::string> asked;

    std::string GetDeviceName() override { return "dev"; }
    std::string GetSoftwareVersion() override { return "1"; }
    std::string GetSoftwareInstallationPath() override { return m_root; }
    std::string GetRuntimeDirectory(const std::string& sub) override {
        asked.push_back(sub);
        return m_root + "/" + sub;
    }
    void SendToInformationManagement(const CErrorObject*) override {}
    void TraceThreadMessage(const char*, const char*, int, const wchar_t*) override {}
    HRESULT ExecuteScpiSave(long, short&) override { return E_NOTIMPL; }
    HRESULT ExecuteScpiRecall(long, short&) override { return E_NOTIMPL; }
    HRESULT ExecuteScpiReset(short&) override { return E_NOTIMPL; }
    HRESULT ExecuteScpiPreset(short&) override { return E_NOTIMPL; }
    HRESULT AnnounceScpiError(short, const CComBSTR&, const CComBSTR&) override {
        return E_NOTIMPL;
    }
    HRESULT ShutdownDevice() override { return S_OK; }
    HRESULT RebootDevice(long) override { return S_OK; }

private:
    std::string m_root;
};

// Installs a fake device for the scope of a test.
class DeviceScope {
public:
    explicit DeviceScope(CEmbeddedShell::CDeviceCallbacks* device) {
        CEmbeddedShell::SetEmbeddedDeviceCallbacks(device);
    }
    ~DeviceScope() { CEmbeddedShell::SetEmbeddedDeviceCallbacks(nullptr); }
};

std::wstring Expanded(std::wstring path) {
    EXPECT_EQ(ReplacePathShortcuts(path), S_OK);
    return path;
}

} // namespace

TEST(PathSeparators, ConvertDeleteAppendConcat) {
    CKxString p(L"a\\b\\c/d");
    ConvertSeparators(p);
    EXPECT_EQ(W(p), L"a/b/c/d");
    EXPECT_EQ(W(GetSeparator()), L"/");
    EXPECT_EQ(W(GetNonSystemSeparator()), L"\\");

    const struct {
        const wchar_t* in;
        const wchar_t* out;
    } trailing[] = {{L"/", L"/"}, {L"\\", L"\\"}, {L"abc//", L"abc"}, {L"a\\/", L"a"},
                    {L"", L""},   {L"///", L"/"}, {L"a/b", L"a/b"},   {L"/a/", L"/a"}};
    for (const auto& t : trailing) {
        CKxString s(t.in);
        DeleteTrailingSeparators(s);
        EXPECT_EQ(W(s), t.out) << t.in;
    }

    CKxString empty(L"");
    AppendSeparator(empty);
    EXPECT_EQ(W(empty), L"/");
    CKxString dir(L"a");
    AppendSeparator(dir);
    AppendSeparator(dir);
    EXPECT_EQ(W(dir), L"a/");

    EXPECT_EQ(W(ConcatWithSeparator(L"a", L"b")), L"a/b");
    EXPECT_EQ(W(ConcatWithSeparator(L"a/", L"/b")), L"a/b");
    EXPECT_EQ(W(ConcatWithSeparator(L"a/", L"b")), L"a/b");
    EXPECT_EQ(W(ConcatWithSeparator(L"a", L"\\b")), L"a\\b");
    EXPECT_EQ(W(ConcatWithSeparator(L"", L"b")), L"b");
    EXPECT_EQ(W(ConcatWithSeparator(L"a", L"")), L"a");
}

TEST(PathNormalise, CleanPathRules) {
    const struct {
        const wchar_t* in;
        const wchar_t* out;
    } cases[] = {
        {L"", L""},
        {L".", L"."},
        {L"..", L".."},
        {L"/", L"/"},
        {L"/..", L"/"},
        {L"/../a", L"/a"},
        {L"a\\\\b//c", L"a/b/c"},
        {L"a/./b/.", L"a/b"},
        {L"a/../b", L"b"},
        {L"a/..", L"."},
        {L"../a", L"../a"},
        {L"../../a/../b", L"../../b"},
        {L"a/../../b", L"../b"},
        {L"/a/b/../../..", L"/"},
        {L"a/b/", L"a/b"},
        {L"//server/share/../x", L"//server/x"},
        {L"///a", L"//a"},
        {L"\\\\srv\\x", L"//srv/x"},
        {L"./", L"."},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(W(CleanPath(CKxString(c.in))), c.out) << c.in;
    }
}

TEST(PathNormalise, CanonifyDirEndsWithOneSeparator) {
    EXPECT_EQ(W(CanonifyDir(L"a/b")), L"a/b/");
    EXPECT_EQ(W(CanonifyDir(L"a//b//")), L"a/b/");
    EXPECT_EQ(W(CanonifyDir(L"/")), L"/");
    EXPECT_EQ(W(CanonifyDir(L"/..")), L"/");
    EXPECT_EQ(W(CanonifyDir(L".")), L"./");
    EXPECT_EQ(W(CanonifyDir(L"../x/./")), L"../x/");
    // An empty path never becomes the root.
    EXPECT_EQ(W(CanonifyDir(L"")), L"");
    EXPECT_EQ(W(CanonifyDir(CKxString())), L"");
}

TEST(PathNames, PredicatesAndSplitters) {
    EXPECT_TRUE(IsDot(L"."));
    EXPECT_TRUE(IsDot(L".."));
    EXPECT_FALSE(IsDot(L"..."));
    EXPECT_FALSE(IsDot(L""));
    EXPECT_TRUE(IsRelativePath(L"a/b"));
    EXPECT_TRUE(IsRelativePath(L""));
    EXPECT_FALSE(IsRelativePath(L"/a"));
    EXPECT_FALSE(IsRelativePath(L"\\a"));
    EXPECT_FALSE(IsRelativePath(L"@LOG/x"));
    EXPECT_TRUE(IsRelativePath(L"@LOGS/x"));
    EXPECT_TRUE(HasPath(L"a\\b"));
    EXPECT_FALSE(HasPath(L"ab"));
    EXPECT_TRUE(IsUncFormat(L"//server/share"));
    EXPECT_TRUE(IsUncFormat(L"\\\\server"));
    EXPECT_FALSE(IsUncFormat(L"/server"));
    EXPECT_FALSE(IsUncFormat(L"///"));
    EXPECT_FALSE(IsDriveFormat(L"C:\\x"));

    EXPECT_EQ(W(GetFilenameOfPath(L"dir/archive.tar.gz")), L"archive.tar.gz");
    EXPECT_EQ(W(GetFilenameOfPath(L"dir\\f")), L"f");
    EXPECT_EQ(W(GetFilenameOfPath(L"dir/")), L"");
    EXPECT_EQ(W(GetPathOfFilename(L"dir/sub/archive.tar.gz")), L"dir/sub");
    EXPECT_EQ(W(GetPathOfFilename(L"/x")), L"/");
    EXPECT_EQ(W(GetPathOfFilename(L"x")), L"");
    EXPECT_EQ(W(GetBaseName(L"d.x/archive.tar.gz")), L"archive");
    EXPECT_EQ(W(GetCompleteBaseName(L"d.x/archive.tar.gz")), L"archive.tar");
    EXPECT_EQ(W(GetExtension(L"d.x/archive.tar.gz")), L"gz");
    EXPECT_EQ(W(GetExtension(L"d.x/archive")), L"");
    EXPECT_EQ(W(GetCompleteBaseName(L"archive")), L"archive");
    EXPECT_EQ(W(GetBaseName(L".profile")), L"");
    EXPECT_EQ(W(GetExtension(L".profile")), L"profile");
    EXPECT_EQ(W(AddQuotes(L"a b")), L"\"a b\"");
    EXPECT_EQ(W(AddQuotes(L"\"q\"")), L"\"q\"");
    EXPECT_EQ(W(AddQuotes(L"\"")), L"\"\"\"");
    EXPECT_EQ(W(AddQuotes(L"")), L"\"\"");
}

// A backslash as the only separator, at the start, was handed back as the
// directory instead of the root "/".
TEST(PathNames, PathOfFilenameBelowBackslashRootIsRoot) {
    const struct {
        const wchar_t* path;
        const wchar_t* directory;
    } cases[] = {
        {L"\\x", L"/"},      {L"\\", L"/"},     {L"/", L"/"},
        {L"\\a\\b", L"\\a"}, {L"\\\\s", L"\\"}, {L"//s", L"/"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.path)));
        EXPECT_EQ(W(GetPathOfFilename(c.path)), c.directory);
    }
}

TEST(PathShortcuts, ExpandWithFakeDevice) {
    TempDir temp;
    ASSERT_FALSE(temp.path.empty());
    FakeDevice device(temp.path);
    DeviceScope scope(&device);
    const std::wstring root = Widen(temp.path);

    EXPECT_EQ(Expanded(L"@LOG/a.txt"), root + L"/log/a.txt");
    EXPECT_EQ(Expanded(L"@DATA\\x\\y"), root + L"/data/x/y");
    EXPECT_EQ(Expanded(L"@KEYS/k"), root + L"/keys/k");
    EXPECT_EQ(Expanded(L"@TEMP"), root + L"/temp/");
    EXPECT_EQ(Expanded(L"@UD"), root + L"/userdata/");
    EXPECT_EQ(device.asked, (std::vector<std::string>{"log", "data", "keys", "temp", "userdata"}));

    device.asked.clear();
    EXPECT_EQ(Expanded(L"@LOGS/x"), L"@LOGS/x");
    EXPECT_EQ(Expanded(L"@data\\x"), L"@data/x");
    EXPECT_EQ(Expanded(L"@UDX"), L"@UDX");
    EXPECT_EQ(Expanded(L"@Ux"), L"@Ux");
    EXPECT_EQ(Expanded(L"@A/x"), L"@A/x");
    EXPECT_EQ(Expanded(L"x/@LOG/y"), L"x/@LOG/y");
    EXPECT_TRUE(device.asked.empty());

    EXPECT_EQ(Expanded(L"a\\\\b//c"), L"a/b/c");
    EXPECT_EQ(Expanded(L"//srv//x"), L"//srv/x");
    EXPECT_EQ(Expanded(L"\\\\\\x"), L"//x");
    EXPECT_EQ(Expanded(L""), L"");
}

TEST(PathShortcuts, GetRuntimeDirResults) {
    BSTR dir = nullptr;
    EXPECT_EQ(GetRuntimeDir(L"log", nullptr), E_POINTER);
    // No device table: an ordinary failure, no raised error.
    EXPECT_EQ(GetRuntimeDir(L"log", &dir), E_POINTER);
    EXPECT_EQ(dir, nullptr);
    FakeDevice device("/fw");
    DeviceScope scope(&device);
    EXPECT_EQ(GetRuntimeDir(nullptr, &dir), E_POINTER);
    ASSERT_EQ(GetRuntimeDir(L"data", &dir), S_OK);
    EXPECT_EQ(std::wstring(dir), L"/fw/data");
    SysFreeString(dir);
}

TEST(PathShortcuts, MissingRuntimeDirectoryRaises) {
    std::wstring path(L"@DATA/x");
    std::unique_ptr<CErrorObject> raised;
    try {
        ReplacePathShortcuts(path);
    } catch (CErrorObject* error) {
        raised.reset(error);
    }
    ASSERT_NE(raised, nullptr);
    EXPECT_STREQ(static_cast<const char*>(raised->GetCondition()), "HResult was invalid");
    EXPECT_EQ(raised->GetErrorCode(), static_cast<long>(E_POINTER));
    EXPECT_STREQ(static_cast<const char*>(raised->GetFileName()),
                 "Base/Common/KxTamarindCommon/Src/KxBaseLib");
    EXPECT_EQ(path, L"@DATA/x");
}

TEST(PathDirectories, MkDirAndRecursiveCreate) {
    TempDir temp;
    ASSERT_FALSE(temp.path.empty());
    const std::string one = temp.path + "/one";
    EXPECT_TRUE(MkDir(CKxString(one)));
    EXPECT_TRUE(IsDir(one));
    EXPECT_TRUE(MkDir(CKxString(one)));
    EXPECT_FALSE(MkDir(CKxString(temp.path + "/missing/child")));

    const std::string file = temp.path + "/x/y/z.txt";
    EXPECT_TRUE(RecursiveCreateDir(CKxString(file), true));
    EXPECT_TRUE(IsDir(temp.path + "/x"));
    EXPECT_TRUE(IsDir(temp.path + "/x/y"));
    EXPECT_FALSE(Exists(file));

    const std::string deep = temp.path + "\\a/b\\c";
    EXPECT_TRUE(RecursiveCreateDir(CKxString(deep), false));
    EXPECT_TRUE(IsDir(temp.path + "/a/b/c"));
    EXPECT_TRUE(RecursiveCreateDir(CKxString(temp.path + "/a/b/c/"), false));
    EXPECT_TRUE(RecursiveCreateDir(CKxString("nofile.txt"), true));

    // A file in the way makes the creation fail.
    WriteFile(temp.path + "/blocker", "x");
    EXPECT_FALSE(RecursiveCreateDir(CKxString(temp.path + "/blocker/sub/f"), true));
    EXPECT_FALSE(RecursiveCreateDir(CKxString(), false));
    // A NUL inside a path is refused, not cut short.
    EXPECT_FALSE(MkDir(CKxString(std::wstring(L"/tmp\0x", 6))));

    EXPECT_TRUE(DirExists(CKxString(one)));
    EXPECT_TRUE(DirAccessible(CKxString(one)));
    EXPECT_FALSE(FileExists(CKxString(one)));
    EXPECT_TRUE(FileExists(CKxString(temp.path + "/blocker")));
    EXPECT_FALSE(DirExists(CKxString(temp.path + "/blocker")));
    EXPECT_TRUE(IsDirectory(CKxString(one)));
    EXPECT_FALSE(IsDirectory(nullptr));
    unsigned long error = 1;
    EXPECT_TRUE(IsFileSystemObject(CKxString(one), &error));
    EXPECT_EQ(error, 0u);
    EXPECT_FALSE(IsFileSystemObject(CKxString(temp.path + "/none"), &error));
    EXPECT_EQ(error, static_cast<unsigned long>(ENOENT));
}

TEST(PathDirectories, RecursiveDeleteNeverLeavesTheTree) {
    TempDir temp;
    ASSERT_FALSE(temp.path.empty());
    const std::string outside = temp.path + "/outside";
    ASSERT_EQ(mkdir(outside.c_str(), 0700), 0);
    WriteFile(outside + "/keep.txt", "keep");
    ASSERT_EQ(mkdir((outside + "/inner").c_str(), 0700), 0);
    WriteFile(outside + "/inner/keep2.txt", "keep");
    WriteFile(temp.path + "/lonely.txt", "keep");

    const std::string tree = temp.path + "/tree";
    ASSERT_TRUE(RecursiveCreateDir(CKxString(tree + "/a/b/c"), false));
    WriteFile(tree + "/a/f1", "1");
    WriteFile(tree + "/a/b/c/f2", "2");
    ASSERT_EQ(symlink(outside.c_str(), (tree + "/a/dirlink").c_str()), 0);
    ASSERT_EQ(symlink((temp.path + "/lonely.txt").c_str(), (tree + "/a/b/filelink").c_str()), 0);
    ASSERT_EQ(symlink("/nonexistent/target", (tree + "/dangling").c_str()), 0);

    EXPECT_TRUE(RecursiveDelDir(CKxString(tree)));
    EXPECT_FALSE(Exists(tree));
    EXPECT_TRUE(Exists(outside + "/keep.txt"));
    EXPECT_TRUE(Exists(outside + "/inner/keep2.txt"));
    EXPECT_TRUE(Exists(temp.path + "/lonely.txt"));

    EXPECT_FALSE(RecursiveDelDir(CKxString(tree)));
    EXPECT_FALSE(RecursiveDelDir(CKxString()));

    // A path that is itself a link to a directory: the link goes, the
    // directory stays.
    const std::string topLink = temp.path + "/toplink";
    ASSERT_EQ(symlink(outside.c_str(), topLink.c_str()), 0);
    EXPECT_TRUE(RecursiveDelDir(CKxString(topLink + "")));
    EXPECT_FALSE(Exists(topLink));
    EXPECT_TRUE(Exists(outside + "/inner/keep2.txt"));
}

TEST(PathDirectories, RecursiveDeleteReportsWhatRemains) {
    TempDir temp;
    ASSERT_FALSE(temp.path.empty());
    const std::string tree = temp.path + "/tree";
    ASSERT_TRUE(RecursiveCreateDir(CKxString(tree + "/a/b"), false));
    ASSERT_TRUE(RecursiveCreateDir(CKxString(tree + "/z"), false));
    WriteFile(tree + "/a/b/stuck", "x");
    WriteFile(tree + "/a/f", "x");
    WriteFile(tree + "/z/g", "x");
    g_refuseStuck = true;
    EXPECT_FALSE(RecursiveDelDir(CKxString(tree)));
    g_refuseStuck = false;
    // Everything else went; the refused entry and the folders holding it stay.
    EXPECT_TRUE(Exists(tree + "/a/b/stuck"));
    EXPECT_FALSE(Exists(tree + "/a/f"));
    EXPECT_FALSE(Exists(tree + "/z"));
    EXPECT_TRUE(RecursiveDelDir(CKxString(tree)));
    EXPECT_FALSE(Exists(tree));
}

TEST(PathJunctions, CreateInspectRemove) {
    TempDir temp;
    ASSERT_FALSE(temp.path.empty());
    const std::wstring target = Widen(temp.path + "/target");
    const std::wstring link = Widen(temp.path + "/link");
    ASSERT_EQ(mkdir((temp.path + "/target").c_str(), 0700), 0);
    unsigned long error = 99;
    EXPECT_TRUE(CreateDirectoryJunction(link.c_str(), target.c_str(), &error));
    EXPECT_EQ(error, 0u);
    EXPECT_FALSE(CreateDirectoryJunction(link.c_str(), target.c_str(), &error));
    EXPECT_EQ(error, static_cast<unsigned long>(EEXIST));

    wchar_t buffer[512];
    EXPECT_TRUE(IsDirectoryJunction(link.c_str(), buffer, 512, &error));
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(std::wstring(buffer), target);
    EXPECT_TRUE(IsDirectoryJunction(link.c_str()));
    wchar_t small[4];
    EXPECT_TRUE(IsDirectoryJunction(link.c_str(), small, 4, &error));
    EXPECT_EQ(error, static_cast<unsigned long>(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(small[0], 0);
    EXPECT_FALSE(IsDirectoryJunction(target.c_str(), buffer, 512, &error));
    EXPECT_TRUE(IsDirectory(link.c_str()));

    EXPECT_FALSE(RemoveDirectoryJunction(target.c_str(), &error));
    EXPECT_EQ(error, static_cast<unsigned long>(EINVAL));
    EXPECT_TRUE(RemoveDirectoryJunction(link.c_str(), &error));
    EXPECT_EQ(error, 0u);
    EXPECT_FALSE(Exists(temp.path + "/link"));
    EXPECT_TRUE(IsDir(temp.path + "/target"));
    EXPECT_FALSE(RemoveDirectoryJunction(link.c_str(), &error));
    EXPECT_EQ(error, static_cast<unsigned long>(ENOENT));
}

TEST(PathDirectories, RecursiveDeleteStopsAtTheDepthBound) {
    TempDir temp;
    ASSERT_FALSE(temp.path.empty());
    // 300 nested levels: deeper than the walk descends.
    std::string deepest = temp.path + "/deep";
    for (int i = 0; i < 300; ++i) {
        deepest += "/d";
    }
    ASSERT_TRUE(RecursiveCreateDir(CKxString(deepest), false));
    WriteFile(deepest + "/f", "x");
    EXPECT_FALSE(RecursiveDelDir(CKxString(temp.path + "/deep")));
    EXPECT_TRUE(Exists(deepest + "/f"));
    // A tree within the bound goes completely.
    std::string shallow = temp.path + "/shallow";
    for (int i = 0; i < 200; ++i) {
        shallow += "/d";
    }
    ASSERT_TRUE(RecursiveCreateDir(CKxString(shallow), false));
    WriteFile(shallow + "/f", "x");
    EXPECT_TRUE(RecursiveDelDir(CKxString(temp.path + "/shallow")));
    EXPECT_FALSE(Exists(temp.path + "/shallow"));
}
