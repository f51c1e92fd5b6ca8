# The loader of TPM transmission interfaces of tpm2-tss. Defines Tss2::TctiLdr.
include(FindPackageHandleStandardArgs)

find_path(Tss2_INCLUDE_DIR tss2/tss2_tctildr.h)
find_library(Tss2_TCTILDR_LIBRARY tss2-tctildr)
find_package_handle_standard_args(Tss2 REQUIRED_VARS Tss2_TCTILDR_LIBRARY Tss2_INCLUDE_DIR)
if(Tss2_FOUND AND NOT TARGET Tss2::TctiLdr)
    add_library(Tss2::TctiLdr UNKNOWN IMPORTED)
    set_target_properties(Tss2::TctiLdr PROPERTIES
        IMPORTED_LOCATION ${Tss2_TCTILDR_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${Tss2_INCLUDE_DIR})
endif()
