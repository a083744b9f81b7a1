// CKxEvent: owns one platform event handle.
//
// Set/Reset/Pulse/Wait may be called from any thread. A failure to create the
// event, or a call on an object whose handle is gone, raises an error
// (ThrowError, "m_handle == NULL", E_POINTER). The destructor closes the
// handle and never lets an exception out.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

class KXTAMARIND_API CKxEvent {
public:
    enum InitialState { InitialState_Signaled = 0, InitialState_NotSignaled = 1 };
    enum ResetMode { ResetMode_Manual = 0, ResetMode_Automatic = 1 };

    CKxEvent(InitialState initialState, ResetMode resetMode, const wchar_t* name = nullptr,
             SECURITY_ATTRIBUTES* security = nullptr);
    virtual ~CKxEvent();

    CKxEvent(const CKxEvent&) = delete;
    CKxEvent& operator=(const CKxEvent&) = delete;

    // True when the platform call succeeded.
    bool Set();
    bool Reset();
    bool Pulse();
    // The platform's wait result unchanged: 0 signalled, 258 timed out,
    // anything else a failure. Wait() waits without limit.
    unsigned long Wait(unsigned long milliseconds);
    unsigned long Wait() { return Wait(0xFFFFFFFFul); }
    // A wait of 0 ms; on an automatic-reset event it consumes the signal.
    bool IsSet() const;

    HANDLE Handle() const { return m_handle; }
    operator void*() const { return m_handle; }

private:
    HANDLE m_handle;
};

} // namespace KxTamarind
