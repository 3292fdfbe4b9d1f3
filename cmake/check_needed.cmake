# cmake -DLIBRARY=file -DREADELF=readelf -P check_needed.cmake: fails if the library needs a library other
# than the C++ standard library and its dependencies. The dynamic linker is allowed under each of its names
# (ld-linux*.so on most architectures, ld64.so or ld.so on others).
execute_process(COMMAND ${READELF} --dynamic --wide ${LIBRARY} OUTPUT_VARIABLE dynamic
                COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*\\[([^\n]*)\\]" needed "${dynamic}")
if(NOT needed)
  message(FATAL_ERROR "no needed library found in ${LIBRARY}")
endif()
foreach(entry IN LISTS needed)
  if(NOT entry MATCHES "\\[(libstdc\\+\\+|libm|libc|libgcc_s|libatomic|ld(64|-linux[-a-z0-9_]*)?|libgcov)\\.so")
    message(FATAL_ERROR "the core needs ${entry}")
  endif()
endforeach()
