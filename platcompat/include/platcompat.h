// libplatcompat: the Win32, COM and ATL names that the component framework is
// written against, supplied on POSIX and the C++ standard library.
//
// Including this header gives every platform name. All names live in the
// global namespace under their Win32/COM/ATL spelling; each sub-header states
// the decisions this platform makes where Win32 leaves a choice.
#pragma once

#include "platcompat/types.h"
#include "platcompat/hresult.h"
#include "platcompat/guid.h"
#include "platcompat/oleauto.h"
#include "platcompat/objbase.h"
#include "platcompat/strconv.h"
#include "platcompat/atlstr.h"
#include "platcompat/atlbase.h"
#include "platcompat/synch.h"
#include "platcompat/critsec.h"
#include "platcompat/interlocked.h"
#include "platcompat/thread.h"
#include "platcompat/sysinfo.h"
#include "platcompat/debugout.h"
#include "platcompat/startup.h"
