# Checks the dynamic symbol table of one of our shared libraries:
# - no symbol of the standard library (namespaces std and __gnu_cxx: template
#   instances, their typeinfo and vtables, local statics);
# - no symbol of the libraries' private namespaces;
# - every name of REQUIRED is there (names as `nm -C` prints them, prefixes
#   up to the parameter list are enough).
# Prints the number of exported symbols.
#
#   cmake -DNM=<nm> -DLIBRARY=<file> -DREQUIRED=<a;b;...> -P CheckExports.cmake
execute_process(COMMAND ${NM} -D --defined-only -C ${LIBRARY}
  OUTPUT_VARIABLE table RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}: ${rc}")
endif()
string(REPLACE ";" "\\;" table "${table}")
string(REPLACE "\n" ";" lines "${table}")

set(count 0)
set(names "")
set(offending "")
foreach(line IN LISTS lines)
  # "<address> <type> <name>"
  if(NOT line MATCHES "^[0-9a-f]+ [A-Za-z] (.*)$")
    continue()
  endif()
  set(name "${CMAKE_MATCH_1}")
  math(EXPR count "${count} + 1")
  list(APPEND names "${name}")
  # The entity a symbol belongs to: after the prefix of special symbols and,
  # for template functions, the return type.
  if(name MATCHES "^((typeinfo name|typeinfo|vtable|VTT|guard variable|construction vtable) for |(non-)?virtual thunk to )?([A-Za-z_][A-Za-z0-9_ ]*[*&]* )?(std|__gnu_cxx)::")
    list(APPEND offending "standard library: ${name}")
  elseif(name MATCHES "platcompat_detail::|KxTamarind::Detail::|\\(anonymous namespace\\)")
    list(APPEND offending "private: ${name}")
  endif()
endforeach()

foreach(required IN LISTS REQUIRED)
  set(found FALSE)
  foreach(name IN LISTS names)
    string(FIND "${name}" "${required}" at)
    if(at EQUAL 0)
      set(found TRUE)
      break()
    endif()
  endforeach()
  if(NOT found)
    list(APPEND offending "missing: ${required}")
  endif()
endforeach()

get_filename_component(library_name ${LIBRARY} NAME)
message(STATUS "${library_name}: ${count} exported symbols")
if(offending)
  list(JOIN offending "\n  " text)
  message(FATAL_ERROR "${library_name} exports what it must not, or lacks a public name:\n  ${text}")
endif()
