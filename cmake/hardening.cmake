# The hardening flags of Debian's packages (hardening=+all of dpkg-buildflags), for builds outside of a
# package, and two that Debian 12 does not set: landing pads for indirect branches (CET, Intel only) and
# stack-clash protection, which keeps a large stack frame from jumping over the guard page.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
target_compile_options(rb_options INTERFACE -fstack-protector-strong -Wformat -Werror=format-security)
target_compile_definitions(rb_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
foreach(flag -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "RELAYBIRD_HAS${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    target_compile_options(rb_options INTERFACE ${flag})
  endif()
endforeach()
if(NOT APPLE AND NOT WIN32)
  target_link_options(rb_options INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()
