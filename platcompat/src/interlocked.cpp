// The Interlocked operations are inline in platcompat/interlocked.h.
#include "platcompat/interlocked.h"
