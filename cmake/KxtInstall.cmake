# Installation: the two shared libraries with their SONAME links, all public
# headers, a CMake package (find_package(KxTamarindCommonEmbedded CONFIG)
# gives KxTamarind::Common and KxTamarind::PlatCompat), pkg-config files, and
# Debian packages through CPack (runtime and development).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KXT_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/KxTamarindCommonEmbedded)
set(KXT_INSTALL_LIBINCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/KxTamarind)

install(TARGETS platcompat KxTamarindCommonEmbedded
  EXPORT KxTamarindTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${KXT_INSTALL_LIBINCLUDEDIR})

# Platform headers: <platcompat.h> and <platcompat/...>.
install(DIRECTORY platcompat/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)
# Library headers, flat under include/KxTamarind: <KxTamarindCommon.h>.
file(GLOB _kxt_public_headers CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/Base/Common/KxTamarindCommon/Inc/*.h
  ${PROJECT_SOURCE_DIR}/Base/Idl/*.h
  ${PROJECT_SOURCE_DIR}/Base/Interfaces/_Src/*.h
  ${PROJECT_SOURCE_DIR}/Base/Common/Src/*.h)
install(FILES ${_kxt_public_headers} DESTINATION ${KXT_INSTALL_LIBINCLUDEDIR}
  COMPONENT development)

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

set(CPACK_PACKAGE_NAME kxtamarind-common)
set(CPACK_PACKAGE_VENDOR "KxTamarind")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Common base library of the KxTamarind component framework")
set(CPACK_PACKAGE_CONTACT "KxTamarind developers <dev@kxtamarind.local>")
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkxtamarind-common0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6, libstdc++6")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkxtamarind-common-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkxtamarind-common0 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENTS_ALL runtime development)
include(CPack)
