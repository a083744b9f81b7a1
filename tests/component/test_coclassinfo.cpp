// Co-class information: texts and arrays copied out of the class
// description (owned by the caller afterwards), category queries, the
// threading model and the raised failures.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "TestComponent.h"
#include "common/CatchError.h"

using namespace KxTamarind;
using namespace KxTest;

namespace {

const char kSource[] = "Base/Interfaces/_Src/CBCoClassInfo";

class CoClassInfoTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(object->Release(), 0u); }
    TestCoClass coClass;
    TestComponentObject* object = TestComponentObject::Create(&coClass.data);
    IKXCoClassInfo* info = object;
};

TEST_F(CoClassInfoTest, TextsAreNewCopiesForTheCaller) {
    BSTR texts[4] = {};
    GUID clsid = GUID_NULL;
    ASSERT_EQ(info->GetIdentification(&texts[0], &clsid, &texts[1]), S_OK);
    ASSERT_EQ(info->GetImageName(&texts[2]), S_OK);
    // Apartment, whatever the component claims (the kit claims free threading).
    ASSERT_EQ(object->GetThreadingModel(&texts[3]), S_OK);
    EXPECT_FALSE(object->IsApartmentThreaded());
    const wchar_t* expected[] = {L"KxTest.Component", L"TestComp", L"libKxTest.so", L"Apartment"};
    const BSTR stored[] = {coClass.name.m_str, coClass.description.m_str, coClass.image.m_str};
    for (int i = 0; i < 4; ++i) {
        EXPECT_STREQ(texts[i], expected[i]);
        EXPECT_EQ(SysStringLen(texts[i]), wcslen(expected[i]));
        EXPECT_TRUE(i == 3 || texts[i] != stored[i]);
        SysFreeString(texts[i]);
    }
    EXPECT_TRUE(IsEqualGUID(clsid, coClass.clsid));
    EXPECT_EQ(info->GetImageName(nullptr), E_POINTER);
    EXPECT_EQ(object->GetThreadingModel(nullptr), E_POINTER);

    // Without a class description.
    auto* bare = TestComponentObject::Create(nullptr);
    long count = 0;
    GUID* array = nullptr;
    EXPECT_EQ(bare->GetIdentification(&texts[0], &clsid, &texts[1]), E_POINTER);
    EXPECT_EQ(bare->GetParentCatIdList(&count, &array), E_POINTER);
    EXPECT_EQ(bare->GetMainCatid(&clsid), E_POINTER);
    EXPECT_EQ(bare->ImplementsCatId(clsid), S_FALSE);
    EXPECT_EQ(bare->Release(), 0u);
}

// The three arrays: task-memory copies, also when empty, and raised when
// too large to allocate.
TEST(CoClassArrays, AreTaskMemoryCopiesOrRaiseWhenTheyCannotBeAllocated) {
    const struct {
        const char* condition;
        std::vector<GUID> TestCoClass::*table;
        long CCoClassData::*count;
        HRESULT (*call)(TestComponent*, long*, GUID**);
    } cases[] = {
        {"*ppImplementedCatIdArray == NULL", &TestCoClass::implemented,
         &CCoClassData::m_lImplementedCatIdCount,
         [](TestComponent* o, long* n, GUID** a) { return o->QueryImplementedCatIdList(n, a); }},
        {"*ppCharacteristicsArray == NULL", &TestCoClass::characteristics,
         &CCoClassData::m_lCharacteristicsCount,
         [](TestComponent* o, long* n, GUID** a) { return o->QueryCharacteristicsList(n, a); }},
        {"*ppParentCatIdArray == NULL", &TestCoClass::parents, &CCoClassData::m_lParentCatIdCount,
         [](TestComponent* o, long* n, GUID** a) { return o->GetParentCatIdList(n, a); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.condition);
        for (int round = 0; round < 3; ++round) {
            TestCoClass coClass;
            auto* object = TestComponentObject::Create(&coClass.data);
            if (round == 1) {
                (coClass.*c.table).clear();
                coClass.Refresh();
            }
            const std::vector<GUID>& expected = coClass.*c.table;
            long count = -1;
            GUID* array = nullptr;
            if (round == 2) {
                coClass.data.*c.count = LONG_MAX; // its byte size does not fit
                ExpectError(CatchError([&] { c.call(object, &count, &array); }), c.condition, "",
                            E_POINTER, kSource);
            } else {
                ASSERT_EQ(c.call(object, &count, &array), S_OK);
                ASSERT_EQ(count, static_cast<long>(expected.size()));
                ASSERT_NE(array, nullptr); // a zero-size task allocation too
                EXPECT_NE(array, expected.data());
                EXPECT_EQ(std::memcmp(array, expected.data(), expected.size() * sizeof(GUID)), 0);
            }
            CoTaskMemFree(array);
            EXPECT_EQ(object->Release(), 0u);
        }
    }
}

TEST_F(CoClassInfoTest, ImplementsCatIdComparesEveryImplementedCategory) {
    GUID almost = coClass.implemented[1];
    almost.Data4[7] ^= 0x80; // differs in the last byte only
    EXPECT_EQ(info->ImplementsCatId(coClass.implemented[0]), S_OK);
    EXPECT_EQ(info->ImplementsCatId(coClass.implemented[1]), S_OK);
    for (const GUID& other : {GUID_NULL, almost, coClass.parents[0]}) {
        EXPECT_EQ(info->ImplementsCatId(other), S_FALSE) << other.Data1;
    }
    // A count below 1 finds nothing, though the main category is still read.
    coClass.data.m_lImplementedCatIdCount = 0;
    EXPECT_EQ(info->ImplementsCatId(coClass.implemented[0]), S_FALSE);
    GUID main = GUID_NULL;
    EXPECT_EQ(info->GetMainCatid(&main), S_OK);
    EXPECT_TRUE(IsEqualGUID(main, coClass.implemented[0]));
    EXPECT_EQ(info->GetMainCatid(nullptr), E_POINTER);
}

// A list hook's result other than S_OK is raised, S_FALSE included; a null
// out-pointer makes the default hook fail, which is raised too.
TEST_F(CoClassInfoTest, FailingListHooksAreRaised) {
    long count = 0;
    GUID* array = nullptr;
    object->results[Hook_QueryImplementedCatIds] = E_OUTOFMEMORY;
    ExpectError(CatchError([&] { info->QueryImplementedCatIdList(&count, &array); }),
                "HResult was invalid", "", E_OUTOFMEMORY, kSource);
    object->results[Hook_QueryCharacteristics] = S_FALSE;
    ExpectError(CatchError([&] { info->QueryCharacteristicsList(&count, &array); }),
                "HResult was invalid", "", S_FALSE, kSource);
    object->results[Hook_QueryCharacteristics] = S_OK;
    ExpectError(CatchError([&] { info->QueryCharacteristicsList(nullptr, &array); }),
                "HResult was invalid", "", E_POINTER, kSource);
    EXPECT_EQ(object->GetParentCatIdList(nullptr, &array), E_POINTER);
    EXPECT_EQ(array, nullptr);
}

} // namespace
