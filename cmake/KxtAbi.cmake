# The binary interface of the two libraries against the committed baseline
# abi/<arch>/<library>.abi (libabigail: Debian package abigail-tools).
#
#   cmake --build <build> --target abi-check     compare the build with the baseline
#   cmake --build <build> --target abi-baseline  write the baseline from the build
#   tools/abi-refresh                            both baselines from the dev and m32 presets
#
# The baselines are written from the dev (x86_64) and m32 (i386) builds:
# RelWithDebInfo, so the libraries carry the DWARF that abidw reads, with the
# compiler and flags that CI uses. abi-check fails on every change to what
# the baseline holds (a removed or changed function or variable, a type whose
# size, layout or virtual table changed: modules built against the baseline
# would break); functions and variables that were only added are listed and
# pass. An intended
# incompatible change raises the SOVERSION (the project's major version) and
# is committed together with the refreshed baselines.
find_program(KXT_ABIDW abidw)
find_program(KXT_ABIDIFF abidiff)
if(NOT KXT_ABIDW OR NOT KXT_ABIDIFF)
  message(STATUS "abidw/abidiff not found (Debian package abigail-tools): no abi-check target")
  return()
endif()

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(KXT_ABI_ARCH i386)
else()
  set(KXT_ABI_ARCH ${CMAKE_SYSTEM_PROCESSOR})
endif()
set(KXT_ABI_DIR ${PROJECT_SOURCE_DIR}/abi/${KXT_ABI_ARCH})

set(_kxt_abi_args
  -DABIDW=${KXT_ABIDW} -DABIDIFF=${KXT_ABIDIFF} -DBASELINE_DIR=${KXT_ABI_DIR}
  "-DLIBRARIES=$<TARGET_FILE:platcompat>,$<TARGET_FILE:KxTamarindCommonEmbedded>")
add_custom_target(abi-check
  COMMAND ${CMAKE_COMMAND} ${_kxt_abi_args} -DMODE=check -P ${CMAKE_CURRENT_LIST_DIR}/KxtAbiCheck.cmake
  COMMENT "Binary interface against abi/${KXT_ABI_ARCH}"
  VERBATIM USES_TERMINAL)
add_custom_target(abi-baseline
  COMMAND ${CMAKE_COMMAND} ${_kxt_abi_args} -DMODE=baseline -P ${CMAKE_CURRENT_LIST_DIR}/KxtAbiCheck.cmake
  COMMENT "Writing the baseline abi/${KXT_ABI_ARCH}"
  VERBATIM USES_TERMINAL)
add_dependencies(abi-check platcompat KxTamarindCommonEmbedded)
add_dependencies(abi-baseline platcompat KxTamarindCommonEmbedded)
