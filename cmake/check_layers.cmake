# cmake -DSOURCES="a;b" -P check_layers.cmake: fails when a source file includes what its layer must
# not know. The core (platform, engine, prefs, compose, ui/forms, stores/memory) knows the standard
# library and the layers below; nothing knows a store but itself and the programs.

cmake_minimum_required(VERSION 3.25)

set(std_headers
    algorithm any array atomic bit bitset cctype cerrno cfloat charconv chrono climits clocale cmath
    compare complex concepts condition_variable coroutine cstddef cstdint cstdio cstdlib cstring ctime
    cwchar deque exception filesystem forward_list fstream functional future initializer_list iomanip
    ios iosfwd iostream istream iterator limits list locale map memory memory_resource mutex new
    numbers numeric optional ostream queue random ranges ratio regex set shared_mutex span sstream
    stack stdexcept stop_token string string_view system_error thread tuple type_traits typeindex
    typeinfo unordered_map unordered_set utility valarray variant vector version)

# layer -> layers whose headers it may include. engine/mail_store.h and the helpers of its target are
# the contract between the layers, so all but platform may include those.
set(contract engine/mail_store.h engine/store/)
set(core platform prefs compose engine ui/forms stores/memory)
set(allowed_platform platform)
set(allowed_prefs platform prefs)
set(allowed_compose platform prefs compose)
set(allowed_engine platform prefs compose engine)
set(allowed_ui/forms platform prefs compose engine ui/forms)
set(allowed_stores/memory platform stores/memory)

# The layer that a path below src belongs to; empty outside the core.
function(layer_of path result)
  set(${result} "" PARENT_SCOPE)
  if(path MATCHES "^platform/posix/")
    return()
  endif()
  foreach(layer IN LISTS core)
    if(path MATCHES "^${layer}/")
      set(${result} ${layer} PARENT_SCOPE)
    endif()
  endforeach()
endfunction()

set(failed FALSE)
foreach(file IN LISTS SOURCES)
  string(REGEX REPLACE "^src/" "" path "${file}")
  layer_of("${path}" layer)
  if(NOT file MATCHES "^src/" OR NOT layer)
    continue()
  endif()
  file(STRINGS "${file}" includes REGEX "^#[ ]*include")
  foreach(line IN LISTS includes)
    if(line MATCHES "<([^>]+)>")
      if(NOT CMAKE_MATCH_1 IN_LIST std_headers)
        message(NOTICE "${file}: the core uses the standard library alone, not <${CMAKE_MATCH_1}>")
        set(failed TRUE)
      endif()
    elseif(line MATCHES "\"([^\"]+)\"")
      set(header "${CMAKE_MATCH_1}")
      layer_of("${header}" header_layer)
      set(is_contract FALSE)
      foreach(prefix IN LISTS contract)
        if(NOT layer STREQUAL "platform" AND header MATCHES "^${prefix}")
          set(is_contract TRUE)
        endif()
      endforeach()
      if(NOT is_contract AND NOT header_layer IN_LIST allowed_${layer})
        message(NOTICE "${file}: ${layer} does not include ${header}")
        set(failed TRUE)
      endif()
    endif()
  endforeach()
endforeach()
if(failed)
  message(FATAL_ERROR "layers crossed")
endif()
