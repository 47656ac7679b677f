# Writes the header of veltra_embed(): cmake -DOUTPUT=… -DNAMESPACE=… -DFILES=… -P embed_files.cmake
# As numbers: compilers limit the length of a literal text.
set(text "// Made by cmake/embed_files.cmake out of files of the tree.\n#pragma once\n\n")
string(APPEND text "#include <string_view>\n\nnamespace ${NAMESPACE} {\n\n")
foreach(file IN LISTS FILES)
  get_filename_component(name "${file}" NAME)
  string(REPLACE "." "_" name "${name}")
  file(READ "${file}" bytes HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
  string(APPEND text "inline constexpr char ${name}_bytes[] = {${bytes}'\\0'};\n")
  string(APPEND text
    "inline constexpr std::string_view ${name}(${name}_bytes, sizeof ${name}_bytes - 1);\n\n")
endforeach()
string(APPEND text "}  // namespace ${NAMESPACE}\n")
file(WRITE "${OUTPUT}" "${text}")
