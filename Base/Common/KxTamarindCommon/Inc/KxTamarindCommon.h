// KxTamarindCommon: every public name of the common base library.
//
// Including this header gives the whole library (namespace KxTamarind) and,
// through it, the platform layer's names (<platcompat.h>).
#pragma once

#include <platcompat.h>

#include "KxVersion.h"
