#include "KxRoot.h"

#include <atomic>

#include "IKXInterfaceRegistration.h"

namespace KxTamarind {

namespace {

// One reference on the root's IKXInterfaceRegistration, or null. Every
// change is an exchange: whoever takes a pointer out releases it, so no
// reference is released twice.
std::atomic<IUnknown*> s_pRoot{nullptr};

void ReleaseTaken(IUnknown* taken) {
    if (taken != nullptr) {
        taken->Release();
    }
}

// Releases a root still set when the library is unloaded (static objects of
// a shared library are destroyed at dlclose and at process exit).
struct RootReleaseAtUnload {
    RootReleaseAtUnload() = default;
    RootReleaseAtUnload(const RootReleaseAtUnload&) = delete;
    RootReleaseAtUnload& operator=(const RootReleaseAtUnload&) = delete;
    ~RootReleaseAtUnload() {
        try {
            ReleaseRoot();
        } catch (...) {
            // A root's Release that throws must not end the unload.
        }
    }
};
RootReleaseAtUnload s_RootReleaseAtUnload;

} // namespace

void SetRoot(IUnknown* root) {
    if (root == nullptr) {
        return;
    }
    IUnknown* old = s_pRoot.exchange(nullptr);
    void* registry = nullptr;
    if (FAILED(root->QueryInterface(__uuidof(IKXInterfaceRegistration), &registry))) {
        registry = nullptr;
    }
    // Another root set meanwhile is displaced and released here, not lost.
    ReleaseTaken(s_pRoot.exchange(static_cast<IUnknown*>(registry)));
    ReleaseTaken(old);
}

void GetRoot(IKXInterfaceRegistration** ppRegistry) {
    if (ppRegistry == nullptr) {
        return;
    }
    *ppRegistry = nullptr;
    IUnknown* root = s_pRoot.load();
    if (root != nullptr) {
        void* registry = nullptr;
        if (SUCCEEDED(root->QueryInterface(__uuidof(IKXInterfaceRegistration), &registry))) {
            *ppRegistry = static_cast<IKXInterfaceRegistration*>(registry);
        }
    }
}

void ReleaseRoot() {
    ReleaseTaken(s_pRoot.exchange(nullptr));
}

} // namespace KxTamarind
