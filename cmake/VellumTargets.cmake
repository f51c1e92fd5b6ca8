# What every target of the project is built with, and the two kinds of target it has.

add_library(vellum_options INTERFACE)
target_compile_features(vellum_options INTERFACE cxx_std_20)
target_compile_options(vellum_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Werror=unused-result)
if(VELLUM_WERROR)
    target_compile_options(vellum_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND (VELLUM_PCH OR CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13))
    # False alarms of this compiler: on every "literal" + std::string, and on vectors that grow. Once the strings are
    # precompiled they come in later versions too, and under another name; ./check --analyse compiles without that.
    target_compile_options(vellum_options INTERFACE -Wno-restrict -Wno-stringop-overflow
        $<$<BOOL:${VELLUM_PCH}>:-Wno-array-bounds>)
endif()
target_include_directories(vellum_options INTERFACE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR})
if(VELLUM_SANITIZE)
    target_compile_options(vellum_options INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(vellum_options INTERFACE -fsanitize=address,undefined)
    find_program(VELLUM_LLD ld.lld)
    mark_as_advanced(VELLUM_LLD)
    if(VELLUM_LLD)
        target_link_options(vellum_options INTERFACE -fuse-ld=lld)
    endif()
endif()
if(VELLUM_FUZZ)
    # Every room tells the fuzzer which of its branches an input takes.
    target_compile_options(vellum_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VELLUM_COVERAGE)
    target_compile_options(vellum_options INTERFACE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(vellum_options INTERFACE -fprofile-instr-generate)
endif()

# vellum_precompile(TARGET GROUP [LIBRARIES ...] [HEADERS ...]): gives the target the standard headers that most sources
# include and these ones, which the libraries bring; they are compiled once for all targets of the same group.
set(vellum_standard_headers
    <algorithm> <array> <charconv> <cstdint> <cstdio> <cstring> <filesystem> <functional> <map> <memory> <optional> <span>
    <string> <string_view> <system_error> <utility> <vector>)
function(vellum_precompile target group)
    if(NOT VELLUM_PCH)
        return()
    endif()
    cmake_parse_arguments(PRECOMPILE "" "" "LIBRARIES;HEADERS" ${ARGN})
    set(owner vellum_precompiled_${group})
    if(NOT TARGET ${owner})
        file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/${owner}.cpp CONTENT "")
        add_library(${owner} OBJECT ${CMAKE_BINARY_DIR}/${owner}.cpp)
        target_link_libraries(${owner} PRIVATE vellum_options ${PRECOMPILE_LIBRARIES})
        target_precompile_headers(${owner} PRIVATE ${vellum_standard_headers} ${PRECOMPILE_HEADERS})
        get_target_property(unoptimised ${target} VELLUM_UNOPTIMISED)
        if(unoptimised)
            vellum_unoptimised(${owner})
        endif()
    endif()
    target_precompile_headers(${target} REUSE_FROM ${owner})
endfunction()

# vellum_unoptimised(TARGET): for code that takes longer to optimise than it ever runs.
function(vellum_unoptimised target)
    set_target_properties(${target} PROPERTIES VELLUM_UNOPTIMISED ON)
    target_compile_options(${target} PRIVATE -O0)
    if(VELLUM_FUZZ)
        target_compile_options(${target} PRIVATE -fno-sanitize=fuzzer-no-link -g0)
    endif()
endfunction()

# vellum_resources(PROGRAM SAYS): what a program carries on Windows, where its properties show what it says of itself.
function(vellum_resources program says)
    if(WIN32)
        string(REPLACE . , numbers ${PROJECT_VERSION})
        set(resources ${CMAKE_CURRENT_BINARY_DIR}/${program}.rc)
        configure_file(${CMAKE_SOURCE_DIR}/packaging/windows/program.rc.in ${resources} @ONLY)
        target_sources(${program} PRIVATE ${resources})
    endif()
endfunction()

# vellum_room(NAME SOURCES... [DEPENDS ...]): the static library of one room.
function(vellum_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;DEPENDS" ${ARGN})
    add_library(vellum_${name} STATIC ${ROOM_SOURCES})
    target_link_libraries(vellum_${name} PUBLIC vellum_options ${ROOM_DEPENDS})
    if(nlohmann_json::nlohmann_json IN_LIST ROOM_DEPENDS)
        vellum_precompile(vellum_${name} json LIBRARIES nlohmann_json::nlohmann_json HEADERS <nlohmann/json.hpp>)
    else()
        vellum_precompile(vellum_${name} rooms)
    endif()
endfunction()

# vellum_test(NAME SOURCES... [DEPENDS ...] [APART]): the test program of one room. Where nobody waits for the one source
# that was just changed, all are compiled together; APART: not these, which have names in common.
function(vellum_test name)
    cmake_parse_arguments(TEST "APART" "" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${name}_test ${TEST_SOURCES})
    target_link_libraries(${name}_test PRIVATE vellum_test_support ${TEST_DEPENDS} GTest::gtest_main)
    vellum_resources(${name}_test "Test of Vellum")
    vellum_unoptimised(${name}_test)
    vellum_precompile(${name}_test tests LIBRARIES GTest::gtest HEADERS <gtest/gtest.h>)
    if(NOT TEST_APART AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
        set_target_properties(${name}_test PROPERTIES UNITY_BUILD ON)
    endif()
    add_test(NAME ${name} COMMAND ${name}_test --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
