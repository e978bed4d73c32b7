// SPDX-License-Identifier: Apache-2.0
// Runs a program on Windows (see run_program.h), without a command shell: none of its signs mean anything in an argument.
#ifdef _WIN32
#include <windows.h>

#include "tests/cli/run_program.h"

namespace quiver::testing {
namespace {

// The run-time library of the program takes the command line apart: backslashes count before a quotation mark only.
std::wstring Quoted(const std::wstring& text) {
  std::wstring result(1, L'"');
  size_t backslashes = 0;
  for (const wchar_t c : text) {
    if (c == L'"') result.append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    result.push_back(c);
  }
  result.append(backslashes, L'\\');
  return result + L'"';
}

HANDLE Open(const std::filesystem::path& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return CreateFileW(path.c_str(), access, FILE_SHARE_READ, &inherited, disposition, FILE_ATTRIBUTE_NORMAL,
                     nullptr);
}

}  // namespace

int RunProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments,
               const std::filesystem::path& folder, const std::filesystem::path& out,
               const std::filesystem::path& err, double kill_after) {
  std::wstring command = Quoted(program.wstring());
  for (const std::string& argument : arguments)
    command +=
        L' ' + Quoted(std::filesystem::path(std::u8string(argument.begin(), argument.end())).wstring());
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = Open("NUL", GENERIC_READ, OPEN_EXISTING);
  start.hStdOutput = Open(out, GENERIC_WRITE, CREATE_ALWAYS);
  start.hStdError = Open(err, GENERIC_WRITE, CREATE_ALWAYS);
  PROCESS_INFORMATION process{};
  const bool started = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                      folder.c_str(), &start, &process) != 0;
  DWORD status = 0;
  if (started) {
    const DWORD limit = kill_after > 0 ? static_cast<DWORD>(1000 * kill_after) : INFINITE;
    if (WaitForSingleObject(process.hProcess, limit) == WAIT_TIMEOUT) {
      TerminateProcess(process.hProcess, 0x80000000);
      WaitForSingleObject(process.hProcess, INFINITE);
    }
    GetExitCodeProcess(process.hProcess, &status);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
  }
  for (HANDLE handle : {start.hStdInput, start.hStdOutput, start.hStdError}) CloseHandle(handle);
  // What ends by an exception of the system has a status such as 0xC0000005.
  return started && status < 0x80000000 ? static_cast<int>(status) : -1;
}

}  // namespace quiver::testing
#endif
