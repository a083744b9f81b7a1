// Event objects: creation and the SetEvent/ResetEvent/PulseEvent calls.
#include <new>

#include "platcompat/synch.h"
#include "waitable.h"

using platcompat_detail::HandleObject;
using platcompat_detail::HandleUse;
using platcompat_detail::Waitable;

namespace {

HANDLE createEvent(bool named, BOOL manualReset, BOOL initialState) {
    if (named) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    Waitable* event = new (std::nothrow)
        Waitable(HandleObject::Kind::Event, manualReset != FALSE, initialState != FALSE);
    if (!event) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    HANDLE handle = platcompat_detail::HandleCreate(event); // adopts the reference
    if (!handle)
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return handle;
}

// The event behind `handle`, or null (last error set) for anything else.
Waitable* eventOf(const HandleUse& use) {
    HandleObject* obj = use.get();
    if (!obj || obj->kind() != HandleObject::Kind::Event) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return static_cast<Waitable*>(obj);
}

} // namespace

// `security` is ignored; names are not supported.
HANDLE CreateEventW(LPSECURITY_ATTRIBUTES /*security*/, BOOL manualReset, BOOL initialState,
                    LPCWSTR name) {
    return createEvent(name != nullptr, manualReset, initialState);
}

HANDLE CreateEventA(LPSECURITY_ATTRIBUTES /*security*/, BOOL manualReset, BOOL initialState,
                    LPCSTR name) {
    return createEvent(name != nullptr, manualReset, initialState);
}

BOOL SetEvent(HANDLE handle) {
    HandleUse use(handle);
    Waitable* event = eventOf(use);
    if (!event)
        return FALSE;
    event->Set();
    return TRUE;
}

BOOL ResetEvent(HANDLE handle) {
    HandleUse use(handle);
    Waitable* event = eventOf(use);
    if (!event)
        return FALSE;
    event->Reset();
    return TRUE;
}

BOOL PulseEvent(HANDLE handle) {
    HandleUse use(handle);
    Waitable* event = eventOf(use);
    if (!event)
        return FALSE;
    event->Pulse();
    return TRUE;
}
