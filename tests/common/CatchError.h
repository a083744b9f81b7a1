// CatchError: runs a callable and hands back the CErrorObject it raised (the
// library throws heap records that the catcher owns), or null when it
// returned normally.
#pragma once

#include <memory>

#include "CErrorObject.h"

namespace KxTest {

template <class F>
std::unique_ptr<KxTamarind::CErrorObject> CatchError(F&& f) {
    try {
        f();
    } catch (KxTamarind::CErrorObject* error) {
        return std::unique_ptr<KxTamarind::CErrorObject>(error);
    }
    return nullptr;
}

} // namespace KxTest
