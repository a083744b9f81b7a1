# One list of warning flags for the libraries, a relaxed one for tests.
add_library(kxt_warnings INTERFACE)
target_compile_options(kxt_warnings INTERFACE -Wall -Wextra -Wpedantic)
if(KXT_WERROR)
  target_compile_options(kxt_warnings INTERFACE -Werror)
endif()

add_library(kxt_test_warnings INTERFACE)
target_compile_options(kxt_test_warnings INTERFACE -Wall -Wextra)
if(KXT_WERROR)
  target_compile_options(kxt_test_warnings INTERFACE -Werror)
endif()
