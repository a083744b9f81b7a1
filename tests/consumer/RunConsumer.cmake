# Configures, builds and runs the consumer project; fails if our tests were built.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${PROJECT_DIR} -B ${WORK_DIR} -G ${GENERATOR}
          -DKXT_SOURCE_DIR=${SOURCE_DIR} -DCMAKE_BUILD_TYPE=Release
  RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer configure failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR} -j2 RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer build failed: ${rc}")
endif()
execute_process(COMMAND ${WORK_DIR}/consumer RESULT_VARIABLE rc OUTPUT_VARIABLE out)
if(rc OR NOT out MATCHES "consumer ok")
  message(FATAL_ERROR "consumer run failed: ${rc} ${out}")
endif()
file(GLOB_RECURSE built_tests ${WORK_DIR}/*_tests)
if(built_tests)
  message(FATAL_ERROR "the consumer build built our tests: ${built_tests}")
endif()
message(STATUS "consumer ok")
