#!/usr/bin/env python3
"""Generate the interface identifier catalogue of the common base library.

Every framework interface has one shared identifier, defined once in this
library so that all modules of the firmware agree on it. The identifiers are
name-based UUIDs, version 5 (RFC 4122, SHA-1), of the interface's bare name
(UTF-8) in the fixed namespace {7572FCC6-9A91-4CBB-A37E-7A0325FB5E1F}, with
one exception: IKXInterfaceRegistration keeps its fixed value, since the root
object is queried for it by modules built separately. IUnknown keeps the
platform's IID_IUnknown and is not part of the catalogue.

Writes, below Base/Idl:

  * KxInterfaceIds.h: forward declarations of the interfaces, the extern
    IID_<Name> constants, the declarations of the hold_uuidof<> holders and
    the catalogue lookup (KxInterfaceIdEntry, GetInterfaceIdCatalogue,
    FindInterfaceId);
  * KxInterfaceIdsTable.cpp: the definitions of the holders and constants
    (plain aggregate initialisers, so no code runs at load), the catalogue
    sorted by name and the two lookup functions;
  * KxInterfaces.h: a declared type for every interface: its own header
    Base/Idl/<Name>.h for those in FULLY_DECLARED, an empty interface
    derived from IUnknown for the others.

Checks before writing: 134 names, each a valid identifier starting with
"IKX", no duplicates, the list kept sorted; 135 distinct identifiers with
IID_IUnknown's; every computed identifier carries version 5 and the RFC 4122
variant; the computation reproduces a known value; every header named in
FULLY_DECLARED exists, defines its interface and declares its holder.

Usage (from anywhere):
  python3 tools/gen_interface_ids.py           # regenerate the three files
  python3 tools/gen_interface_ids.py --check   # exit 1 if a file is stale
"""

import argparse
import os
import re
import sys
import uuid

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEFAULT_OUTPUT_DIR = os.path.join(REPO, "Base", "Idl")

EXPECTED_COUNT = 134

NAMESPACE = uuid.UUID("7572FCC6-9A91-4CBB-A37E-7A0325FB5E1F")

# Identifiers that are not derived from the name.
FIXED_IDS = {
    "IKXInterfaceRegistration": uuid.UUID("E4F67E3F-13A0-11D5-99E4-00C04F306F62"),
}

IUNKNOWN_ID = uuid.UUID("00000000-0000-0000-C000-000000000046")

# A value computed once by hand, to catch a change in the derivation.
KNOWN_VALUE = ("IKXComponentManagement", uuid.UUID("B66E5114-DB27-5FA3-9EED-54A2DFC2E8A0"))

# Interfaces with a full declaration in Base/Idl/<Name>.h; the others get an
# empty declaration in KxInterfaces.h until their operations are declared.
FULLY_DECLARED = [
    "IKXCoClassInfo",
    "IKXComponentManagement",
    "IKXInfoControlling",
    "IKXInterfaceEnumeration",
    "IKXInterfaceRegistration",
    "IKXNotificationSink",
    "IKXObjectEnumeration",
    "IKXObjectRegistration",
]

# The framework's interfaces, sorted by name.
NAMES = """
    IKXAnnouncementManagementObservation IKXAnnouncementViewConfiguration IKXCoClassInfo
    IKXComponentCheck IKXComponentManagement IKXDatabaseGroupNavigation
    IKXDatabaseManagement IKXDeviceFootprint IKXDeviceFootprintProvider IKXDnsSdServices
    IKXDriverAdapterManagement IKXEnvironmentServicesFilesystem IKXFwApplicationEventControl
    IKXFwApplicationInformation IKXFwApplicationManagement IKXFwManagementEventControl
    IKXGuiViewerRemoteExportRegistration IKXHiSlipServer IKXInfoControlling
    IKXInfoManagement IKXInstallationRemoteControl IKXInstrumentSetupManagement
    IKXInstrumentSetupRemoteSupportSink IKXInterfaceEnumeration IKXInterfaceRegistration
    IKXLanEventHandler IKXLanServices IKXLedManagement IKXLogicalInstrumentControl
    IKXLogicalInstrumentFeedback IKXLogicalInstrumentInformation
    IKXLogicalInstrumentManagement IKXLogicalInstrumentServices IKXLxiChannel
    IKXLxiChannel1588 IKXLxiChannel1588AlarmHandler IKXLxiChannelHwTrigger
    IKXLxiChannelLanEvents IKXLxiEngine IKXLxiEventLog IKXLxiLanEventHandler IKXLxiObserver
    IKXLxiSync IKXLxiSyncArm IKXLxiSyncArmAlarmProperty IKXLxiSyncArmAlarms
    IKXLxiSyncArmSourceProperty IKXLxiSyncArmSources IKXLxiSyncCapabilityManagement
    IKXLxiSyncCapabilityProperty IKXLxiSyncEventLog IKXLxiSyncEventProperty IKXLxiSyncEvents
    IKXLxiSyncTime IKXLxiSyncTrigger IKXLxiSyncTriggerAlarmProperty IKXLxiSyncTriggerAlarms
    IKXLxiSyncTriggerSourceProperty IKXLxiSyncTriggerSources IKXLxiTriggerEventEngine
    IKXLxiTriggerEventHandler IKXLxiTriggerEventInstance IKXLxiTriggerEventWebAccess
    IKXNotificationRegistration IKXNotificationSink IKXObjectEnumeration
    IKXObjectRegistration IKXProdDefSource IKXProdDescrSource IKXRemoteTreeInformation
    IKXRemoteViewInformation IKXSaveRecallManagement IKXScalarPropertyAccess
    IKXScpiAccessControl IKXScpiAction IKXScpiBlockData IKXScpiChannel
    IKXScpiChannelManagement IKXScpiChannelServiceProvider IKXScpiCharacterEnum
    IKXScpiCommands IKXScpiCommonCommands IKXScpiController IKXScpiDeviceEnumeration
    IKXScpiDeviceHandler IKXScpiDeviceManagement IKXScpiEmulationCallback
    IKXScpiErrorManagement IKXScpiExecutionSink IKXScpiGroup IKXScpiInputBuffer
    IKXScpiInstrumentLocking IKXScpiKernel4882 IKXScpiKernelMassMem
    IKXScpiKernelMassMemCallback IKXScpiLifeCycle IKXScpiMapper
    IKXScpiMultichannelAdministration IKXScpiMultichannelEventObserver
    IKXScpiMultichannelFunctionality IKXScpiMultichannelParser IKXScpiNode IKXScpiOperation
    IKXScpiOutputBuffer IKXScpiParser IKXScpiParserEnumeration IKXScpiParserInformation
    IKXScpiParserLanguage IKXScpiParserManagement IKXScpiRemoteControl
    IKXScpiStatusEnumeration IKXScpiStatusManagement IKXScpiStatusRegister
    IKXScpiStatusRegisterExtended IKXScpiStatusTree IKXScpiSubsystemFormat
    IKXScpiTraceConfiguration IKXScpiTraceControl IKXScpiTraceManagement
    IKXScpiTraceNotificationSink IKXScpiTree IKXScpiUnitSubsystem IKXScpiUnitSuffix
    IKXScpiWeb IKXSetupProperties IKXTimeDateControl IKXTimerManagement
    IKXToolComponentNavigation IKXUnitManagement IKXUseCaseInformation IKXVncControlSettings
    IKXVxi11Server IKXWebEngine IKXWebPageProvider
""".split()

NAME_RE = re.compile(r"IKX[A-Za-z0-9]+\Z")

HEADER_IDS = "KxInterfaceIds.h"
HEADER_INTERFACES = "KxInterfaces.h"
SOURCE_TABLE = "KxInterfaceIdsTable.cpp"


class GeneratorError(Exception):
    pass


def fail(message):
    raise GeneratorError(message)


def identifier_of(name):
    if name in FIXED_IDS:
        return FIXED_IDS[name]
    return uuid.uuid5(NAMESPACE, name)


def check_names(names):
    if len(names) != EXPECTED_COUNT:
        fail("%d names, %d expected" % (len(names), EXPECTED_COUNT))
    seen = set()
    for name in names:
        if not NAME_RE.match(name):
            fail("%r is not an interface name" % name)
        if name in seen:
            fail("%s listed twice" % name)
        seen.add(name)
    if names != sorted(names):
        fail("NAMES is not sorted")
    for name in FIXED_IDS:
        if name not in seen:
            fail("fixed identifier for unknown interface %s" % name)
    for name in FULLY_DECLARED:
        if name not in seen:
            fail("FULLY_DECLARED names unknown interface %s" % name)
    if len(set(FULLY_DECLARED)) != len(FULLY_DECLARED):
        fail("FULLY_DECLARED lists a name twice")
    print("names: %d, distinct, sorted" % len(names))


def check_identifiers(names, ids):
    name, value = KNOWN_VALUE
    if uuid.uuid5(NAMESPACE, name) != value:
        fail("derivation of %s gives %s, %s expected" % (name, uuid.uuid5(NAMESPACE, name), value))
    for name in names:
        if name in FIXED_IDS:
            continue
        if ids[name].version != 5 or ids[name].variant != uuid.RFC_4122:
            fail("identifier of %s is not a version-5 RFC 4122 UUID" % name)
    owners = {IUNKNOWN_ID: "IUnknown"}
    for name in names:
        other = owners.get(ids[name])
        if other is not None:
            fail("%s and %s share the identifier %s" % (name, other, ids[name]))
        owners[ids[name]] = name
    if len(owners) != EXPECTED_COUNT + 1:
        fail("%d distinct identifiers, %d expected" % (len(owners), EXPECTED_COUNT + 1))
    print("identifiers: %d distinct with IID_IUnknown; %d name-based (version 5), %d fixed"
          % (len(owners), len(names) - len(FIXED_IDS), len(FIXED_IDS)))
    print("check: %s = %s" % (KNOWN_VALUE[0], text_of(ids[KNOWN_VALUE[0]])))


def squash(text):
    return re.sub(r"\s+", " ", text)


def check_full_declarations(output_dir):
    for name in FULLY_DECLARED:
        path = os.path.join(output_dir, name + ".h")
        if not os.path.isfile(path):
            fail("%s is in FULLY_DECLARED but %s does not exist" % (name, path))
        with open(path, encoding="utf-8") as f:
            text = squash(f.read())
        if ("struct KXTAMARIND_API %s : public IUnknown {" % name) not in text:
            fail("%s does not define struct KXTAMARIND_API %s : public IUnknown" % (path, name))
        holder = "template <> KXTAMARIND_API const GUID hold_uuidof<KxTamarind::%s>::__IID;" % name
        if holder not in text:
            fail("%s does not declare the holder of %s" % (path, name))
    print("full declarations: %s" % ", ".join(FULLY_DECLARED))


def text_of(value):
    return "{%s}" % str(value).upper()


def initialiser(value):
    b = value.bytes
    return "{0x%08X, 0x%04X, 0x%04X, {%s}}" % (
        int.from_bytes(b[0:4], "big"), int.from_bytes(b[4:6], "big"),
        int.from_bytes(b[6:8], "big"), ", ".join("0x%02X" % x for x in b[8:16]))


def generated_note(what):
    return (
        "//\n"
        "// GENERATED by tools/gen_interface_ids.py from its list of names; do not edit by\n"
        "// hand. To regenerate, change the generator and run from the repository root:\n"
        "//   python3 tools/gen_interface_ids.py\n"
        "// then commit the generator and %s together.\n" % what)


def make_ids_header(names):
    out = [
        "// Identifiers of the framework's interfaces: one shared constant per interface\n"
        "// (IID_<Name>, also reachable as __uuidof(KxTamarind::<Name>)), defined once in\n"
        "// this library so that every module of the firmware agrees on the values, and a\n"
        "// catalogue that finds an identifier by the interface's name.\n",
        generated_note("the three files it writes"),
        "#pragma once\n\n#include <platcompat.h>\n\n#include \"KxExport.h\"\n\n"
        "#include <cstddef>\n\n",
        "namespace KxTamarind {\n\n",
        "// The interfaces; KxInterfaces.h gives each a declared type.\n",
    ]
    out += ["struct %s;\n" % name for name in names]
    out.append("\n// The identifiers, constant from load on (they need no initialisation code).\n")
    out += ["extern KXTAMARIND_API const IID IID_%s;\n" % name for name in names]
    out.append(
        "\n"
        "// One entry of the catalogue: the interface's bare name and its identifier.\n"
        "struct KxInterfaceIdEntry {\n"
        "    const char* name;\n"
        "    const IID* iid;\n"
        "};\n"
        "\n"
        "// The catalogue of all interfaces, sorted by name (byte order, as strcmp);\n"
        "// stores the number of entries in *count unless count is null. The array is\n"
        "// constant and lives as long as the library; safe from any thread.\n"
        "KXTAMARIND_API const KxInterfaceIdEntry* GetInterfaceIdCatalogue(std::size_t* count);\n"
        "\n"
        "// The identifier of the interface with this bare name (exact, case-sensitive,\n"
        "// e.g. \"IKXObjectRegistration\"); null when name is null or no interface of\n"
        "// the catalogue has that name. Safe from any thread.\n"
        "KXTAMARIND_API const IID* FindInterfaceId(const char* name);\n"
        "\n"
        "} // namespace KxTamarind\n"
        "\n"
        "// The identifier holders behind __uuidof(KxTamarind::<Name>).\n")
    for name in names:
        out.append("template <>\nKXTAMARIND_API const GUID hold_uuidof<KxTamarind::%s>::__IID;\n"
                   % name)
    return "".join(out)


def make_interfaces_header(names):
    out = [
        "// A declared type for every framework interface: the interfaces whose\n"
        "// operations are declared come from their own headers, the others are empty\n"
        "// interfaces derived from IUnknown, enough to name them, query for them and\n"
        "// hold pointers to them.\n",
        generated_note("the three files it writes"),
        "#pragma once\n\n#include \"KxInterfaceIds.h\"\n\n",
    ]
    out += ["#include \"%s.h\"\n" % name for name in sorted(FULLY_DECLARED)]
    out.append("\nnamespace KxTamarind {\n\n")
    out += ["struct KXTAMARIND_API %s : public IUnknown {};\n" % name for name in names
            if name not in FULLY_DECLARED]
    out.append("\n} // namespace KxTamarind\n")
    return "".join(out)


def make_table_source(names, ids):
    out = [
        "// The identifiers of the framework's interfaces and their catalogue. Every\n"
        "// definition is a plain aggregate initialiser, so the values are in place\n"
        "// before any code of the process runs.\n",
        generated_note("the three files it writes"),
        "#include \"KxInterfaces.h\"\n\n#include <algorithm>\n#include <cstring>\n"
        "#include <iterator>\n\n",
        "// One definition per interface, as generated.\n// clang-format off\n",
    ]
    for name in names:
        out.append("// %s %s\n" % (text_of(ids[name]), name))
        out.append("template <>\nconst GUID hold_uuidof<KxTamarind::%s>::__IID =\n    %s;\n"
                   % (name, initialiser(ids[name])))
    out.append("\nnamespace KxTamarind {\n\n")
    for name in names:
        out.append("const IID IID_%s =\n    %s;\n" % (name, initialiser(ids[name])))
    out.append("\nnamespace {\n\n// Sorted by name: searched by binary search.\n"
               "const KxInterfaceIdEntry kCatalogue[] = {\n")
    out += ["    {\"%s\", &IID_%s},\n" % (name, name) for name in names]
    out.append(
        "};\n"
        "// clang-format on\n"
        "\n"
        "} // namespace\n"
        "\n"
        "const KxInterfaceIdEntry* GetInterfaceIdCatalogue(std::size_t* count) {\n"
        "    if (count != nullptr) {\n"
        "        *count = std::size(kCatalogue);\n"
        "    }\n"
        "    return kCatalogue;\n"
        "}\n"
        "\n"
        "const IID* FindInterfaceId(const char* name) {\n"
        "    if (name == nullptr) {\n"
        "        return nullptr;\n"
        "    }\n"
        "    const KxInterfaceIdEntry* end = std::end(kCatalogue);\n"
        "    const KxInterfaceIdEntry* it = std::lower_bound(\n"
        "        std::begin(kCatalogue), end, name,"
        " [](const KxInterfaceIdEntry& entry, const char* key) {\n"
        "            return std::strcmp(entry.name, key) < 0;\n"
        "        });\n"
        "    if (it == end || std::strcmp(it->name, name) != 0) {\n"
        "        return nullptr;\n"
        "    }\n"
        "    return it->iid;\n"
        "}\n"
        "\n"
        "} // namespace KxTamarind\n")
    return "".join(out)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--output-dir", default=DEFAULT_OUTPUT_DIR,
                        help="directory of the generated files (default: %(default)s)")
    parser.add_argument("--check", action="store_true",
                        help="write nothing; exit 1 if a generated file differs")
    args = parser.parse_args()

    names = list(NAMES)
    check_names(names)
    ids = {name: identifier_of(name) for name in names}
    check_identifiers(names, ids)
    check_full_declarations(args.output_dir)

    files = [
        (HEADER_IDS, make_ids_header(names)),
        (HEADER_INTERFACES, make_interfaces_header(names)),
        (SOURCE_TABLE, make_table_source(names, ids)),
    ]
    stale = []
    for file_name, text in files:
        path = os.path.join(args.output_dir, file_name)
        current = None
        if os.path.isfile(path):
            with open(path, encoding="utf-8") as f:
                current = f.read()
        if args.check:
            if current != text:
                stale.append(file_name)
            continue
        if current != text:
            with open(path, "w", encoding="utf-8") as f:
                f.write(text)
            print("wrote %s" % os.path.relpath(path, REPO))
        else:
            print("unchanged %s" % os.path.relpath(path, REPO))
    if stale:
        fail("out of date: %s (run tools/gen_interface_ids.py)" % ", ".join(stale))
    if args.check:
        print("generated files are up to date")
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except GeneratorError as error:
        print("gen_interface_ids.py: error: %s" % error, file=sys.stderr)
        sys.exit(1)
