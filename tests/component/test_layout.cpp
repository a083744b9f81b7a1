// Record layouts that separately built modules depend on. The header's static
// assertions check the 32-bit sizes whenever this file is compiled for i386;
// the tests below check, on whatever target runs them, that every field sits
// where a layout of machine words puts it.
#include <gtest/gtest.h>

#include <cstddef>
#include <iostream>

#include "KxLayoutChecks.h"

using namespace KxTamarind;

namespace {

constexpr size_t W = sizeof(void*);

static_assert(sizeof(long) == W, "long is one machine word on both targets");

TEST(LayoutTest, RegistryRecordsAreWordsAndGuids) {
    std::cout << "word " << W << ", ObjectIdentificationData " << sizeof(ObjectIdentificationData)
              << ", InterfaceIdentificationData " << sizeof(InterfaceIdentificationData)
              << ", CCoClassData " << sizeof(CCoClassData) << ", ScpiTraceConfig "
              << sizeof(ScpiTraceConfig) << '\n';
    EXPECT_EQ(sizeof(ObjectIdentificationData), 4 * W + 2 * sizeof(GUID));
    EXPECT_EQ(offsetof(ObjectIdentificationData, ObjectGuid), W);
    EXPECT_EQ(offsetof(ObjectIdentificationData, CatId), W + 16);
    EXPECT_EQ(offsetof(ObjectIdentificationData, SortIndex), W + 32);
    EXPECT_EQ(offsetof(ObjectIdentificationData, Name), 2 * W + 32);
    EXPECT_EQ(offsetof(ObjectIdentificationData, InstanceNumber), 3 * W + 32);

    EXPECT_EQ(sizeof(InterfaceIdentificationData), 2 * W + sizeof(GUID));
    EXPECT_EQ(offsetof(InterfaceIdentificationData, Iid), W);
    EXPECT_EQ(offsetof(InterfaceIdentificationData, Name), W + 16);

    EXPECT_EQ(sizeof(CCoClassData), 12 * W);
    EXPECT_EQ(offsetof(CCoClassData, m_pbstrDescription), 2 * W);
    EXPECT_EQ(offsetof(CCoClassData, m_pImplementedCatIds), 7 * W);

    EXPECT_EQ(sizeof(ScpiTraceConfig), LayoutChecks::kScpiTraceConfigSize);
    EXPECT_EQ(offsetof(ScpiTraceConfig, m_usLocking), 26u);
}

TEST(LayoutTest, PropertyTablesAreWordsInOrder) {
    std::cout << "tagPropertyEntry " << sizeof(tagPropertyEntry) << ", tagUnionMapEntry "
              << sizeof(tagUnionMapEntry) << ", ExtendedPropertyMapEntry "
              << sizeof(ExtendedPropertyMapEntry) << '\n';
    EXPECT_EQ(sizeof(tagPropertyEntry), 16 * W);
    EXPECT_EQ(offsetof(tagPropertyEntry, m_lMarker), 0u);
    EXPECT_EQ(offsetof(tagPropertyEntry, m_lDispId), W);
    EXPECT_EQ(offsetof(tagPropertyEntry, m_pfnNestedMap), 9 * W);
    EXPECT_EQ(offsetof(tagPropertyEntry, m_pfnUnionMap), 11 * W);
    EXPECT_EQ(offsetof(tagPropertyEntry, m_lField16), 15 * W);

    EXPECT_EQ(sizeof(tagUnionMapEntry), 17 * W);
    EXPECT_EQ(offsetof(tagUnionMapEntry, m_Property), W);

    EXPECT_EQ(sizeof(ExtendedPropertyMapEntry), 21 * W);
    EXPECT_EQ(offsetof(ExtendedPropertyMapEntry, m_Property), 0u);
    EXPECT_EQ(offsetof(ExtendedPropertyMapEntry, m_lField17), 16 * W);
    EXPECT_EQ(offsetof(ExtendedPropertyMapEntry, m_lField21), 20 * W);
}

// The 32-bit target: the sizes the layouts give, at run time too (the
// static assertions of the header already stop a wrong build).
TEST(LayoutTest, ThirtyTwoBitSizes) {
    if (W != 4) {
        GTEST_SKIP() << "only meaningful on the 32-bit target";
    }
    EXPECT_EQ(sizeof(ObjectIdentificationData), 48u);
    EXPECT_EQ(sizeof(InterfaceIdentificationData), 24u);
    EXPECT_EQ(sizeof(tagPropertyEntry), 64u);
    EXPECT_EQ(sizeof(tagUnionMapEntry), 68u);
    EXPECT_EQ(sizeof(ExtendedPropertyMapEntry), 84u);
    EXPECT_EQ(sizeof(CCoClassData), 48u);
    EXPECT_EQ(sizeof(ScpiTraceConfig), 28u);
}

} // namespace
