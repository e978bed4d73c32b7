# SPDX-License-Identifier: Apache-2.0
# Writes the texts of files as string literals into one source file, at build time and with CMake alone, so that a cross compiler
# needs nothing of the host. Every TEXTS entry is a function and the files whose texts it returns, one after the other:
#
#   cmake -D HEADER=runtime/properties/embedded_tables.h -D NAMESPACE=quiver -D OUTPUT=embedded.cc
#         -D TEXTS=EmbeddedComponents=data/components.csv,EmbeddedInteractions=data/kij.csv -P embed_texts.cmake
#
# The literals are cut into pieces, because some compilers limit the length of one.
set(body "// Written by embed_texts.cmake.\n#include \"${HEADER}\"\nnamespace ${NAMESPACE} {\n")
string(REPLACE "," ";" texts "${TEXTS}")
foreach(entry IN LISTS texts)
  string(REGEX MATCH "^([^=]*)=(.*)$" matched "${entry}")
  string(APPEND body "std::string_view ${CMAKE_MATCH_1}() {\n  static constexpr std::string_view kText =\n")
  string(REPLACE "+" ";" files "${CMAKE_MATCH_2}")
  foreach(file IN LISTS files)
    file(READ "${file}" text)
    string(LENGTH "${text}" length)
    set(start 0)
    while(start LESS length)
      string(SUBSTRING "${text}" ${start} 8000 piece)
      string(APPEND body "R\"text(${piece})text\"\n")
      math(EXPR start "${start} + 8000")
    endwhile()
  endforeach()
  string(APPEND body "  ;\n  return kText;\n}\n")
endforeach()
file(WRITE "${OUTPUT}" "${body}}  // namespace ${NAMESPACE}\n")
