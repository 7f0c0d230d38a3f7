# The house's own build functions: which platform, which warnings, and one static
# library and one test program a folder, with sources listed by name.

option(ORVENTA_TESTS "Build the tests" OFF)
option(ORVENTA_BENCH "Build the benchmarks" OFF)
option(ORVENTA_FUZZ "Build the fuzz targets (Clang only)" OFF)
set(ORVENTA_SANITIZE "" CACHE STRING "Sanitizers, as in -fsanitize=")

if(WIN32)
  set(ORVENTA_PLATFORM win)
else()
  set(ORVENTA_PLATFORM linux)
endif()

find_program(ORVENTA_CCACHE ccache)
if(ORVENTA_CCACHE)
  # By paths from the tree, so that one clone finds what another has compiled.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}
    CCACHE_NOHASHDIR=1 ${ORVENTA_CCACHE})
endif()

find_package(Threads REQUIRED)

add_library(orventa_flags INTERFACE)
target_compile_options(orventa_flags INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  -Wundef -Wextra-semi -Wcast-qual -Wformat=2 -Wimplicit-fallthrough)
target_include_directories(orventa_flags INTERFACE ${PROJECT_SOURCE_DIR}
  ${PROJECT_SOURCE_DIR}/engine/src)
target_compile_definitions(orventa_flags INTERFACE ORVENTA_VERSION="${PROJECT_VERSION}")
target_link_libraries(orventa_flags INTERFACE Threads::Threads)
if(ORVENTA_PLATFORM STREQUAL win)
  target_compile_definitions(orventa_flags INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
    _WIN32_WINNT=0x0A00 WINVER=0x0A00)
  # The same source gives the same bytes: no time of the build in them.
  target_link_options(orventa_flags INTERFACE -static -static-libgcc -static-libstdc++
    -Wl,--no-insert-timestamp)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(orventa_flags INTERFACE -Wthread-safety)
endif()
if(ORVENTA_SANITIZE)
  target_compile_options(orventa_flags INTERFACE -fsanitize=${ORVENTA_SANITIZE}
    -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(orventa_flags INTERFACE -fsanitize=${ORVENTA_SANITIZE})
endif()

if(ORVENTA_FUZZ)
  # Coverage for libFuzzer; the targets in fuzz/ link its main.
  target_compile_options(orventa_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# orventa_library(name [SOURCES portable...] [WIN ...] [LINUX ...] [LIBS ...]
#                 [WIN_LIBS ...] [LINUX_LIBS ...])
function(orventa_library name)
  cmake_parse_arguments(A "" "" "SOURCES;WIN;LINUX;LIBS;WIN_LIBS;LINUX_LIBS" ${ARGN})
  if(ORVENTA_PLATFORM STREQUAL win)
    set(sources ${A_SOURCES} ${A_WIN})
    set(libs ${A_LIBS} ${A_WIN_LIBS})
  else()
    set(sources ${A_SOURCES} ${A_LINUX})
    set(libs ${A_LIBS} ${A_LINUX_LIBS})
  endif()
  if(sources)
    add_library(${name} STATIC ${sources})
    target_link_libraries(${name} PUBLIC orventa_flags ${libs})
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE orventa_flags ${libs})
  endif()
endfunction()

# orventa_carry_text(library symbol FILE...)
# Gives a library a std::string_view `symbol` in orventa with the files one after the
# other.
function(orventa_carry_text library symbol)
  set(text)
  foreach(file IN LISTS ARGN)
    file(READ ${file} part)
    string(APPEND text "${part}")
  endforeach()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ARGN})
  file(CONFIGURE OUTPUT ${symbol}.cpp @ONLY CONTENT [[
#include <string_view>
namespace orventa {
extern const std::string_view @symbol@;
const std::string_view @symbol@ = R"text(@text@)text";
}  // namespace orventa
]])
  target_sources(${library} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp)
endfunction()

# orventa_test(name [DISPLAY|SOUND] [SOURCES portable...] [WIN ...] [LINUX ...] LIBS ...
#              [LINUX_LIBS ...])
# One program a folder; a ctest test of the same name, under Wine for Windows, with
# DISPLAY on an X server, with SOUND on a sound server of its own.
function(orventa_test name)
  cmake_parse_arguments(A "DISPLAY;SOUND" "" "SOURCES;WIN;LINUX;LIBS;LINUX_LIBS" ${ARGN})
  set(runner ${PROJECT_SOURCE_DIR}/scripts/wine-run)
  if(A_DISPLAY)
    list(APPEND runner --display)
  endif()
  if(A_SOUND)
    list(APPEND runner --sound)
  endif()
  if(ORVENTA_PLATFORM STREQUAL win)
    set(sources ${A_SOURCES} ${A_WIN})
  else()
    set(sources ${A_SOURCES} ${A_LINUX})
    list(APPEND A_LIBS ${A_LINUX_LIBS})
  endif()
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE ${A_LIBS} GTest::gtest_main)
  if(ORVENTA_PLATFORM STREQUAL win)
    add_test(NAME ${name} COMMAND ${runner} $<TARGET_FILE:${name}>
      --gtest_output=xml:results/${name}.xml
      WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
  else()
    add_test(NAME ${name} COMMAND ${name}
      --gtest_output=xml:results/${name}.xml
      WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
