// SPDX-License-Identifier: Apache-2.0
// Runs a program where there is a POSIX shell (see run_program.h).
#ifndef _WIN32
#include <sys/wait.h>

#include <cstdlib>
#include <sstream>

#include "tests/cli/run_program.h"

namespace quiver::testing {
namespace {

std::string Quoted(const std::string& text) {
  std::string result(1, '\'');
  for (const char c : text) {
    if (c == '\'')
      result.append("'\\''");
    else
      result.push_back(c);
  }
  result.push_back('\'');
  return result;
}

}  // namespace

int RunProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments,
               const std::filesystem::path& folder, const std::filesystem::path& out,
               const std::filesystem::path& err, double kill_after) {
  std::ostringstream command;
  command << "cd " << Quoted(folder) << " && ";
  if (kill_after > 0) command << "timeout -s KILL " << kill_after << ' ';
  command << Quoted(program);
  for (const std::string& argument : arguments) command << ' ' << Quoted(argument);
  command << " </dev/null >" << Quoted(out) << " 2>" << Quoted(err);
  const int status = std::system(command.str().c_str());
  return WIFEXITED(status) && WEXITSTATUS(status) < 128 ? WEXITSTATUS(status) : -1;
}

}  // namespace quiver::testing
#endif
