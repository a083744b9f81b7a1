// KxTamarindCommon: every public name of the common base library.
//
// Including this header gives the whole library (namespace KxTamarind) and,
// through it, the platform layer's names (<platcompat.h>).
#pragma once

#include <platcompat.h>

// Interface declarations and identifiers.
#include "IKXLinkage.h"
#include "KxIdentificationData.h"
#include "KxInterfaces.h"

// Errors and diagnostics.
#include "CEmbeddedShell.h"
#include "CErrorObject.h"
#include "KxErrorReporting.h"
#include "KxInfoMessages.h"
#include "KxResultCodes.h"
#include "KxScpiTrace.h"

// Component core.
#include "CBCoClassInfo.h"
#include "CBComponentManagement.h"
#include "CCoClassData.h"
#include "CObjectData.h"
#include "CObjectDataReference.h"
#include "CObjectDataReferenceBase.h"
#include "CPropertyLookup.h"
#include "KxComObject.h"
#include "KxKernelRemote.h"
#include "KxLayoutChecks.h"
#include "KxLinkagePartner.h"
#include "KxPropertyMap.h"
#include "KxRoot.h"

// Registries and enumerations.
#include "CBInterfaceEnumeration.h"
#include "CBInterfaceRegistration.h"
#include "CBNotificationSink.h"
#include "CBObjectEnumeration.h"
#include "CBObjectRegistration.h"
#include "CBStringMap.h"
#include "CBStringMapEntry.h"
#include "CEnumList.h"
#include "CInterfaceIdentificationData.h"
#include "CInterfaceList.h"
#include "CObjectIdentificationData.h"
#include "CObjectList.h"
#include "CObjectState.h"
#include "CSmartObjectIdentificationData.h"
#include "KxInterfaceRegistry.h"

// Threads and synchronisation.
#include "CCritSection.h"
#include "CKxEvent.h"
#include "CMessageQueue.h"
#include "CPerformanceDiagnose.h"
#include "CThread.h"
#include "CThreadPool.h"

// Strings and paths.
#include "CComGUID.h"
#include "CKxString.h"
#include "CKxStringList.h"
#include "CStlExtensions.h"
#include "KxPath.h"

// Firmware applications and logical instruments.
#include "CFwInfoTable.h"

#include "KxVersion.h"
