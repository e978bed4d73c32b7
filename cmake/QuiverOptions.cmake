# SPDX-License-Identifier: Apache-2.0
# Compiler settings that every target shares.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()

# Everything runs straight from the build folder: programs in bin, libraries in lib beside it.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
if(WIN32)
  # quiver_host.dll and its like, in bin beside the program that opens them.
  set(CMAKE_SHARED_LIBRARY_PREFIX "")
endif()
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

set(QUIVER_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")

# quiver_settings: warnings are errors; results are compared bit for bit, so no contraction to fused multiply-add.
add_library(quiver_settings INTERFACE)
target_compile_options(quiver_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Werror -ffp-contract=off
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
if(QUIVER_SANITIZE)
  # g++ 12 takes parts of the standard library's own <regex> for uninitialised once sanitizers are on.
  target_compile_options(quiver_settings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  # The vptr check does not see through the border between host and model library.
  target_compile_options(quiver_settings INTERFACE -fsanitize=${QUIVER_SANITIZE} -fno-sanitize=vptr
                         -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quiver_settings INTERFACE -fsanitize=${QUIVER_SANITIZE})
endif()

# quiver_embed_texts(source.cc HEADER declares.h NAMESPACE name TEXTS Function=file[+file...]...): a source file with a function
# for each entry that returns the files' text.
function(quiver_embed_texts output)
  cmake_parse_arguments(ARG "" "HEADER;NAMESPACE" "TEXTS" ${ARGN})
  set(script ${PROJECT_SOURCE_DIR}/cmake/embed_texts.cmake)
  string(REGEX REPLACE "[^;+]*=|\\+" ";" files "${ARG_TEXTS}")
  list(REMOVE_ITEM files "")
  list(JOIN ARG_TEXTS "," texts)
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -D HEADER=${ARG_HEADER} -D NAMESPACE=${ARG_NAMESPACE} -D OUTPUT=${output} -D TEXTS=${texts} -P ${script}
    DEPENDS ${files} ${script} VERBATIM)
endfunction()

# quiver_add_test(name SOURCES ... LIBRARIES ... [LABEL memory|threads]): one GoogleTest program, its cases found by CTest. A label
# makes it one of those that the quick and the thread sanitizer run (docs/testing.md): target <label>_tests, ctest -L <label>.
function(quiver_add_test name)
  cmake_parse_arguments(ARG "" "LABEL" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE quiver_settings ${ARG_LIBRARIES} GTest::gtest GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${name} PRIVATE QUIVER_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
                             QUIVER_BUILD_DIR="${PROJECT_BINARY_DIR}"
                             QUIVER_LIBRARY_DIR="$<TARGET_FILE_DIR:quiver_host>")
  if(CMAKE_CROSSCOMPILING)
    # A second build of the same tests: what they test is optimised, they themselves need not be. Inline formulas have to be those
    # of the libraries, though, for of two copies the linker takes either.
    target_compile_options(${name} PRIVATE -O0 -fno-math-errno -fno-trapping-math)
  endif()
  set(properties)
  if(ARG_LABEL)
    if(NOT TARGET ${ARG_LABEL}_tests)
      add_custom_target(${ARG_LABEL}_tests)
    endif()
    add_dependencies(${ARG_LABEL}_tests ${name})
    set(properties PROPERTIES LABELS ${ARG_LABEL})
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST ${properties})
endfunction()
