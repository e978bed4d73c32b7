# SPDX-License-Identifier: Apache-2.0
# Writes the tables of data/ as string literals into one source file, at build time and with CMake alone, so that
# a cross compiler needs nothing of the host:  cmake -DSOURCE=... -DOUTPUT=... -P embed_tables.cmake
# The literals are cut into pieces, because some compilers limit the length of one.
function(append_table function_name path)
  file(READ "${path}" text)
  string(LENGTH "${text}" length)
  string(APPEND body "std::string_view ${function_name}() {\n  static constexpr std::string_view kText =\n")
  set(start 0)
  while(start LESS length)
    string(SUBSTRING "${text}" ${start} 8000 piece)
    string(APPEND body "R\"csv(${piece})csv\"\n")
    math(EXPR start "${start} + 8000")
  endwhile()
  string(APPEND body "  ;\n  return kText;\n}\n")
  set(body "${body}" PARENT_SCOPE)
endfunction()

set(body "// Written by embed_tables.cmake.\n#include \"runtime/properties/embedded_tables.h\"\nnamespace quiver {\n")
append_table(EmbeddedComponents "${SOURCE}/components.csv")
append_table(EmbeddedInteractions "${SOURCE}/kij.csv")
file(WRITE "${OUTPUT}" "${body}}  // namespace quiver\n")
