# cmake -DMANIFEST="name;size;file;name;size;file..." -DOUTPUT=file -P embed_art.cmake: writes pictures as C++
# data.

cmake_minimum_required(VERSION 3.25)

set(arrays "")
set(entries "")
set(number 0)
while(MANIFEST)
  list(POP_FRONT MANIFEST name size file)
  file(READ ${file} bytes HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  string(APPEND arrays "constexpr unsigned char kImage${number}[] = {${bytes}};\n")
  if(file MATCHES "\\.svg$")
    set(drawing true)
  else()
    set(drawing false)
  endif()
  string(APPEND entries "    {\"${name}\", ${size}, ${drawing}, kImage${number}},\n")
  math(EXPR number "${number} + 1")
endwhile()
file(WRITE ${OUTPUT} "#include \"ui/desktop/widgets/art_data.h\"

namespace relaybird::desktop {
namespace {

${arrays}
constexpr ArtImage kImages[] = {
${entries}};

}  // namespace

std::span<const ArtImage> artImages() {
  return kImages;
}

}  // namespace relaybird::desktop
")
