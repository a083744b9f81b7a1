#include "KxInterfaceRegistry.h"

#include "IKXInterfaceRegistration.h"
#include "KxRoot.h"

namespace KxTamarind {

namespace {

IKXInterfaceRegistration* RegistryOf(IUnknown* object) {
    void* registry = nullptr;
    if (FAILED(object->QueryInterface(__uuidof(IKXInterfaceRegistration), &registry))) {
        return nullptr;
    }
    return static_cast<IKXInterfaceRegistration*>(registry);
}

// Releases the registry also when the registry raises.
class RegistryHolder {
public:
    explicit RegistryHolder(IKXInterfaceRegistration* registry) : m_pRegistry(registry) {}
    RegistryHolder(const RegistryHolder&) = delete;
    RegistryHolder& operator=(const RegistryHolder&) = delete;
    ~RegistryHolder() {
        if (m_pRegistry != nullptr) {
            m_pRegistry->Release();
        }
    }
    IKXInterfaceRegistration* Get() const { return m_pRegistry; }

private:
    IKXInterfaceRegistration* m_pRegistry;
};

HRESULT Register(IKXInterfaceRegistration* registry, IUnknown* unknown, GUID const* iid,
                 wchar_t* name) {
    RegistryHolder holder(registry);
    if (registry == nullptr || iid == nullptr) {
        return E_POINTER;
    }
    // A transient record: the registry copies what it keeps.
    InterfaceIdentificationData record;
    record.pIUnknown = unknown;
    record.Iid = *iid;
    record.Name = name;
    return registry->RegisterInterface(&record);
}

HRESULT Unregister(IKXInterfaceRegistration* registry, GUID const* iid) {
    RegistryHolder holder(registry);
    if (registry == nullptr || iid == nullptr) {
        return E_POINTER;
    }
    return registry->UnregisterInterface(iid);
}

IKXInterfaceRegistration* RootRegistry() {
    IKXInterfaceRegistration* root = nullptr;
    GetRoot(&root);
    return root;
}

} // namespace

HRESULT KxRegisterInterface(IUnknown* registry, IUnknown* unknown, GUID const* iid, wchar_t* name) {
    if (registry == nullptr) {
        return KxRegisterInterface(unknown, iid, name);
    }
    return Register(RegistryOf(registry), unknown, iid, name);
}

HRESULT KxRegisterInterface(IUnknown* unknown, GUID const* iid, wchar_t* name) {
    return Register(RootRegistry(), unknown, iid, name);
}

HRESULT KxUnregisterInterface(IUnknown* registry, GUID const* iid) {
    if (registry == nullptr) {
        return KxUnregisterInterface(iid);
    }
    return Unregister(RegistryOf(registry), iid);
}

HRESULT KxUnregisterInterface(GUID const* iid) {
    return Unregister(RootRegistry(), iid);
}

} // namespace KxTamarind
