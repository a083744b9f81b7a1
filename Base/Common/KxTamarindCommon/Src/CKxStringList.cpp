// CKxStringList: the owned-element list of CKxString and its conversions to
// and from BSTR arrays.
#include "CKxStringList.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <new>
#include <stdexcept>

#include "KxErrorReporting.h"
#include "KxResultCodes.h"

namespace KxTamarind {

namespace {

// Sources named in the error reports of the list operations.
const char* const kAccessorSource = "Base/Common/KxTamarindCommon/Inc/CArrayAccessor";
const char* const kStringSource = "Base/Common/KxTamarindCommon/Src/CKxString";

// IndexOf answers an int, so a list never holds more than INT_MAX elements.
constexpr std::size_t kMaxElements = INT_MAX;

// Grows `elements` with null strings until `index` is a valid index. False,
// with `elements` as it was, when the list cannot hold that many: an index
// beyond kMaxElements (UINT_MAX is what a -1 becomes) or memory exhausted.
// Without this, a huge index grew the list one element at a time until the
// process ran out of memory.
bool GrowToHold(std::vector<CKxString*>& elements, unsigned int index) {
    if (index < elements.size()) {
        return true;
    }
    if (static_cast<std::size_t>(index) >= kMaxElements) {
        return false;
    }
    const std::size_t oldSize = elements.size();
    try {
        elements.reserve(static_cast<std::size_t>(index) + 1);
        while (elements.size() <= index) {
            elements.push_back(new CKxString()); // reserved: push_back cannot throw
        }
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {
    }
    if (elements.size() > index) {
        return true;
    }
    for (std::size_t i = oldSize; i < elements.size(); ++i) {
        delete elements[i];
    }
    elements.resize(oldSize);
    return false;
}

} // namespace

CKxStringList::CKxStringList(const CKxStringList& other) {
    *this += other;
}

CKxStringList& CKxStringList::operator=(const CKxStringList& other) {
    if (this != &other) {
        // Build the copy first so that a failure leaves this list as it was.
        CKxStringList copy(other);
        m_elements.swap(copy.m_elements);
    }
    return *this;
}

CKxStringList::CKxStringList(CKxStringList&& other) noexcept
    : m_elements(std::move(other.m_elements)) {
    other.m_elements.clear();
}

CKxStringList& CKxStringList::operator=(CKxStringList&& other) noexcept {
    if (this != &other) {
        Clear();
        m_elements.swap(other.m_elements);
    }
    return *this;
}

CKxStringList::~CKxStringList() {
    Clear();
}

void CKxStringList::Clear() {
    for (CKxString* element : m_elements) {
        delete element;
    }
    m_elements.clear();
}

CKxString* CKxStringList::At(unsigned int index) const {
    return index < m_elements.size() ? m_elements[index] : nullptr;
}

CKxString& CKxStringList::operator[](unsigned int index) const {
    CKxString* pData = At(index);
    if (pData == nullptr) {
        ThrowError("pData == NULL", kAccessorSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr,
                   nullptr, nullptr, nullptr, E_POINTER);
    }
    return *pData;
}

CKxString* CKxStringList::CreateAndAppendData() {
    std::unique_ptr<CKxString> element(new CKxString());
    m_elements.push_back(element.get());
    return element.release();
}

unsigned int CKxStringList::AppendData() {
    CreateAndAppendData();
    return GetSize() - 1;
}

CKxString* CKxStringList::CreateAndInsertData(unsigned int index) {
    if (index > m_elements.size()) {
        return nullptr;
    }
    std::unique_ptr<CKxString> element(new CKxString());
    m_elements.insert(m_elements.begin() + index, element.get());
    return element.release();
}

unsigned int CKxStringList::AppendDataByCopy(const CKxString& value) {
    std::unique_ptr<CKxString> element(new CKxString(value));
    m_elements.push_back(element.get());
    element.release();
    return GetSize() - 1;
}

bool CKxStringList::SetDataByCopy(const CKxString& value, unsigned int index) {
    // Copy first: `value` may be an element of this list.
    CKxString copy(value);
    if (!GrowToHold(m_elements, index)) {
        return false;
    }
    *m_elements[index] = std::move(copy);
    return true;
}

bool CKxStringList::SetPointedData(CKxString* element, unsigned int index) {
    if (element == nullptr) {
        return false;
    }
    const auto found = std::find(m_elements.begin(), m_elements.end(), element);
    if (found != m_elements.end()) {
        // Already owned: fine at the same slot, a double owner anywhere else.
        return static_cast<unsigned int>(found - m_elements.begin()) == index;
    }
    if (!GrowToHold(m_elements, index)) {
        return false;
    }
    delete m_elements[index];
    m_elements[index] = element;
    return true;
}

bool CKxStringList::GetDataByCopy(CKxString& value, unsigned int index) const {
    const CKxString* element = At(index);
    if (element == nullptr) {
        return false;
    }
    value = *element;
    return true;
}

bool CKxStringList::DeleteData(CKxString* element) {
    if (element == nullptr) {
        return false;
    }
    const auto found = std::find(m_elements.begin(), m_elements.end(), element);
    if (found == m_elements.end()) {
        return false;
    }
    m_elements.erase(found);
    delete element;
    return true;
}

bool CKxStringList::DeleteAt(unsigned int index) {
    if (index >= m_elements.size()) {
        return false;
    }
    CKxString* element = m_elements[index];
    m_elements.erase(m_elements.begin() + index);
    delete element;
    return true;
}

CKxStringList& CKxStringList::operator+=(const CKxString& value) {
    AppendDataByCopy(value);
    return *this;
}

CKxStringList& CKxStringList::operator+=(const CKxStringList& other) {
    // Fixed count: appending a list to itself copies each element once.
    const unsigned int count = other.GetSize();
    for (unsigned int i = 0; i < count; ++i) {
        AppendDataByCopy(other[i]);
    }
    return *this;
}

int CKxStringList::IndexOf(const CKxString& value) const {
    for (std::size_t i = 0; i < m_elements.size(); ++i) {
        if (*m_elements[i] == value) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void KXStringListConv(CKxStringList& list, BSTR* source, long count) {
    list.Clear();
    if (count <= 0) {
        return;
    }
    if (source == nullptr) {
        RepairError("pbsSource != NULL", kStringSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr,
                    nullptr, nullptr, nullptr, E_POINTER, nullptr);
        return;
    }
    for (long i = 0; i < count; ++i) {
        list.AppendDataByCopy(CKxString(static_cast<const wchar_t*>(source[i])));
    }
}

void KXStringListConv(BSTR* destination, const CKxStringList& list, long count) {
    // A negative count would pass as a huge unsigned one: nothing to copy.
    const long iElementCount = count < 0 ? 0 : count;
    const CKxStringList& kxSourceList = list;
    if (!(kxSourceList.GetSize() >= static_cast<unsigned long>(iElementCount))) {
        ThrowError("kxSourceList.GetSize() >= static_cast<unsigned long>( iElementCount )",
                   kStringSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr, nullptr, nullptr, nullptr,
                   E_KX_HRESULT_ASSERT_FAILED);
    }
    BSTR* pbsDest = destination;
    if (pbsDest == nullptr) {
        ThrowError("pbsDest != NULL", kStringSource, KX_SOURCE_TIMESTAMP, __LINE__, nullptr,
                   nullptr, nullptr, nullptr, E_POINTER);
    }
    for (long i = 0; i < iElementCount; ++i) {
        pbsDest[i] = kxSourceList[static_cast<unsigned int>(i)].CopyBSTR();
    }
}

} // namespace KxTamarind
