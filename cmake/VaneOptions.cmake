# SPDX-License-Identifier: MIT
# Compiler flags shared by every target of the project.

add_library(vane_warnings INTERFACE)
target_compile_options(vane_warnings INTERFACE -Wall -Wextra)

add_library(vane_headers INTERFACE)
target_include_directories(vane_headers INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                                 $<INSTALL_INTERFACE:include/vane>)
target_link_libraries(vane_headers INTERFACE Threads::Threads)

if(VANE_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

if(VANE_TSAN)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

if(VANE_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "VANE_FUZZ needs clang (CXX=clang++)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# vane_subsystem(NAME SOURCES... [DEPENDS libs...]) declares one subsystem
# library: static, PIC, hidden visibility, warnings on.
function(vane_subsystem name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC vane_headers ${ARG_DEPENDS} PRIVATE vane_warnings)
  target_compile_definitions(${name} PRIVATE VANE_BUILDING_KERNEL=1)
  set_property(GLOBAL APPEND PROPERTY VANE_SUBSYSTEM_LIBS ${name})
endfunction()

# vane_gtest(NAME SOURCES... LIBS libs...) builds one test program and
# registers its cases with CTest.
function(vane_gtest name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} vane_test_support GTest::gtest GTest::gtest_main GTest::gmock
                        vane_warnings)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ENVIRONMENT "VANE_BUILD_DIR=${CMAKE_BINARY_DIR}")
endfunction()

# Folders whose headers (outside detail/) are the public interface: installed
# under include/vane and compiled alone by tests/headers.
set(VANE_PUBLIC_HEADER_DIRS platform kernel fileio ffbase fileutil riff audio audiopeak xml shared/internet video)
