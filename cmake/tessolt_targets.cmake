# Helpers that every target of the project is made with, so that warnings and sanitizers are set in one place.

function(tessolt_target_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
  # GCC 12 sees overlaps in std::string's operator+ that aren't there (GCC bug 105651).
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(TESSOLT_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${TESSOLT_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${TESSOLT_SANITIZE})
  endif()
endfunction()

# tessolt_subsystem(NAME LINK ...): static library tessolt_NAME of all sources in src/NAME.
function(tessolt_subsystem name)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/${name}/*.cpp ${CMAKE_SOURCE_DIR}/src/${name}/*.c)
  if(sources)
    add_library(tessolt_${name} STATIC ${sources})
    target_include_directories(tessolt_${name} PUBLIC ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/include)
    target_link_libraries(tessolt_${name} ${arg_LINK})
    tessolt_target_options(tessolt_${name})
  else()
    list(REMOVE_ITEM arg_LINK PUBLIC PRIVATE)
    add_library(tessolt_${name} INTERFACE)
    target_include_directories(tessolt_${name} INTERFACE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/include)
    target_link_libraries(tessolt_${name} INTERFACE ${arg_LINK})
  endif()
endfunction()

# tessolt_test_program(NAME SOURCE...): a test program. Sanitized, its tests aren't optimised, and the headers of the test
# framework, most of what the compiler reads then, are read once. (A compiler cache can't be used with that, and optimised
# code from such headers makes GCC 12 warn of what isn't there.)
function(tessolt_test_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE tessolt_test_support GTest::gmock GTest::gtest_main)
  tessolt_target_options(${name})
  if(TESSOLT_SANITIZE)
    target_compile_options(${name} PRIVATE -O0)
    if(NOT CMAKE_CXX_COMPILER_LAUNCHER)
      target_precompile_headers(${name} PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
    endif()
  endif()
endfunction()

# tessolt_tests(NAME): the test program NAME_test of all sources in tests/NAME, one CTest test a case.
function(tessolt_tests name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${name}/*.cpp)
  if(NOT sources)
    return()
  endif()
  tessolt_test_program(${name}_test ${sources})
  target_link_libraries(${name}_test PRIVATE tessolt_${name})
  gtest_discover_tests(${name}_test DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)
endfunction()
