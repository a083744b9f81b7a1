// CBNotificationSink: the base implementation of IKXNotificationSink, the
// callback object a component registers with a notifier.
//
// It turns the two interface calls into protected hooks: DoExecute (the
// concrete sink's reaction, abstract) and DoDetachNotificationSink, whose
// default refuses by raising an error. Execute and DetachNotificationSink
// answer S_OK whatever the hook returns: a sink reports its failures
// through the library's error reporting, not through the result. An error
// raised by a hook leaves the interface call as a thrown CErrorObject*.
// IUnknown's three operations stay abstract. No data, no lock of its own.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "CObjectDataReferenceBase.h"
#include "IKXNotificationSink.h"

namespace KxTamarind {

class KXTAMARIND_API CBNotificationSink : public IKXNotificationSink,
                                          public virtual CObjectDataReferenceBase {
public:
    CBNotificationSink();
    virtual ~CBNotificationSink();

    // Calls DoExecute(code); S_OK (the hook's result is ignored).
    STDMETHOD(Execute)(long code) override;
    // Calls DoDetachNotificationSink(code); S_OK.
    STDMETHOD(DetachNotificationSink)(long code) override;

protected:
    virtual HRESULT DoExecute(long code) = 0;
    // Default: raises "DetachNotificationSink is not implemented"
    // (E_KX_HRESULT_ASSERT_FAILED); a sink that can be detached overrides it.
    virtual HRESULT DoDetachNotificationSink(long code);
};

} // namespace KxTamarind
