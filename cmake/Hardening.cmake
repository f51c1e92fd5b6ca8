# What makes a fault of memory in the programs hard to use, added to vellum_options.

# In every build: what ends a program in the field must end a fuzzed one too.
target_compile_definitions(vellum_options INTERFACE _GLIBCXX_ASSERTIONS)

# The sanitizers bring their own checks, and a debug build has no optimiser, which fortified calls need.
if(NOT VELLUM_SANITIZE)
    set(optimised $<NOT:$<OR:$<CONFIG:Debug>,$<BOOL:$<TARGET_PROPERTY:VELLUM_UNOPTIMISED>>>>)
    target_compile_options(vellum_options INTERFACE -fstack-protector-strong
        "$<${optimised}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    if(WIN32)
        # The data execution prevention and address space layout randomisation of that system; and the compiler's own
        # library of the checks above, which the system lacks.
        target_link_options(vellum_options INTERFACE
            -fstack-protector-strong -Wl,--nxcompat,--dynamicbase,--high-entropy-va)
        # The same sources make the same program.
        target_link_options(vellum_options INTERFACE -Wl,--no-insert-timestamp)
    else()
        target_compile_options(vellum_options INTERFACE -fPIE -fstack-clash-protection)
        target_link_options(vellum_options INTERFACE -pie -Wl,-z,relro,-z,now,-z,noexecstack)
        if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
            # Shadow stack and indirect branch tracking. The linker marks a program for them only when every library in
            # it, and the start code of the C library, is marked too.
            target_compile_options(vellum_options INTERFACE -fcf-protection=full)
        endif()
    endif()
endif()
