# What every target of the project is built with, and the two kinds of target it has.

add_library(vellum_options INTERFACE)
target_compile_features(vellum_options INTERFACE cxx_std_20)
target_compile_options(vellum_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion)
if(VELLUM_WERROR)
    target_compile_options(vellum_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # False alarms of this compiler: on every "literal" + std::string, and on vectors that grow.
    target_compile_options(vellum_options INTERFACE -Wno-restrict -Wno-stringop-overflow)
endif()
target_include_directories(vellum_options INTERFACE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR})
if(VELLUM_SANITIZE)
    target_compile_options(vellum_options INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(vellum_options INTERFACE -fsanitize=address,undefined)
endif()
if(VELLUM_FUZZ)
    # Every room tells the fuzzer which of its branches an input takes.
    target_compile_options(vellum_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VELLUM_COVERAGE)
    target_compile_options(vellum_options INTERFACE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(vellum_options INTERFACE -fprofile-instr-generate)
endif()

# What every program is linked with on Windows.
if(WIN32)
    add_library(vellum_manifest OBJECT ${CMAKE_SOURCE_DIR}/packaging/windows/program.rc)
else()
    add_library(vellum_manifest INTERFACE)
endif()

# vellum_room(NAME SOURCES... [DEPENDS ...]): the static library of one room.
function(vellum_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;DEPENDS" ${ARGN})
    add_library(vellum_${name} STATIC ${ROOM_SOURCES})
    target_link_libraries(vellum_${name} PUBLIC vellum_options ${ROOM_DEPENDS})
endfunction()

# vellum_test(NAME SOURCES... [DEPENDS ...]): the test program of one room.
function(vellum_test name)
    cmake_parse_arguments(TEST "" "" "SOURCES;DEPENDS" ${ARGN})
    add_executable(${name}_test ${TEST_SOURCES})
    target_link_libraries(${name}_test PRIVATE vellum_test_support ${TEST_DEPENDS} GTest::gtest_main vellum_manifest)
    add_test(NAME ${name} COMMAND ${name}_test --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
