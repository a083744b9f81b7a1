// CKxComObject: QueryInterface over the listed interfaces with one identity,
// one reference count shared by every IUnknown sub-object, deletion on the
// last Release, and concurrent AddRef/Release.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "TestComponent.h"

using namespace KxTamarind;
using KxTest::SupervisorObject;
using KxTest::TestCoClass;
using KxTest::TestComponentObject;

namespace {

// The IUnknown a sub-object's QueryInterface(IID_IUnknown) answers.
IUnknown* IdentityOf(IUnknown* p) {
    IUnknown* identity = nullptr;
    EXPECT_EQ(p->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
    if (identity != nullptr) {
        identity->Release();
    }
    return identity;
}

TEST(KxComObjectTest, CreateHandsOutOneReference) {
    TestCoClass coClass;
    TestComponentObject* object = TestComponentObject::Create(&coClass.data);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(KxTest::TestComponent::Live().load(), 1);
    EXPECT_EQ(object->AddRef(), 2u);
    EXPECT_EQ(object->Release(), 1u);
    // The constructor arguments reach the component.
    EXPECT_EQ(object->GetCoClassData(), &coClass.data);
    EXPECT_EQ(object->Release(), 0u);
    EXPECT_EQ(KxTest::TestComponent::Live().load(), 0);
}

TEST(KxComObjectTest, QueryInterfaceAnswersTheListedInterfaces) {
    TestCoClass coClass;
    TestComponentObject* object = TestComponentObject::Create(&coClass.data);
    ASSERT_NE(object, nullptr);
    IKXComponentManagement* management = object;
    IKXCoClassInfo* info = object;
    ASSERT_NE(static_cast<void*>(management), static_cast<void*>(info));

    void* out = nullptr;
    ASSERT_EQ(info->QueryInterface(__uuidof(IKXComponentManagement), &out), S_OK);
    EXPECT_EQ(out, static_cast<void*>(management));
    static_cast<IUnknown*>(out)->Release();
    ASSERT_EQ(management->QueryInterface(__uuidof(IKXCoClassInfo), &out), S_OK);
    EXPECT_EQ(out, static_cast<void*>(info));
    static_cast<IUnknown*>(out)->Release();

    // One identity, whichever sub-object is asked: the first interface.
    EXPECT_EQ(IdentityOf(management), static_cast<IUnknown*>(management));
    EXPECT_EQ(IdentityOf(info), static_cast<IUnknown*>(management));

    out = &out;
    EXPECT_EQ(info->QueryInterface(__uuidof(IKXObjectRegistration), &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    out = &out;
    EXPECT_EQ(management->QueryInterface(IID_IKXInfoManagement, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(management->QueryInterface(IID_IUnknown, nullptr), E_POINTER);

    // Every answer above was given back: the test's reference is the last.
    EXPECT_EQ(object->Release(), 0u);
    EXPECT_EQ(KxTest::TestComponent::Live().load(), 0);
}

TEST(KxComObjectTest, ComponentWithThreeBasesSharesOneCount) {
    TestCoClass coClass;
    SupervisorObject* object = SupervisorObject::Create(&coClass.data);
    ASSERT_NE(object, nullptr);
    IKXComponentManagement* management = object;
    IKXCoClassInfo* info = object;
    IKXObjectRegistration* registry = object;

    IKXObjectRegistration* fromInfo = nullptr;
    ASSERT_EQ(
        info->QueryInterface(__uuidof(IKXObjectRegistration), reinterpret_cast<void**>(&fromInfo)),
        S_OK);
    EXPECT_EQ(fromInfo, registry);
    EXPECT_EQ(IdentityOf(registry), static_cast<IUnknown*>(management));

    // AddRef through one sub-object, Release through another: one count.
    EXPECT_EQ(static_cast<IUnknown*>(info)->AddRef(), 3u);
    EXPECT_EQ(static_cast<IUnknown*>(registry)->Release(), 2u);
    EXPECT_EQ(static_cast<IUnknown*>(management)->Release(), 1u);
    EXPECT_EQ(KxTest::SupervisorComponent::Live().load(), 1);
    EXPECT_EQ(static_cast<IUnknown*>(info)->Release(), 0u);
    EXPECT_EQ(KxTest::SupervisorComponent::Live().load(), 0);
}

// Threads take and drop references concurrently; the object survives until
// the owner's last Release, which deletes it exactly once.
TEST(KxComObjectTest, ConcurrentReferencesAreCountedExactly) {
    TestCoClass coClass;
    SupervisorObject* object = SupervisorObject::Create(&coClass.data);
    ASSERT_NE(object, nullptr);
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([object, t] {
            IUnknown* through =
                t % 2 == 0 ? static_cast<IUnknown*>(static_cast<IKXObjectRegistration*>(object))
                           : static_cast<IUnknown*>(static_cast<IKXCoClassInfo*>(object));
            for (int i = 0; i < kRounds; ++i) {
                void* out = nullptr;
                if (through->QueryInterface(IID_IUnknown, &out) == S_OK) {
                    static_cast<IUnknown*>(out)->Release();
                }
                through->AddRef();
                through->Release();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(KxTest::SupervisorComponent::Live().load(), 1);
    EXPECT_EQ(object->Release(), 0u);
    EXPECT_EQ(KxTest::SupervisorComponent::Live().load(), 0);
}

// The last reference dropped by another thread deletes the object there.
TEST(KxComObjectTest, LastReleaseOnAnotherThreadDeletes) {
    TestCoClass coClass;
    for (int round = 0; round < 200; ++round) {
        TestComponentObject* object = TestComponentObject::Create(&coClass.data);
        ASSERT_NE(object, nullptr);
        object->AddRef();
        std::thread other([object] { object->Release(); });
        object->Release();
        other.join();
        ASSERT_EQ(KxTest::TestComponent::Live().load(), 0);
    }
}

} // namespace
