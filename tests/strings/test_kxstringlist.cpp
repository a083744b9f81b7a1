// CKxStringList: element ownership, index rules, raised errors and the
// conversions to and from BSTR arrays.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "CErrorObject.h"
#include "CKxStringList.h"
#include "KxErrorReporting.h"
#include "KxResultCodes.h"

using namespace KxTamarind;

namespace {

std::wstring W(const CKxString& s) {
    return s.IsNull() ? std::wstring(L"<null>") : s.ToStdWString();
}

std::vector<std::wstring> Items(const CKxStringList& list) {
    std::vector<std::wstring> out;
    for (unsigned int i = 0; i < list.GetSize(); ++i) {
        out.push_back(W(*list.At(i)));
    }
    return out;
}

using V = std::vector<std::wstring>;

CKxStringList Make(std::initializer_list<const wchar_t*> texts) {
    CKxStringList list;
    for (const wchar_t* t : texts) {
        list += CKxString(t);
    }
    return list;
}

// Runs `f`, which must raise; returns the record (owned by the caller).
template <typename F>
std::unique_ptr<CErrorObject> Raised(F f) {
    try {
        f();
    } catch (CErrorObject* error) {
        return std::unique_ptr<CErrorObject>(error);
    }
    return nullptr;
}

void Capture(const char* text, void* context) {
    static_cast<std::string*>(context)->append(text);
}

} // namespace

TEST(KxStringList, AppendAndIndexRules) {
    CKxStringList list;
    EXPECT_EQ(list.GetSize(), 0u);
    EXPECT_EQ(list.At(0), nullptr);
    EXPECT_EQ(list.AppendDataByCopy(CKxString(L"a")), 0u);
    EXPECT_EQ(list.AppendDataByCopy(CKxString(L"\u20AC")), 1u);
    EXPECT_EQ(list.AppendData(), 2u);
    CKxString* created = list.CreateAndAppendData();
    ASSERT_NE(created, nullptr);
    EXPECT_TRUE(created->IsNull());
    EXPECT_EQ(list.At(3), created);
    EXPECT_EQ(list.GetPointedData(3), created);
    EXPECT_EQ(list.getElementCount(), 4u);
    EXPECT_EQ(list.At(4), nullptr);
    EXPECT_EQ(list.GetPointedData(4), nullptr);
    EXPECT_EQ(Items(list), (V{L"a", L"\u20AC", L"<null>", L"<null>"}));
    list[1] = L"b";
    EXPECT_EQ(W(list[1]), L"b");
}

TEST(KxStringList, IndexWithoutElementRaises) {
    CKxStringList list = Make({L"a"});
    auto error = Raised([&] { (void)list[1]; });
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), "pData == NULL");
    EXPECT_STREQ(error->GetFileName().GetString(),
                 "Base/Common/KxTamarindCommon/Inc/CArrayAccessor");
    EXPECT_EQ(error->GetErrorCode(), E_POINTER);
    EXPECT_EQ(Raised([&] { (void)list[0]; }), nullptr);
}

TEST(KxStringList, InsertSetGet) {
    CKxStringList list = Make({L"b"});
    EXPECT_NE(list.CreateAndInsertData(0), nullptr);
    *list.At(0) = L"a";
    EXPECT_NE(list.CreateAndInsertData(2), nullptr);
    EXPECT_EQ(list.CreateAndInsertData(4), nullptr);
    EXPECT_EQ(Items(list), (V{L"a", L"b", L"<null>"}));

    CKxString out(L"keep");
    EXPECT_TRUE(list.GetDataByCopy(out, 1));
    EXPECT_EQ(W(out), L"b");
    EXPECT_FALSE(list.GetDataByCopy(out, 3));
    EXPECT_EQ(W(out), L"b");

    CKxStringList grow;
    EXPECT_TRUE(grow.SetDataByCopy(CKxString(L"s"), 5));
    EXPECT_EQ(Items(grow), (V{L"<null>", L"<null>", L"<null>", L"<null>", L"<null>", L"s"}));
    EXPECT_TRUE(grow.SetDataByCopy(CKxString(L"t"), 0));
    EXPECT_TRUE(grow.SetDataByCopy(*grow.At(0), 1)); // from its own element
    EXPECT_EQ(W(*grow.At(1)), L"t");
    EXPECT_EQ(grow.GetSize(), 6u);
}

TEST(KxStringList, SetPointedDataTakesOwnership) {
    CKxStringList list;
    CKxString* first = new CKxString(L"one");
    EXPECT_TRUE(list.SetPointedData(first, 2));
    EXPECT_EQ(list.GetSize(), 3u);
    EXPECT_EQ(list.At(2), first);
    EXPECT_TRUE(list.SetPointedData(first, 2));  // same slot: no change
    EXPECT_FALSE(list.SetPointedData(first, 0)); // would be owned twice
    EXPECT_FALSE(list.SetPointedData(nullptr, 0));
    EXPECT_TRUE(list.SetPointedData(new CKxString(L"two"), 2)); // deletes "one"
    EXPECT_EQ(Items(list), (V{L"<null>", L"<null>", L"two"}));
}

// An index of -1 (UINT_MAX as unsigned) grew the list one element at a time
// until memory ran out; the list cannot hold more than INT_MAX elements, so
// such an index is refused at once and the list stays as it was.
TEST(KxStringList, HugeIndexIsRefusedInsteadOfGrowingWithoutEnd) {
    const unsigned int indexes[] = {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu};
    for (unsigned int index : indexes) {
        SCOPED_TRACE(testing::Message() << "index " << index);
        CKxStringList list = Make({L"a", L"b"});
        EXPECT_FALSE(list.SetDataByCopy(CKxString(L"x"), index));
        EXPECT_EQ(Items(list), (V{L"a", L"b"}));
        std::unique_ptr<CKxString> element(new CKxString(L"y"));
        EXPECT_FALSE(list.SetPointedData(element.get(), index)); // the caller keeps it
        EXPECT_EQ(Items(list), (V{L"a", L"b"}));
        EXPECT_EQ(list.IndexOf(CKxString(L"y")), -1);
    }
}

TEST(KxStringList, DeleteAtAndDeleteData) {
    CKxStringList list = Make({L"a", L"b", L"c", L"d"});
    EXPECT_TRUE(list.DeleteAt(3));
    EXPECT_EQ(Items(list), (V{L"a", L"b", L"c"}));
    EXPECT_FALSE(list.DeleteAt(3));
    EXPECT_TRUE(list.DeleteAt(0));
    EXPECT_EQ(Items(list), (V{L"b", L"c"}));
    EXPECT_TRUE(list.DeleteData(list.At(1)));
    EXPECT_EQ(Items(list), (V{L"b"}));
    CKxString foreign(L"b");
    EXPECT_FALSE(list.DeleteData(std::addressof(foreign)));
    EXPECT_FALSE(list.DeleteData(nullptr));
    EXPECT_EQ(list.GetSize(), 1u);
    list.Clear();
    EXPECT_EQ(list.GetSize(), 0u);
    EXPECT_EQ(list.At(0), nullptr);
}

TEST(KxStringList, IndexOfUsesEquality) {
    CKxStringList list;
    list += CKxString(L"x");
    list += CKxString(L"");
    list += CKxString();
    list += CKxString(L"x");
    EXPECT_EQ(list.IndexOf(CKxString(L"x")), 0);
    EXPECT_EQ(list.IndexOf(CKxString(L"")), 1);
    EXPECT_EQ(list.IndexOf(CKxString()), 2);
    EXPECT_EQ(list.IndexOf(CKxString(L"y")), -1);
    EXPECT_EQ(CKxStringList().IndexOf(CKxString()), -1);
}

TEST(KxStringList, CopiesAreDeepAndSelfAppendWorks) {
    CKxStringList list = Make({L"a", L"b"});
    CKxStringList copy(list);
    *copy.At(0) = L"changed";
    EXPECT_EQ(Items(list), (V{L"a", L"b"}));
    EXPECT_EQ(Items(copy), (V{L"changed", L"b"}));
    copy = list;
    EXPECT_EQ(Items(copy), (V{L"a", L"b"}));
    EXPECT_NE(copy.At(0), list.At(0));
    copy = copy;
    EXPECT_EQ(Items(copy), (V{L"a", L"b"}));
    list += list;
    EXPECT_EQ(Items(list), (V{L"a", L"b", L"a", L"b"}));
    copy += Make({L"c"});
    EXPECT_EQ(Items(copy), (V{L"a", L"b", L"c"}));
    CKxStringList moved(std::move(copy));
    EXPECT_EQ(moved.GetSize(), 3u);
    EXPECT_EQ(copy.GetSize(), 0u);
}

TEST(KxStringListConv, FromBstrArray) {
    BSTR source[3] = {SysAllocString(L"a"), nullptr, SysAllocStringLen(L"b\0c", 3)};
    CKxStringList list = Make({L"old"});
    KXStringListConv(list, source, 3);
    // Assigned as wide text: up to the first NUL.
    EXPECT_EQ(Items(list), (V{L"a", L"<null>", L"b"}));
    KXStringListConv(list, source, 0);
    EXPECT_EQ(list.GetSize(), 0u);
    list += CKxString(L"x");
    KXStringListConv(list, source, -4);
    EXPECT_EQ(list.GetSize(), 0u);
    for (BSTR b : source) {
        SysFreeString(b);
    }
}

TEST(KxStringListConv, NullSourceIsReportedAndAppendsNothing) {
    std::string captured;
    DebugOutputSink previous = SetDebugOutputSink(&Capture, &captured);
    CKxStringList list = Make({L"old"});
    KXStringListConv(list, nullptr, 2);
    SetDebugOutputSink(previous, nullptr);
    EXPECT_EQ(list.GetSize(), 0u);
    EXPECT_NE(captured.find("pbsSource != NULL"), std::string::npos) << captured;
}

TEST(KxStringListConv, ToBstrArray) {
    CKxStringList list = Make({L"a", L"\u20AC", L"c"});
    *list.At(1) += std::wstring(L"\0z", 2);
    BSTR dest[3] = {nullptr, nullptr, reinterpret_cast<BSTR>(0x1)};
    KXStringListConv(dest, list, 2);
    ASSERT_NE(dest[0], nullptr);
    ASSERT_NE(dest[1], nullptr);
    EXPECT_NE(dest[0], static_cast<wchar_t*>(*list.At(0)));
    EXPECT_EQ(std::wstring(dest[0]), L"a");
    EXPECT_EQ(std::wstring(dest[1], SysStringLen(dest[1])), std::wstring(L"\u20AC\0z", 3));
    EXPECT_EQ(dest[2], reinterpret_cast<BSTR>(0x1)); // untouched
    SysFreeString(dest[0]);
    SysFreeString(dest[1]);
}

TEST(KxStringListConv, CountZeroAndNegativeWriteNothing) {
    BSTR sentinel = reinterpret_cast<BSTR>(0x1);
    BSTR dest[1] = {sentinel};
    KXStringListConv(dest, CKxStringList(), 0);
    EXPECT_EQ(dest[0], sentinel);
    KXStringListConv(dest, CKxStringList(), -3);
    EXPECT_EQ(dest[0], sentinel);
    KXStringListConv(dest, Make({L"a"}), -1);
    EXPECT_EQ(dest[0], sentinel);
}

TEST(KxStringListConv, ShortListAndNullDestinationRaise) {
    BSTR dest[4] = {};
    const CKxStringList list = Make({L"a", L"b"});
    auto shortList = Raised([&] { KXStringListConv(dest, list, 3); });
    ASSERT_NE(shortList, nullptr);
    EXPECT_STREQ(shortList->GetCondition().GetString(),
                 "kxSourceList.GetSize() >= static_cast<unsigned long>( iElementCount )");
    EXPECT_STREQ(shortList->GetFileName().GetString(),
                 "Base/Common/KxTamarindCommon/Src/CKxString");
    EXPECT_EQ(shortList->GetErrorCode(), E_KX_HRESULT_ASSERT_FAILED);
    EXPECT_EQ(dest[0], nullptr);

    auto nullDest = Raised([&] { KXStringListConv(nullptr, list, 2); });
    ASSERT_NE(nullDest, nullptr);
    EXPECT_STREQ(nullDest->GetCondition().GetString(), "pbsDest != NULL");
    EXPECT_STREQ(nullDest->GetFileName().GetString(), "Base/Common/KxTamarindCommon/Src/CKxString");
    EXPECT_EQ(nullDest->GetErrorCode(), E_POINTER);

    // The size is checked first.
    auto both = Raised([&] { KXStringListConv(nullptr, list, 5); });
    ASSERT_NE(both, nullptr);
    EXPECT_EQ(both->GetErrorCode(), E_KX_HRESULT_ASSERT_FAILED);
}
