// CStlExtensions: conversions between narrow, wide and BSTR strings, small
// text helpers, BSTR array helpers and GUID text.
//
// Narrow text is 8-bit and, for the character conversions here, Windows-1252:
// widening maps each byte through the Windows-1252 table (its five undefined
// bytes 0x81, 0x8D, 0x8F, 0x90 and 0x9D map to the same code points), and
// narrowing maps each wide character back to one byte, "?" where no byte
// exists. string2bstr alone converts through the platform's code page 0
// (UTF-8).
//
// All members are static and hold no state; they are safe to call from any
// thread on distinct arguments. Inputs stay owned by the caller; every BSTR
// and array handed out belongs to the caller (SysFreeString, CoTaskMemFree).
// Null `const char*`, `const wchar_t*` and BSTR inputs count as empty texts.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <string>
#include <vector>

namespace KxTamarind {

class KXTAMARIND_API CStlExtensions {
public:
    typedef std::vector<std::string> StringList;
    typedef std::vector<std::wstring> WStringList;

    // --- Single characters (Windows-1252) ---------------------------------
    static wchar_t WidenChar(char c);
    static char NarrowChar(wchar_t c);

    // --- Character conversions ---------------------------------------------
    // One byte per wide character; the result has the input's length.
    static void wstring2string(const std::wstring& source, std::string& result);
    static std::string wstring2string(const std::wstring& source);
    // The same over the SysStringLen characters of the BSTR.
    static void bstr2string(const BSTR& source, std::string& result);
    static std::string bstr2string(const BSTR& source);
    // One wide character per byte.
    static void pchar2wstring(const char* source, std::wstring& result);
    static std::wstring pchar2wstring(const char* source);
    static void string2wstring(const std::string& source, std::wstring& result);
    static std::wstring string2wstring(const std::string& source);
    // Frees a non-null target and sets it null, then converts through code
    // page 0 (UTF-8) up to the first NUL. S_OK, or E_OUTOFMEMORY with the
    // target left null. The returning form answers null on failure.
    static HRESULT string2bstr(BSTR& target, const std::string& source);
    static HRESULT string2bstr(CComBSTR& target, const std::string& source);
    static BSTR string2bstr(const std::string& source);
    // All SysStringLen characters (embedded NULs included); the BSTR is not
    // freed. A null BSTR gives an empty string.
    static std::wstring bstr2wstring(const BSTR& source);
    // Frees a non-null target, then sets it to a new BSTR with all characters
    // of the text (embedded NULs included). S_OK, or E_OUTOFMEMORY with the
    // target left null.
    static HRESULT wstring2bstr(BSTR& target, const std::wstring& source);
    static HRESULT wstring2bstr(CComBSTR& target, const std::wstring& source);
    static BSTR wstring2bstr(const std::wstring& source);

    // --- Comparison ------------------------------------------------------------
    // Wide against narrow: position by position the wide character must equal
    // the narrowing of the narrow byte taken as a signed char widened to 32
    // bits; so ASCII compares with itself and any byte of 0x80 or above only
    // matches "?". Both texts must end at the same position. The BSTR forms
    // first require SysStringLen to equal the narrow length; the std::string
    // forms use c_str() and the CComBSTR and std::wstring forms forward to the
    // pointer forms. Note that a non-const `wchar_t*` selects the BSTR forms.
    static bool IsEqual(const wchar_t* a, const char* b);
    static bool IsEqual(const wchar_t* a, const std::string& b);
    static bool IsEqual(BSTR a, const char* b);
    static bool IsEqual(BSTR a, const std::string& b);
    static bool IsEqual(const CComBSTR& a, const char* b);
    static bool IsEqual(const CComBSTR& a, const std::string& b);
    static bool IsEqual(const std::wstring& a, const char* b);
    static bool IsEqual(const std::wstring& a, const std::string& b);
    // Wide against wide: the BSTR's SysStringLen characters must equal the
    // other text exactly (same length, same code points).
    static bool IsEqual(BSTR a, const wchar_t* b);
    static bool IsEqual(BSTR a, const std::wstring& b);
    static bool IsEqual(const CComBSTR& a, const wchar_t* b);
    static bool IsEqual(const CComBSTR& a, const std::wstring& b);

    // --- Text helpers --------------------------------------------------------
    // Narrow case mapping follows toupper/tolower of the C library; wide case
    // mapping follows the platform's locale-independent CharUpper/CharLower.
    static std::string ToUpper(const std::string& text);
    static std::string ToLower(const std::string& text);
    static std::wstring ToUpper(const std::wstring& text);
    static std::wstring ToLower(const std::wstring& text);
    static void MakeUppercase(std::string& text);
    static void MakeLowercase(std::string& text);
    static void MakeUppercase(std::wstring& text);
    static void MakeLowercase(std::wstring& text);
    static bool StartsWith(const std::string& text, const std::string& prefix);
    static bool EndsWith(const std::string& text, const std::string& suffix);
    static bool StartsWith(const std::wstring& text, const std::wstring& prefix);
    static bool EndsWith(const std::wstring& text, const std::wstring& suffix);

    // Trimming in place; the text is returned for chaining. The one-argument
    // forms trim the default set: blank, tab, CR, LF, VT and FF.
    static const std::string& DefaultTrimSet();
    static std::string& Trim(std::string& text, const std::string& set);
    static std::string& TrimFront(std::string& text, const std::string& set);
    static std::string& TrimEnd(std::string& text, const std::string& set);
    static std::string& Trim(std::string& text);
    static std::string& TrimFront(std::string& text);
    static std::string& TrimEnd(std::string& text);
    static std::wstring& Trim(std::wstring& text, const std::wstring& set);
    static std::wstring& TrimFront(std::wstring& text, const std::wstring& set);
    static std::wstring& TrimEnd(std::wstring& text, const std::wstring& set);
    static std::wstring& Trim(std::wstring& text);
    static std::wstring& TrimFront(std::wstring& text);
    static std::wstring& TrimEnd(std::wstring& text);

    // Pieces between characters of `separators`. Empty pieces are dropped
    // unless `keepEmpty`; a trailing separator never yields a trailing empty
    // piece. An empty text gives no piece (one empty piece with keepEmpty).
    static StringList SplitString(const std::string& text, const std::string& separators,
                                  bool keepEmpty = false);
    static WStringList SplitString(const std::wstring& text, const std::wstring& separators,
                                   bool keepEmpty = false);
    // The pieces joined with `separator`; without `keepEmpty` empty pieces are
    // left out (and no separator stands for them).
    static std::string MergeString(const StringList& pieces, char separator,
                                   bool keepEmpty = false);
    static std::wstring MergeString(const WStringList& pieces, wchar_t separator,
                                    bool keepEmpty = false);
    // Every occurrence of `what`, left to right without overlap, replaced by
    // `with`. An empty `what` returns the text unchanged.
    static std::string ReplaceString(const std::string& text, const std::string& what,
                                     const std::string& with);
    static std::wstring ReplaceString(const std::wstring& text, const std::wstring& what,
                                      const std::wstring& with);

    // Decimal text.
    static std::string long2string(long value);
    // Writes the text unchanged to the platform's debug output.
    static void DebugPrint(const std::string& text);

    // --- BSTR arrays -----------------------------------------------------------
    // Frees the BSTR and sets it null.
    static void ClearBSTR(BSTR& bstr);
    // Replaces dst with a copy of src (all SysStringLen characters; a null src
    // gives null). S_OK, or E_OUTOFMEMORY with dst left null.
    static HRESULT CopyBSTR(BSTR& dst, const BSTR& src);
    // Frees every element and the array (CoTaskMemFree) and zeroes both.
    static void ClearBSTRs(long& count, BSTR*& array);
    // Replaces the array with copies of src (src may be the array itself).
    // E_INVALIDARG for a negative count, E_POINTER for a null src with a
    // positive count, E_OUTOFMEMORY when an allocation fails; on failure the
    // old array is kept unchanged.
    static HRESULT CopyBSTRs(long& count, BSTR*& array, long srcCount, const BSTR* src);
    // An array of n null BSTRs from CoTaskMemAlloc; null on failure.
    static BSTR* CreateArrayOfBSTR(unsigned long n);

    // --- GUID text -------------------------------------------------------------
    // "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", 38 upper-case characters.
    static void GUID2String(const GUID& guid, std::string& text);
    static std::string GUID2String(const GUID& guid);
    // Reads the braced form field by field, as the scanf format
    // "{%8lX-%4hX-%4hX-%2X%2X-%2X%2X%2X%2X%2X%2X}" would: each field may be
    // preceded by white space and carry a sign and a 0x prefix (both counted
    // in the field width), and may have fewer digits than its width; "{" and
    // the hyphens must match exactly; nothing after the eleventh field is
    // examined. Never reads past the text. Returns true and the identifier
    // when all eleven fields were read, else false and GUID_NULL.
    static bool String2GUID(const std::string& text, GUID& guid);

    // Ordering of GUID keys: the 16 bytes in storage order, as unsigned bytes.
    // This is not the order of the text forms; containers depend on it.
    struct LessGuid {
        bool operator()(const GUID& a, const GUID& b) const;
    };
};

} // namespace KxTamarind
