// SPDX-License-Identifier: Apache-2.0
#include "tests/cli/program.h"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

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

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

Scratch::Scratch() {
  std::string name = (std::filesystem::temp_directory_path() / "quiver_test_XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("cannot make the folder " + name);
  path_ = name;
}

void Scratch::Write(const std::string& file, const std::string& text) const {
  std::ofstream(path_ / file, std::ios::binary) << text;
}

Answer Quiver(const std::vector<std::string>& arguments, const Scratch& scratch) {
  // Beside the folder's files, so that the program does not see them.
  const std::string out = scratch.path().string() + ".out", err = scratch.path().string() + ".err";
  std::ostringstream command;
  command << "cd " << Quoted(scratch.path()) << " && " << Quoted(QUIVER_BUILD_DIR "/bin/quiver");
  for (const std::string& argument : arguments) command << ' ' << Quoted(argument);
  command << " </dev/null >" << Quoted(out) << " 2>" << Quoted(err);
  const int status = std::system(command.str().c_str());
  Answer answer{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadText(out), ReadText(err)};
  std::filesystem::remove(out);
  std::filesystem::remove(err);
  return answer;
}

Answer SolveText(const std::string& case_text, std::vector<std::string> more) {
  Scratch scratch;
  scratch.Write("case.yaml", case_text);
  more.insert(more.begin(), {"solve", "case.yaml"});
  return Quiver(more, scratch);
}

}  // namespace quiver::testing
