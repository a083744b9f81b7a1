// The base implementation of the notification sink; see CBNotificationSink.h.
#include "CBNotificationSink.h"

namespace KxTamarind {

namespace {
const char* const kSource = "Base/Interfaces/_Src/CBNotificationSink";
} // namespace

CBNotificationSink::CBNotificationSink() = default;

CBNotificationSink::~CBNotificationSink() = default;

STDMETHODIMP CBNotificationSink::Execute(long code) {
    DoExecute(code);
    return S_OK;
}

STDMETHODIMP CBNotificationSink::DetachNotificationSink(long code) {
    DoDetachNotificationSink(code);
    return S_OK;
}

HRESULT CBNotificationSink::DoDetachNotificationSink(long /*code*/) {
    ThrowError("stop on error", kSource, KX_SOURCE_TIMESTAMP, 35, this, nullptr, nullptr,
               "DetachNotificationSink is not implemented", E_KX_HRESULT_ASSERT_FAILED);
}

} // namespace KxTamarind
