#!/usr/bin/env python3
"""Generate the result-code name tables of the common base library.

Writes Base/Common/KxTamarindCommon/Src/KxResultCodeTable.cpp with two sorted
constant arrays:

  * exact result codes -> symbolic name (432 entries): the published Windows
    names listed below by family, with the values of the Windows SDK headers
    winerror.h and olectl.h, plus the general E_*/S_* codes, the EXCEPTION_*
    codes and the library's own E_KX_HRESULT_* codes, all with the values of
    our platform layer (they differ from the Windows ones);
  * Win32 error numbers -> text (676 entries): the decimal number followed by
    "L", as the number is written in winerror.h.

The headers are read from Debian's mingw-w64-common package (only needed to
regenerate; the build uses the committed output). Every family is checked
against its expected size and value range, and the script fails loudly on
any mismatch, unknown name or duplicate code.

Usage:
  python3 tools/gen_result_codes.py [--include-dir DIR] [--output FILE]
"""

import argparse
import os
import re
import sys

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEFAULT_INCLUDE_DIR = "/usr/share/mingw-w64/include"
DEFAULT_OUTPUT = os.path.join(REPO, "Base", "Common", "KxTamarindCommon", "Src",
                              "KxResultCodeTable.cpp")

EXPECTED_EXACT_COUNT = 432
EXPECTED_WIN32_COUNT = 676

# The library's own codes (facility 0 and FACILITY_ITF above 0x1FF).
OWN_CODES = [
    ("E_KX_HRESULT_INVALID_ERROR", 0x80001002),
    ("E_KX_HRESULT_UNKNOWN_EXCEPTION", 0x80001003),
    ("E_KX_HRESULT_INVALID_PROPERTY_MAP", 0x80001004),
    ("E_KX_HRESULT_VALUE_OUT_OF_RANGE", 0x80001005),
    ("E_KX_HRESULT_CHECK_FCT_FAILED", 0x80001006),
    ("E_KX_HRESULT_ASSERT_FAILED", 0x80001007),
    ("E_KX_HRESULT_ASSERT_REPAIRED", 0x80001008),
    ("E_KX_HRESULT_INVALID_LINE", 0x80001009),
    ("E_KX_HRESULT_INDEX_OUT_OF_BOUNDS", 0x8000100A),
    ("E_KX_HRESULT_CONVERSION_NOT_SUPPORTED", 0x8000100B),
    ("E_KX_HRESULT_PRECONDITION_FAILED", 0x80040201),
    ("E_KX_HRESULT_POSTCONDITION_FAILED", 0x80040202),
    ("E_KX_HRESULT_NOT_IMPLEMENTED", 0x80040203),
    ("E_KX_HRESULT_PRECONDITION_REPAIRED", 0x80040204),
    ("E_KX_HRESULT_POSTCONDITION_REPAIRED", 0x80040205),
    ("E_KX_HRESULT_PRINTING_NO_PRINTERCHANNEL", 0x80040A01),
    ("E_KX_HRESULT_PRINTING_NOTHING_TO_PRINT", 0x80040A02),
    ("E_KX_HRESULT_PRINTING_ITEM_LARGER_THAN_PAGE", 0x80040A03),
]

# General codes with the platform layer's values (platcompat/hresult.h).
PLATFORM_GENERAL_CODES = [
    ("S_OK", 0x00000000),
    ("S_FALSE", 0x00000001),
    ("E_NOTIMPL", 0x80000001),
    ("E_OUTOFMEMORY", 0x80000002),
    ("E_INVALIDARG", 0x80000003),
    ("E_NOINTERFACE", 0x80000004),
    ("E_POINTER", 0x80000005),
    ("E_HANDLE", 0x80000006),
    ("E_ABORT", 0x80000007),
    ("E_FAIL", 0x80000008),
    ("E_ACCESSDENIED", 0x80000009),
    ("E_PENDING", 0x8000000A),
    ("E_UNEXPECTED", 0x8000FFFF),
]

# Structured-exception codes with the platform layer's values.
PLATFORM_EXCEPTION_CODES = [
    ("EXCEPTION_GUARD_PAGE", 0x80000101),
    ("EXCEPTION_DATATYPE_MISALIGNMENT", 0x80000102),
    ("EXCEPTION_BREAKPOINT", 0x80000103),
    ("EXCEPTION_SINGLE_STEP", 0x80000104),
    ("EXCEPTION_ACCESS_VIOLATION", 0xC0000105),
    ("EXCEPTION_IN_PAGE_ERROR", 0xC0000106),
    ("EXCEPTION_INVALID_HANDLE", 0xC0000108),
    ("EXCEPTION_ILLEGAL_INSTRUCTION", 0xC000011D),
    ("EXCEPTION_NONCONTINUABLE_EXCEPTION", 0xC0000125),
    ("EXCEPTION_INVALID_DISPOSITION", 0xC0000126),
    ("EXCEPTION_ARRAY_BOUNDS_EXCEEDED", 0xC000018C),
    ("EXCEPTION_FLT_DENORMAL_OPERAND", 0xC000018D),
    ("EXCEPTION_FLT_DIVIDE_BY_ZERO", 0xC000018E),
    ("EXCEPTION_FLT_INEXACT_RESULT", 0xC000018F),
    ("EXCEPTION_FLT_INVALID_OPERATION", 0xC0000190),
    ("EXCEPTION_FLT_OVERFLOW", 0xC0000191),
    ("EXCEPTION_FLT_STACK_CHECK", 0xC0000192),
    ("EXCEPTION_FLT_UNDERFLOW", 0xC0000193),
    ("EXCEPTION_INT_DIVIDE_BY_ZERO", 0xC0000194),
    ("EXCEPTION_INT_OVERFLOW", 0xC0000195),
    ("EXCEPTION_PRIV_INSTRUCTION", 0xC0000196),
    ("EXCEPTION_STACK_OVERFLOW", 0xC00001FD),
]

# Published Windows names, by family: (prefix, count, lowest, highest, names).
# Their values come from winerror.h (olectl.h for CTL_E_*).
FAMILIES = [
    ("CO", 52, 0x00080012, 0x80080008, """
        CO_S_NOTALLINTERFACES CO_E_INIT_TLS CO_E_INIT_SHARED_ALLOCATOR
        CO_E_INIT_MEMORY_ALLOCATOR CO_E_INIT_CLASS_CACHE CO_E_INIT_RPC_CHANNEL
        CO_E_INIT_TLS_SET_CHANNEL_CONTROL CO_E_INIT_TLS_CHANNEL_CONTROL
        CO_E_INIT_UNACCEPTED_USER_ALLOCATOR CO_E_INIT_SCM_MUTEX_EXISTS
        CO_E_INIT_SCM_FILE_MAPPING_EXISTS CO_E_INIT_SCM_MAP_VIEW_OF_FILE
        CO_E_INIT_SCM_EXEC_FAILURE CO_E_INIT_ONLY_SINGLE_THREADED CO_E_CANT_REMOTE
        CO_E_BAD_SERVER_NAME CO_E_WRONG_SERVER_IDENTITY CO_E_OLE1DDE_DISABLED
        CO_E_RUNAS_SYNTAX CO_E_CREATEPROCESS_FAILURE CO_E_RUNAS_CREATEPROCESS_FAILURE
        CO_E_RUNAS_LOGON_FAILURE CO_E_LAUNCH_PERMSSION_DENIED CO_E_START_SERVICE_FAILURE
        CO_E_REMOTE_COMMUNICATION_FAILURE CO_E_SERVER_START_TIMEOUT
        CO_E_CLSREG_INCONSISTENT CO_E_IIDREG_INCONSISTENT CO_E_NOT_SUPPORTED
        CO_E_NOTINITIALIZED CO_E_ALREADYINITIALIZED CO_E_CANTDETERMINECLASS
        CO_E_CLASSSTRING CO_E_IIDSTRING CO_E_APPNOTFOUND CO_E_APPSINGLEUSE
        CO_E_ERRORINAPP CO_E_DLLNOTFOUND CO_E_ERRORINDLL CO_E_WRONGOSFORAPP
        CO_E_OBJNOTREG CO_E_OBJISREG CO_E_OBJNOTCONNECTED CO_E_APPDIDNTREG
        CO_E_RELEASED CO_E_CLASS_CREATE_FAILED CO_E_SCM_ERROR CO_E_SCM_RPC_FAILURE
        CO_E_BAD_PATH CO_E_SERVER_EXEC_FAILURE CO_E_OBJSRV_RPC_FAILURE
        CO_E_SERVER_STOPPING"""),
    ("RPC", 49, 0x80010001, 0x8001FFFF, """
        RPC_E_CALL_REJECTED RPC_E_CALL_CANCELED RPC_E_CANTPOST_INSENDCALL
        RPC_E_CANTCALLOUT_INASYNCCALL RPC_E_CANTCALLOUT_INEXTERNALCALL
        RPC_E_CONNECTION_TERMINATED RPC_E_SERVER_DIED RPC_E_CLIENT_DIED
        RPC_E_INVALID_DATAPACKET RPC_E_CANTTRANSMIT_CALL RPC_E_CLIENT_CANTMARSHAL_DATA
        RPC_E_CLIENT_CANTUNMARSHAL_DATA RPC_E_SERVER_CANTMARSHAL_DATA
        RPC_E_SERVER_CANTUNMARSHAL_DATA RPC_E_INVALID_DATA RPC_E_INVALID_PARAMETER
        RPC_E_CANTCALLOUT_AGAIN RPC_E_SERVER_DIED_DNE RPC_E_SYS_CALL_FAILED
        RPC_E_OUT_OF_RESOURCES RPC_E_ATTEMPTED_MULTITHREAD RPC_E_NOT_REGISTERED
        RPC_E_FAULT RPC_E_SERVERFAULT RPC_E_CHANGED_MODE RPC_E_INVALIDMETHOD
        RPC_E_DISCONNECTED RPC_E_RETRY RPC_E_SERVERCALL_RETRYLATER
        RPC_E_SERVERCALL_REJECTED RPC_E_INVALID_CALLDATA
        RPC_E_CANTCALLOUT_ININPUTSYNCCALL RPC_E_WRONG_THREAD RPC_E_THREAD_NOT_INIT
        RPC_E_VERSION_MISMATCH RPC_E_INVALID_HEADER RPC_E_INVALID_EXTENSION
        RPC_E_INVALID_IPID RPC_E_INVALID_OBJECT RPC_S_CALLPENDING RPC_S_WAITONTIMER
        RPC_E_CALL_COMPLETE RPC_E_UNSECURE_CALL RPC_E_TOO_LATE
        RPC_E_NO_GOOD_SECURITY_PACKAGES RPC_E_ACCESS_DENIED RPC_E_REMOTE_DISABLED
        RPC_E_INVALID_OBJREF RPC_E_UNEXPECTED"""),
    ("STG", 42, 0x00030200, 0x80030202, """
        STG_S_CONVERTED STG_S_BLOCK STG_S_RETRYNOW STG_S_MONITORING
        STG_E_INVALIDFUNCTION STG_E_FILENOTFOUND STG_E_PATHNOTFOUND
        STG_E_TOOMANYOPENFILES STG_E_ACCESSDENIED STG_E_INVALIDHANDLE
        STG_E_INSUFFICIENTMEMORY STG_E_INVALIDPOINTER STG_E_NOMOREFILES
        STG_E_DISKISWRITEPROTECTED STG_E_SEEKERROR STG_E_WRITEFAULT STG_E_READFAULT
        STG_E_SHAREVIOLATION STG_E_LOCKVIOLATION STG_E_FILEALREADYEXISTS
        STG_E_INVALIDPARAMETER STG_E_MEDIUMFULL STG_E_PROPSETMISMATCHED
        STG_E_ABNORMALAPIEXIT STG_E_INVALIDHEADER STG_E_INVALIDNAME STG_E_UNKNOWN
        STG_E_UNIMPLEMENTEDFUNCTION STG_E_INVALIDFLAG STG_E_INUSE STG_E_NOTCURRENT
        STG_E_REVERTED STG_E_CANTSAVE STG_E_OLDFORMAT STG_E_OLDDLL STG_E_SHAREREQUIRED
        STG_E_NOTFILEBASEDSTORAGE STG_E_EXTANTMARSHALLINGS STG_E_DOCFILECORRUPT
        STG_E_BADBASEADDRESS STG_E_INCOMPLETE STG_E_TERMINATED"""),
    ("CTL", 40, 0x800A0005, 0x800A02EA, """
        CTL_E_ILLEGALFUNCTIONCALL CTL_E_OVERFLOW CTL_E_OUTOFMEMORY
        CTL_E_DIVISIONBYZERO CTL_E_OUTOFSTRINGSPACE CTL_E_OUTOFSTACKSPACE
        CTL_E_BADFILENAMEORNUMBER CTL_E_FILENOTFOUND CTL_E_BADFILEMODE
        CTL_E_FILEALREADYOPEN CTL_E_DEVICEIOERROR CTL_E_FILEALREADYEXISTS
        CTL_E_BADRECORDLENGTH CTL_E_DISKFULL CTL_E_BADRECORDNUMBER CTL_E_BADFILENAME
        CTL_E_TOOMANYFILES CTL_E_DEVICEUNAVAILABLE CTL_E_PERMISSIONDENIED
        CTL_E_DISKNOTREADY CTL_E_PATHFILEACCESSERROR CTL_E_PATHNOTFOUND
        CTL_E_INVALIDPATTERNSTRING CTL_E_INVALIDUSEOFNULL CTL_E_INVALIDFILEFORMAT
        CTL_E_INVALIDPROPERTYVALUE CTL_E_INVALIDPROPERTYARRAYINDEX
        CTL_E_SETNOTSUPPORTEDATRUNTIME CTL_E_SETNOTSUPPORTED
        CTL_E_NEEDPROPERTYARRAYINDEX CTL_E_SETNOTPERMITTED
        CTL_E_GETNOTSUPPORTEDATRUNTIME CTL_E_GETNOTSUPPORTED CTL_E_PROPERTYNOTFOUND
        CTL_E_INVALIDCLIPBOARDFORMAT CTL_E_INVALIDPICTURE CTL_E_PRINTERERROR
        CTL_E_CANTSAVEFILETOTEMP CTL_E_SEARCHTEXTNOTFOUND CTL_E_REPLACEMENTSTOOLONG"""),
    ("NTE", 33, 0x80090001, 0x80090021, """
        NTE_BAD_UID NTE_BAD_HASH NTE_BAD_KEY NTE_BAD_LEN NTE_BAD_DATA
        NTE_BAD_SIGNATURE NTE_BAD_VER NTE_BAD_ALGID NTE_BAD_FLAGS NTE_BAD_TYPE
        NTE_BAD_KEY_STATE NTE_BAD_HASH_STATE NTE_NO_KEY NTE_NO_MEMORY NTE_EXISTS
        NTE_PERM NTE_NOT_FOUND NTE_DOUBLE_ENCRYPT NTE_BAD_PROVIDER NTE_BAD_PROV_TYPE
        NTE_BAD_PUBLIC_KEY NTE_BAD_KEYSET NTE_PROV_TYPE_NOT_DEF NTE_PROV_TYPE_ENTRY_BAD
        NTE_KEYSET_NOT_DEF NTE_KEYSET_ENTRY_BAD NTE_PROV_TYPE_NO_MATCH
        NTE_SIGNATURE_FILE_BAD NTE_PROVIDER_DLL_FAIL NTE_PROV_DLL_NOT_FOUND
        NTE_BAD_KEYSET_PARAM NTE_FAIL NTE_SYS_ERR"""),
    ("TYPE", 25, 0x80028016, 0x80029C84, """
        TYPE_E_BUFFERTOOSMALL TYPE_E_INVDATAREAD TYPE_E_UNSUPFORMAT
        TYPE_E_REGISTRYACCESS TYPE_E_LIBNOTREGISTERED TYPE_E_UNDEFINEDTYPE
        TYPE_E_QUALIFIEDNAMEDISALLOWED TYPE_E_INVALIDSTATE TYPE_E_WRONGTYPEKIND
        TYPE_E_ELEMENTNOTFOUND TYPE_E_AMBIGUOUSNAME TYPE_E_NAMECONFLICT
        TYPE_E_UNKNOWNLCID TYPE_E_DLLFUNCTIONNOTFOUND TYPE_E_BADMODULEKIND
        TYPE_E_SIZETOOBIG TYPE_E_DUPLICATEID TYPE_E_INVALIDID TYPE_E_TYPEMISMATCH
        TYPE_E_OUTOFBOUNDS TYPE_E_IOERROR TYPE_E_CANTCREATETMPFILE
        TYPE_E_CANTLOADLIBRARY TYPE_E_INCONSISTENTPROPFUNCS TYPE_E_CIRCULARTYPE"""),
    ("OLE", 22, 0x00040000, 0x80040012, """
        OLE_S_USEREG OLE_S_STATIC OLE_S_MAC_CLIPFORMAT OLE_E_OLEVERB OLE_E_ADVF
        OLE_E_ENUM_NOMORE OLE_E_ADVISENOTSUPPORTED OLE_E_NOCONNECTION
        OLE_E_NOTRUNNING OLE_E_NOCACHE OLE_E_BLANK OLE_E_CLASSDIFF
        OLE_E_CANT_GETMONIKER OLE_E_CANT_BINDTOSOURCE OLE_E_STATIC
        OLE_E_PROMPTSAVECANCELLED OLE_E_INVALIDRECT OLE_E_WRONGCOMPOBJ
        OLE_E_INVALIDHWND OLE_E_NOT_INPLACEACTIVE OLE_E_CANTCONVERT OLE_E_NOSTORAGE"""),
    ("MK", 22, 0x000401E2, 0x80080007, """
        MK_S_REDUCED_TO_SELF MK_S_ME MK_S_HIM MK_S_US MK_S_MONIKERALREADYREGISTERED
        MK_E_CONNECTMANUALLY MK_E_EXCEEDEDDEADLINE MK_E_NEEDGENERIC MK_E_UNAVAILABLE
        MK_E_SYNTAX MK_E_NOOBJECT MK_E_INVALIDEXTENSION
        MK_E_INTERMEDIATEINTERFACENOTSUPPORTED MK_E_NOTBINDABLE MK_E_NOTBOUND
        MK_E_CANTOPENFILE MK_E_MUSTBOTHERUSER MK_E_NOINVERSE MK_E_NOSTORAGE
        MK_E_NOPREFIX MK_E_ENUMERATION_FAILED MK_E_NO_NORMALIZED"""),
    ("DISP", 16, 0x80020001, 0x80020011, """
        DISP_E_UNKNOWNINTERFACE DISP_E_MEMBERNOTFOUND DISP_E_PARAMNOTFOUND
        DISP_E_TYPEMISMATCH DISP_E_UNKNOWNNAME DISP_E_NONAMEDARGS DISP_E_BADVARTYPE
        DISP_E_EXCEPTION DISP_E_OVERFLOW DISP_E_BADINDEX DISP_E_UNKNOWNLCID
        DISP_E_ARRAYISLOCKED DISP_E_BADPARAMCOUNT DISP_E_PARAMNOTOPTIONAL
        DISP_E_BADCALLEE DISP_E_NOTACOLLECTION"""),
    ("DV", 10, 0x80040064, 0x8004006D, """
        DV_E_FORMATETC DV_E_DVTARGETDEVICE DV_E_STGMEDIUM DV_E_STATDATA DV_E_LINDEX
        DV_E_TYMED DV_E_CLIPFORMAT DV_E_DVASPECT DV_E_DVTARGETDEVICE_SIZE
        DV_E_NOIVIEWOBJECT"""),
    ("CERT", 10, 0x800B0101, 0x800B010A, """
        CERT_E_EXPIRED CERT_E_VALIDITYPERIODNESTING CERT_E_ROLE CERT_E_PATHLENCONST
        CERT_E_CRITICAL CERT_E_PURPOSE CERT_E_ISSUERCHAINING CERT_E_MALFORMED
        CERT_E_UNTRUSTEDROOT CERT_E_CHAINING"""),
    ("CONVERT10", 8, 0x000401C0, 0x800401C6, """
        CONVERT10_S_NO_PRESENTATION CONVERT10_E_OLESTREAM_GET
        CONVERT10_E_OLESTREAM_PUT CONVERT10_E_OLESTREAM_FMT
        CONVERT10_E_OLESTREAM_BITMAP_TO_DIB CONVERT10_E_STG_FMT
        CONVERT10_E_STG_NO_STD_STREAM CONVERT10_E_STG_DIB_TO_BITMAP"""),
    ("DRAGDROP", 6, 0x00040100, 0x80040102, """
        DRAGDROP_S_DROP DRAGDROP_S_CANCEL DRAGDROP_S_USEDEFAULTCURSORS
        DRAGDROP_E_NOTREGISTERED DRAGDROP_E_ALREADYREGISTERED DRAGDROP_E_INVALIDHWND"""),
    ("REGDB", 6, 0x80040150, 0x80040155, """
        REGDB_E_READREGDB REGDB_E_WRITEREGDB REGDB_E_KEYMISSING REGDB_E_INVALIDVALUE
        REGDB_E_CLASSNOTREG REGDB_E_IIDNOTREG"""),
    ("OLEOBJ", 5, 0x00040180, 0x80040181, """
        OLEOBJ_S_INVALIDVERB OLEOBJ_S_CANNOT_DOVERB_NOW OLEOBJ_S_INVALIDHWND
        OLEOBJ_E_NOVERBS OLEOBJ_E_INVALIDVERB"""),
    ("CLIPBRD", 5, 0x800401D0, 0x800401D4, """
        CLIPBRD_E_CANT_OPEN CLIPBRD_E_CANT_EMPTY CLIPBRD_E_CANT_SET
        CLIPBRD_E_BAD_DATA CLIPBRD_E_CANT_CLOSE"""),
    ("TRUST", 5, 0x800B0001, 0x800B0100, """
        TRUST_E_PROVIDER_UNKNOWN TRUST_E_ACTION_UNKNOWN TRUST_E_SUBJECT_FORM_UNKNOWN
        TRUST_E_SUBJECT_NOT_TRUSTED TRUST_E_NOSIGNATURE"""),
    ("CACHE", 4, 0x00040170, 0x80040170, """
        CACHE_S_FORMATETC_NOTSUPPORTED CACHE_S_SAMECACHE CACHE_S_SOMECACHES_NOTUPDATED
        CACHE_E_NOCACHE_UPDATED"""),
    ("DIGSIG", 4, 0x800B0005, 0x800B0008, """
        DIGSIG_E_ENCODE DIGSIG_E_DECODE DIGSIG_E_EXTENSIBILITY DIGSIG_E_CRYPTO"""),
    ("INPLACE", 3, 0x000401A0, 0x800401A1, """
        INPLACE_S_TRUNCATED INPLACE_E_NOTUNDOABLE INPLACE_E_NOTOOLSPACE"""),
    ("CLASS", 3, 0x80040110, 0x80040112, """
        CLASS_E_NOAGGREGATION CLASS_E_CLASSNOTAVAILABLE CLASS_E_NOTLICENSED"""),
    ("MEM", 3, 0x80080009, 0x80080011, """
        MEM_E_INVALID_ROOT MEM_E_INVALID_LINK MEM_E_INVALID_SIZE"""),
    ("PERSIST", 3, 0x800B0009, 0x800B000B, """
        PERSIST_E_SIZEDEFINITE PERSIST_E_SIZEINDEFINITE PERSIST_E_NOTSELFSIZING"""),
    ("VIEW", 2, 0x00040140, 0x80040140, """
        VIEW_S_ALREADY_FROZEN VIEW_E_DRAW"""),
    ("DATA", 1, 0x00040130, 0x00040130, """
        DATA_S_SAMEFORMATETC"""),
]

# Win32 error numbers with a text of their own, as decimal ranges.
WIN32_RANGES = (
    "0-34, 36, 38-39, 50-72, 80, 82-89, 100-114, 117-162, 164, 167, 170, 173-174, "
    "180, 182-183, 186-203, 205-210, 212, 214-216, 230-234, 240, 254-255, 259, "
    "266-267, 275-278, 282, 288, 298-299, 317, 487, 534-536, 994-999, 1001-1022, "
    "1051-1079, 1100-1132, 1140-1142, 1150-1157, 1200-1248, 1300-1338, 1340-1395, "
    "1400-1459, 1500-1503, 1700-1728, 1730, 1732-1737, 1739-1775, 1777-1832, "
    "1898-1913, 2000-2005, 2202, 2250, 2401-2402, 2404, 3000-3011, 4000-4006, 6118")


class GeneratorError(Exception):
    pass


def fail(message):
    raise GeneratorError(message)


# --- A small C preprocessor for constant macros --------------------------------

TOKEN_RE = re.compile(r"\s*(?:(0[xX][0-9A-Fa-f]+|\d+)[uUlL]*|([A-Za-z_]\w*)|(<<|>>|[-+*/%|&^~()!,]))")
# Words that only make up casts in the headers, e.g. (unsigned __LONG32).
CAST_WORDS = {"HRESULT", "SCODE", "unsigned", "signed", "long", "int", "__LONG32", "DWORD",
              "LONG", "ULONG", "short"}


def tokenize(text):
    tokens = []
    pos = 0
    text = text.rstrip()
    while pos < len(text):
        m = TOKEN_RE.match(text, pos)
        if not m:
            raise ValueError("cannot tokenize %r" % text[pos:])
        if m.group(1) is not None:
            tokens.append(("num", int(m.group(1), 0) if not re.fullmatch(r"0\d+", m.group(1))
                           else int(m.group(1), 8)))
        elif m.group(2) is not None:
            tokens.append(("id", m.group(2)))
        else:
            tokens.append(("op", m.group(3)))
        pos = m.end()
    return tokens


def strip_comments(text):
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    return re.sub(r"//[^\n]*", "", text)


class MacroTable:
    """Object-like and function-like #defines of a set of headers."""

    def __init__(self):
        self.objects = {}    # name -> list of (file, body)
        self.functions = {}  # name -> (params, body); first definition wins

    def read(self, path):
        with open(path, encoding="latin-1") as f:
            text = strip_comments(f.read().replace("\\\n", " "))
        define_re = re.compile(r"^\s*#\s*define\s+([A-Za-z_]\w*)(\(([^)]*)\))?[ \t]*(.*)$")
        for line in text.split("\n"):
            m = define_re.match(line)
            if not m:
                continue
            name, params, body = m.group(1), m.group(3), m.group(4).strip()
            if m.group(2) is not None:
                if name not in self.functions:
                    self.functions[name] = ([p.strip() for p in params.split(",") if p.strip()],
                                            body)
            else:
                self.objects.setdefault(name, []).append((os.path.basename(path), body))

    def expand(self, tokens, depth=0):
        if depth > 32:
            raise ValueError("macro nesting too deep")
        out = []
        i = 0
        while i < len(tokens):
            kind, value = tokens[i]
            if kind == "id" and value in self.functions and i + 1 < len(tokens) \
                    and tokens[i + 1] == ("op", "("):
                params, body = self.functions[value]
                args, i = self._collect_args(tokens, i + 2)
                if len(args) != len(params):
                    raise ValueError("%s expects %d arguments" % (value, len(params)))
                mapping = dict(zip(params, args))
                substituted = []
                for tok in tokenize(body):
                    if tok[0] == "id" and tok[1] in mapping:
                        substituted.append(("op", "("))
                        substituted.extend(mapping[tok[1]])
                        substituted.append(("op", ")"))
                    else:
                        substituted.append(tok)
                out.extend(self.expand(substituted, depth + 1))
                continue
            if kind == "id" and value in self.objects and value not in CAST_WORDS:
                bodies = {body for _, body in self.objects[value]}
                values = {self.evaluate_body(body, depth + 1) for body in bodies}
                if len(values) != 1:
                    raise ValueError("%s has conflicting definitions" % value)
                out.append(("num", values.pop()))
                i += 1
                continue
            out.append(tokens[i])
            i += 1
        return out

    @staticmethod
    def _collect_args(tokens, i):
        args, current, level = [], [], 0
        while i < len(tokens):
            tok = tokens[i]
            if tok == ("op", "("):
                level += 1
            elif tok == ("op", ")"):
                if level == 0:
                    args.append(current)
                    return args, i + 1
                level -= 1
            elif tok == ("op", ",") and level == 0:
                args.append(current)
                current = []
                i += 1
                continue
            current.append(tok)
            i += 1
        raise ValueError("unbalanced macro arguments")

    def evaluate_body(self, body, depth=0):
        tokens = self.expand(tokenize(body), depth)
        # Drop casts: "(" followed only by cast words and ")".
        cleaned = []
        i = 0
        while i < len(tokens):
            if tokens[i] == ("op", "("):
                j = i + 1
                while j < len(tokens) and tokens[j][0] == "id" and tokens[j][1] in CAST_WORDS:
                    j += 1
                if j > i + 1 and j < len(tokens) and tokens[j] == ("op", ")"):
                    i = j + 1
                    continue
            cleaned.append(tokens[i])
            i += 1
        expr = []
        for kind, value in cleaned:
            if kind == "id":
                raise ValueError("unresolved name %s" % value)
            if kind == "num":
                expr.append(str(value))
            elif value == "/":
                expr.append("//")
            elif value == "!":
                expr.append(" not ")
            else:
                expr.append(value)
        if not expr:
            raise ValueError("empty definition")
        return int(eval("".join(expr), {"__builtins__": {}}, {})) & 0xFFFFFFFF

    def value_of(self, name):
        if name not in self.objects:
            raise ValueError("%s is not defined" % name)
        return self.expand([("id", name)])[0][1]


# --- Table construction ---------------------------------------------------------

def parse_ranges(text):
    numbers = []
    for part in text.split(","):
        part = part.strip()
        if "-" in part:
            low, high = (int(x) for x in part.split("-"))
            if low > high:
                fail("bad range %s" % part)
            numbers.extend(range(low, high + 1))
        else:
            numbers.append(int(part))
    if numbers != sorted(set(numbers)):
        fail("Win32 number ranges overlap or are out of order")
    return numbers


def build_exact_table(macros):
    entries = []  # (code, name, family)
    problems = []
    for prefix, count, low, high, names_text in FAMILIES:
        names = names_text.split()
        if len(names) != count:
            problems.append("%s: %d names listed, %d expected" % (prefix, len(names), count))
        if len(set(names)) != len(names):
            problems.append("%s: a name is listed twice" % prefix)
        values = []
        for name in names:
            if not name.startswith(prefix + "_"):
                problems.append("%s does not belong to family %s" % (name, prefix))
            try:
                value = macros.value_of(name)
            except ValueError as error:
                problems.append("%s: %s" % (name, error))
                continue
            values.append(value)
            entries.append((value, name, prefix))
        if values:
            if min(values) != low or max(values) != high:
                problems.append("%s: values 0x%08X..0x%08X, expected 0x%08X..0x%08X"
                                % (prefix, min(values), max(values), low, high))
        print("  %-10s %3d names  0x%08X..0x%08X" % (prefix, len(values),
                                                     min(values) if values else 0,
                                                     max(values) if values else 0))
    for name, value in PLATFORM_GENERAL_CODES:
        entries.append((value, name, name.split("_")[0]))
    for name, value in PLATFORM_EXCEPTION_CODES:
        entries.append((value, name, "EXCEPTION"))
    for name, value in OWN_CODES:
        entries.append((value, name, "E_KX_HRESULT"))
    print("  %-10s %3d names (platform values)" % ("E/S", len(PLATFORM_GENERAL_CODES)))
    print("  %-10s %3d names (platform values)" % ("EXCEPTION", len(PLATFORM_EXCEPTION_CODES)))
    print("  %-10s %3d names (own codes)" % ("E_KX", len(OWN_CODES)))

    entries.sort()
    seen = {}
    for value, name, _ in entries:
        if value in seen:
            problems.append("0x%08X is both %s and %s" % (value, seen[value], name))
        seen[value] = name
    if len(entries) != EXPECTED_EXACT_COUNT:
        problems.append("%d exact codes, %d expected" % (len(entries), EXPECTED_EXACT_COUNT))
    if problems:
        fail("exact-code table:\n    " + "\n    ".join(problems))
    return entries


def check_win32_numbers(macros, numbers):
    """Warns about listed numbers that no small constant of winerror.h carries."""
    known = set()
    for name, definitions in macros.objects.items():
        if any(definition[0] != "winerror.h" for definition in definitions):
            continue
        try:
            value = macros.value_of(name)
        except (ValueError, SyntaxError, TypeError, ZeroDivisionError):
            continue
        if value <= 0xFFFF:
            known.add(value)
    missing = [n for n in numbers if n not in known]
    if missing:
        print("  note: no winerror.h constant has the value of %d listed numbers: %s"
              % (len(missing), ", ".join(str(n) for n in missing)))
    else:
        print("  every listed number is the value of a winerror.h constant")


def write_table(path, exact, numbers):
    lines = [
        "// Result-code names and Win32 error-number texts (sorted constant tables).",
        "//",
        "// GENERATED by tools/gen_result_codes.py; do not edit by hand. To regenerate",
        "// (needs winerror.h and olectl.h of Debian's mingw-w64-common package only",
        "// for that, never for the build), run from the repository root:",
        "//   python3 tools/gen_result_codes.py",
        "// and commit the result together with the change to the generator.",
        "#include \"KxResultCodeTable.h\"",
        "",
        "#include <iterator>",
        "",
        "namespace KxTamarind {",
        "namespace Detail {",
        "",
        "// One entry a line, as generated.",
        "// clang-format off",
        "",
        "// Sorted by code: searched by binary search.",
        "const ResultCodeName g_resultCodeNames[] = {",
    ]
    for value, name, _ in exact:
        lines.append("    {0x%08Xu, \"%s\"}," % (value, name))
    lines += [
        "};",
        "const std::size_t g_resultCodeNameCount = std::size(g_resultCodeNames);",
        "static_assert(std::size(g_resultCodeNames) == %d, \"exact-code table size\");"
        % len(exact),
        "",
        "// Sorted by number: searched by binary search.",
        "const Win32NumberText g_win32NumberTexts[] = {",
    ]
    for number in numbers:
        lines.append("    {%d, \"%dL\"}," % (number, number))
    lines += [
        "};",
        "const std::size_t g_win32NumberTextCount = std::size(g_win32NumberTexts);",
        "static_assert(std::size(g_win32NumberTexts) == %d, \"Win32 number table size\");"
        % len(numbers),
        "",
        "// clang-format on",
        "",
        "} // namespace Detail",
        "} // namespace KxTamarind",
        "",
    ]
    with open(path, "w", encoding="ascii", newline="\n") as f:
        f.write("\n".join(lines))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--include-dir", default=DEFAULT_INCLUDE_DIR,
                        help="directory with winerror.h and olectl.h (default: %(default)s)")
    parser.add_argument("--output", default=DEFAULT_OUTPUT, help="file to write")
    args = parser.parse_args()

    macros = MacroTable()
    # __MSABI_LONG comes from the compiler-support header; it only adds an
    # "L" suffix to its argument.
    macros.functions["__MSABI_LONG"] = (["x"], "x")
    for header in ("winerror.h", "olectl.h"):
        path = os.path.join(args.include_dir, header)
        if not os.path.isfile(path):
            fail("%s not found (install Debian's mingw-w64-common)" % path)
        macros.read(path)

    print("exact codes:")
    exact = build_exact_table(macros)
    print("  total %d entries, %d unique codes" % (len(exact), len({e[0] for e in exact})))

    print("Win32 numbers:")
    numbers = parse_ranges(WIN32_RANGES)
    if len(numbers) != EXPECTED_WIN32_COUNT:
        fail("%d Win32 numbers, %d expected" % (len(numbers), EXPECTED_WIN32_COUNT))
    if numbers[-1] > 0xFFFF:
        fail("Win32 number above 16 bits")
    print("  total %d numbers, %d..%d" % (len(numbers), numbers[0], numbers[-1]))
    check_win32_numbers(macros, numbers)

    write_table(args.output, exact, numbers)
    print("wrote %s" % os.path.relpath(args.output, REPO))
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except GeneratorError as error:
        print("gen_result_codes.py: error: %s" % error, file=sys.stderr)
        sys.exit(1)
