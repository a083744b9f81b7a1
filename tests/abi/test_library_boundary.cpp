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

TEST(LibraryBoundary, ErrorsThrownByTheLibraryAreCaughtOnEitherSide) {
    EXPECT_EQ(KxModuleTest::ThrowAndCatchInModule(E_KX_HRESULT_ASSERT_FAILED),
              E_KX_HRESULT_ASSERT_FAILED);
    std::unique_ptr<CErrorObject> caught;
    try {
        KxModuleTest::ThrowThroughModule(E_INVALIDARG);
    } catch (CErrorObject* error) {
        caught.reset(error);
    }
    ASSERT_NE(caught, nullptr);
    EXPECT_EQ(std::make_pair(caught->GetErrorCode(), std::string(caught->GetCondition())),
              std::make_pair(long{E_INVALIDARG}, std::string("through module")));
    EXPECT_EQ(typeid(*caught), typeid(CErrorObject));
}

TEST(LibraryBoundary, DynamicCastReachesLibraryClassesOfAModuleComponent) {
    IKXComponentManagement* management = KxModuleTest::CreateModuleComponent();
    ASSERT_NE(management, nullptr);
    // Up to the library's base classes (one of them virtual) and across to
    // another interface of the same object; not to what it does not derive from.
    auto* base = dynamic_cast<CBComponentManagement*>(management);
    auto* info = dynamic_cast<IKXCoClassInfo*>(management);
    EXPECT_EQ(base, static_cast<CBComponentManagement*>(management));
    EXPECT_EQ(dynamic_cast<CObjectDataReferenceBase*>(management),
              static_cast<CObjectDataReferenceBase*>(base));
    ASSERT_EQ(info, static_cast<IKXCoClassInfo*>(dynamic_cast<CBCoClassInfo*>(management)));
    EXPECT_EQ(dynamic_cast<CBObjectRegistration*>(management), nullptr);
    EXPECT_EQ(dynamic_cast<IKXObjectEnumeration*>(management), nullptr);
    // The cast pointer works: the class information is the module's.
    BSTR name = nullptr, text = nullptr;
    CLSID clsid = GUID_NULL;
    EXPECT_EQ(info->GetIdentification(&name, &clsid, &text), S_OK);
    EXPECT_STREQ(name, L"KxModuleTest.Component");
    SysFreeString(name);
    SysFreeString(text);
    EXPECT_EQ(management->Release(), 0u);
}

} // namespace
