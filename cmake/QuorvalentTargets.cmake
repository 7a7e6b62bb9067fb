# One target a folder, so that the linker keeps the direction of dependencies; the rules that hold for
# every target are in one interface library.

option(QUORVALENT_TESTS "Build the tests" ON)
option(QUORVALENT_BENCH "Build the benchmarks' helper programs" OFF)
option(QUORVALENT_FUZZ "Build the fuzzers, which need clang" OFF)
set(QUORVALENT_SANITIZE "" CACHE STRING "Value of -fsanitize=, or empty")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(QUORVALENT_CCACHE ccache)
if(QUORVALENT_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${QUORVALENT_CCACHE})
endif()

# Warnings fail the presets of developers (CMAKE_COMPILE_WARNING_AS_ERROR), not the build of someone whose compiler
# knows a newer one.
add_library(quorvalent_rules INTERFACE)
target_compile_options(quorvalent_rules INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
    -Wold-style-cast -Woverloaded-virtual -Wimplicit-fallthrough)
target_compile_definitions(quorvalent_rules INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS QT_NO_FOREACH _FILE_OFFSET_BITS=64)
# A program loads no library that it does not use, though a layer below it offers one.
target_link_options(quorvalent_rules INTERFACE -Wl,--as-needed)
if(QUORVALENT_SANITIZE)
    target_compile_options(quorvalent_rules INTERFACE
        -fsanitize=${QUORVALENT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
        # gcc's flow warnings see paths that only the instrumentation adds
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(quorvalent_rules INTERFACE -fsanitize=${QUORVALENT_SANITIZE})
endif()

# quorvalent_library(watch SOURCES A.cpp A.h USES quorvalent_core LINKS PkgConfig::VIPS)
# USES are the layers whose headers this one may include; LINKS stay private to its .cpp files.
function(quorvalent_library folder)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;USES;LINKS")
    add_library(quorvalent_${folder} STATIC ${ARG_SOURCES})
    target_include_directories(quorvalent_${folder} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(quorvalent_${folder}
        PUBLIC ${ARG_USES} Qt6::Core
        PRIVATE quorvalent_rules ${ARG_LINKS})
    set_target_properties(quorvalent_${folder} PROPERTIES AUTOMOC ON)
endfunction()

# quorvalent_test(watch SOURCES RenameWatcherTest.cpp USES quorvalent_watch)
# One test program a folder, at build/tests/test-<folder>; CTest runs it as one entry per test suite
# run, so that `ctest` shows the program and `--gtest_filter` the single test.
function(quorvalent_test folder)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;USES;LINKS")
    add_executable(test-${folder} ${ARG_SOURCES})
    target_link_libraries(test-${folder} PRIVATE ${ARG_USES} quorvalent_test_support quorvalent_rules
        GTest::gmock ${ARG_LINKS})
    set_target_properties(test-${folder} PROPERTIES AUTOMOC ON
        RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
    add_test(NAME ${folder} COMMAND test-${folder})
    set_tests_properties(${folder} PROPERTIES TIMEOUT 600)
endfunction()
