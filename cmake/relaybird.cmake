# If ccache is installed, clones of this project share its cache: paths below the project folder are hashed
# relative to that folder.
find_program(CCACHE ccache)
mark_as_advanced(CCACHE)
if(CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}
                                  CCACHE_NOHASHDIR=true ${CCACHE})
endif()

# rb_options: the warnings, sanitizers and hardening flags of all targets. The preset decides whether
# warnings are errors (CMAKE_COMPILE_WARNING_AS_ERROR): a new warning of a newer compiler must not prevent
# users from building the program.

add_library(rb_options INTERFACE)
target_compile_options(rb_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
target_include_directories(rb_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
foreach(sanitizer IN LISTS RELAYBIRD_SANITIZE)
  target_compile_options(rb_options INTERFACE -fsanitize=${sanitizer} -fno-sanitize-recover=all
                                              -fno-omit-frame-pointer)
  target_link_options(rb_options INTERFACE -fsanitize=${sanitizer})
endforeach()
# GCC 12 gives false warnings about overlapping copies in std::string and unset values in std::optional
# (GCC bugs 105329 and 80635). The sanitizer builds find real ones.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(rb_options INTERFACE -Wno-restrict -Wno-maybe-uninitialized)
endif()

if(RELAYBIRD_HARDENING)
  include(cmake/hardening.cmake)
endif()

# The libraries must be instrumented too; otherwise the fuzzer gets no coverage of them.
if(RELAYBIRD_FUZZ AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(rb_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(rb_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# rb_library(name SOURCES... [LIBS...]): the static library of one folder.
function(rb_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC rb_options ${arg_LIBS})
endfunction()

# rb_test(name [THREADS] SOURCES... LIBS...): a GoogleTest program; CTest runs each of its cases separately.
# THREADS marks a program that starts threads: the preset tsan builds and runs the target and the label
# `threads` only.
add_custom_target(threads)
function(rb_test name)
  cmake_parse_arguments(arg "THREADS" "" "SOURCES;LIBS" ${ARGN})
  set(labels)
  if(arg_THREADS)
    set(labels LABELS threads)
  endif()
  add_executable(${name} ${arg_SOURCES})
  if(arg_THREADS)
    add_dependencies(threads ${name})
  endif()
  target_link_libraries(${name} PRIVATE rb_options ${arg_LIBS} GTest::gmock_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  # The semicolon is escaped because the properties are expanded as a list once more.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT 300 ${labels} ENVIRONMENT "LC_ALL=C.UTF-8\\;TZ=UTC")
endfunction()
