// SPDX-License-Identifier: Apache-2.0
#include "tests/cli/program.h"

#include <fstream>
#include <random>
#include <sstream>

#include "runtime/io/path_text.h"
#include "tests/cli/run_program.h"

namespace quiver::testing {

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

Scratch::Scratch() {
  std::random_device random;
  do {
    path_ = std::filesystem::temp_directory_path() / ("quiver_test_" + std::to_string(random()));
  } while (!std::filesystem::create_directory(path_));
}

void Scratch::Write(const std::string& file, const std::string& text) const {
  std::ofstream(path_ / PathOf(file), std::ios::binary) << text;
}

Answer Quiver(const std::vector<std::string>& arguments, const Scratch& scratch) {
  // Beside the folder's files, so that the program does not see them.
  const std::string out = scratch.path().string() + ".out", err = scratch.path().string() + ".err";
  const int status =
      RunProgram(QUIVER_BUILD_DIR "/bin/quiver" QUIVER_PROGRAM_SUFFIX, arguments, scratch.path(), out, err);
  Answer answer{status, ReadText(out), ReadText(err)};
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
