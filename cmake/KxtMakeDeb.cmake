# Builds the Debian packages of packaging/packages.cmake from an install of
# the build tree (run by the `deb` target of KxtDebian.cmake):
#
#   cmake -DBINARY_DIR=<build> -DSOURCE_DIR=<source> -DUPSTREAM=<x.y.z>
#         -DREVISION=<n> -DSOVERSION=<n> -DARCH=<debian arch>
#         -DOUTPUT_DIR=<dir> -P KxtMakeDeb.cmake
#
# Each package is staged from its install components (stripped), gets its
# copyright and changelog.Debian.gz in /usr/share/doc/<package>/, its
# lintian overrides, compressed manual pages, Debian's file modes, md5sums,
# a control file and, for a runtime library, its shlibs and the ldconfig
# trigger; dpkg-deb builds it with root as owner. File times are those of the changelog entry, so the
# same sources give the same packages.
cmake_minimum_required(VERSION 3.25)

foreach(_var BINARY_DIR SOURCE_DIR UPSTREAM REVISION SOVERSION ARCH OUTPUT_DIR)
  if("${${_var}}" STREQUAL "")
    message(FATAL_ERROR "KxtMakeDeb: ${_var} is not set")
  endif()
endforeach()
find_program(DPKG_DEB dpkg-deb)
find_program(GZIP gzip)
if(NOT DPKG_DEB OR NOT GZIP)
  message(FATAL_ERROR "KxtMakeDeb: needs dpkg-deb and gzip (Debian packages dpkg and gzip)")
endif()

set(KXT_UPSTREAM ${UPSTREAM})
set(KXT_SOVERSION ${SOVERSION})
set(KXT_DEB_VERSION ${UPSTREAM}-${REVISION})
set(KXT_DEB_ARCH ${ARCH})
include(${SOURCE_DIR}/packaging/packages.cmake)
set(_maintainer "KxTamarind developers <developers@kxtamarind.example>")
set(_source kxtamarind-common)

# The changelog's latest entry must be the version being packaged; its date
# becomes the time of every file.
set(_changelog ${SOURCE_DIR}/packaging/changelog)
file(STRINGS ${_changelog} _first LIMIT_COUNT 1)
if(NOT _first MATCHES "^${_source} \\(([^)]+)\\) ")
  message(FATAL_ERROR "KxtMakeDeb: ${_changelog} does not start with a ${_source} entry")
endif()
if(NOT CMAKE_MATCH_1 STREQUAL KXT_DEB_VERSION)
  message(FATAL_ERROR "KxtMakeDeb: the latest entry of ${_changelog} is ${CMAKE_MATCH_1}; "
    "add an entry for ${KXT_DEB_VERSION}")
endif()
file(STRINGS ${_changelog} _trailers REGEX "^ -- ")
list(GET _trailers 0 _trailer)
string(REGEX REPLACE "^ -- .*>  " "" _date "${_trailer}")
execute_process(COMMAND date -u -d "${_date}" +%s
  OUTPUT_VARIABLE _epoch OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE _rc)
if(_rc OR NOT _epoch MATCHES "^[0-9]+$")
  message(FATAL_ERROR "KxtMakeDeb: cannot read the date of the changelog entry: '${_date}'")
endif()

function(_kxt_run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc)
  if(rc)
    list(JOIN ARGN " " text)
    message(FATAL_ERROR "KxtMakeDeb: failed (${rc}): ${text}")
  endif()
endfunction()

# gzip -9n: the strongest compression, without name and time stamp.
function(_kxt_gzip source target)
  execute_process(COMMAND ${GZIP} -9nc ${source} OUTPUT_FILE ${target} RESULT_VARIABLE rc)
  if(rc)
    message(FATAL_ERROR "KxtMakeDeb: gzip failed on ${source}")
  endif()
endfunction()

file(MAKE_DIRECTORY ${OUTPUT_DIR})
file(GLOB _old ${OUTPUT_DIR}/*.deb)
if(_old)
  file(REMOVE ${_old})
endif()
set(_stage ${OUTPUT_DIR}/stage)
file(REMOVE_RECURSE ${_stage})

foreach(pkg IN LISTS KXT_DEB_PACKAGES)
  set(root ${_stage}/${pkg})
  foreach(component IN LISTS ${pkg}_COMPONENTS)
    _kxt_run(${CMAKE_COMMAND} -E env DESTDIR=${root}
             ${CMAKE_COMMAND} --install ${BINARY_DIR} --component ${component} --strip)
  endforeach()
  if(NOT EXISTS ${root}/usr)
    message(FATAL_ERROR "KxtMakeDeb: ${pkg} installs nothing below /usr "
      "(configure with -DCMAKE_INSTALL_PREFIX=/usr, as the package presets do)")
  endif()

  set(doc ${root}/usr/share/doc/${pkg})
  file(MAKE_DIRECTORY ${doc})
  file(COPY_FILE ${SOURCE_DIR}/packaging/copyright ${doc}/copyright)
  _kxt_gzip(${_changelog} ${doc}/changelog.Debian.gz)
  if(KXT_DEB_LINTIAN_OVERRIDES)
    set(_overrides "")
    foreach(line IN LISTS KXT_DEB_LINTIAN_OVERRIDES)
      if(line MATCHES "^#")
        string(APPEND _overrides "${line}\n")
      else()
        string(APPEND _overrides "${pkg}: ${line}\n")
      endif()
    endforeach()
    file(WRITE ${root}/usr/share/lintian/overrides/${pkg} "${_overrides}")
  endif()
  file(GLOB_RECURSE _manpages ${root}/usr/share/man/*)
  foreach(page IN LISTS _manpages)
    if(NOT page MATCHES "\\.gz$")
      _kxt_gzip(${page} ${page}.gz)
      file(REMOVE ${page})
    endif()
  endforeach()

  # Debian's modes: directories 0755, files 0644 (shared libraries too),
  # programs 0755. Symbolic links keep theirs (a link of the development
  # package points into the runtime package, so it dangles here).
  file(GLOB_RECURSE _entries LIST_DIRECTORIES true ${root}/usr/*)
  foreach(entry IN LISTS _entries)
    if(IS_SYMLINK ${entry})
      continue()
    elseif(IS_DIRECTORY ${entry} OR entry MATCHES "^${root}/usr/bin/[^/]+$")
      file(CHMOD ${entry} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
           GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    else()
      file(CHMOD ${entry} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    endif()
  endforeach()

  # md5sums of the regular files, and the installed size in KiB.
  file(GLOB_RECURSE _files LIST_DIRECTORIES false RELATIVE ${root} ${root}/usr/*)
  list(SORT _files)
  set(_md5sums "")
  set(_size_kib 0)
  foreach(file IN LISTS _files)
    if(IS_SYMLINK ${root}/${file})
      math(EXPR _size_kib "${_size_kib} + 1")
      continue()
    endif()
    file(MD5 ${root}/${file} _md5)
    string(APPEND _md5sums "${_md5}  ${file}\n")
    file(SIZE ${root}/${file} _bytes)
    math(EXPR _size_kib "${_size_kib} + (${_bytes} + 1023) / 1024")
  endforeach()

  set(control "Package: ${pkg}\n")
  string(APPEND control "Source: ${_source}\n")
  string(APPEND control "Version: ${KXT_DEB_VERSION}\n")
  string(APPEND control "Architecture: ${ARCH}\n")
  if(${pkg}_MULTIARCH)
    string(APPEND control "Multi-Arch: ${${pkg}_MULTIARCH}\n")
  endif()
  string(APPEND control "Maintainer: ${_maintainer}\n")
  string(APPEND control "Installed-Size: ${_size_kib}\n")
  string(APPEND control "Depends: ${${pkg}_DEPENDS}\n")
  string(APPEND control "Section: ${${pkg}_SECTION}\n")
  string(APPEND control "Priority: optional\n")
  string(APPEND control "Description: ${${pkg}_SYNOPSIS}\n")
  foreach(line IN LISTS ${pkg}_DESCRIPTION)
    string(APPEND control " ${line}\n")
  endforeach()

  file(MAKE_DIRECTORY ${root}/DEBIAN)
  file(WRITE ${root}/DEBIAN/control "${control}")
  file(WRITE ${root}/DEBIAN/md5sums "${_md5sums}")
  set(_control_files ${root}/DEBIAN/control ${root}/DEBIAN/md5sums)
  if(${pkg}_SHLIBS)
    # Packages built against the library depend on this one at least at the
    # upstream version they were built with.
    file(WRITE ${root}/DEBIAN/shlibs "${${pkg}_SHLIBS} ${pkg} (>= ${KXT_UPSTREAM})\n")
    file(WRITE ${root}/DEBIAN/triggers "activate-noawait ldconfig\n")
    list(APPEND _control_files ${root}/DEBIAN/shlibs ${root}/DEBIAN/triggers)
  endif()
  file(CHMOD ${_control_files} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  file(CHMOD ${root}/DEBIAN PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
       GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

  set(deb ${OUTPUT_DIR}/${pkg}_${KXT_DEB_VERSION}_${ARCH}.deb)
  _kxt_run(${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=${_epoch}
           ${DPKG_DEB} --root-owner-group -Zxz --build ${root} ${deb})
endforeach()
