#include "CThreadPool.h"

#include "KxErrorReporting.h"

namespace KxTamarind {

namespace {
const char kSource[] = "Base/Common/KxTamarindCommon/Src/CComponentShellThreadPool";
}

bool CComponentShellThreadPool::CreateThreads(unsigned long count, KXApartmentModelType model) {
    return GetGlobalThreadPool()->CreateThreads(count, model);
}

bool CComponentShellThreadPool::DestroyThreads(unsigned long count, KXApartmentModelType model) {
    return GetGlobalThreadPool()->DestroyThreads(count, model);
}

CThread* CComponentShellThreadPool::GetThread(KXApartmentModelType model, const char* name,
                                              CObjectDataReferenceBase* object) {
    return GetGlobalThreadPool()->GetThread(model, name, object);
}

CThread* CComponentShellThreadPool::GetMTAThread(const char* name,
                                                 CObjectDataReferenceBase* object) {
    return GetGlobalThreadPool()->GetMTAThread(name, object);
}

bool CComponentShellThreadPool::ReleaseThread(CThread* thread) {
    return GetGlobalThreadPool()->ReleaseThread(thread);
}

void CComponentShellThreadPool::DumpPool(const CComBSTR& fileName) {
    GetGlobalThreadPool()->DumpPool(fileName);
}

CThread* CComponentShellThreadPool::StartMTAThread(const char* name, CThreadRunObject* runObject,
                                                   CObjectDataReferenceBase* object,
                                                   bool deleteAfterRun,
                                                   KXThreadPriorityType priority) {
    CThread* thread =
        GetGlobalThreadPool()->GetThread(KXApartmentModel_MultiThreaded, name, object);
    if (thread == nullptr) {
        ThrowError("stop on error", kSource, KX_SOURCE_TIMESTAMP, __LINE__, object, nullptr,
                   nullptr, "could not get thread from pool", E_KX_HRESULT_ASSERT_FAILED);
    }
    thread->Start(runObject, deleteAfterRun, priority);
    return thread;
}

} // namespace KxTamarind
