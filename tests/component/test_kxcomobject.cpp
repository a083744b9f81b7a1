// CKxComObject: one identity and one reference count over all the listed
// interfaces, deletion on the last Release, also under concurrent use.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "TestComponent.h"

using namespace KxTamarind;
using namespace KxTest;

namespace {

TEST(KxComObject, OneIdentityAndOneCountOverTheListedInterfaces) {
    TestCoClass coClass;
    RegistryObject* object = RegistryObject::Create(&coClass.data);
    IUnknown* const expected[] = {object->Identity(), static_cast<IKXCoClassInfo*>(object),
                                  static_cast<IKXObjectRegistration*>(object),
                                  static_cast<IKXInterfaceRegistration*>(object)};
    const IID* const iids[] = {&IID_IUnknown, &__uuidof(IKXCoClassInfo),
                               &__uuidof(IKXObjectRegistration),
                               &__uuidof(IKXInterfaceRegistration)};
    for (IUnknown* through : expected) { // each sub-object answers for all
        for (int i = 0; i < 4; ++i) {
            void* out = nullptr;
            ASSERT_EQ(through->QueryInterface(*iids[i], &out), S_OK);
            EXPECT_EQ(out, expected[i]);
            EXPECT_EQ(through->Release(), 1u); // AddRef'd through one, released through another
        }
    }
    auto* plain = TestComponentObject::Create(&coClass.data); // lists only two interfaces
    void* out = &out;
    EXPECT_EQ(plain->QueryInterface(__uuidof(IKXObjectRegistration), &out), E_NOINTERFACE);
    EXPECT_EQ(std::make_pair(out, plain->QueryInterface(IID_IUnknown, nullptr)),
              std::make_pair(static_cast<void*>(nullptr), E_POINTER));
    EXPECT_EQ(plain->Release() + object->Release(), 0u);
    EXPECT_EQ(TestComponent::Live().load(), 0);
}

// Threads take and drop references concurrently through different
// sub-objects; the last Release deletes the object exactly once, on
// whichever thread drops it.
TEST(KxComObject, ConcurrentReferencesAreCountedExactly) {
    TestCoClass coClass;
    for (int round = 0; round < 200; ++round) {
        RegistryObject* object = RegistryObject::Create(&coClass.data);
        std::vector<std::thread> threads;
        for (int t = 0; t < 2; ++t) {
            IUnknown* through = t == 0
                                    ? static_cast<IKXObjectRegistration*>(object)
                                    : static_cast<IUnknown*>(static_cast<IKXCoClassInfo*>(object));
            through->AddRef();
            threads.emplace_back([through, round] {
                for (int i = 0; i < (round == 0 ? 20000 : 10); ++i) {
                    void* out = nullptr;
                    through->QueryInterface(IID_IUnknown, &out);
                    static_cast<IUnknown*>(out)->Release();
                }
                through->Release();
            });
        }
        object->Release();
        for (auto& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(TestComponent::Live().load(), 0);
    }
}

} // namespace
