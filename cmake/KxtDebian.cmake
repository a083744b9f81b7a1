# The `deb` target: builds the Debian packages described in
# packaging/packages.cmake into <build>/deb (cmake/KxtMakeDeb.cmake does the
# work). Not part of the default build; the package presets build it:
#
#   cmake --workflow --preset package       amd64
#   cmake --workflow --preset package-m32   i386
#
# The build must be configured for the system prefix /usr (the libraries then
# go to the multiarch directory lib/<triplet>) and should be a Release build.
# KXT_DEB_ARCHITECTURE is the packages' Debian architecture; it defaults to
# the machine's (dpkg --print-architecture) and is set for cross builds such
# as -m32.
if(NOT PROJECT_IS_TOP_LEVEL)
  return() # packages are made from this project's own build only
endif()
set(KXT_DEB_REVISION 1 CACHE STRING "Debian revision of the packages (the -N of 0.1.0-N)")
set(KXT_DEB_ARCHITECTURE "" CACHE STRING "Debian architecture of the packages (default: the machine's)")
set(_kxt_deb_arch "${KXT_DEB_ARCHITECTURE}")
if(_kxt_deb_arch STREQUAL "")
  find_program(KXT_DPKG dpkg)
  if(KXT_DPKG)
    execute_process(COMMAND ${KXT_DPKG} --print-architecture
      OUTPUT_VARIABLE _kxt_deb_arch OUTPUT_STRIP_TRAILING_WHITESPACE)
  endif()
endif()

if(NOT _kxt_deb_arch STREQUAL "")
  add_custom_target(deb
    COMMAND ${CMAKE_COMMAND}
      -DBINARY_DIR=${PROJECT_BINARY_DIR} -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
      -DUPSTREAM=${PROJECT_VERSION} -DREVISION=${KXT_DEB_REVISION}
      -DSOVERSION=${PROJECT_VERSION_MAJOR} -DARCH=${_kxt_deb_arch}
      -DOUTPUT_DIR=${PROJECT_BINARY_DIR}/deb
      -P ${PROJECT_SOURCE_DIR}/cmake/KxtMakeDeb.cmake
    COMMENT "Debian packages (${_kxt_deb_arch}) in ${PROJECT_BINARY_DIR}/deb"
    VERBATIM USES_TERMINAL)
  add_dependencies(deb platcompat KxTamarindCommonEmbedded kxtool)
endif()
