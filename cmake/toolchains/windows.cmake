# Builds for 64-bit Windows with Debian's MinGW-w64 (g++-mingw-w64-x86-64-posix). The -posix compilers by name:
# those of the win32 thread model, which the plain names may stand for, know no std::mutex.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
# The compiler's own libraries go into the programs, which need nothing but what Windows has.
# The time of the link is left out, so that the same sources give the same program.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")
# Wine runs what is built.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
