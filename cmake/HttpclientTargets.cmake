# What every target of this project has in common.

# httpclient_compile_options(target): the language level and the warnings of our own builds.
function(httpclient_compile_options target)
    set_target_properties(${target} PROPERTIES
        CXX_STANDARD 17
        CXX_STANDARD_REQUIRED ON
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    get_target_property(type ${target} TYPE)
    if(NOT type STREQUAL "SHARED_LIBRARY")
        # clang counts signs among the conversions, as g++ doesn't. The libraries are held to that too; a test, where an
        # int indexes a container, would only be harder to read.
        target_compile_options(${target} PRIVATE -Wno-sign-conversion)
    endif()
    if(HTTPCLIENT_STRICT)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

# What is tested is optimised; optimising the tests themselves only costs time, most of all under the sanitizers.
function(httpclient_test_compile_options target)
    httpclient_compile_options(${target})
    target_compile_options(${target} PRIVATE -O0)
endfunction()

# One precompiled header for all test programs. A test includes what it uses none the less: builds without it show that.
if(HTTPCLIENT_BUILD_TESTS AND HTTPCLIENT_PRECOMPILE_TESTS)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/test_headers.cpp)
    file(CONFIGURE OUTPUT ${source} CONTENT "")
    add_library(httpclient_test_headers OBJECT ${source})
    httpclient_test_compile_options(httpclient_test_headers)
    target_precompile_headers(httpclient_test_headers PRIVATE
        <gmock/gmock.h> <gtest/gtest.h>
        <chrono> <exception> <filesystem> <fstream> <functional> <future> <memory> <sstream> <stdexcept> <string>
        <thread> <type_traits> <utility> <vector>
        <httpclient_core/httpclient_core.h>)
    target_link_libraries(httpclient_test_headers PRIVATE httpclient_core GTest::gmock)
endif()

# httpclient_add_test(target SOURCES ... LIBRARIES ...): a GoogleTest program whose tests CTest runs one by one.
function(httpclient_add_test target)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 60)
    endif()
    add_executable(${target} ${ARG_SOURCES})
    httpclient_test_compile_options(${target})
    if(TARGET httpclient_test_headers)
        target_precompile_headers(${target} REUSE_FROM httpclient_test_headers)
    endif()
    target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES} GTest::gmock_main)
    gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT ${ARG_TIMEOUT})
endfunction()
