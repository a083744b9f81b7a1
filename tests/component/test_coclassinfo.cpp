// Co-class information: texts and arrays copied out of the class
// description (owned by the caller afterwards), category queries, the
// threading model and the raised failures.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "CErrorObject.h"
#include "TestComponent.h"
#include "common/CatchError.h"

using namespace KxTamarind;
using KxTest::CatchError;
using KxTest::MakeGuid;
using KxTest::TestCoClass;
using KxTest::TestComponentObject;

namespace {

class CoClassInfoTest : public ::testing::Test {
protected:
    void SetUp() override {
        object = TestComponentObject::Create(&coClass.data);
        ASSERT_NE(object, nullptr);
        info = object;
    }
    void TearDown() override { EXPECT_EQ(object->Release(), 0u); }

    void ExpectRaised(const std::unique_ptr<CErrorObject>& error, const char* condition,
                      long code) {
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(error->GetCondition().GetString(), condition);
        EXPECT_STREQ(error->GetAdditionalInfo().GetString(), "");
        EXPECT_EQ(error->GetErrorCode(), code);
        EXPECT_STREQ(error->GetFileName().GetString(), "Base/Interfaces/_Src/CBCoClassInfo");
    }

    TestCoClass coClass;
    TestComponentObject* object = nullptr;
    IKXCoClassInfo* info = nullptr;
};

TEST_F(CoClassInfoTest, IdentificationTextsAreCopiesForTheCaller) {
    BSTR name = nullptr;
    BSTR text = nullptr;
    GUID clsid = GUID_NULL;
    ASSERT_EQ(info->GetIdentification(&name, &clsid, &text), S_OK);
    ASSERT_NE(name, nullptr);
    ASSERT_NE(text, nullptr);
    EXPECT_NE(name, *coClass.data.m_pbstrName);
    EXPECT_STREQ(name, L"KxTest.Component");
    EXPECT_EQ(SysStringLen(name), SysStringLen(*coClass.data.m_pbstrName));
    EXPECT_STREQ(text, L"TestComp");
    EXPECT_TRUE(IsEqualGUID(clsid, coClass.Clsid()));
    SysFreeString(name);
    SysFreeString(text);

    BSTR image = nullptr;
    ASSERT_EQ(info->GetImageName(&image), S_OK);
    EXPECT_STREQ(image, L"libKxTestComponent.so");
    EXPECT_NE(image, *coClass.data.m_pbstrImageName);
    SysFreeString(image);
    EXPECT_EQ(info->GetImageName(nullptr), E_POINTER);
}

TEST_F(CoClassInfoTest, ArraysAreTaskMemoryCopies) {
    long count = -1;
    GUID* array = nullptr;
    ASSERT_EQ(info->QueryImplementedCatIdList(&count, &array), S_OK);
    ASSERT_EQ(count, 2);
    ASSERT_NE(array, nullptr);
    EXPECT_NE(array, coClass.implemented.data());
    EXPECT_EQ(std::memcmp(array, coClass.implemented.data(), 2 * sizeof(GUID)), 0);
    CoTaskMemFree(array);

    array = nullptr;
    ASSERT_EQ(info->QueryCharacteristicsList(&count, &array), S_OK);
    ASSERT_EQ(count, 3);
    EXPECT_EQ(std::memcmp(array, coClass.characteristics.data(), 3 * sizeof(GUID)), 0);
    CoTaskMemFree(array);

    array = nullptr;
    ASSERT_EQ(object->GetParentCatIdList(&count, &array), S_OK);
    ASSERT_EQ(count, 1);
    EXPECT_TRUE(IsEqualGUID(array[0], coClass.parents[0]));
    CoTaskMemFree(array);
    EXPECT_EQ(object->GetParentCatIdList(nullptr, &array), E_POINTER);
}

TEST_F(CoClassInfoTest, AClassWithoutCharacteristicsGetsAnEmptyArray) {
    coClass.characteristics.clear();
    coClass.Refresh();
    long count = -1;
    GUID* array = nullptr;
    ASSERT_EQ(info->QueryCharacteristicsList(&count, &array), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_NE(array, nullptr); // the platform's zero-size task allocation
    CoTaskMemFree(array);
}

TEST_F(CoClassInfoTest, ImplementsCatIdComparesEveryImplementedCategory) {
    EXPECT_EQ(info->ImplementsCatId(coClass.MainCategory()), S_OK);
    EXPECT_EQ(info->ImplementsCatId(coClass.implemented[1]), S_OK);
    EXPECT_EQ(info->ImplementsCatId(GUID_NULL), S_FALSE);
    GUID almost = coClass.implemented[1];
    almost.Data4[7] ^= 0x80; // differs in the last byte only
    EXPECT_EQ(info->ImplementsCatId(almost), S_FALSE);
    EXPECT_EQ(info->ImplementsCatId(coClass.parents[0]), S_FALSE);

    // A count below 1 finds nothing, even where the table has entries.
    coClass.data.m_lImplementedCatIdCount = 0;
    EXPECT_EQ(info->ImplementsCatId(coClass.MainCategory()), S_FALSE);
    // The main category is read even then.
    GUID main = GUID_NULL;
    EXPECT_EQ(info->GetMainCatid(&main), S_OK);
    EXPECT_TRUE(IsEqualGUID(main, coClass.MainCategory()));
    EXPECT_EQ(info->GetMainCatid(nullptr), E_POINTER);
}

TEST_F(CoClassInfoTest, ThreadingModelIsAlwaysApartment) {
    EXPECT_FALSE(object->IsApartmentThreaded()); // the kit claims free threading only
    BSTR model = nullptr;
    ASSERT_EQ(object->GetThreadingModel(&model), S_OK);
    EXPECT_STREQ(model, L"Apartment");
    SysFreeString(model);
    EXPECT_EQ(object->GetThreadingModel(nullptr), E_POINTER);
}

TEST_F(CoClassInfoTest, OperationsWithoutContentLeaveTheirArgumentsAlone) {
    long count = 4;
    GUID guid = MakeGuid(5, 5);
    GUID* ids = &guid;
    wchar_t** descriptions = reinterpret_cast<wchar_t**>(&count);
    EXPECT_EQ(info->QueryAllInterfacesDescription(&count, &ids, &descriptions), S_OK);
    EXPECT_EQ(descriptions, nullptr);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(ids, &guid);
    EXPECT_EQ(info->QueryAllInterfaces(&count, &ids), S_OK);
    EXPECT_EQ(ids, nullptr);
    EXPECT_EQ(count, 4);

    ids = &guid;
    LinkageData* linkages = reinterpret_cast<LinkageData*>(&count);
    EXPECT_EQ(info->QueryLinkageList(&count, &linkages), S_OK);
    EXPECT_EQ(linkages, reinterpret_cast<LinkageData*>(&count));
    EXPECT_EQ(info->QueryOutgoingCatIdList(&count, &ids), S_OK);
    EXPECT_EQ(object->DoQueryOutgoingCatIdList(&count, &ids), S_OK);
    EXPECT_EQ(ids, &guid);
    EXPECT_EQ(count, 4);
    BSTR name = reinterpret_cast<BSTR>(&count);
    EXPECT_EQ(info->GetComponentInfo(&name, &guid, nullptr, &count, &ids, nullptr, nullptr, nullptr,
                                     nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                     nullptr),
              S_OK);
    EXPECT_EQ(name, reinterpret_cast<BSTR>(&count));
    EXPECT_TRUE(IsEqualGUID(guid, MakeGuid(5, 5)));
}

TEST_F(CoClassInfoTest, FailingListHooksAreRaised) {
    long count = 0;
    GUID* array = nullptr;
    object->results[KxTest::Hook_QueryImplementedCatIds] = E_OUTOFMEMORY;
    ExpectRaised(CatchError([&] { info->QueryImplementedCatIdList(&count, &array); }),
                 "HResult was invalid", E_OUTOFMEMORY);
    object->results[KxTest::Hook_QueryCharacteristics] = S_FALSE;
    ExpectRaised(CatchError([&] { info->QueryCharacteristicsList(&count, &array); }),
                 "HResult was invalid", S_FALSE);
    // Null out-pointers make the default hooks fail, which is raised too.
    object->results[KxTest::Hook_QueryCharacteristics] = S_OK;
    ExpectRaised(CatchError([&] { info->QueryCharacteristicsList(nullptr, &array); }),
                 "HResult was invalid", E_POINTER);
    EXPECT_EQ(array, nullptr);
}

TEST_F(CoClassInfoTest, AnArrayThatCannotBeAllocatedIsRaised) {
    // A count whose byte size does not fit cannot be allocated.
    coClass.data.m_lCharacteristicsCount = LONG_MAX;
    coClass.data.m_lImplementedCatIdCount = LONG_MAX;
    coClass.data.m_lParentCatIdCount = LONG_MAX;
    long count = 0;
    GUID* array = nullptr;
    ExpectRaised(CatchError([&] { object->DoQueryCharacteristicsList(&count, &array); }),
                 "*ppCharacteristicsArray == NULL", E_POINTER);
    ExpectRaised(CatchError([&] { object->DoQueryImplementedCatIdList(&count, &array); }),
                 "*ppImplementedCatIdArray == NULL", E_POINTER);
    ExpectRaised(CatchError([&] { object->GetParentCatIdList(&count, &array); }),
                 "*ppParentCatIdArray == NULL", E_POINTER);
    EXPECT_EQ(array, nullptr);
}

TEST(CoClassInfoWithoutDescription, AnswersEPointer) {
    auto* object = TestComponentObject::Create(nullptr);
    ASSERT_NE(object, nullptr);
    BSTR name = nullptr;
    GUID guid = GUID_NULL;
    long count = 0;
    GUID* array = nullptr;
    EXPECT_EQ(object->GetIdentification(&name, &guid, &name), E_POINTER);
    EXPECT_EQ(object->GetParentCatIdList(&count, &array), E_POINTER);
    EXPECT_EQ(object->GetMainCatid(&guid), E_POINTER);
    EXPECT_EQ(object->ImplementsCatId(guid), S_FALSE);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(object->Release(), 0u);
}

} // namespace
