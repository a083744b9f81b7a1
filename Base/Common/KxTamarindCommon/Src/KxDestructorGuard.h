// Internal helper of the library: runs the body of a destructor so that no
// exception leaves it. A caught exception is reported as a repaired error
// ("exception occured during destructor", E_KX_HRESULT_DESTRUCTOR_EXCEPTION)
// and swallowed; a thrown error record is deleted first so it does not leak,
// and an exception of the report itself is swallowed too.
#pragma once

#include "CErrorObject.h"
#include "KxErrorReporting.h"
#include "KxResultCodes.h"

namespace KxTamarind {

template <class Body>
void KxGuardDestructor(const char* source, int line, const CObjectDataReferenceBase* origin,
                       Body&& body) noexcept {
    bool failed = false;
    try {
        body();
    } catch (CErrorObject* error) {
        delete error;
        failed = true;
    } catch (...) {
        failed = true;
    }
    if (failed) {
        try {
            RepairError("exception in destructor", source, KX_SOURCE_TIMESTAMP, line, origin,
                        nullptr, nullptr, "exception occured during destructor",
                        E_KX_HRESULT_DESTRUCTOR_EXCEPTION, nullptr);
        } catch (...) {
        }
    }
}

} // namespace KxTamarind
