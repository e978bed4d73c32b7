# SPDX-License-Identifier: Apache-2.0
# The host's DLL offers nobody the functions of the standard library or of other people's headers (cmake/windows/hidden_symbols.cmake
# tells why), and does offer the contract's:
#
#   cmake -D OBJDUMP=objdump -D LIBRARY=quiver_host.dll -P foreign_exports.cmake
execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY} OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "[][;]" " " listing "${listing}")  # "[ 12] NAME" a line, and CMake counts brackets
# Functions and their statics; what describes a type is the same wherever it comes from.
string(REGEX MATCHALL " _ZG?V?Z?N?[VK]*(S[tabsiod]|9__gnu_cxx|3fmt|4YAML|8nlohmann)[^ \r\n]*" foreign "${listing}")
list(LENGTH foreign count)
if(count)
  list(SUBLIST foreign 0 5 some)
  list(JOIN some "\n" some)
  message(SEND_ERROR "${LIBRARY} exports ${count} functions of other people's:\n${some}")
endif()
if(NOT listing MATCHES " MyAllocate[ \r]*\n.* _ZN[^\n]*QV_VarParam")
  message(SEND_ERROR "${LIBRARY} does not export the contract")
endif()
