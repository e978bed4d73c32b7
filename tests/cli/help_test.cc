// SPDX-License-Identifier: Apache-2.0
// Help: examples run as they are shown, misspelt words get a suggestion, the manual page knows every command, and a real shell
// completes.
#include <gmock/gmock.h>

#include <cstdlib>
#include <regex>

#include "tests/cli/program.h"

namespace quiver::testing {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::set<std::string> Commands() {
  std::set<std::string> commands;
  const std::string help = Quiver({"--help"}).out;
  static const std::regex line("\n  ([a-z]+)  ");
  const std::string list = help.substr(help.find("Subcommands:"));
  for (std::sregex_iterator it(list.begin(), list.end(), line), last; it != last; ++it)
    commands.insert((*it)[1]);
  return commands;
}

TEST(Help, ExamplesRunAsTheyAreShown) {
  if (!kHasShell) GTEST_SKIP() << "there is no shell";
  const Scratch scratch;
  std::filesystem::create_directory_symlink(QUIVER_SOURCE_DIR "/examples", scratch.path() / "examples");
  int run = 0;
  for (const std::string& command : Commands()) {
    const std::string help = Quiver({command, "--help"}).out;
    EXPECT_EQ(Quiver({"help", command}).out, help);
    static const std::regex example("\n  (quiver [^\n]*)");
    for (std::sregex_iterator it(help.begin(), help.end(), example), last; it != last; ++it, ++run) {
      const Answer answer = Shell("PATH=" QUIVER_BUILD_DIR "/bin:$PATH; " + (*it)[1].str(), scratch);
      EXPECT_EQ(answer.status, 0) << (*it)[1] << '\n' << answer.err;
      EXPECT_NE(answer.out, "") << (*it)[1];
    }
  }
  EXPECT_GE(run, 15);
}

TEST(Help, TopicsAreListedAndTold) {
  const std::string all = Quiver({"help"}).out;
  for (const char* topic : {"cases", "names", "units", "status", "formats", "trouble"}) {
    EXPECT_THAT(all, HasSubstr(topic));
    EXPECT_EQ(Quiver({"help", topic}).status, 0);
  }
  // The case file that the topic shows is one.
  const std::string page = Quiver({"help", "cases"}).out;
  std::string text = page.substr(page.find("  title:"));
  text = std::regex_replace(text.substr(0, text.find("\n\n")), std::regex("(^|\n)  "), "$1");
  const Answer solved = SolveText(text);
  EXPECT_EQ(solved.status, 0) << text << solved.err;
}

TEST(Help, MisspeltWordsGetASuggestion) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"sovle", "case.yaml"}, "there is no command sovle: did you mean solve?"},
      {{"solve", "PSV_SIMPLE", "--fxi", "P=1"}, "quiver solve has no option --fxi: did you mean --fix?"},
      {{"--libary", "x.so", "list", "models"}, "quiver has no option --libary: did you mean --library?"},
      {{"report", "-o", "solv", "--breif", "case.yaml"},
       "quiver report has no option --breif: did you mean --brief?"},
      {{"help", "unit"}, "did you mean units?"},
  };
  for (const auto& [arguments, message] : cases) {
    const Answer answer = Quiver(arguments);
    EXPECT_EQ(answer.status, 2) << message;
    EXPECT_THAT(answer.err, HasSubstr(message));
    EXPECT_EQ(answer.out, "");
  }
}

TEST(Help, ManualPageKnowsEveryCommandAndOption) {
  const std::string page = Quiver({"man"}).out;
  EXPECT_TRUE(page.starts_with(".\\\"")) << page.substr(0, 40);
  for (const std::string& command : Commands()) {
    EXPECT_THAT(page, HasSubstr(".SS \"quiver " + command));
    const std::string help = Quiver({command, "--help"}).out;
    static const std::regex option("\n  (?:-[a-z],)?--([a-z-]+)");
    for (std::sregex_iterator it(help.begin(), help.end(), option), last; it != last; ++it)
      EXPECT_THAT(page, HasSubstr("\\fB\\-\\-" + std::regex_replace((*it)[1].str(), std::regex("-"), "\\-")))
          << command;
  }
  if (!kHasShell || std::system("command -v man >/dev/null 2>&1") != 0) return;
  const Scratch scratch;
  scratch.Write("quiver.1", page);
  const Answer formatted = Shell("man --warnings=all -l quiver.1", scratch);
  EXPECT_EQ(formatted.err, "");
  EXPECT_THAT(formatted.out, HasSubstr("--matrix-market"));
}

// Bash itself: the script is sourced, the line given as readline gives it, and the answer read.
std::vector<std::string> Completed(const std::string& line, const std::vector<std::string>& words) {
  const Scratch scratch;
  scratch.Write("case.yaml", "");
  scratch.Write("notes.txt", "");
  std::filesystem::create_directory(scratch.path() / "folder");
  std::string script = "source <(quiver completion bash)\nCOMP_LINE='" + line +
                       "' COMP_POINT=" + std::to_string(line.size()) + " COMP_WORDS=(";
  for (const std::string& word : words) script += "'" + word + "' ";
  script +=
      ") COMP_CWORD=" + std::to_string(words.size() - 1) + "\n_quiver\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
  scratch.Write("complete.sh", script);
  const Answer answer = Shell("PATH=" QUIVER_BUILD_DIR "/bin:$PATH bash complete.sh", scratch);
  EXPECT_EQ(answer.err, "") << line;
  std::istringstream out(answer.out);
  std::vector<std::string> replies;
  for (std::string reply; std::getline(out, reply);)
    if (!reply.empty()) replies.push_back(reply);
  return replies;
}

TEST(Completion, BashCompletes) {
  if (!kHasShell || std::system("command -v bash >/dev/null 2>&1") != 0) GTEST_SKIP() << "there is no bash";
  EXPECT_THAT(Completed("quiver sol", {"quiver", "sol"}), ElementsAre("solve"));
  EXPECT_THAT(Completed("quiver list m", {"quiver", "list", "m"}), ElementsAre("models"));
  EXPECT_THAT(Completed("quiver explain PSV_S", {"quiver", "explain", "PSV_S"}),
              ElementsAre("PSV_SIMPLE", "PSV_SPECVOLC", "PSV_SUBCOOLED", "PSV_SW"));
  EXPECT_THAT(
      Completed("quiver solve ", {"quiver", "solve", ""}),
      AllOf(Contains("case.yaml"), Contains("folder/"), Contains("VALTYPE"), Not(Contains("notes.txt"))));
  EXPECT_THAT(Completed("quiver export x.yaml --n", {"quiver", "export", "x.yaml", "--n"}),
              ElementsAre("--nl"));
  EXPECT_THAT(Completed("quiver export x.yaml --at ", {"quiver", "export", "x.yaml", "--at", ""}),
              ElementsAre("solution", "start"));
  EXPECT_THAT(Completed("quiver export x.yaml --nl no", {"quiver", "export", "x.yaml", "--nl", "no"}),
              ElementsAre("notes.txt"));
  // Options go to --set, variables to --fix.
  EXPECT_THAT(
      Completed("quiver solve PIPEFITTINGS --set FITC", {"quiver", "solve", "PIPEFITTINGS", "--set", "FITC"}),
      ElementsAre("FITCONNECT="));
  EXPECT_THAT(
      Completed("quiver solve PIPEFITTINGS --fix FITC", {"quiver", "solve", "PIPEFITTINGS", "--fix", "FITC"}),
      Not(Contains("DIAM=")));
  EXPECT_THAT(
      Completed("quiver solve PIPEFITTINGS --fix DI", {"quiver", "solve", "PIPEFITTINGS", "--fix", "DI"}),
      ElementsAre("DIAM="));
  // bash breaks the word at =; only what stands behind it may come back, quoted where it has blanks.
  EXPECT_THAT(Completed("quiver solve VALTYPE --set CHAR_EQN=L",
                        {"quiver", "solve", "VALTYPE", "--set", "CHAR_EQN", "=", "L"}),
              ElementsAre("LINEAR"));
  EXPECT_THAT(Completed("quiver solve PSV_BASE --set FLOW_CALC=",
                        {"quiver", "solve", "PSV_BASE", "--set", "FLOW_CALC", "="}),
              Contains("Compressible\\ Fluid"));
  // Sizes follow from what is typed already.
  EXPECT_THAT(Completed("quiver solve PSV_VAP --components nitrogen,argon --fix Y",
                        {"quiver", "solve", "PSV_VAP", "--components", "nitrogen,argon", "--fix", "Y"}),
              ElementsAre("Y\\(argon\\)=", "Y\\(nitrogen\\)="));
  EXPECT_THAT(
      Completed("quiver solve NO_SUCH_MODEL --set X", {"quiver", "solve", "NO_SUCH_MODEL", "--set", "X"}),
      IsEmpty());
}

}  // namespace
}  // namespace quiver::testing
