# The reference documentation of the public headers (doxygen, Debian package
# doxygen), not part of the default build:
#
#   cmake --build <build> --target docs     -> <build>/docs/html/index.html
#
# An undocumented public class fails the target (see
# docs/reference/RunDoxygen.cmake).
find_program(KXT_DOXYGEN doxygen)
find_package(Python3 COMPONENTS Interpreter QUIET)
if(NOT KXT_DOXYGEN OR NOT Python3_Interpreter_FOUND)
  message(STATUS "doxygen or python3 not found: no docs target")
  return()
endif()

set(KXT_DOCS_OUTPUT_DIR ${PROJECT_BINARY_DIR}/docs)
set(KXT_DOCS_INPUT
  "${PROJECT_SOURCE_DIR}/docs/reference/mainpage.md \
${PROJECT_SOURCE_DIR}/platcompat/include \
${PROJECT_SOURCE_DIR}/Base/Common/KxTamarindCommon/Inc \
${PROJECT_SOURCE_DIR}/Base/Common/Src \
${PROJECT_SOURCE_DIR}/Base/Idl \
${PROJECT_SOURCE_DIR}/Base/Interfaces/_Src \
${KXT_GENERATED_INCLUDE_DIR}")
configure_file(${PROJECT_SOURCE_DIR}/docs/reference/Doxyfile.in ${KXT_DOCS_OUTPUT_DIR}/Doxyfile @ONLY)
add_custom_target(docs
  COMMAND ${CMAKE_COMMAND} -DDOXYGEN=${KXT_DOXYGEN} -DDOXYFILE=${KXT_DOCS_OUTPUT_DIR}/Doxyfile
          -DLOG=${KXT_DOCS_OUTPUT_DIR}/warnings.log
          -P ${PROJECT_SOURCE_DIR}/docs/reference/RunDoxygen.cmake
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  COMMENT "Reference documentation in ${KXT_DOCS_OUTPUT_DIR}/html"
  VERBATIM USES_TERMINAL)
