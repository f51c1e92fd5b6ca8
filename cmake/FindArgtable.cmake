# argtable3 where the machine has it, else argtable2: the calls used are the same in both. Defines Argtable::Argtable.
include(FindPackageHandleStandardArgs)

foreach(version 3 2)
    find_path(Argtable${version}_INCLUDE_DIR argtable${version}.h)
    find_library(Argtable${version}_LIBRARY argtable${version})
    if(Argtable${version}_INCLUDE_DIR AND Argtable${version}_LIBRARY)
        set(Argtable_INCLUDE_DIR ${Argtable${version}_INCLUDE_DIR})
        set(Argtable_LIBRARY ${Argtable${version}_LIBRARY})
        set(Argtable_VERSION_MAJOR ${version})
        break()
    endif()
endforeach()

find_package_handle_standard_args(Argtable REQUIRED_VARS Argtable_LIBRARY Argtable_INCLUDE_DIR)
if(Argtable_FOUND AND NOT TARGET Argtable::Argtable)
    add_library(Argtable::Argtable UNKNOWN IMPORTED)
    set_target_properties(Argtable::Argtable PROPERTIES
        IMPORTED_LOCATION ${Argtable_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${Argtable_INCLUDE_DIR}
        INTERFACE_COMPILE_DEFINITIONS VELLUM_ARGTABLE=${Argtable_VERSION_MAJOR})
endif()
