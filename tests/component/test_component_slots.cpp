// The positions of the operations and hooks in the virtual tables of
// CBComponentManagement and CBCoClassInfo: modules built separately call
// them by position, so a reordered declaration must fail here.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "CBCoClassInfo.h"
#include "CBComponentManagement.h"

using namespace KxTamarind;

namespace {

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))

// In the Itanium C++ ABI a pointer to a virtual member function holds one
// plus the byte offset of its slot, and the this-adjustment (0 for the
// primary table).
template <class F>
long SlotOf(F member) {
    static_assert(sizeof(F) == 2 * sizeof(ptrdiff_t), "Itanium member pointer");
    ptrdiff_t words[2];
    std::memcpy(words, &member, sizeof(words));
    if ((words[0] & 1) == 0 || words[1] != 0) {
        return -1; // not a virtual of the primary table
    }
    return static_cast<long>((words[0] - 1) / static_cast<ptrdiff_t>(sizeof(void*)));
}

// IUnknown's three operations come first.
constexpr long kFirst = 3;

TEST(ComponentSlots, InterfaceOperationsKeepTheirPositions) {
    typedef CBComponentManagement C;
    EXPECT_EQ(SlotOf(&C::PutReferences), kFirst + 0);
    EXPECT_EQ(SlotOf(&C::SetObjectGuid), kFirst + 8);
    EXPECT_EQ(SlotOf(&C::ReleaseReferences), kFirst + 15);
    EXPECT_EQ(SlotOf(&C::CreatePropDependentDynObjects), kFirst + 31);
    EXPECT_EQ(SlotOf(&C::SetPartialLoadable), kFirst + 55);
    EXPECT_EQ(SlotOf(&C::ReportUnallowedLinkages), kFirst + 59);
}

TEST(ComponentSlots, HooksFollowTheInterfaceInTableOrder) {
    typedef CBComponentManagement C;
    const long hooks[] = {
        SlotOf(&C::DoPutReferences),
        SlotOf(&C::DoReleaseReferences),
        SlotOf(&C::DoInitializeOperation),
        SlotOf(&C::DoReleaseOperation),
        SlotOf(&C::DoConnect),
        SlotOf(&C::DoDisconnect),
        SlotOf(&C::DoFinishConstruct),
        SlotOf(&C::DoStartDestruct),
        SlotOf(&C::CheckAllProperties),
        SlotOf(&C::PropertiesCopied),
        SlotOf(&C::PropertiesLoaded),
        SlotOf(&C::DoCreatePropDependentDynObjects),
        SlotOf(&C::DoDeletePropDependentDynObjects),
        SlotOf(&C::DoPreparePropertyChange),
        SlotOf(&C::DoPropertyChanged),
        SlotOf(&C::DoMarkedPropertiesSet),
        SlotOf(&C::DoFilterLinkageList),
        SlotOf(&C::DoGetDefaultLinkage),
        SlotOf(&C::DoCheckPropertyValidity),
        SlotOf(&C::DoIsClassPlugable),
        SlotOf(&C::DoSaveTranslator),
        SlotOf(&C::DoGetModificationState),
        SlotOf(&C::DoSelectObject),
        SlotOf(&C::DoDeselectObject),
        SlotOf(&C::DoGetObjectsOfInterest),
        SlotOf(&C::DoGetJumpData),
        SlotOf(&C::DoGetSelectableObjects),
        SlotOf(&C::DoStartPropertyTool),
        SlotOf(&C::DoGetPropertyToolResult),
        SlotOf(&C::DoStopPropertyTool),
        SlotOf(&C::DoAttachTool),
        SlotOf(&C::DoDetachTool),
        SlotOf(&C::DoGetDependencyGraph),
        SlotOf(&C::DoCalculatePartialLoad),
        SlotOf(&C::DoGetFilterCatids),
        SlotOf(&C::DoRequestTemplateInstantiation),
        SlotOf(&C::DoReleaseTemplateInstantiation),
        SlotOf(&C::IsApartmentThreaded),
        SlotOf(&C::IsFreeThreaded),
    };
    for (size_t i = 0; i < sizeof(hooks) / sizeof(hooks[0]); ++i) {
        EXPECT_EQ(hooks[i], kFirst + 60 + static_cast<long>(i)) << "hook " << i + 1;
    }
}

TEST(CoClassInfoSlots, OperationsThenHooksInTableOrder) {
    typedef CBCoClassInfo C;
    const long slots[] = {
        SlotOf(&C::GetIdentification),
        SlotOf(&C::QueryAllInterfacesDescription),
        SlotOf(&C::QueryAllInterfaces),
        SlotOf(&C::QueryLinkageList),
        SlotOf(&C::QueryOutgoingCatIdList),
        SlotOf(&C::QueryImplementedCatIdList),
        SlotOf(&C::ImplementsCatId),
        SlotOf(&C::QueryCharacteristicsList),
        SlotOf(&C::GetImageName),
        SlotOf(&C::GetComponentInfo),
        SlotOf(&C::GetMainCatid),
        SlotOf(&C::DoGetIdentification),
        SlotOf(&C::DoImplementsCatId),
        SlotOf(&C::DoQueryOutgoingCatIdList),
        SlotOf(&C::DoQueryImplementedCatIdList),
        SlotOf(&C::DoQueryCharacteristicsList),
        SlotOf(&C::DoGetImageName),
        SlotOf(&C::DoGetMainCatid),
        SlotOf(&C::DoGetParentCatIdList),
        SlotOf(&C::GetThreadingModel),
    };
    for (size_t i = 0; i < sizeof(slots) / sizeof(slots[0]); ++i) {
        EXPECT_EQ(slots[i], kFirst + static_cast<long>(i)) << "entry " << i + 1;
    }
}

#endif

} // namespace
