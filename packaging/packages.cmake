# The Debian packages: their names, contents and control fields. Read by
# cmake/KxtMakeDeb.cmake, which defines before including this file:
#   KXT_DEB_VERSION   upstream version and Debian revision, e.g. 0.1.0-1
#   KXT_UPSTREAM      upstream version, e.g. 0.1.0
#   KXT_SOVERSION     the libraries' SONAME version, e.g. 0
#   KXT_DEB_ARCH      the packages' Debian architecture, e.g. amd64, i386
#
# Debian names a runtime package after the SONAME of its one shared library
# (libplatcompat.so.0 -> libplatcompat0): the two libraries are two packages,
# so that each can change its SONAME on its own and be installed in both
# versions at once. One development package carries the development files of
# both, since the library's headers include the platform's and the CMake
# package exports both targets together.
#
# Runtime libraries and the development package are "Multi-Arch: same": the
# amd64 and i386 packages install side by side. Their architecture-
# independent files (headers, documentation) are the same bytes on both.
#
# Dependencies on the system libraries are those dpkg-shlibdeps computes for
# the amd64 build (libc6 2.34 for the pthread functions now in libc,
# libstdc++6 12 for GLIBCXX_3.4.30). The i386 build needs the same symbol
# versions and, from the 32-bit libgcc_s, GCC_7.0.0 (__divmoddi4), which
# libgcc-s1 7 brings. Check with: objdump -T <binary> | grep -o '[A-Z]*_[0-9.]*'
# Our own libraries are required at the upstream version, as the shlibs
# files declare.
if(KXT_DEB_ARCH STREQUAL "i386")
  set(_system_depends "libc6 (>= 2.34), libgcc-s1 (>= 7), libstdc++6 (>= 12)")
else()
  set(_system_depends "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 12)")
endif()
set(_platcompat_package libplatcompat${KXT_SOVERSION})
set(_common_package libkxtamarindcommonembedded${KXT_SOVERSION})

# Lintian checks that do not apply to packages outside the Debian archive,
# shipped as overrides in every package, each with its reason.
set(KXT_DEB_LINTIAN_OVERRIDES
  "# Not uploaded to Debian: there is no bug (ITP) for the first entry to close."
  "initial-upload-closes-no-bugs")

set(KXT_DEB_PACKAGES ${_platcompat_package} ${_common_package}
    libkxtamarindcommonembedded-dev kxtool)

set(${_platcompat_package}_COMPONENTS runtime_platcompat)
set(${_platcompat_package}_SECTION libs)
set(${_platcompat_package}_MULTIARCH same)
set(${_platcompat_package}_DEPENDS "${_system_depends}")
set(${_platcompat_package}_SHLIBS "libplatcompat ${KXT_SOVERSION}")
set(${_platcompat_package}_SYNOPSIS "Win32, COM and ATL platform names for KxTamarind firmware")
set(${_platcompat_package}_DESCRIPTION
  "libplatcompat supplies the Win32, COM and ATL names that the KxTamarind"
  "component framework is written against (GUIDs, IUnknown, HRESULT codes,"
  "BSTR strings, events and waits, threads, critical sections, code-page"
  "conversions) on Linux, with the semantics of the Win32 documentation."
  "."
  "This package contains the shared library.")

set(${_common_package}_COMPONENTS runtime_common)
set(${_common_package}_SECTION libs)
set(${_common_package}_MULTIARCH same)
set(${_common_package}_DEPENDS "${_platcompat_package} (>= ${KXT_UPSTREAM}), ${_system_depends}")
set(${_common_package}_SHLIBS "libKxTamarindCommonEmbedded ${KXT_SOVERSION}")
set(${_common_package}_SYNOPSIS "common base library of the KxTamarind component framework")
set(${_common_package}_DESCRIPTION
  "The base of the firmware components of a measuring instrument: the"
  "component lifecycle, object and interface registries with enumerators,"
  "error records and error reporting, a thread pool by apartment model and a"
  "synchronous message queue, a wide string class, Windows-1252 conversions,"
  "path helpers, the firmware info table and the catalogue of interface"
  "identifiers."
  "."
  "This package contains the shared library.")

set(libkxtamarindcommonembedded-dev_COMPONENTS development)
set(libkxtamarindcommonembedded-dev_SECTION libdevel)
set(libkxtamarindcommonembedded-dev_MULTIARCH same)
set(libkxtamarindcommonembedded-dev_DEPENDS
  "${_common_package} (= ${KXT_DEB_VERSION}), ${_platcompat_package} (= ${KXT_DEB_VERSION})")
set(libkxtamarindcommonembedded-dev_SYNOPSIS
  "development files of the KxTamarind common base library")
set(libkxtamarindcommonembedded-dev_DESCRIPTION
  "The headers of the KxTamarind common base library (<KxTamarindCommon.h>)"
  "and of its platform layer (<platcompat.h>), the links to both shared"
  "libraries, the CMake package (find_package(KxTamarindCommonEmbedded)"
  "gives KxTamarind::Common and KxTamarind::PlatCompat) and the pkg-config"
  "files KxTamarindCommonEmbedded and platcompat."
  "."
  "The packages of several architectures (amd64, i386) install side by side.")

set(kxtool_COMPONENTS kxtool)
set(kxtool_SECTION utils)
set(kxtool_MULTIARCH "")
set(kxtool_DEPENDS
  "${_common_package} (>= ${KXT_UPSTREAM}), ${_platcompat_package} (>= ${KXT_UPSTREAM}), ${_system_depends}")
# The error-log reader links expat where the target has it (apps/kxtool).
if(KXTOOL_EXPAT_LINKS)
  string(APPEND kxtool_DEPENDS ", libexpat1 (>= 2.5)")
endif()
set(kxtool_SYNOPSIS "reads result codes, identifiers and paths of KxTamarind logs")
set(kxtool_DESCRIPTION
  "A companion for developers who read the logs of firmware components built"
  "on the KxTamarind common base library: it names result codes, makes and"
  "checks identifiers, looks up the identifiers of the framework's interfaces,"
  "expands the path shortcuts (@DATA, @LOG, ...) below a runtime root and"
  "reads the XML error logs that the components write.")
