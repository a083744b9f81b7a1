// Per-thread apartment bookkeeping for CoInitialize(Ex)/CoUninitialize.
#include "platcompat.h"

namespace {

struct Apartment {
    DWORD model = 0;
    unsigned count = 0; // successful initialisations not yet matched
};

thread_local Apartment t_apartment;

} // namespace

HRESULT CoInitializeEx(LPVOID /*reserved*/, DWORD coInit) {
    const DWORD model = coInit & COINIT_APARTMENTTHREADED;
    Apartment& apt = t_apartment;
    if (apt.count == 0) {
        apt.model = model;
        apt.count = 1;
        return S_OK;
    }
    if (apt.model != model) {
        return RPC_E_CHANGED_MODE;
    }
    ++apt.count;
    return S_FALSE;
}

HRESULT CoInitialize(LPVOID reserved) { return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED); }

void CoUninitialize() {
    Apartment& apt = t_apartment;
    if (apt.count > 0) {
        --apt.count;
    }
}
