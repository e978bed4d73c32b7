// SPDX-License-Identifier: Apache-2.0
// What the pages say is what the program does: expected output of the examples, README's output and its relief valve,
// the model in docs/writing-a-model.md.
#include <gmock/gmock.h>

#include <cmath>
#include <regex>

#include "tests/cli/program.h"

namespace quiver::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

const fs::path kRoot = QUIVER_SOURCE_DIR;

TEST(Pages, ExamplesGiveTheirExpectedOutput) {
  const std::string readme = ReadText(kRoot / "README.md");
  int examples = 0;
  for (const auto& folder : fs::directory_iterator(kRoot / "examples")) {
    if (!fs::exists(folder.path() / "case.yaml")) continue;
    SCOPED_TRACE(folder.path());
    ++examples;
    const bool over_time = ReadText(folder.path() / "case.yaml").find("\nsimulate:") != std::string::npos;
    const Answer answer = Quiver({over_time ? "simulate" : "solve", (folder.path() / "case.yaml").string()});
    EXPECT_EQ(answer.status, 0) << answer.err;
    const std::string expected = ReadText(folder.path() / "expected.txt");
    ExpectSameOutput(answer.out, expected);
    EXPECT_TRUE(fs::exists(folder.path() / "README.md"));
    const std::string command =
        "$ build/bin/quiver solve examples/" + folder.path().filename().string() + "/case.yaml\n";
    if (const size_t at = readme.find(command); at != std::string::npos) {
      EXPECT_EQ(readme.substr(at + command.size(), expected.size()), expected)
          << "README.md shows other output";
    }
  }
  EXPECT_GE(examples, 2);
}

TEST(Pages, ReadmeReliefValve) {
  const std::string readme = ReadText(kRoot / "README.md");
  const size_t begin = readme.find("```yaml\n") + 8;
  const Answer answer = SolveText(readme.substr(begin, readme.find("```", begin) - begin));
  EXPECT_EQ(answer.status, 0) << answer.err;
  std::smatch shown;
  ASSERT_TRUE(std::regex_search(readme, shown, std::regex("answers `([^`]+)`")));
  EXPECT_THAT(answer.out, HasSubstr(shown[1].str()));
}

// Messages that README quotes.
TEST(Pages, ReadmeMessages) {
  const std::string readme = ReadText(kRoot / "README.md");
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"solve", "PSV_SIMPLE", "--fix", "P_DRPO=6"},
           {"solve", "PSV_SIMPLE", "--fix", "P_DROP=6", "--fix", "MW=18.015", "--fix", "AREA_RATIO=0"}}) {
    std::string command = "$ build/bin/quiver";
    for (const std::string& argument : arguments) command += " " + argument;
    EXPECT_NE(readme.find(command), std::string::npos) << "not in README.md: " << command;
    std::string message = Quiver(arguments).err;
    message.erase(message.find_last_not_of('\n') + 1);
    EXPECT_NE(readme.find(message), std::string::npos) << "not in README.md: " << message;
  }
}

TEST(Pages, ReadmeCallsNothingSpecifiedThatIsNot) {
  const std::string readme = ReadText(kRoot / "README.md");
  const size_t begin = readme.find("Specified so far:"), end = readme.find("The others exist", begin);
  ASSERT_NE(end, std::string::npos);
  std::set<std::string> specified;
  for (const Json& model : Quiver({"list", "models", "--json"}).Document())
    if (model["specified"] != false) specified.insert(model["name"]);
  const std::string list = readme.substr(begin, end - begin);
  static const std::regex name("[A-Z][A-Z_0-9]{4,}");
  for (std::sregex_iterator it(list.begin(), list.end(), name), last; it != last; ++it)
    EXPECT_TRUE(specified.contains(it->str())) << it->str();
}

// Code in the pages is code that is built: each block of C++ stands, word for word, in a source.
TEST(Pages, CodeIsTakenFromSources) {
  std::string sources;
  for (const char* folder : {"models", "tests/install/consumer"})
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / folder))
      if (entry.is_regular_file()) sources += ReadText(entry.path());
  for (const char* page : {"README.md", "docs/writing-a-model.md"}) {
    const std::string text = ReadText(kRoot / page);
    int blocks = 0;
    for (size_t at = 0; (at = text.find("```cpp\n", at)) != std::string::npos; ++blocks) {
      at += 7;
      const std::string code = text.substr(at, text.find("```", at) - at);
      for (size_t begin = 0; begin < code.size();) {  // parts are separated by a blank line
        const size_t end = std::min(code.find("\n\n", begin), code.size() - 1) + 1;
        EXPECT_NE(sources.find(code.substr(begin, end - begin)), std::string::npos)
            << page << " has code that stands in no source: " << code.substr(begin, end - begin);
        begin = end + 1;
      }
    }
    EXPECT_GT(blocks, 0) << page;
  }
}

}  // namespace
}  // namespace quiver::testing
