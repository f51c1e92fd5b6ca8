# The INI parser library. Defines Inih::Inih.
include(FindPackageHandleStandardArgs)

find_path(Inih_INCLUDE_DIR ini.h)
find_library(Inih_LIBRARY inih)
find_package_handle_standard_args(Inih REQUIRED_VARS Inih_LIBRARY Inih_INCLUDE_DIR)
if(Inih_FOUND AND NOT TARGET Inih::Inih)
    add_library(Inih::Inih UNKNOWN IMPORTED)
    set_target_properties(Inih::Inih PROPERTIES
        IMPORTED_LOCATION ${Inih_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${Inih_INCLUDE_DIR})
endif()
