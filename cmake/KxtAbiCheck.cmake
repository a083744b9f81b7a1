# Writes (MODE=baseline) or checks (MODE=check) the binary-interface baseline
# of each library of LIBRARIES (comma-separated) in BASELINE_DIR, named after
# the library's file name without version (libplatcompat.so.0.1.0 ->
# libplatcompat.abi).
# Run by the abi-check and abi-baseline targets of KxtAbi.cmake.
#
# The baseline leaves out what depends on where the build ran (paths and
# source locations), so that it only changes when the interface does.
foreach(_var ABIDW ABIDIFF BASELINE_DIR LIBRARIES MODE)
  if("${${_var}}" STREQUAL "")
    message(FATAL_ERROR "KxtAbiCheck: ${_var} is not set")
  endif()
endforeach()

string(REPLACE "," ";" LIBRARIES "${LIBRARIES}")
set(_abidw_options --no-corpus-path --no-comp-dir-path --no-show-locs --type-id-style hash
    --drop-undefined-syms)

set(_failed "")
foreach(library IN LISTS LIBRARIES)
  get_filename_component(_name ${library} NAME)
  string(REGEX REPLACE "\\.so(\\..*)?$" "" _name "${_name}")
  set(_baseline ${BASELINE_DIR}/${_name}.abi)

  if(MODE STREQUAL "baseline")
    file(MAKE_DIRECTORY ${BASELINE_DIR})
    execute_process(COMMAND ${ABIDW} ${_abidw_options} --out-file ${_baseline} ${library}
      RESULT_VARIABLE _rc)
    if(_rc)
      message(FATAL_ERROR "abidw failed on ${library}: ${_rc}")
    endif()
    message(STATUS "wrote ${_baseline}")
    continue()
  endif()

  if(NOT EXISTS ${_baseline})
    message(FATAL_ERROR "no baseline ${_baseline}: write it with the abi-baseline target "
      "(or tools/abi-refresh) and commit it")
  endif()
  # abidiff's status is a bit set: 1 error, 2 usage error, 4 the interface
  # changed, 8 a symbol went away. Compared without the symbols that were
  # added, any change is one that breaks modules built against the baseline
  # (a removed or changed function or variable, a type whose size, layout or
  # virtual table changed); added functions and variables alone keep it.
  execute_process(COMMAND ${ABIDIFF} --no-show-locs --no-added-syms ${_baseline} ${library}
    RESULT_VARIABLE _rc OUTPUT_VARIABLE _report ERROR_VARIABLE _report)
  if(NOT _rc MATCHES "^[0-9]+$")
    message(FATAL_ERROR "abidiff did not run on ${library}: ${_rc}")
  endif()
  math(EXPR _error "${_rc} & 3")
  math(EXPR _changed "${_rc} & 12")
  if(_error)
    message(FATAL_ERROR "abidiff failed on ${library} (status ${_rc}):\n${_report}")
  elseif(_changed)
    message("${_name}: INCOMPATIBLE change of the binary interface:\n${_report}")
    list(APPEND _failed ${_name})
    continue()
  endif()
  execute_process(COMMAND ${ABIDIFF} --no-show-locs ${_baseline} ${library}
    RESULT_VARIABLE _rc OUTPUT_VARIABLE _report ERROR_VARIABLE _report)
  math(EXPR _changed "${_rc} & 4")
  if(_changed)
    message("${_name}: compatible additions to the binary interface (refresh the baseline "
      "when releasing):\n${_report}")
  else()
    message(STATUS "${_name}: binary interface unchanged")
  endif()
endforeach()

if(_failed)
  message(FATAL_ERROR "Incompatible change of ${_failed}. If it is intended, raise the "
    "SOVERSION (the project's major version) and refresh the baselines with tools/abi-refresh.")
endif()
