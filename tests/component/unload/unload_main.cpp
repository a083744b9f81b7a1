// The root still set when the library is unloaded is released exactly once,
// also when the shell released it itself before.
//
// This program does not link the library: it opens it with dlopen from its
// build path (KXT_LIBRARY_PATH) and reaches SetRoot and ReleaseRoot through
// their mangled names, so that dlclose really unloads it.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <atomic>
#include <cstring>

#include <platcompat.h>

#ifndef KXT_LIBRARY_PATH
#error "KXT_LIBRARY_PATH must name the library file to load"
#endif

namespace {

// KxTamarind::SetRoot(IUnknown*) and KxTamarind::ReleaseRoot().
const char kSetRootSymbol[] = "_ZN10KxTamarind7SetRootEP8IUnknown";
const char kReleaseRootSymbol[] = "_ZN10KxTamarind11ReleaseRootEv";

// {E4F67E3F-13A0-11D5-99E4-00C04F306F62}: the interface registry the root
// is queried for.
const GUID kInterfaceRegistrationId = {
    0xE4F67E3F, 0x13A0, 0x11D5, {0x99, 0xE4, 0x00, 0xC0, 0x4F, 0x30, 0x6F, 0x62}};

// A root that counts its references; it answers the registry's identifier
// with itself.
class CountingRoot : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        if (std::memcmp(&riid, &kInterfaceRegistrationId, sizeof(GUID)) == 0) {
            AddRef();
            *ppv = this;
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(refs.fetch_add(1, std::memory_order_relaxed) + 1);
    }
    ULONG STDMETHODCALLTYPE Release() override {
        releases.fetch_add(1, std::memory_order_relaxed);
        return static_cast<ULONG>(refs.fetch_sub(1, std::memory_order_relaxed) - 1);
    }
    std::atomic<long> refs{0};
    std::atomic<long> releases{0};
};

typedef void (*SetRootFunction)(IUnknown*);
typedef void (*ReleaseRootFunction)();

void* OpenLibrary() {
    void* library = dlopen(KXT_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(library, nullptr) << dlerror();
    return library;
}

// Closes the library and checks that it is really gone from the process.
void CloseLibrary(void* library) {
    ASSERT_EQ(dlclose(library), 0) << dlerror();
    void* still = dlopen(KXT_LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(still, nullptr) << "the library stayed loaded after dlclose";
    if (still != nullptr) {
        dlclose(still);
    }
}

} // namespace

// The roots are static: should the library stay loaded after a failed
// check, a later SetRoot in the same process may still release them.
TEST(RootUnload, RootStillSetIsReleasedOnceAtUnload) {
    static CountingRoot root;
    void* library = OpenLibrary();
    ASSERT_NE(library, nullptr);
    auto setRoot = reinterpret_cast<SetRootFunction>(dlsym(library, kSetRootSymbol));
    ASSERT_NE(setRoot, nullptr) << dlerror();

    setRoot(&root);
    EXPECT_EQ(root.refs.load(), 1);
    EXPECT_EQ(root.releases.load(), 0);

    CloseLibrary(library);
    EXPECT_EQ(root.releases.load(), 1);
    EXPECT_EQ(root.refs.load(), 0);
}

TEST(RootUnload, RootReleasedBeforeUnloadIsNotReleasedAgain) {
    static CountingRoot root;
    void* library = OpenLibrary();
    ASSERT_NE(library, nullptr);
    auto setRoot = reinterpret_cast<SetRootFunction>(dlsym(library, kSetRootSymbol));
    auto releaseRoot = reinterpret_cast<ReleaseRootFunction>(dlsym(library, kReleaseRootSymbol));
    ASSERT_NE(setRoot, nullptr);
    ASSERT_NE(releaseRoot, nullptr);

    setRoot(&root);
    releaseRoot();
    EXPECT_EQ(root.releases.load(), 1);
    EXPECT_EQ(root.refs.load(), 0);

    CloseLibrary(library);
    EXPECT_EQ(root.releases.load(), 1);
    EXPECT_EQ(root.refs.load(), 0);
}

TEST(RootUnload, ReplacedRootIsReleasedOnceAndTheLastOneAtUnload) {
    static CountingRoot first;
    static CountingRoot second;
    void* library = OpenLibrary();
    ASSERT_NE(library, nullptr);
    auto setRoot = reinterpret_cast<SetRootFunction>(dlsym(library, kSetRootSymbol));
    ASSERT_NE(setRoot, nullptr);

    setRoot(&first);
    setRoot(&second);
    EXPECT_EQ(first.releases.load(), 1);
    EXPECT_EQ(first.refs.load(), 0);

    CloseLibrary(library);
    EXPECT_EQ(first.releases.load(), 1);
    EXPECT_EQ(second.releases.load(), 1);
    EXPECT_EQ(second.refs.load(), 0);
}
