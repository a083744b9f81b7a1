// The interface identifier catalogue: every identifier is recomputed here from
// the interface's name (a name-based UUID, version 5, computed with the small
// SHA-1 below) and compared with the holder behind __uuidof, with the IID_
// constant and with the catalogue's entry.
#include <gtest/gtest.h>

#include "KxInterfaces.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

// Prints a GUID in its braced text form in failure messages.
static void PrintTo(const GUID& g, std::ostream* os) {
    char text[40];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(g.Data1), g.Data2, g.Data3, g.Data4[0], g.Data4[1],
                  g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
    *os << text;
}

namespace {

// The 134 interfaces of the catalogue, sorted by name.
#define KXT_INTERFACES(X)                                                                          \
    X(IKXAnnouncementManagementObservation)                                                        \
    X(IKXAnnouncementViewConfiguration)                                                            \
    X(IKXCoClassInfo)                                                                              \
    X(IKXComponentCheck)                                                                           \
    X(IKXComponentManagement)                                                                      \
    X(IKXDatabaseGroupNavigation)                                                                  \
    X(IKXDatabaseManagement)                                                                       \
    X(IKXDeviceFootprint)                                                                          \
    X(IKXDeviceFootprintProvider)                                                                  \
    X(IKXDnsSdServices)                                                                            \
    X(IKXDriverAdapterManagement)                                                                  \
    X(IKXEnvironmentServicesFilesystem)                                                            \
    X(IKXFwApplicationEventControl)                                                                \
    X(IKXFwApplicationInformation)                                                                 \
    X(IKXFwApplicationManagement)                                                                  \
    X(IKXFwManagementEventControl)                                                                 \
    X(IKXGuiViewerRemoteExportRegistration)                                                        \
    X(IKXHiSlipServer)                                                                             \
    X(IKXInfoControlling)                                                                          \
    X(IKXInfoManagement)                                                                           \
    X(IKXInstallationRemoteControl)                                                                \
    X(IKXInstrumentSetupManagement)                                                                \
    X(IKXInstrumentSetupRemoteSupportSink)                                                         \
    X(IKXInterfaceEnumeration)                                                                     \
    X(IKXInterfaceRegistration)                                                                    \
    X(IKXLanEventHandler)                                                                          \
    X(IKXLanServices)                                                                              \
    X(IKXLedManagement)                                                                            \
    X(IKXLogicalInstrumentControl)                                                                 \
    X(IKXLogicalInstrumentFeedback)                                                                \
    X(IKXLogicalInstrumentInformation)                                                             \
    X(IKXLogicalInstrumentManagement)                                                              \
    X(IKXLogicalInstrumentServices)                                                                \
    X(IKXLxiChannel)                                                                               \
    X(IKXLxiChannel1588)                                                                           \
    X(IKXLxiChannel1588AlarmHandler)                                                               \
    X(IKXLxiChannelHwTrigger)                                                                      \
    X(IKXLxiChannelLanEvents)                                                                      \
    X(IKXLxiEngine)                                                                                \
    X(IKXLxiEventLog)                                                                              \
    X(IKXLxiLanEventHandler)                                                                       \
    X(IKXLxiObserver)                                                                              \
    X(IKXLxiSync)                                                                                  \
    X(IKXLxiSyncArm)                                                                               \
    X(IKXLxiSyncArmAlarmProperty)                                                                  \
    X(IKXLxiSyncArmAlarms)                                                                         \
    X(IKXLxiSyncArmSourceProperty)                                                                 \
    X(IKXLxiSyncArmSources)                                                                        \
    X(IKXLxiSyncCapabilityManagement)                                                              \
    X(IKXLxiSyncCapabilityProperty)                                                                \
    X(IKXLxiSyncEventLog)                                                                          \
    X(IKXLxiSyncEventProperty)                                                                     \
    X(IKXLxiSyncEvents)                                                                            \
    X(IKXLxiSyncTime)                                                                              \
    X(IKXLxiSyncTrigger)                                                                           \
    X(IKXLxiSyncTriggerAlarmProperty)                                                              \
    X(IKXLxiSyncTriggerAlarms)                                                                     \
    X(IKXLxiSyncTriggerSourceProperty)                                                             \
    X(IKXLxiSyncTriggerSources)                                                                    \
    X(IKXLxiTriggerEventEngine)                                                                    \
    X(IKXLxiTriggerEventHandler)                                                                   \
    X(IKXLxiTriggerEventInstance)                                                                  \
    X(IKXLxiTriggerEventWebAccess)                                                                 \
    X(IKXNotificationRegistration)                                                                 \
    X(IKXNotificationSink)                                                                         \
    X(IKXObjectEnumeration)                                                                        \
    X(IKXObjectRegistration)                                                                       \
    X(IKXProdDefSource)                                                                            \
    X(IKXProdDescrSource)                                                                          \
    X(IKXRemoteTreeInformation)                                                                    \
    X(IKXRemoteViewInformation)                                                                    \
    X(IKXSaveRecallManagement)                                                                     \
    X(IKXScalarPropertyAccess)                                                                     \
    X(IKXScpiAccessControl)                                                                        \
    X(IKXScpiAction)                                                                               \
    X(IKXScpiBlockData)                                                                            \
    X(IKXScpiChannel)                                                                              \
    X(IKXScpiChannelManagement)                                                                    \
    X(IKXScpiChannelServiceProvider)                                                               \
    X(IKXScpiCharacterEnum)                                                                        \
    X(IKXScpiCommands)                                                                             \
    X(IKXScpiCommonCommands)                                                                       \
    X(IKXScpiController)                                                                           \
    X(IKXScpiDeviceEnumeration)                                                                    \
    X(IKXScpiDeviceHandler)                                                                        \
    X(IKXScpiDeviceManagement)                                                                     \
    X(IKXScpiEmulationCallback)                                                                    \
    X(IKXScpiErrorManagement)                                                                      \
    X(IKXScpiExecutionSink)                                                                        \
    X(IKXScpiGroup)                                                                                \
    X(IKXScpiInputBuffer)                                                                          \
    X(IKXScpiInstrumentLocking)                                                                    \
    X(IKXScpiKernel4882)                                                                           \
    X(IKXScpiKernelMassMem)                                                                        \
    X(IKXScpiKernelMassMemCallback)                                                                \
    X(IKXScpiLifeCycle)                                                                            \
    X(IKXScpiMapper)                                                                               \
    X(IKXScpiMultichannelAdministration)                                                           \
    X(IKXScpiMultichannelEventObserver)                                                            \
    X(IKXScpiMultichannelFunctionality)                                                            \
    X(IKXScpiMultichannelParser)                                                                   \
    X(IKXScpiNode)                                                                                 \
    X(IKXScpiOperation)                                                                            \
    X(IKXScpiOutputBuffer)                                                                         \
    X(IKXScpiParser)                                                                               \
    X(IKXScpiParserEnumeration)                                                                    \
    X(IKXScpiParserInformation)                                                                    \
    X(IKXScpiParserLanguage)                                                                       \
    X(IKXScpiParserManagement)                                                                     \
    X(IKXScpiRemoteControl)                                                                        \
    X(IKXScpiStatusEnumeration)                                                                    \
    X(IKXScpiStatusManagement)                                                                     \
    X(IKXScpiStatusRegister)                                                                       \
    X(IKXScpiStatusRegisterExtended)                                                               \
    X(IKXScpiStatusTree)                                                                           \
    X(IKXScpiSubsystemFormat)                                                                      \
    X(IKXScpiTraceConfiguration)                                                                   \
    X(IKXScpiTraceControl)                                                                         \
    X(IKXScpiTraceManagement)                                                                      \
    X(IKXScpiTraceNotificationSink)                                                                \
    X(IKXScpiTree)                                                                                 \
    X(IKXScpiUnitSubsystem)                                                                        \
    X(IKXScpiUnitSuffix)                                                                           \
    X(IKXScpiWeb)                                                                                  \
    X(IKXSetupProperties)                                                                          \
    X(IKXTimeDateControl)                                                                          \
    X(IKXTimerManagement)                                                                          \
    X(IKXToolComponentNavigation)                                                                  \
    X(IKXUnitManagement)                                                                           \
    X(IKXUseCaseInformation)                                                                       \
    X(IKXVncControlSettings)                                                                       \
    X(IKXVxi11Server)                                                                              \
    X(IKXWebEngine)                                                                                \
    X(IKXWebPageProvider)

// Each name must be a complete interface type derived from IUnknown.
#define KXT_CHECK_TYPE(Name)                                                                       \
    static_assert(std::is_base_of<IUnknown, KxTamarind::Name>::value,                              \
                  #Name " is declared as an interface");
KXT_INTERFACES(KXT_CHECK_TYPE)
#undef KXT_CHECK_TYPE

struct ExpectedInterface {
    const char* name;
    const GUID* holder;  // &__uuidof(KxTamarind::Name)
    const IID* constant; // &KxTamarind::IID_Name
};

#define KXT_ENTRY(Name) {#Name, &__uuidof(KxTamarind::Name), &KxTamarind::IID_##Name},
const ExpectedInterface kExpected[] = {KXT_INTERFACES(KXT_ENTRY)};
#undef KXT_ENTRY

constexpr std::size_t kInterfaceCount = 134;
static_assert(sizeof(kExpected) / sizeof(kExpected[0]) == kInterfaceCount, "134 interfaces");

// --- SHA-1 (FIPS 180-4), just enough for name-based UUIDs --------------------

using Digest = std::array<std::uint8_t, 20>;

std::uint32_t RotateLeft(std::uint32_t x, int n) {
    return (x << n) | (x >> (32 - n));
}

Digest Sha1(const std::string& message) {
    std::vector<std::uint8_t> data(message.begin(), message.end());
    const std::uint64_t bitLength = static_cast<std::uint64_t>(data.size()) * 8;
    data.push_back(0x80);
    while (data.size() % 64 != 56) {
        data.push_back(0);
    }
    for (int shift = 56; shift >= 0; shift -= 8) {
        data.push_back(static_cast<std::uint8_t>(bitLength >> shift));
    }
    std::uint32_t h[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    for (std::size_t block = 0; block < data.size(); block += 64) {
        std::uint32_t w[80];
        for (int t = 0; t < 16; ++t) {
            const std::uint8_t* p = &data[block + 4 * t];
            w[t] = (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) |
                   (std::uint32_t{p[2]} << 8) | std::uint32_t{p[3]};
        }
        for (int t = 16; t < 80; ++t) {
            w[t] = RotateLeft(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
        }
        std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4];
        for (int t = 0; t < 80; ++t) {
            std::uint32_t f;
            std::uint32_t k;
            if (t < 20) {
                f = (b & c) | (~b & d);
                k = 0x5A827999;
            } else if (t < 40) {
                f = b ^ c ^ d;
                k = 0x6ED9EBA1;
            } else if (t < 60) {
                f = (b & c) | (b & d) | (c & d);
                k = 0x8F1BBCDC;
            } else {
                f = b ^ c ^ d;
                k = 0xCA62C1D6;
            }
            const std::uint32_t next = RotateLeft(a, 5) + f + e + k + w[t];
            e = d;
            d = c;
            c = RotateLeft(b, 30);
            b = a;
            a = next;
        }
        h[0] += a;
        h[1] += b;
        h[2] += c;
        h[3] += d;
        h[4] += e;
    }
    Digest digest;
    for (int i = 0; i < 20; ++i) {
        digest[i] = static_cast<std::uint8_t>(h[i / 4] >> (24 - 8 * (i % 4)));
    }
    return digest;
}

std::string Hex(const Digest& digest) {
    std::string text;
    char byte[3];
    for (std::uint8_t b : digest) {
        std::snprintf(byte, sizeof byte, "%02x", b);
        text += byte;
    }
    return text;
}

// Name-based UUID, version 5, of a name in the catalogue's namespace
// {7572FCC6-9A91-4CBB-A37E-7A0325FB5E1F}; the namespace and the result are
// in network byte order, the GUID's first three fields read big-endian.
GUID NameBasedId(const char* name) {
    static const std::uint8_t kNamespace[16] = {0x75, 0x72, 0xFC, 0xC6, 0x9A, 0x91, 0x4C, 0xBB,
                                                0xA3, 0x7E, 0x7A, 0x03, 0x25, 0xFB, 0x5E, 0x1F};
    std::string input(reinterpret_cast<const char*>(kNamespace), sizeof kNamespace);
    input += name;
    Digest d = Sha1(input);
    d[6] = static_cast<std::uint8_t>((d[6] & 0x0F) | 0x50); // version 5
    d[8] = static_cast<std::uint8_t>((d[8] & 0x3F) | 0x80); // RFC 4122 variant
    GUID g;
    g.Data1 = (std::uint32_t{d[0]} << 24) | (std::uint32_t{d[1]} << 16) |
              (std::uint32_t{d[2]} << 8) | std::uint32_t{d[3]};
    g.Data2 = static_cast<std::uint16_t>((d[4] << 8) | d[5]);
    g.Data3 = static_cast<std::uint16_t>((d[6] << 8) | d[7]);
    std::memcpy(g.Data4, &d[8], 8);
    return g;
}

const GUID kInterfaceRegistrationId = {
    0xE4F67E3F, 0x13A0, 0x11D5, {0x99, 0xE4, 0x00, 0xC0, 0x4F, 0x30, 0x6F, 0x62}};

std::vector<KxTamarind::KxInterfaceIdEntry> Catalogue() {
    std::size_t count = 0;
    const KxTamarind::KxInterfaceIdEntry* entries = KxTamarind::GetInterfaceIdCatalogue(&count);
    if (entries == nullptr) {
        return {};
    }
    return std::vector<KxTamarind::KxInterfaceIdEntry>(entries, entries + count);
}

TEST(Sha1Test, StandardVectors) {
    EXPECT_EQ(Hex(Sha1("")), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(Hex(Sha1("abc")), "a9993e364706816aba3e25717850c26c9cd0d89d");
    // 56 bytes: the length no longer fits the first block.
    EXPECT_EQ(Hex(Sha1("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
              "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
}

TEST(InterfaceIdsTest, DerivationReproducesAKnownValue) {
    const GUID expected = {
        0xB66E5114, 0xDB27, 0x5FA3, {0x9E, 0xED, 0x54, 0xA2, 0xDF, 0xC2, 0xE8, 0xA0}};
    EXPECT_EQ(NameBasedId("IKXComponentManagement"), expected);
    EXPECT_EQ(__uuidof(KxTamarind::IKXComponentManagement), expected);
    EXPECT_EQ(KxTamarind::IID_IKXComponentManagement, expected);
}

TEST(InterfaceIdsTest, InterfaceRegistrationKeepsItsFixedValue) {
    EXPECT_EQ(__uuidof(KxTamarind::IKXInterfaceRegistration), kInterfaceRegistrationId);
    EXPECT_EQ(KxTamarind::IID_IKXInterfaceRegistration, kInterfaceRegistrationId);
    const IID* found = KxTamarind::FindInterfaceId("IKXInterfaceRegistration");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(*found, kInterfaceRegistrationId);
}

TEST(InterfaceIdsTest, CatalogueHoldsExactlyTheInterfacesSortedByName) {
    std::size_t count = 0;
    const KxTamarind::KxInterfaceIdEntry* entries = KxTamarind::GetInterfaceIdCatalogue(&count);
    ASSERT_NE(entries, nullptr);
    ASSERT_EQ(count, kInterfaceCount);
    EXPECT_EQ(KxTamarind::GetInterfaceIdCatalogue(nullptr), entries);

    std::vector<std::string> expectedNames;
    for (const ExpectedInterface& e : kExpected) {
        expectedNames.push_back(e.name);
    }
    std::sort(expectedNames.begin(), expectedNames.end());
    for (std::size_t i = 0; i < count; ++i) {
        SCOPED_TRACE(i);
        ASSERT_NE(entries[i].name, nullptr);
        ASSERT_NE(entries[i].iid, nullptr);
        EXPECT_EQ(entries[i].name, expectedNames[i]);
        if (i > 0) {
            EXPECT_LT(std::strcmp(entries[i - 1].name, entries[i].name), 0);
        }
    }
}

TEST(InterfaceIdsTest, EveryIdentifierIsTheNameBasedIdOfItsName) {
    const std::vector<KxTamarind::KxInterfaceIdEntry> catalogue = Catalogue();
    ASSERT_EQ(catalogue.size(), kInterfaceCount);
    for (const ExpectedInterface& e : kExpected) {
        SCOPED_TRACE(e.name);
        const GUID expected = std::strcmp(e.name, "IKXInterfaceRegistration") == 0
                                  ? kInterfaceRegistrationId
                                  : NameBasedId(e.name);
        EXPECT_EQ(*e.holder, expected);
        EXPECT_EQ(*e.constant, expected);
        const auto it = std::find_if(catalogue.begin(), catalogue.end(),
                                     [&](const KxTamarind::KxInterfaceIdEntry& entry) {
                                         return std::strcmp(entry.name, e.name) == 0;
                                     });
        ASSERT_NE(it, catalogue.end());
        // The catalogue hands out the shared constant itself, not a copy.
        EXPECT_EQ(it->iid, e.constant);
        EXPECT_EQ(KxTamarind::FindInterfaceId(e.name), e.constant);
    }
}

TEST(InterfaceIdsTest, AllIdentifiersAreDistinctFromEachOtherAndFromIUnknown) {
    std::set<std::array<std::uint8_t, 16>> seen;
    auto add = [&seen](const GUID& g) {
        std::array<std::uint8_t, 16> bytes;
        std::memcpy(bytes.data(), &g, sizeof g);
        return seen.insert(bytes).second;
    };
    ASSERT_TRUE(add(IID_IUnknown));
    for (const ExpectedInterface& e : kExpected) {
        SCOPED_TRACE(e.name);
        EXPECT_TRUE(add(*e.holder));
        EXPECT_NE(*e.holder, GUID_NULL);
    }
    EXPECT_EQ(seen.size(), kInterfaceCount + 1);
}

TEST(InterfaceIdsTest, FindInterfaceIdRejectsUnknownNames) {
    const char* const unknown[] = {
        "",
        "IUnknown",                // the platform's, not part of the catalogue
        "A",                       // before the first entry
        "Z",                       // after the last entry
        "IKXScpi",                 // a prefix of several entries
        "ikxcomponentmanagement",  // names are case-sensitive
        "IKXLxiChannel1588X",      // an entry plus one character
        "IKXComponentManagement ", // trailing blank
        "IKXNoSuchInterface",
    };
    for (const char* name : unknown) {
        SCOPED_TRACE(name);
        EXPECT_EQ(KxTamarind::FindInterfaceId(name), nullptr);
    }
    EXPECT_EQ(KxTamarind::FindInterfaceId(nullptr), nullptr);
}

TEST(InterfaceIdsTest, FindInterfaceIdFindsTheFirstAndLastEntries) {
    EXPECT_EQ(KxTamarind::FindInterfaceId("IKXAnnouncementManagementObservation"),
              &KxTamarind::IID_IKXAnnouncementManagementObservation);
    EXPECT_EQ(KxTamarind::FindInterfaceId("IKXWebPageProvider"),
              &KxTamarind::IID_IKXWebPageProvider);
    EXPECT_EQ(KxTamarind::FindInterfaceId("IKXComponentManagement"),
              &KxTamarind::IID_IKXComponentManagement);
}

} // namespace
