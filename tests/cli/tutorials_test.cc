// SPDX-License-Identifier: Apache-2.0
// The tutorials, followed literally: every file of a page is written, every command is run, in their order, and what the
// program prints is what the page shows. With QUIVER_UPDATE_PAGES set in the environment the pages are written anew instead.
#include <fmt/format.h>

#include <cstdlib>
#include <fstream>
#include <regex>

#include "tests/cli/program.h"

namespace quiver::testing {
namespace {

namespace fs = std::filesystem;

const fs::path kTutorials = fs::path(QUIVER_SOURCE_DIR) / "docs" / "tutorials";

std::vector<std::string> Lines(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

struct Step {
  std::string command, expected;
};
std::vector<Step> StepsOf(const std::string& console) {
  std::vector<Step> steps;
  for (const std::string& line : Lines(console)) {
    if (line.starts_with("$ "))
      steps.push_back({line.substr(2), ""});
    else if (!steps.empty())
      steps.back().expected += line + '\n';
  }
  return steps;
}

// A page with its commands run in `scratch`; returns it with what they printed.
std::string Follow(const std::string& page, const Scratch& scratch, const std::string& environment,
                   int& commands) {
  static const std::regex fence("```(\\w+)(?: file=([\\w./-]+))?\n");
  std::string followed;
  size_t done = 0;
  for (std::sregex_iterator it(page.begin(), page.end(), fence), last; it != last; ++it) {
    const auto begin = static_cast<size_t>(it->position() + it->length());
    const size_t end = page.find("```\n", begin);
    const std::string body = page.substr(begin, end - begin);
    if ((*it)[2].matched) scratch.Write((*it)[2], body);
    if ((*it)[1] != "console") continue;
    followed += page.substr(done, begin - done);
    for (const Step& step : StepsOf(body)) {
      ++commands;
      SCOPED_TRACE(step.command);
      const Answer answer = Shell(environment + step.command, scratch);
      std::string printed = answer.out;
      if (answer.status != 0) printed += fmt::format("[{}]\n", answer.status);
      followed += "$ " + step.command + "\n" + printed;
      if (std::getenv("QUIVER_UPDATE_PAGES")) continue;
      ExpectSameOutput(printed, step.expected);
      if (answer.status != 0 && step.expected.find('[') == std::string::npos) ADD_FAILURE() << answer.err;
    }
    done = end;
  }
  return followed + page.substr(done);
}

void ExpectFollowed(const std::string& name, const Scratch& scratch, const std::string& environment,
                    int least_commands) {
  const std::string page = ReadText(kTutorials / name);
  int commands = 0;
  const std::string followed = Follow(page, scratch, environment, commands);
  EXPECT_GE(commands, least_commands);
  if (std::getenv("QUIVER_UPDATE_PAGES")) std::ofstream(kTutorials / name) << followed;
}

TEST(Tutorials, SizeAReliefValve) {
  if (!kHasShell) GTEST_SKIP() << "there is no shell";
  const Scratch scratch;
  ExpectFollowed("size-a-relief-valve.md", scratch, "PATH=" QUIVER_BUILD_DIR "/bin:$PATH; ", 4);
}

TEST(Tutorials, AddAModel) {
  if (!kHasShell) GTEST_SKIP() << "there is no shell";
  const Scratch scratch, prefix;
  const std::string quiver = prefix.path().string();
  const Answer installed = Shell("cmake --install " QUIVER_BUILD_DIR " --prefix " + quiver, scratch);
  ASSERT_EQ(installed.status, 0) << installed.err;
  ExpectFollowed("add-a-model.md", scratch, "QUIVER=" + quiver + "; PATH=$QUIVER/bin:$PATH; ", 7);
}

}  // namespace
}  // namespace quiver::testing
