// The object list: insertion order, ring stepping, look-ups, bulk copies
// (including the count-only path that keeps the lock) and invalidation.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "CEnumList.h"
#include "CObjectList.h"
#include "common/CountingUnknown.h"

using namespace KxTamarind;
using KxTest::CountingUnknown;

namespace {

GUID MakeGuid(std::uint32_t n) {
    return GUID{n, 0x1234, 0x5678, {9, 9, 9, 9, 9, 9, 9, 9}};
}
const GUID kCatA = {0xCA7A0000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}};
const GUID kCatB = {0xCA7B0000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 2}};

// Adds a record (the list copies it; nothing here is owned).
void AddRecord(CObjectList& list, std::uint32_t id, long sortIndex, IUnknown* unknown = nullptr,
               const GUID& catId = GUID_ALL_ONES, const wchar_t* name = nullptr,
               long instance = 0) {
    ObjectIdentificationData r;
    r.pIUnknown = unknown;
    r.ObjectGuid = MakeGuid(id);
    r.CatId = catId;
    r.SortIndex = sortIndex;
    CComBSTR bstr(name);
    r.Name = bstr.m_str;
    r.InstanceNumber = instance;
    list.Add(r);
}

std::vector<long> SortIndexes(CObjectList& list) {
    std::vector<long> out;
    CCritSectionLocker locker(list);
    CObjectList::iterator it;
    for (bool ok = list.GetListStart(it); ok; ok = list.Skip(1, it, it)) {
        out.push_back(it->SortIndex);
    }
    return out;
}

std::vector<std::uint32_t> Ids(CObjectList& list) {
    std::vector<std::uint32_t> out;
    CCritSectionLocker locker(list);
    CObjectList::iterator it;
    for (bool ok = list.GetListStart(it); ok; ok = list.Skip(1, it, it)) {
        out.push_back(it->ObjectGuid.Data1);
    }
    return out;
}

} // namespace

TEST(CObjectList, InsertionOrderOfMixedSortIndexes) {
    {
        // Added in descending order, the records end up ascending.
        CObjectList list;
        AddRecord(list, 3, 2);
        AddRecord(list, 2, 1);
        AddRecord(list, 1, 0);
        EXPECT_EQ(SortIndexes(list), (std::vector<long>{0, 1, 2}));
        AddRecord(list, 4, 5);
        EXPECT_EQ(SortIndexes(list), (std::vector<long>{0, 1, 5, 2}));
    }
    {
        CObjectList list;
        AddRecord(list, 3, 2);
        AddRecord(list, 2, 1);
        AddRecord(list, 1, 0);
        AddRecord(list, 4, 1);
        // The new 1 lands ahead of the old one.
        EXPECT_EQ(Ids(list), (std::vector<std::uint32_t>{1, 4, 2, 3}));
    }
    {
        CObjectList list;
        AddRecord(list, 1, 3);
        AddRecord(list, 2, 7);
        EXPECT_EQ(SortIndexes(list), (std::vector<long>{7, 3}));
        // -2 appends in arrival order.
        AddRecord(list, 3, -2);
        AddRecord(list, 4, -2);
        EXPECT_EQ(Ids(list), (std::vector<std::uint32_t>{2, 1, 3, 4}));
        EXPECT_EQ(list.GetCount(), 4);
    }
    {
        // Ascending arrivals each land one place ahead of the last record.
        CObjectList list;
        AddRecord(list, 1, 0);
        AddRecord(list, 2, 1);
        AddRecord(list, 3, 2);
        EXPECT_EQ(SortIndexes(list), (std::vector<long>{1, 2, 0}));
    }
    {
        CObjectList list;
        AddRecord(list, 1, 5);
        AddRecord(list, 2, 2); // less than the first: inserted before it
        EXPECT_EQ(SortIndexes(list), (std::vector<long>{2, 5}));
    }
}

TEST(CObjectList, RingSteppingBothWays) {
    CObjectList list;
    for (std::uint32_t id = 1; id <= 3; ++id) {
        AddRecord(list, id, -2);
    }
    CObjectList::iterator first;
    ASSERT_TRUE(list.GetListStart(first));
    CObjectList::iterator to;
    EXPECT_TRUE(list.Skip(2, first, to));
    EXPECT_EQ(to->ObjectGuid.Data1, 3u);
    EXPECT_FALSE(list.Skip(3, first, to)); // count steps: the end
    EXPECT_FALSE(list.IsValid(to));
    EXPECT_TRUE(list.Skip(4, first, to)); // count + 1: the first again
    EXPECT_EQ(to->ObjectGuid.Data1, 1u);
    EXPECT_FALSE(list.Skip(-1, first, to)); // -1: the end
    EXPECT_TRUE(list.Skip(-2, first, to));  // -2: the last
    EXPECT_EQ(to->ObjectGuid.Data1, 3u);
    EXPECT_TRUE(list.Skip(-7, first, to)); // -4 first, -5 end, -6 last, -7 middle
    EXPECT_EQ(to->ObjectGuid.Data1, 2u);

    CObjectIdentificationData out;
    EXPECT_TRUE(list.GetPointedData(1, &out));
    EXPECT_EQ(out.ObjectGuid.Data1, 2u);
    EXPECT_FALSE(list.GetPointedData(3, &out));
    EXPECT_TRUE(IsEqualGUID(out.ObjectGuid, GUID_NULL)); // cleared
    EXPECT_TRUE(list.GetPointedData(-2, &out));
    EXPECT_EQ(out.ObjectGuid.Data1, 3u);
    EXPECT_FALSE(list.GetPointedData(first, nullptr));

    CObjectList empty;
    EXPECT_FALSE(empty.GetPointedData(0, &out));
    EXPECT_FALSE(empty.GetPointedData(5, &out));
    EXPECT_FALSE(empty.GetPointedData(-3, &out));
}

TEST(CObjectList, KeyLookupsFindTheFirstMatch) {
    CountingUnknown a;
    CountingUnknown b;
    {
        CObjectList list;
        AddRecord(list, 10, -2, &a, kCatA, L"a", 0);
        AddRecord(list, 10, -2, &b, kCatA, L"b", 1);
        EXPECT_EQ(a.References(), 1);
        EXPECT_EQ(b.References(), 1);

        EXPECT_TRUE(list.CheckExistance(MakeGuid(10), 1));
        EXPECT_FALSE(list.CheckExistance(MakeGuid(10), 2));
        EXPECT_FALSE(list.CheckExistance(MakeGuid(11), -1));

        IUnknown* got = list.GetIUnknown(MakeGuid(10), 1);
        EXPECT_EQ(got, &b);
        got->Release();
        got = list.GetIUnknown(MakeGuid(10), -1); // any instance: the first
        EXPECT_EQ(got, &a);
        got->Release();
        EXPECT_EQ(list.GetIUnknown(MakeGuid(99), -1), nullptr);

        CObjectIdentificationData out;
        EXPECT_TRUE(list.GetData(MakeGuid(10), 1, &out));
        EXPECT_EQ(std::wstring(out.Name), L"b");
        EXPECT_EQ(b.References(), 2);
        EXPECT_FALSE(list.GetData(MakeGuid(10), 5, &out));
        EXPECT_EQ(out.pIUnknown, nullptr); // cleared: its reference went back
        EXPECT_EQ(b.References(), 1);

        // -1 removes the first record whatever its instance.
        EXPECT_TRUE(list.Remove(MakeGuid(10), -1));
        EXPECT_EQ(a.References(), 0);
        EXPECT_EQ(list.GetCount(), 1);
        EXPECT_FALSE(list.Remove(MakeGuid(10), 0));
        EXPECT_EQ(list.GetCount(), 1);
    }
    EXPECT_EQ(b.References(), 0);
}

TEST(CObjectList, NameSortIndexAndPointerLookups) {
    CountingUnknown a;
    CountingUnknown b;
    CObjectList list;
    AddRecord(list, 1, 4, &a, kCatA, L"Alpha", 2);
    AddRecord(list, 2, -2, &b, kCatB, L"Beta", 3);
    AddRecord(list, 3, -2, nullptr, kCatB, nullptr, 0);

    EXPECT_EQ(list.FindIndex(static_cast<const wchar_t*>(nullptr)), list.End());
    IUnknown* got = list.GetIUnknown(L"Alpha");
    EXPECT_EQ(got, &a);
    got->Release();
    EXPECT_EQ(list.GetIUnknown(L"alpha"), nullptr); // case-sensitive

    GUID guid = GUID_NULL;
    long instance = -7;
    EXPECT_FALSE(list.GetGuid(L"BETA", &guid, &instance));
    EXPECT_TRUE(IsEqualGUID(guid, GUID_NULL));
    EXPECT_EQ(instance, -7);
    EXPECT_TRUE(list.GetGuid(L"Beta", &guid, &instance));
    EXPECT_TRUE(IsEqualGUID(guid, MakeGuid(2)));
    EXPECT_EQ(instance, 3);

    CObjectIdentificationData out;
    EXPECT_TRUE(list.GetData(4L, &out));
    EXPECT_EQ(out.pIUnknown, &a);
    EXPECT_FALSE(list.GetData(5L, &out));
    got = list.GetIUnknown(4L);
    EXPECT_EQ(got, &a);
    got->Release();

    EXPECT_TRUE(list.Remove(static_cast<IUnknown*>(&b)));
    EXPECT_EQ(b.References(), 0);
    EXPECT_FALSE(list.Remove(static_cast<IUnknown*>(&b)));
    EXPECT_TRUE(list.Remove(L"Alpha"));
    EXPECT_FALSE(list.Remove(L"Alpha"));
    EXPECT_EQ(a.References(), 0);
    EXPECT_TRUE(list.Remove(-2L));
    EXPECT_EQ(list.GetCount(), 0);
}

TEST(CObjectList, BulkCopiesWithAndWithoutFilter) {
    CountingUnknown a;
    CountingUnknown b;
    CObjectList list;
    AddRecord(list, 1, -2, &a, kCatA, L"a");
    AddRecord(list, 2, -2, &b, kCatB, L"b");
    AddRecord(list, 3, -2, nullptr, kCatA, nullptr);

    long count = -1;
    ObjectIdentificationData* array = reinterpret_cast<ObjectIdentificationData*>(1);
    // Null filter and GUID_NULL both select everything.
    ASSERT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(nullptr, &count, &array), S_OK);
    ASSERT_EQ(count, 3);
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array[0].pIUnknown, &a);
    EXPECT_NE(array[0].Name, nullptr);
    EXPECT_EQ(array[2].pIUnknown, nullptr);
    EXPECT_EQ(array[2].Name, nullptr);
    EXPECT_EQ(a.References(), 2);
    for (long i = 0; i < count; ++i) {
        if (array[i].pIUnknown != nullptr) {
            array[i].pIUnknown->Release();
        }
        SysFreeString(array[i].Name);
    }
    CoTaskMemFree(array);

    GUID all = GUID_NULL;
    ASSERT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(&all, &count, &array), S_OK);
    EXPECT_EQ(count, 3);
    for (long i = 0; i < count; ++i) {
        if (array[i].pIUnknown != nullptr) {
            array[i].pIUnknown->Release();
        }
        SysFreeString(array[i].Name);
    }
    CoTaskMemFree(array);

    GUID filter = kCatA;
    IUnknown** pointers = nullptr;
    ASSERT_EQ(list.GetFilteredObjectsIUnknown_CoTaskMemAlloc(&filter, &count, &pointers), S_OK);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(pointers[0], &a);
    EXPECT_EQ(pointers[1], nullptr);
    pointers[0]->Release();
    CoTaskMemFree(pointers);

    // The all-ones GUID is not a wildcard here.
    GUID allOnes = GUID_ALL_ONES;
    ASSERT_EQ(list.GetFilteredObjectsIUnknown_CoTaskMemAlloc(&allOnes, &count, &pointers), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(pointers, nullptr);

    EXPECT_EQ(a.References(), 1);
    EXPECT_EQ(b.References(), 1);
}

TEST(CObjectList, CountOnlyBulkCopyKeepsTheLock) {
    CObjectList list;
    AddRecord(list, 1, -2);
    AddRecord(list, 2, -2);

    // Empty selection: nothing kept locked.
    GUID none = kCatB;
    long count = -1;
    ASSERT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(&none, &count, nullptr), S_OK);
    EXPECT_EQ(count, 0);

    ASSERT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(nullptr, &count, nullptr), S_OK);
    EXPECT_EQ(count, 2);
    ASSERT_EQ(list.GetFilteredObjectsIUnknown_CoTaskMemAlloc(nullptr, &count, nullptr), S_OK);
    EXPECT_EQ(count, 2);
    // This thread still uses the list (re-entrant)...
    EXPECT_TRUE(list.CheckExistance(MakeGuid(1), 0));

    // ...while another thread blocks on it.
    std::atomic<bool> entered{false};
    std::thread other([&] {
        list.CheckExistance(MakeGuid(2), 0);
        entered.store(true);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(entered.load());
    list.unlock(); // once per count-only call
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered.load());
    list.unlock();
    other.join();
    EXPECT_TRUE(entered.load());
}

TEST(CObjectList, EmptyBulkCopyAllocatesNothing) {
    CObjectList list;
    long count = -1;
    ObjectIdentificationData* array = reinterpret_cast<ObjectIdentificationData*>(1);
    EXPECT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(nullptr, &count, &array), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(array, nullptr);
    // Null out-pointers are skipped.
    EXPECT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(nullptr, nullptr, nullptr), S_OK);
}

TEST(CObjectList, ChangesInvalidateEnumerationsButMissesDoNot) {
    CObjectList list;
    CObjectState a;
    CObjectState b;
    list.AddEnumeration(&a);
    list.AddEnumeration(&b);
    AddRecord(list, 1, -2);
    EXPECT_FALSE(a.IsValid());
    EXPECT_FALSE(b.IsValid());
    a.SetStateValid();
    b.SetStateValid();
    EXPECT_FALSE(list.Remove(MakeGuid(2), -1));
    EXPECT_FALSE(list.Remove(L"none"));
    EXPECT_TRUE(a.IsValid());
    list.DeleteEnumeration(&b);
    EXPECT_TRUE(list.Remove(MakeGuid(1), -1));
    EXPECT_FALSE(a.IsValid());
    EXPECT_TRUE(b.IsValid()); // no longer in the set
    list.DeleteEnumeration(&a);
}

TEST(CEnumList, SetIgnoresDuplicatesAndForgetsRemovedFlags) {
    CEnumList set;
    CObjectState a;
    set.AddEnumeration(&a);
    set.AddEnumeration(&a);
    set.AddEnumeration(nullptr);
    EXPECT_EQ(set.GetCount(), 1u);
    set.SetInvalid();
    EXPECT_FALSE(a.IsValid());
    set.RemoveEnumeration(&a);
    EXPECT_EQ(set.GetCount(), 0u);
    a.SetStateValid();
    set.SetInvalid();
    EXPECT_TRUE(a.IsValid());
}

#ifndef NDEBUG
TEST(CEnumListDeathTest, RemovingAnAbsentFlagAssertsInDebugBuilds) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    CEnumList set;
    CObjectState a;
    EXPECT_DEATH(set.RemoveEnumeration(&a), "not in the set");
}
#endif
