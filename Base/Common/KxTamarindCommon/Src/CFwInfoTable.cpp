// The firmware info table: identifier allocation, look-ups and flags of the
// firmware applications and their logical instruments.
#include "CFwInfoTable.h"

#include <cwchar>
#include <string>

#include "KxErrorReporting.h"
#include "KxKernelRemote.h"
#include "KxResultCodes.h"

namespace KxTamarind {

namespace {

const char kSource[] = "Base/Common/KxTamarindCommon/Src/CFwInfoTable";

// Instrument slots run from 1 to 15: index 14 is the last a LiId can name.
constexpr unsigned long kMaxLiIndex = 14;

// A null name is the empty name.
const wchar_t* OrEmpty(const wchar_t* text) {
    return text ? text : L"";
}

// Exact comparison of a stored name with a caller's text. The caller's text
// is read up to its terminator (it need not be a BSTR, so its length prefix
// is never read); the stored name is compared with all its characters, as
// VarBstrCmp does, and a null stored name is the empty name.
bool NameEquals(BSTR stored, const wchar_t* name) {
    const wchar_t* text = OrEmpty(name);
    const size_t length = std::wcslen(text);
    if (SysStringLen(stored) != length) {
        return false;
    }
    return length == 0 || std::wmemcmp(stored, text, length) == 0;
}

std::wstring LowerCopy(const wchar_t* text) {
    std::wstring copy(OrEmpty(text));
    if (!copy.empty()) {
        CharLowerBuffW(&copy[0], static_cast<DWORD>(copy.size()));
    }
    return copy;
}

// Case-insensitive comparison: lower-case copies compared up to their
// terminators.
bool NameEqualsNoCase(BSTR stored, const std::wstring& lowerName) {
    const std::wstring lowerStored = LowerCopy(stored);
    return std::wcscmp(lowerStored.c_str(), lowerName.c_str()) == 0;
}

// A length-exact copy of a stored name; a null name stays null.
BSTR CopyName(BSTR stored) {
    return stored ? SysAllocStringLen(stored, SysStringLen(stored)) : nullptr;
}

void ReplaceName(BSTR& slot, const wchar_t* name) {
    SysFreeString(slot);
    slot = name ? SysAllocString(name) : nullptr;
}

} // namespace

// ---------------------------------------------------------------- CFwLiInfo

CFwLiInfo::CFwLiInfo()
    : m_bInUse(false), m_bLoadPartial(false), m_bPartialLoaded(false), m_LiGuid(GUID_NULL),
      m_lGuiConfigFileNavHandle(0), m_lGuiRootNavHandle(0), m_bGuiConfigFileLoaded(false),
      m_lLiConfigFileNavHandle(0), m_lLICNavHandle(0), m_bUnloadWhenTCDsOff(false), m_lTCDCount(0) {
}

CFwLiInfo::~CFwLiInfo() = default;

void CFwLiInfo::Clear() {
    m_bInUse = false;
    m_bLoadPartial = false;
    m_bPartialLoaded = false;
    m_LiGuid = GUID_NULL;
    m_lGuiConfigFileNavHandle = 0;
    m_lGuiRootNavHandle = 0;
    m_bGuiConfigFileLoaded = false;
    m_lLiConfigFileNavHandle = 0;
    m_lLICNavHandle = 0;
    m_bUnloadWhenTCDsOff = false;
    InterlockedExchange(&m_lTCDCount, 0);
}

LONG CFwLiInfo::GetTCDCount() const {
    // An atomic read: the count may be changed by other threads meanwhile.
    return InterlockedExchangeAdd(&m_lTCDCount, 0);
}

// ------------------------------------------------------------------ CFwInfo

CFwInfo::CFwInfo()
    : m_bInUse(false), m_eApplicType(KxPersistApplicType_None), m_lFlag(1), m_lCreationArgument(0),
      m_FwAppGuid(GUID_NULL), m_FwAppLiIdGuid(GUID_NULL), m_bstrName(nullptr),
      m_bstrGuiName(nullptr), m_bstrThirdName(nullptr), m_bLoadOnDemandPossible(false),
      m_bLoadOnDemandConsistent(false) {}

CFwInfo::~CFwInfo() {
    SysFreeString(m_bstrName);
    SysFreeString(m_bstrGuiName);
    SysFreeString(m_bstrThirdName);
}

void CFwInfo::Clear() {
    SysFreeString(m_bstrName);
    SysFreeString(m_bstrGuiName);
    SysFreeString(m_bstrThirdName);
    m_bstrName = nullptr;
    m_bstrGuiName = nullptr;
    m_bstrThirdName = nullptr;
    m_bInUse = false;
    m_eApplicType = KxPersistApplicType_None;
    m_lFlag = 1;
    m_lCreationArgument = 0;
    m_FwAppGuid = GUID_NULL;
    m_FwAppLiIdGuid = GUID_NULL;
    m_bLoadOnDemandPossible = false;
    m_bLoadOnDemandConsistent = false;
    for (CFwLiInfo& li : m_LiInfo) {
        li.Clear();
    }
}

void CFwInfo::SetFwAppName(const wchar_t* name) {
    ReplaceName(m_bstrName, name);
}
void CFwInfo::SetGuiFwAppName(const wchar_t* name) {
    ReplaceName(m_bstrGuiName, name);
}
void CFwInfo::SetThirdFwAppName(const wchar_t* name) {
    ReplaceName(m_bstrThirdName, name);
}

CFwLiInfo* CFwInfo::GetLiInfo(unsigned int li) {
    return li < static_cast<unsigned int>(MaxLi) ? &m_LiInfo[li] : nullptr;
}

const CFwLiInfo* CFwInfo::GetLiInfo(unsigned int li) const {
    return li < static_cast<unsigned int>(MaxLi) ? &m_LiInfo[li] : nullptr;
}

CFwLiInfo* CFwInfo::GetLiInfo(const LiId& key) {
    if (key.m_ulIndex > kMaxLiIndex) {
        return nullptr;
    }
    CFwLiInfo& li = m_LiInfo[key.m_ulIndex + 1];
    return li.GetLiGuid() == key.m_Guid ? &li : nullptr;
}

int CFwInfo::GetLiCount() const {
    int count = 0;
    for (const CFwLiInfo& li : m_LiInfo) {
        if (li.IsInUse()) {
            ++count;
        }
    }
    return count;
}

// ------------------------------------------------------------- CFwInfoTable

CFwInfoTable::CFwInfoTable()
    : m_iReservedCount(0), m_eLoadingApplType(KxPersistApplicType_None),
      m_bUnloadLogicalInstrumentWhenTCDsOff(false) {
    // Slot 0 is never handed out, so that no application gets identifier 0.
    m_FwInfo[0].SetInUse(true);
}

CFwInfoTable::~CFwInfoTable() = default;

unsigned char CFwInfoTable::Id2Fw(unsigned short id) {
    const unsigned int i = id >> 8;
    if (!(i < MaxFw)) {
        ThrowError("i< MaxFw", kSource, KX_SOURCE_TIMESTAMP, 384, nullptr, nullptr, nullptr,
                   "unknown internal FwId", E_KX_HRESULT_ASSERT_FAILED);
    }
    return static_cast<unsigned char>(i);
}

unsigned char CFwInfoTable::Id2Li(unsigned short id) {
    const unsigned int i = id & 0xFFu;
    if (!(i < CFwInfo::MaxLi)) {
        ThrowError("i< CFwInfo::MaxLi", kSource, KX_SOURCE_TIMESTAMP, 391, nullptr, nullptr,
                   nullptr, "unknown internal LiId", E_KX_HRESULT_ASSERT_FAILED);
    }
    return static_cast<unsigned char>(i);
}

unsigned short CFwInfoTable::NewFwAppId(long arg) {
    for (int fw = 1; fw < MaxFw; ++fw) {
        CFwInfo& info = m_FwInfo[fw];
        if (!info.IsInUse()) {
            ++m_iReservedCount;
            info.SetCreationArgument(arg);
            info.SetInUse(true);
            return CalcId(static_cast<unsigned char>(fw), 0);
        }
    }
    ThrowError("stop on error", kSource, KX_SOURCE_TIMESTAMP, 449, nullptr, nullptr, nullptr,
               "FwInfoTable: no free id for new firmwareapplicationidentification found",
               E_KX_HRESULT_ASSERT_FAILED);
}

unsigned short CFwInfoTable::NewLiId(unsigned short fwId) {
    const unsigned char fw = Id2Fw(fwId);
    CFwInfo& info = m_FwInfo[fw];
    for (int slot = 1; slot < CFwInfo::MaxLi; ++slot) {
        CFwLiInfo* li = info.GetLiInfo(static_cast<unsigned int>(slot));
        if (!li->IsInUse()) {
            li->SetInUse(true);
            if (info.GetApplicType() == KxPersistApplicType_UnloadWithTable) {
                li->SetUnloadWhenTCDsOff(m_bUnloadLogicalInstrumentWhenTCDsOff);
            }
            return CalcId(fw, static_cast<unsigned char>(slot));
        }
    }
    ThrowError("stop on error", kSource, KX_SOURCE_TIMESTAMP, 473, nullptr, nullptr, nullptr,
               "CFwInfoTable: no free id for logical instruments found",
               E_KX_HRESULT_ASSERT_FAILED);
}

void CFwInfoTable::RemoveFw(unsigned short id) {
    CFwInfo& info = m_FwInfo[Id2Fw(id)];
    if (!info.IsInUse()) {
        return;
    }
    if (!(m_iReservedCount > 0)) {
        ThrowError("m_iReservedCount>0", kSource, KX_SOURCE_TIMESTAMP, 400, nullptr, nullptr,
                   nullptr, nullptr, E_KX_HRESULT_ASSERT_FAILED);
    }
    info.Clear();
    --m_iReservedCount;
}

void CFwInfoTable::RemoveLi(unsigned short id) {
    GetLiInfo(id)->Clear();
}

CFwInfo* CFwInfoTable::GetFwInfo(unsigned short id) {
    return &m_FwInfo[Id2Fw(id)];
}

CFwLiInfo* CFwInfoTable::GetLiInfo(unsigned short id) {
    CFwInfo& info = m_FwInfo[Id2Fw(id)];
    return info.GetLiInfo(Id2Li(id));
}

CFwInfo* CFwInfoTable::FindByLiId(const LiId& key, CFwLiInfo** li) {
    for (CFwInfo& info : m_FwInfo) {
        if (!info.IsInUse()) {
            continue;
        }
        CFwLiInfo* match = info.GetLiInfo(key);
        if (match || info.GetFwAppLiIdGuid() == key.m_Guid) {
            if (li) {
                *li = match;
            }
            return &info;
        }
    }
    if (li) {
        *li = nullptr;
    }
    return nullptr;
}

CFwInfo* CFwInfoTable::GetFwInfo(const LiId& key) {
    return FindByLiId(key, nullptr);
}

CFwLiInfo* CFwInfoTable::GetLiInfo(const LiId& key) {
    CFwLiInfo* li = nullptr;
    FindByLiId(key, &li);
    return li;
}

int CFwInfoTable::GetLiCount(const GUID& liIdGuid) {
    for (const CFwInfo& info : m_FwInfo) {
        if (info.IsInUse() && info.GetFwAppLiIdGuid() == liIdGuid) {
            return info.GetLiCount();
        }
    }
    return 0;
}

bool CFwInfoTable::GetFwAppId(const GUID& fwAppGuid, unsigned char& fw) {
    fw = 0;
    for (int slot = 0; slot < MaxFw; ++slot) {
        if (m_FwInfo[slot].IsInUse() && m_FwInfo[slot].GetFwAppGuid() == fwAppGuid) {
            fw = static_cast<unsigned char>(slot);
            return true;
        }
    }
    return false;
}

void CFwInfoTable::GetFwAppGuids(unsigned int count, GUID* out) const {
    if (!(count <= static_cast<unsigned int>(MaxFw))) {
        ThrowError("iCount <= MaxFw", kSource, KX_SOURCE_TIMESTAMP, 300, nullptr, nullptr, nullptr,
                   nullptr, E_KX_HRESULT_ASSERT_FAILED);
    }
    if (!out) {
        return;
    }
    for (unsigned int i = 0; i < count; ++i) {
        out[i] = m_FwInfo[i].GetFwAppGuid();
    }
}

CFwInfo* CFwInfoTable::GetFwInfoByName(const wchar_t* name, bool caseSensitive) {
    if (caseSensitive) {
        for (CFwInfo& info : m_FwInfo) {
            if (info.IsInUse() && NameEquals(info.GetFwAppName(), name)) {
                return &info;
            }
        }
        return nullptr;
    }
    const std::wstring lowerName = LowerCopy(name);
    for (CFwInfo& info : m_FwInfo) {
        if (info.IsInUse() && NameEqualsNoCase(info.GetFwAppName(), lowerName)) {
            return &info;
        }
    }
    return nullptr;
}

CFwInfo* CFwInfoTable::GetFwInfoByGuiName(const wchar_t* guiName, bool caseSensitive) {
    if (caseSensitive) {
        for (CFwInfo& info : m_FwInfo) {
            if (info.IsInUse() && NameEquals(info.GetGuiFwAppName(), guiName)) {
                return &info;
            }
        }
        return nullptr;
    }
    const std::wstring lowerName = LowerCopy(guiName);
    for (CFwInfo& info : m_FwInfo) {
        if (info.IsInUse() && NameEqualsNoCase(info.GetGuiFwAppName(), lowerName)) {
            return &info;
        }
    }
    return nullptr;
}

bool CFwInfoTable::SetGuiFwAppName(const wchar_t* name, const wchar_t* guiName) {
    CFwInfo* info = GetFwInfoByName(name, true);
    if (!info) {
        return false;
    }
    info->SetGuiFwAppName(guiName);
    return true;
}

bool CFwInfoTable::GetGuiFwAppName(const wchar_t* name, BSTR* out) {
    if (!out) {
        return false;
    }
    *out = nullptr;
    CFwInfo* info = GetFwInfoByName(name, true);
    if (!info) {
        return false;
    }
    *out = CopyName(info->GetGuiFwAppName());
    return true;
}

bool CFwInfoTable::GetFwAppNameByGuiName(const wchar_t* guiName, BSTR* out) {
    if (!out) {
        return false;
    }
    *out = nullptr;
    for (CFwInfo& info : m_FwInfo) {
        if (info.IsInUse() && (NameEquals(info.GetGuiFwAppName(), guiName) ||
                               NameEquals(info.GetFwAppName(), guiName))) {
            *out = CopyName(info.GetFwAppName());
            return true;
        }
    }
    return false;
}

bool CFwInfoTable::SetApplicType(const wchar_t* name, KxPersistApplicType type) {
    CFwInfo* info = GetFwInfoByName(name, true);
    if (!info) {
        return false;
    }
    info->SetApplicType(type);
    return true;
}

KxPersistApplicType CFwInfoTable::GetApplicType(const wchar_t* name) {
    CFwInfo* info = GetFwInfoByName(name, true);
    return info ? info->GetApplicType() : KxPersistApplicType_None;
}

KxPersistApplicType CFwInfoTable::GetApplicType(unsigned short id) {
    return GetFwInfo(id)->GetApplicType();
}

bool CFwInfoTable::SetLoadOnDemandPossible(const wchar_t* name, bool value) {
    CFwInfo* info = GetFwInfoByName(name, true);
    if (!info) {
        return false;
    }
    info->SetLoadOnDemandPossible(value);
    return true;
}

void CFwInfoTable::SetLoadOnDemandPossible(unsigned short id, bool value) {
    GetFwInfo(id)->SetLoadOnDemandPossible(value);
}

bool CFwInfoTable::IsLoadOnDemandPossibleByName(const wchar_t* name) {
    CFwInfo* info = GetFwInfoByName(name, true);
    return info && info->IsLoadOnDemandPossible();
}

bool CFwInfoTable::IsLoadOnDemandPossible(const LiId& key) {
    CFwInfo* info = GetFwInfo(key);
    return info && info->IsLoadOnDemandPossible();
}

bool CFwInfoTable::IsLoadOnDemandPossible(unsigned short id) {
    return GetFwInfo(id)->IsLoadOnDemandPossible();
}

bool CFwInfoTable::SetLoadOnDemandConsistent(const wchar_t* name, bool value) {
    CFwInfo* info = GetFwInfoByName(name, true);
    if (!info) {
        return false;
    }
    info->SetLoadOnDemandConsistent(value);
    return true;
}

void CFwInfoTable::SetLoadOnDemandConsistent(unsigned short id, bool value) {
    GetFwInfo(id)->SetLoadOnDemandConsistent(value);
}

bool CFwInfoTable::IsLoadOnDemandConsistentByName(const wchar_t* name) {
    CFwInfo* info = GetFwInfoByName(name, true);
    return info && info->IsLoadOnDemandConsistent();
}

bool CFwInfoTable::IsLoadOnDemandConsistent(const LiId& key) {
    CFwInfo* info = GetFwInfo(key);
    return info && info->IsLoadOnDemandConsistent();
}

bool CFwInfoTable::IsLoadOnDemandConsistent(unsigned short id) {
    return GetFwInfo(id)->IsLoadOnDemandConsistent();
}

void CFwInfoTable::ClearAllLoadOnDemandFlags() {
    for (CFwInfo& info : m_FwInfo) {
        info.SetLoadOnDemandPossible(false);
        info.SetLoadOnDemandConsistent(false);
    }
}

// Instrument fields: the by-identifier forms address the slot directly, the
// by-LiId forms go through the key look-up and tolerate an unknown key.
#define KX_FWLI_ACCESSORS(Setter, Getter, Type, Default)                                           \
    void CFwInfoTable::Setter(unsigned short id, Type value) {                                     \
        GetLiInfo(id)->Setter(value);                                                              \
    }                                                                                              \
    Type CFwInfoTable::Getter(unsigned short id) {                                                 \
        return GetLiInfo(id)->Getter();                                                            \
    }                                                                                              \
    bool CFwInfoTable::Setter(const LiId& key, Type value) {                                       \
        CFwLiInfo* li = GetLiInfo(key);                                                            \
        if (!li) {                                                                                 \
            return false;                                                                          \
        }                                                                                          \
        li->Setter(value);                                                                         \
        return true;                                                                               \
    }                                                                                              \
    Type CFwInfoTable::Getter(const LiId& key) {                                                   \
        CFwLiInfo* li = GetLiInfo(key);                                                            \
        return li ? li->Getter() : Default;                                                        \
    }

KX_FWLI_ACCESSORS(SetLoadLiPartial, LoadLiPartial, bool, false)
KX_FWLI_ACCESSORS(SetLiIsPartialLoaded, LiIsPartialLoaded, bool, false)
KX_FWLI_ACCESSORS(SetGuiConfigFileNavHandle, GetGuiConfigFileNavHandle, long, 0)
KX_FWLI_ACCESSORS(SetGuiRootNavHandle, GetGuiRootNavHandle, long, 0)
KX_FWLI_ACCESSORS(SetGuiConfigFileLoaded, IsGuiConfigFileLoaded, bool, false)
KX_FWLI_ACCESSORS(SetLiConfigFileNavHandle, GetLiConfigFileNavHandle, long, 0)
KX_FWLI_ACCESSORS(SetLICNavHandle, GetLICNavHandle, long, 0)

#undef KX_FWLI_ACCESSORS

void CFwInfoTable::SetLiGuid(unsigned short id, const GUID& guid) {
    GetLiInfo(id)->SetLiGuid(guid);
}

GUID CFwInfoTable::GetLiGuid(unsigned short id) {
    return GetLiInfo(id)->GetLiGuid();
}

bool CFwInfoTable::ExistsAnyLiConfigFile(const wchar_t* name) {
    CFwInfo* info = GetFwInfoByName(name, true);
    if (!info) {
        return false;
    }
    for (unsigned int slot = 1; slot < static_cast<unsigned int>(CFwInfo::MaxLi); ++slot) {
        const CFwLiInfo* li = info->GetLiInfo(slot);
        if (li->IsInUse()) {
            return li->GetLiConfigFileNavHandle() != 0;
        }
    }
    // Without instruments there is nothing that could lack its file.
    return true;
}

void CFwInfoTable::SetUnloadLogicalInstrumentWhenTCDsOff(bool unload, unsigned short id) {
    if (id != 0) {
        GetLiInfo(id)->SetUnloadWhenTCDsOff(unload);
        if (!unload) {
            m_bUnloadLogicalInstrumentWhenTCDsOff = false;
        }
        return;
    }
    m_bUnloadLogicalInstrumentWhenTCDsOff = unload;
    for (CFwInfo& info : m_FwInfo) {
        if (!info.IsInUse() || info.GetApplicType() != KxPersistApplicType_UnloadWithTable) {
            continue;
        }
        for (unsigned int slot = 0; slot < static_cast<unsigned int>(CFwInfo::MaxLi); ++slot) {
            CFwLiInfo* li = info.GetLiInfo(slot);
            if (li->IsInUse()) {
                li->SetUnloadWhenTCDsOff(unload);
            }
        }
    }
}

bool CFwInfoTable::GetUnloadLogicalInstrumentWhenTCDsOff(unsigned short id) {
    if (id == 0) {
        return m_bUnloadLogicalInstrumentWhenTCDsOff;
    }
    const CFwLiInfo* li = GetLiInfo(id);
    return li && li->GetUnloadWhenTCDsOff();
}

bool CFwInfoTable::TCDOff2On(unsigned short id) {
    CFwLiInfo* li = GetLiInfo(id);
    if (!li) {
        return false;
    }
    li->IncrementTCDCount();
    return true;
}

bool CFwInfoTable::TCDOn2Off(unsigned short id, bool& lastOff, bool& unload) {
    lastOff = false;
    unload = false;
    CFwLiInfo* li = GetLiInfo(id);
    if (!li) {
        return false;
    }
    if (li->DecrementTCDCount() > 0) {
        return true;
    }
    lastOff = true;
    unload = li->GetUnloadWhenTCDsOff();
    return true;
}

bool CFwInfoTable::GetFwAppInfo(unsigned short id, GUID* guid, wchar_t** name) {
    const CFwInfo* info = GetFwInfo(id);
    if (guid) {
        *guid = info->GetFwAppGuid();
    }
    if (name) {
        *name = CopyName(info->GetFwAppName());
    }
    return info->IsInUse();
}

bool CFwInfoTable::GetFwAppInfo(const wchar_t* name, long& id, GUID& fwAppGuid, GUID& liIdGuid) {
    id = 0;
    fwAppGuid = GUID_NULL;
    liIdGuid = GUID_NULL;
    const CFwInfo* info = GetFwInfoByName(name, true);
    if (!info) {
        return false;
    }
    id = CalcId(static_cast<unsigned char>(info - m_FwInfo), 0);
    fwAppGuid = info->GetFwAppGuid();
    liIdGuid = info->GetFwAppLiIdGuid();
    return true;
}

unsigned short CFwInfoTable::GetIdByLiId(const LiId& key) {
    if (key.m_ulIndex > kMaxLiIndex || key.m_Guid == GUID_NULL) {
        return 0;
    }
    CFwLiInfo* li = nullptr;
    const CFwInfo* info = FindByLiId(key, &li);
    if (!info) {
        return 0;
    }
    const unsigned char fw = static_cast<unsigned char>(info - m_FwInfo);
    return li ? CalcId(fw, static_cast<unsigned char>(key.m_ulIndex + 1)) : CalcId(fw, 0);
}

int CFwInfoTable::GetLiCountByFwName(const wchar_t* name) {
    const CFwInfo* info = GetFwInfoTable()->GetFwInfoByName(name, true);
    return info ? info->GetLiCount() : 0;
}

} // namespace KxTamarind
