// SPDX-License-Identifier: Apache-2.0
#include "tests/cli/program.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <random>
#include <regex>
#include <sstream>

#include "runtime/io/path_text.h"
#include "tests/cli/run_program.h"
#include "tests/cli/system.h"

namespace quiver::testing {
namespace {

constexpr const char* kProgram = QUIVER_BUILD_DIR "/bin/quiver" QUIVER_PROGRAM_SUFFIX;

std::vector<std::string> Words(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// Beside the folder's files, so that the program does not see them.
Answer Run(const std::string& program, const std::vector<std::string>& arguments, const Scratch& scratch,
           double kill_after = 0) {
  const std::string out = scratch.path().string() + ".out", err = scratch.path().string() + ".err";
  const int status = RunProgram(program, arguments, scratch.path(), out, err, kill_after);
  Answer answer{status, ReadText(out), ReadText(err)};
  std::filesystem::remove(out);
  std::filesystem::remove(err);
  return answer;
}

}  // namespace

void ExpectSameOutput(const std::string& found, const std::string& expected) {
  static const std::regex effort(", [0-9]+ iterations?, largest scaled residual [-+.e0-9]+");
  const std::vector<std::string> a = Words(std::regex_replace(found, effort, ""));
  const std::vector<std::string> b = Words(std::regex_replace(expected, effort, ""));
  ASSERT_EQ(a.size(), b.size()) << found;
  for (size_t i = 0; i < a.size(); ++i) {
    char *end_a, *end_b;
    const double x = std::strtod(a[i].c_str(), &end_a), y = std::strtod(b[i].c_str(), &end_b);
    if (*end_a || *end_b) {
      EXPECT_EQ(a[i], b[i]);
    } else {
      EXPECT_NEAR(x, y, 1e-6 * std::abs(y));
    }
  }
}

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

Answer Shell(const std::string& line, const Scratch& scratch) {
  return Run("/bin/sh", {"-c", line}, scratch);
}

std::string SharedLibraryName(const std::string& name) {
  return (kHasShell ? "lib" : "") + name + QUIVER_LIBRARY_SUFFIX;
}

Answer QuiverKilledAfter(double seconds, const std::vector<std::string>& arguments, const Scratch& scratch) {
  return Run(kProgram, arguments, scratch, seconds);
}

Answer Quiver(const std::vector<std::string>& arguments, const Scratch& scratch) {
  return QuiverKilledAfter(0, arguments, scratch);
}

Answer SolveText(const std::string& case_text, std::vector<std::string> more) {
  Scratch scratch;
  scratch.Write("case.yaml", case_text);
  more.insert(more.begin(), {"solve", "case.yaml"});
  return Quiver(more, scratch);
}

}  // namespace quiver::testing
