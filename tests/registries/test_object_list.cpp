// The object list: insertion order, key/name/sort-index/pointer look-ups,
// bulk copies (including the count-only form that keeps the lock) and the
// flags of enumerations that a change invalidates.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "CEnumList.h"
#include "CObjectList.h"
#include "common/CountingUnknown.h"
#include "registries/TestRegistry.h"

using namespace KxTamarind;
using namespace KxTest;

namespace {

void AddRecord(CObjectList& list, std::uint32_t id, long sortIndex, IUnknown* unknown = nullptr,
               const GUID& catId = GUID_ALL_ONES, const wchar_t* name = nullptr,
               long instance = 0) {
    CComBSTR bstr(name);
    ObjectIdentificationData r{unknown, Key(id), catId, sortIndex, bstr.m_str, instance};
    list.Add(r);
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

void ReleaseAll(ObjectIdentificationData* array, long count) {
    Drain(array, count);
    CoTaskMemFree(array);
}

} // namespace

TEST(CObjectList, InsertionOrderOfSortIndexes) {
    // Records (id, sort index) in arrival order, and the ids in list order.
    struct Case {
        std::vector<std::pair<std::uint32_t, long>> added;
        std::vector<std::uint32_t> order;
    } cases[] = {
        {{{3, 2}, {2, 1}, {1, 0}}, {1, 2, 3}},              // descending arrivals end ascending
        {{{3, 2}, {2, 1}, {1, 0}, {4, 5}}, {1, 2, 4, 3}},   // a larger one goes before the last
        {{{3, 2}, {2, 1}, {1, 0}, {4, 1}}, {1, 4, 2, 3}},   // an equal one lands ahead
        {{{1, 0}, {2, 1}, {3, 2}}, {2, 3, 1}},              // ascending: one ahead of the last
        {{{1, 5}, {2, 2}}, {2, 1}},                         // less than the first: before it
        {{{1, 3}, {2, 7}, {3, -2}, {4, -2}}, {2, 1, 3, 4}}, // -2 appends in arrival order
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.added));
        CObjectList list;
        for (const auto& record : c.added) {
            AddRecord(list, record.first, record.second);
        }
        EXPECT_EQ(Ids(list), c.order);
        EXPECT_EQ(list.GetCount(), static_cast<long>(c.order.size()));
    }
}

TEST(CObjectList, KeyLookupsFindTheFirstMatch) {
    CountingUnknown a;
    CountingUnknown b;
    CObjectList list;
    AddRecord(list, 10, -2, &a, kCatA, L"a", 0);
    AddRecord(list, 10, -2, &b, kCatA, L"b", 1);
    EXPECT_TRUE(list.CheckExistance(Key(10), 1));
    EXPECT_FALSE(list.CheckExistance(Key(10), 2));
    EXPECT_FALSE(list.CheckExistance(Key(11), -1));
    IUnknown* got = list.GetIUnknown(Key(10), 1);
    EXPECT_EQ(got, &b);
    got->Release();
    got = list.GetIUnknown(Key(10), -1); // any instance: the first
    EXPECT_EQ(got, &a);
    got->Release();
    EXPECT_EQ(list.GetIUnknown(Key(99), -1), nullptr);

    CObjectIdentificationData out;
    EXPECT_TRUE(list.GetData(Key(10), 1, &out));
    EXPECT_EQ(std::wstring(out.Name), L"b");
    EXPECT_EQ(b.References(), 2);
    EXPECT_FALSE(list.GetData(Key(10), 5, &out));
    EXPECT_EQ(out.pIUnknown, nullptr); // cleared: its reference went back
    EXPECT_EQ(b.References(), 1);
    EXPECT_TRUE(list.Remove(Key(10), -1)); // -1: the first whatever its instance
    EXPECT_EQ(a.References(), 0);
    EXPECT_FALSE(list.Remove(Key(10), 0));
    EXPECT_EQ(list.GetCount(), 1);
    EXPECT_TRUE(list.Remove(Key(10), 1));
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
    EXPECT_EQ(instance, -7); // untouched
    EXPECT_TRUE(list.GetGuid(L"Beta", &guid, &instance));
    EXPECT_TRUE(IsEqualGUID(guid, Key(2)));
    EXPECT_EQ(instance, 3);
    CObjectIdentificationData out;
    EXPECT_TRUE(list.GetData(4L, &out));
    EXPECT_EQ(out.pIUnknown, &a);
    EXPECT_FALSE(list.GetData(5L, &out));
    got = list.GetIUnknown(4L);
    EXPECT_EQ(got, &a);
    got->Release();
    EXPECT_TRUE(list.Remove(static_cast<IUnknown*>(&b)));
    EXPECT_FALSE(list.Remove(static_cast<IUnknown*>(&b)));
    EXPECT_TRUE(list.Remove(L"Alpha"));
    EXPECT_FALSE(list.Remove(L"Alpha"));
    EXPECT_EQ(a.References() + b.References(), 0);
    EXPECT_TRUE(list.Remove(-2L));
    EXPECT_EQ(list.GetCount(), 0);
}

TEST(CObjectList, BulkCopiesWithAndWithoutFilter) {
    CountingUnknown a;
    CountingUnknown b;
    CObjectList list;
    long count = -1;
    ObjectIdentificationData* array = reinterpret_cast<ObjectIdentificationData*>(1);
    EXPECT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(nullptr, &count, &array), S_OK);
    EXPECT_EQ(count, 0); // empty: nothing allocated
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(nullptr, nullptr, nullptr), S_OK);

    AddRecord(list, 1, -2, &a, kCatA, L"a");
    AddRecord(list, 2, -2, &b, kCatB, L"b");
    AddRecord(list, 3, -2, nullptr, kCatA, nullptr);
    GUID all = GUID_NULL; // a null filter and GUID_NULL both select everything
    for (GUID* filter : {static_cast<GUID*>(nullptr), &all}) {
        ASSERT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(filter, &count, &array), S_OK);
        ASSERT_EQ(count, 3);
        EXPECT_EQ(array[0].pIUnknown, &a);
        EXPECT_EQ(std::wstring(array[0].Name), L"a");
        EXPECT_EQ(array[2].Name, nullptr);
        EXPECT_EQ(a.References(), 2);
        ReleaseAll(array, count);
    }
    GUID filter = kCatA;
    IUnknown** pointers = nullptr;
    ASSERT_EQ(list.GetFilteredObjectsIUnknown_CoTaskMemAlloc(&filter, &count, &pointers), S_OK);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(pointers[0], &a);
    EXPECT_EQ(pointers[1], nullptr);
    pointers[0]->Release();
    CoTaskMemFree(pointers);
    GUID allOnes = GUID_ALL_ONES; // not a wildcard here
    ASSERT_EQ(list.GetFilteredObjectsIUnknown_CoTaskMemAlloc(&allOnes, &count, &pointers), S_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(pointers, nullptr);
    EXPECT_EQ(a.References() + b.References(), 2);
}

TEST(CObjectList, CountOnlyBulkCopyKeepsTheLock) {
    CObjectList list;
    AddRecord(list, 1, -2);
    AddRecord(list, 2, -2);
    GUID none = kCatB;
    long count = -1;
    ASSERT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(&none, &count, nullptr), S_OK);
    EXPECT_EQ(count, 0); // empty selection: nothing kept locked
    ASSERT_EQ(list.GetFilteredObjects_CoTaskMemAlloc(nullptr, &count, nullptr), S_OK);
    EXPECT_EQ(count, 2);
    ASSERT_EQ(list.GetFilteredObjectsIUnknown_CoTaskMemAlloc(nullptr, &count, nullptr), S_OK);
    EXPECT_EQ(count, 2);
    EXPECT_TRUE(list.CheckExistance(Key(1), 0)); // this thread goes on (re-entrant)...
    std::atomic<bool> entered{false};
    std::thread other([&] { // ...another one blocks until both holds are given back
        list.CheckExistance(Key(2), 0);
        entered.store(true);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(entered.load());
    list.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered.load());
    list.unlock();
    other.join();
    EXPECT_TRUE(entered.load());
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
    EXPECT_FALSE(list.Remove(Key(2), -1));
    EXPECT_FALSE(list.Remove(L"none"));
    EXPECT_TRUE(a.IsValid());
    list.DeleteEnumeration(&b);
    EXPECT_TRUE(list.Remove(Key(1), -1));
    EXPECT_FALSE(a.IsValid());
    EXPECT_TRUE(b.IsValid()); // no longer in the set
    list.DeleteEnumeration(&a);

    CEnumList set; // duplicates and null are ignored
    set.AddEnumeration(&a);
    set.AddEnumeration(&a);
    set.AddEnumeration(nullptr);
    EXPECT_EQ(set.GetCount(), 1u);
    set.RemoveEnumeration(&a);
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
