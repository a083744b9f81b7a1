# kxt_export_public_only(<target>): a shared library exports only the names
# its headers mark (PLATCOMPAT_API, KXTAMARIND_API). Everything else is
# hidden at compile time; the linker script keeps standard-library template
# instances local as well (see KxtLocalStd.map for why the compiler alone
# does not).
#
# Interposition stays possible: no -Bsymbolic and no
# -fno-semantic-interposition, so calls of exported functions inside the
# library (CObjectDataReferenceBase::NotifyError) still go through the
# dynamic symbol table, where a module loaded ahead of the library can
# replace them.
set(KXT_LOCAL_STD_MAP ${CMAKE_CURRENT_LIST_DIR}/KxtLocalStd.map)

function(kxt_export_public_only target)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_link_options(${target} PRIVATE "LINKER:--version-script=${KXT_LOCAL_STD_MAP}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${KXT_LOCAL_STD_MAP})
endfunction()
