// Error reporting: thrown errors, repaired errors and system-error triggers.
//
// A violated precondition is raised with ThrowError, which builds a
// CErrorObject, hands its description to every system-error trigger and to
// the platform's start-up object, and throws the record as `CErrorObject*`:
// the catcher owns it and passes it to HandleError, which forwards it to the
// device's information management (a thrown error shuts the device down) and
// deletes it. A recoverable failure is reported with RepairError, which
// forwards a repaired-error record and returns.
//
// Process-wide limits, for the whole life of the process: after ten thrown
// errors every further ThrowError throws a bare record with code 1502
// (E_KX_HRESULT_TOO_MANY_ERRORS) and does nothing else; after one hundred
// repaired errors further ones are dropped.
//
// Null texts count as empty texts; a null origin, property or partner is
// left out of the record.
//
// Locks: one process-wide error-reporting lock serialises the creation of
// thrown and out-of-memory records. It is held while the record is made
// (which reads the origin's data, asks the partner for its name and looks
// the calling thread up in the thread pool, taking the pool's lock and the
// thread's lock) and while the system-error triggers and the start-up
// object's fatal-error operation run. It comes after the registry lists'
// locks and before the pool's lock in the process's lock order (see
// CCritSection.h): never call ThrowError while holding the pool's lock, a
// thread's lock or a leaf lock, and never use a registry from a trigger.
// RepairError takes no reporting lock but names the calling thread through
// the pool: never call it while holding a thread's lock or a leaf lock.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include "KxResultCodes.h"

namespace KxTamarind {

class CErrorObject;
class CObjectDataReferenceBase;

// The source time stamp that reports carry: the modification time of the
// reporting source file.
#define KX_SOURCE_TIMESTAMP __TIMESTAMP__

// The class of a record made by CObjectDataReferenceBase::CreateErrorObject.
enum KxTamarindErrorClass {
    KxTamarindErrorClass_Repaired = 0,
    KxTamarindErrorClass_Thrown = 1,
    KxTamarindErrorClass_OutOfMemory = 2
};

// Kind and event of a notification to the error manager (NotifyError).
enum TamarindErrorType {
    TamarindErrorType_PropertyInfo = 1,
    TamarindErrorType_PropertyWarning = 2,
    TamarindErrorType_Error = 3,
    TamarindErrorType_RepairedError = 5,
    TamarindErrorType_FatalError = 6
};
enum TamarindErrorEvent {
    TamarindErrorEvent_Property = 1,
    TamarindErrorEvent_Subsystem = 2,
    TamarindErrorEvent_System = 4
};

// Where a report arose: interface, method, a further text and the reporting
// object. Holds the pointers it is given and owns nothing.
class KXTAMARIND_API CTraceCallStackObject {
public:
    CTraceCallStackObject(CObjectDataReferenceBase* object, const GUID* iid, const char* method,
                          const char* text);
    virtual ~CTraceCallStackObject();

    const GUID* m_pIid;
    const char* m_pszMethod;
    const char* m_pszText;
    CObjectDataReferenceBase* m_pObject;
};

// Raises an error: never returns; throws a heap `CErrorObject*` that the
// catcher owns.
[[noreturn]] KXTAMARIND_API void ThrowError(const char* condition, const char* file,
                                            const char* date, int line,
                                            CObjectDataReferenceBase* origin, const void* property,
                                            IUnknown* partner, const char* message, long code);
[[noreturn]] KXTAMARIND_API void ThrowErrorEx(const char* condition, const char* file,
                                              const char* date, int line,
                                              CObjectDataReferenceBase* origin,
                                              const void* property, IUnknown* partner,
                                              const char* message, long code, CONTEXT* context);

// Reports a repaired error to the information management and returns.
// Never throws on its own.
KXTAMARIND_API void RepairError(const char* condition, const char* file, const char* date, int line,
                                const CObjectDataReferenceBase* origin, const void* property,
                                IUnknown* partner, const char* message, long code,
                                CTraceCallStackObject* callStack);

// printf-style repaired-error report (condition "false", code
// E_KX_HRESULT_ASSERT_REPAIRED), formatted as CAtlStringA::Format does: wide
// arguments (%ls, %S, %lc, %C) come out as UTF-8 whatever the process
// locale, and texts of any length are formatted whole. A null format reports
// an empty text. If memory for the text runs out, the process ends with
// exit status 1.
KXTAMARIND_API void KxInfoRepaired(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The catch-side handler of a thrown record: forwards it to the information
// management unless its code is 1502, deletes it and returns its code. A
// null record returns 0.
KXTAMARIND_API long HandleError(CErrorObject* error, CTraceCallStackObject* callStack);

// Reports an out-of-memory condition to the start-up object.
KXTAMARIND_API void OutOfMemoryError(const char* message);

// System-error triggers receive the description of every thrown error, in
// registration order. Register at start-up: the list is not locked.
typedef void (*KxSystemErrorTriggerFunction)(const char* text);
KXTAMARIND_API void KxRegisterSystemErrorTrigger(KxSystemErrorTriggerFunction trigger);
KXTAMARIND_API void KxUnregisterSystemErrorTrigger(KxSystemErrorTriggerFunction trigger);
KXTAMARIND_API void KxSystemErrorTrigger(const char* text);

// Forwards to the embedded shell's RebootDevice.
KXTAMARIND_API void KxRebootDevice(long mode);

// Writes a thread trace line through the embedded shell.
KXTAMARIND_API void TraceThread(char* name, char* file, int line, wchar_t* text);
KXTAMARIND_API void TraceThread(wchar_t* name, char* file, int line, wchar_t* text);

} // namespace KxTamarind
