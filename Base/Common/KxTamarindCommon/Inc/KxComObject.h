// CKxComObject: IUnknown for a concrete component, from the list of the
// interfaces it exposes.
//
//     class CMyComponent : public CBComponentManagement, public CBCoClassInfo { ... };
//     typedef CKxComObject<CMyComponent, IKXComponentManagement, IKXCoClassInfo>
//         CMyComponentObject;
//     CMyComponentObject* object = CMyComponentObject::Create(...); // one reference
//
// Contract:
// - QueryInterface answers IID_IUnknown with the first listed interface
//   (the object's identity: always the same pointer) and __uuidof(I) of each
//   listed interface with that interface's sub-object, each with one added
//   reference; any other identifier answers E_NOINTERFACE with *ppv null; a
//   null ppv answers E_POINTER.
// - AddRef/Release count references; the last Release deletes the object.
//   The final overriders here serve every IUnknown sub-object of the
//   component, however many CB* bases bring one.
// - Create(args...) constructs the component with `args` and returns it
//   with one reference (the caller's), or null when memory is exhausted; an
//   exception from the component's constructor propagates.
// Thread safety: AddRef, Release and QueryInterface may be called from any
// thread; the component's own operations keep their own rules.
#pragma once

#include <platcompat.h>

#include <atomic>
#include <new>
#include <type_traits>
#include <utility>

namespace KxTamarind {

template <class Base, class FirstInterface, class... Interfaces>
class CKxComObject final : public Base {
    static_assert(std::is_base_of<IUnknown, FirstInterface>::value &&
                      (std::is_base_of<IUnknown, Interfaces>::value && ...),
                  "every listed interface derives from IUnknown");
    static_assert(std::is_base_of<FirstInterface, Base>::value &&
                      (std::is_base_of<Interfaces, Base>::value && ...),
                  "the component implements every listed interface");

public:
    template <class... Args>
    static CKxComObject* Create(Args&&... args) {
        CKxComObject* object = new (std::nothrow) CKxComObject(std::forward<Args>(args)...);
        if (object != nullptr) {
            object->AddRef();
        }
        return object;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        *ppv = nullptr;
        if (IsEqualIID(riid, IID_IUnknown)) {
            *ppv = static_cast<IUnknown*>(static_cast<FirstInterface*>(this));
        } else if (!Find<FirstInterface, Interfaces...>(riid, ppv)) {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }

    ULONG STDMETHODCALLTYPE AddRef() override {
        return m_ulRefs.fetch_add(1, std::memory_order_relaxed) + 1;
    }

    ULONG STDMETHODCALLTYPE Release() override {
        // Release order publishes this thread's use of the object before the
        // count drops; the acquire load at zero (it reads the end of the
        // release sequence of all decrements) makes the deleting thread see
        // every other thread's use before it destroys the object. A new
        // reference can only come from an existing one, so AddRef may stay
        // relaxed.
        ULONG refs = m_ulRefs.fetch_sub(1, std::memory_order_release) - 1;
        if (refs == 0) {
            (void)m_ulRefs.load(std::memory_order_acquire);
            delete this;
        }
        return refs;
    }

private:
    template <class... Args>
    explicit CKxComObject(Args&&... args) : Base(std::forward<Args>(args)...) {}
    // Only the last Release destroys the object.
    ~CKxComObject() = default;

    template <class... List>
    bool Find(REFIID riid, void** ppv) {
        return (
            (IsEqualIID(riid, __uuidof(List)) ? (*ppv = static_cast<List*>(this), true) : false) ||
            ...);
    }

    std::atomic<ULONG> m_ulRefs{0};
};

} // namespace KxTamarind
