// SPDX-License-Identifier: Apache-2.0
// Explanations: there is one for every model that declares something, its names are the model's, its command works, and the
// pages in docs/models are what the program prints today.
#include <gmock/gmock.h>

#include "tests/cli/program.h"

namespace quiver::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

const fs::path kRoot = QUIVER_SOURCE_DIR;

std::string BaseName(const std::string& name) { return name.substr(0, name.find_first_of(".(")); }

// The example's command, its files found from the sources' folder.
Answer RunExample(const Json& arguments) {
  std::vector<std::string> command;
  for (const Json& argument : arguments) {
    command.push_back(argument);
    if (command.back().starts_with("examples/")) command.back() = (kRoot / command.back()).string();
  }
  return Quiver(command);
}

TEST(Explain, EveryModelThatDeclaresSomething) {
  for (const Json& model : Quiver({"list", "models", "--json"}).Document()) {
    if (model["specified"] == false) continue;
    const std::string name = model["name"];
    SCOPED_TRACE(name);
    const Answer answer = Quiver({"explain", name, "--json"});
    ASSERT_EQ(answer.status, 0) << answer.err;
    const Json about = answer.Document();
    std::set<std::string> known;
    const Json shown = Quiver({"show", name, "--json"}).Document();
    for (const Json& property : shown["properties"]) known.insert(property["name"]);
    for (const char* side : {"inputs", "outputs"})
      for (const Json& one : about[side])
        EXPECT_TRUE(known.contains(BaseName(one["name"]))) << one["name"] << " is no property of " << name;
    const Answer example = RunExample(about["example"]);
    EXPECT_EQ(example.status, 0) << about["example"] << example.err;
    if (about["example"][0] == "solve") {
      EXPECT_THAT(example.out, HasSubstr("Converged"));
    }
    EXPECT_THAT(Quiver({"explain", name}).out, HasSubstr("quiver " + about["example"][0].get<std::string>()));
  }
}

TEST(Explain, PagesAreWhatTheProgramPrints) {
  std::set<fs::path> expected = {kRoot / "docs/models/README.md"};
  EXPECT_EQ(ReadText(kRoot / "docs/models/README.md"), Quiver({"explain", "--markdown"}).out)
      << "run make docs";
  for (const Json& one : Quiver({"explain", "--json"}).Document()) {
    const fs::path page = kRoot / "docs/models" / (one["model"].get<std::string>() + ".md");
    expected.insert(page);
    EXPECT_EQ(ReadText(page), Quiver({"explain", one["model"], "--markdown"}).out)
        << page << ": run make docs";
  }
  for (const auto& entry : fs::directory_iterator(kRoot / "docs/models"))
    EXPECT_TRUE(expected.contains(entry.path())) << entry.path() << " is the page of no model";
}

TEST(Explain, UnknownModels) {
  const Answer misspelt = Quiver({"explain", "PSV_SIMPEL"});
  EXPECT_EQ(misspelt.status, 2);
  EXPECT_THAT(misspelt.err, HasSubstr("did you mean PSV_SIMPLE?"));
  const Answer silent = Quiver({"explain", "PVC"});
  EXPECT_EQ(silent.status, 1);
  EXPECT_THAT(silent.err, HasSubstr("quiver show PVC"));
}

}  // namespace
}  // namespace quiver::testing
