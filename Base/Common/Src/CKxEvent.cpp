#include "CKxEvent.h"

#include "KxErrorReporting.h"

namespace KxTamarind {

namespace {

const char kSource[] = "Base/Common/Src/CKxEvent";

[[noreturn]] void ThrowMissingHandle(int line) {
    ThrowError("m_handle == NULL", kSource, KX_SOURCE_TIMESTAMP, line, nullptr, nullptr, nullptr,
               "", E_POINTER);
}

} // namespace

CKxEvent::CKxEvent(InitialState initialState, ResetMode resetMode, const wchar_t* name,
                   SECURITY_ATTRIBUTES* security)
    : m_handle(CreateEventW(security, resetMode == ResetMode_Manual ? TRUE : FALSE,
                            initialState == InitialState_Signaled ? TRUE : FALSE, name)) {
    if (m_handle == nullptr) {
        ThrowMissingHandle(__LINE__);
    }
}

CKxEvent::~CKxEvent() {
    HANDLE handle = m_handle;
    m_handle = nullptr;
    if (handle == nullptr) {
        // Reported directly: the handle never is null while the object lives,
        // and a destructor must not raise.
        RepairError("exception in destructor", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr,
                    nullptr, nullptr, "exception occured during destructor",
                    E_KX_HRESULT_DESTRUCTOR_EXCEPTION, nullptr);
        return;
    }
    CloseHandle(handle);
}

bool CKxEvent::Set() {
    if (m_handle == nullptr) {
        ThrowMissingHandle(__LINE__);
    }
    return SetEvent(m_handle) != FALSE;
}

bool CKxEvent::Reset() {
    if (m_handle == nullptr) {
        ThrowMissingHandle(__LINE__);
    }
    return ResetEvent(m_handle) != FALSE;
}

bool CKxEvent::Pulse() {
    if (m_handle == nullptr) {
        ThrowMissingHandle(__LINE__);
    }
    return PulseEvent(m_handle) != FALSE;
}

unsigned long CKxEvent::Wait(unsigned long milliseconds) {
    return WaitForSingleObject(m_handle, static_cast<DWORD>(milliseconds));
}

bool CKxEvent::IsSet() const {
    return WaitForSingleObject(m_handle, 0) == WAIT_OBJECT_0;
}

} // namespace KxTamarind
