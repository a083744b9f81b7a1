// The interface identifier catalogue: every one of the 134 interfaces is a
// declared type whose holder behind __uuidof, IID_ constant and catalogue
// entry are one and the same identifier, all distinct, the catalogue sorted
// by name for FindInterfaceId. That the values are those of the generator
// beside the tables (name-based UUIDs) is checked by its own --check, run as
// the test idl.generated_tables_are_current.
#include <gtest/gtest.h>

#include "KxInterfaces.h"

#include <cstring>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// The 134 interfaces of the catalogue, sorted by name.
// clang-format off
#define KXT_INTERFACES(X) \
    X(IKXAnnouncementManagementObservation) X(IKXAnnouncementViewConfiguration) X(IKXCoClassInfo) \
    X(IKXComponentCheck) X(IKXComponentManagement) X(IKXDatabaseGroupNavigation) \
    X(IKXDatabaseManagement) X(IKXDeviceFootprint) X(IKXDeviceFootprintProvider) \
    X(IKXDnsSdServices) X(IKXDriverAdapterManagement) X(IKXEnvironmentServicesFilesystem) \
    X(IKXFwApplicationEventControl) X(IKXFwApplicationInformation) X(IKXFwApplicationManagement) \
    X(IKXFwManagementEventControl) X(IKXGuiViewerRemoteExportRegistration) X(IKXHiSlipServer) \
    X(IKXInfoControlling) X(IKXInfoManagement) X(IKXInstallationRemoteControl) \
    X(IKXInstrumentSetupManagement) X(IKXInstrumentSetupRemoteSupportSink) \
    X(IKXInterfaceEnumeration) X(IKXInterfaceRegistration) X(IKXLanEventHandler) \
    X(IKXLanServices) X(IKXLedManagement) X(IKXLogicalInstrumentControl) \
    X(IKXLogicalInstrumentFeedback) X(IKXLogicalInstrumentInformation) \
    X(IKXLogicalInstrumentManagement) X(IKXLogicalInstrumentServices) X(IKXLxiChannel) \
    X(IKXLxiChannel1588) X(IKXLxiChannel1588AlarmHandler) X(IKXLxiChannelHwTrigger) \
    X(IKXLxiChannelLanEvents) X(IKXLxiEngine) X(IKXLxiEventLog) X(IKXLxiLanEventHandler) \
    X(IKXLxiObserver) X(IKXLxiSync) X(IKXLxiSyncArm) X(IKXLxiSyncArmAlarmProperty) \
    X(IKXLxiSyncArmAlarms) X(IKXLxiSyncArmSourceProperty) X(IKXLxiSyncArmSources) \
    X(IKXLxiSyncCapabilityManagement) X(IKXLxiSyncCapabilityProperty) X(IKXLxiSyncEventLog) \
    X(IKXLxiSyncEventProperty) X(IKXLxiSyncEvents) X(IKXLxiSyncTime) X(IKXLxiSyncTrigger) \
    X(IKXLxiSyncTriggerAlarmProperty) X(IKXLxiSyncTriggerAlarms) \
    X(IKXLxiSyncTriggerSourceProperty) X(IKXLxiSyncTriggerSources) X(IKXLxiTriggerEventEngine) \
    X(IKXLxiTriggerEventHandler) X(IKXLxiTriggerEventInstance) X(IKXLxiTriggerEventWebAccess) \
    X(IKXNotificationRegistration) X(IKXNotificationSink) X(IKXObjectEnumeration) \
    X(IKXObjectRegistration) X(IKXProdDefSource) X(IKXProdDescrSource) \
    X(IKXRemoteTreeInformation) X(IKXRemoteViewInformation) X(IKXSaveRecallManagement) \
    X(IKXScalarPropertyAccess) X(IKXScpiAccessControl) X(IKXScpiAction) X(IKXScpiBlockData) \
    X(IKXScpiChannel) X(IKXScpiChannelManagement) X(IKXScpiChannelServiceProvider) \
    X(IKXScpiCharacterEnum) X(IKXScpiCommands) X(IKXScpiCommonCommands) X(IKXScpiController) \
    X(IKXScpiDeviceEnumeration) X(IKXScpiDeviceHandler) X(IKXScpiDeviceManagement) \
    X(IKXScpiEmulationCallback) X(IKXScpiErrorManagement) X(IKXScpiExecutionSink) X(IKXScpiGroup) \
    X(IKXScpiInputBuffer) X(IKXScpiInstrumentLocking) X(IKXScpiKernel4882) \
    X(IKXScpiKernelMassMem) X(IKXScpiKernelMassMemCallback) X(IKXScpiLifeCycle) X(IKXScpiMapper) \
    X(IKXScpiMultichannelAdministration) X(IKXScpiMultichannelEventObserver) \
    X(IKXScpiMultichannelFunctionality) X(IKXScpiMultichannelParser) X(IKXScpiNode) \
    X(IKXScpiOperation) X(IKXScpiOutputBuffer) X(IKXScpiParser) X(IKXScpiParserEnumeration) \
    X(IKXScpiParserInformation) X(IKXScpiParserLanguage) X(IKXScpiParserManagement) \
    X(IKXScpiRemoteControl) X(IKXScpiStatusEnumeration) X(IKXScpiStatusManagement) \
    X(IKXScpiStatusRegister) X(IKXScpiStatusRegisterExtended) X(IKXScpiStatusTree) \
    X(IKXScpiSubsystemFormat) X(IKXScpiTraceConfiguration) X(IKXScpiTraceControl) \
    X(IKXScpiTraceManagement) X(IKXScpiTraceNotificationSink) X(IKXScpiTree) \
    X(IKXScpiUnitSubsystem) X(IKXScpiUnitSuffix) X(IKXScpiWeb) X(IKXSetupProperties) \
    X(IKXTimeDateControl) X(IKXTimerManagement) X(IKXToolComponentNavigation) \
    X(IKXUnitManagement) X(IKXUseCaseInformation) X(IKXVncControlSettings) X(IKXVxi11Server) \
    X(IKXWebEngine) X(IKXWebPageProvider)
// clang-format on

// Each name is a complete interface type derived from IUnknown.
#define KXT_CHECK_TYPE(Name)                                                                       \
    static_assert(std::is_base_of<IUnknown, KxTamarind::Name>::value, #Name);
KXT_INTERFACES(KXT_CHECK_TYPE)

struct Expected {
    const char* name;
    const GUID* holder;  // &__uuidof(KxTamarind::Name)
    const IID* constant; // &KxTamarind::IID_Name
};
#define KXT_ENTRY(Name) {#Name, &__uuidof(KxTamarind::Name), &KxTamarind::IID_##Name},
const Expected kExpected[] = {KXT_INTERFACES(KXT_ENTRY)};
static_assert(std::size(kExpected) == 134, "134 interfaces");

TEST(InterfaceIds, CatalogueHoldsEveryInterfaceOnceSortedWithItsSharedConstant) {
    std::size_t count = 0;
    const KxTamarind::KxInterfaceIdEntry* entries = KxTamarind::GetInterfaceIdCatalogue(&count);
    ASSERT_EQ(count, std::size(kExpected));
    EXPECT_EQ(KxTamarind::GetInterfaceIdCatalogue(nullptr), entries);
    std::set<std::string> identifiers{
        std::string(reinterpret_cast<const char*>(&IID_IUnknown), 16)};
    for (std::size_t i = 0; i < count; ++i) {
        const Expected& expected = kExpected[i];
        SCOPED_TRACE(expected.name);
        ASSERT_STREQ(entries[i].name, expected.name); // in order: sorted as the list is
        EXPECT_EQ(entries[i].iid, expected.constant); // the shared constant itself, no copy
        EXPECT_EQ(*expected.holder, *expected.constant);
        EXPECT_EQ(KxTamarind::FindInterfaceId(expected.name), expected.constant);
        EXPECT_TRUE(
            identifiers.insert(std::string(reinterpret_cast<const char*>(expected.holder), 16))
                .second)
            << "an identifier used twice";
        EXPECT_NE(*expected.holder, GUID_NULL);
        EXPECT_TRUE(i == 0 || std::strcmp(entries[i - 1].name, entries[i].name) < 0);
    }
}

// Two values modules built separately rely on: the one the generator
// reproduces and the root registry's fixed one.
TEST(InterfaceIds, KnownValues) {
    EXPECT_EQ(KxTamarind::IID_IKXComponentManagement,
              (GUID{0xB66E5114, 0xDB27, 0x5FA3, {0x9E, 0xED, 0x54, 0xA2, 0xDF, 0xC2, 0xE8, 0xA0}}));
    EXPECT_EQ(__uuidof(KxTamarind::IKXInterfaceRegistration),
              (GUID{0xE4F67E3F, 0x13A0, 0x11D5, {0x99, 0xE4, 0x00, 0xC0, 0x4F, 0x30, 0x6F, 0x62}}));
}

TEST(InterfaceIds, FindInterfaceIdRejectsUnknownNames) {
    const char* const unknown[] = {
        nullptr,
        "",
        "IUnknown",                // the platform's, not part of the catalogue
        "A",                       // before the first entry
        "Z",                       // after the last entry
        "IKXScpi",                 // a prefix of several entries
        "ikxcomponentmanagement",  // names are case-sensitive
        "IKXLxiChannel1588X",      // an entry plus one character
        "IKXComponentManagement ", // trailing blank
    };
    for (const char* name : unknown) {
        EXPECT_EQ(KxTamarind::FindInterfaceId(name), nullptr) << (name ? name : "(null)");
    }
}

} // namespace
