# cmake -D FOLDER=... -D OUTPUT=... -P EmbedFiles.cmake
#
# Writes the C++ source OUTPUT, in which PageFile(name) gives the contents of the files in FOLDER.

file(GLOB files RELATIVE "${FOLDER}" "${FOLDER}/*")
list(SORT files)
set(arrays "")
set(lookups "")
set(number 0)
foreach(file IN LISTS files)
  file(READ "${FOLDER}/${file}" bytes HEX)
  if(bytes STREQUAL "")
    continue()
  endif()
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  string(APPEND arrays "// ${file}\nconst unsigned char kFile${number}[] = {\n${bytes}};\n\n")
  string(APPEND lookups "  if (name == \"${file}\") return View(kFile${number});\n")
  math(EXPR number "${number} + 1")
endforeach()

file(WRITE "${OUTPUT}" "// Made from the files in a folder: change those.
#include \"collector/page.h\"

#include <cstddef>

namespace Veltro::Collector {
namespace {

${arrays}template <std::size_t size>
std::string_view View(const unsigned char (&bytes)[size]) {
  return {reinterpret_cast<const char*>(bytes), size};
}

}  // namespace

std::string_view PageFile(std::string_view name) {
${lookups}  return {};
}

}  // namespace Veltro::Collector
")
