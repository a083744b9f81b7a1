// The interface list: records, copies, look-ups, stepping and its empty
// record.
#include <gtest/gtest.h>

#include "CInterfaceList.h"
#include "common/CountingUnknown.h"

using namespace KxTamarind;
using KxTest::CountingUnknown;

namespace {
// Identifiers that live as long as the test (lists take their address).
const GUID* Iid(std::uint32_t n) {
    static GUID ids[16];
    ids[n] = GUID{n, 0x4444, 0x5555, {6, 6, 6, 6, 6, 6, 6, 6}};
    return &ids[n];
}
} // namespace

TEST(CInterfaceIdentificationData, DefaultEmptyAndAssignment) {
    CountingUnknown a;
    CountingUnknown b;
    {
        CInterfaceIdentificationData record;
        EXPECT_EQ(record.pIUnknown, nullptr);
        EXPECT_TRUE(IsEqualGUID(record.Iid, GUID_NULL));
        EXPECT_EQ(record.Name, nullptr);

        CInterfaceIdentificationData first(&a, *Iid(1), L"first");
        CInterfaceIdentificationData second(&b, *Iid(2), nullptr);
        second.Name = SysAllocStringLen(L"x\0y", 3);
        first = second;
        EXPECT_EQ(a.References(), 0);
        EXPECT_EQ(b.References(), 2);
        EXPECT_EQ(SysStringLen(first.Name), 3u); // length-exact
        BSTR kept = first.Name;
        first = first;
        EXPECT_EQ(first.Name, kept);

        first.SetEmpty();
        EXPECT_EQ(first.pIUnknown, nullptr);
        EXPECT_TRUE(IsEqualGUID(first.Iid, GUID_ALL_ONES));
        EXPECT_EQ(first.Name, nullptr);
        EXPECT_EQ(b.References(), 1);
    }
    EXPECT_EQ(b.References(), 0);
}

TEST(CInterfaceList, KeepsOwnCopiesAndFindsTheFirst) {
    CountingUnknown a;
    CountingUnknown b;
    {
        CInterfaceList list;
        {
            CountingUnknown* caller = &a;
            BSTR name = SysAllocString(L"alpha");
            caller->AddRef(); // the caller's own reference...
            ASSERT_EQ(list.Add(caller, name, Iid(1)), S_OK);
            SysFreeString(name); // ...and name may go: the list has its own
            caller->Release();
        }
        ASSERT_EQ(list.Add(&b, L"beta", Iid(1)), S_OK); // same Iid twice
        EXPECT_EQ(list.Add(&b, L"none", nullptr), E_POINTER);
        EXPECT_EQ(list.GetCount(), 2);
        EXPECT_EQ(a.References(), 1);

        CInterfaceIdentificationData out;
        EXPECT_TRUE(list.GetData(Iid(1), &out));
        EXPECT_EQ(out.pIUnknown, &a);
        EXPECT_EQ(std::wstring(out.Name), L"alpha");
        EXPECT_FALSE(list.GetData(Iid(9), &out));
        EXPECT_TRUE(IsEqualGUID(out.Iid, GUID_ALL_ONES));
        EXPECT_EQ(out.pIUnknown, nullptr);
        EXPECT_EQ(a.References(), 1);

        IUnknown* got = list.GetIUnknown(Iid(1));
        EXPECT_EQ(got, &a);
        got->Release();
        EXPECT_EQ(list.GetIUnknown(Iid(9)), nullptr);

        EXPECT_TRUE(list.Remove(Iid(1)));
        EXPECT_EQ(a.References(), 0);
        EXPECT_TRUE(list.CheckExistance(Iid(1))); // the second stays
        EXPECT_FALSE(list.Remove(Iid(9)));
        EXPECT_EQ(list.GetCount(), 1);
    }
    EXPECT_EQ(b.References(), 0);
}

TEST(CInterfaceList, PointedDataAndSkip) {
    CountingUnknown unknown;
    CInterfaceList list;
    for (std::uint32_t i = 1; i <= 3; ++i) {
        list.Add(&unknown, L"n", Iid(i));
    }
    CInterfaceIdentificationData out;
    EXPECT_TRUE(list.GetPointedData(2, &out));
    EXPECT_EQ(out.Iid.Data1, 3u);
    EXPECT_FALSE(list.GetPointedData(3, &out)); // the end: empty record
    EXPECT_TRUE(IsEqualGUID(out.Iid, GUID_ALL_ONES));
    EXPECT_TRUE(list.GetPointedData(4, &out)); // around the ring
    EXPECT_EQ(out.Iid.Data1, 1u);
    EXPECT_TRUE(list.GetPointedData(-2, &out));
    EXPECT_EQ(out.Iid.Data1, 3u);

    long index = 1;
    EXPECT_TRUE(list.Skip(1, &index));
    EXPECT_FALSE(list.Skip(2, &index));
    index = -5;
    EXPECT_TRUE(list.Skip(1, &index)); // negative sums count as inside
    EXPECT_FALSE(list.Skip(1, nullptr));
}

TEST(CInterfaceList, ChangesInvalidateEnumerations) {
    CInterfaceList list;
    CObjectState flag;
    list.AddEnumeration(&flag);
    CountingUnknown unknown;
    list.Add(&unknown, L"n", Iid(1));
    EXPECT_FALSE(flag.IsValid());
    flag.SetStateValid();
    EXPECT_FALSE(list.Remove(Iid(2)));
    EXPECT_TRUE(flag.IsValid());
    EXPECT_TRUE(list.Remove(Iid(1)));
    EXPECT_FALSE(flag.IsValid());
    list.DeleteEnumeration(&flag);
}
