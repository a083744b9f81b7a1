// Ownership rules of the object record wrappers: defaults, copies, moves,
// clears, and registration through a target's object registry.
#include <gtest/gtest.h>

#include "CObjectIdentificationData.h"
#include "CSmartObjectIdentificationData.h"
#include "common/CountingUnknown.h"
#include "common/RecordingDeviceCallbacks.h"
#include "registries/TestRegistry.h"

using namespace KxTamarind;
using KxTest::CountingUnknown;

namespace {

const GUID kGuidA = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
const GUID kCatA = {0xCA7A0000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}};
// "ab", an embedded NUL, then "c".
const wchar_t kEmbedded[] = {L'a', L'b', L'\0', L'c'};

void ExpectDefaults(const ObjectIdentificationData& d) {
    EXPECT_EQ(d.pIUnknown, nullptr);
    EXPECT_TRUE(IsEqualGUID(d.ObjectGuid, GUID_NULL));
    EXPECT_TRUE(IsEqualGUID(d.CatId, GUID_ALL_ONES));
    EXPECT_EQ(d.SortIndex, -2);
    EXPECT_EQ(d.Name, nullptr);
    EXPECT_EQ(d.InstanceNumber, 0);
}

// A plain record that owns nothing (the test keeps the name alive).
ObjectIdentificationData Record(IUnknown* unknown, BSTR name) {
    ObjectIdentificationData r;
    r.pIUnknown = unknown;
    r.ObjectGuid = kGuidA;
    r.CatId = kCatA;
    r.SortIndex = 7;
    r.Name = name;
    r.InstanceNumber = 3;
    return r;
}

} // namespace

TEST(ObjectIdentificationData, DefaultsOfAllForms) {
    CObjectIdentificationData owned;
    ExpectDefaults(owned);
    CSmartObjectIdentificationData smart;
    ExpectDefaults(smart.Data());
    ObjectIdentificationData raw;
    CSmartObjectIdentificationData::InitData(raw);
    ExpectDefaults(raw);
}

TEST(CObjectIdentificationData, ConstructionFromRecordCopiesUpToFirstNul) {
    CountingUnknown unknown;
    CComBSTR name(4, kEmbedded);
    {
        CObjectIdentificationData copy(Record(&unknown, name));
        EXPECT_EQ(unknown.References(), 1);
        EXPECT_EQ(copy.pIUnknown, &unknown);
        EXPECT_TRUE(IsEqualGUID(copy.ObjectGuid, kGuidA));
        EXPECT_TRUE(IsEqualGUID(copy.CatId, kCatA));
        EXPECT_EQ(copy.SortIndex, 7);
        EXPECT_EQ(copy.InstanceNumber, 3);
        ASSERT_NE(copy.Name, nullptr);
        EXPECT_NE(copy.Name, name.m_str);
        EXPECT_EQ(SysStringLen(copy.Name), 2u);
    }
    EXPECT_EQ(unknown.References(), 0);
}

TEST(CObjectIdentificationData, AssignmentIsLengthExactAndOrdersReferences) {
    CountingUnknown first;
    CountingUnknown second;
    CComBSTR embedded(4, kEmbedded);
    {
        CObjectIdentificationData source(Record(&first, nullptr));
        source.Name = SysAllocStringLen(kEmbedded, 4);
        CObjectIdentificationData target(Record(&second, nullptr));
        target = source;
        EXPECT_EQ(first.References(), 2);
        EXPECT_EQ(second.References(), 0);
        ASSERT_NE(target.Name, nullptr);
        EXPECT_EQ(SysStringLen(target.Name), 4u); // embedded NUL kept
        EXPECT_EQ(target.Name[3], L'c');

        // Self-assignment and a shared BSTR allocate nothing new.
        BSTR before = target.Name;
        target = target;
        EXPECT_EQ(target.Name, before);
        EXPECT_EQ(first.References(), 2);

        // The copy constructor takes its own reference and name.
        CObjectIdentificationData copy(target);
        EXPECT_EQ(first.References(), 3);
        EXPECT_NE(copy.Name, target.Name);
        EXPECT_EQ(SysStringLen(copy.Name), 4u);
    }
    EXPECT_EQ(first.References(), 0);
    EXPECT_EQ(second.References(), 0);
}

TEST(CObjectIdentificationData, AssigningTheSameBstrKeepsThePointer) {
    CObjectIdentificationData a;
    CObjectIdentificationData b;
    a.Name = SysAllocString(L"shared");
    b.Name = a.Name; // deliberately shared: assignment must not free or copy it
    b = a;
    EXPECT_EQ(b.Name, a.Name);
    b.Name = nullptr; // only one owner may free it
}

TEST(CObjectIdentificationData, ClearDetachAndCopy) {
    CountingUnknown unknown;
    CComBSTR name(L"dev");
    CObjectIdentificationData data(Record(&unknown, name));
    ASSERT_EQ(unknown.References(), 1);

    ObjectIdentificationData copy;
    data.Copy(copy);
    EXPECT_EQ(unknown.References(), 2);
    EXPECT_NE(copy.Name, data.Name);
    EXPECT_EQ(std::wstring(copy.Name), L"dev");
    EXPECT_EQ(copy.SortIndex, 7);

    ObjectIdentificationData moved;
    BSTR ownName = data.Name;
    data.Detach(moved);
    EXPECT_EQ(moved.Name, ownName);
    EXPECT_EQ(moved.pIUnknown, &unknown);
    EXPECT_EQ(data.pIUnknown, nullptr);
    EXPECT_EQ(data.Name, nullptr);
    // Only the interface and the name are handed over.
    EXPECT_TRUE(IsEqualGUID(data.ObjectGuid, kGuidA));
    EXPECT_TRUE(IsEqualGUID(data.CatId, kCatA));
    EXPECT_EQ(data.SortIndex, 7);
    EXPECT_EQ(data.InstanceNumber, 3);
    EXPECT_EQ(unknown.References(), 2);

    CSmartObjectIdentificationData::ClearData(moved);
    CSmartObjectIdentificationData::ClearData(copy);
    EXPECT_EQ(unknown.References(), 0);

    CObjectIdentificationData again(Record(&unknown, name));
    again.Clear();
    ExpectDefaults(again);
    EXPECT_EQ(unknown.References(), 0);
}

TEST(CSmartObjectIdentificationData, CopiesTruncateAtFirstNul) {
    CountingUnknown unknown;
    CComBSTR name(4, kEmbedded);
    CSmartObjectIdentificationData smart(Record(&unknown, name));
    EXPECT_EQ(unknown.References(), 1);
    EXPECT_EQ(SysStringLen(smart.Data().Name), 2u);
    CSmartObjectIdentificationData copy(smart);
    EXPECT_EQ(unknown.References(), 2);
    EXPECT_NE(copy.Data().Name, smart.Data().Name);
    copy = copy;
    EXPECT_EQ(unknown.References(), 2);
    copy = Record(nullptr, nullptr);
    EXPECT_EQ(unknown.References(), 1);
    EXPECT_EQ(copy.Data().pIUnknown, nullptr);
    EXPECT_EQ(copy.Data().Name, nullptr);
    EXPECT_EQ(copy.Data().SortIndex, 7);
}

TEST(CSmartObjectIdentificationData, DetachFormsDiffer) {
    CountingUnknown unknown;
    CComBSTR name(L"x");
    CSmartObjectIdentificationData smart(Record(&unknown, name));
    ObjectIdentificationData out;
    smart.Detach(out);
    ExpectDefaults(smart.Data()); // the whole member is reset
    EXPECT_EQ(out.pIUnknown, &unknown);
    EXPECT_EQ(unknown.References(), 1);
    CSmartObjectIdentificationData::ClearData(out);
    EXPECT_EQ(unknown.References(), 0);

    CSmartObjectIdentificationData other(Record(&unknown, name));
    EXPECT_EQ(unknown.References(), 1);
    other.Detach(); // releases, hands nothing anywhere
    EXPECT_EQ(unknown.References(), 0);
    ExpectDefaults(other.Data());
}

TEST(CSmartObjectIdentificationData, AttachTakesOverOnce) {
    CountingUnknown unknown;
    {
        ObjectIdentificationData src = Record(&unknown, SysAllocString(L"attached"));
        unknown.AddRef(); // the reference src carries
        CSmartObjectIdentificationData smart;
        smart.Attach(src);
        EXPECT_EQ(smart.Data().Name, src.Name);
        smart.Attach(smart.Data()); // onto itself: nothing happens
        EXPECT_EQ(unknown.References(), 1);
    }
    EXPECT_EQ(unknown.References(), 0);
    EXPECT_EQ(unknown.Releases(), 1);
}

TEST(CSmartObjectIdentificationData, CopyToClearsTheTargetFirst) {
    CountingUnknown mine;
    CountingUnknown theirs;
    CComBSTR name(L"mine");
    CSmartObjectIdentificationData smart(Record(&mine, name));
    smart.CopyTo(nullptr);
    smart.CopyTo(&smart);
    EXPECT_EQ(mine.References(), 1);

    CSmartObjectIdentificationData target(Record(&theirs, name));
    ASSERT_EQ(theirs.References(), 1);
    smart.CopyTo(&target);
    EXPECT_EQ(theirs.References(), 0);
    EXPECT_EQ(mine.References(), 2);
    EXPECT_EQ(std::wstring(target.Data().Name), L"mine");
}

TEST(CSmartObjectIdentificationData, InitMakesAFreshGuidEachTime) {
    CountingUnknown unknown;
    CSmartObjectIdentificationData smart;
    wchar_t name[] = L"component";
    smart.Init(name, &unknown, kCatA);
    GUID first = smart.Data().ObjectGuid;
    EXPECT_FALSE(IsEqualGUID(first, GUID_NULL));
    EXPECT_TRUE(IsEqualGUID(smart.Data().CatId, kCatA));
    EXPECT_EQ(smart.Data().SortIndex, -2);
    EXPECT_EQ(smart.Data().InstanceNumber, 0);
    EXPECT_EQ(std::wstring(smart.Data().Name), L"component");
    smart.Init(name, &unknown, kCatA);
    EXPECT_FALSE(IsEqualGUID(first, smart.Data().ObjectGuid));
    EXPECT_EQ(unknown.References(), 1);
    smart.Clear();
    EXPECT_EQ(unknown.References(), 0);
}

TEST(CSmartObjectIdentificationData, RegisterAndUnregisterThroughTarget) {
    CountingUnknown component;
    KxTest::TestRegistry registry;
    CountingUnknown target;
    target.Answer(__uuidof(IKXObjectRegistration), static_cast<IKXObjectRegistration*>(&registry));
    CountingUnknown noRegistry;
    {
        CSmartObjectIdentificationData smart;
        wchar_t name[] = L"probe";
        smart.Init(name, &component, kCatA);

        EXPECT_EQ(smart.Register(nullptr), E_INVALIDARG);
        EXPECT_EQ(smart.Register(&noRegistry), E_INVALIDARG);
        EXPECT_EQ(smart.Unregister(&noRegistry), E_INVALIDARG);
        EXPECT_EQ(registry.list.GetCount(), 0);

        EXPECT_EQ(smart.Register(&target), S_OK);
        EXPECT_EQ(registry.list.GetCount(), 1);
        EXPECT_EQ(component.References(), 2); // the registry holds its own
        EXPECT_EQ(registry.registered.load(), 1);

        EXPECT_EQ(smart.Unregister(&target), S_OK);
        EXPECT_EQ(smart.Unregister(&target), S_FALSE);
        EXPECT_EQ(registry.list.GetCount(), 0);
        EXPECT_EQ(registry.unregistered.load(), 1);
        EXPECT_EQ(component.References(), 1);
    }
    EXPECT_EQ(component.References(), 0);
    EXPECT_EQ(registry.refs.load(), 0);
    EXPECT_EQ(target.References(), 0);
}

TEST(CSmartObjectIdentificationData, DestructorReportsAndSwallowsExceptions) {
    KxTest::RecordingDeviceCallbacks device;
    CountingUnknown unknown;
    {
        CSmartObjectIdentificationData smart(Record(&unknown, nullptr));
        unknown.ThrowOnRelease();
    }
    EXPECT_EQ(unknown.References(), 0);
    ASSERT_EQ(device.sent.size(), 1u);
    const CErrorObject& e = device.sent[0];
    EXPECT_STREQ(e.GetCondition().GetString(), "exception in destructor");
    EXPECT_STREQ(e.GetAdditionalInfo().GetString(), "exception occured during destructor");
    EXPECT_EQ(e.GetErrorCode(), E_KX_HRESULT_DESTRUCTOR_EXCEPTION);
    EXPECT_EQ(e.GetLine(), 45);
    EXPECT_STREQ(e.GetFileName().GetString(),
                 "Base/Common/KxTamarindCommon/Src/CSmartObjectIdentificationData");
}
