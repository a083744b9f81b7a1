// Key traits of the registry lists' indexes (library-internal): how the
// object list and the interface list hash and compare the keys their
// look-ups use. See KxRecordIndex.h.
#pragma once

#include <platcompat.h>

#include <cstdint>
#include <cstring>

#include "CInterfaceIdentificationData.h"
#include "CObjectIdentificationData.h"
#include "KxKeyTable.h"

namespace KxTamarind {
namespace KxIndex {

// The 16 bytes of an identifier folded into 64 bits.
inline std::uint64_t GuidWords(const GUID& guid) {
    std::uint64_t words[2];
    std::memcpy(words, &guid, sizeof words);
    return words[0] ^ words[1];
}

// Multiplicative hashing (the high half of a product with an odd constant):
// identifiers made by CoCreateGuid are random already, and those that count
// up in one field still spread over the whole table. A look-up is one
// multiplication away from its slot.
inline std::uint32_t HashFolded(std::uint64_t folded) {
    return static_cast<std::uint32_t>((folded * 0x9E3779B97F4A7C15ull) >> 32);
}

inline std::uint32_t HashGuid(const GUID& guid) {
    return HashFolded(GuidWords(guid));
}

// The instance number is spread before it is folded in, so that it does not
// cancel a difference in the identifier's low bits.
inline std::uint32_t HashGuidInstance(const GUID& guid, long instance) {
    return HashFolded(GuidWords(guid) ^
                      (static_cast<std::uint64_t>(instance) * 0xC2B2AE3D27D4EB4Full));
}

// Object records: kind 0 is the ObjectGuid alone (look-ups with instance -1,
// any instance), kind 1 the pair (ObjectGuid, InstanceNumber). Sort key:
// the SortIndex.
struct ObjectKeys {
    static constexpr int kKinds = 2;
    static constexpr int kNodeKind = 1;
    static constexpr int kGuid = 0;
    static constexpr int kGuidInstance = 1;

    static std::uint32_t Hash(const CObjectIdentificationData& record, int kind) {
        return kind == kGuid ? HashGuid(record.ObjectGuid)
                             : HashGuidInstance(record.ObjectGuid, record.InstanceNumber);
    }
    static bool Same(const CObjectIdentificationData& a, const CObjectIdentificationData& b,
                     int kind) {
        return IsEqualGUID(a.ObjectGuid, b.ObjectGuid) &&
               (kind == kGuid || a.InstanceNumber == b.InstanceNumber);
    }
    static long SortKey(const CObjectIdentificationData& record) { return record.SortIndex; }
};

// Interface records: one kind, the Iid; no sort key.
struct InterfaceKeys {
    static constexpr int kKinds = 1;
    static constexpr int kNodeKind = 0;

    static std::uint32_t Hash(const CInterfaceIdentificationData& record, int /*kind*/) {
        return HashGuid(record.Iid);
    }
    static bool Same(const CInterfaceIdentificationData& a, const CInterfaceIdentificationData& b,
                     int /*kind*/) {
        return IsEqualGUID(a.Iid, b.Iid);
    }
    static long SortKey(const CInterfaceIdentificationData& /*record*/) { return 0; }
};

} // namespace KxIndex
} // namespace KxTamarind
