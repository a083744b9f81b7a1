// Record layouts that separately built modules depend on: the fields in
// their order, one machine word each, on both targets (the headers check the
// 32-bit sizes). A layout that drifts fails to compile here.
#include <cstddef>

#include "KxLayoutChecks.h"

namespace KxTamarind {

constexpr size_t W = sizeof(void*);
static_assert(offsetof(ObjectIdentificationData, CatId) == W + 16, "");
static_assert(offsetof(ObjectIdentificationData, Name) == 2 * W + 32, "");
static_assert(offsetof(ObjectIdentificationData, InstanceNumber) == 3 * W + 32, "");
static_assert(offsetof(InterfaceIdentificationData, Name) == W + 16, "");
static_assert(offsetof(CCoClassData, m_pImplementedCatIds) == 7 * W, "");
static_assert(offsetof(CCoClassData, m_pParentCatIds) == 11 * W, "");
static_assert(offsetof(ScpiTraceConfig, m_usLocking) == 26, "");
static_assert(offsetof(tagPropertyEntry, m_pfnNestedMap) == 9 * W, "");
static_assert(offsetof(tagPropertyEntry, m_pfnUnionMap) == 11 * W, "");
static_assert(offsetof(tagUnionMapEntry, m_Property) == W, "");
static_assert(offsetof(ExtendedPropertyMapEntry, m_lField21) == 20 * W, "");

} // namespace KxTamarind
