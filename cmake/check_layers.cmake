# cmake -DSOURCES="a;b" -P check_layers.cmake: fails if a source file includes a header that its layer may
# not include. The table below is the complete rule: a layer includes its own headers and those of the
# layers listed beside it, which are all below it. There are no exceptions. The core uses the standard
# library alone. The windows (ui/desktop except gtk/ and msw/) use the toolkit and have no platform branches.

cmake_minimum_required(VERSION 3.25)

# layer(folder allowed...), from the bottom to the top. A file belongs to the layer with the longest
# matching folder.
set(layers)
macro(layer folder)
  list(APPEND layers ${folder})
  set(allowed_${folder} ${folder} ${ARGN})
endmacro()

layer(platform)
layer(platform/posix platform)
layer(platform/win32 platform)
layer(platform/freedesktop platform)
layer(platform/curl platform)
layer(message platform)
layer(mail platform)
layer(outbox platform message mail)
layer(prefs platform mail)
layer(stores/mailbox platform message mail outbox)
layer(stores platform message mail outbox stores/mailbox)
layer(stores/outlook platform platform/win32 mail)
layer(compose platform mail prefs)
layer(engine platform mail prefs compose)
layer(ui/forms platform mail prefs compose engine)
layer(ui/help platform)
layer(ui/console platform prefs ui/forms)
layer(ui/console/posix platform platform/posix ui/forms ui/console)
layer(ui/console/win32 platform platform/win32 ui/forms ui/console)
layer(ui/desktop/widgets platform)
layer(ui/desktop/native platform ui/forms)
layer(ui/desktop/services platform ui/forms ui/desktop/widgets ui/desktop/native)
layer(ui/desktop/views platform ui/forms ui/desktop/widgets ui/desktop/native ui/desktop/services)
layer(ui/desktop/windows platform ui/forms ui/desktop/widgets ui/desktop/native ui/desktop/services ui/desktop/views)
layer(ui/desktop/help platform ui/forms ui/desktop/widgets ui/desktop/native)
layer(ui/desktop/gtk platform ui/forms ui/desktop/widgets ui/desktop/native ui/desktop/services)
layer(ui/desktop/msw platform platform/win32 ui/forms ui/desktop/widgets ui/desktop/native ui/desktop/services ui/desktop/help)
layer(app platform message mail outbox prefs stores stores/outlook compose engine
      ui/forms ui/help ui/console ui/desktop/widgets ui/desktop/native ui/desktop/services ui/desktop/views ui/desktop/windows
      ui/desktop/help)
layer(app/posix platform platform/posix platform/freedesktop platform/curl message mail ui/forms app)
layer(app/win32 platform platform/win32 mail ui/forms app)

set(core platform mail prefs compose engine ui/forms)
set(windows ui/desktop/widgets ui/desktop/native ui/desktop/services ui/desktop/views ui/desktop/windows
            ui/desktop/help)
set(also_ui/desktop/help chm_lib.h)
# What is the same on every system without being core: no system headers, and no branches but those of the
# build's own options.
set(portable ui/console app)

set(std_headers
    algorithm any array atomic bit bitset cassert cctype cerrno cfloat charconv chrono climits clocale cmath
    compare complex concepts condition_variable coroutine cstddef cstdint cstdio cstdlib cstring ctime
    cwchar deque exception filesystem forward_list fstream functional future initializer_list iomanip
    ios iosfwd iostream istream iterator limits list locale map memory memory_resource mutex new
    numbers numeric optional ostream queue random ranges ratio regex set shared_mutex span sstream
    stack stdexcept stop_token string string_view system_error thread tuple type_traits typeindex
    typeinfo unordered_map unordered_set utility valarray variant vector version)

# The layer of a path below src; empty if there is none.
function(layer_of path result)
  set(found "")
  foreach(layer IN LISTS layers)
    string(LENGTH "${layer}" length)
    string(LENGTH "${found}" longest)
    if(path MATCHES "^${layer}/" AND length GREATER longest)
      set(found ${layer})
    endif()
  endforeach()
  set(${result} "${found}" PARENT_SCOPE)
endfunction()

function(complain words)
  message(NOTICE "${words}")
  set_property(GLOBAL PROPERTY crossed TRUE)
endfunction()

function(check_system_header file layer header)
  if(header IN_LIST std_headers OR header IN_LIST also_${layer})
    return()
  elseif(layer IN_LIST core)
    complain("${file}: the core uses the standard library alone, not <${header}>")
  elseif(layer IN_LIST windows AND NOT header MATCHES "^wx/")
    complain("${file}: the windows use the toolkit alone, not <${header}>")
  elseif(layer IN_LIST portable AND NOT header MATCHES "^wx/")
    complain("${file}: ${layer} leaves the system to its folder for each system, not <${header}>")
  endif()
endfunction()

function(check_own_header file layer header)
  layer_of("${header}" header_layer)
  if(NOT header_layer IN_LIST allowed_${layer})
    complain("${file}: ${layer} must not include ${header}")
  elseif(layer STREQUAL "stores" AND header_layer STREQUAL "stores")
    string(REGEX REPLACE "^stores/([^/]*)/.*" "\\1" header_store "${header}")
    if(NOT file MATCHES "^src/stores/${header_store}/")
      complain("${file}: a store must not include another store's ${header}")
    endif()
  endif()
endfunction()

# The layers that a layer may include come before it in the list, so there are no cycles.
set(below)
foreach(layer IN LISTS layers)
  list(APPEND below ${layer})
  foreach(known IN LISTS allowed_${layer})
    if(NOT known IN_LIST below)
      complain("the layer ${layer} may include ${known}, which is not below it")
    endif()
  endforeach()
endforeach()

foreach(file IN LISTS SOURCES)
  if(NOT file MATCHES "^src/")
    continue()
  endif()
  string(REGEX REPLACE "^src/" "" path "${file}")
  layer_of("${path}" layer)
  if(NOT layer)
    complain("${file}: belongs to no layer")
    continue()
  endif()
  file(STRINGS "${file}" directives REGEX "^#[ ]*(include|if)")
  foreach(line IN LISTS directives)
    if(line MATCHES "<([^>]+)>")
      check_system_header("${file}" ${layer} "${CMAKE_MATCH_1}")
    elseif(line MATCHES "\"([^\"]+)\"")
      check_own_header("${file}" ${layer} "${CMAKE_MATCH_1}")
    elseif(layer IN_LIST core OR layer IN_LIST windows)
      complain("${file}: no platform branches in ${layer}: ${line}")
    elseif(layer IN_LIST portable AND NOT line MATCHES "RELAYBIRD_")
      complain("${file}: no platform branches in ${layer}: ${line}")
    endif()
  endforeach()
endforeach()
get_property(crossed GLOBAL PROPERTY crossed)
if(crossed)
  message(FATAL_ERROR "layers crossed")
endif()
