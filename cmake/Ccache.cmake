# The compiler is started by ccache where the machine has it. VELLUM_CCACHE=OFF keeps it out of a build that is timed.
#
# ccache declines a compilation with a precompiled header unless it is told that the header's macros and the clock do not
# matter: no source asks for the time of its compilation, and the header is made with the options of its users.
find_program(CCACHE_PROGRAM ccache)
mark_as_advanced(CCACHE_PROGRAM)
if(VELLUM_CCACHE AND CCACHE_PROGRAM)
    foreach(language C CXX)
        set(CMAKE_${language}_COMPILER_LAUNCHER
            env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
    endforeach()
    # What the two compilers need so that ccache knows the header, and finds the same one again.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options(-fpch-preprocess)
    else()
        add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
    endif()
endif()
