# SPDX-License-Identifier: Apache-2.0
# Writes the linker's options that keep the standard library and header-only libraries out of what a DLL exports. ELF systems take
# one copy of such functions whoever brings it; here a program that finds some in the DLL and others in its own libstdc++.a may find
# one of them twice, which is an error.
#
#   cmake -D NM=x86_64-w64-mingw32-nm -D OBJECTS=objects.txt -D OUTPUT=hidden.txt -P cmake/windows/hidden_symbols.cmake
#
# objects.txt: the object files, one a line. The linker reads hidden.txt as -Wl,@hidden.txt.
execute_process(COMMAND ${NM} --defined-only --extern-only --format=just-symbols @${OBJECTS} OUTPUT_VARIABLE symbols
                COMMAND_ERROR_IS_FATAL ANY)
# Mangled names of namespace std and its abbreviations, of __gnu_cxx and the libraries. T.: tables and names of types; Z: statics of
# functions.
string(REGEX MATCHALL "\n_Z(T[A-Z]|GVZ?|Z)?N?[VK]*(S[tabsiod]|9__gnu_cxx|3fmt|4YAML|8nlohmann)[^\n\r]*" hidden "\n${symbols}")
list(REMOVE_DUPLICATES hidden)
list(TRANSFORM hidden REPLACE "^\n" "--exclude-symbols=")
list(JOIN hidden "\n" hidden)
file(WRITE ${OUTPUT} "${hidden}\n")
