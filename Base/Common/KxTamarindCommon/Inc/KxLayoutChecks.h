// KxLayoutChecks: compile-time checks of the records whose layout is a binary
// contract with separately built firmware modules (registry records, class
// data, property tables, trace switches).
//
// The sizes are those of the 32-bit x86 target, where long, BSTR and every
// pointer are 4 bytes and a GUID is 16; they are checked only there. Any
// translation unit may include this header; it defines nothing.
#pragma once

#include <platcompat.h>

#include "CCoClassData.h"
#include "KxIdentificationData.h"
#include "KxPropertyMap.h"
#include "KxScpiTrace.h"

namespace KxTamarind {
namespace LayoutChecks {

// The sizes the 32-bit layouts give, field by field.
constexpr size_t kObjectIdentificationDataSize = 4 + 16 + 16 + 4 + 4 + 4;
constexpr size_t kInterfaceIdentificationDataSize = 4 + 16 + 4;
constexpr size_t kPropertyEntrySize = 16 * 4;
constexpr size_t kUnionMapEntrySize = 4 + kPropertyEntrySize;
constexpr size_t kExtendedPropertyMapEntrySize = kPropertyEntrySize + 5 * 4;
constexpr size_t kCoClassDataSize = 12 * 4;
constexpr size_t kScpiTraceConfigSize = 14 * 2;

} // namespace LayoutChecks

#if defined(__i386__)
static_assert(sizeof(void*) == 4 && sizeof(long) == 4 && sizeof(GUID) == 16,
              "32-bit target: 4-byte words, 16-byte GUIDs");
static_assert(sizeof(ObjectIdentificationData) == LayoutChecks::kObjectIdentificationDataSize,
              "ObjectIdentificationData is 48 bytes");
static_assert(sizeof(InterfaceIdentificationData) == LayoutChecks::kInterfaceIdentificationDataSize,
              "InterfaceIdentificationData is 24 bytes");
static_assert(sizeof(tagPropertyEntry) == LayoutChecks::kPropertyEntrySize,
              "tagPropertyEntry is 64 bytes");
static_assert(sizeof(tagUnionMapEntry) == LayoutChecks::kUnionMapEntrySize,
              "tagUnionMapEntry is 68 bytes");
static_assert(sizeof(ExtendedPropertyMapEntry) == LayoutChecks::kExtendedPropertyMapEntrySize,
              "ExtendedPropertyMapEntry is 84 bytes");
static_assert(sizeof(CCoClassData) == LayoutChecks::kCoClassDataSize, "CCoClassData is 48 bytes");
#endif
// 16-bit flags: the same size on every target.
static_assert(sizeof(ScpiTraceConfig) == LayoutChecks::kScpiTraceConfigSize,
              "ScpiTraceConfig is 28 bytes");

} // namespace KxTamarind
