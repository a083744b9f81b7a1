# Installation: the two shared libraries with their SONAME links, all public
# headers with the generated version header, a CMake package
# (find_package(KxTamarindCommonEmbedded CONFIG) gives KxTamarind::Common
# and KxTamarind::PlatCompat), pkg-config files, and the Debian packages
# (KxtDebian.cmake).
#
# Install components, one per Debian package:
#   runtime_platcompat  libplatcompat.so.N*
#   runtime_common      libKxTamarindCommonEmbedded.so.N*
#   development         headers, unversioned .so links, CMake and pkg-config files
#   kxtool              the kxtool program and its manual page (apps/)
# `cmake --install <build>` installs them all.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KXT_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/KxTamarindCommonEmbedded)
set(KXT_INSTALL_LIBINCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/KxTamarind)

# The include directories of the exported targets come from their
# INSTALL_INTERFACE entries alone (no INCLUDES DESTINATION: it would add them
# a second time).
install(TARGETS platcompat EXPORT KxTamarindTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime_platcompat NAMELINK_COMPONENT development)
install(TARGETS KxTamarindCommonEmbedded EXPORT KxTamarindTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime_common NAMELINK_COMPONENT development)

# Platform headers: <platcompat.h> and <platcompat/...>.
install(DIRECTORY platcompat/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)
# Library headers, flat under include/KxTamarind: <KxTamarindCommon.h>.
file(GLOB _kxt_public_headers CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/Base/Common/KxTamarindCommon/Inc/*.h
  ${PROJECT_SOURCE_DIR}/Base/Idl/*.h
  ${PROJECT_SOURCE_DIR}/Base/Interfaces/_Src/*.h
  ${PROJECT_SOURCE_DIR}/Base/Common/Src/*.h)
install(FILES ${_kxt_public_headers} ${KXT_GENERATED_INCLUDE_DIR}/KxTamarindVersion.h
  DESTINATION ${KXT_INSTALL_LIBINCLUDEDIR} COMPONENT development)

install(EXPORT KxTamarindTargets NAMESPACE KxTamarind:: DESTINATION ${KXT_INSTALL_CMAKEDIR}
  FILE KxTamarindCommonEmbeddedTargets.cmake COMPONENT development)
configure_package_config_file(cmake/KxTamarindCommonEmbeddedConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KxTamarindCommonEmbeddedConfig.cmake
  INSTALL_DESTINATION ${KXT_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KxTamarindCommonEmbeddedConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KxTamarindCommonEmbeddedConfig.cmake
              ${PROJECT_BINARY_DIR}/KxTamarindCommonEmbeddedConfigVersion.cmake
  DESTINATION ${KXT_INSTALL_CMAKEDIR} COMPONENT development)

# The .pc files locate the prefix from their own folder, so an install with
# `cmake --install --prefix` anywhere stays usable.
file(RELATIVE_PATH KXT_PC_TO_PREFIX /x/${CMAKE_INSTALL_LIBDIR}/pkgconfig /x)
foreach(_pc platcompat KxTamarindCommonEmbedded)
  configure_file(cmake/${_pc}.pc.in ${PROJECT_BINARY_DIR}/${_pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${_pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endforeach()

include(cmake/KxtDebian.cmake)
