// Firmware info table: identifier allocation, look-ups, flags and TCD counts.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "CErrorObject.h"
#include "CFwInfoTable.h"
#include "KxKernelRemote.h"
#include "KxResultCodes.h"

using namespace KxTamarind;

namespace {

const char kSource[] = "Base/Common/KxTamarindCommon/Src/CFwInfoTable";

// Runs `f` and hands back the record it raised (owned), or null.
template <class F>
std::unique_ptr<CErrorObject> Raised(F f) {
    try {
        f();
    } catch (CErrorObject* error) {
        return std::unique_ptr<CErrorObject>(error);
    }
    return nullptr;
}

void ExpectRaised(const std::unique_ptr<CErrorObject>& error, const char* condition,
                  const char* message, long line) {
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition(), condition);
    EXPECT_STREQ(error->GetAdditionalInfo(), message);
    EXPECT_EQ(error->GetLine(), line);
    EXPECT_EQ(error->GetErrorCode(), E_KX_HRESULT_ASSERT_FAILED);
    EXPECT_STREQ(error->GetFileName(), kSource);
}

GUID MakeGuid(std::uint32_t n) {
    GUID g = GUID_NULL;
    g.Data1 = n;
    g.Data4[7] = 0x5A;
    return g;
}

std::wstring Text(BSTR b) {
    return b ? std::wstring(b, SysStringLen(b)) : std::wstring(L"<null>");
}

// A table with one application "Signal" holding instruments 1 and 2.
struct Populated {
    CFwInfoTable table;
    unsigned short app;
    unsigned short li1;
    unsigned short li2;
    Populated() {
        app = table.NewFwAppId(7);
        table.GetFwInfo(app)->SetFwAppName(L"Signal");
        table.GetFwInfo(app)->SetFwAppGuid(MakeGuid(0x100));
        table.GetFwInfo(app)->SetFwAppLiIdGuid(MakeGuid(0x200));
        li1 = table.NewLiId(app);
        li2 = table.NewLiId(app);
        table.SetLiGuid(li1, MakeGuid(0x301));
        table.SetLiGuid(li2, MakeGuid(0x302));
    }
};

} // namespace

// ---------------------------------------------------------------- allocation

TEST(FwInfoTableTest, NewFwAppIdCountsUpAndRaisesWhenAll127AreTaken) {
    CFwInfoTable table;
    EXPECT_EQ(table.GetFwAppCount(), 0);
    EXPECT_EQ(table.NewFwAppId(42), 0x0100);
    EXPECT_EQ(table.GetFwInfo(0x0100)->GetCreationArgument(), 42);
    EXPECT_TRUE(table.GetFwInfo(0x0100)->IsInUse());
    for (int i = 2; i <= 127; ++i) {
        ASSERT_EQ(table.NewFwAppId(i), i * 256);
    }
    EXPECT_EQ(table.GetFwAppCount(), 127);
    ExpectRaised(Raised([&] { table.NewFwAppId(0); }), "stop on error",
                 "FwInfoTable: no free id for new firmwareapplicationidentification found", 449);
    EXPECT_EQ(table.GetFwAppCount(), 127);
}

TEST(FwInfoTableTest, RemovedApplicationSlotIsReusedFirst) {
    CFwInfoTable table;
    table.NewFwAppId(0);
    const unsigned short second = table.NewFwAppId(0);
    table.NewFwAppId(0);
    table.GetFwInfo(second)->SetFwAppName(L"gone");
    table.RemoveFw(second);
    EXPECT_EQ(table.GetFwAppCount(), 2);
    EXPECT_FALSE(table.GetFwInfo(second)->IsInUse());
    EXPECT_EQ(table.GetFwInfo(second)->GetFwAppName(), nullptr);
    EXPECT_EQ(table.NewFwAppId(0), second);
}

TEST(FwInfoTableTest, RemoveFwOfFreeSlotChangesNothing) {
    CFwInfoTable table;
    table.NewFwAppId(0);
    table.RemoveFw(0x0500);
    EXPECT_EQ(table.GetFwAppCount(), 1);
    EXPECT_TRUE(table.GetFwInfo(0x0100)->IsInUse());
    // The reserved slot 0 is in use but was never counted: removing it
    // from a table without applications is refused.
    CFwInfoTable empty;
    ExpectRaised(Raised([&] { empty.RemoveFw(0); }), "m_iReservedCount>0", "", 400);
    EXPECT_TRUE(empty.GetFwInfo(0)->IsInUse());
}

TEST(FwInfoTableTest, NewLiIdHandsOutSlots1To15ThenRaises) {
    CFwInfoTable table;
    const unsigned short app = table.NewFwAppId(0);
    for (int slot = 1; slot <= 15; ++slot) {
        ASSERT_EQ(table.NewLiId(app), app + slot);
    }
    EXPECT_EQ(table.GetFwInfo(app)->GetLiCount(), 15);
    ExpectRaised(Raised([&] { table.NewLiId(app); }), "stop on error",
                 "CFwInfoTable: no free id for logical instruments found", 473);
    table.RemoveLi(app + 4);
    EXPECT_FALSE(table.GetLiInfo(static_cast<unsigned short>(app + 4))->IsInUse());
    EXPECT_EQ(table.NewLiId(app), app + 4);
}

TEST(FwInfoTableTest, IdArithmeticAndInvalidIdentifiers) {
    EXPECT_EQ(CFwInfoTable::CalcId(3, 7), 0x0307);
    EXPECT_EQ(CFwInfoTable::Id2Fw(0x7F0F), 127);
    EXPECT_EQ(CFwInfoTable::Id2Li(0x000F), 15);
    ExpectRaised(Raised([] { CFwInfoTable::Id2Fw(0x8000); }), "i< MaxFw", "unknown internal FwId",
                 384);
    ExpectRaised(Raised([] { CFwInfoTable::Id2Li(0x0010); }), "i< CFwInfo::MaxLi",
                 "unknown internal LiId", 391);
    CFwInfoTable table;
    EXPECT_NE(Raised([&] { table.GetLiInfo(static_cast<unsigned short>(0x01FF)); }), nullptr);
    EXPECT_NE(Raised([&] { table.GetFwInfo(static_cast<unsigned short>(0xFF00)); }), nullptr);
    std::unique_ptr<CErrorObject> tooMany = Raised([&] { table.GetFwAppGuids(129, nullptr); });
    ExpectRaised(tooMany, "iCount <= MaxFw", "", 300);
}

TEST(FwInfoTableTest, GetFwAppGuidsCopiesSlotsInUseOrNot) {
    CFwInfoTable table;
    const unsigned short app = table.NewFwAppId(0);
    table.GetFwInfo(app)->SetFwAppGuid(MakeGuid(1));
    table.GetFwInfo(0x0300)->SetFwAppGuid(MakeGuid(3)); // slot 3 is free
    GUID out[4];
    for (GUID& g : out) {
        g = MakeGuid(99);
    }
    table.GetFwAppGuids(3, out);
    EXPECT_EQ(out[0], GUID_NULL);
    EXPECT_EQ(out[1], MakeGuid(1));
    EXPECT_EQ(out[2], GUID_NULL);
    EXPECT_EQ(out[3], MakeGuid(99));   // beyond count: untouched
    table.GetFwAppGuids(128, nullptr); // nothing to write to: no crash
}

// ---------------------------------------------------------------- look-ups

TEST(FwInfoTableTest, LookUpByNameCaseSensitiveAndNot) {
    Populated p;
    const unsigned short other = p.table.NewFwAppId(0);
    p.table.GetFwInfo(other)->SetFwAppName(L"SIGNAL");
    CFwInfo* app = p.table.GetFwInfo(p.app);
    EXPECT_EQ(p.table.GetFwInfoByName(L"Signal", true), app);
    EXPECT_EQ(p.table.GetFwInfoByName(L"SIGNAL", true), p.table.GetFwInfo(other));
    EXPECT_EQ(p.table.GetFwInfoByName(L"signal", true), nullptr);
    EXPECT_EQ(p.table.GetFwInfoByName(L"sIgNaL", false), app);
    EXPECT_EQ(p.table.GetFwInfoByName(L"Signa", true), nullptr);
    EXPECT_EQ(p.table.GetFwInfoByName(L"Signal ", false), nullptr);
    // The stored BSTR itself matches too.
    EXPECT_EQ(p.table.GetFwInfoByName(app->GetFwAppName(), true), app);
    // A freed slot is not found any more.
    p.table.RemoveFw(p.app);
    EXPECT_EQ(p.table.GetFwInfoByName(L"Signal", true), nullptr);
}

TEST(FwInfoTableTest, NullAndEmptyNamesFindFirstUnnamedSlotInUse) {
    CFwInfoTable table;
    // Slot 0 is reserved, in use and has no name.
    EXPECT_EQ(table.GetFwInfoByName(nullptr, true), table.GetFwInfo(0));
    EXPECT_EQ(table.GetFwInfoByName(L"", true), table.GetFwInfo(0));
    EXPECT_EQ(table.GetFwInfoByName(nullptr, false), table.GetFwInfo(0));
    EXPECT_EQ(table.GetFwInfoByGuiName(nullptr, true), table.GetFwInfo(0));
    // An empty stored name matches a null argument.
    table.GetFwInfo(0)->SetFwAppName(L"reserved");
    const unsigned short app = table.NewFwAppId(0);
    table.GetFwInfo(app)->SetFwAppName(L"");
    EXPECT_EQ(table.GetFwInfoByName(nullptr, true), table.GetFwInfo(app));
    EXPECT_EQ(table.GetFwInfoByName(L"", false), table.GetFwInfo(app));
    // Null names in every by-name operation do not crash.
    BSTR out = reinterpret_cast<BSTR>(&table);
    EXPECT_TRUE(table.GetGuiFwAppName(nullptr, &out));
    EXPECT_EQ(out, nullptr);
    EXPECT_TRUE(table.SetApplicType(nullptr, KxPersistApplicType_UnloadWithTable));
    EXPECT_EQ(table.GetApplicType(app), KxPersistApplicType_UnloadWithTable);
    EXPECT_TRUE(table.ExistsAnyLiConfigFile(nullptr));
}

TEST(FwInfoTableTest, GuiNameSetGetAndReverseLookUp) {
    Populated p;
    EXPECT_TRUE(p.table.SetGuiFwAppName(L"Signal", L"Signal Generator"));
    EXPECT_FALSE(p.table.SetGuiFwAppName(L"signal", L"x"));
    EXPECT_EQ(Text(p.table.GetFwInfo(p.app)->GetGuiFwAppName()), L"Signal Generator");

    BSTR gui = nullptr;
    EXPECT_FALSE(p.table.GetGuiFwAppName(L"Signal", nullptr));
    ASSERT_TRUE(p.table.GetGuiFwAppName(L"Signal", &gui));
    EXPECT_EQ(Text(gui), L"Signal Generator");
    EXPECT_NE(gui, p.table.GetFwInfo(p.app)->GetGuiFwAppName()); // a copy
    SysFreeString(gui);
    gui = reinterpret_cast<BSTR>(&p); // overwritten, not freed
    EXPECT_FALSE(p.table.GetGuiFwAppName(L"Unknown", &gui));
    EXPECT_EQ(gui, nullptr);

    EXPECT_EQ(p.table.GetFwInfoByGuiName(L"signal generator", false), p.table.GetFwInfo(p.app));
    EXPECT_EQ(p.table.GetFwInfoByGuiName(L"signal generator", true), nullptr);

    BSTR name = nullptr;
    ASSERT_TRUE(p.table.GetFwAppNameByGuiName(L"Signal Generator", &name));
    EXPECT_EQ(Text(name), L"Signal");
    SysFreeString(name);
    name = nullptr;
    ASSERT_TRUE(p.table.GetFwAppNameByGuiName(L"Signal", &name)); // by its name too
    EXPECT_EQ(Text(name), L"Signal");
    SysFreeString(name);
    EXPECT_FALSE(p.table.GetFwAppNameByGuiName(L"Signal Generator", nullptr));
    name = reinterpret_cast<BSTR>(&p);
    EXPECT_FALSE(p.table.GetFwAppNameByGuiName(L"Network", &name));
    EXPECT_EQ(name, nullptr);
}

TEST(FwInfoTableTest, LookUpByGuidAndLiId) {
    Populated p;
    unsigned char fw = 99;
    EXPECT_TRUE(p.table.GetFwAppId(MakeGuid(0x100), fw));
    EXPECT_EQ(fw, p.app >> 8);
    EXPECT_FALSE(p.table.GetFwAppId(MakeGuid(0x999), fw));
    EXPECT_EQ(fw, 0);

    // Index k names instrument slot k + 1.
    const LiId second{MakeGuid(0x302), 1};
    EXPECT_EQ(p.table.GetFwInfo(second), p.table.GetFwInfo(p.app));
    EXPECT_EQ(p.table.GetLiInfo(second), p.table.GetLiInfo(p.li2));
    EXPECT_EQ(p.table.GetLiInfo(LiId{MakeGuid(0x302), 0}), nullptr); // wrong slot
    // The application's own LiId-terms GUID finds the application but no
    // instrument.
    const LiId own{MakeGuid(0x200), 0};
    EXPECT_EQ(p.table.GetFwInfo(own), p.table.GetFwInfo(p.app));
    EXPECT_EQ(p.table.GetLiInfo(own), nullptr);
    EXPECT_EQ(p.table.GetFwInfo(LiId{MakeGuid(0x302), 15}), nullptr); // index above 14
    EXPECT_EQ(p.table.GetFwInfo(LiId{MakeGuid(0x777), 0}), nullptr);

    EXPECT_EQ(p.table.GetLiCount(MakeGuid(0x200)), 2);
    EXPECT_EQ(p.table.GetLiCount(MakeGuid(0x777)), 0);

    // Instrument accessors by LiId reach the same slot as by identifier.
    EXPECT_TRUE(p.table.SetLiConfigFileNavHandle(second, 1234));
    EXPECT_EQ(p.table.GetLiConfigFileNavHandle(p.li2), 1234);
    p.table.SetGuiRootNavHandle(p.li2, 55);
    EXPECT_EQ(p.table.GetGuiRootNavHandle(second), 55);
    EXPECT_FALSE(p.table.SetLoadLiPartial(LiId{MakeGuid(0x777), 0}, true));
    EXPECT_EQ(p.table.GetLICNavHandle(LiId{MakeGuid(0x777), 0}), 0);
}

TEST(FwInfoTableTest, GetIdByLiIdRule) {
    Populated p;
    EXPECT_EQ(p.table.GetIdByLiId(LiId{MakeGuid(0x301), 0}), p.li1);
    EXPECT_EQ(p.table.GetIdByLiId(LiId{MakeGuid(0x302), 1}), p.li2);
    // Only the application's LiId-terms GUID matches: the application's id.
    EXPECT_EQ(p.table.GetIdByLiId(LiId{MakeGuid(0x200), 3}), p.app);
    EXPECT_EQ(p.table.GetIdByLiId(LiId{MakeGuid(0x302), 0}), 0); // GUID in another slot
    EXPECT_EQ(p.table.GetIdByLiId(LiId{MakeGuid(0x777), 0}), 0);
    EXPECT_EQ(p.table.GetIdByLiId(LiId{MakeGuid(0x200), 15}), 0);
    EXPECT_EQ(p.table.GetIdByLiId(LiId{GUID_NULL, 0}), 0);
    // The last instrument slot is reachable with index 14.
    const unsigned short app2 = p.table.NewFwAppId(0);
    unsigned short last = 0;
    for (int i = 0; i < 15; ++i) {
        last = p.table.NewLiId(app2);
    }
    p.table.SetLiGuid(last, MakeGuid(0x3FF));
    EXPECT_EQ(p.table.GetIdByLiId(LiId{MakeGuid(0x3FF), 14}), app2 + 15);
}

TEST(FwInfoTableTest, GetFwAppInfoByIdAndByName) {
    Populated p;
    GUID guid = GUID_NULL;
    wchar_t* name = nullptr;
    EXPECT_TRUE(p.table.GetFwAppInfo(p.li2, &guid, &name)); // instrument id: its app
    EXPECT_EQ(guid, MakeGuid(0x100));
    EXPECT_EQ(Text(name), L"Signal");
    SysFreeString(name);
    EXPECT_TRUE(p.table.GetFwAppInfo(p.app, nullptr, nullptr));
    name = reinterpret_cast<wchar_t*>(&p);
    EXPECT_FALSE(p.table.GetFwAppInfo(0x0500, &guid, &name)); // free slot
    EXPECT_EQ(guid, GUID_NULL);
    EXPECT_EQ(name, nullptr);

    long id = -1;
    GUID fwGuid = MakeGuid(1);
    GUID liGuid = MakeGuid(1);
    EXPECT_TRUE(p.table.GetFwAppInfo(L"Signal", id, fwGuid, liGuid));
    EXPECT_EQ(id, p.app);
    EXPECT_EQ(fwGuid, MakeGuid(0x100));
    EXPECT_EQ(liGuid, MakeGuid(0x200));
    EXPECT_FALSE(p.table.GetFwAppInfo(L"SIGNAL", id, fwGuid, liGuid));
    EXPECT_EQ(id, 0);
    EXPECT_EQ(fwGuid, GUID_NULL);
    EXPECT_EQ(liGuid, GUID_NULL);
}

TEST(FwInfoTableTest, GetLiCountByFwNameAsksTheProcessWideTable) {
    CFwInfoTable* global = GetFwInfoTable();
    ASSERT_NE(global, nullptr);
    const unsigned short app = global->NewFwAppId(0);
    global->GetFwInfo(app)->SetFwAppName(L"Global");
    global->NewLiId(app);
    global->NewLiId(app);
    global->NewLiId(app);
    CFwInfoTable local;
    EXPECT_EQ(local.GetLiCountByFwName(L"Global"), 3);
    EXPECT_EQ(global->GetLiCountByFwName(L"Global"), 3);
    EXPECT_EQ(local.GetLiCountByFwName(L"global"), 0);
    global->RemoveFw(app);
    EXPECT_EQ(local.GetLiCountByFwName(L"Global"), 0);
}

// ------------------------------------------------------------------- flags

TEST(FwInfoTableTest, LoadOnDemandFlags) {
    Populated p;
    EXPECT_TRUE(p.table.SetLoadOnDemandPossible(L"Signal", true));
    EXPECT_FALSE(p.table.SetLoadOnDemandPossible(L"Unknown", true));
    EXPECT_TRUE(p.table.IsLoadOnDemandPossibleByName(L"Signal"));
    EXPECT_TRUE(p.table.IsLoadOnDemandPossible(p.app));
    EXPECT_TRUE(p.table.IsLoadOnDemandPossible(LiId{MakeGuid(0x301), 0}));
    EXPECT_FALSE(p.table.IsLoadOnDemandConsistent(p.app)); // independent flag
    EXPECT_FALSE(p.table.IsLoadOnDemandPossibleByName(L"Unknown"));
    EXPECT_FALSE(p.table.IsLoadOnDemandPossible(LiId{MakeGuid(0x777), 0}));

    p.table.SetLoadOnDemandConsistent(p.app, true);
    EXPECT_TRUE(p.table.IsLoadOnDemandConsistentByName(L"Signal"));
    EXPECT_TRUE(p.table.IsLoadOnDemandConsistent(LiId{MakeGuid(0x200), 0}));
    const unsigned short other = p.table.NewFwAppId(0);
    p.table.SetLoadOnDemandPossible(other, true);

    p.table.ClearAllLoadOnDemandFlags();
    EXPECT_FALSE(p.table.IsLoadOnDemandPossible(p.app));
    EXPECT_FALSE(p.table.IsLoadOnDemandConsistent(p.app));
    EXPECT_FALSE(p.table.IsLoadOnDemandPossible(other));
}

TEST(FwInfoTableTest, ApplicTypeByNameAndId) {
    Populated p;
    EXPECT_EQ(p.table.GetApplicType(L"Signal"), KxPersistApplicType_None);
    EXPECT_TRUE(p.table.SetApplicType(L"Signal", static_cast<KxPersistApplicType>(2)));
    EXPECT_EQ(p.table.GetApplicType(p.app), 2);
    EXPECT_EQ(p.table.GetApplicType(p.li1), 2); // instrument id: its application
    EXPECT_FALSE(p.table.SetApplicType(L"Unknown", KxPersistApplicType_UnloadWithTable));
    EXPECT_EQ(p.table.GetApplicType(L"Unknown"), KxPersistApplicType_None);
}

TEST(FwInfoTableTest, UnloadWhenTCDsOffTableWideAndPerInstrument) {
    Populated p; // "Signal": applic type 0
    const unsigned short typed = p.table.NewFwAppId(0);
    p.table.GetFwInfo(typed)->SetApplicType(KxPersistApplicType_UnloadWithTable);
    const unsigned short typedLi = p.table.NewLiId(typed);

    // id 0: the table-wide flag, handed to instruments of applic type 4 only.
    p.table.SetUnloadLogicalInstrumentWhenTCDsOff(true, 0);
    EXPECT_TRUE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(0));
    EXPECT_TRUE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(typedLi));
    EXPECT_FALSE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(p.li1));
    // New instruments of a type-4 application take the table-wide flag.
    const unsigned short typedLi2 = p.table.NewLiId(typed);
    EXPECT_TRUE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(typedLi2));
    EXPECT_FALSE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(p.table.NewLiId(p.app)));

    // Setting one instrument leaves the table-wide flag; clearing one clears it.
    p.table.SetUnloadLogicalInstrumentWhenTCDsOff(true, p.li1);
    EXPECT_TRUE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(p.li1));
    EXPECT_TRUE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(0));
    p.table.SetUnloadLogicalInstrumentWhenTCDsOff(false, typedLi);
    EXPECT_FALSE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(typedLi));
    EXPECT_FALSE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(0));
    EXPECT_TRUE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(typedLi2));
    const unsigned short typedLi3 = p.table.NewLiId(typed);
    EXPECT_FALSE(p.table.GetUnloadLogicalInstrumentWhenTCDsOff(typedLi3));
}

TEST(FwInfoTableTest, OnlySecondOfTwoTCDOffsReportsLastOff) {
    Populated p;
    p.table.SetUnloadLogicalInstrumentWhenTCDsOff(true, p.li1);
    EXPECT_TRUE(p.table.TCDOff2On(p.li1));
    EXPECT_TRUE(p.table.TCDOff2On(p.li1));
    EXPECT_EQ(p.table.GetLiInfo(p.li1)->GetTCDCount(), 2);
    bool lastOff = true;
    bool unload = true;
    EXPECT_TRUE(p.table.TCDOn2Off(p.li1, lastOff, unload));
    EXPECT_FALSE(lastOff);
    EXPECT_FALSE(unload);
    EXPECT_TRUE(p.table.TCDOn2Off(p.li1, lastOff, unload));
    EXPECT_TRUE(lastOff);
    EXPECT_TRUE(unload);
    EXPECT_EQ(p.table.GetLiInfo(p.li1)->GetTCDCount(), 0);
    // Another instrument without the unload flag reports lastOff only.
    p.table.TCDOff2On(p.li2);
    EXPECT_TRUE(p.table.TCDOn2Off(p.li2, lastOff, unload));
    EXPECT_TRUE(lastOff);
    EXPECT_FALSE(unload);
    // Clearing the instrument resets its count.
    p.table.TCDOff2On(p.li2);
    p.table.RemoveLi(p.li2);
    EXPECT_EQ(p.table.GetLiInfo(p.li2)->GetTCDCount(), 0);
}

TEST(FwInfoTableTest, ExistsAnyLiConfigFile) {
    Populated p;
    EXPECT_FALSE(p.table.ExistsAnyLiConfigFile(L"Unknown"));
    const unsigned short bare = p.table.NewFwAppId(0);
    p.table.GetFwInfo(bare)->SetFwAppName(L"Bare");
    EXPECT_TRUE(p.table.ExistsAnyLiConfigFile(L"Bare")); // no instruments
    // Only the first instrument in use counts.
    EXPECT_FALSE(p.table.ExistsAnyLiConfigFile(L"Signal"));
    p.table.SetLiConfigFileNavHandle(p.li2, 9);
    EXPECT_FALSE(p.table.ExistsAnyLiConfigFile(L"Signal"));
    p.table.SetLiConfigFileNavHandle(p.li1, 8);
    EXPECT_TRUE(p.table.ExistsAnyLiConfigFile(L"Signal"));
    p.table.RemoveLi(p.li1);
    EXPECT_TRUE(p.table.ExistsAnyLiConfigFile(L"Signal")); // now li2 is first
}
