// The platform's start-up object.
//
// A host process installs one start-up object at start-up; the component
// framework calls its fatal-error operation for every error it raises. The
// operation sits in the third slot of the object's table of operations,
// after the two entries of the virtual destructor.
#pragma once

#include "platcompat/types.h"

// The start-up object's interface; the host implements it.
class PLATCOMPAT_API ISwpStartup {
public:
    virtual ~ISwpStartup() = default;
    // Reports a fatal error: the failed condition, source file and its date,
    // line, message and result code. Texts may be empty, never null.
    virtual void FatalError(const char* condition, const char* file, const char* date, int line,
                            const char* message, long code) = 0;
};

// The installed start-up object, or null until a host installed one. The
// pointer is not owned; the host keeps the object alive while installed.
PLATCOMPAT_API ISwpStartup* getSwpStartup();
// Installs `startup` (null uninstalls) and returns the previous object.
PLATCOMPAT_API ISwpStartup* setSwpStartup(ISwpStartup* startup);
