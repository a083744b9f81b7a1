// The index of CObjectList (library-internal): the RecordIndex over its
// records, and the key look-up that CObjectList::FindIndex and the
// registry's GetObject share, inline where they use it.
#pragma once

#include "CObjectList.h"
#include "KxRecordIndex.h"
#include "KxRegistryKeys.h"

namespace KxTamarind {

class CObjectListIndex : public KxIndex::RecordIndex<CObjectList::records, KxIndex::ObjectKeys> {
public:
    using RecordIndex::RecordIndex;

    static CObjectListIndex& Of(CObjectList& list) { return *list.m_pIndex; }
    // CObjectList::GetCount without a call through the library's exports.
    static long CountOf(const CObjectList& list) {
        return list.m_lCount.load(std::memory_order_relaxed);
    }

    // The first record in list order with this ObjectGuid and instance
    // number (-1: any instance), or the list's end.
    iterator FindKey(const GUID& objectGuid, long instance) const {
        if (instance == -1) {
            return Find(KxIndex::ObjectKeys::kGuid, KxIndex::HashGuid(objectGuid),
                        [&](const CObjectIdentificationData& record) {
                            return IsEqualGUID(record.ObjectGuid, objectGuid);
                        });
        }
        return Find(KxIndex::ObjectKeys::kGuidInstance,
                    KxIndex::HashGuidInstance(objectGuid, instance),
                    [&](const CObjectIdentificationData& record) {
                        return record.InstanceNumber == instance &&
                               IsEqualGUID(record.ObjectGuid, objectGuid);
                    });
    }
};

} // namespace KxTamarind
