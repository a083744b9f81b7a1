// DemoLinkage: the demo shell's linkage, in which components register under
// their object GUID and find each other.
//
// The shell attaches each component under its navigation handle (Attach);
// a component's RegisterObject(guid, handle) then maps the GUID to that
// handle, and SearchPartner(guid) answers the attached object. The linkage
// does not own the attached objects (they detach before they die); it is
// reference counted and deletes itself on its last Release.
// Operations the demo does not use answer E_NOTIMPL.
// Thread safety: every operation takes the linkage's lock.
#pragma once

#include <KxTamarindCommon.h>

#include <atomic>
#include <cstring>
#include <map>

namespace Demo {

class DemoLinkage : public KxTamarind::IKXLinkage {
public:
    // A new linkage with one reference (the caller's).
    static DemoLinkage* Create();

    // Makes `object` (not owned) the object of `navigationHandle`; a null
    // object removes the entry.
    void Attach(long navigationHandle, IUnknown* object);
    // Number of GUIDs registered.
    size_t RegisteredCount() const;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    STDMETHOD(Reserved1)() override { return E_NOTIMPL; }
    // S_OK; S_FALSE when the GUID is taken; E_POINTER for a null GUID.
    STDMETHOD(RegisterObject)(GUID* pObjectGuid, long navigationHandle) override;
    // S_OK; S_FALSE when the GUID is not registered; E_POINTER for null.
    STDMETHOD(UnregisterObject)(GUID* pObjectGuid) override;
    // The attached object of the GUID's handle (one reference): S_OK; else
    // null and S_FALSE; E_POINTER for a null argument.
    STDMETHOD(SearchPartner)(GUID* pGuid, IUnknown** ppPartner) override;
    STDMETHOD(Reserved5)() override { return E_NOTIMPL; }
    STDMETHOD(Reserved6)() override { return E_NOTIMPL; }
    STDMETHOD(SearchFarPartner)(GUID*, long, GUID*, IUnknown**, wchar_t**) override {
        return E_NOTIMPL;
    }
    STDMETHOD(Reserved8)() override { return E_NOTIMPL; }
    STDMETHOD(Reserved9)() override { return E_NOTIMPL; }
    STDMETHOD(Reserved10)() override { return E_NOTIMPL; }
    STDMETHOD(GetLocationObject)(long, long, IUnknown** ppObject) override;
    STDMETHOD(Reserved12)() override { return E_NOTIMPL; }
    STDMETHOD(Reserved13)() override { return E_NOTIMPL; }
    // The demo loads everything completely: the flag is stored but unused.
    STDMETHOD(SetPartialLoad)(long navigationHandle, short value) override;
    STDMETHOD(GetPartialLoad)(long navigationHandle, short* pValue) override;

private:
    DemoLinkage() = default;
    virtual ~DemoLinkage() = default;

    struct GuidLess {
        bool operator()(const GUID& a, const GUID& b) const {
            return std::memcmp(&a, &b, sizeof(GUID)) < 0;
        }
    };

    KxTamarind::CCritSection m_Lock;
    std::map<GUID, long, GuidLess> m_Registered;
    std::map<long, IUnknown*> m_Objects;
    std::map<long, short> m_PartialLoad;
    std::atomic<ULONG> m_ulRefs{0};
};

} // namespace Demo
