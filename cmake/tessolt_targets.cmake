# Helpers that every target of the project is made with, so that warnings and sanitizers are set in one place.

function(tessolt_target_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wdate-time $<$<BOOL:${TESSOLT_WERROR}>:-Werror>)
  # GCC 12 sees overlaps in std::string's operator+ that aren't there (GCC bug 105651).
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(TESSOLT_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${TESSOLT_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${TESSOLT_SANITIZE})
  endif()
  if(TESSOLT_FUZZ)
    # Blocks of code are counted as they run, by the harness.
    target_compile_options(${target} PRIVATE -fsanitize-coverage=trace-pc)
  endif()
endfunction()

# A compiler cache can do with headers that are read once if it is told not to look into them (tools/packages.sh does).
set(TESSOLT_CAN_PRECOMPILE ON)
if(CMAKE_CXX_COMPILER_LAUNCHER AND NOT "$ENV{CCACHE_SLOPPINESS}" MATCHES pch_defines)
  set(TESSOLT_CAN_PRECOMPILE OFF)
endif()

# tessolt_precompiled(NAME LINK ... OPTIONS ... HEADERS ...): headers that targets with the same options share by
# tessolt_precompile(TARGET NAME).
function(tessolt_precompiled name)
  cmake_parse_arguments(arg "" "" "LINK;OPTIONS;HEADERS" ${ARGN})
  set(source ${PROJECT_BINARY_DIR}/${name}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "// Nothing but its headers.\n")
  add_library(${name} OBJECT EXCLUDE_FROM_ALL ${source})
  target_link_libraries(${name} PRIVATE ${arg_LINK})
  tessolt_target_options(${name})
  target_compile_options(${name} PRIVATE ${arg_OPTIONS} $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
  target_precompile_headers(${name} PRIVATE ${arg_HEADERS})
endfunction()

function(tessolt_precompile target name)
  if(TESSOLT_CAN_PRECOMPILE)
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
    target_precompile_headers(${target} REUSE_FROM ${name})
  endif()
endfunction()

# tessolt_subsystem(ROOM LINK ...): static library of all sources that lie in src/ROOM itself; charset/tables becomes
# tessolt_charset_tables.
function(tessolt_subsystem room)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  string(REPLACE / _ target tessolt_${room})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/src/${room}/*.cpp)
  add_library(${target} STATIC ${sources})
  target_include_directories(${target} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR}/include)
  target_link_libraries(${target} ${arg_LINK})
  tessolt_target_options(${target})
  if(TESSOLT_PRECOMPILE)
    tessolt_precompile(${target} tessolt_standard_headers)
  endif()
  set_property(GLOBAL APPEND PROPERTY TESSOLT_ROOMS ${target})
endfunction()

# tessolt_test_program(NAME SOURCE...): a test program. The tests themselves aren't optimised, and the headers of the
# test framework, most of what the compiler reads then, are read once.
function(tessolt_test_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE tessolt_test_support GTest::gmock GTest::gtest_main)
  tessolt_target_options(${name})
  # Under an emulator they take longer to run than to compile.
  if(NOT CMAKE_CROSSCOMPILING)
    target_compile_options(${name} PRIVATE -O0)
    tessolt_precompile(${name} tessolt_test_headers)
  endif()
endfunction()

# tessolt_tests(NAME): the test program NAME_test of all sources in tests/NAME and its wings, one CTest test a case.
function(tessolt_tests name)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${name}/*.cpp)
  tessolt_test_program(${name}_test ${sources})
  target_link_libraries(${name}_test PRIVATE tessolt_${name})
  gtest_discover_tests(${name}_test DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)
endfunction()
