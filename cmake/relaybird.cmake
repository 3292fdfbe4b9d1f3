# Clones of this project share one compiler cache where there is one: paths below the project are hashed
# relative to it.
find_program(CCACHE ccache)
mark_as_advanced(CCACHE)
if(CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}
                                  CCACHE_NOHASHDIR=true ${CCACHE})
endif()

# Targets of this project: one set of warnings, sanitizers and hardening for all of them. Whether a warning
# is an error is for the preset to say (CMAKE_COMPILE_WARNING_AS_ERROR): a newer compiler's warning is no
# reason for a user to get no program.

add_library(rb_options INTERFACE)
target_compile_options(rb_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
target_include_directories(rb_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
foreach(sanitizer IN LISTS RELAYBIRD_SANITIZE)
  target_compile_options(rb_options INTERFACE -fsanitize=${sanitizer} -fno-sanitize-recover=all
                                              -fno-omit-frame-pointer)
  target_link_options(rb_options INTERFACE -fsanitize=${sanitizer})
endforeach()
# GCC 12 warns of overlapping copies inside std::string and of unset values inside std::optional that
# are none (GCC bugs 105329 and 80635); the sanitizer builds look for the real ones.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(rb_options INTERFACE -Wno-restrict -Wno-maybe-uninitialized)
endif()

if(RELAYBIRD_HARDENING)
  include(cmake/hardening.cmake)
endif()

# What a fuzz target calls must be instrumented too, or the fuzzer sees nothing of it.
if(RELAYBIRD_FUZZ AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(rb_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(rb_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# rb_library(name SOURCES... [LIBS...]): a static library of one folder.
function(rb_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC rb_options ${arg_LIBS})
endfunction()

# rb_test(name [THREADS] SOURCES... LIBS...): one GoogleTest program, its cases known to CTest one by one.
# THREADS puts a program that starts threads into the target and under the label of that name, which is
# what the preset for ThreadSanitizer builds and runs.
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
  # The semicolon is escaped because the properties go through one more list.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT 300 ${labels} ENVIRONMENT "LC_ALL=C.UTF-8\\;TZ=UTC")
endfunction()
