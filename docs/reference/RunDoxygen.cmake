# Runs doxygen and reads its warning log: a public class, struct or union
# without documentation, or an error in a comment, fails; undocumented
# members are counted and listed.
#
#   cmake -DDOXYGEN=<doxygen> -DDOXYFILE=<Doxyfile> -DLOG=<warning log> -P RunDoxygen.cmake
file(REMOVE ${LOG})
execute_process(COMMAND ${DOXYGEN} ${DOXYFILE} RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "doxygen failed: ${rc}")
endif()
if(NOT EXISTS ${LOG})
  message(STATUS "doxygen: no warnings")
  return()
endif()
file(STRINGS ${LOG} lines)
set(fatal "")
set(members 0)
foreach(line IN LISTS lines)
  if(line MATCHES "warning: Compound .* is not documented" OR line MATCHES ": error: ")
    list(APPEND fatal "${line}")
  elseif(line MATCHES "warning: Member .* is not documented")
    math(EXPR members "${members} + 1")
  endif()
endforeach()
message(STATUS "doxygen: ${members} undocumented members (see ${LOG})")
if(fatal)
  list(JOIN fatal "\n" text)
  message(FATAL_ERROR "undocumented public classes or broken comments:\n${text}")
endif()
