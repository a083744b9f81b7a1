// Thrown and repaired errors, out-of-memory reports and system-error triggers.
#include "KxErrorReporting.h"

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "CCritSection.h"
#include "CEmbeddedShell.h"
#include "CErrorObject.h"
#include "CObjectDataReferenceBase.h"

namespace KxTamarind {

namespace {

const char kSource[] = "Base/Common/KxTamarindCommon/Src/KxBaseLib";
constexpr long kMaxThrownErrors = 10;
constexpr long kMaxRepairedErrors = 100;

// Process-wide reporting state, for the whole life of the process. The
// counts are never lowered: the limits are deliberate.
struct ReportingState {
    // Serialises the creation of thrown and out-of-memory records. Level 2 of
    // the process's lock order (CCritSection.h): taken after a registry
    // list's lock, before the pool's lock and a thread's lock, which the
    // record's thread name needs.
    CCritSection lock;
    std::atomic<long> thrownCount{0};
    std::atomic<long> repairedCount{0};
    CErrorObject* firstThrownError = nullptr; // kept for the process's life; under `lock`
    std::vector<KxSystemErrorTriggerFunction> triggers;
};

ReportingState& State() {
    static ReportingState state;
    return state;
}

const char* OrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

// Without a device table the information management cannot be reached; the
// record then goes to the debug output so that it is not lost.
void Forward(const CErrorObject& error) {
    if (CEmbeddedShell::HasDeviceCallbacks()) {
        CEmbeddedShell::SendToInformationManagement(&error);
    } else {
        CAtlStringA text = error.Description();
        text += "\n";
        OutputDebugStringA(text.GetString());
    }
}

} // namespace

CTraceCallStackObject::CTraceCallStackObject(CObjectDataReferenceBase* object, const GUID* iid,
                                             const char* method, const char* text)
    : m_pIid(iid), m_pszMethod(method), m_pszText(text), m_pObject(object) {}

CTraceCallStackObject::~CTraceCallStackObject() = default;

void ThrowError(const char* condition, const char* file, const char* date, int line,
                CObjectDataReferenceBase* origin, const void* property, IUnknown* partner,
                const char* message, long code) {
    ThrowErrorEx(condition, file, date, line, origin, property, partner, message, code, nullptr);
}

void ThrowErrorEx(const char* condition, const char* file, const char* date, int line,
                  CObjectDataReferenceBase* origin, const void* property, IUnknown* partner,
                  const char* message, long code, CONTEXT* context) {
    ReportingState& state = State();
    if (state.thrownCount.fetch_add(1, std::memory_order_relaxed) + 1 > kMaxThrownErrors) {
        auto* sentinel = new CErrorObject();
        sentinel->SetErrorCode(E_KX_HRESULT_TOO_MANY_ERRORS);
        throw sentinel;
    }
    CCritSectionLocker locker(state.lock);
    CErrorObject* error = CObjectDataReferenceBase::CreateErrorObject(
        KxTamarindErrorClass_Thrown, line, code, GUID_NULL, OrEmpty(condition), OrEmpty(file),
        OrEmpty(date), "", origin, property, partner, OrEmpty(message), context);
    if (state.firstThrownError == nullptr) {
        state.firstThrownError = new CErrorObject(*error);
    }
    try {
        KxSystemErrorTrigger(error->Description().GetString());
    } catch (...) {
    }
    try {
        if (ISwpStartup* startup = getSwpStartup()) {
            startup->FatalError(OrEmpty(condition), OrEmpty(file), OrEmpty(date), line,
                                OrEmpty(message), code);
        }
    } catch (...) {
    }
    locker.Unlock();
    throw error;
}

void RepairError(const char* condition, const char* file, const char* date, int line,
                 const CObjectDataReferenceBase* origin, const void* property, IUnknown* partner,
                 const char* message, long code, CTraceCallStackObject* callStack) {
    ReportingState& state = State();
    if (state.repairedCount.fetch_add(1, std::memory_order_relaxed) + 1 > kMaxRepairedErrors) {
        return;
    }
    try {
        // The record takes the origin's object name, location and co-class
        // name, converted with the system code page.
        std::unique_ptr<CErrorObject> error(CObjectDataReferenceBase::CreateErrorObject(
            KxTamarindErrorClass_Repaired, line, code, GUID_NULL, OrEmpty(condition), OrEmpty(file),
            OrEmpty(date), "", origin, property, partner, OrEmpty(message), nullptr));
        if (callStack != nullptr) {
            error->SetMethodName(OrEmpty(callStack->m_pszMethod));
            if (callStack->m_pIid != nullptr) {
                error->SetIid(*callStack->m_pIid);
            }
        }
        Forward(*error);
    } catch (CErrorObject* raised) {
        delete raised;
    } catch (...) {
        // A repaired-error report never throws on its own.
    }
}

void KxInfoRepaired(const char* format, ...) {
    // The platform's formatter sizes its output itself and prints wide
    // arguments as UTF-8 whatever the process locale, so a text of any length
    // comes out whole in one pass and no encoding failure is left for a
    // larger buffer to cure.
    CAtlStringA text;
    va_list args;
    va_start(args, format);
    try {
        text.FormatV(format != nullptr ? format : "", args);
    } catch (const std::bad_alloc&) {
        va_end(args);
        std::exit(1); // not even the report's text fits in memory: end the process
    }
    va_end(args);
    RepairError("false", kSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr,
                text.GetString(), E_KX_HRESULT_ASSERT_REPAIRED, nullptr);
}

long HandleError(CErrorObject* error, CTraceCallStackObject* /*callStack*/) {
    if (error == nullptr) {
        return 0;
    }
    std::unique_ptr<CErrorObject> owned(error);
    const long code = owned->GetErrorCode();
    if (code != E_KX_HRESULT_TOO_MANY_ERRORS) {
        Forward(*owned);
    }
    return code;
}

void OutOfMemoryError(const char* message) {
    ReportingState& state = State();
    {
        CCritSectionLocker locker(state.lock);
        std::unique_ptr<CErrorObject> record(CObjectDataReferenceBase::CreateErrorObject(
            KxTamarindErrorClass_OutOfMemory, 0, 0, GUID_NULL, "", "", "", "", nullptr, nullptr,
            nullptr, OrEmpty(message), nullptr));
    }
    // As for thrown errors, a failing start-up object must not turn the
    // report into an exception of its own.
    try {
        if (ISwpStartup* startup = getSwpStartup()) {
            startup->FatalError("Fatal: process out of memory", "", "", 0, OrEmpty(message), 0);
        }
    } catch (...) {
    }
}

void KxRegisterSystemErrorTrigger(KxSystemErrorTriggerFunction trigger) {
    State().triggers.push_back(trigger);
}

void KxUnregisterSystemErrorTrigger(KxSystemErrorTriggerFunction trigger) {
    auto& triggers = State().triggers;
    for (auto it = triggers.begin(); it != triggers.end(); ++it) {
        if (*it == trigger) {
            triggers.erase(it);
            return;
        }
    }
}

void KxSystemErrorTrigger(const char* text) {
    auto& triggers = State().triggers;
    // The length is read again after each call: a trigger may register or
    // unregister triggers.
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        const KxSystemErrorTriggerFunction trigger = triggers[i];
        if (trigger == nullptr) {
            continue;
        }
        try {
            trigger(OrEmpty(text));
        } catch (...) {
            return; // a throwing trigger stops the rest
        }
    }
}

void KxRebootDevice(long mode) {
    CEmbeddedShell::RebootDevice(mode);
}

void TraceThread(char* name, char* file, int line, wchar_t* text) {
    CEmbeddedShell::TraceThreadMessage(name, file, line, text);
}

void TraceThread(wchar_t* name, char* file, int line, wchar_t* text) {
    if (name == nullptr) {
        TraceThread(static_cast<char*>(nullptr), file, line, text);
        return;
    }
    const int needed = WideCharToMultiByte(CP_ACP, 0, name, -1, nullptr, 0, nullptr, nullptr);
    std::vector<char> narrow(needed > 0 ? static_cast<std::size_t>(needed) : 1, '\0');
    if (needed > 0) {
        WideCharToMultiByte(CP_ACP, 0, name, -1, narrow.data(), needed, nullptr, nullptr);
    }
    TraceThread(narrow.data(), file, line, text);
}

} // namespace KxTamarind
