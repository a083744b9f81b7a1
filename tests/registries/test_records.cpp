// The record wrappers, the interface list's records, the string map and the
// notification sink base: who owns which reference and name after each
// copy, move and clear (the counting doubles check every count returns to 0).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CBNotificationSink.h"
#include "CBStringMap.h"
#include "CInterfaceList.h"
#include "CObjectIdentificationData.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"
#include "common/RecordingDeviceCallbacks.h"
#include "registries/TestRegistry.h"

using namespace KxTamarind;
using namespace KxTest;

namespace {

const wchar_t kEmbedded[] = {L'a', L'b', L'\0', L'c'}; // "ab", NUL, "c"

ObjectIdentificationData Record(IUnknown* unknown, BSTR name) {
    return ObjectIdentificationData{unknown, Key(1), kCatA, 7, name, 3};
}

bool IsEmptyRecord(const ObjectIdentificationData& d) {
    return d.pIUnknown == nullptr && IsEqualGUID(d.ObjectGuid, GUID_NULL) &&
           IsEqualGUID(d.CatId, GUID_ALL_ONES) && d.SortIndex == -2 && d.Name == nullptr &&
           d.InstanceNumber == 0;
}

std::wstring Text(BSTR s) {
    return s == nullptr ? L"<null>" : std::wstring(s, SysStringLen(s));
}

} // namespace

TEST(ObjectIdentificationData, CopiesOwnTheirReferenceAndName) {
    CountingUnknown unknown;
    CountingUnknown theirs;
    CComBSTR embedded(4, kEmbedded);
    EXPECT_TRUE(IsEmptyRecord(CObjectIdentificationData()));
    EXPECT_TRUE(IsEmptyRecord(CSmartObjectIdentificationData().Data()));
    // From a plain record both forms copy up to the first NUL...
    CObjectIdentificationData source(Record(&unknown, embedded));
    CSmartObjectIdentificationData smart(Record(&unknown, embedded));
    EXPECT_EQ(Text(source.Name) + Text(smart.Data().Name), L"abab");
    CSmartObjectIdentificationData smartCopy(smart);
    smartCopy = smartCopy;
    EXPECT_NE(smartCopy.Data().Name, smart.Data().Name);
    // ...between owned records the whole length is kept.
    SysFreeString(source.Name);
    source.Name = SysAllocStringLen(kEmbedded, 4);
    CObjectIdentificationData target(Record(&theirs, nullptr));
    target = source;
    BSTR before = target.Name;
    target = target;
    EXPECT_EQ(target.Name, before);
    CObjectIdentificationData copy(target);
    EXPECT_NE(copy.Name, target.Name);
    EXPECT_EQ(Text(copy.Name), std::wstring(kEmbedded, 4));
    EXPECT_EQ(theirs.References(), 0);
    EXPECT_EQ(unknown.References(), 5);
    CObjectIdentificationData shared;
    shared.Name = source.Name; // deliberately shared: assignment must neither free nor copy it
    shared = source;
    EXPECT_EQ(shared.Name, source.Name);
    shared.Name = nullptr;
}

TEST(ObjectIdentificationData, DetachAttachCopyToAndClear) {
    CountingUnknown unknown;
    CountingUnknown theirs;
    CComBSTR name(L"dev");
    CObjectIdentificationData data(Record(&unknown, name));
    ObjectIdentificationData copy;
    data.Copy(copy);
    EXPECT_NE(copy.Name, data.Name);
    ObjectIdentificationData moved;
    BSTR ownName = data.Name;
    data.Detach(moved); // only the interface and the name are handed over
    EXPECT_EQ(moved.Name, ownName);
    EXPECT_EQ(data.pIUnknown, nullptr);
    EXPECT_EQ(data.Name, nullptr);
    EXPECT_EQ(data.SortIndex, 7);
    EXPECT_EQ(unknown.References(), 2);
    CSmartObjectIdentificationData::ClearData(copy);
    CSmartObjectIdentificationData smart;
    smart.Attach(moved);        // takes the reference over
    smart.Attach(smart.Data()); // onto itself: nothing
    smart.CopyTo(nullptr);
    smart.CopyTo(&smart);
    EXPECT_EQ(unknown.References(), 1);
    CSmartObjectIdentificationData target(Record(&theirs, name));
    smart.CopyTo(&target); // the target is cleared first
    EXPECT_EQ(theirs.References(), 0);
    EXPECT_EQ(Text(target.Data().Name), L"dev");
    target.Detach(moved); // the whole member is reset
    EXPECT_TRUE(IsEmptyRecord(target.Data()));
    CSmartObjectIdentificationData::ClearData(moved);
    smart.Detach(); // releases, hands nothing anywhere
    EXPECT_TRUE(IsEmptyRecord(smart.Data()));
    EXPECT_EQ(unknown.References(), 0);
}

TEST(CSmartObjectIdentificationData, InitRegisterAndUnregisterThroughTarget) {
    CountingUnknown component;
    TestRegistry registry;
    CountingUnknown target;
    target.Answer(__uuidof(IKXObjectRegistration), static_cast<IKXObjectRegistration*>(&registry));
    CountingUnknown noRegistry;
    CSmartObjectIdentificationData smart;
    wchar_t name[] = L"probe";
    smart.Init(name, &component, kCatA);
    const GUID first = smart.Data().ObjectGuid;
    smart.Init(name, &component, kCatA); // a fresh GUID each time
    EXPECT_FALSE(IsEqualGUID(first, GUID_NULL));
    EXPECT_FALSE(IsEqualGUID(first, smart.Data().ObjectGuid));
    EXPECT_EQ(component.References(), 1);
    EXPECT_EQ(smart.Register(nullptr), E_INVALIDARG);
    EXPECT_EQ(smart.Register(&noRegistry), E_INVALIDARG);
    EXPECT_EQ(smart.Unregister(&noRegistry), E_INVALIDARG);
    EXPECT_EQ(smart.Register(&target), S_OK);
    EXPECT_EQ(registry.list.GetCount(), 1);
    EXPECT_EQ(smart.Unregister(&target), S_OK);
    EXPECT_EQ(smart.Unregister(&target), S_FALSE);
    EXPECT_EQ(registry.registered.load() + registry.unregistered.load(), 2);
    EXPECT_EQ(registry.refs.load(), 0);
    smart.Clear();
}

TEST(CSmartObjectIdentificationData, DestructorReportsAndSwallowsExceptions) {
    RecordingDeviceCallbacks device;
    CountingUnknown unknown;
    {
        CSmartObjectIdentificationData smart(Record(&unknown, nullptr));
        unknown.ThrowOnRelease();
    }
    ASSERT_EQ(device.sent.size(), 1u);
    const CErrorObject& e = device.sent[0];
    EXPECT_STREQ(e.GetCondition().GetString(), "exception in destructor");
    EXPECT_STREQ(e.GetAdditionalInfo().GetString(), "exception occured during destructor");
    EXPECT_EQ(e.GetErrorCode(), E_KX_HRESULT_DESTRUCTOR_EXCEPTION);
    EXPECT_EQ(e.GetLine(), 45);
    EXPECT_STREQ(e.GetFileName().GetString(),
                 "Base/Common/KxTamarindCommon/Src/CSmartObjectIdentificationData");
}

TEST(CInterfaceList, KeepsOwnCopiesFindsTheFirstAndInvalidates) {
    CountingUnknown a;
    CountingUnknown b;
    GUID iids[3] = {Key(1), Key(2), Key(9)};
    CInterfaceList list;
    CObjectState flag;
    list.AddEnumeration(&flag);
    BSTR name = SysAllocString(L"alpha");
    ASSERT_EQ(list.Add(&a, name, &iids[0]), S_OK);
    SysFreeString(name); // the list keeps its own name and reference
    EXPECT_FALSE(flag.IsValid());
    ASSERT_EQ(list.Add(&b, L"beta", &iids[0]), S_OK); // the same Iid twice
    EXPECT_EQ(list.Add(&b, L"none", nullptr), E_POINTER);
    CInterfaceIdentificationData out;
    EXPECT_TRUE(list.GetData(&iids[0], &out));
    EXPECT_EQ(Text(out.Name), L"alpha");
    EXPECT_FALSE(list.GetData(&iids[2], &out)); // the empty record
    EXPECT_TRUE(IsEqualGUID(out.Iid, GUID_ALL_ONES));
    EXPECT_EQ(out.pIUnknown, nullptr);
    IUnknown* got = list.GetIUnknown(&iids[0]);
    EXPECT_EQ(got, &a);
    got->Release();
    EXPECT_EQ(list.GetIUnknown(&iids[2]), nullptr);
    flag.SetStateValid();
    EXPECT_FALSE(list.Remove(&iids[2]));
    EXPECT_TRUE(flag.IsValid()); // a miss changes nothing
    EXPECT_TRUE(list.Remove(&iids[0]));
    EXPECT_FALSE(flag.IsValid());
    EXPECT_EQ(a.References(), 0);
    EXPECT_TRUE(list.CheckExistance(&iids[0])); // the second stays
    list.DeleteEnumeration(&flag);
    CInterfaceIdentificationData first(&a, iids[1], L"first");
    CInterfaceIdentificationData second(&b, iids[2], nullptr);
    second.Name = SysAllocStringLen(L"x\0y", 3);
    first = second; // length-exact, references moved
    EXPECT_EQ(SysStringLen(first.Name), 3u);
    EXPECT_EQ(a.References(), 0);
    first.SetEmpty();
    EXPECT_TRUE(IsEqualGUID(first.Iid, GUID_ALL_ONES));
    EXPECT_EQ(b.References(), 2);
}

TEST(CBStringMap, EntriesValidityAndBuildFactorial) {
    CBStringMapEntry narrow("Gr\xC3\xBC\xC3\x9F", "1"); // UTF-8 whatever the locale
    EXPECT_EQ(Text(narrow.GetDisplayName()), L"Gr\u00FC\u00DF");
    CComBSTR name(3, L"a\0b");
    EXPECT_EQ(SysStringLen(CBStringMapEntry(name, CComBSTR(L"v")).GetDisplayName()), 3u);
    EXPECT_EQ(CBStringMapEntry().CompareDisplayNames(narrow), -1); // null first
    EXPECT_EQ(CBStringMapEntry("B", "x").CompareDisplayNames(CBStringMapEntry("b", "x")), -1);
    EXPECT_EQ(CBStringMapEntry("b", "x").CompareDisplayNames(CBStringMapEntry("b", "y")), 0);
    CBStringMap map;
    EXPECT_FALSE(map.IsValidDisplayName(CComBSTR()));
    map.Add("On", "1");
    map.Add(static_cast<const CBStringMapEntry*>(nullptr));
    EXPECT_TRUE(map.IsValidDisplayName(CComBSTR(L"On")) && map.IsValidValue(CComBSTR(L"1")));
    EXPECT_FALSE(map.IsValidDisplayName(CComBSTR(L"on")) || map.IsValidValue(CComBSTR(L"2")));
    EXPECT_FALSE(map.IsValidDisplayName(CComBSTR()));
    map.Add(nullptr, nullptr);
    EXPECT_TRUE(map.IsValidDisplayName(CComBSTR()) && map.IsValidValue(CComBSTR()));
    map = map; // itself: nothing; another map is appended, duplicates kept
    map = map;
    EXPECT_EQ(map.GetCount(), 2u);

    CBStringMap levels;
    levels.Add("Low", "L");
    levels.Add(CComBSTR(L"High"), CComBSTR(L"H"));
    CBStringMap parts;
    parts.Add("A", "1");
    parts.Add("B", nullptr);
    CComBSTR blank(L" ");
    levels.BuildFactorial(parts, blank, CComBSTR(L"_"));
    std::wstring all;
    for (const CBStringMapEntry& e : levels) {
        all += Text(e.GetDisplayName()) + L"=" + Text(e.GetValue()) + L";";
    }
    EXPECT_EQ(all, L"Low A=L_1;Low B=L_;High A=H_1;High B=H_;");
    parts.BuildFactorial(parts, nullptr, blank); // with itself, a null separator
    EXPECT_EQ(parts.GetCount(), 4u);
    EXPECT_EQ(Text(parts.begin()->GetDisplayName()), L"AA");
    CBStringMap empty;
    levels.BuildFactorial(empty, blank, blank);
    EXPECT_EQ(levels.GetCount(), 0u);
    levels = parts;
    EXPECT_EQ(levels.GetCount(), 4u);
}

namespace {
// A sink whose hooks record their codes; `detachable` overrides the detach hook.
template <bool detachable>
class TestSink : public CBNotificationSink {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    std::vector<long> calls;

protected:
    HRESULT DoExecute(long code) override {
        calls.push_back(code);
        return E_FAIL;
    }
    HRESULT DoDetachNotificationSink(long code) override {
        if (!detachable) {
            return CBNotificationSink::DoDetachNotificationSink(code);
        }
        calls.push_back(-code);
        return E_FAIL;
    }
};
} // namespace

TEST(CBNotificationSink, ResultsAndTheRefusingDetach) {
    TestSink<true> detachable;
    IKXNotificationSink& itf = detachable;
    EXPECT_EQ(itf.Execute(7), S_OK); // the hooks' results are ignored
    EXPECT_EQ(itf.DetachNotificationSink(9), S_OK);
    EXPECT_EQ(detachable.calls, (std::vector<long>{7, -9}));
    TestSink<false> plain;
    auto error =
        CatchError([&] { static_cast<IKXNotificationSink&>(plain).DetachNotificationSink(3); });
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), "stop on error");
    EXPECT_STREQ(error->GetAdditionalInfo().GetString(),
                 "DetachNotificationSink is not implemented");
    EXPECT_EQ(error->GetErrorCode(), E_KX_HRESULT_ASSERT_FAILED);
    EXPECT_EQ(error->GetLine(), 35);
    EXPECT_STREQ(error->GetFileName().GetString(), "Base/Interfaces/_Src/CBNotificationSink");
}
