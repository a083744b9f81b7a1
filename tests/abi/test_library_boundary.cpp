// The type information that crosses the library boundary: errors the
// library throws are caught as CErrorObject* in an executable and in a
// component module (a second shared library), and dynamic_cast reaches the
// library's classes and interfaces of a component made in that module. With
// the library's type information hidden these either fail to link or fail
// here.
#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>

#include "module/ComponentModule.h"

using namespace KxTamarind;

namespace {

const long kCode = E_KX_HRESULT_ASSERT_FAILED;

TEST(LibraryBoundary, ErrorThrownByTheLibraryIsCaughtInTheExecutable) {
    std::unique_ptr<CErrorObject> caught;
    try {
        ThrowError("x != 0", "Module.cpp", "", 12, nullptr, nullptr, nullptr, "thrown", kCode);
    } catch (CErrorObject* error) {
        caught.reset(error);
    }
    ASSERT_NE(caught, nullptr);
    EXPECT_EQ(caught->GetErrorCode(), kCode);
    EXPECT_EQ(caught->GetCondition(), "x != 0");
    EXPECT_EQ(caught->GetLine(), 12);
    EXPECT_EQ(typeid(*caught), typeid(CErrorObject));
}

TEST(LibraryBoundary, ErrorThrownByTheLibraryIsCaughtInAComponentModule) {
    EXPECT_EQ(KxModuleTest::ThrowAndCatchInModule(kCode), kCode);
    EXPECT_EQ(KxModuleTest::ThrowAndCatchInModule(E_POINTER), E_POINTER);
}

TEST(LibraryBoundary, ErrorPassesThroughAComponentModuleToTheExecutable) {
    std::unique_ptr<CErrorObject> caught;
    try {
        KxModuleTest::ThrowThroughModule(E_INVALIDARG);
    } catch (CErrorObject* error) {
        caught.reset(error);
    }
    ASSERT_NE(caught, nullptr);
    EXPECT_EQ(caught->GetErrorCode(), E_INVALIDARG);
    EXPECT_EQ(caught->GetCondition(), "through module");
}

TEST(LibraryBoundary, DynamicCastReachesLibraryClassesOfAModuleComponent) {
    IKXComponentManagement* management = KxModuleTest::CreateModuleComponent();
    ASSERT_NE(management, nullptr);

    // Up to the library's base classes (one of them virtual) and across to
    // another interface of the same object.
    auto* base = dynamic_cast<CBComponentManagement*>(management);
    auto* data = dynamic_cast<CObjectDataReferenceBase*>(management);
    auto* info = dynamic_cast<IKXCoClassInfo*>(management);
    auto* classInfo = dynamic_cast<CBCoClassInfo*>(management);
    EXPECT_EQ(base, static_cast<CBComponentManagement*>(management));
    EXPECT_NE(data, nullptr);
    EXPECT_EQ(data, static_cast<CObjectDataReferenceBase*>(base));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info, static_cast<IKXCoClassInfo*>(classInfo));
    // What the object does not derive from stays out of reach.
    EXPECT_EQ(dynamic_cast<CBObjectRegistration*>(management), nullptr);
    EXPECT_EQ(dynamic_cast<IKXObjectEnumeration*>(management), nullptr);

    // The cast pointer works: the class information is the module's.
    BSTR name = nullptr;
    BSTR text = nullptr;
    CLSID clsid = GUID_NULL;
    EXPECT_EQ(info->GetIdentification(&name, &clsid, &text), S_OK);
    ASSERT_NE(name, nullptr);
    EXPECT_STREQ(name, L"KxModuleTest.Component");
    SysFreeString(name);
    SysFreeString(text);
    EXPECT_EQ(management->Release(), 0u);
}

} // namespace
