# The toolchain of the Windows programs: Debian's cross compiler of the posix thread model, everything linked
# statically, so that a program needs no library but the system's own. VELLUM_WINDOWS_DEPS in the environment is the
# prefix that scripts/windows-deps prints.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(mingw_host x86_64-w64-mingw32)

set(CMAKE_C_COMPILER ${mingw_host}-gcc-posix)
set(CMAKE_CXX_COMPILER ${mingw_host}-g++-posix)
set(CMAKE_RC_COMPILER ${mingw_host}-windres)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)

# Programs that the build or the tests start.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/under-wine)

set(CMAKE_FIND_ROOT_PATH /usr/${mingw_host} $ENV{VELLUM_WINDOWS_DEPS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
