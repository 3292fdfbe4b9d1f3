# Targets of this project: one set of warnings and sanitizers for all of them.

add_library(rb_options INTERFACE)
target_compile_options(rb_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
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

# rb_test(name SOURCES... LIBS...): one GoogleTest program, its cases known to CTest one by one.
function(rb_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE rb_options ${arg_LIBS} GTest::gmock_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
                       PROPERTIES TIMEOUT 300 ENVIRONMENT "LC_ALL=C.UTF-8;TZ=UTC")
endfunction()
