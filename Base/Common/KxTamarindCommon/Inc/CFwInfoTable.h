// CFwInfoTable: the fixed-size table of firmware applications and their
// logical instruments.
//
// Every firmware application gets a 16-bit identifier whose high byte is its
// application slot (1 to 127) and whose low byte is 0; each of its logical
// instruments gets the same high byte and a low byte from 1 to 15. Per
// identifier the table keeps names, GUIDs, navigation handles and the flags
// that the loader and the user interface need.
//
// Defined here:
//   LiId          the loader's key of a logical instrument (GUID + index);
//   CFwLiInfo     one logical-instrument slot;
//   CFwInfo       one application slot with its 16 instrument slots;
//   CFwInfoTable  the 128 application slots and the operations on them.
//
// The table never allocates slots after construction: all exist from the
// start and are marked in use or free. Application slot 0 is reserved by the
// constructor and never handed out.
//
// Thread safety: the table has no lock; its owner serialises access. Only the
// TCD counts of the instruments are changed with atomic steps, because TCD
// switching is reported from other threads (TCDOff2On / TCDOn2Off may run
// concurrently with each other, not with the other operations).
//
// Failures: invalid identifiers and exhausted slots are raised through
// ThrowError (a heap CErrorObject* with code E_KX_HRESULT_ASSERT_FAILED).
// Name arguments may be null: a null name is the empty name.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

namespace KxTamarind {

// The loader's classification of a firmware application. Only the value 4
// means something to this table: the instruments of such applications take
// the table-wide unload-when-TCDs-off setting.
enum KxPersistApplicType : long {
    KxPersistApplicType_None = 0,
    KxPersistApplicType_UnloadWithTable = 4
};

// Key of a logical instrument: the instrument's GUID and its index counted
// from 0. Index k denotes instrument slot k + 1; an index above 14 denotes
// nothing.
struct LiId {
    GUID m_Guid;
    unsigned long m_ulIndex;
};

// One logical-instrument slot. Plain data apart from the TCD count, which is
// changed atomically. Not copyable (the slot is addressed in place).
class KXTAMARIND_API CFwLiInfo {
public:
    CFwLiInfo();
    CFwLiInfo(const CFwLiInfo&) = delete;
    CFwLiInfo& operator=(const CFwLiInfo&) = delete;
    virtual ~CFwLiInfo();

    // Restores all defaults (free, flags false, GUID_NULL, handles 0, TCD
    // count 0).
    void Clear();

    bool IsInUse() const { return m_bInUse; }
    void SetInUse(bool inUse) { m_bInUse = inUse; }

    void SetLoadLiPartial(bool value) { m_bLoadPartial = value; }
    bool LoadLiPartial() const { return m_bLoadPartial; }
    void SetLiIsPartialLoaded(bool value) { m_bPartialLoaded = value; }
    bool LiIsPartialLoaded() const { return m_bPartialLoaded; }
    void SetLiGuid(const GUID& guid) { m_LiGuid = guid; }
    const GUID& GetLiGuid() const { return m_LiGuid; }
    void SetGuiConfigFileNavHandle(long handle) { m_lGuiConfigFileNavHandle = handle; }
    long GetGuiConfigFileNavHandle() const { return m_lGuiConfigFileNavHandle; }
    void SetGuiRootNavHandle(long handle) { m_lGuiRootNavHandle = handle; }
    long GetGuiRootNavHandle() const { return m_lGuiRootNavHandle; }
    void SetGuiConfigFileLoaded(bool value) { m_bGuiConfigFileLoaded = value; }
    bool IsGuiConfigFileLoaded() const { return m_bGuiConfigFileLoaded; }
    void SetLiConfigFileNavHandle(long handle) { m_lLiConfigFileNavHandle = handle; }
    long GetLiConfigFileNavHandle() const { return m_lLiConfigFileNavHandle; }
    void SetLICNavHandle(long handle) { m_lLICNavHandle = handle; }
    long GetLICNavHandle() const { return m_lLICNavHandle; }
    void SetUnloadWhenTCDsOff(bool value) { m_bUnloadWhenTCDsOff = value; }
    bool GetUnloadWhenTCDsOff() const { return m_bUnloadWhenTCDsOff; }

    // Atomic steps on the number of switched-on TCDs; each returns the new
    // count. Safe from any thread.
    LONG IncrementTCDCount() { return InterlockedIncrement(&m_lTCDCount); }
    LONG DecrementTCDCount() { return InterlockedDecrement(&m_lTCDCount); }
    LONG GetTCDCount() const;

private:
    bool m_bInUse;
    bool m_bLoadPartial;
    bool m_bPartialLoaded;
    GUID m_LiGuid;
    long m_lGuiConfigFileNavHandle;
    long m_lGuiRootNavHandle;
    bool m_bGuiConfigFileLoaded;
    long m_lLiConfigFileNavHandle;
    long m_lLICNavHandle;
    bool m_bUnloadWhenTCDsOff;
    mutable LONG m_lTCDCount;
};

// One application slot. Owns its three names (BSTRs, freed by Clear and by
// the destructor); setters store a copy of their argument. Not copyable.
class KXTAMARIND_API CFwInfo {
public:
    static constexpr int MaxLi = 16;

    CFwInfo();
    CFwInfo(const CFwInfo&) = delete;
    CFwInfo& operator=(const CFwInfo&) = delete;
    virtual ~CFwInfo();

    // Frees the three names and restores all defaults, also of the 16
    // instrument slots.
    void Clear();

    bool IsInUse() const { return m_bInUse; }
    void SetInUse(bool inUse) { m_bInUse = inUse; }

    void SetApplicType(KxPersistApplicType type) { m_eApplicType = type; }
    KxPersistApplicType GetApplicType() const { return m_eApplicType; }
    long GetFlag() const { return m_lFlag; }
    void SetCreationArgument(long arg) { m_lCreationArgument = arg; }
    long GetCreationArgument() const { return m_lCreationArgument; }

    void SetFwAppGuid(const GUID& guid) { m_FwAppGuid = guid; }
    const GUID& GetFwAppGuid() const { return m_FwAppGuid; }
    // The application's GUID in LiId terms (the key GUID the loader uses).
    void SetFwAppLiIdGuid(const GUID& guid) { m_FwAppLiIdGuid = guid; }
    const GUID& GetFwAppLiIdGuid() const { return m_FwAppLiIdGuid; }

    // Name setters store SysAllocString(name) (null for a null name) and
    // free the previous value. A failed allocation leaves the name null.
    void SetFwAppName(const wchar_t* name);
    void SetGuiFwAppName(const wchar_t* name);
    void SetThirdFwAppName(const wchar_t* name);
    // The stored names themselves, not copies: they stay owned by the slot
    // and are valid until the next setter call, Clear or destruction.
    BSTR GetFwAppName() const { return m_bstrName; }
    BSTR GetGuiFwAppName() const { return m_bstrGuiName; }
    BSTR GetThirdFwAppName() const { return m_bstrThirdName; }

    void SetLoadOnDemandPossible(bool value) { m_bLoadOnDemandPossible = value; }
    bool IsLoadOnDemandPossible() const { return m_bLoadOnDemandPossible; }
    void SetLoadOnDemandConsistent(bool value) { m_bLoadOnDemandConsistent = value; }
    bool IsLoadOnDemandConsistent() const { return m_bLoadOnDemandConsistent; }

    // Instrument slot `li` (0 to MaxLi - 1); null for any other index.
    CFwLiInfo* GetLiInfo(unsigned int li);
    const CFwLiInfo* GetLiInfo(unsigned int li) const;
    // The instrument slot key.m_ulIndex + 1 if its Li GUID equals the key's
    // GUID (in use or not); null otherwise and for an index above 14.
    CFwLiInfo* GetLiInfo(const LiId& key);
    // Number of instrument slots in use, slot 0 counted.
    int GetLiCount() const;

private:
    bool m_bInUse;
    KxPersistApplicType m_eApplicType;
    long m_lFlag;
    long m_lCreationArgument;
    GUID m_FwAppGuid;
    GUID m_FwAppLiIdGuid;
    BSTR m_bstrName;
    BSTR m_bstrGuiName;
    BSTR m_bstrThirdName;
    bool m_bLoadOnDemandPossible;
    bool m_bLoadOnDemandConsistent;
    CFwLiInfo m_LiInfo[MaxLi];
};

// The table of 128 application slots.
//
// Identifier operations taking `unsigned short id` address slots through
// Id2Fw / Id2Li and therefore raise for identifiers whose high byte is 128 or
// more or whose low byte is 16 or more. By-name look-ups compare with the
// stored name exactly (case-sensitive) unless stated otherwise; a null or
// empty name matches a slot in use whose name is null or empty (the reserved
// slot 0 has no name and is in use, so it is found by the empty name).
// By-name and by-LiId forms answer false / 0 / nothing for an unknown
// application instead of failing.
class KXTAMARIND_API CFwInfoTable {
public:
    static constexpr int MaxFw = 128;

    CFwInfoTable();
    CFwInfoTable(const CFwInfoTable&) = delete;
    CFwInfoTable& operator=(const CFwInfoTable&) = delete;
    virtual ~CFwInfoTable();

    // Identifier arithmetic.
    static unsigned short CalcId(unsigned char fw, unsigned char li) {
        return static_cast<unsigned short>(fw * 256 + li);
    }
    static unsigned char Id2Fw(unsigned short id); // raises for 128 and above
    static unsigned char Id2Li(unsigned short id); // raises for 16 and above

    // Allocation. NewFwAppId returns slot x 256 of the first free slot from
    // 1, raising when all 127 are taken. NewLiId returns the identifier of the
    // first free instrument slot 1 to 15 of the application, raising when
    // none is free; under applic type 4 the new instrument takes the
    // table-wide unload setting.
    unsigned short NewFwAppId(long arg);
    unsigned short NewLiId(unsigned short fwId);
    // Frees an application slot (a free slot is left alone) or clears an
    // instrument slot.
    void RemoveFw(unsigned short id);
    void RemoveLi(unsigned short id);

    // Slots by identifier, in use or not (never null; invalid ids raise).
    CFwInfo* GetFwInfo(unsigned short id);
    CFwLiInfo* GetLiInfo(unsigned short id);
    // The first application in use (from slot 0) holding an instrument that
    // matches the key, or whose LiId-terms GUID equals the key's GUID; null
    // if none. GetLiInfo answers that application's matching instrument.
    CFwInfo* GetFwInfo(const LiId& key);
    CFwLiInfo* GetLiInfo(const LiId& key);
    // Instrument slots in use (slot 0 counted) of the first application in
    // use whose LiId-terms GUID matches; 0 if none.
    int GetLiCount(const GUID& liIdGuid);
    // `fw` = the slot of the first application in use with this FwApp GUID
    // (true); `fw` = 0 and false if none.
    bool GetFwAppId(const GUID& fwAppGuid, unsigned char& fw);
    int GetFwAppCount() const { return m_iReservedCount; }
    // Copies the FwApp GUIDs of slots 0 to count - 1 (in use or not) to
    // `out`; a count above MaxFw raises, a null `out` copies nothing.
    void GetFwAppGuids(unsigned int count, GUID* out) const;

    // Look-ups by name and by GUI name; null if no slot in use matches.
    // Case-insensitive comparison uses CharLower on copies of both names.
    CFwInfo* GetFwInfoByName(const wchar_t* name, bool caseSensitive);
    CFwInfo* GetFwInfoByGuiName(const wchar_t* guiName, bool caseSensitive);

    // GUI name of an application found by name. The setter stores a copy;
    // the getter sets *out to null, then to a copy the caller frees with
    // SysFreeString. Both answer false for an unknown application, the
    // getter also for a null `out`.
    bool SetGuiFwAppName(const wchar_t* name, const wchar_t* guiName);
    bool GetGuiFwAppName(const wchar_t* name, BSTR* out);
    // Copy of the name (caller frees) of the first application in use whose
    // GUI name or name equals `guiName`; *out is null and false if none or
    // for a null `out`.
    bool GetFwAppNameByGuiName(const wchar_t* guiName, BSTR* out);

    bool SetApplicType(const wchar_t* name, KxPersistApplicType type);
    KxPersistApplicType GetApplicType(const wchar_t* name);
    KxPersistApplicType GetApplicType(unsigned short id);
    void SetLoadingApplType(KxPersistApplicType type) { m_eLoadingApplType = type; }
    KxPersistApplicType GetLoadingApplType() const { return m_eLoadingApplType; }

    // Load-on-demand flags of an application.
    bool SetLoadOnDemandPossible(const wchar_t* name, bool value);
    void SetLoadOnDemandPossible(unsigned short id, bool value);
    bool IsLoadOnDemandPossibleByName(const wchar_t* name);
    bool IsLoadOnDemandPossible(const LiId& key);
    bool IsLoadOnDemandPossible(unsigned short id);
    bool SetLoadOnDemandConsistent(const wchar_t* name, bool value);
    void SetLoadOnDemandConsistent(unsigned short id, bool value);
    bool IsLoadOnDemandConsistentByName(const wchar_t* name);
    bool IsLoadOnDemandConsistent(const LiId& key);
    bool IsLoadOnDemandConsistent(unsigned short id);
    void ClearAllLoadOnDemandFlags();

    // Instrument fields by identifier (invalid ids raise) or by LiId (an
    // unknown key: setters answer false, getters the field's default).
    void SetLoadLiPartial(unsigned short id, bool value);
    bool LoadLiPartial(unsigned short id);
    bool SetLoadLiPartial(const LiId& key, bool value);
    bool LoadLiPartial(const LiId& key);
    void SetLiIsPartialLoaded(unsigned short id, bool value);
    bool LiIsPartialLoaded(unsigned short id);
    bool SetLiIsPartialLoaded(const LiId& key, bool value);
    bool LiIsPartialLoaded(const LiId& key);
    void SetLiGuid(unsigned short id, const GUID& guid);
    GUID GetLiGuid(unsigned short id);
    void SetGuiConfigFileNavHandle(unsigned short id, long handle);
    long GetGuiConfigFileNavHandle(unsigned short id);
    bool SetGuiConfigFileNavHandle(const LiId& key, long handle);
    long GetGuiConfigFileNavHandle(const LiId& key);
    void SetGuiRootNavHandle(unsigned short id, long handle);
    long GetGuiRootNavHandle(unsigned short id);
    bool SetGuiRootNavHandle(const LiId& key, long handle);
    long GetGuiRootNavHandle(const LiId& key);
    void SetGuiConfigFileLoaded(unsigned short id, bool value);
    bool IsGuiConfigFileLoaded(unsigned short id);
    bool SetGuiConfigFileLoaded(const LiId& key, bool value);
    bool IsGuiConfigFileLoaded(const LiId& key);
    void SetLiConfigFileNavHandle(unsigned short id, long handle);
    long GetLiConfigFileNavHandle(unsigned short id);
    bool SetLiConfigFileNavHandle(const LiId& key, long handle);
    long GetLiConfigFileNavHandle(const LiId& key);
    void SetLICNavHandle(unsigned short id, long handle);
    long GetLICNavHandle(unsigned short id);
    bool SetLICNavHandle(const LiId& key, long handle);
    long GetLICNavHandle(const LiId& key);

    // False for no application of that name; true when it has no instrument
    // in slots 1 to 15 (nothing to look for); otherwise whether its first
    // instrument in use has a Li configuration file navigation handle.
    bool ExistsAnyLiConfigFile(const wchar_t* name);

    // Unload when TCDs off. With id 0 the table-wide flag is set and handed
    // to every instrument in use of the applications of applic type 4;
    // otherwise the instrument's flag is set, and clearing it also clears the
    // table-wide flag. The getter with id 0 answers the table-wide flag.
    void SetUnloadLogicalInstrumentWhenTCDsOff(bool unload, unsigned short id);
    bool GetUnloadLogicalInstrumentWhenTCDsOff(unsigned short id);
    // Atomic TCD switching of an instrument, safe from several threads at
    // once. TCDOn2Off reports lastOff (and the instrument's unload flag in
    // `unload`) when the count drops to 0 or below.
    bool TCDOff2On(unsigned short id);
    bool TCDOn2Off(unsigned short id, bool& lastOff, bool& unload);

    // FwApp GUID and a copy of the name (caller frees with SysFreeString) of
    // the application slot of `id`; either out-pointer may be null. Answers
    // whether the slot is in use.
    bool GetFwAppInfo(unsigned short id, GUID* guid, wchar_t** name);
    // Looks the application up by name (case-sensitive) and hands out its
    // identifier (slot x 256), its FwApp GUID and its LiId-terms GUID: true.
    // For an unknown name: id 0, both GUIDs GUID_NULL, false.
    bool GetFwAppInfo(const wchar_t* name, long& id, GUID& fwAppGuid, GUID& liIdGuid);
    // The identifier a LiId key stands for: CalcId(fw, index + 1) when the
    // first matching application (as GetFwInfo(const LiId&)) holds the
    // matching instrument, CalcId(fw, 0) when only its LiId-terms GUID
    // matches. 0 when nothing matches, for an index above 14 and for a
    // GUID_NULL key (which would match every blank slot).
    unsigned short GetIdByLiId(const LiId& key);

    // Instrument slots in use (slot 0 counted) of the application of this
    // name in the process-wide table (GetFwInfoTable()), whichever table it
    // is called on: there is one table per process. 0 if unknown.
    int GetLiCountByFwName(const wchar_t* name);

private:
    CFwInfo* FindByLiId(const LiId& key, CFwLiInfo** li);

    CFwInfo m_FwInfo[MaxFw];
    int m_iReservedCount;
    KxPersistApplicType m_eLoadingApplType;
    bool m_bUnloadLogicalInstrumentWhenTCDsOff;
};

} // namespace KxTamarind
