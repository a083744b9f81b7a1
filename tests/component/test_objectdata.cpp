// The object data's linkage registration and its logical-instrument
// queries (answered by the process-wide firmware info table and by the
// linkage).
#include <gtest/gtest.h>

#include <cstring>

#include "CFwInfoTable.h"
#include "CObjectData.h"
#include "KxKernelRemote.h"
#include "KxLinkagePartner.h"
#include "KxResultCodes.h"
#include "common/CatchError.h"
#include "common/CountingUnknown.h"
#include "common/FakeLinkage.h"

using namespace KxTamarind;
using KxTest::CatchError;
using KxTest::CountingUnknown;
using KxTest::FakeLinkage;

namespace {

const char kObjectDataSource[] = "Base/Common/KxTamarindCommon/Src/CObjectData";
const GUID kObjectGuid = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
const GUID kAppGuid = {0xA0A0A0A0, 0x0001, 0x0002, {9, 8, 7, 6, 5, 4, 3, 2}};
const GUID kLiGuid = {0xB1B1B1B1, 0x0003, 0x0004, {1, 1, 2, 3, 5, 8, 13, 21}};

// Object data wired to a fake linkage (the data owns one reference).
void Wire(CObjectData& data, FakeLinkage& linkage, long handle = 17) {
    linkage.AddRef();
    data.m_pIKXLinkage = &linkage;
    data.m_lNavigationHandle = handle;
    data.ObjectGuid = kObjectGuid;
    data.m_bstrObjectName = SysAllocString(L"Mixer\u00E4");
}

// An application with one logical instrument in the process-wide table;
// removed again at the end of the test.
class TableEntry {
public:
    TableEntry() : m_table(GetFwInfoTable()) {
        m_fw = m_table->NewFwAppId(0);
        m_li = m_table->NewLiId(m_fw);
        CFwInfo* info = m_table->GetFwInfo(m_fw);
        info->SetFwAppName(L"Spectrum");
        info->SetFwAppGuid(kAppGuid);
        info->SetApplicType(static_cast<KxPersistApplicType>(7));
        m_table->SetLiGuid(m_li, kLiGuid);
    }
    ~TableEntry() { m_table->RemoveFw(m_fw); }
    TableEntry(const TableEntry&) = delete;
    TableEntry& operator=(const TableEntry&) = delete;

    CFwInfoTable* m_table;
    unsigned short m_fw;
    unsigned short m_li;
};

} // namespace

TEST(ObjectDataLinkage, NothingToRegisterAnswersTrueWithoutCallingTheLinkage) {
    FakeLinkage linkage;
    {
        CObjectData noHandle;
        Wire(noHandle, linkage, 0);
        EXPECT_TRUE(noHandle.RegisterToLinkage());

        CObjectData noGuid;
        Wire(noGuid, linkage);
        noGuid.ObjectGuid = GUID_NULL;
        EXPECT_TRUE(noGuid.RegisterToLinkage());

        CObjectData noLinkage;
        noLinkage.m_lNavigationHandle = 5;
        noLinkage.ObjectGuid = kObjectGuid;
        EXPECT_TRUE(noLinkage.RegisterToLinkage());

        EXPECT_EQ(linkage.registerCalls, 0);
        EXPECT_FALSE(noHandle.IsRegisteredToLinkage());
        EXPECT_FALSE(noGuid.IsRegisteredToLinkage());
        EXPECT_FALSE(noLinkage.IsRegisteredToLinkage());
    }
    EXPECT_EQ(linkage.References(), 0);
}

TEST(ObjectDataLinkage, RegistersOnceUnderGuidAndHandle) {
    FakeLinkage linkage;
    {
        CObjectData data;
        Wire(data, linkage, 42);
        EXPECT_TRUE(data.RegisterToLinkage());
        EXPECT_TRUE(data.m_bRegisteredToLinkage);
        EXPECT_EQ(linkage.registerCalls, 1);
        EXPECT_TRUE(IsEqualGUID(linkage.lastGuid, kObjectGuid));
        EXPECT_EQ(linkage.lastHandle, 42);
        // Already registered: nothing more is asked.
        EXPECT_TRUE(data.RegisterToLinkage());
        EXPECT_EQ(linkage.registerCalls, 1);
    }
    EXPECT_EQ(linkage.References(), 0);
}

TEST(ObjectDataLinkage, TakenGuidAnswersFalseAndStaysUnregistered) {
    FakeLinkage linkage;
    linkage.registerResult = S_FALSE;
    {
        CObjectData data;
        Wire(data, linkage);
        EXPECT_FALSE(data.RegisterToLinkage());
        EXPECT_FALSE(data.m_bRegisteredToLinkage);
        // Unregistering an unregistered object asks nothing.
        data.UnregisterFromLinkage();
        EXPECT_EQ(linkage.unregisterCalls, 0);
    }
    EXPECT_EQ(linkage.References(), 0);
}

TEST(ObjectDataLinkage, FailedRegistrationIsRaisedWithTheObjectName) {
    FakeLinkage linkage;
    linkage.registerResult = E_OUTOFMEMORY;
    {
        CObjectData data;
        Wire(data, linkage);
        auto error = CatchError([&] { data.RegisterToLinkage(); });
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(error->GetCondition().GetString(), "HResult was invalid");
        EXPECT_STREQ(error->GetAdditionalInfo().GetString(),
                     "Linkage registration failed for object 'Mixer\xC3\xA4'");
        EXPECT_EQ(error->GetErrorCode(), static_cast<long>(E_OUTOFMEMORY));
        EXPECT_STREQ(error->GetFileName().GetString(), kObjectDataSource);
        EXPECT_FALSE(data.m_bRegisteredToLinkage);
    }
    EXPECT_EQ(linkage.References(), 0);
}

TEST(ObjectDataLinkage, UnregisterClearsTheFlagOnlyOnSuccess) {
    FakeLinkage linkage;
    {
        CObjectData data;
        Wire(data, linkage);
        ASSERT_TRUE(data.RegisterToLinkage());

        linkage.unregisterResult = S_FALSE;
        auto error = CatchError([&] { data.UnregisterFromLinkage(); });
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(error->GetCondition().GetString(), "HResult was invalid");
        EXPECT_STREQ(error->GetAdditionalInfo().GetString(), "");
        EXPECT_EQ(error->GetErrorCode(), static_cast<long>(S_FALSE));
        EXPECT_TRUE(data.m_bRegisteredToLinkage);

        linkage.unregisterResult = S_OK;
        data.UnregisterFromLinkage();
        EXPECT_FALSE(data.m_bRegisteredToLinkage);
        EXPECT_EQ(linkage.unregisterCalls, 2);
        EXPECT_TRUE(IsEqualGUID(linkage.lastGuid, kObjectGuid));
    }
    EXPECT_EQ(linkage.References(), 0);
}

TEST(ObjectDataLinkage, UnregisterWithoutLinkageIsRaised) {
    CObjectData data;
    data.m_bRegisteredToLinkage = true;
    auto error = CatchError([&] { data.UnregisterFromLinkage(); });
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->GetCondition().GetString(), "m_pIKXLinkage == NULL");
    EXPECT_STREQ(error->GetAdditionalInfo().GetString(), "");
    EXPECT_EQ(error->GetErrorCode(), static_cast<long>(E_POINTER));
    EXPECT_STREQ(error->GetFileName().GetString(), kObjectDataSource);
    EXPECT_TRUE(data.m_bRegisteredToLinkage);
}

TEST(ObjectDataInstrument, ApplicationQueriesUseTheLowSixteenBitsOfTheLocation) {
    TableEntry entry;
    CObjectData data;
    // Bits above the low 16 belong to others and must not disturb the key.
    data.m_lLogicalLocation = 0x7A0000L | entry.m_li;

    wchar_t* name = nullptr;
    EXPECT_TRUE(data.GetMyFwAppName(&name));
    ASSERT_NE(name, nullptr);
    EXPECT_STREQ(name, L"Spectrum");
    SysFreeString(name);

    GUID guid = GUID_NULL;
    EXPECT_TRUE(data.GetMyFwAppGUID(&guid));
    EXPECT_TRUE(IsEqualGUID(guid, kAppGuid));
    EXPECT_EQ(data.GetMyFwAppType(), static_cast<KxPersistApplicType>(7));

    EXPECT_FALSE(data.IsMyLiPartialLoaded());
    entry.m_table->SetLiIsPartialLoaded(entry.m_li, true);
    EXPECT_TRUE(data.IsMyLiPartialLoaded());
}

TEST(ObjectDataInstrument, ApplicationQueriesOfAFreeSlotAnswerFalse) {
    CObjectData data;
    data.m_lLogicalLocation = 0x7E01; // application slot 126: never allocated here
    GUID guid = kAppGuid;
    EXPECT_FALSE(data.GetMyFwAppGUID(&guid));
    wchar_t* name = reinterpret_cast<wchar_t*>(0x1);
    EXPECT_FALSE(data.GetMyFwAppName(&name));
    EXPECT_EQ(name, nullptr);
}

TEST(ObjectDataInstrument, LocationOutsideTheTableIsRaisedByTheTable) {
    CObjectData data;
    data.m_lLogicalLocation = 0x8001;
    auto error = CatchError([&] { data.GetMyFwAppType(); });
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->GetErrorCode(), static_cast<long>(E_KX_HRESULT_ASSERT_FAILED));
}

TEST(ObjectDataInstrument, LiIdCarriesTheInstrumentGuidAndZeroBasedIndex) {
    TableEntry entry;
    CObjectData data;
    data.m_lLogicalLocation = entry.m_li;
    LiId id = {kAppGuid, 99};
    EXPECT_TRUE(data.GetMyLiId(&id));
    EXPECT_TRUE(IsEqualGUID(id.m_Guid, kLiGuid));
    EXPECT_EQ(id.m_ulIndex, static_cast<unsigned long>((entry.m_li & 0xFF) - 1));

    // An instrument without a GUID: cleared record, false.
    entry.m_table->SetLiGuid(entry.m_li, GUID_NULL);
    id = {kAppGuid, 99};
    EXPECT_FALSE(data.GetMyLiId(&id));
    EXPECT_TRUE(IsEqualGUID(id.m_Guid, GUID_NULL));
    EXPECT_EQ(id.m_ulIndex, static_cast<unsigned long>((entry.m_li & 0xFF) - 1));

    EXPECT_FALSE(data.GetMyLiId(nullptr));
}

TEST(ObjectDataInstrument, LiIdOfLocationZeroDependsOnTheTablesNumberZero) {
    CFwInfoTable* table = GetFwInfoTable();
    CObjectData data; // logical location 0
    LiId id = {kAppGuid, 7};
    EXPECT_FALSE(data.GetMyLiId(&id));
    EXPECT_EQ(id.m_ulIndex, static_cast<unsigned long>(-1));
    EXPECT_TRUE(IsEqualGUID(id.m_Guid, GUID_NULL));

    table->SetLiGuid(0, kLiGuid);
    EXPECT_TRUE(data.GetMyLiId(&id));
    EXPECT_EQ(id.m_ulIndex, static_cast<unsigned long>(-1));
    EXPECT_TRUE(IsEqualGUID(id.m_Guid, kLiGuid));
    table->SetLiGuid(0, GUID_NULL);
}

TEST(ObjectDataInstrument, LiObjectComesFromTheLinkageByFullLocation) {
    CountingUnknown instrument;
    FakeLinkage linkage;
    {
        CObjectData data;
        IUnknown* object = &instrument;
        EXPECT_FALSE(data.GetMyLiIUnknown(&object)); // no linkage
        EXPECT_EQ(object, nullptr);
        EXPECT_FALSE(data.GetMyLiIUnknown(nullptr));

        Wire(data, linkage);
        data.m_lLogicalLocation = 0x10203;
        EXPECT_FALSE(data.GetMyLiIUnknown(&object)); // nothing at that location
        EXPECT_EQ(object, nullptr);

        linkage.AddLocationObject(0x10203, &instrument);
        EXPECT_TRUE(data.GetMyLiIUnknown(&object));
        EXPECT_EQ(object, &instrument);
        EXPECT_EQ(linkage.lastLocation, 0x10203);
        EXPECT_EQ(linkage.lastReserved, 0);
        object->Release();
    }
    EXPECT_EQ(instrument.References(), 0);
    EXPECT_EQ(linkage.References(), 0);
}

TEST(ObjectDataInstrument, TwinIsTheFarPartnerOfTheObjectGuid) {
    CountingUnknown twin;
    FakeLinkage linkage;
    {
        CObjectData data;
        IUnknown* found = nullptr;
        EXPECT_FALSE(data.GetMyTwin(2, &found)); // no linkage

        Wire(data, linkage);
        linkage.farPartner = &twin;
        EXPECT_TRUE(data.GetMyTwin(2, &found));
        ASSERT_EQ(found, &twin);
        found->Release();
        EXPECT_TRUE(IsEqualGUID(linkage.lastGuid, kObjectGuid));
        EXPECT_EQ(linkage.lastLevel, 2);
        EXPECT_TRUE(linkage.lastGuid2WasNull);
        EXPECT_TRUE(linkage.lastNameSlotWasNull);

        linkage.farResult = S_FALSE;
        linkage.farPartner = nullptr;
        EXPECT_FALSE(data.GetMyTwin(1, &found));
        EXPECT_EQ(found, nullptr);
    }
    EXPECT_EQ(twin.References(), 0);
    EXPECT_EQ(linkage.References(), 0);
}

TEST(ObjectDataInstrument, FwAppNameOfLiIdComesFromTheLinkageAndItsObjectIsReleased) {
    CountingUnknown application;
    FakeLinkage linkage;
    {
        CObjectData data;
        LiId id = {kLiGuid, 3};
        wchar_t* name = nullptr;
        EXPECT_FALSE(data.GetFwAppName(id, &name)); // no linkage

        Wire(data, linkage);
        linkage.farPartner = &application;
        linkage.farName = L"Analyzer";
        EXPECT_TRUE(data.GetFwAppName(id, &name));
        ASSERT_NE(name, nullptr);
        EXPECT_STREQ(name, L"Analyzer");
        SysFreeString(name);
        EXPECT_TRUE(IsEqualGUID(linkage.lastGuid, kLiGuid));
        EXPECT_EQ(linkage.lastLevel, 3);
        EXPECT_TRUE(linkage.lastGuid2WasNull);
        EXPECT_FALSE(linkage.lastNameSlotWasNull);
        EXPECT_EQ(application.AddRefs(), 1);
        EXPECT_EQ(application.References(), 0); // the temporary object was given back

        linkage.farResult = E_FAIL;
        linkage.farPartner = nullptr;
        linkage.farName = nullptr;
        EXPECT_FALSE(data.GetFwAppName(id, &name));
    }
    EXPECT_EQ(application.References(), 0);
    EXPECT_EQ(linkage.References(), 0);
}

TEST(ObjectDataInstrument, InstrumentForwardsDescribeTheOneFixedInstrument) {
    CObjectData data;
    data.m_lLogicalLocation = 0x0203;
    const int32_t expected[9] = {0, 6, -1, 0, -1, -1, 0, -1, 1};
    static_assert(sizeof(KxPersistInstrumentInfo) == sizeof(expected), "nine 32-bit fields");

    KxPersistInstrumentInfo info;
    std::memset(&info, 0x5A, sizeof(info));
    EXPECT_EQ(data.GetMyInstrumentInfo(&info), S_OK);
    EXPECT_EQ(std::memcmp(&info, expected, sizeof(expected)), 0);
    LiId id = {kLiGuid, 0};
    std::memset(&info, 0x5A, sizeof(info));
    EXPECT_EQ(CObjectData::GetMyInstrumentInfo(id, &info), S_OK);
    EXPECT_EQ(std::memcmp(&info, expected, sizeof(expected)), 0);
    EXPECT_EQ(data.GetMyInstrumentInfo(nullptr), S_OK);

    EXPECT_EQ(data.GetMyInstrumentNo(), -1);
    EXPECT_EQ(data.GetMyVirtualLINumber(), -1);
    EXPECT_EQ(data.GetMyAbsoluteLINumber(), -1);
    EXPECT_EQ(CObjectData::GetMyInstrumentNo(id), -1);
    EXPECT_EQ(CObjectData::GetMyVirtualLINumber(id), -1);
    EXPECT_EQ(CObjectData::GetMyAbsoluteLINumber(id), -1);
}
