#include "KxInfoMessages.h"

#include <atomic>

#include "IKXComponentManagement.h"
#include "IKXInterfaceRegistration.h"
#include "IKXLinkage.h"
#include "KxErrorReporting.h"
#include "KxRoot.h"

namespace KxTamarind {

const GUID KX_SYSERROR_257_MESSAGE_GUID = {
    0xE86824BEu, 0x644Bu, 0x408Cu, {0xB2u, 0x3Au, 0x16u, 0x2Du, 0x95u, 0x77u, 0x8Du, 0xE1u}};
const GUID KX_SYSERROR_258_MESSAGE_GUID = {
    0x62CAC29Cu, 0x0E30u, 0x4CF1u, {0xA6u, 0x90u, 0x49u, 0x3Du, 0xC8u, 0x10u, 0x01u, 0x95u}};

namespace {

const char kSource[] = "Base/Common/KxTamarindCommon/Src/KxBaseLib";

std::atomic<long> s_lSysError257Value{0};
std::atomic<long> s_lSysError258Value{0};

std::atomic<long>* SysErrorValue(unsigned long code) {
    switch (code) {
    case 257:
        return &s_lSysError257Value;
    case 258:
        return &s_lSysError258Value;
    default:
        return nullptr;
    }
}

// Releases an interface pointer when leaving a scope, also by exception.
template <class T>
class Held {
public:
    Held() : m_p(nullptr) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() {
        if (m_p != nullptr) {
            m_p->Release();
        }
    }
    T* Get() const { return m_p; }
    T** Out() { return &m_p; }
    void** OutVoid() { return reinterpret_cast<void**>(&m_p); }
    T* Detach() {
        T* p = m_p;
        m_p = nullptr;
        return p;
    }

private:
    T* m_p;
};

// The message component published in `registry` (one reference), or null.
IKXInfoControlling* InfoControllingIn(IKXInterfaceRegistration* registry) {
    if (registry == nullptr) {
        return nullptr;
    }
    Held<IUnknown> published;
    if (registry->GetInterface(&__uuidof(IKXInfoControlling), published.Out()) != S_OK ||
        published.Get() == nullptr) {
        return nullptr;
    }
    Held<IKXInfoControlling> control;
    if (FAILED(published.Get()->QueryInterface(__uuidof(IKXInfoControlling), control.OutVoid()))) {
        return nullptr;
    }
    return control.Detach();
}

IKXInfoControlling* InfoControllingOfRoot() {
    Held<IKXInterfaceRegistration> root;
    GetRoot(root.Out());
    return InfoControllingIn(root.Get());
}

// The message component of the origin's firmware application (one
// reference), or null; see KxInfoMessages.h for the search.
IKXInfoControlling* FindInfoControlling(IUnknown* origin) {
    if (origin == nullptr) {
        return InfoControllingOfRoot();
    }
    Held<IKXComponentManagement> management;
    if (FAILED(origin->QueryInterface(__uuidof(IKXComponentManagement), management.OutVoid())) ||
        management.Get() == nullptr) {
        return InfoControllingOfRoot();
    }
    Held<IKXLinkage> linkage;
    if (FAILED(management.Get()->GetIKXLinkage(linkage.Out())) || linkage.Get() == nullptr) {
        return InfoControllingOfRoot();
    }
    long location = 0;
    if (FAILED(management.Get()->GetLogicalLocation(&location))) {
        return nullptr;
    }
    // The application's own object sits at its identifier: instrument slot 0.
    Held<IUnknown> application;
    if (linkage.Get()->GetLocationObject(location & 0xFF00, 0, application.Out()) != S_OK ||
        application.Get() == nullptr) {
        return nullptr;
    }
    Held<IKXInterfaceRegistration> registry;
    if (FAILED(application.Get()->QueryInterface(__uuidof(IKXInterfaceRegistration),
                                                 registry.OutVoid()))) {
        return nullptr;
    }
    return InfoControllingIn(registry.Get());
}

} // namespace

HRESULT RegisterInfoMessages(long count, KxInfoMessageData* messages, IUnknown* origin) {
    if (count <= 0) {
        RepairError("iMsgCount > 0", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                    origin, "There are messages at all to be registered!",
                    E_KX_HRESULT_ASSERT_FAILED, nullptr);
        return S_OK;
    }
    if (messages == nullptr) {
        return E_POINTER;
    }
    Held<IKXInfoControlling> control;
    *control.Out() = FindInfoControlling(origin);
    if (control.Get() == nullptr) {
        RepairError("pIControl != __null", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr,
                    origin,
                    "Message registration isn't possible! The component for the registration of "
                    "firmware application specific messages hasn't been found. Please go back to "
                    "the config mode, add a AddInfoMessages component to the controller of this "
                    "firmware application and start the test mode again!",
                    E_KX_HRESULT_ASSERT_FAILED, nullptr);
        return E_NOINTERFACE;
    }
    HRESULT hr = control.Get()->RegisterMessages(count, messages);
    if (hr != S_OK) {
        // `control` is released while the error unwinds.
        ThrowError("pIAddInfoMessages->RegisterMessages(iMsgCount,pMsgData) == S_OK", kSource,
                   KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, origin,
                   "Unable to add the new messages to the message list of this firmware "
                   "application",
                   hr);
    }
    return S_OK;
}

HRESULT RegisterSysError(unsigned long code) {
    std::atomic<long>* value = SysErrorValue(code);
    if (value == nullptr) {
        return E_POINTER;
    }
    KxInfoMessageData record;
    record.MessageCode = static_cast<long>(code);
    record.MessageValue = value->load(std::memory_order_relaxed);
    record.MessageGuid = code == 257 ? KX_SYSERROR_257_MESSAGE_GUID : KX_SYSERROR_258_MESSAGE_GUID;
    Held<IKXInfoControlling> control;
    *control.Out() = InfoControllingOfRoot();
    if (control.Get() == nullptr) {
        return E_NOINTERFACE;
    }
    return control.Get()->RegisterMessages(1, &record);
}

HRESULT SetSysErrorValue(unsigned long code, long value) {
    std::atomic<long>* slot = SysErrorValue(code);
    if (slot == nullptr) {
        return E_INVALIDARG;
    }
    slot->store(value, std::memory_order_relaxed);
    return S_OK;
}

long GetSysErrorValue(unsigned long code) {
    std::atomic<long>* slot = SysErrorValue(code);
    return slot != nullptr ? slot->load(std::memory_order_relaxed) : 0;
}

} // namespace KxTamarind
