// CCriticalSection: construction and the no-op Init/Term; Lock and Unlock
// are inline in the header.
#include "platcompat/critsec.h"

CCriticalSection::CCriticalSection(bool /*bRecursive: always re-entrant*/) {
    pthread_mutex_init(&m_mutex, nullptr);
}

CCriticalSection::~CCriticalSection() {
    pthread_mutex_destroy(&m_mutex);
}

HRESULT CCriticalSection::Init() {
    return S_OK;
}

HRESULT CCriticalSection::Term() {
    return S_OK;
}
