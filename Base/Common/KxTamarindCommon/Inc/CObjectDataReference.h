// CObjectDataReference: the link of a CB* base implementation to the
// component's shared CObjectDataReferenceBase.
//
// Every CB* base of a component derives from this class, and the base is
// virtual, so a component built from several CB* bases has exactly one
// CObjectDataReferenceBase: one pointer to its CObjectData and CCoClassData,
// one property-change state and one origin for its error reports. It adds no
// data and owns nothing; thread safety is that of the base.
#pragma once

#include "KxExport.h"

#include "CObjectDataReferenceBase.h"

namespace KxTamarind {

class KXTAMARIND_API CObjectDataReference : public virtual CObjectDataReferenceBase {
public:
    CObjectDataReference() = default;
    ~CObjectDataReference() override = default;

    CObjectDataReference(const CObjectDataReference&) = delete;
    CObjectDataReference& operator=(const CObjectDataReference&) = delete;
};

} // namespace KxTamarind
