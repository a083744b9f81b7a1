// CatchError: runs a callable and hands back the CErrorObject it raised (the
// library throws heap records that the catcher owns), or null when it
// returned normally.
// ExpectError: checks that such a record was raised with exactly this
// condition, message and code, and with this source file and line where
// they are given (non-null, non-zero).
#pragma once

#include <gtest/gtest.h>

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

inline void ExpectError(const std::unique_ptr<KxTamarind::CErrorObject>& error,
                        const char* condition, const char* message, long code,
                        const char* file = nullptr, long line = 0) {
    ASSERT_NE(error, nullptr) << "nothing raised, expected: " << condition;
    EXPECT_STREQ(error->GetCondition().GetString(), condition);
    EXPECT_STREQ(error->GetAdditionalInfo().GetString(), message);
    EXPECT_EQ(error->GetErrorCode(), code);
    if (file != nullptr) {
        EXPECT_STREQ(error->GetFileName().GetString(), file);
    }
    if (line != 0) {
        EXPECT_EQ(error->GetLine(), line);
    }
}

} // namespace KxTest
