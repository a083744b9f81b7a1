// FakeLinkage: an IKXLinkage double (Counted: it lives on the test's stack
// and checks its references at its end). Every call is logged in `calls`,
// GUIDs by their first field, e.g. "Register 0B1EC701 7". Answers:
//  - RegisterObject/UnregisterObject keep a real GUID -> navigation handle
//    map (a GUID already taken, or one not registered, answers S_FALSE),
//    unless registerResult/unregisterResult is set to another code;
//  - SearchPartner/GetLocationObject(location, 0) hand out (AddRef'd) what
//    `partners`/`locations` hold: S_OK, else null and S_FALSE;
//  - SearchFarPartner answers farResult; with S_OK it hands out farPartner
//    (AddRef'd) and a copy of farName where given slots for them, else nulls;
//  - the partial-load flag is kept per navigation handle (0 when unset).
// The reserved operations answer E_NOTIMPL.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "IKXLinkage.h"
#include "common/CountingUnknown.h"

namespace KxTest {

struct GuidLess {
    bool operator()(const GUID& a, const GUID& b) const {
        return std::memcmp(&a, &b, sizeof(GUID)) < 0;
    }
};
using Calls = std::vector<std::string>;

// clang-format off
#define KXT_LINKAGE_NOTIMPL(name) STDMETHOD(name)() override { return E_NOTIMPL; }
// clang-format on

class FakeLinkage : public Counted<KxTamarind::IKXLinkage> {
public:
    std::map<GUID, long, GuidLess> registered;
    std::map<GUID, IUnknown*, GuidLess> partners;
    std::map<long, IUnknown*> locations;
    std::map<long, short> partialLoad;
    IUnknown* farPartner = nullptr;
    const wchar_t* farName = nullptr;
    HRESULT registerResult = S_OK, unregisterResult = S_OK, farResult = S_OK;
    Calls calls;

    STDMETHOD(RegisterObject)(GUID* guid, long handle) override {
        Log("Register %08X %ld", Id(guid), handle);
        return registerResult != S_OK ? registerResult
                                      : (registered.emplace(*guid, handle).second ? S_OK : S_FALSE);
    }
    STDMETHOD(UnregisterObject)(GUID* guid) override {
        Log("Unregister %08X", Id(guid));
        return unregisterResult != S_OK ? unregisterResult
                                        : (registered.erase(*guid) == 1 ? S_OK : S_FALSE);
    }
    STDMETHOD(SearchPartner)(GUID* guid, IUnknown** pp) override {
        Log("Search %08X", Id(guid));
        return HandOut(partners.count(*guid) != 0 ? partners[*guid] : nullptr, pp);
    }
    STDMETHOD(SearchFarPartner)
    (GUID* guid, long level, GUID* guid2, IUnknown** pp, wchar_t** pName) override {
        Log("Far %08X %ld %s %s", Id(guid), level, guid2 ? "guid2" : "-", pName ? "name" : "-");
        if (pp != nullptr) {
            HandOut(farResult == S_OK ? farPartner : nullptr, pp);
        }
        if (pName != nullptr) {
            *pName = farResult == S_OK && farName != nullptr ? SysAllocString(farName) : nullptr;
        }
        return farResult;
    }
    STDMETHOD(GetLocationObject)(long location, long reserved, IUnknown** pp) override {
        Log("Location %lX %ld", location, reserved);
        return HandOut(reserved == 0 && locations.count(location) ? locations[location] : nullptr,
                       pp);
    }
    STDMETHOD(SetPartialLoad)(long handle, short value) override {
        Log("SetPartial %ld %d", handle, value);
        partialLoad[handle] = value;
        return S_OK;
    }
    STDMETHOD(GetPartialLoad)(long handle, short* pValue) override {
        Log("GetPartial %ld", handle);
        *pValue = partialLoad.count(handle) != 0 ? partialLoad[handle] : 0;
        return S_OK;
    }
    // clang-format off
    KXT_LINKAGE_NOTIMPL(Reserved1) KXT_LINKAGE_NOTIMPL(Reserved5) KXT_LINKAGE_NOTIMPL(Reserved6)
    KXT_LINKAGE_NOTIMPL(Reserved8) KXT_LINKAGE_NOTIMPL(Reserved9) KXT_LINKAGE_NOTIMPL(Reserved10)
    KXT_LINKAGE_NOTIMPL(Reserved12) KXT_LINKAGE_NOTIMPL(Reserved13);
    // clang-format on

private:
    static unsigned Id(const GUID* guid) { return guid != nullptr ? guid->Data1 : 0u; }
    static HRESULT HandOut(IUnknown* object, IUnknown** pp) {
        *pp = object;
        if (object != nullptr) {
            object->AddRef();
        }
        return object != nullptr ? S_OK : S_FALSE;
    }
    __attribute__((format(printf, 2, 3))) void Log(const char* format, ...) {
        char text[96];
        va_list args;
        va_start(args, format);
        std::vsnprintf(text, sizeof text, format, args);
        va_end(args);
        calls.emplace_back(text);
    }
};

#undef KXT_LINKAGE_NOTIMPL

} // namespace KxTest
