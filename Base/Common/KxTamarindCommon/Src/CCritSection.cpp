#include "CCritSection.h"

#include "KxErrorReporting.h"

namespace KxTamarind {

namespace {
const char kSource[] = "Base/Common/KxTamarindCommon/Src/CCritSection";
}

CCritSection::CCritSection() : m_section(true) {}

CCritSection::~CCritSection() = default;

void CCritSection::lock() const {
    m_section.Lock();
}

void CCritSection::unlock() const {
    m_section.Unlock();
}

CCritSectionLocker::CCritSectionLocker(const CCritSection& section)
    : m_pSection(&section), m_ulLockCount(0) {
    Lock();
}

CCritSectionLocker::CCritSectionLocker(const CCritSection* section)
    : m_pSection(section), m_ulLockCount(0) {
    Lock();
}

CCritSectionLocker::~CCritSectionLocker() {
    while (m_ulLockCount != 0) {
        try {
            Unlock();
        } catch (...) {
            RepairError("exception in destructor", kSource, KX_SOURCE_TIMESTAMP, 70, nullptr,
                        nullptr, nullptr, "exception occured during destructor",
                        E_KX_HRESULT_DESTRUCTOR_EXCEPTION, nullptr);
        }
    }
    m_pSection = nullptr;
}

void CCritSectionLocker::Lock() {
    if (m_pSection == nullptr) {
        return;
    }
    m_pSection->lock();
    ++m_ulLockCount;
}

void CCritSectionLocker::Unlock() {
    if (m_pSection == nullptr || m_ulLockCount == 0) {
        return;
    }
    --m_ulLockCount;
    m_pSection->unlock();
}

CCritSectionLockerSupplier::CCritSectionLockerSupplier(const CCritSection& section)
    : CCritSectionLocker(section), m_bUnlocked(false) {}

CCritSectionLockerSupplier::CCritSectionLockerSupplier(const CCritSection* section)
    : CCritSectionLocker(section), m_bUnlocked(false) {}

void CCritSectionLockerSupplier::Lock() {
    m_bUnlocked = false;
    CCritSectionLocker::Lock();
}

void CCritSectionLockerSupplier::Unlock() {
    m_bUnlocked = true;
    CCritSectionLocker::Unlock();
}

void CCritSectionLockerSupplier::Relock() {
    if (m_bUnlocked) {
        Lock();
    }
}

} // namespace KxTamarind
