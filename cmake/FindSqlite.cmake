# The database library. Defines Sqlite::Sqlite. Where the programs need nothing installed it is linked into them.
include(FindPackageHandleStandardArgs)

find_path(Sqlite_INCLUDE_DIR sqlite3.h)
if(VELLUM_STATIC AND NOT VELLUM_SANITIZE)
    find_library(Sqlite_LIBRARY NAMES libsqlite3.a sqlite3)
else()
    find_library(Sqlite_LIBRARY sqlite3)
endif()
find_package_handle_standard_args(Sqlite REQUIRED_VARS Sqlite_LIBRARY Sqlite_INCLUDE_DIR)
if(Sqlite_FOUND AND NOT TARGET Sqlite::Sqlite)
    find_package(Threads REQUIRED)
    set(sqlite_needs Threads::Threads ${CMAKE_DL_LIBS})
    if(NOT WIN32)
        list(APPEND sqlite_needs m)
    endif()
    add_library(Sqlite::Sqlite UNKNOWN IMPORTED)
    set_target_properties(Sqlite::Sqlite PROPERTIES
        IMPORTED_LOCATION ${Sqlite_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${Sqlite_INCLUDE_DIR}
        INTERFACE_LINK_LIBRARIES "${sqlite_needs}")
endif()
