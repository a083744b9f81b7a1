// The root still set when the library is unloaded is released exactly once,
// also when the shell replaced or released it itself before.
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

// A root that counts its references; it answers the interface registry's
// identifier {E4F67E3F-13A0-11D5-99E4-00C04F306F62} with itself.
class CountingRoot : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        const GUID registry = {
            0xE4F67E3F, 0x13A0, 0x11D5, {0x99, 0xE4, 0, 0xC0, 0x4F, 0x30, 0x6F, 0x62}};
        *ppv = std::memcmp(&riid, &registry, sizeof(GUID)) == 0 ? this : nullptr;
        return *ppv != nullptr ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++refs); }
    ULONG STDMETHODCALLTYPE Release() override {
        ++releases;
        return static_cast<ULONG>(--refs);
    }
    std::atomic<long> refs{0}, releases{0};
};

// Each scenario loads the library, sets two roots (the second replacing the
// first) or one, possibly releases it, and unloads the library: every root
// set ends with exactly one release. The roots are static: should the
// library stay loaded after a failed check, a later SetRoot in this process
// may still release them.
TEST(RootUnload, EveryRootSetIsReleasedExactlyOnce) {
    static CountingRoot roots[3][2];
    for (int scenario = 0; scenario < 3; ++scenario) {
        SCOPED_TRACE(scenario); // 0: one root, 1: replaced, 2: released before unload
        void* library = dlopen(KXT_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        auto setRoot = reinterpret_cast<void (*)(IUnknown*)>(
            dlsym(library, "_ZN10KxTamarind7SetRootEP8IUnknown"));
        auto releaseRoot =
            reinterpret_cast<void (*)()>(dlsym(library, "_ZN10KxTamarind11ReleaseRootEv"));
        ASSERT_TRUE(setRoot != nullptr && releaseRoot != nullptr) << dlerror();
        CountingRoot* const root = roots[scenario];
        setRoot(&root[0]);
        EXPECT_EQ(root[0].refs.load(), 1);
        if (scenario == 1) {
            setRoot(&root[1]);
            EXPECT_EQ(root[0].releases.load(), 1);
        }
        if (scenario == 2) {
            releaseRoot();
        }
        ASSERT_EQ(dlclose(library), 0) << dlerror();
        void* still = dlopen(KXT_LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD);
        EXPECT_EQ(still, nullptr) << "the library stayed loaded after dlclose";
        for (int i = 0; i < (scenario == 1 ? 2 : 1); ++i) {
            EXPECT_EQ(std::make_pair(root[i].releases.load(), root[i].refs.load()),
                      std::make_pair(1L, 0L));
        }
    }
}

} // namespace
