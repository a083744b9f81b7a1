// Firmware info table: identifier allocation and its raised limits, the
// look-ups by name, GUI name, GUID, LiId and identifier, the flags and the
// TCD counts, also switched from several threads at once.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "CFwInfoTable.h"
#include "KxKernelRemote.h"
#include "KxResultCodes.h"
#include "common/CatchError.h"

using namespace KxTamarind;
using KxTest::CatchError;

namespace {

GUID Guid(std::uint32_t n) {
    return GUID{n, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0x5A}};
}

std::wstring Take(BSTR text) { // the text of a BSTR handed out, which it frees
    std::wstring copy = text != nullptr ? std::wstring(text, SysStringLen(text)) : L"<null>";
    SysFreeString(text);
    return copy;
}

// A table with the application "Signal" (created with 7) holding
// instruments 1 and 2.
struct FwInfoTableTest : ::testing::Test {
    FwInfoTableTest() {
        app->SetFwAppName(L"Signal");
        app->SetFwAppGuid(Guid(0x100));
        app->SetFwAppLiIdGuid(Guid(0x200));
        table.SetLiGuid(li1, Guid(0x301));
        table.SetLiGuid(li2, Guid(0x302));
    }
    CFwInfoTable table;
    unsigned short id = table.NewFwAppId(7), li1 = table.NewLiId(id), li2 = table.NewLiId(id);
    CFwInfo* app = table.GetFwInfo(id);
};

TEST_F(FwInfoTableTest, IdentifiersAreHandedOutInOrderAndReusedAfterRemoval) {
    EXPECT_EQ(std::make_tuple(id, li1, li2, app->GetCreationArgument(), table.GetFwAppCount()),
              std::make_tuple(0x0100, 0x0101, 0x0102, 7L, 1));
    for (int slot = 3; slot <= 15; ++slot) {
        ASSERT_EQ(table.NewLiId(id), id + slot);
    }
    for (int fw = 2; fw <= 127; ++fw) {
        ASSERT_EQ(table.NewFwAppId(fw), fw * 256);
    }
    table.RemoveLi(0x0104);
    table.GetFwInfo(0x0300)->SetFwAppName(L"gone");
    table.RemoveFw(0x0300);
    table.RemoveFw(0x0300); // a free slot: nothing happens
    EXPECT_EQ(table.GetFwAppCount(), 126);
    EXPECT_EQ(table.NewLiId(id), 0x0104);
    EXPECT_EQ(table.NewFwAppId(0), 0x0300);
    EXPECT_EQ(table.GetFwInfo(0x0300)->GetFwAppName(), nullptr); // cleared on removal
    EXPECT_EQ(CFwInfoTable::CalcId(3, 7), 0x0307);
    EXPECT_EQ(CFwInfoTable::Id2Fw(0x7F0F), 127);
    EXPECT_EQ(CFwInfoTable::Id2Li(0x000F), 15);
}

// Every raised condition with its text and line, each case in a fresh table.
TEST(FwInfoTable, LimitsAreRaised) {
    const struct {
        const char *condition, *message;
        long line;
        std::function<void(CFwInfoTable&)> call;
    } cases[] = {
        {"stop on error", "FwInfoTable: no free id for new firmwareapplicationidentification found",
         449,
         [](CFwInfoTable& t) {
             for (int i = 0; i < 128; ++i)
                 t.NewFwAppId(0);
         }},
        {"stop on error", "CFwInfoTable: no free id for logical instruments found", 473,
         [](CFwInfoTable& t) {
             for (unsigned short fw = t.NewFwAppId(0);;)
                 t.NewLiId(fw);
         }},
        {"i< MaxFw", "unknown internal FwId", 384, [](CFwInfoTable& t) { t.GetFwInfo(0xFF00); }},
        {"i< MaxFw", "unknown internal FwId", 384,
         [](CFwInfoTable&) { CFwInfoTable::Id2Fw(0x8000); }},
        {"i< CFwInfo::MaxLi", "unknown internal LiId", 391,
         [](CFwInfoTable& t) { t.GetLiInfo(0x01FF); }},
        {"i< CFwInfo::MaxLi", "unknown internal LiId", 391,
         [](CFwInfoTable&) { CFwInfoTable::Id2Li(0x0010); }},
        // Slot 0 is in use but was never counted: removing it is refused.
        {"m_iReservedCount>0", "", 400, [](CFwInfoTable& t) { t.RemoveFw(0); }},
        {"iCount <= MaxFw", "", 300, [](CFwInfoTable& t) { t.GetFwAppGuids(129, nullptr); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        CFwInfoTable table;
        KxTest::ExpectError(CatchError([&] { c.call(table); }), c.condition, c.message,
                            E_KX_HRESULT_ASSERT_FAILED,
                            "Base/Common/KxTamarindCommon/Src/CFwInfoTable", c.line);
        EXPECT_TRUE(table.GetFwInfo(0)->IsInUse());
        EXPECT_LE(table.GetFwAppCount(), 127);
    }
}

TEST_F(FwInfoTableTest, LookUpsByName) {
    const unsigned short other = table.NewFwAppId(0);
    table.GetFwInfo(other)->SetFwAppName(L"SIGNAL");
    EXPECT_EQ(table.GetFwInfoByName(L"Signal", true), app);
    EXPECT_EQ(table.GetFwInfoByName(app->GetFwAppName(), true), app); // the stored BSTR itself
    EXPECT_EQ(table.GetFwInfoByName(L"SIGNAL", true), table.GetFwInfo(other));
    EXPECT_EQ(table.GetFwInfoByName(L"sIgNaL", false), app);
    EXPECT_EQ(table.GetFwInfoByName(L"signal", true), nullptr);
    EXPECT_EQ(table.GetFwInfoByName(L"Signa", true), nullptr);
    EXPECT_EQ(table.GetFwInfoByName(L"Signal ", false), nullptr);
    // Null and empty names find the first unnamed slot in use: the reserved
    // slot 0 until it has a name, then an empty-named application.
    EXPECT_EQ(table.GetFwInfoByName(nullptr, true), table.GetFwInfo(0));
    EXPECT_EQ(table.GetFwInfoByGuiName(L"", false), table.GetFwInfo(0));
    table.GetFwInfo(0)->SetFwAppName(L"reserved");
    table.GetFwInfo(other)->SetFwAppName(L"");
    EXPECT_EQ(table.GetFwInfoByName(nullptr, true), table.GetFwInfo(other));
    EXPECT_EQ(table.GetFwInfoByName(L"", false), table.GetFwInfo(other));
    table.RemoveFw(id); // a freed slot is not found any more
    EXPECT_EQ(table.GetFwInfoByName(L"Signal", true), nullptr);
}

TEST_F(FwInfoTableTest, GuiNamesAndTheApplicationNameBehindThem) {
    BSTR out = reinterpret_cast<BSTR>(&table); // overwritten, not freed
    EXPECT_TRUE(table.SetGuiFwAppName(L"Signal", L"Signal Generator"));
    EXPECT_FALSE(table.SetGuiFwAppName(L"signal", L"x"));
    EXPECT_FALSE(table.GetGuiFwAppName(L"Unknown", &out));
    EXPECT_EQ(out, nullptr);
    EXPECT_TRUE(table.GetGuiFwAppName(L"Signal", &out));
    EXPECT_NE(out, app->GetGuiFwAppName()); // a copy for the caller
    EXPECT_EQ(Take(out), L"Signal Generator");
    EXPECT_EQ(table.GetFwInfoByGuiName(L"signal generator", false), app);
    EXPECT_EQ(table.GetFwInfoByGuiName(L"signal generator", true), nullptr);
    for (const wchar_t* key : {L"Signal Generator", L"Signal"}) { // the GUI name or the name
        EXPECT_TRUE(table.GetFwAppNameByGuiName(key, &out));
        EXPECT_EQ(Take(out), L"Signal");
    }
    EXPECT_FALSE(table.GetFwAppNameByGuiName(L"Network", &out));
    EXPECT_EQ(out, nullptr);
    EXPECT_FALSE(table.GetGuiFwAppName(L"Signal", nullptr) ||
                 table.GetFwAppNameByGuiName(L"Signal", nullptr));
    // Null names do not crash: they name the reserved slot 0.
    EXPECT_TRUE(table.GetGuiFwAppName(nullptr, &out));
    EXPECT_EQ(out, nullptr);
    EXPECT_TRUE(table.SetApplicType(nullptr, KxPersistApplicType_UnloadWithTable));
    EXPECT_EQ(table.GetApplicType(static_cast<unsigned short>(0)), 4);
}

TEST_F(FwInfoTableTest, LookUpsByGuidLiIdAndIdentifier) {
    unsigned char fw = 99;
    EXPECT_TRUE(table.GetFwAppId(Guid(0x100), fw));
    EXPECT_EQ(fw, 1);
    EXPECT_FALSE(table.GetFwAppId(Guid(0x999), fw));
    EXPECT_EQ(fw, 0);
    // Index k names instrument slot k + 1; the application's own LiId-terms
    // GUID finds the application (identifier with instrument 0) but no
    // instrument; an index above 14 names nothing.
    const LiId second{Guid(0x302), 1}, own{Guid(0x200), 3};
    EXPECT_EQ(std::make_tuple(table.GetFwInfo(second), table.GetLiInfo(second),
                              table.GetFwInfo(own), table.GetLiInfo(own)),
              std::make_tuple(app, table.GetLiInfo(li2), app, nullptr));
    EXPECT_EQ(std::make_tuple(table.GetIdByLiId(second), table.GetIdByLiId({Guid(0x301), 0}),
                              table.GetIdByLiId(own)),
              std::make_tuple(li2, li1, id));
    for (const LiId& none : {LiId{Guid(0x302), 0}, LiId{Guid(0x777), 0}, LiId{Guid(0x200), 15}}) {
        EXPECT_EQ(table.GetLiInfo(none), nullptr);
        EXPECT_EQ(table.GetIdByLiId(none), 0);
    }
    EXPECT_EQ(table.GetIdByLiId(LiId{GUID_NULL, 0}), 0);
    EXPECT_EQ(table.GetFwInfo(LiId{Guid(0x302), 15}), nullptr);
    EXPECT_EQ(table.GetLiCount(Guid(0x200)) * 10 + table.GetLiCount(Guid(0x777)), 20);
    // The last instrument slot is reachable with index 14.
    for (int i = 3; i <= 15; ++i) {
        table.NewLiId(id);
    }
    table.SetLiGuid(id + 15, Guid(0x3FF));
    EXPECT_EQ(table.GetIdByLiId(LiId{Guid(0x3FF), 14}), id + 15);
    // Instrument accessors by LiId reach the slot of the identifier.
    EXPECT_TRUE(table.SetLiConfigFileNavHandle(second, 1234));
    table.SetGuiRootNavHandle(li2, 55);
    EXPECT_EQ(table.GetLiConfigFileNavHandle(li2) + table.GetGuiRootNavHandle(second), 1289);
    EXPECT_FALSE(table.SetLoadLiPartial(LiId{Guid(0x777), 0}, true));
    EXPECT_EQ(table.GetLICNavHandle(LiId{Guid(0x777), 0}), 0);

    GUID guid = GUID_NULL, liGuid = Guid(1);
    wchar_t* name = nullptr;
    long found = -1;
    EXPECT_TRUE(table.GetFwAppInfo(li2, &guid, &name)); // an instrument's: its application's
    EXPECT_EQ(std::make_pair(guid, Take(name)),
              std::make_pair(Guid(0x100), std::wstring(L"Signal")));
    EXPECT_TRUE(table.GetFwAppInfo(L"Signal", found, guid, liGuid));
    EXPECT_EQ(std::make_tuple(found, guid, liGuid),
              std::make_tuple(0x0100L, Guid(0x100), Guid(0x200)));
    EXPECT_FALSE(table.GetFwAppInfo(0x0500, &guid, &name)); // a free slot
    EXPECT_EQ(std::make_pair(guid, name),
              std::make_pair(GUID_NULL, static_cast<wchar_t*>(nullptr)));
    EXPECT_FALSE(table.GetFwAppInfo(L"SIGNAL", found, guid, liGuid));
    EXPECT_EQ(std::make_tuple(found, guid, liGuid), std::make_tuple(0L, GUID_NULL, GUID_NULL));
    GUID out[4] = {Guid(9), Guid(9), Guid(9), Guid(9)};
    table.GetFwInfo(0x0200)->SetFwAppGuid(Guid(2)); // slot 2 is free: copied all the same
    table.GetFwAppGuids(3, out);
    EXPECT_EQ(std::vector<GUID>(out, out + 4),
              (std::vector<GUID>{GUID_NULL, Guid(0x100), Guid(2), Guid(9)}));
}

TEST(FwInfoTable, LiCountByFwNameAsksTheProcessWideTable) {
    CFwInfoTable* global = GetFwInfoTable();
    const unsigned short app = global->NewFwAppId(0);
    global->GetFwInfo(app)->SetFwAppName(L"Global");
    global->NewLiId(app);
    global->NewLiId(app);
    CFwInfoTable local;
    EXPECT_EQ(local.GetLiCountByFwName(L"Global"), 2);
    EXPECT_EQ(local.GetLiCountByFwName(L"global"), 0);
    global->RemoveFw(app);
    EXPECT_EQ(local.GetLiCountByFwName(L"Global"), 0);
}

TEST_F(FwInfoTableTest, LoadOnDemandFlagsAndApplicType) {
    EXPECT_TRUE(table.SetLoadOnDemandPossible(L"Signal", true));
    EXPECT_FALSE(table.SetLoadOnDemandPossible(L"Unknown", true));
    table.SetLoadOnDemandConsistent(id, true);
    const unsigned short other = table.NewFwAppId(0);
    table.SetLoadOnDemandPossible(other, true);
    EXPECT_TRUE(table.IsLoadOnDemandPossibleByName(L"Signal") &&
                table.IsLoadOnDemandPossible(LiId{Guid(0x301), 0}) &&
                table.IsLoadOnDemandConsistentByName(L"Signal") &&
                table.IsLoadOnDemandConsistent(LiId{Guid(0x200), 0}) &&
                table.IsLoadOnDemandPossible(other));
    EXPECT_FALSE(table.IsLoadOnDemandConsistent(other) ||
                 table.IsLoadOnDemandPossibleByName(L"x") ||
                 table.IsLoadOnDemandPossible(LiId{Guid(0x777), 0}));
    table.ClearAllLoadOnDemandFlags();
    EXPECT_FALSE(table.IsLoadOnDemandPossible(id) || table.IsLoadOnDemandConsistent(id) ||
                 table.IsLoadOnDemandPossible(other));

    EXPECT_TRUE(table.SetApplicType(L"Signal", static_cast<KxPersistApplicType>(2)));
    EXPECT_FALSE(table.SetApplicType(L"Unknown", KxPersistApplicType_UnloadWithTable));
    EXPECT_EQ(std::make_tuple(table.GetApplicType(L"Signal"), table.GetApplicType(li1),
                              table.GetApplicType(L"Unknown")),
              std::make_tuple(2, 2, KxPersistApplicType_None));
}

TEST_F(FwInfoTableTest, UnloadWhenTCDsOffAndTheTCDCounts) {
    const unsigned short typed = table.NewFwAppId(0); // applic type 4
    table.GetFwInfo(typed)->SetApplicType(KxPersistApplicType_UnloadWithTable);
    const unsigned short typedLi = table.NewLiId(typed);
    // Id 0: the table-wide flag, handed to the instruments of type-4
    // applications only, also to those made later.
    table.SetUnloadLogicalInstrumentWhenTCDsOff(true, 0);
    const unsigned short typedLi2 = table.NewLiId(typed), li3 = table.NewLiId(id);
    const unsigned short keys[] = {0, typedLi, typedLi2, li1, li3};
    auto flags = [&] {
        std::string f;
        for (unsigned short key : keys) {
            f += table.GetUnloadLogicalInstrumentWhenTCDsOff(key) ? '1' : '0';
        }
        return f;
    };
    EXPECT_EQ(flags(), "11100");
    // One instrument's flag set leaves the table-wide one; one cleared clears it.
    table.SetUnloadLogicalInstrumentWhenTCDsOff(true, li1);
    EXPECT_EQ(flags(), "11110");
    table.SetUnloadLogicalInstrumentWhenTCDsOff(false, typedLi);
    EXPECT_EQ(flags(), "00110");
    EXPECT_FALSE(table.GetUnloadLogicalInstrumentWhenTCDsOff(table.NewLiId(typed)));

    // Two on, two off: only the second off reports the last one, with the
    // instrument's unload flag.
    bool lastOff = true, unload = true;
    EXPECT_TRUE(table.TCDOff2On(li1) && table.TCDOff2On(li1) && table.TCDOff2On(li2));
    EXPECT_TRUE(table.TCDOn2Off(li1, lastOff, unload));
    EXPECT_EQ(std::make_tuple(lastOff, unload, table.GetLiInfo(li1)->GetTCDCount()),
              std::make_tuple(false, false, 1));
    EXPECT_TRUE(table.TCDOn2Off(li1, lastOff, unload));
    EXPECT_EQ(std::make_pair(lastOff, unload), std::make_pair(true, true));
    EXPECT_TRUE(table.TCDOn2Off(li2, lastOff, unload));
    EXPECT_EQ(std::make_pair(lastOff, unload), std::make_pair(true, false));
    table.TCDOff2On(li2);
    table.RemoveLi(li2); // clearing the instrument resets its count
    EXPECT_EQ(table.GetLiInfo(li2)->GetTCDCount(), 0);
}

TEST_F(FwInfoTableTest, ExistsAnyLiConfigFileAsksTheFirstInstrumentInUse) {
    table.GetFwInfo(table.NewFwAppId(0))->SetFwAppName(L"Bare");
    EXPECT_FALSE(table.ExistsAnyLiConfigFile(L"Unknown"));
    EXPECT_TRUE(table.ExistsAnyLiConfigFile(L"Bare")); // no instruments: nothing lacks a file
    table.SetLiConfigFileNavHandle(li2, 9);
    EXPECT_FALSE(table.ExistsAnyLiConfigFile(L"Signal"));
    table.SetLiConfigFileNavHandle(li1, 8);
    EXPECT_TRUE(table.ExistsAnyLiConfigFile(L"Signal"));
    table.SetLiConfigFileNavHandle(li1, 0);
    table.RemoveLi(li1); // now li2 is the first
    EXPECT_TRUE(table.ExistsAnyLiConfigFile(L"Signal"));
    EXPECT_TRUE(table.ExistsAnyLiConfigFile(nullptr)); // the reserved slot 0: no instruments
}

// TCD switching is reported from several threads at once and must count
// exactly. One TCD stays on while the threads switch theirs on and off: no
// one is the last. Then all switch theirs on, and after all have, off again,
// the first thread also the one that stayed on: exactly one is the last.
TEST_F(FwInfoTableTest, ConcurrentTCDSwitchingCountsExactly) {
    table.SetUnloadLogicalInstrumentWhenTCDsOff(true, li1);
    table.TCDOff2On(li1);
    std::atomic<int> ready{0}, lastOff{0}, failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            bool last = false, unload = false;
            for (int i = 0; i < 10000; ++i) {
                failures += !table.TCDOff2On(li1);
                failures += !table.TCDOn2Off(li1, last, unload) || last;
            }
            for (int i = 0; i < 10000; ++i) {
                failures += !table.TCDOff2On(li1);
            }
            for (++ready; ready.load() < 4;) {
                std::this_thread::yield();
            }
            for (int i = 0; i < 10000 + (t == 0 ? 1 : 0); ++i) {
                failures += !table.TCDOn2Off(li1, last, unload) || (last && !unload);
                lastOff += last;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::make_tuple(failures.load(), lastOff.load(), table.GetLiInfo(li1)->GetTCDCount()),
              std::make_tuple(0, 1, 0));
}

} // namespace
