# cmake -DSOURCES="a;b" -P check_layers.cmake: fails when a source file includes what its layer must
# not know. The core (platform, engine, prefs, compose, ui/forms, stores/memory) knows the standard
# library and the layers below; nothing knows a store but itself and the programs. The windows
# (ui/desktop) know the toolkit, the forms and the folders below their own.

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
# the contract between the layers, so all of the core but platform may include those.
set(contract engine/mail_store.h engine/store/)
set(core platform prefs compose engine ui/forms stores/memory)
set(allowed_platform platform)
set(allowed_prefs platform prefs)
set(allowed_compose platform prefs compose)
set(allowed_engine platform prefs compose engine)
set(allowed_ui/forms platform prefs compose engine ui/forms)
set(allowed_stores/memory platform stores/memory)

# The windows: the toolkit alone, and the same sources on every platform. What is a platform's own
# stands in a folder of its own (gtk), which implements native and which nothing includes.
set(windows)
set(below platform ui/forms)
foreach(folder widgets native desk bind windows help)
  list(APPEND windows ui/desktop/${folder})
  if(folder STREQUAL "help")
    set(allowed_ui/desktop/help platform ui/forms ui/desktop/widgets ui/desktop/native ui/desktop/help)
  else()
    list(APPEND below ui/desktop/${folder})
    set(allowed_ui/desktop/${folder} ${below})
  endif()
endforeach()
set(also_ui/desktop/help chm_lib.h)

# The layer that a path below src belongs to; empty where nothing is checked.
function(layer_of path result)
  set(${result} "" PARENT_SCOPE)
  if(path MATCHES "^platform/posix/")
    return()
  endif()
  foreach(layer IN LISTS core windows)
    if(path MATCHES "^${layer}/")
      set(${result} ${layer} PARENT_SCOPE)
    endif()
  endforeach()
endfunction()

function(complain words)
  message(NOTICE "${words}")
  set_property(GLOBAL PROPERTY crossed TRUE)
endfunction()

function(check_system_header file layer header)
  if(header IN_LIST std_headers OR header IN_LIST also_${layer})
    return()
  elseif(NOT layer IN_LIST windows)
    complain("${file}: the core uses the standard library alone, not <${header}>")
  elseif(NOT header MATCHES "^wx/")
    complain("${file}: the windows use the toolkit alone, not <${header}>")
  endif()
endfunction()

function(check_own_header file layer header)
  layer_of("${header}" header_layer)
  if(header_layer AND header_layer IN_LIST allowed_${layer})
    return()
  endif()
  foreach(prefix IN LISTS contract)
    if(layer IN_LIST core AND NOT layer STREQUAL "platform" AND header MATCHES "^${prefix}")
      return()
    endif()
  endforeach()
  complain("${file}: ${layer} does not include ${header}")
endfunction()

foreach(file IN LISTS SOURCES)
  string(REGEX REPLACE "^src/" "" path "${file}")
  layer_of("${path}" layer)
  if(NOT file MATCHES "^src/" OR NOT layer)
    continue()
  endif()
  file(STRINGS "${file}" directives REGEX "^#[ ]*(include|if)")
  foreach(line IN LISTS directives)
    if(line MATCHES "<([^>]+)>")
      check_system_header("${file}" ${layer} "${CMAKE_MATCH_1}")
    elseif(line MATCHES "\"([^\"]+)\"")
      check_own_header("${file}" ${layer} "${CMAKE_MATCH_1}")
    elseif(layer IN_LIST windows)
      complain("${file}: the windows are the same on every platform, without ${line}")
    endif()
  endforeach()
endforeach()
get_property(crossed GLOBAL PROPERTY crossed)
if(crossed)
  message(FATAL_ERROR "layers crossed")
endif()
