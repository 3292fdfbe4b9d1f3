# cmake -DHELP_DIR=dir -DOUTPUT=file -P embed_pages.cmake: writes the manual's pages as C++ data, in
# the order in which the contents (rbx.hhc) name them.

cmake_minimum_required(VERSION 3.25)

# Some compilers take no literal of 16 KB; literals side by side are one.
set(piece_length 8000)

function(append_literals text result)
  set(literals "")
  string(LENGTH "${text}" length)
  set(at 0)
  while(at LESS length)
    string(SUBSTRING "${text}" ${at} ${piece_length} piece)
    string(APPEND literals "\n     R\"page(${piece})page\"")
    math(EXPR at "${at} + ${piece_length}")
  endwhile()
  set(${result} "${${result}}${literals}" PARENT_SCOPE)
endfunction()

file(READ ${HELP_DIR}/rbx.hhc contents)
string(REGEX MATCHALL "name=\"Local\" +value=\"[^\"#]+" entries "${contents}")
set(seen "")
set(topics "")
foreach(entry IN LISTS entries)
  string(REGEX REPLACE ".*value=\"" "" page "${entry}")
  if(page IN_LIST seen)
    continue()
  endif()
  list(APPEND seen ${page})
  file(READ ${HELP_DIR}/pages/${page} html)
  if(NOT html MATCHES "<title>([^<]+)</title>")
    message(FATAL_ERROR "${page} has no title")
  endif()
  string(REPLACE "&amp;" "&" title "${CMAKE_MATCH_1}")
  string(REGEX REPLACE "\\.html$" "" name "${page}")
  string(APPEND topics "    {\"${name}\", R\"title(${title})title\",")
  append_literals("${html}" topics)
  string(APPEND topics "},\n")
endforeach()
if(NOT topics)
  message(FATAL_ERROR "${HELP_DIR}/rbx.hhc names no page")
endif()
file(WRITE ${OUTPUT} "#include \"ui/help/help_topics.h\"

namespace relaybird {
namespace {

constexpr HelpTopic kTopics[] = {
${topics}};

}  // namespace

std::span<const HelpTopic> helpTopics() {
  return kTopics;
}

}  // namespace relaybird
")
