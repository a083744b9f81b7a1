# Where installed binaries find the project's libraries: relative to their
# own location, so that an install under any prefix (cmake --install
# --prefix DIR) runs without LD_LIBRARY_PATH.
#   KXT_PROGRAM_INSTALL_RPATH  for programs in bin/: $ORIGIN/../lib[/<triplet>]
#   KXT_LIBRARY_INSTALL_RPATH  for a library that needs its sibling library
# ($ORIGIN is resolved by the dynamic linker; the Debian checker accepts it.)
file(RELATIVE_PATH _kxt_bin_to_lib /x/${CMAKE_INSTALL_BINDIR} /x/${CMAKE_INSTALL_LIBDIR})
set(KXT_PROGRAM_INSTALL_RPATH "$ORIGIN/${_kxt_bin_to_lib}")
set(KXT_LIBRARY_INSTALL_RPATH "$ORIGIN")
